#pragma once

#include "x-platform/core/XRGBSpectrum.h"
#include "x-platform/volume/XComponentTable.h"

#include <cstdint>

// The per-voxel combination rules that the channel volumetric shaders are made of. inVoxel points
// at component 0 of one voxel; component k is classified through inTables[k]. inCount is a
// compile-time constant (std::integral_constant) in the fixed layouts, so the loops unroll.
struct XChannelRules
{
    // The opacity of the brightest component, where a component wins only with a brightness
    // strictly above the best so far, starting from 0: a voxel whose components all have zero
    // brightness is transparent.
    template <class TCount>
    static float BrightestOpacity(const std::uint8_t* inVoxel, const XComponentTable* inTables,
                                  TCount inCount)
    {
        float best = 0.0f;
        float opacity = 0.0f;
        for (std::uint32_t k = 0; k < inCount; ++k)
        {
            const XComponentTable::XEntry& entry = inTables[k][inVoxel[k]];
            if (entry.brightness > best)
            {
                best = entry.brightness;
                opacity = entry.opacity;
            }
        }
        return opacity;
    }

    // Like BrightestOpacity, but component 0 is the winner to beat from the start, so it wins
    // ties and gives the opacity when no component is bright.
    template <class TCount>
    static float FirstBrightestOpacity(const std::uint8_t* inVoxel, const XComponentTable* inTables,
                                       TCount inCount)
    {
        const XComponentTable::XEntry& first = inTables[0][inVoxel[0]];
        float best = first.brightness;
        float opacity = first.opacity;
        for (std::uint32_t k = 1; k < inCount; ++k)
        {
            const XComponentTable::XEntry& entry = inTables[k][inVoxel[k]];
            if (entry.brightness > best)
            {
                best = entry.brightness;
                opacity = entry.opacity;
            }
        }
        return opacity;
    }

    // The opacity-weighted mean of the emitted colours, (sum of c x e x alpha) / (sum of alpha),
    // black when the opacities sum to 0.
    template <class TCount>
    static XRGBSpectrum WeightedMeanColour(const std::uint8_t* inVoxel,
                                           const XComponentTable* inTables, TCount inCount)
    {
        XRGBSpectrum sum;
        float opacity = 0.0f;
        for (std::uint32_t k = 0; k < inCount; ++k)
        {
            const XComponentTable::XEntry& entry = inTables[k][inVoxel[k]];
            sum += entry.weighted;
            opacity += entry.opacity;
        }
        if (!(opacity > 0.0f))
        {
            return XRGBSpectrum();
        }
        return sum * (1.0f / opacity);
    }
};
