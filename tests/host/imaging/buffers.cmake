# Tests of the buffers, volumes and histograms of the host imaging layer.
target_sources(voltrace_host_tests PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/XHyperBufferTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/XVolumeHistogramTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/XVolumeTest.cpp
)
