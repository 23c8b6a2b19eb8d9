#include "x-platform/volume/XVolumeClassTable.h"

#include "host/core/XClassRegistry.h"
#include "x-platform/volume/XFluoScalarVoxelShader.h"
#include "x-platform/volume/XMultiChannelVolumetricT.h"

void XRegisterVolumeClasses()
{
    constexpr std::uint32_t base = XMultiChannelVolumetric::kClassID;
    XRegisterClass<X1ChannelVolumetric>("X1ChannelVolumetric", base);
    XRegisterClass<X2ChannelVolumetric>("X2ChannelVolumetric", base);
    XRegisterClass<X3ChannelVolumetric>("X3ChannelVolumetric", base);
    XRegisterClass<XNScalarChannelVolumetric>("XNScalarChannelVolumetric", base);
    XRegisterClass<XNMixedChannelVolumetric>("XNMixedChannelVolumetric", base);
    XRegisterClass<X1ColourChannelVolumetric>("X1ColourChannelVolumetric", base);
    XRegisterClass<XFluoScalarVoxelShader>("XFluoScalarVoxelShader", XScalarVoxelShader::kClassID);
}
