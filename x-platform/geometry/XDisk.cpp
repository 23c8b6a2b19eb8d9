#include "x-platform/geometry/XDisk.h"

#include "host/core/XStream.h"
#include "x-platform/core/XRay.h"
#include "x-platform/geometry/XRayHit.h"

std::unique_ptr<XStorable> XDisk::Clone() const
{
    return std::make_unique<XDisk>(*this);
}

std::uint64_t XDisk::GetStreamSize() const
{
    return XGeometry::GetStreamSize() + 8 + 4;
}

void XDisk::Read(XStream& inStream)
{
    XGeometry::Read(inStream);
    inStream.ReadClassVersion(kClassID);
    itsRadius = inStream.ReadFloat32S();
}

void XDisk::Write(XStream& outStream) const
{
    XGeometry::Write(outStream);
    outStream.WriteVersion(kClassID);
    outStream.WriteFloat32S(itsRadius);
}

bool XDisk::TestIntersection(XRay& ioRay) const
{
    const XMathVectorF3& o = ioRay.origin;
    const XMathVectorF3& d = ioRay.direction;
    if (d.z == 0.0f)
    {
        return true;
    }
    const float t = (itsZ - o.z) / d.z;
    if (ioRay.tMin > t || t > ioRay.tMax)
    {
        return true;
    }
    const float x = o.x + t * d.x;
    const float y = o.y + t * d.y;
    if (x * x + y * y <= itsRadius * itsRadius)
    {
        ioRay.tMax = t;
    }
    return true;
}

bool XDisk::Intersect(XRay& ioRay, XRayHit& outHit) const
{
    if (!TestIntersection(ioRay))
    {
        return false;
    }
    const float t = ioRay.tMax;
    RecordHitPoint(ioRay, t, outHit);
    XMathVectorF3 n(0.0f, 0.0f, -1.0f);
    FaceRay(n, ioRay.direction);
    outHit.normal = n;
    return true;
}

XBoundingBox XDisk::GetBoundingBox() const
{
    return XBoundingBox(XMathVectorF3(-itsRadius, -itsRadius, itsZ),
                        XMathVectorF3(itsRadius, itsRadius, itsZ));
}
