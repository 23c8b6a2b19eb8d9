#pragma once

#include "x-platform/core/XRGBSpectrum.h"
#include "x-platform/volume/XChannelRules.h"
#include "x-platform/volume/XComponentTable.h"

#include <cstdint>
#include <string_view>
#include <type_traits>

// One colour channel, its three components read as channels of pure red, green and blue: the
// general rule over three components (opacity of the brightest, starting from 0; colour the
// opacity-weighted mean), so that it equals the mixed class holding just this channel.
struct XSingleVectorChannelOutputPolicy
{
    static constexpr std::uint32_t kWidth = 3;
    static constexpr std::string_view kLayout = "one colour channel";

    static float Opacity(const std::uint8_t* inVoxel, const XComponentTable* inTables)
    {
        return XChannelRules::BrightestOpacity(inVoxel, inTables, XCount{});
    }

    static float Classify(const std::uint8_t* inVoxel, const XComponentTable* inTables,
                          XRGBSpectrum& outColour)
    {
        outColour = XChannelRules::WeightedMeanColour(inVoxel, inTables, XCount{});
        return XChannelRules::BrightestOpacity(inVoxel, inTables, XCount{});
    }

private:
    using XCount = std::integral_constant<std::uint32_t, 3>;
};
