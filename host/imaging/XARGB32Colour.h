#pragma once

#include <cstdint>

// One 32-bit colour voxel: byte 0 alpha, then red, green and blue.
struct XARGB32Colour
{
    std::uint8_t a = 0;
    std::uint8_t r = 0;
    std::uint8_t g = 0;
    std::uint8_t b = 0;

    friend bool operator==(const XARGB32Colour&, const XARGB32Colour&) = default;
};

static_assert(sizeof(XARGB32Colour) == 4, "XARGB32Colour must be four packed bytes");
