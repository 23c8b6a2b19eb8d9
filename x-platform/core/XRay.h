#pragma once

#include "host/imaging/XMathVectorF3.h"

#include <limits>

// A ray origin + t * direction, valid for tMin <= t <= tMax. The direction need not be unit
// length. Nearest-hit queries shorten tMax to each hit they find, so a ray reused after a query
// keeps the shortened interval.
struct XRay
{
    XMathVectorF3 origin;
    XMathVectorF3 direction{0, 0, 1};
    float tMin = 0;
    float tMax = std::numeric_limits<float>::max();

    constexpr XRay() = default;
    constexpr XRay(const XMathVectorF3& inOrigin, const XMathVectorF3& inDirection,
                   float inTMin = 0, float inTMax = std::numeric_limits<float>::max())
        : origin(inOrigin), direction(inDirection), tMin(inTMin), tMax(inTMax)
    {
    }

    // The point at parameter inT.
    constexpr XMathVectorF3 At(float inT) const { return origin + direction * inT; }
};
