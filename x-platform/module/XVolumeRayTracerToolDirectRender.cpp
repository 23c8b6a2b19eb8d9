#include "x-platform/module/XVolumeRayTracerTool.h"

#include "host/core/XCancellationScope.h"
#include "host/core/XProgress.h"
#include "host/core/XThread.h"
#include "host/core/XThreadCancelled.h"
#include "x-platform/image/XFilm.h"
#include "x-platform/rendering/XTracer.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <thread>
#include <vector>

// The tool's synchronous render: the whole film on a pool of threads, without jobs.

void XVolumeRayTracerTool::RenderFilm(const XSharedHandle<X3DScene>& inScene,
                                      const XRenderOptions& inOptions, XFilm& ioFilm,
                                      std::uint32_t inThreads)
{
    const std::uint32_t threads =
        inThreads > 0 ? inThreads : std::max(1u, std::thread::hardware_concurrency());
    // Regions are interleaved column sets (offset r, step S); several per thread balance the load
    // and give progress steps.
    const std::uint32_t regions = std::max<std::uint32_t>(16, 8 * threads);
    std::atomic<std::uint32_t> nextRegion{0};
    std::atomic<std::uint32_t> finishedRegions{0};
    std::atomic<bool> stop{false};
    std::exception_ptr failure;
    std::mutex failureMutex;

    std::vector<std::unique_ptr<XFilm>> films;
    for (std::uint32_t t = 0; t < threads; ++t)
    {
        films.push_back(ioFilm.CreateSubFilm(ioFilm.GetSampleRect()));
    }

    const auto work = [&](XFilm& ioOwnFilm)
    {
        const XCancellationScope scope(stop);
        try
        {
            XTracer tracer(inOptions);
            tracer.SetScene(inScene);
            for (std::uint32_t region = nextRegion++; region < regions; region = nextRegion++)
            {
                tracer.RenderRegion(ioOwnFilm, static_cast<std::int32_t>(region), regions);
                ++finishedRegions;
            }
        }
        catch (const XThreadCancelled&)
        {
        }
        catch (...)
        {
            const std::lock_guard lock(failureMutex);
            failure = failure ? failure : std::current_exception();
            stop = true;
        }
    };

    std::vector<std::thread> helpers;
    for (std::uint32_t t = 1; t < threads; ++t)
    {
        helpers.emplace_back(work, std::ref(*films[t]));
    }
    {
        // The calling thread renders too; it also reports progress between its regions.
        XProgress progress(regions);
        progress.SetMessage("Rendering");
        // Woken early when the frame ends, so that a short frame does not wait out a period.
        std::mutex reporterMutex;
        std::condition_variable reporterWake;
        bool frameEnded = false;
        std::thread reporter(
            [&]
            {
                std::uint32_t reported = 0;
                std::unique_lock lock(reporterMutex);
                while (!frameEnded)
                {
                    reporterWake.wait_for(lock, std::chrono::milliseconds(50));
                    const std::uint32_t done = finishedRegions;
                    if (done > reported)
                    {
                        progress.Increment(done - reported);
                        reported = done;
                    }
                }
            });
        const auto endReporter = [&]
        {
            {
                const std::lock_guard lock(reporterMutex);
                frameEnded = true;
            }
            reporterWake.notify_all();
            reporter.join();
        };
        try
        {
            XTracer tracer(inOptions);
            tracer.SetScene(inScene);
            for (std::uint32_t region = nextRegion++; region < regions; region = nextRegion++)
            {
                tracer.RenderRegion(*films[0], static_cast<std::int32_t>(region), regions);
                ++finishedRegions;
                if (XThread::IsCurrentThreadCancelled())
                {
                    break;
                }
            }
        }
        catch (...)
        {
            stop = true;
            for (auto& helper : helpers)
            {
                helper.join();
            }
            endReporter();
            throw;
        }
        for (auto& helper : helpers)
        {
            helper.join();
        }
        endReporter();
    }
    if (failure)
    {
        std::rethrow_exception(failure);
    }
    XThread::TestCancelCurrentThread();
    for (const auto& film : films)
    {
        ioFilm.Merge(*film);
    }
}
