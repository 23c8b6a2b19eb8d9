#include "apps/XRenderCommand.h"

#include "apps/XExitCode.h"
#include "host/core/XCancellationScope.h"
#include "host/core/XException.h"
#include "host/core/XSessionLog.h"
#include "host/core/XThreadCancelled.h"
#include "host/core/XTimer.h"
#include "host/imaging/XARGB32Volume.h"
#include "x-platform/image/XExrWriter.h"
#include "x-platform/image/XFilm.h"
#include "x-platform/image/XHighDynamicRangeImage.h"
#include "x-platform/image/XPngWriter.h"
#include "x-platform/module/XRayTracerRenderer.h"
#include "x-platform/module/XVolumeRayTracerTool.h"

#include <CLI/CLI.hpp>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <memory>

namespace
{
// Set by Ctrl-C; the render polls it after every sample.
std::atomic<bool> gInterrupted{false};

extern "C" void OnInterrupt(int)
{
    gInterrupted.store(true);
}

std::string FormatSeconds(double inSeconds)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.3f", inSeconds);
    return text;
}
} // namespace

int RunRender(const XRenderRequest& inRequest, std::ostream& outErrors)
{
    std::unique_ptr<XRayTracerRenderer> renderer;
    try
    {
        renderer = std::make_unique<XRayTracerRenderer>(inRequest.scene);
        if (inRequest.width || inRequest.height)
        {
            renderer->SetResolution(inRequest.width.value_or(renderer->GetWidth()),
                                    inRequest.height.value_or(renderer->GetHeight()));
        }
        if (inRequest.samplesPerPixelSide)
        {
            renderer->SetSamplesPerPixelSide(*inRequest.samplesPerPixelSide);
        }
    }
    catch (const XException& error)
    {
        outErrors << "voltrace render: " << error.what() << '\n';
        return XExitCode::kBadInput;
    }

    const auto previousHandler = std::signal(SIGINT, OnInterrupt);
    gInterrupted = false;
    const XCancellationScope scope(gInterrupted);
    try
    {
        const std::unique_ptr<XFilm> film = renderer->CreateFilm();
        XTimer timer;
        timer.Start();
        XVolumeRayTracerTool::RenderFilm(renderer->GetScene(), renderer->GetRenderOptions(), *film,
                                         inRequest.threads);
        timer.Stop();
        XSessionLogManager::GetManager().AddEntry(
            "Frame took " + FormatSeconds(timer.GetElapsedTime() / 1000.0) + " seconds");
        std::signal(SIGINT, previousHandler);

        float statistic = 0;
        const std::unique_ptr<XHighDynamicRangeImage> image = film->ConvertToImage(statistic);
        XPngWriter::Write(*image->ConvertToARGB32(), inRequest.png.string());
        if (!inRequest.exr.empty())
        {
            XExrWriter::Write(*image, inRequest.exr.string());
        }
        return XExitCode::kDone;
    }
    catch (const XThreadCancelled&)
    {
        std::signal(SIGINT, previousHandler);
        outErrors << "voltrace render: interrupted; nothing was written\n";
        return XExitCode::kInterrupted;
    }
    catch (const XException& error)
    {
        std::signal(SIGINT, previousHandler);
        outErrors << "voltrace render: " << error.what() << '\n';
        return error.GetCode() == XException::kIOError ? XExitCode::kFailure : XExitCode::kBadInput;
    }
    catch (const std::exception& error)
    {
        std::signal(SIGINT, previousHandler);
        outErrors << "voltrace render: " << error.what() << '\n';
        return XExitCode::kFailure;
    }
}

void XAddRenderCommand(CLI::App& inApp, int& outExitCode)
{
    CLI::App* command = inApp.add_subcommand("render", "Render a scene file to a picture");
    auto request = std::make_shared<XRenderRequest>();
    command->add_option("SCENE", request->scene, "The scene file (JSON)")->required();
    command->add_option("-o,--output", request->png, "The picture to write (8-bit RGB PNG)")
        ->required();
    command->add_option("--exr", request->exr, "Also write the floating-point image (OpenEXR)");
    command->add_option("--threads", request->threads, "Render threads (0: one per core)")
        ->capture_default_str();
    command->add_option("--width", request->width, "Film width in pixels (at least 32)");
    command->add_option("--height", request->height, "Film height in pixels (at least 32)");
    command->add_option("--spp", request->samplesPerPixelSide, "Samples per pixel side");
    command->callback([request, &outExitCode] { outExitCode = RunRender(*request, std::cerr); });
}
