# Tests of the tracer layer.
add_executable(voltrace_tracer_tests)
target_link_libraries(voltrace_tracer_tests PRIVATE voltrace_tracer GTest::gtest GTest::gtest_main)
target_sources(voltrace_tracer_tests PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/rendering/XPerspectiveCameraTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/rendering/XSurfaceIntegratorTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/rendering/XTracerAllocationTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/rendering/XTracerTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/rendering/XVolumeIntegratorTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/rendering/XVolumeIntegratorSkippingTest.cpp
  # The grid's per-sample record, which the skipping relies on.
  ${CMAKE_CURRENT_LIST_DIR}/volume/XEmptySpaceGridSampleTest.cpp
)
# Tests over the real stacks skip themselves when the shared folders are not there.
target_compile_definitions(voltrace_tracer_tests PRIVATE
  "VOLTRACE_SAMPLE_DATA_DIR=\"${VOLTRACE_SAMPLE_DATA_DIR}\""
  "VOLTRACE_BENCH_DATA_DIR=\"${VOLTRACE_BENCH_DATA_DIR}\"")
gtest_discover_tests(voltrace_tracer_tests DISCOVERY_TIMEOUT 60)
