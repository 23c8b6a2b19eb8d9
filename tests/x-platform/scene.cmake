add_executable(voltrace_scene_tests)
target_link_libraries(voltrace_scene_tests PRIVATE voltrace_scene GTest::gtest GTest::gtest_main)
target_sources(voltrace_scene_tests PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/geometry/XConeTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/geometry/XCylinderTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/geometry/XDiskTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/geometry/XGeometryContractTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/geometry/XSphereTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/geometry/XSurfaceTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/rendering/X3DSceneTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/rendering/XBoundingVolumeHierarchyTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/rendering/XSceneClassTableTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/rendering/XTraversalAllocationTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/shading/XGlassMaterialTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/shading/XMaterialTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/shading/XMatteMaterialTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/shading/XPlasticMaterialTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/shading/XPointLightTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/shading/XTextureTest.cpp
)
gtest_discover_tests(voltrace_scene_tests DISCOVERY_TIMEOUT 60)
