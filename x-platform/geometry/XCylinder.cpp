#include "x-platform/geometry/XCylinder.h"

#include "host/core/XStream.h"
#include "x-platform/core/XRay.h"
#include "x-platform/geometry/XRayHit.h"

#include <algorithm>
#include <cmath>
#include <utility>

std::unique_ptr<XStorable> XCylinder::Clone() const
{
    return std::make_unique<XCylinder>(*this);
}

std::uint64_t XCylinder::GetStreamSize() const
{
    return XGeometry::GetStreamSize() + 8 + 4;
}

void XCylinder::Read(XStream& inStream)
{
    XGeometry::Read(inStream);
    inStream.ReadClassVersion(kClassID);
    itsRadius = inStream.ReadFloat32S();
}

void XCylinder::Write(XStream& outStream) const
{
    XGeometry::Write(outStream);
    outStream.WriteVersion(kClassID);
    outStream.WriteFloat32S(itsRadius);
}

bool XCylinder::FindHit(const XRay& inRay, float& outT, bool& outCap) const
{
    const XMathVectorF3& o = inRay.origin;
    const XMathVectorF3& d = inRay.direction;
    const float radiusSquared = itsRadius * itsRadius;

    bool capHit = false;
    float tc = 0.0f;
    if (d.z != 0.0f)
    {
        const float tTop = (0.5f - o.z) / d.z;
        const float tBottom = (-0.5f - o.z) / d.z;
        tc = std::min(tTop, tBottom);
        const float x = o.x + tc * d.x;
        const float y = o.y + tc * d.y;
        capHit = inRay.tMin < tc && tc < inRay.tMax && x * x + y * y < radiusSquared;
    }
    const auto capResult = [&]
    {
        outT = tc;
        outCap = true;
        return capHit;
    };

    const float a = d.x * d.x + d.y * d.y;
    const float b = 2.0f * (o.x * d.x + o.y * d.y);
    const float c = o.x * o.x + o.y * o.y - radiusSquared;
    const float disc = b * b - 4.0f * a * c;
    if (disc < 0.0f)
    {
        return capResult();
    }
    const float q = b < 0.0f ? -0.5f * (b - std::sqrt(disc)) : -0.5f * (b + std::sqrt(disc));
    float t0 = c / q;
    float t1 = q / a;
    if (t0 > t1)
    {
        std::swap(t0, t1);
    }
    if (t0 > inRay.tMax || inRay.tMin > t1)
    {
        return capResult();
    }
    float t = t0;
    if (inRay.tMin > t0)
    {
        t = t1;
        if (t1 > inRay.tMax)
        {
            return capResult();
        }
    }
    if (capHit && t > tc)
    {
        return capResult();
    }
    const float z = o.z + t * d.z;
    if (z >= -0.5f && z <= 0.5f)
    {
        outT = t;
        outCap = false;
        return true;
    }
    return capResult();
}

bool XCylinder::TestIntersection(XRay& ioRay) const
{
    float t = 0.0f;
    bool cap = false;
    if (!FindHit(ioRay, t, cap))
    {
        return false;
    }
    ioRay.tMax = t;
    return true;
}

bool XCylinder::Intersect(XRay& ioRay, XRayHit& outHit) const
{
    float t = 0.0f;
    bool cap = false;
    if (!FindHit(ioRay, t, cap))
    {
        return false;
    }
    ioRay.tMax = t;
    const XMathVectorF3 p = RecordHitPoint(ioRay, t, outHit);
    XMathVectorF3 n = cap ? XMathVectorF3(0.0f, 0.0f, 1.0f) : XMathVectorF3(p.x, p.y, 0.0f);
    if (!cap)
    {
        n = n / n.Length();
    }
    FaceRay(n, ioRay.direction);
    outHit.normal = n;
    return true;
}

XBoundingBox XCylinder::GetBoundingBox() const
{
    return XBoundingBox(XMathVectorF3(-itsRadius, -itsRadius, -0.5f),
                        XMathVectorF3(itsRadius, itsRadius, 0.5f));
}
