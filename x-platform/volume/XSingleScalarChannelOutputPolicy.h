#pragma once

#include "x-platform/core/XRGBSpectrum.h"
#include "x-platform/volume/XComponentTable.h"

#include <cstdint>
#include <string_view>

// One scalar channel: opacity alpha, colour c x e.
struct XSingleScalarChannelOutputPolicy
{
    static constexpr std::uint32_t kWidth = 1;
    static constexpr std::string_view kLayout = "one scalar channel";

    static float Opacity(const std::uint8_t* inVoxel, const XComponentTable* inTables)
    {
        return inTables[0][inVoxel[0]].opacity;
    }

    static float Classify(const std::uint8_t* inVoxel, const XComponentTable* inTables,
                          XRGBSpectrum& outColour)
    {
        const XComponentTable::XEntry& entry = inTables[0][inVoxel[0]];
        outColour = entry.emitted;
        return entry.opacity;
    }
};
