#pragma once

#include "host/core/XSharedHandle.h"
#include "x-platform/core/XRenderOptions.h"

#include <cstdint>

class X3DScene;
class XFilm;

// Drives the rendering of frames. Its synchronous operation renders a film directly through the
// tracer's region loop on the calling thread and a pool of helpers, without the job queue.
class XVolumeRayTracerTool
{
public:
    // Renders every pixel of the film's sample rectangle on inThreads threads (0: one per core)
    // and adds the samples to ioFilm. The prepared scene is shared read-only by all threads; each
    // renders interleaved columns into a film of its own, and the films are merged at the end, so
    // with one sample per pixel side the result equals a single-threaded render. Progress is
    // spoken as "Rendering" through the progress centre. A cancellation of the calling thread
    // stops every helper and is passed on.
    static void RenderFilm(const XSharedHandle<X3DScene>& inScene, const XRenderOptions& inOptions,
                           XFilm& ioFilm, std::uint32_t inThreads);
};
