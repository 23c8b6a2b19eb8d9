add_executable(voltrace_core_tests)
target_link_libraries(voltrace_core_tests PRIVATE voltrace_core GTest::gtest GTest::gtest_main)
target_sources(voltrace_core_tests PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/core/XRenderOptionsTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/core/XTransformableTest.cpp
)
gtest_discover_tests(voltrace_core_tests DISCOVERY_TIMEOUT 60)
