add_executable(voltrace_volume_tests)
target_link_libraries(voltrace_volume_tests PRIVATE voltrace_volume GTest::gtest GTest::gtest_main)
target_sources(voltrace_volume_tests PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/volume/XVolumetricTest.cpp
)
gtest_discover_tests(voltrace_volume_tests DISCOVERY_TIMEOUT 60)
