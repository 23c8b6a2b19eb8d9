#include "x-platform/volume/XMultiChannelVolumetricFactory.h"

#include "x-platform/volume/XMultiChannelVolumetricT.h"

std::uint32_t XMultiChannelVolumetricFactory::SelectClassID(
    const std::vector<XChannelShadeSpecification>& inSpecifications)
{
    std::uint32_t scalar = 0;
    std::uint32_t colour = 0;
    for (const XChannelShadeSpecification& shade : inSpecifications)
    {
        if (!shade.IsVisible())
        {
            continue;
        }
        if (shade.GetChannelKind() == XChannelShadeSpecification::kColourChannel)
        {
            ++colour;
        }
        else
        {
            ++scalar;
        }
    }
    if (colour == 0)
    {
        switch (scalar)
        {
        case 0:
        case 1:
            return X1ChannelVolumetric::kClassID;
        case 2:
            return X2ChannelVolumetric::kClassID;
        case 3:
            return X3ChannelVolumetric::kClassID;
        default:
            return XNScalarChannelVolumetric::kClassID;
        }
    }
    if (colour == 1 && scalar == 0)
    {
        return X1ColourChannelVolumetric::kClassID;
    }
    return XNMixedChannelVolumetric::kClassID;
}

XRef<XMultiChannelVolumetric>
XMultiChannelVolumetricFactory::Create(std::vector<XChannelShadeSpecification> inSpecifications,
                                       std::uint32_t inSampleID, std::uint32_t inTimePoint)
{
    const std::uint32_t classID = SelectClassID(inSpecifications);
    const auto make = [&]<class T>() -> XRef<XMultiChannelVolumetric>
    { return XMakeRef<T>(std::move(inSpecifications), inSampleID, inTimePoint); };
    switch (classID)
    {
    case X2ChannelVolumetric::kClassID:
        return make.operator()<X2ChannelVolumetric>();
    case X3ChannelVolumetric::kClassID:
        return make.operator()<X3ChannelVolumetric>();
    case XNScalarChannelVolumetric::kClassID:
        return make.operator()<XNScalarChannelVolumetric>();
    case XNMixedChannelVolumetric::kClassID:
        return make.operator()<XNMixedChannelVolumetric>();
    case X1ColourChannelVolumetric::kClassID:
        return make.operator()<X1ColourChannelVolumetric>();
    default:
        return make.operator()<X1ChannelVolumetric>();
    }
}
