#pragma once

#include "x-platform/core/XRGBSpectrum.h"
#include "x-platform/volume/XChannelRules.h"
#include "x-platform/volume/XComponentTable.h"
#include "x-platform/volume/XPackedChannelEntry.h"

#include <cstdint>
#include <span>
#include <string_view>
#include <type_traits>

// Three scalar channels: the winner starts as channel 1 and is replaced by a strictly brighter
// channel 2, then by a channel 3 strictly brighter than the best so far; opacity is the
// winner's. Colour is the opacity-weighted mean of the emitted colours.
struct XThreeChannelVolumetricShader
{
    static constexpr std::string_view kLayout = "three scalar channels";

    static bool Accepts(std::span<const XPackedChannelEntry> inChannels)
    {
        return inChannels.size() == 3 && inChannels[0].width == 1 && inChannels[1].width == 1 &&
               inChannels[2].width == 1;
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
    using XCount = std::integral_constant<std::uint32_t, 3>;
};
