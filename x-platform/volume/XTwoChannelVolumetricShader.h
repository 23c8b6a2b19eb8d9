#pragma once

#include "x-platform/core/XRGBSpectrum.h"
#include "x-platform/volume/XChannelRules.h"
#include "x-platform/volume/XComponentTable.h"
#include "x-platform/volume/XPackedChannelEntry.h"

#include <cstdint>
#include <span>
#include <string_view>
#include <type_traits>

// Two scalar channels: the opacity of channel 2 when it is strictly brighter, else that of
// channel 1 (which wins ties, even when transparent); colour the opacity-weighted mean.
struct XTwoChannelVolumetricShader
{
    static constexpr std::string_view kLayout = "two scalar channels";

    static bool Accepts(std::span<const XPackedChannelEntry> inChannels)
    {
        return inChannels.size() == 2 && inChannels[0].width == 1 && inChannels[1].width == 1;
    }

    static float Opacity(const std::uint8_t* inVoxel, const XComponentTable* inTables,
                         std::uint32_t /*inComponents*/)
    {
        return XChannelRules::FirstBrightestOpacity(inVoxel, inTables, XCount{});
    }

    static float Classify(const std::uint8_t* inVoxel, const XComponentTable* inTables,
                          std::uint32_t /*inComponents*/, XRGBSpectrum& outColour)
    {
        outColour = XChannelRules::WeightedMeanColour(inVoxel, inTables, XCount{});
        return XChannelRules::FirstBrightestOpacity(inVoxel, inTables, XCount{});
    }

private:
    using XCount = std::integral_constant<std::uint32_t, 2>;
};
