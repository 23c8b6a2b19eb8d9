#pragma once

#include "x-platform/core/XRGBSpectrum.h"
#include "x-platform/volume/XChannelTableRecord.h"

#include <array>
#include <cstdint>

// What one byte of one packed component classifies to, precomputed for all 256 bytes so that the
// per-voxel rules are lookups and adds. A scalar channel has one component; a colour channel has
// three, read as channels of pure red, green and blue that share the channel's tables.
class XComponentTable
{
public:
    // One cache line half: everything a rule may read for one byte.
    struct alignas(32) XEntry
    {
        float opacity = 0.0f;    // alpha
        float brightness = 0.0f; // e x alpha x (r + g + b) / 3, which picks the winning channel
        XRGBSpectrum weighted;   // c x e x alpha, summed for the opacity-weighted mean
        XRGBSpectrum emitted;    // c x e, the one-channel colour
    };

    XComponentTable() = default;
    XComponentTable(const XChannelTableRecord& inRecord, const XRGBSpectrum& inColour)
    {
        const float colourSum = inColour.r + inColour.g + inColour.b;
        for (std::size_t byte = 0; byte < 256; ++byte)
        {
            const float alpha = inRecord.opacity[byte];
            const float emission = inRecord.emission[byte];
            XEntry& entry = itsEntries[byte];
            entry.opacity = alpha;
            entry.brightness = emission * alpha * colourSum / 3.0f;
            entry.weighted = inColour * emission * alpha;
            entry.emitted = inColour * emission;
        }
    }

    const XEntry& operator[](std::uint8_t inByte) const { return itsEntries[inByte]; }

private:
    std::array<XEntry, 256> itsEntries{};
};
