#pragma once

#include "host/core/XRefCountable.h"
#include "host/imaging/XMathVectorF3.h"
#include "x-platform/shading/XMaterial.h"

#include <cstdint>

// The nearest hit of a ray: filled in object space by a geometry and carried to world space by
// its surface. Owned by the caller, on its stack, never shared between threads. A new record has
// u = v = 0, inside 0 and no material, so geometries that leave those alone give that.
struct XRayHit
{
    float t = 0;         // the ray parameter of the hit; set to the ray's tMax before a query
    XMathVectorF3 point; // world space once the surface is done
    float u = 0;         // surface parameters in [0, 1]
    float v = 0;
    XMathVectorF3 objectPoint; // the hit point in the geometry's object space
    XMathVectorF3 normal;      // unit shading normal facing the incoming ray
    std::int32_t inside = 0;   // 1 when the ray came from the back side and the normal was flipped
    XRef<XMaterial> material;  // the hit surface's material, may be empty
};
