#include "apps/XWorkerCommand.h"

#include "apps/XExitCode.h"
#include "apps/XRendererHost.h"
#include "host/core/XException.h"
#include "host/net/XRedisAddress.h"
#include "host/net/XRedisError.h"
#include "host/net/XRedisWorker.h"

#include <CLI/CLI.hpp>

#include <atomic>
#include <csignal>
#include <iostream>
#include <mutex>

namespace
{
std::atomic<bool> gStopRequested{false};

extern "C" void OnStopSignal(int)
{
    gStopRequested.store(true);
}
} // namespace

int RunWorker(const XWorkerRequest& inRequest, std::ostream& outErrors)
{
    XRedisAddress address;
    try
    {
        address = inRequest.redis.MakeAddress();
    }
    catch (const XException& error)
    {
        outErrors << "voltrace worker: " << error.what() << '\n';
        return XExitCode::kBadInput;
    }

    std::mutex outputMutex;
    const auto log = [&outErrors, &outputMutex](const std::string& inLine)
    {
        const std::lock_guard lock(outputMutex);
        outErrors << "voltrace worker: " << inLine << std::endl;
    };
    try
    {
        // The module registers the classes that jobs, results and scenes are read as.
        const XRendererHost host(inRequest.module);
        XRedisWorker::XOptions options;
        options.threads = inRequest.threads;
        options.reclaimAfter = std::chrono::milliseconds(inRequest.reclaimMilliseconds);
        options.name = inRequest.name;
        options.holdInJob = std::chrono::milliseconds(inRequest.holdMilliseconds);
        options.log = log;
        XRedisWorker worker(address, options);
        worker.Start();
        log(worker.GetName() + " serving " + address.Describe() + " with " +
            std::to_string(worker.GetThreadCount()) + " threads");

        gStopRequested = false;
        const auto previousInterrupt = std::signal(SIGINT, OnStopSignal);
        const auto previousTerminate = std::signal(SIGTERM, OnStopSignal);
        const std::string failure = worker.WaitUntilStopped(gStopRequested);
        worker.Stop();
        std::signal(SIGINT, previousInterrupt);
        std::signal(SIGTERM, previousTerminate);
        if (!failure.empty())
        {
            log(failure);
            return XExitCode::kFailure;
        }
        log("stopped after " + std::to_string(worker.GetCompletedJobCount()) + " jobs");
        return XExitCode::kDone;
    }
    catch (const XException& error)
    {
        log(error.what());
        return XExitCode::kFailure;
    }
}

void XAddWorkerCommand(CLI::App& inApp, int& outExitCode)
{
    CLI::App* command =
        inApp.add_subcommand("worker", "Render jobs of a farm's Redis server until stopped");
    auto request = std::make_shared<XWorkerRequest>();
    request->redis.AddTo(*command, true);
    command->add_option("--threads", request->threads, "Jobs run at once (0: one per core)")
        ->capture_default_str();
    command
        ->add_option("--reclaim-ms", request->reclaimMilliseconds,
                     "Take over the jobs of a worker silent for this long (milliseconds)")
        ->capture_default_str()
        ->check(CLI::Range(100U, 3600000U));
    command->add_option("--name", request->name,
                        "The worker's name on the farm (default: host name and process id)");
    command->add_option("--module", request->module,
                        "The renderer module library (default: $VOLTRACE_MODULE, else "
                        "libvoltrace_raytracer.so beside the program)");
    // For tests of the farm's fault handling: keeps each job this long before running it.
    command->add_option("--hold-job-ms", request->holdMilliseconds)->group("");
    command->callback([request, &outExitCode] { outExitCode = RunWorker(*request, std::cerr); });
}
