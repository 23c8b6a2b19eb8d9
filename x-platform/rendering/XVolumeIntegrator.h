#pragma once

#include "host/imaging/XBoundingBox.h"
#include "host/imaging/XMathVectorF3.h"
#include "x-platform/core/XRGBSpectrum.h"

#include <cstdint>

class X3DScene;
class XTracer;
class XVolumetric;
struct ImageSample;
struct XRay;

// Ray marching through the scene's one volumetric with a fixed step, between the ray's tMin and
// its tMax (which the surface query has already shortened to the nearest surface): the light
// the volume sends toward the ray's origin and the volume's transmittance. Marching happens in
// voxel space along the unit voxel-space direction, so that distances and steps are voxel
// distances. Stateless and shared by threads; allocates nothing and takes no lock.
class XVolumeIntegrator final
{
public:
    // Black without an enabled volumetric or when the ray misses it. Per sample inside the
    // volume's bounds: the transmittance so far is multiplied by (1 - previous opacity), and
    // marching stops once it falls below 1e-8; the volumetric's shading gives the sample's
    // opacity and colour c; the sample adds its ambient share c alpha T a and, for every light,
    // S c T (1 - a) alpha with S the tracer's shadow transmittance from the sample toward the
    // light (a the scene's ambient fraction). The light's intensity does not enter. Depth and
    // sample are not used.
    XRGBSpectrum Li(const XRay& inRay, std::uint32_t inDepth, const ImageSample& inSample,
                    const X3DScene& inScene, const XTracer& inTracer) const;

    // (1, 1, 1) without an enabled volumetric or when the ray misses it; otherwise the product
    // over the samples inside the bounds of (1 - density x step), stopping once the mean of the
    // three channels falls below 1e-8.
    XRGBSpectrum Transmittance(const XRay& inRay, const X3DScene& inScene) const;

private:
    // The sample lattice of one ray: samples lie at origin + direction * t for count values of t
    // from the first one up in steps of step (voxel space, unit direction).
    struct XMarch
    {
        const XVolumetric* volumetric = nullptr;
        XBoundingBox bounds; // the volumetric's bounds in voxel space
        XMathVectorF3 origin;
        XMathVectorF3 direction;
        float firstT = 0;
        float step = 0;
        std::uint32_t count = 0;
    };

    // What Li carries from one sample to the next.
    struct XLiState
    {
        float transmittance = 1.0f;
        float opacity = 0.0f;
        XRGBSpectrum radiance;
    };

    // Sets up the lattice; false when there is no enabled volumetric or the ray misses it.
    static bool SetUpMarch(const XRay& inRay, const X3DScene& inScene, XMarch& outMarch);

    // One sample of Li at the voxel point inPoint inside the bounds; false when marching stops.
    static bool AddLiSample(const XMarch& inMarch, const XMathVectorF3& inPoint,
                            const X3DScene& inScene, const XTracer& inTracer, XLiState& ioState);
};
