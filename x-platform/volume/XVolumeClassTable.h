#pragma once

// Registers the storable classes of the volume layer with the class registry, by name and id:
// the six multi-channel volumetrics X1ChannelVolumetric 14923, X2ChannelVolumetric 14924,
// X3ChannelVolumetric 14925, XNScalarChannelVolumetric 14926, XNMixedChannelVolumetric 14927 and
// X1ColourChannelVolumetric 14928, each with the base XMultiChannelVolumetric 14922; and the
// fluorescence voxel shader XFluoScalarVoxelShader 14941 with the base XScalarVoxelShader 14940.
// The abstract bases (XMultiChannelVolumetric, XVoxelShaderBase 14939, XScalarVoxelShader) have
// nothing to create. Calling this again is harmless.
void XRegisterVolumeClasses();
