#include "x-platform/geometry/XGeometry.h"

#include "host/core/XStream.h"
#include "x-platform/core/XRay.h"
#include "x-platform/geometry/XRayHit.h"

#include <cmath>

std::uint64_t XGeometry::GetStreamSize() const
{
    return 8;
}

void XGeometry::Read(XStream& inStream)
{
    inStream.ReadClassVersion(kClassID);
}

void XGeometry::Write(XStream& outStream) const
{
    outStream.WriteVersion(kClassID);
}

XRef<XGeometry> XGeometry::CloneShared() const
{
    return XRef<XGeometry>::Adopt(static_cast<XGeometry*>(Clone().release()));
}

XMathVectorF3 XGeometry::SamplePoint(const XMathVectorF3& inReference, float, float) const
{
    return inReference;
}

float XGeometry::GetPdf(const XMathVectorF3& inReference, const XMathVectorF3& inDirection,
                        const XMatrix_4x4<float>& inObjectToWorld) const
{
    const XMatrix_4x4<float> worldToObject = inObjectToWorld.Inverse();
    XMathVectorF3 direction = worldToObject.TransformVector(inDirection);
    const float length = direction.Length();
    direction = direction / length;
    XRay ray(worldToObject.TransformPoint(inReference), direction);
    XRayHit hit;
    if (!Intersect(ray, hit))
    {
        return 0.0f;
    }
    const XMathVectorF3 toPoint = inObjectToWorld.TransformPoint(hit.point) - inReference;
    const XMathVectorF3 worldNormal = worldToObject.Transpose().TransformVector(hit.normal);
    const float cosine = std::fabs(Dot(worldNormal.Normalized(), inDirection.Normalized()));
    if (cosine == 0.0f)
    {
        return 0.0f;
    }
    return GetUniformPdf() * toPoint.LengthSquared() / cosine;
}

XMathVectorF3 XGeometry::RecordHitPoint(const XRay& inRay, float inT, XRayHit& outHit)
{
    const XMathVectorF3 point = inRay.origin + inRay.direction * inT;
    outHit.t = inT;
    outHit.point = point;
    outHit.objectPoint = point;
    return point;
}

bool XGeometry::FaceRay(XMathVectorF3& ioNormal, const XMathVectorF3& inDirection)
{
    if (Dot(ioNormal, inDirection) > 0.0f)
    {
        ioNormal = -ioNormal;
        return true;
    }
    return false;
}
