# Buffers, volumes and histograms of the host imaging layer.
target_sources(voltrace_host PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/XARGB32Volume.cpp
  ${CMAKE_CURRENT_LIST_DIR}/XVolume.cpp
  ${CMAKE_CURRENT_LIST_DIR}/XVolumeHistogram.cpp
)
