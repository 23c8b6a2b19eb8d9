#pragma once

#include "host/core/XRefCountable.h"
#include "host/core/XStorable.h"
#include "host/imaging/XBoundingBox.h"
#include "x-platform/core/XTransformable.h"
#include "x-platform/geometry/XGeometry.h"
#include "x-platform/shading/XMaterial.h"

#include <cstdint>
#include <vector>

struct XRay;
struct XRayHit;

// A renderable object: a placement, an ordered list of shared geometries in object space, one
// shared material and a cached world bounding box. Copies share the geometries and the material,
// which are read-only while rays are traced.
class XSurface : public XStorable, public XTransformable
{
public:
    static constexpr std::uint32_t kClassID = 14932;

    XSurface() = default;
    XSurface(const XSurface& inOther) = default;
    XSurface& operator=(const XSurface&) = delete;

    // Replaces the geometries and recomputes the world bounds.
    void SetGeometries(std::vector<XRef<XGeometry>> inGeometries);
    const std::vector<XRef<XGeometry>>& GetGeometries() const { return itsGeometries; }
    void SetMaterial(const XRef<XMaterial>& inMaterial) { itsMaterial = inMaterial; }
    const XRef<XMaterial>& GetMaterial() const { return itsMaterial; }
    // Carried with the surface for the integrator; 0 by default.
    std::uint8_t GetFlag() const { return itsFlag; }
    void SetFlag(std::uint8_t inFlag) { itsFlag = inFlag; }
    // Only enabled surfaces enter the scene's hierarchy. Not part of the stored form: a surface
    // read from a stream is enabled.
    bool IsEnabled() const { return itsEnabled; }
    void SetEnabled(bool inEnabled) { itsEnabled = inEnabled; }

    // World bounds: the union of the geometries' boxes transformed by the placement, or the
    // point at the origin when there is no geometry.
    const XBoundingBox& GetBoundingBox() const { return itsBounds; }

    // Nearest-hit test of a world ray. The geometries are asked in list order and the first that
    // hits wins (later ones are not tried). On a hit the record is in world space, its t and the
    // ray's tMax are the world parameter, and its material is this surface's.
    bool Intersect(XRay& ioRay, XRayHit& outHit) const;
    // Occlusion test of a world ray: true when a geometry's TestIntersection reports a hit.
    // The world ray is not changed.
    bool IntersectP(const XRay& inRay) const;

    // Forwarded to every geometry.
    void Prepare();
    void RenderBegin();
    void RenderEnd();

    // Recomputes the world bounds.
    void OnTransformChanged() override;

    std::uint32_t GetClassID() const override { return kClassID; }
    std::unique_ptr<XStorable> Clone() const override;
    std::uint64_t GetStreamSize() const override;
    void Read(XStream& inStream) override;
    void Write(XStream& outStream) const override;

private:
    // The ray in object space with a unit direction; outScale receives the factor by which the
    // object-space parameter exceeds the world one.
    XRay ToObjectSpace(const XRay& inRay, float& outScale) const;
    void UpdateBounds();

    std::vector<XRef<XGeometry>> itsGeometries;
    XBoundingBox itsBounds;
    XRef<XMaterial> itsMaterial;
    std::uint8_t itsFlag = 0;
    bool itsEnabled = true;
};
