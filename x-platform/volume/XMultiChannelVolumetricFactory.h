#pragma once

#include "host/core/XRefCountable.h"
#include "host/ui/XChannelShadeSpecification.h"

#include <cstdint>
#include <vector>

class XMultiChannelVolumetric;

// Chooses the multi-channel volumetric class that fits the visible channels of a set of shade
// specifications (their channel kinds tell scalar from colour channels): one scalar channel
// X1ChannelVolumetric, one colour channel X1ColourChannelVolumetric, two or three scalar
// channels X2ChannelVolumetric or X3ChannelVolumetric, more scalar channels
// XNScalarChannelVolumetric, and several channels of which any is colour
// XNMixedChannelVolumetric. Without a visible channel, X1ChannelVolumetric (it renders nothing).
class XMultiChannelVolumetricFactory
{
public:
    static std::uint32_t
    SelectClassID(const std::vector<XChannelShadeSpecification>& inSpecifications);
    // A new, unprepared volumetric of the selected class.
    static XRef<XMultiChannelVolumetric>
    Create(std::vector<XChannelShadeSpecification> inSpecifications, std::uint32_t inSampleID,
           std::uint32_t inTimePoint);
};
