#pragma once

#include "host/imaging/XMathVectorF3.h"
#include "host/imaging/XMathVectorS2.h"
#include "host/imaging/XMatrix_4x4.h"

#include <algorithm>
#include <limits>

class XStream;

// An axis-aligned box given by its minimum and maximum corners (min <= max on every axis for a
// box that holds anything; the default box is the point at the origin).
class XBoundingBox
{
public:
    XBoundingBox() = default;
    XBoundingBox(const XMathVectorF3& inMin, const XMathVectorF3& inMax) : itsCorners{inMin, inMax}
    {
    }

    const XMathVectorF3& GetMin() const { return itsCorners[0]; }
    const XMathVectorF3& GetMax() const { return itsCorners[1]; }
    // 0 selects the minimum corner, 1 the maximum (the near/far index pairs of FastIntersect).
    const XMathVectorF3& operator[](int inIndex) const { return itsCorners[inIndex]; }

    XMathVectorF3 GetCentroid() const { return (itsCorners[0] + itsCorners[1]) * 0.5f; }

    // Inclusive on both ends of every axis.
    bool Contains(const XMathVectorF3& inPoint) const
    {
        return inPoint.x >= itsCorners[0].x && inPoint.x <= itsCorners[1].x &&
               inPoint.y >= itsCorners[0].y && inPoint.y <= itsCorners[1].y &&
               inPoint.z >= itsCorners[0].z && inPoint.z <= itsCorners[1].z;
    }

    // The smallest box holding both boxes.
    static XBoundingBox MakeSurroundingBox(const XBoundingBox& inA, const XBoundingBox& inB);
    // The axis-aligned box enclosing the eight corners transformed by inMatrix as points.
    XBoundingBox MakeTransformedBox(const XMatrix_4x4<float>& inMatrix) const;

    // Whether the ray origin + t * direction meets the box (boundaries included) for some t in
    // [inTMin, inTMax]. inInverseDirection holds 1 / direction per axis (infinite for a zero
    // component); inIndices[axis] is the (near, far) corner pair for that axis, (0, 1) for a
    // direction component >= 0 and (1, 0) otherwise.
    bool FastIntersect(const XMathVectorF3& inOrigin, const XMathVectorF3& inInverseDirection,
                       const XMathVectorS2 inIndices[3], float inTMin, float inTMax) const
    {
        float tMin = inTMin;
        float tMax = inTMax;
        ClipSlab(itsCorners[inIndices[0].x].x, itsCorners[inIndices[0].y].x, inOrigin.x,
                 inInverseDirection.x, tMin, tMax);
        ClipSlab(itsCorners[inIndices[1].x].y, itsCorners[inIndices[1].y].y, inOrigin.y,
                 inInverseDirection.y, tMin, tMax);
        ClipSlab(itsCorners[inIndices[2].x].z, itsCorners[inIndices[2].y].z, inOrigin.z,
                 inInverseDirection.z, tMin, tMax);
        // A lower bound of +infinity or an upper bound of -infinity comes only from a ray parallel
        // to a slab and outside it.
        constexpr float kInfinity = std::numeric_limits<float>::infinity();
        return tMin <= tMax && tMin != kInfinity && tMax != -kInfinity;
    }

    // Six float32: minimum x, y, z, then maximum x, y, z.
    void WriteStream(XStream& outStream) const;
    void ReadStream(XStream& inStream);

    bool operator==(const XBoundingBox& inOther) const = default;

private:
    // Narrows [ioTMin, ioTMax] to the parameters at which the ray lies between the two planes.
    // The interval is ordered by value rather than trusted to the index pair, because a -0
    // direction component passes the ">= 0" test while its reciprocal is -infinity. A NaN comes
    // only from 0 * infinity: a ray parallel to the slab whose origin lies on one of its planes,
    // which is inside the (inclusive) slab for every t, so that axis does not narrow the interval.
    static void ClipSlab(float inNear, float inFar, float inOrigin, float inInverseDirection,
                         float& ioTMin, float& ioTMax)
    {
        const float t0 = (inNear - inOrigin) * inInverseDirection;
        const float t1 = (inFar - inOrigin) * inInverseDirection;
        const bool parallelOnPlane = (t0 != t0) | (t1 != t1);
        const float lower =
            parallelOnPlane ? -std::numeric_limits<float>::infinity() : std::min(t0, t1);
        const float upper =
            parallelOnPlane ? std::numeric_limits<float>::infinity() : std::max(t0, t1);
        ioTMin = std::max(ioTMin, lower);
        ioTMax = std::min(ioTMax, upper);
    }

    XMathVectorF3 itsCorners[2];
};
