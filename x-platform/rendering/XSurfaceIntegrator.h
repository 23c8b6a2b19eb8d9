#pragma once

#include "host/imaging/XMathVectorF3.h"
#include "x-platform/core/XRGBSpectrum.h"

#include <cstdint>

class X3DScene;
class XLight;
class XMaterial;
class XTracer;
struct ImageSample;
struct XRay;
struct XRayHit;

// The light arriving along a ray from the scene's surfaces, Whitted style: at the nearest hit,
// every light gives a share (1 - a) of shadowed, cosine-weighted direct light and a share a of
// unshadowed ambient light (a the scene's ambient fraction); a mirror ray and a straight-through
// transmitted ray are followed through the tracer. Stateless and shared by threads; allocates
// nothing.
class XSurfaceIntegrator final
{
public:
    // The radiance toward the ray's origin; the scene's background colour when nothing is hit.
    // Shortens ioRay.tMax to the nearest hit. The mirror ray is traced only when the tracer's
    // reflections are on and inDepth is not 0 (with inDepth - 1); the transmitted ray whenever
    // its transmission is on (with inDepth - 1, or 0 at depth 0), so a chain of transparent
    // surfaces is followed until the ray leaves the scene. inSample is passed on unchanged.
    XRGBSpectrum Li(XRay& ioRay, std::uint32_t inDepth, const ImageSample& inSample,
                    const X3DScene& inScene, const XTracer& inTracer) const;

    // The filter that surfaces put on a shadow ray: the ambient colour of the nearest hit's
    // material, (1, 1, 1) when nothing is hit. Shortens ioRay.tMax to the nearest hit, so that
    // the volume is attenuated only up to it.
    XRGBSpectrum Transmittance(XRay& ioRay, const X3DScene& inScene) const;

private:
    // Adds one light's direct share (when the light is in front of the surface) and its ambient
    // share to ioRadiance.
    static void AddLight(XRGBSpectrum& ioRadiance, const XLight& inLight,
                         const XMaterial& inMaterial, const XRayHit& inHit,
                         const XMathVectorF3& inToViewer, float inAmbientFraction,
                         const XTracer& inTracer);
};
