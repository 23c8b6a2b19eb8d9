#include "x-platform/rendering/XTracer.h"

#include "host/core/XException.h"
#include "host/core/XInternalError.h"
#include "host/core/XLockable.h"
#include "host/core/XThread.h"
#include "host/imaging/XRect.h"
#include "x-platform/core/XRay.h"
#include "x-platform/image/XFilm.h"
#include "x-platform/image/XImageSampler.h"
#include "x-platform/image/XStratifiedImageSampler.h"
#include "x-platform/rendering/XPerspectiveCamera.h"
#include "x-platform/rendering/XRenderProgressHook.h"

#include <optional>
#include <string>

X_SOURCE_NAME("x-platform/XTracer");

namespace
{
// The fixed camera of every render.
constexpr float kHither = 1.0e-6f; // the float nearest to 1e-6
constexpr float kYon = 50.0f;
constexpr float kLensParameter = 1.0f;
constexpr float kFieldOfView = 40.0f; // degrees, vertical
// The alpha given with every film sample.
constexpr float kSampleAlpha = 1.0f;
} // namespace

XTracer::XTracer() = default;

XTracer::XTracer(const XRenderOptions& inOptions) : itsOptions(inOptions) {}

XRGBSpectrum XTracer::Trace(const XRay& inRay, std::uint32_t inDepth,
                            const ImageSample& inSample) const
{
    if (!itsScene)
    {
        X_ASSERT(itsScene);
        return XRGBSpectrum();
    }
    const X3DScene& scene = *itsScene;
    // The surface query shortens the ray to the nearest surface; the volume terms use it so.
    XRay ray = inRay;
    const XRGBSpectrum surface = itsSurfaceIntegrator.Li(ray, inDepth, inSample, scene, *this);
    const XRGBSpectrum volume = itsVolumeIntegrator.Li(ray, inDepth, inSample, scene, *this);
    const XRGBSpectrum transmittance = itsVolumeIntegrator.Transmittance(ray, scene);
    return surface * transmittance + volume;
}

XRGBSpectrum XTracer::ShadowTransmittance(const XRay& inRay) const
{
    XRGBSpectrum transmittance(1.0f, 1.0f, 1.0f);
    if (!itsScene)
    {
        X_ASSERT(itsScene);
        return transmittance;
    }
    const X3DScene& scene = *itsScene;
    // One ray object for both: the surface query shortens it, so the volume attenuates only up
    // to the nearest surface on the way to the light.
    XRay ray = inRay;
    transmittance *= itsSurfaceIntegrator.Transmittance(ray, scene);
    transmittance *= itsVolumeIntegrator.Transmittance(ray, scene);
    return transmittance;
}

void XTracer::RenderRegion(XFilm& ioFilm, std::int32_t inColumnOffset, std::uint32_t inColumnStep)
{
    if (!itsScene)
    {
        X_ASSERT(itsScene);
        return;
    }
    if (itsOptions.samplesPerPixelSide == 0 || inColumnStep == 0)
    {
        throw XException(XException::kInvalidArgument,
                         "region render needs at least one sample per pixel side and a column "
                         "step of at least 1 (got " +
                             std::to_string(itsOptions.samplesPerPixelSide) + " and " +
                             std::to_string(inColumnStep) + ")");
    }
    X3DScene& scene = *itsScene;
    const std::uint32_t depth = itsOptions.reflections ? itsOptions.maxDepth : 0;

    // Camera and sampler are built before anything is called or locked, so that bad settings
    // throw first. A sample rectangle without pixels has no samples (the sampler would yield its
    // first pixel and never end).
    const XRect& pixels = ioFilm.GetSampleRect();
    std::optional<XPerspectiveCamera> camera;
    std::optional<XStratifiedImageSampler> sampler;
    if (!pixels.IsEmpty())
    {
        const float aspect = ioFilm.GetResolutionX() / ioFilm.GetResolutionY();
        camera.emplace(scene.GetCamera().GetCameraToWorld(), XRectF(-aspect, -1.0f, aspect, 1.0f),
                       kHither, kYon, kLensParameter, kLensParameter, kFieldOfView, ioFilm);
        sampler.emplace(pixels, itsOptions.samplesPerPixelSide, itsOptions.samplesPerPixelSide,
                        false, inColumnOffset, inColumnStep);
    }

    itsTimer.Restart();
    if (itsProgressHook != nullptr)
    {
        itsProgressHook->Begin();
    }
    const XLock filmLock(ioFilm, XLockMode::kWrite);
    scene.RenderBegin();
    if (sampler)
    {
        ImageSample sample;
        XRay ray;
        while (sampler->GetNextSample(sample))
        {
            camera->GenerateRay(sample, ray);
            const XRGBSpectrum colour = Trace(ray, depth, sample);
            ioFilm.AddSample(sample.imageX, sample.imageY, colour, kSampleAlpha);
            XThread::TestCancelCurrentThread();
        }
    }
    if (itsProgressHook != nullptr)
    {
        itsProgressHook->End();
    }
    scene.RenderEnd();
    itsTimer.Stop();
}
