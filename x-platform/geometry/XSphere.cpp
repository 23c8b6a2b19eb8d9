#include "x-platform/geometry/XSphere.h"

#include "host/core/XStream.h"
#include "x-platform/core/XRay.h"
#include "x-platform/geometry/XRayHit.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>

namespace
{
// A reference point closer than this (in squared distance beyond the radius) counts as inside.
constexpr float kInsideTolerance = 0.0001f;
constexpr float kTwoPi = 6.2831855f;
} // namespace

XSphere::XSphere(float inRadius) : itsRadius(inRadius), itsRadiusSquared(inRadius * inRadius) {}

void XSphere::SetRadius(float inRadius)
{
    itsRadius = inRadius;
    itsRadiusSquared = inRadius * inRadius;
}

std::unique_ptr<XStorable> XSphere::Clone() const
{
    return std::make_unique<XSphere>(*this);
}

std::uint64_t XSphere::GetStreamSize() const
{
    return XGeometry::GetStreamSize() + 8 + 4;
}

void XSphere::Read(XStream& inStream)
{
    XGeometry::Read(inStream);
    inStream.ReadClassVersion(kClassID);
    SetRadius(inStream.ReadFloat32S());
}

void XSphere::Write(XStream& outStream) const
{
    XGeometry::Write(outStream);
    outStream.WriteVersion(kClassID);
    outStream.WriteFloat32S(itsRadius);
}

bool XSphere::TestIntersection(XRay& ioRay) const
{
    const XMathVectorF3& o = ioRay.origin;
    const XMathVectorF3& d = ioRay.direction;
    const float b = -Dot(o, d);
    const float disc = b * b - Dot(o, o) + itsRadiusSquared;
    if (!(disc > 0.0f))
    {
        return false;
    }
    const float s = std::sqrt(disc);
    float t0 = b - s;
    float t1 = b + s;
    if (t0 > t1)
    {
        std::swap(t0, t1);
    }
    if (ioRay.tMin > t1)
    {
        return false;
    }
    if (ioRay.tMin <= t0)
    {
        // Not compared with tMax on purpose: the hierarchy and its callers depend on it.
        ioRay.tMax = t0;
        return true;
    }
    if (t1 > ioRay.tMax)
    {
        return false;
    }
    ioRay.tMax = t1;
    return true;
}

bool XSphere::Intersect(XRay& ioRay, XRayHit& outHit) const
{
    if (!TestIntersection(ioRay))
    {
        return false;
    }
    const float t = ioRay.tMax;
    const XMathVectorF3 p = RecordHitPoint(ioRay, t, outHit);
    XMathVectorF3 n = p / p.Length();
    outHit.inside = FaceRay(n, ioRay.direction) ? 1 : 0;
    outHit.normal = n;
    // The factors keep the arguments of acos inside its domain at the poles.
    const double theta = std::acos(static_cast<double>(n.y) * 0.9999);
    double phi = std::acos(static_cast<double>(n.x) / (std::sin(theta) * 1.0001));
    if (n.z < 0.0f)
    {
        phi = 2.0 * std::numbers::pi - phi;
    }
    outHit.u = static_cast<float>(phi / (2.0 * std::numbers::pi));
    outHit.v = static_cast<float>(1.0 - theta / std::numbers::pi);
    return true;
}

XBoundingBox XSphere::GetBoundingBox() const
{
    return XBoundingBox(XMathVectorF3(-itsRadius, -itsRadius, -itsRadius),
                        XMathVectorF3(itsRadius, itsRadius, itsRadius));
}

float XSphere::GetArea() const
{
    return itsRadiusSquared * 12.566371f;
}

XMathVectorF3 XSphere::SamplePoint(const XMathVectorF3& inReference, float inU1, float inU2) const
{
    const float distanceSquared = inReference.LengthSquared();
    if (distanceSquared - itsRadiusSquared < kInsideTolerance)
    {
        return XGeometry::SamplePoint(inReference, inU1, inU2);
    }
    const float cosThetaMax = std::sqrt(std::max(0.0f, 1.0f - itsRadiusSquared / distanceSquared));
    // Frame around the unit direction toward the centre; a and b are not renormalised.
    const XMathVectorF3 toCentre = -inReference;
    const XMathVectorF3 w = toCentre / toCentre.Length();
    XMathVectorF3 a(0.0f, w.z, -w.y);
    if (a.LengthSquared() < 0.01f)
    {
        a = XMathVectorF3(-w.z, 0.0f, w.x);
    }
    const XMathVectorF3 b = Cross(w, a);
    const float cosTheta = (1.0f - inU1) * cosThetaMax + inU1;
    const float sinTheta = std::sqrt(1.0f - cosTheta * cosTheta);
    const float phi = kTwoPi * inU2;
    const XMathVectorF3 direction =
        cosTheta * w + (sinTheta * std::cos(phi)) * a + (sinTheta * std::sin(phi)) * b;
    XRay ray(inReference, direction, 0.0f, 3.4028235e38f);
    XRayHit hit;
    if (!Intersect(ray, hit))
    {
        return XGeometry::SamplePoint(inReference, inU1, inU2);
    }
    return hit.point;
}

float XSphere::GetPdf(const XMathVectorF3& inReference, const XMathVectorF3& inDirection,
                      const XMatrix_4x4<float>& inObjectToWorld) const
{
    const XMathVectorF3 centre = inObjectToWorld.TransformPoint(XMathVectorF3());
    const float distanceSquared = (inReference - centre).LengthSquared();
    if (distanceSquared - itsRadiusSquared < kInsideTolerance)
    {
        return XGeometry::GetPdf(inReference, inDirection, inObjectToWorld);
    }
    const float cosThetaMax = std::sqrt(std::max(0.0f, 1.0f - itsRadiusSquared / distanceSquared));
    return 1.0f / (kTwoPi * (1.0f - cosThetaMax));
}
