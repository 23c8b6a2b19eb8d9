#pragma once

#include "host/core/XSharedHandle.h"
#include "host/ui/XBaseRenderer.h"
#include "x-platform/core/XRenderOptions.h"
#include "x-platform/image/XImageSampleFilter.h"
#include "x-platform/rendering/X3DScene.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

class XFilm;
class XVolumeRayTracerTool;

// The host-facing renderer: reads a scene file (docs/scene-format.md) with the stack it names and
// builds the X3DScene, the film and the render options from it. Every error is an XException
// whose message names the scene file and the JSON path of the offending value, or the file and
// line of a spot table, or the stack and what is wrong with it. Frames render through the
// volume ray tracer tool, as tiles and passes on a job queue.
class XRayTracerRenderer final : public XBaseRenderer
{
public:
    explicit XRayTracerRenderer(const std::filesystem::path& inSceneFile);
    ~XRayTracerRenderer() override;
    XRayTracerRenderer(const XRayTracerRenderer&) = delete;
    XRayTracerRenderer& operator=(const XRayTracerRenderer&) = delete;

    // Overrides of the scene file's film and sampling (from the command line).
    void SetResolution(std::uint32_t inWidth, std::uint32_t inHeight) override;
    void SetSamplesPerPixelSide(std::uint32_t inSamples) override;

    std::uint32_t GetWidth() const override { return itsWidth; }
    std::uint32_t GetHeight() const override { return itsHeight; }

    void RenderFrame(std::unique_ptr<XNetJobQueueBackend> inBackend) override;
    std::unique_ptr<XARGB32Volume> GetFrameBufferCopy() const override;
    std::vector<std::string> GetFrameFailures() const override;
    void WriteFrame(const std::filesystem::path& inPngPath,
                    const std::filesystem::path& inExrPath) const override;
    const XRenderOptions& GetRenderOptions() const { return itsOptions; }
    // World units to render units (1 when the scene is small enough, else 10 / D).
    float GetRenderScale() const { return itsRenderScale; }

    // The prepared scene, shared with every render of it.
    const XSharedHandle<X3DScene>& GetScene();
    // An empty film of the requested size with a clone of the scene file's filter.
    std::unique_ptr<XFilm> CreateFilm() const;

    // The smallest film side the renderer accepts: a smaller one cannot be cut into tiles.
    static constexpr std::uint32_t kMinimumFilmSide = 32;
    static constexpr std::uint32_t kMaximumFilmSide = 16384;

private:
    class XBuilder;

    XSharedHandle<X3DScene> itsScene;
    // The tool of the last frame, which holds its pictures.
    std::unique_ptr<XVolumeRayTracerTool> itsTool;
    std::unique_ptr<XImageSampleFilter> itsFilter;
    XRenderOptions itsOptions;
    std::uint32_t itsWidth = 512;
    std::uint32_t itsHeight = 512;
    float itsRenderScale = 1.0f;
};
