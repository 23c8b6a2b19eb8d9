#include "x-platform/rendering/XSurfaceIntegrator.h"

#include "host/core/XInternalError.h"
#include "x-platform/core/XRay.h"
#include "x-platform/geometry/XRayHit.h"
#include "x-platform/rendering/X3DScene.h"
#include "x-platform/rendering/XTracer.h"
#include "x-platform/shading/XLight.h"
#include "x-platform/shading/XMaterial.h"

#include <memory>

X_SOURCE_NAME("x-platform/XSurfaceIntegrator");

namespace
{
// Offsets of the rays that leave a hit point, in world units, so that they do not hit the
// surface they start on; the transmitted ray's offset is the larger one.
constexpr float kShadowOffset = 1.0e-5f;
constexpr float kMirrorOffset = 1.0e-5f;
constexpr float kTransmissionOffset = 0.01f;
constexpr float kSecondaryRayLength = 1.0e6f;
} // namespace

XRGBSpectrum XSurfaceIntegrator::Li(XRay& ioRay, std::uint32_t inDepth, const ImageSample& inSample,
                                    const X3DScene& inScene, const XTracer& inTracer) const
{
    XRayHit hit;
    if (!inScene.Intersect(ioRay, hit))
    {
        return inScene.GetBackground();
    }
    if (!hit.material)
    {
        // Every surface of a rendered scene carries a material.
        X_ASSERT(hit.material);
        return XRGBSpectrum();
    }
    const XMaterial& material = *hit.material;
    const XMathVectorF3 toViewer = -ioRay.direction;
    const float ambientFraction = inScene.GetAmbientFraction();
    XRGBSpectrum radiance;
    for (const std::unique_ptr<XLight>& light : inScene.GetLights())
    {
        AddLight(radiance, *light, material, hit, toViewer, ambientFraction, inTracer);
    }

    const XRenderOptions& options = inTracer.GetOptions();
    if (options.reflections && inDepth != 0)
    {
        // The mirror image of the incoming direction about the shading normal.
        const XMathVectorF3& d = ioRay.direction;
        const XMathVectorF3 mirrored = d - hit.normal * (2.0f * Dot(d, hit.normal));
        const XRay mirrorRay(hit.point, mirrored, kMirrorOffset, kSecondaryRayLength);
        const XRGBSpectrum traced = inTracer.Trace(mirrorRay, inDepth - 1, inSample);
        XRGBSpectrum specular;
        material.GetSpecularColour(specular, hit);
        radiance += specular * traced;
    }
    if (options.transmission)
    {
        // No depth test on purpose: transparent surfaces are passed even at depth 0.
        const XRay throughRay(hit.point, ioRay.direction, kTransmissionOffset, kSecondaryRayLength);
        XRGBSpectrum filter;
        material.GetAmbientColour(filter, hit);
        const XRGBSpectrum traced =
            inTracer.Trace(throughRay, inDepth == 0 ? 0 : inDepth - 1, inSample);
        radiance += filter * traced;
    }
    return radiance;
}

void XSurfaceIntegrator::AddLight(XRGBSpectrum& ioRadiance, const XLight& inLight,
                                  const XMaterial& inMaterial, const XRayHit& inHit,
                                  const XMathVectorF3& inToViewer, float inAmbientFraction,
                                  const XTracer& inTracer)
{
    // A point light's density is the 1 set here; the light leaves it alone.
    const float density = 1.0f;
    XRGBSpectrum intensity;
    XMathVectorF3 toLight;
    inLight.SampleIncident(intensity, inHit.point, toLight);
    const float distance = toLight.Length();
    const XMathVectorF3 wi = toLight / distance;
    XRGBSpectrum reflected;
    inMaterial.Shade(reflected, inToViewer, wi, inHit);
    const float cosine = Dot(wi, inHit.normal);
    if (cosine > 0.0f)
    {
        // Ends just short of the light, so that a light lying on a surface does not shadow
        // itself.
        const XRay shadowRay(inHit.point, wi, kShadowOffset, distance - kShadowOffset);
        const XRGBSpectrum transmittance = inTracer.ShadowTransmittance(shadowRay);
        ioRadiance +=
            reflected * intensity * transmittance * (cosine / density) * (1.0f - inAmbientFraction);
    }
    // The ambient share reaches the surface unshadowed, also from behind.
    XRGBSpectrum diffuse;
    inMaterial.GetDiffuseColour(diffuse, inHit);
    ioRadiance += diffuse * intensity * inAmbientFraction;
}

XRGBSpectrum XSurfaceIntegrator::Transmittance(XRay& ioRay, const X3DScene& inScene) const
{
    XRayHit hit;
    if (!inScene.Intersect(ioRay, hit))
    {
        return XRGBSpectrum(1.0f, 1.0f, 1.0f);
    }
    if (!hit.material)
    {
        X_ASSERT(hit.material);
        return XRGBSpectrum();
    }
    XRGBSpectrum filter;
    hit.material->GetAmbientColour(filter, hit);
    return filter;
}
