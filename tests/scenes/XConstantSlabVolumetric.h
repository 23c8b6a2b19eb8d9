#pragma once

// A constant-density slab for tests and benchmarks: opacity and colour are constant inside the
// voxel box [0, size] on each axis and zero outside, and the marching step is a parameter. Its
// shading ignores the opacity passed in and returns the density (as the renderer's volumetrics
// do). It counts its queries and the render notifications, so that tests can see how far a
// march went. With step lengths and positions that are short binary fractions, the transmittance
// along an axis-aligned ray follows by hand from the marching rules (XComputeSlabMarch).

#include "x-platform/volume/XVolumetric.h"

#include <atomic>
#include <cmath>
#include <cstdint>
#include <memory>

class XConstantSlabVolumetric final : public XVolumetric
{
public:
    XConstantSlabVolumetric(const XMathVectorF3& inSize, float inDensity,
                            const XRGBSpectrum& inColour, float inStepSize)
        : itsSize(inSize), itsDensity(inDensity), itsColour(inColour), itsStepSize(inStepSize)
    {
        UpdateTransforms();
    }
    XConstantSlabVolumetric(const XConstantSlabVolumetric& inOther)
        : XVolumetric(inOther), itsSize(inOther.itsSize), itsDensity(inOther.itsDensity),
          itsColour(inOther.itsColour), itsStepSize(inOther.itsStepSize)
    {
    }

    std::unique_ptr<XStorable> Clone() const override
    {
        return std::make_unique<XConstantSlabVolumetric>(*this);
    }

    XBoundingBox GetVolumeBounds() const override
    {
        return XBoundingBox(XMathVectorF3(0, 0, 0), itsSize);
    }
    float GetStepSize() const override { return itsStepSize; }
    float GetDensity(const XMathVectorF3& inVoxelPoint) const override
    {
        itsDensityCalls.fetch_add(1, std::memory_order_relaxed);
        return GetVolumeBounds().Contains(inVoxelPoint) ? itsDensity : 0.0f;
    }
    void Shade(const XMathVectorF3& inVoxelPoint, const XMathVectorF3&, float& ioOpacity,
               XRGBSpectrum& outColour) const override
    {
        itsShadeCalls.fetch_add(1, std::memory_order_relaxed);
        const bool inside = GetVolumeBounds().Contains(inVoxelPoint);
        ioOpacity = inside ? itsDensity : 0.0f;
        outColour = inside ? itsColour : XRGBSpectrum();
    }
    void RenderBegin() override { itsRenderBegins.fetch_add(1, std::memory_order_relaxed); }
    void RenderEnd() override { itsRenderEnds.fetch_add(1, std::memory_order_relaxed); }

    int GetShadeCalls() const { return itsShadeCalls.load(); }
    int GetDensityCalls() const { return itsDensityCalls.load(); }
    int GetRenderBegins() const { return itsRenderBegins.load(); }
    int GetRenderEnds() const { return itsRenderEnds.load(); }
    void ResetCounters()
    {
        itsShadeCalls = 0;
        itsDensityCalls = 0;
        itsRenderBegins = 0;
        itsRenderEnds = 0;
    }

private:
    XMathVectorF3 itsSize;
    float itsDensity;
    XRGBSpectrum itsColour;
    float itsStepSize;
    mutable std::atomic<int> itsShadeCalls{0};
    mutable std::atomic<int> itsDensityCalls{0};
    std::atomic<int> itsRenderBegins{0};
    std::atomic<int> itsRenderEnds{0};
};

// The sample lattice of a march over the voxel distances [d0, d1] from the ray's origin with the
// volumetric's step length, by the marching rules: n = trunc(ceil(d1 - d0) / step length), step
// = (d1 - d0) / n, the first sample at ceil(d0 / step) * step, and trunc(((t + len) - t) / step)
// samples, all in float32.
struct XSlabMarch
{
    float step = 0;
    float firstT = 0;
    std::uint32_t count = 0;
};

inline XSlabMarch XComputeSlabMarch(float inD0, float inD1, float inStepLength)
{
    XSlabMarch march;
    const float length = inD1 - inD0;
    const std::uint32_t n = static_cast<std::uint32_t>(std::ceil(length) / inStepLength);
    march.step = length / static_cast<float>(n);
    march.firstT = std::ceil(inD0 / march.step) * march.step;
    march.count = static_cast<std::uint32_t>(((march.firstT + length) - march.firstT) / march.step);
    return march;
}

// The transmittance of a march whose samples all lie inside a slab of density inDensity: the
// product over the samples of (1 - density * step).
inline float XSlabTransmittance(const XSlabMarch& inMarch, float inDensity)
{
    float transmittance = 1.0f;
    for (std::uint32_t i = 0; i < inMarch.count; ++i)
    {
        transmittance *= 1.0f - inDensity * inMarch.step;
    }
    return transmittance;
}
