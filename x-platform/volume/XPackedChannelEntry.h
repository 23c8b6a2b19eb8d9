#pragma once

#include <cstdint>

// One channel of a packed volume: the host channel number (1-based) and the number of bytes it
// occupies per voxel (1 for a scalar channel, 3 for a colour channel).
struct XPackedChannelEntry
{
    std::uint32_t channel = 0;
    std::uint32_t width = 1;

    bool operator==(const XPackedChannelEntry&) const = default;
};
