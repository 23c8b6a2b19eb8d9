# Tests of the distributed layer: render jobs, results and shared data in streams, and frames cut
# into tiles and passes on a job queue.
add_executable(voltrace_distributed_tests)
target_link_libraries(voltrace_distributed_tests PRIVATE voltrace_distributed GTest::gtest
  GTest::gtest_main)
target_sources(voltrace_distributed_tests PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/distributed/XDistributedRendererTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/distributed/XRenderNetJobStreamTest.cpp
)
gtest_discover_tests(voltrace_distributed_tests DISCOVERY_TIMEOUT 60)
