add_executable(voltrace_module_tests)
target_link_libraries(voltrace_module_tests PRIVATE voltrace_module GTest::gtest GTest::gtest_main)
target_sources(voltrace_module_tests PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/module/XStorableClassTableTest.cpp
)
gtest_discover_tests(voltrace_module_tests DISCOVERY_TIMEOUT 60)
