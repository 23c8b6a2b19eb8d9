add_executable(voltrace_volume_tests)
target_link_libraries(voltrace_volume_tests PRIVATE voltrace_volume GTest::gtest GTest::gtest_main)
target_sources(voltrace_volume_tests PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/volume/XChannelRulesTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/volume/XEmptySpaceGridTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/volume/XFluoScalarVoxelShaderTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/volume/XMultiChannelVolumetricContractTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/volume/XMultiChannelVolumetricTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/volume/XPackedMultiChannelVolumeTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/volume/XSamplingAllocationTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/volume/XVolumeClassTableTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/volume/XVolumeThresholdBoundsToolTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/volume/XVolumetricTest.cpp
)
# Tests over the real stacks skip themselves when the shared folders are not there.
target_compile_definitions(voltrace_volume_tests PRIVATE
  "VOLTRACE_SAMPLE_DATA_DIR=\"${VOLTRACE_SAMPLE_DATA_DIR}\""
  "VOLTRACE_BENCH_DATA_DIR=\"${VOLTRACE_BENCH_DATA_DIR}\"")
gtest_discover_tests(voltrace_volume_tests DISCOVERY_TIMEOUT 60)
