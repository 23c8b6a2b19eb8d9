#include "x-platform/geometry/XCone.h"

#include "host/core/XStream.h"
#include "x-platform/core/XRay.h"
#include "x-platform/geometry/XRayHit.h"

#include <cmath>
#include <utility>

XCone::XCone(float inRadius, float inHeight)
{
    SetShape(inRadius, inHeight);
}

void XCone::SetShape(float inRadius, float inHeight)
{
    itsRadius = inRadius;
    itsHeight = inHeight;
    const float slope = inHeight / inRadius;
    itsSlopeSquared = slope * slope;
    itsHalfHeight = inHeight * 0.5f;
}

std::unique_ptr<XStorable> XCone::Clone() const
{
    return std::make_unique<XCone>(*this);
}

std::uint64_t XCone::GetStreamSize() const
{
    return XGeometry::GetStreamSize() + 8 + 4 + 4;
}

void XCone::Read(XStream& inStream)
{
    XGeometry::Read(inStream);
    inStream.ReadClassVersion(kClassID);
    const float radius = inStream.ReadFloat32S();
    const float height = inStream.ReadFloat32S();
    SetShape(radius, height);
}

void XCone::Write(XStream& outStream) const
{
    XGeometry::Write(outStream);
    outStream.WriteVersion(kClassID);
    outStream.WriteFloat32S(itsRadius);
    outStream.WriteFloat32S(itsHeight);
}

bool XCone::FindHit(const XRay& inRay, float& outT, bool& outBase) const
{
    const XMathVectorF3& o = inRay.origin;
    const XMathVectorF3& d = inRay.direction;

    bool baseHit = false;
    float tc = 0.0f;
    if (d.z != 0.0f)
    {
        tc = (-itsHalfHeight - o.z) / d.z;
        const float x = o.x + tc * d.x;
        const float y = o.y + tc * d.y;
        baseHit = inRay.tMin < tc && tc < inRay.tMax && x * x + y * y < itsRadius * itsRadius;
    }

    const float k = itsSlopeSquared;
    const float w = o.z - itsHalfHeight;
    const float a = k * (d.x * d.x + d.y * d.y) - d.z * d.z;
    const float b = 2.0f * (k * (o.x * d.x + o.y * d.y) - w * d.z);
    const float c = k * (o.x * o.x + o.y * o.y) - w * w;
    const float disc = b * b - 4.0f * a * c;

    const auto inRange = [&](float inT)
    {
        const float z = o.z + inT * d.z;
        return z >= -itsHalfHeight && z <= itsHalfHeight;
    };

    bool sideHit = false;
    float tSide = 0.0f;
    if (disc >= 0.0f)
    {
        const float q = b < 0.0f ? -0.5f * (b - std::sqrt(disc)) : -0.5f * (b + std::sqrt(disc));
        float t0 = c / q;
        float t1 = q / a;
        if (t0 > t1)
        {
            std::swap(t0, t1);
        }
        if (t0 <= inRay.tMax && inRay.tMin <= t1)
        {
            if (inRay.tMin <= t0)
            {
                const float z0 = o.z + t0 * d.z;
                if (z0 > itsHalfHeight)
                {
                    // The root lies on the upper nappe: the far root may still be on this one.
                    sideHit = inRange(t1);
                    tSide = t1;
                }
                else if (z0 >= -itsHalfHeight)
                {
                    sideHit = true;
                    tSide = t0;
                }
            }
            else if (!(t1 > inRay.tMax))
            {
                sideHit = inRange(t1);
                tSide = t1;
            }
        }
    }

    if (baseHit && (!sideHit || tc < tSide))
    {
        outT = tc;
        outBase = true;
        return true;
    }
    outT = tSide;
    outBase = false;
    return sideHit;
}

bool XCone::TestIntersection(XRay& ioRay) const
{
    float t = 0.0f;
    bool base = false;
    if (FindHit(ioRay, t, base))
    {
        ioRay.tMax = t;
    }
    return false;
}

bool XCone::Intersect(XRay& ioRay, XRayHit& outHit) const
{
    float t = 0.0f;
    bool base = false;
    if (!FindHit(ioRay, t, base))
    {
        return false;
    }
    ioRay.tMax = t;
    const XMathVectorF3 p = RecordHitPoint(ioRay, t, outHit);
    XMathVectorF3 n(0.0f, 0.0f, 1.0f);
    if (!base)
    {
        const float planar = std::sqrt(p.x * p.x + p.y * p.y);
        const float a = p.x / planar;
        const float b = p.y / planar;
        // The fixed z component does not follow the cone's proportions; pictures depend on it.
        const float length = std::sqrt(a * a + b * b + 0.19999999f);
        n = XMathVectorF3(a / length, b / length, 0.4472136f / length);
    }
    FaceRay(n, ioRay.direction);
    outHit.normal = n;
    return true;
}

XBoundingBox XCone::GetBoundingBox() const
{
    return XBoundingBox(XMathVectorF3(-itsRadius, -itsRadius, -itsHalfHeight),
                        XMathVectorF3(itsRadius, itsRadius, itsHalfHeight));
}
