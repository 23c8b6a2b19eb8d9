# The tracer layer: cameras, the surface and volume integrators and the tracer.
add_library(voltrace_tracer STATIC)
target_link_libraries(voltrace_tracer PUBLIC voltrace_scene voltrace_image)
target_sources(voltrace_tracer PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/rendering/XCameraBase.cpp
  ${CMAKE_CURRENT_LIST_DIR}/rendering/XPerspectiveCamera.cpp
  ${CMAKE_CURRENT_LIST_DIR}/rendering/XProjectiveCamera.cpp
  ${CMAKE_CURRENT_LIST_DIR}/rendering/XSurfaceIntegrator.cpp
  ${CMAKE_CURRENT_LIST_DIR}/rendering/XTracer.cpp
  ${CMAKE_CURRENT_LIST_DIR}/rendering/XVolumeIntegrator.cpp
)
