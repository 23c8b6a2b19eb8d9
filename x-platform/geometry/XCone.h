#pragma once

#include "x-platform/geometry/XGeometry.h"

// A cone around the z axis with its apex at z = height / 2 and its base circle of the given
// radius at z = -height / 2, closed at the base.
class XCone : public XGeometry
{
public:
    static constexpr std::uint32_t kClassID = 14936;

    XCone(float inRadius = 1.0f, float inHeight = 1.0f);

    float GetRadius() const { return itsRadius; }
    float GetHeight() const { return itsHeight; }
    void SetShape(float inRadius, float inHeight);

    std::uint32_t GetClassID() const override { return kClassID; }
    std::unique_ptr<XStorable> Clone() const override;
    std::uint64_t GetStreamSize() const override;
    void Read(XStream& inStream) override;
    void Write(XStream& outStream) const override;

    // Sets tMax on a hit but always returns false: a cone is found only through Intersect, and
    // pictures depend on that.
    bool TestIntersection(XRay& ioRay) const override;
    // Sets tMax; the side normal has a fixed z component whatever the proportions, the base
    // normal is (0, 0, 1); flipped to face the ray. Leaves u, v and the inside flag alone.
    bool Intersect(XRay& ioRay, XRayHit& outHit) const override;
    XBoundingBox GetBoundingBox() const override;

private:
    bool FindHit(const XRay& inRay, float& outT, bool& outBase) const;

    float itsRadius;
    float itsHeight;
    float itsSlopeSquared; // (height / radius)^2
    float itsHalfHeight;   // height * 0.5
};
