#pragma once

#include "host/core/XLockable.h"
#include "host/core/XRefCountable.h"
#include "host/core/XStorable.h"
#include "host/imaging/XBoundingBox.h"
#include "host/imaging/XMathVectorF3.h"
#include "host/imaging/XMatrix_4x4.h"
#include "x-platform/core/XRGBSpectrum.h"
#include "x-platform/core/XTransformable.h"

#include <cstdint>
#include <span>

class XEmptySpaceGrid;
struct XRay;

// Everything the volume integrator marches through: a voxel grid placed in the world by the
// object-to-world transform and a volume transform (voxel coordinates to object space), its
// bounds and step, and the density and colour queries. Points of the queries are in voxel
// coordinates. Shared by reference count; read-only while render threads march.
// The reference count is the first base, so that the last release deletes through the object's
// own address (GCC 12 misreads a release through a later base as freeing an inner pointer).
class XVolumetric : public XRefCountable, public XStorable, public XLockable, public XTransformable
{
public:
    static constexpr std::uint32_t kClassID = 14934;

    std::uint32_t GetClassID() const override { return kClassID; }
    std::uint64_t GetStreamSize() const override;
    // The object-to-world matrix, the volume transform and the voxel-to-world matrix (16 float32
    // each), the world bounding box and the flag byte; no version record of its own (each
    // concrete class writes its identifiers around these fields). Reading recomputes the
    // inverses.
    void Read(XStream& inStream) override;
    void Write(XStream& outStream) const override;

    // Run once before rendering; does nothing here.
    virtual void Prepare() {}
    // World bounds: the volume bounds transformed by voxel-to-world, kept up to date by every
    // change of either transform.
    virtual const XBoundingBox& GetBoundingBox() const { return itsBounds; }
    // The box, in voxel coordinates, inside which the volume has data.
    virtual XBoundingBox GetVolumeBounds() const = 0;
    // The marching step in voxel units.
    virtual float GetStepSize() const { return 0.01f; }
    // The values of the channels at a voxel point, one per element of outValues; all 0 here.
    virtual void GetChannelValues(const XMathVectorF3& inVoxelPoint,
                                  std::span<float> outValues) const;
    // The extinction density (opacity in 0..1) at a voxel point.
    virtual float GetDensity(const XMathVectorF3& inVoxelPoint) const = 0;
    // The colour query of the marching loop at a voxel point seen along inDirection: sets
    // ioOpacity to the opacity there (the value passed in may be ignored) and outColour.
    virtual void Shade(const XMathVectorF3& inVoxelPoint, const XMathVectorF3& inDirection,
                       float& ioOpacity, XRGBSpectrum& outColour) const = 0;
    // Called before and after a region is rendered; do nothing here.
    virtual void RenderBegin() {}
    virtual void RenderEnd() {}
    // A disabled volumetric is left out of rendering; always enabled here.
    virtual bool IsEnabled() const { return true; }
    // An offset of the data in voxel coordinates; zero for every volumetric of this renderer.
    virtual XMathVectorF3 GetOffset() const { return {}; }
    // Cells of voxel space in which every sample's opacity is exactly 0, so that marching may
    // skip them; null (nothing known) here.
    virtual const XEmptySpaceGrid* GetEmptySpaceGrid() const { return nullptr; }

    // Stores the matrix (voxel coordinates to object space) and its inverse, then updates the
    // derived transforms and the world bounds.
    void SetVolumeTransform(const XMatrix_4x4<float>& inVolumeTransform);
    const XMatrix_4x4<float>& GetVolumeTransform() const { return itsVolumeTransform; }
    const XMatrix_4x4<float>& GetInverseVolumeTransform() const
    {
        return itsInverseVolumeTransform;
    }
    // Object-to-world x volume transform, and its inverse.
    const XMatrix_4x4<float>& GetVoxelToWorld() const { return itsVoxelToWorld; }
    const XMatrix_4x4<float>& GetWorldToVoxel() const { return itsWorldToVoxel; }
    // Carried with the volumetric; 0 by default.
    std::uint8_t GetFlag() const { return itsFlag; }
    void SetFlag(std::uint8_t inFlag) { itsFlag = inFlag; }

    // The parametric interval in which the world ray meets the world bounding box, clipped to
    // [tMin, tMax]. False when that interval is empty.
    bool IntersectP(const XRay& inRay, float* outT0, float* outT1) const;

    // Updates the derived transforms and the world bounds.
    void OnTransformChanged() override;

    // The normalised gradient estimate of a 3 x 3 x 3 neighbourhood of values indexed z-major,
    // then y, then x (offsets -1, 0, +1), pointing from high values toward low ones; the zero
    // vector when the weighted differences vanish.
    static XMathVectorF3 EstimateGradient(std::span<const float, 27> inValues);

protected:
    // Identity transforms; the world bounds are the point at the origin until the first update.
    XVolumetric() = default;
    // Copies every field as it stands, the inverses included.
    XVolumetric(const XVolumetric&) = default;

    // Recomputes voxel-to-world, world-to-voxel and the world bounds from GetVolumeBounds.
    void UpdateTransforms();

private:
    XBoundingBox itsBounds;
    XMatrix_4x4<float> itsVolumeTransform;
    XMatrix_4x4<float> itsInverseVolumeTransform;
    XMatrix_4x4<float> itsVoxelToWorld;
    XMatrix_4x4<float> itsWorldToVoxel;
    std::uint8_t itsFlag = 0;
};
