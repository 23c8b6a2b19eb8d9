# The volume layer: the volumetric base (and, later, the packed volume and its volumetrics).
add_library(voltrace_volume STATIC)
target_link_libraries(voltrace_volume PUBLIC voltrace_core)
target_sources(voltrace_volume PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/volume/XVolumetric.cpp
)
