#include "x-platform/rendering/XVolumeIntegrator.h"

#include "x-platform/core/XRay.h"
#include "x-platform/rendering/X3DScene.h"
#include "x-platform/rendering/XTracer.h"
#include "x-platform/shading/XLight.h"
#include "x-platform/volume/XEmptySpaceGrid.h"
#include "x-platform/volume/XVolumetric.h"

#include <cmath>
#include <limits>
#include <memory>
#include <vector>

namespace
{
// Marching stops once the transmittance falls below this.
constexpr float kMinTransmittance = 1.0e-8f;
// The grid's test costs about a tenth of a sample's shading, so it pays only where at least this
// share of the sample positions is empty.
constexpr float kMinEmptySampleFraction = 0.15f;
// Shadow rays from a sample toward a light start and end this far (world units) from either end.
constexpr float kShadowOffset = 0.001f;

// A float truncated toward zero to an unsigned count; NaN and values below 1 give 0, values
// beyond the range give the largest count (a conversion of those would be undefined).
std::uint32_t TruncateToCount(float inValue)
{
    if (!(inValue >= 1.0f))
    {
        return 0;
    }
    if (inValue >= 4294967296.0f)
    {
        return std::numeric_limits<std::uint32_t>::max();
    }
    return static_cast<std::uint32_t>(inValue);
}
} // namespace

bool XVolumeIntegrator::SetUpMarch(const XRay& inRay, const X3DScene& inScene, XMarch& outMarch)
{
    float t0 = 0.0f;
    float t1 = 0.0f;
    if (!inScene.IntersectVolumetric(inRay, &t0, &t1))
    {
        return false;
    }
    const XVolumetric& volumetric = *inScene.GetVolumetric();
    const XMatrix_4x4<float>& worldToVoxel = volumetric.GetWorldToVoxel();
    outMarch.volumetric = &volumetric;
    outMarch.bounds = volumetric.GetVolumeBounds();
    outMarch.origin = worldToVoxel.TransformPoint(inRay.origin);
    outMarch.direction = worldToVoxel.TransformVector(inRay.direction).Normalized();
    const float d0 = (worldToVoxel.TransformPoint(inRay.At(t0)) - outMarch.origin).Length();
    const float d1 = (worldToVoxel.TransformPoint(inRay.At(t1)) - outMarch.origin).Length();
    const float length = d1 - d0;
    // The ceiling is applied to the length, not to the quotient. An interval shorter than one
    // step can give n = 0, an infinite step and no sample.
    const std::uint32_t n = TruncateToCount(std::ceil(length) / volumetric.GetStepSize());
    outMarch.step = length / static_cast<float>(n);
    // Every ray samples on the lattice of multiples of the step from its origin. The count is
    // evaluated in float32 in exactly this order.
    const float t = std::ceil(d0 / outMarch.step) * outMarch.step;
    outMarch.firstT = t;
    outMarch.count = TruncateToCount(((t + length) - t) / outMarch.step);
    return true;
}

const XEmptySpaceGrid* XVolumeIntegrator::GetSkipGrid(const XVolumetric& inVolumetric) const
{
    const XEmptySpaceGrid* const grid =
        itsSkipsEmptySpace ? inVolumetric.GetEmptySpaceGrid() : nullptr;
    return grid != nullptr && grid->GetEmptySampleFraction() >= kMinEmptySampleFraction ? grid
                                                                                        : nullptr;
}

XRGBSpectrum XVolumeIntegrator::Li(const XRay& inRay, std::uint32_t, const ImageSample&,
                                   const X3DScene& inScene, const XTracer& inTracer) const
{
    XMarch march;
    if (!SetUpMarch(inRay, inScene, march))
    {
        return XRGBSpectrum();
    }
    const XEmptySpaceGrid* const grid = GetSkipGrid(*march.volumetric);
    XLiState state;
    float t = march.firstT;
    for (std::uint32_t i = 0; i < march.count; ++i, t += march.step)
    {
        const XMathVectorF3 p = march.origin + march.direction * t;
        if (!march.bounds.Contains(p))
        {
            continue;
        }
        if (grid != nullptr && grid->IsSampleEmptyAt(p))
        {
            if (!PassEmptyLiSample(state))
            {
                break;
            }
            continue;
        }
        if (!AddLiSample(march, p, inScene, inTracer, itsSkipsEmptySpace, state))
        {
            break;
        }
    }
    return state.radiance;
}

