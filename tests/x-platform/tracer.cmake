# Tests of the tracer layer.
add_executable(voltrace_tracer_tests)
target_link_libraries(voltrace_tracer_tests PRIVATE voltrace_tracer GTest::gtest GTest::gtest_main)
target_sources(voltrace_tracer_tests PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/rendering/XPerspectiveCameraTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/rendering/XSurfaceIntegratorTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/rendering/XTracerAllocationTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/rendering/XTracerTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/rendering/XVolumeIntegratorTest.cpp
)
gtest_discover_tests(voltrace_tracer_tests DISCOVERY_TIMEOUT 60)
