#pragma once

#include "x-platform/geometry/XGeometry.h"

// A sphere of the given radius centred at the object-space origin.
class XSphere : public XGeometry
{
public:
    static constexpr std::uint32_t kClassID = 14935;

    explicit XSphere(float inRadius = 1.0f);

    float GetRadius() const { return itsRadius; }
    void SetRadius(float inRadius);

    std::uint32_t GetClassID() const override { return kClassID; }
    std::unique_ptr<XStorable> Clone() const override;
    std::uint64_t GetStreamSize() const override;
    void Read(XStream& inStream) override;
    void Write(XStream& outStream) const override;

    // Takes the direction as unit length. A grazing ray misses. A ray from outside accepts the
    // near root whenever it is not below tMin, even beyond tMax: callers rely on that.
    bool TestIntersection(XRay& ioRay) const override;
    // Normal flipped to face the ray (inside = 1 when flipped); u, v from the flipped normal.
    bool Intersect(XRay& ioRay, XRayHit& outHit) const override;
    XBoundingBox GetBoundingBox() const override;

    float GetArea() const override;
    // Uniform in the cone of directions that the sphere fills seen from the reference point;
    // from a point inside, the reference point itself.
    XMathVectorF3 SamplePoint(const XMathVectorF3& inReference, float inU1,
                              float inU2) const override;
    // The density of that cone, 1 / (2 pi (1 - cos theta max)); from inside, the base rule.
    float GetPdf(const XMathVectorF3& inReference, const XMathVectorF3& inDirection,
                 const XMatrix_4x4<float>& inObjectToWorld) const override;

private:
    float itsRadius;
    float itsRadiusSquared; // always itsRadius * itsRadius
};
