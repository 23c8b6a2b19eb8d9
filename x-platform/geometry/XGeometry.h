#pragma once

#include "host/core/XRefCountable.h"
#include "host/core/XStorable.h"
#include "host/imaging/XBoundingBox.h"
#include "host/imaging/XMathVectorF3.h"
#include "host/imaging/XMatrix_4x4.h"

#include <cstdint>

struct XRay;
struct XRayHit;

// A shape in its own object space. Geometries are shared by reference count between surfaces
// and scene copies, and are read-only while rays are traced. Rays reach them from XSurface with
// a unit direction.
// The reference count is the first base, so that the last release deletes through the object's
// own address (GCC 12 misreads a release through a later base as freeing an inner pointer).
class XGeometry : public XRefCountable, public XStorable
{
public:
    static constexpr std::uint32_t kClassID = 14933;

    std::uint32_t GetClassID() const override { return kClassID; }
    // The version record of this base.
    std::uint64_t GetStreamSize() const override;
    void Read(XStream& inStream) override;
    void Write(XStream& outStream) const override;

    // A new shared copy whose count is 1.
    XRef<XGeometry> CloneShared() const;

    // Called by the owning surface while the scene is prepared; does nothing here.
    virtual void Prepare() {}
    // Object-space test; shortens ioRay.tMax on a hit (each class documents its acceptance rule).
    virtual bool TestIntersection(XRay& ioRay) const = 0;
    // As TestIntersection, and fills the object-space hit record on a hit.
    virtual bool Intersect(XRay& ioRay, XRayHit& outHit) const = 0;
    // Object-space bounds.
    virtual XBoundingBox GetBoundingBox() const = 0;
    // Called before and after a region is rendered; do nothing here.
    virtual void RenderBegin() {}
    virtual void RenderEnd() {}

    // Surface area in object space; 1 here.
    virtual float GetArea() const { return 1.0f; }
    // A point on the geometry for light sampling from the object-space reference point, from two
    // uniform numbers in [0, 1); here the reference point itself.
    virtual XMathVectorF3 SamplePoint(const XMathVectorF3& inReference, float inU1,
                                      float inU2) const;
    // The density, with respect to solid angle at the world point inReference, of sampling the
    // direction inDirection toward this geometry placed by inObjectToWorld. Here the uniform area
    // density converted to solid angle at the point the direction meets (squared distance over
    // the cosine there), 0 when the direction misses.
    virtual float GetPdf(const XMathVectorF3& inReference, const XMathVectorF3& inDirection,
                         const XMatrix_4x4<float>& inObjectToWorld) const;
    // The uniform area density, 1 / GetArea().
    virtual float GetUniformPdf() const { return 1.0f / GetArea(); }

protected:
    // Records a hit at inT along the object-space ray: t, the hit point and its object-space copy.
    // Returns the point.
    static XMathVectorF3 RecordHitPoint(const XRay& inRay, float inT, XRayHit& outHit);
    // Turns ioNormal to face the ray (negated when it points along the ray's direction); true when
    // it was turned.
    static bool FaceRay(XMathVectorF3& ioNormal, const XMathVectorF3& inDirection);

    XGeometry() = default;
    XGeometry(const XGeometry&) = default;
};
