#pragma once

#include "x-platform/geometry/XGeometry.h"

// A disk of the given radius around the z axis in the plane z = GetZ().
class XDisk : public XGeometry
{
public:
    static constexpr std::uint32_t kClassID = 14938;

    explicit XDisk(float inRadius = 0.0f, float inZ = 0.0f) : itsRadius(inRadius), itsZ(inZ) {}

    float GetRadius() const { return itsRadius; }
    void SetRadius(float inRadius) { itsRadius = inRadius; }
    // The plane is not part of the stored form: a read disk keeps the plane it had.
    float GetZ() const { return itsZ; }
    void SetZ(float inZ) { itsZ = inZ; }

    std::uint32_t GetClassID() const override { return kClassID; }
    std::unique_ptr<XStorable> Clone() const override;
    std::uint64_t GetStreamSize() const override;
    void Read(XStream& inStream) override;
    void Write(XStream& outStream) const override;

    // Sets tMax when the ray meets the disk inside [tMin, tMax], and returns true in every case:
    // Intersect relies on it, and pictures depend on it.
    bool TestIntersection(XRay& ioRay) const override;
    // Always a hit, at the ray's tMax after the test; normal (0, 0, -1) flipped to face the ray.
    // Leaves u, v and the inside flag alone.
    bool Intersect(XRay& ioRay, XRayHit& outHit) const override;
    // The flat box from (-radius, -radius, z) to (radius, radius, z).
    XBoundingBox GetBoundingBox() const override;

private:
    float itsRadius;
    float itsZ;
};
