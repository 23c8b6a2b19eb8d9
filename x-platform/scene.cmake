# The scene layer: geometry and surfaces, materials, textures and lights, the scene and its
# hierarchy.
add_library(voltrace_scene STATIC)
target_link_libraries(voltrace_scene PUBLIC voltrace_volume voltrace_core)
target_sources(voltrace_scene PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/geometry/XCone.cpp
  ${CMAKE_CURRENT_LIST_DIR}/geometry/XCylinder.cpp
  ${CMAKE_CURRENT_LIST_DIR}/geometry/XDisk.cpp
  ${CMAKE_CURRENT_LIST_DIR}/geometry/XGeometry.cpp
  ${CMAKE_CURRENT_LIST_DIR}/geometry/XSphere.cpp
  ${CMAKE_CURRENT_LIST_DIR}/geometry/XSurface.cpp
  ${CMAKE_CURRENT_LIST_DIR}/shading/XCheckeredTexture.cpp
  ${CMAKE_CURRENT_LIST_DIR}/shading/XGlassMaterial.cpp
  ${CMAKE_CURRENT_LIST_DIR}/shading/XLight.cpp
  ${CMAKE_CURRENT_LIST_DIR}/shading/XMaterial.cpp
  ${CMAKE_CURRENT_LIST_DIR}/shading/XMatteMaterial.cpp
  ${CMAKE_CURRENT_LIST_DIR}/shading/XPlasticMaterial.cpp
  ${CMAKE_CURRENT_LIST_DIR}/shading/XPointLight.cpp
  ${CMAKE_CURRENT_LIST_DIR}/shading/XRGBSolidTexture.cpp
  ${CMAKE_CURRENT_LIST_DIR}/shading/XScalarSolidTexture.cpp
  ${CMAKE_CURRENT_LIST_DIR}/shading/XTextureBase.cpp
  ${CMAKE_CURRENT_LIST_DIR}/rendering/X3DScene.cpp
  ${CMAKE_CURRENT_LIST_DIR}/rendering/XSceneClassTable.cpp
)
