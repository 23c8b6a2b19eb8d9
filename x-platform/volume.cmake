# The volume layer: the volumetric base, the packed multi-channel volume, the multi-channel
# volumetrics with their voxel shaders and empty-space grid, and the threshold bounds tool.
add_library(voltrace_volume STATIC)
target_link_libraries(voltrace_volume PUBLIC voltrace_core)
target_sources(voltrace_volume PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/volume/XEmptySpaceGrid.cpp
  ${CMAKE_CURRENT_LIST_DIR}/volume/XFluoScalarVoxelShader.cpp
  ${CMAKE_CURRENT_LIST_DIR}/volume/XMultiChannelVolumetric.cpp
  ${CMAKE_CURRENT_LIST_DIR}/volume/XMultiChannelVolumetricFactory.cpp
  ${CMAKE_CURRENT_LIST_DIR}/volume/XPackedMultiChannelVolume.cpp
  ${CMAKE_CURRENT_LIST_DIR}/volume/XScalarVoxelShader.cpp
  ${CMAKE_CURRENT_LIST_DIR}/volume/XVolumeClassTable.cpp
  ${CMAKE_CURRENT_LIST_DIR}/volume/XVolumeThresholdBoundsTool.cpp
  ${CMAKE_CURRENT_LIST_DIR}/volume/XVolumetric.cpp
  ${CMAKE_CURRENT_LIST_DIR}/volume/XVoxelShaderBase.cpp
)
