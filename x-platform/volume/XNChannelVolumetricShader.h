#pragma once

#include "x-platform/core/XRGBSpectrum.h"
#include "x-platform/volume/XChannelRules.h"
#include "x-platform/volume/XComponentTable.h"
#include "x-platform/volume/XPackedChannelEntry.h"

#include <algorithm>
#include <cstdint>
#include <span>
#include <string_view>

// The general rule for any number of channels: the best brightness starts at 0 and each component
// in order replaces the winner only when strictly brighter, so a voxel in which every component
// has zero brightness is transparent; colour is the opacity-weighted mean. TOutput says which
// channel widths the layout may hold.
template <class TOutput>
struct XNChannelVolumetricShader
{
    static constexpr std::string_view kLayout = TOutput::kLayout;

    static bool Accepts(std::span<const XPackedChannelEntry> inChannels)
    {
        return !inChannels.empty() && std::all_of(inChannels.begin(), inChannels.end(),
                                                  [](const XPackedChannelEntry& inEntry)
                                                  { return TOutput::AcceptsWidth(inEntry.width); });
    }

    static float Opacity(const std::uint8_t* inVoxel, const XComponentTable* inTables,
                         std::uint32_t inComponents)
    {
        return XChannelRules::BrightestOpacity(inVoxel, inTables, inComponents);
    }

    static float Classify(const std::uint8_t* inVoxel, const XComponentTable* inTables,
                          std::uint32_t inComponents, XRGBSpectrum& outColour)
    {
        outColour = XChannelRules::WeightedMeanColour(inVoxel, inTables, inComponents);
        return XChannelRules::BrightestOpacity(inVoxel, inTables, inComponents);
    }
};
