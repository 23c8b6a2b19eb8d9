#pragma once

#include "x-platform/core/XRGBSpectrum.h"
#include "x-platform/volume/XComponentTable.h"
#include "x-platform/volume/XPackedChannelEntry.h"

#include <cstdint>
#include <span>
#include <string_view>

// The per-voxel rule of a volume with exactly one visible channel; TOutput says whether that
// channel is scalar or colour and how it becomes opacity and colour.
template <class TOutput>
struct XSingleChannelVolumetricShader
{
    static constexpr std::string_view kLayout = TOutput::kLayout;

    static bool Accepts(std::span<const XPackedChannelEntry> inChannels)
    {
        return inChannels.size() == 1 && inChannels[0].width == TOutput::kWidth;
    }

    static float Opacity(const std::uint8_t* inVoxel, const XComponentTable* inTables,
                         std::uint32_t /*inComponents*/)
    {
        return TOutput::Opacity(inVoxel, inTables);
    }

    // Returns the opacity; the same value that Opacity gives.
    static float Classify(const std::uint8_t* inVoxel, const XComponentTable* inTables,
                          std::uint32_t /*inComponents*/, XRGBSpectrum& outColour)
    {
        return TOutput::Classify(inVoxel, inTables, outColour);
    }
};
