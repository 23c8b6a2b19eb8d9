#pragma once

#include "x-platform/geometry/XGeometry.h"

// A cylinder around the z axis from z = -0.5 to z = 0.5, closed by two caps.
class XCylinder : public XGeometry
{
public:
    static constexpr std::uint32_t kClassID = 14937;

    explicit XCylinder(float inRadius = 0.5f) : itsRadius(inRadius) {}

    float GetRadius() const { return itsRadius; }
    void SetRadius(float inRadius) { itsRadius = inRadius; }

    std::uint32_t GetClassID() const override { return kClassID; }
    std::unique_ptr<XStorable> Clone() const override;
    std::uint64_t GetStreamSize() const override;
    void Read(XStream& inStream) override;
    void Write(XStream& outStream) const override;

    // Sets tMax to the hit and returns true on a hit.
    bool TestIntersection(XRay& ioRay) const override;
    // Sets tMax; normal (x, y, 0) on the side and (0, 0, 1) on a cap, flipped to face the ray.
    // Leaves u, v and the inside flag alone.
    bool Intersect(XRay& ioRay, XRayHit& outHit) const override;
    XBoundingBox GetBoundingBox() const override;

private:
    // The nearest accepted hit: only the cap plane nearer along the ray is tried, and of the side
    // only the root the interval selects.
    bool FindHit(const XRay& inRay, float& outT, bool& outCap) const;

    float itsRadius;
};
