#pragma once

#include <cstdint>

// One 48-bit colour voxel: 16-bit red, green and blue.
struct XRGB48Colour
{
    std::uint16_t r = 0;
    std::uint16_t g = 0;
    std::uint16_t b = 0;

    friend bool operator==(const XRGB48Colour&, const XRGB48Colour&) = default;
};

static_assert(sizeof(XRGB48Colour) == 6, "XRGB48Colour must be three packed 16-bit words");