bool XVolumeIntegrator::PassEmptyLiSample(XLiState& ioState)
{
    // What AddLiSample does with a sample of opacity 0: the shading would add 0 x colour.
    ioState.transmittance *= 1.0f - ioState.opacity;
    ioState.opacity = 0.0f;
    return !(ioState.transmittance < kMinTransmittance);
}

bool XVolumeIntegrator::AddLiSample(const XMarch& inMarch, const XMathVectorF3& inPoint,
                                    const X3DScene& inScene, const XTracer& inTracer,
                                    bool inSkipTransparent, XLiState& ioState)
{
    // The previous sample's opacity attenuates this one and everything behind it.
    ioState.transmittance *= 1.0f - ioState.opacity;
    if (ioState.transmittance < kMinTransmittance)
    {
        return false;
    }
    const float transmittance = ioState.transmittance;
    float alpha = ioState.opacity * inMarch.step;
    XRGBSpectrum colour;
    inMarch.volumetric->Shade(inPoint, inMarch.direction, alpha, colour);
    ioState.opacity = alpha;
    const float ambient = inScene.GetAmbientFraction();
    ioState.radiance += colour * alpha * transmittance * ambient;

    // A transparent sample's light terms are 0 x a finite colour: skipping may leave them out.
    const std::vector<std::unique_ptr<XLight>>& lights = inScene.GetLights();
    if (lights.empty() || (inSkipTransparent && alpha == 0.0f))
    {
        return true;
    }
    const XMathVectorF3 worldPoint = inMarch.volumetric->GetVoxelToWorld().TransformPoint(inPoint);
    for (const std::unique_ptr<XLight>& light : lights)
    {
        XRGBSpectrum intensity;
        XMathVectorF3 toLight;
        light->SampleIncident(intensity, worldPoint, toLight);
        const float distance = toLight.Length();
        const XMathVectorF3 wi = toLight / distance;
        const XRay shadowRay(worldPoint, wi, kShadowOffset, distance - kShadowOffset);
        const XRGBSpectrum shadow = inTracer.ShadowTransmittance(shadowRay);
        ioState.radiance += shadow * colour * transmittance * (1.0f - ambient) * alpha;
    }
    return true;
}

XRGBSpectrum XVolumeIntegrator::Transmittance(const XRay& inRay, const X3DScene& inScene) const
{
    XRGBSpectrum transmittance(1.0f, 1.0f, 1.0f);
    XMarch march;
    if (!SetUpMarch(inRay, inScene, march))
    {
        return transmittance;
    }
    const XEmptySpaceGrid* const grid = GetSkipGrid(*march.volumetric);
    float t = march.firstT;
    for (std::uint32_t i = 0; i < march.count; ++i, t += march.step)
    {
        const XMathVectorF3 p = march.origin + march.direction * t;
        if (!march.bounds.Contains(p))
        {
            // Nothing changes the transmittance, so the stop test would give what it gave at
            // the last sample that did.
            continue;
        }
        if (grid != nullptr && grid->IsSampleEmptyAt(p))
        {
            continue; // opacity 0: as above
        }
        const float sigma = march.volumetric->GetDensity(p);
        if (sigma > 0.0f)
        {
            transmittance *= 1.0f - sigma * march.step;
            if ((transmittance.r + transmittance.g + transmittance.b) / 3.0f < kMinTransmittance)
            {
                break;
            }
        }
    }
    return transmittance;
}

std::uint64_t XVolumeIntegrator::CountSamples(const XRay& inRay, const X3DScene& inScene)
{
    XMarch march;
    if (!SetUpMarch(inRay, inScene, march))
    {
        return 0;
    }
    std::uint64_t inside = 0;
    float t = march.firstT;
    for (std::uint32_t i = 0; i < march.count; ++i, t += march.step)
    {
        inside += march.bounds.Contains(march.origin + march.direction * t) ? 1 : 0;
    }
    return inside;
}
