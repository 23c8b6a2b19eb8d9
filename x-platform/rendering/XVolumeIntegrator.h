#pragma once

#include "host/imaging/XBoundingBox.h"
#include "host/imaging/XMathVectorF3.h"
#include "x-platform/core/XRGBSpectrum.h"

#include <cstdint>

class X3DScene;
class XEmptySpaceGrid;
class XTracer;
class XVolumetric;
struct ImageSample;
struct XRay;

// Ray marching through the scene's one volumetric with a fixed step, between the ray's tMin and
// its tMax (which the surface query has already shortened to the nearest surface): the light
// the volume sends toward the ray's origin and the volume's transmittance. Marching happens in
// voxel space along the unit voxel-space direction, so that distances and steps are voxel
// distances.
//
// Empty-space skipping: where the volumetric's empty-space grid rules out a good share of the
// samples, the samples it knows to have opacity exactly 0 skip the shading (or the density
// query) and only hand the previous opacity on to the transmittance, as a shaded sample of
// opacity 0 would; and a sample whose shading gives opacity 0 casts no shadow rays. Each left-out
// term is 0 times a finite value, so every result is bit-identical to the plain march, which
// shades every sample (the samples stay on the same lattice, t advancing by the step each time).
// Shared by threads once set up; allocates nothing and takes no lock.
class XVolumeIntegrator final
{
public:
    // Skipping of empty space is on by default; turning it off gives the plain march (for
    // comparisons and benchmarks). The result is the same either way.
    void SetEmptySpaceSkipping(bool inOn) { itsSkipsEmptySpace = inOn; }
    bool SkipsEmptySpace() const { return itsSkipsEmptySpace; }

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

    // The number of the ray's marching positions that lie inside the volumetric's bounds, early
    // termination aside (0 when the ray misses it): the work measure of the benchmarks.
    static std::uint64_t CountSamples(const XRay& inRay, const X3DScene& inScene);

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
    // With inSkipTransparent, a sample of opacity 0 casts no shadow rays.
    static bool AddLiSample(const XMarch& inMarch, const XMathVectorF3& inPoint,
                            const X3DScene& inScene, const XTracer& inTracer,
                            bool inSkipTransparent, XLiState& ioState);
    // A sample whose opacity is known to be 0: it only hands the previous opacity on to the
    // transmittance, as AddLiSample would; false when marching stops.
    static bool PassEmptyLiSample(XLiState& ioState);

    // The volumetric's grid when skipping is on and the grid rules out enough of the samples to
    // repay its test, else null.
    const XEmptySpaceGrid* GetSkipGrid(const XVolumetric& inVolumetric) const;

    bool itsSkipsEmptySpace = true;
};
