#pragma once

#include "host/core/XSharedHandle.h"
#include "host/core/XTimer.h"
#include "x-platform/core/XRGBSpectrum.h"
#include "x-platform/core/XRenderOptions.h"
#include "x-platform/rendering/X3DScene.h"
#include "x-platform/rendering/XSurfaceIntegrator.h"
#include "x-platform/rendering/XVolumeIntegrator.h"

#include <cstdint>
#include <utility>

class XFilm;
class XRenderProgressHook;
struct ImageSample;
struct XRay;

// The per-render engine that every renderer drives: it holds the render settings, a shared
// handle to the prepared scene and the two integrators, traces rays (surfaces first, then the
// volume up to the nearest surface, L = Ls Tr + Lv) and renders regions of a film. Made per
// frame or per job; the scene must not change while the tracer renders it. Trace and
// ShadowTransmittance allocate nothing and take no lock.
class XTracer
{
public:
    // Default render settings.
    XTracer();
    explicit XTracer(const XRenderOptions& inOptions);
    XTracer(const XTracer&) = delete;
    XTracer& operator=(const XTracer&) = delete;

    const XRenderOptions& GetOptions() const { return itsOptions; }

    // The prepared scene to render; the tracer shares it until another is set or the tracer is
    // deleted, so the caller may let its own handle go.
    void SetScene(XSharedHandle<X3DScene> inScene) { itsScene = std::move(inScene); }
    const XSharedHandle<X3DScene>& GetScene() const { return itsScene; }

    // Told when a region starts and ends; not owned, may be null (the default).
    void SetProgressHook(XRenderProgressHook* inHook) { itsProgressHook = inHook; }
    // Runs while a region renders and stops after it (it keeps running after a cancellation).
    const XTimer& GetTimer() const { return itsTimer; }

    const XSurfaceIntegrator& GetSurfaceIntegrator() const { return itsSurfaceIntegrator; }
    const XVolumeIntegrator& GetVolumeIntegrator() const { return itsVolumeIntegrator; }
    // Whether the volume integrator skips the volumetric's empty space (on by default; the
    // pictures are the same either way). Not to be changed while a region renders.
    void SetEmptySpaceSkipping(bool inOn) { itsVolumeIntegrator.SetEmptySpaceSkipping(inOn); }

    // The colour arriving along the ray with inDepth mirror bounces left: Ls Tr + Lv, where the
    // volume terms cover the ray only up to the nearest surface. Black without a scene.
    XRGBSpectrum Trace(const XRay& inRay, std::uint32_t inDepth, const ImageSample& inSample) const;
    // The filter on a shadow ray: (1, 1, 1) times the surfaces' transmittance (the nearest
    // surface's filter) times the volume's transmittance up to that surface. (1, 1, 1) without a
    // scene.
    XRGBSpectrum ShadowTransmittance(const XRay& inRay) const;

    // Adds one sample per stratum of every pixel of the film's sample rectangle selected by the
    // column offset and step (the stratified sampler's pixels: in each row, from left + offset
    // in steps of the step) to the film. Camera: the scene camera's camera-to-world, hither
    // 1e-6, yon 50, lens parameters 1, 40 degrees, screen (-a, -1) to (a, 1) with a = x / y
    // resolution; samplesPerPixelSide strata per axis at their centres; camera rays get the
    // maximum depth when reflections are on, else 0. The film is write-locked for the whole
    // region, the progress hook and the scene are told before and after, and
    // XThread::TestCancelCurrentThread is polled after every sample: a cancellation unwinds with
    // XThreadCancelled, releases the film's lock, calls nothing else and leaves the samples
    // already added. Throws XException (before anything is called or locked) for settings the
    // sampler refuses, such as 0 samples per pixel side or a column step of 0. Without a scene
    // it reports "itsScene" and does nothing.
    void RenderRegion(XFilm& ioFilm, std::int32_t inColumnOffset, std::uint32_t inColumnStep);

private:
    XRenderOptions itsOptions;
    XSharedHandle<X3DScene> itsScene;
    XTimer itsTimer;
    XRenderProgressHook* itsProgressHook = nullptr;
    XSurfaceIntegrator itsSurfaceIntegrator;
    XVolumeIntegrator itsVolumeIntegrator;
};
