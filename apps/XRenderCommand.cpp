#include "apps/XRenderCommand.h"

#include "apps/XExitCode.h"
#include "apps/XRendererHost.h"
#include "host/core/XCancellationScope.h"
#include "host/core/XException.h"
#include "host/core/XLocalNetJobQueueBackend.h"
#include "host/core/XThreadCancelled.h"
#include "host/net/XRedisNetJobQueueBackend.h"
#include "host/ui/XBaseRenderer.h"

#include <CLI/CLI.hpp>

#include <atomic>
#include <csignal>
#include <iostream>
#include <memory>
#include <mutex>

namespace
{
// Set by Ctrl-C; the render polls it after every sample.
std::atomic<bool> gInterrupted{false};

extern "C" void OnInterrupt(int)
{
    gInterrupted.store(true);
}

// Restores the previous Ctrl-C handler when the render ends, however it ends.
class XInterruptHandler
{
public:
    XInterruptHandler() : itsPrevious(std::signal(SIGINT, OnInterrupt)) { gInterrupted = false; }
    ~XInterruptHandler() { std::signal(SIGINT, itsPrevious); }
    XInterruptHandler(const XInterruptHandler&) = delete;
    XInterruptHandler& operator=(const XInterruptHandler&) = delete;

private:
    void (*itsPrevious)(int);
};

// The local pool, or the farm (with the local threads working on the farm's jobs too).
std::unique_ptr<XNetJobQueueBackend> MakeBackend(const XRenderRequest& inRequest,
                                                 std::ostream& outErrors)
{
    if (inRequest.redis.url.empty())
    {
        return std::make_unique<XLocalNetJobQueueBackend>(inRequest.threads.value_or(0));
    }
    XRedisNetJobQueueBackend::XOptions options;
    options.localThreads =
        inRequest.threads.value_or(std::max(1U, std::thread::hardware_concurrency()));
    options.log = [&outErrors](const std::string& inLine)
    {
        static std::mutex outputMutex;
        const std::lock_guard lock(outputMutex);
        outErrors << "voltrace render: " << inLine << std::endl;
    };
    return std::make_unique<XRedisNetJobQueueBackend>(inRequest.redis.MakeAddress(), options);
}

// A long list of missing tiles usually has one cause: show the first few.
void ReportFailures(const std::vector<std::string>& inFailures, std::ostream& outErrors)
{
    constexpr std::size_t kShown = 8;
    for (std::size_t index = 0; index < inFailures.size() && index < kShown; ++index)
    {
        outErrors << "voltrace render: missing " << inFailures[index] << '\n';
    }
    if (inFailures.size() > kShown)
    {
        outErrors << "voltrace render: ... and " << inFailures.size() - kShown
                  << " more missing tiles\n";
    }
}
} // namespace

int RunRender(const XRenderRequest& inRequest, std::ostream& outErrors)
{
    std::unique_ptr<XRendererHost> host;
    try
    {
        host = std::make_unique<XRendererHost>(inRequest.module);
    }
    catch (const XException& error)
    {
        outErrors << "voltrace render: " << error.what() << '\n';
        return XExitCode::kFailure;
    }

    std::unique_ptr<XBaseRenderer> renderer;
    try
    {
        renderer = host->CreateRenderer(inRequest.scene);
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

    std::unique_ptr<XNetJobQueueBackend> backend;
    try
    {
        backend = MakeBackend(inRequest, outErrors);
    }
    catch (const XException& error)
    {
        outErrors << "voltrace render: " << error.what() << '\n';
        return error.GetCode() == XException::kInvalidArgument ? XExitCode::kBadInput
                                                               : XExitCode::kFailure;
    }

    try
    {
        {
            const XInterruptHandler handler;
            const XCancellationScope scope(gInterrupted);
            renderer->RenderFrame(std::move(backend));
        }
        renderer->WriteFrame(inRequest.png, inRequest.exr);
        const auto failures = renderer->GetFrameFailures();
        ReportFailures(failures, outErrors);
        return failures.empty() ? XExitCode::kDone : XExitCode::kFailure;
    }
    catch (const XThreadCancelled&)
    {
        outErrors << "voltrace render: interrupted; nothing was written\n";
        return XExitCode::kInterrupted;
    }
    catch (const XException& error)
    {
        outErrors << "voltrace render: " << error.what() << '\n';
        return error.GetCode() == XException::kIOError ? XExitCode::kFailure : XExitCode::kBadInput;
    }
    catch (const std::exception& error)
    {
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
    command->add_option("--threads", request->threads,
                        "Render threads on this machine (default one per core; with --redis, 0 "
                        "leaves every job to the farm)");
    command->add_option("--width", request->width, "Film width in pixels (at least 32)");
    command->add_option("--height", request->height, "Film height in pixels (at least 32)");
    command->add_option("--spp", request->samplesPerPixelSide, "Samples per pixel side");
    command->add_option("--module", request->module,
                        "The renderer module library (default: $VOLTRACE_MODULE, else "
                        "libvoltrace_raytracer.so beside the program)");
    request->redis.AddTo(*command, false);
    command->callback([request, &outExitCode] { outExitCode = RunRender(*request, std::cerr); });
}
