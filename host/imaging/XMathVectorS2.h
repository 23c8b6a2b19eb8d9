#pragma once

#include <cstdint>

// A pair of 16-bit indices. Ray traversal uses one per axis as (near, far) box corner selectors:
// 0 selects the box minimum, 1 the maximum.
struct XMathVectorS2
{
    std::int16_t x = 0;
    std::int16_t y = 0;

    constexpr XMathVectorS2() = default;
    constexpr XMathVectorS2(std::int16_t inX, std::int16_t inY) : x(inX), y(inY) {}

    constexpr bool operator==(const XMathVectorS2& inOther) const = default;
};
