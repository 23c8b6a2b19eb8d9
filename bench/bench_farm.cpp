#include "XFarmTestJob.h"
#include "XRedisTestServer.h"

#include "XBenchScratchFolder.h"

#include "apps/demo/XDemoScene.h"
#include "host/core/XCancellationScope.h"
#include "host/core/XClassRegistry.h"
#include "host/core/XException.h"
#include "host/core/XListener.h"
#include "host/core/XLocalNetJobQueueBackend.h"
#include "host/core/XMessage.h"
#include "host/core/XNetJob.h"
#include "host/core/XNetJobCompletedMessage.h"
#include "host/core/XNetJobQueue.h"
#include "host/core/XNetJobResult.h"
#include "host/core/XSpeaker.h"
#include "host/core/XStream.h"
#include "host/core/XThreadCancelled.h"
#include "host/net/XRedisAddress.h"
#include "host/net/XRedisNetJobQueueBackend.h"
#include "x-platform/distributed/XDistributedRenderer.h"
#include "x-platform/image/XFilm.h"
#include "x-platform/module/XRayTracerRenderer.h"
#include "x-platform/module/XStorableClassTable.h"

#include <benchmark/benchmark.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

// The render farm on this machine: whole frames of the demo scene through the local pool and
// through a private Redis server served by `voltrace worker` processes and/or the client's own
// threads; and the cost per job of the Redis round trip, with jobs that do next to nothing.
// Servers and workers start once per configuration, outside the timed part.
namespace
{
namespace fs = std::filesystem;

constexpr std::uint32_t kFrameSide = 512; // as the frame benchmark renders the demo
constexpr std::chrono::seconds kWorkerStartLimit{30};
constexpr std::chrono::seconds kWorkerStopLimit{10};
// A frame or a batch of jobs during which no job completes for this long has hung: the wait is
// cancelled and the benchmark reports it instead of blocking the run. The later repetitions of
// that configuration are skipped.
constexpr std::chrono::seconds kStallLimit{8};

// Cancels the waits of the thread that made it (through its cancellation flag, which the job
// queue's wait polls) once an armed deadline passes. Arming and extending are atomic stores,
// cheap enough for every iteration and every completion; the watch thread looks every 20 ms.
class XWatchdog
{
public:
    XWatchdog()
        : itsScope(itsExpired),
          itsThread(
              [this]
              {
                  while (!itsStopping.load())
                  {
                      const std::int64_t deadline = itsDeadline.load();
                      if (deadline != 0 && Now() > deadline)
                      {
                          itsExpired.store(true);
                      }
                      std::this_thread::sleep_for(std::chrono::milliseconds(20));
                  }
              })
    {
    }
    ~XWatchdog()
    {
        itsStopping.store(true);
        itsThread.join();
    }
    XWatchdog(const XWatchdog&) = delete;
    XWatchdog& operator=(const XWatchdog&) = delete;

    void Arm() { itsDeadline.store(Now() + kStallLimit.count() * 1000); }
    // Pushes the deadline back if armed (a job completed); from any thread.
    void Extend()
    {
        std::int64_t deadline = itsDeadline.load();
        while (deadline != 0 &&
               !itsDeadline.compare_exchange_weak(deadline, Now() + kStallLimit.count() * 1000))
        {
        }
    }
    void Disarm() { itsDeadline.store(0); }

private:
    static std::int64_t Now()
    {
        return std::chrono::duration_cast<std::chrono::milliseconds>(
                   std::chrono::steady_clock::now().time_since_epoch())
            .count();
    }

    std::atomic<bool> itsExpired{false};
    std::atomic<bool> itsStopping{false};
    std::atomic<std::int64_t> itsDeadline{0};
    const XCancellationScope itsScope;
    std::thread itsThread;
};

// Extends a watchdog whenever its speaker (a job queue or a tiled renderer) announces progress,
// and keeps the first failure a queue announces.
class XProgressWatcher final : public XListener
{
public:
    XProgressWatcher(XSpeaker& inSpeaker, XWatchdog& ioWatchdog) : itsWatchdog(ioWatchdog)
    {
        Subscribe(inSpeaker);
    }
    ~XProgressWatcher() override { UnsubscribeAll(); }

    void HandleMessage(const XMessage& inMessage) override
    {
        itsWatchdog.Extend();
        const auto* completed = dynamic_cast<const XNetJobCompletedMessage*>(&inMessage);
        if (completed != nullptr && !completed->GetFailure().empty() &&
            itsFailures.fetch_add(1) == 0)
        {
            const std::lock_guard lock(itsMutex);
            itsFirstFailure = completed->GetFailure();
        }
    }

    std::uint64_t GetFailureCount() const { return itsFailures.load(); }
    std::string GetFirstFailure() const
    {
        const std::lock_guard lock(itsMutex);
        return itsFirstFailure;
    }

private:
    XWatchdog& itsWatchdog;
    std::atomic<std::uint64_t> itsFailures{0};
    mutable std::mutex itsMutex;
    std::string itsFirstFailure;
};

// Configurations that hung once; their later repetitions are skipped at once.
bool HasHungBefore(const std::string& inKey, bool inHungNow = false)
{
    static std::set<std::string> hung;
    if (inHungNow)
    {
        hung.insert(inKey);
    }
    return hung.count(inKey) != 0;
}

// What a hang report adds about a Redis client: the results it dropped as answered before.
std::string DescribeDropped(const XRedisNetJobQueueBackend* inClient)
{
    return inClient == nullptr ? std::string()
                               : "; results dropped by the client: " +
                                     std::to_string(inClient->GetDroppedResultCount());
}

// The demo scene, generated, read and prepared once.
XRayTracerRenderer& GetDemoRenderer()
{
    static const XBenchScratchFolder folder("voltrace-bench-farm");
    static const std::unique_ptr<XRayTracerRenderer> renderer = []
    {
        XRegisterStorableClasses(); // the scene, the jobs and their results cross streams
        auto created = std::make_unique<XRayTracerRenderer>(
            XDemoScene::WriteDemo(folder.GetPath() / "demo").scene);
        created->SetResolution(kFrameSide, kFrameSide);
        created->SetSamplesPerPixelSide(1);
        created->GetScene();
        return created;
    }();
    return *renderer;
}

// A private Redis server with inWorkers `voltrace worker` processes of inThreads threads each,
// logged in as the farm's worker user. The workers are asked to stop (SIGTERM) before the server
// goes; one that does not stop in time is killed and its log shown.
class XFarm
{
public:
    XFarm(std::uint32_t inWorkers, std::uint32_t inThreads)
    {
        for (std::uint32_t index = 0; index < inWorkers; ++index)
        {
            const std::string name = "bench-worker-" + std::to_string(index + 1);
            itsWorkers.push_back(std::make_unique<XChildProcess>(
                std::vector<std::string>{VOLTRACE_COMMAND, "worker", "--redis",
                                         itsServer.GetURL("worker"), "--threads",
                                         std::to_string(inThreads), "--name", name},
                itsServer.GetFolder() / (name + ".log"),
                std::vector<std::string>{std::string(XRedisAddress::kPasswordVariable) + "=" +
                                         XRedisTestServer::kWorkerPassword}));
        }
        for (const std::unique_ptr<XChildProcess>& worker : itsWorkers)
        {
            if (!worker->WaitForError("serving", kWorkerStartLimit))
            {
                throw XException(XException::kIOError,
                                 "a worker did not start: " + worker->ReadErrors());
            }
        }
    }
    ~XFarm()
    {
        for (const std::unique_ptr<XChildProcess>& worker : itsWorkers)
        {
            worker->Signal(SIGTERM);
        }
        for (const std::unique_ptr<XChildProcess>& worker : itsWorkers)
        {
            if (!worker->WaitForError("stopped after", kWorkerStopLimit))
            {
                std::cerr << "bench_farm: a worker did not stop within " << kWorkerStopLimit.count()
                          << " s; its log:\n"
                          << worker->ReadErrors();
                continue; // killed by its destructor
            }
            const int code = worker->Wait();
            if (code != 0)
            {
                std::cerr << "bench_farm: a worker ended with " << code << "; its log:\n"
                          << worker->ReadErrors();
            }
        }
        itsWorkers.clear();
    }
    XFarm(const XFarm&) = delete;
    XFarm& operator=(const XFarm&) = delete;

    XRedisAddress GetClientAddress() const { return itsServer.GetAddress("client"); }

    // The time of the first frame on this farm, when the workers fetched and read the scene;
    // negative until one was rendered.
    double GetFirstFrameMilliseconds() const { return itsFirstFrameMilliseconds; }
    void SetFirstFrameMilliseconds(double inTime) { itsFirstFrameMilliseconds = inTime; }

private:
    XRedisTestServer itsServer; // declared first: goes after the workers
    std::vector<std::unique_ptr<XChildProcess>> itsWorkers;
    double itsFirstFrameMilliseconds = -1;
};

// The farm of the most recent configuration: the repetitions of one benchmark follow each other
// and reuse it; another configuration replaces it (stopping the old one first).
XFarm& GetFarm(std::uint32_t inWorkers, std::uint32_t inThreads)
{
    static std::pair<std::uint32_t, std::uint32_t> key;
    static std::unique_ptr<XFarm> farm;
    if (!farm || key != std::make_pair(inWorkers, inThreads))
    {
        farm.reset();
        farm = std::make_unique<XFarm>(inWorkers, inThreads);
        key = {inWorkers, inThreads};
    }
    return *farm;
}

// A client backend on the farm that sends the backend's notes to standard error.
std::unique_ptr<XRedisNetJobQueueBackend> MakeClientBackend(const XFarm& inFarm,
                                                            std::uint32_t inLocalThreads)
{
    XRedisNetJobQueueBackend::XOptions options;
    options.localThreads = inLocalThreads;
    options.log = [](const std::string& inLine)
    {
        static std::mutex outputMutex;
        const std::lock_guard lock(outputMutex);
        std::cerr << "bench_farm client: " << inLine << std::endl;
    };
    return std::make_unique<XRedisNetJobQueueBackend>(inFarm.GetClientAddress(),
                                                      std::move(options));
}

// Renders one demo frame through inTiled; false after marking the benchmark failed.
bool RenderOneFrame(benchmark::State& state, XDistributedRenderer& inTiled,
                    XRayTracerRenderer& inRenderer, XWatchdog& ioWatchdog,
                    const XRedisNetJobQueueBackend* inClient, bool inTimed)
{
    if (inTimed)
    {
        state.PauseTiming();
    }
    std::unique_ptr<XFilm> film = inRenderer.CreateFilm();
    if (inTimed)
    {
        state.ResumeTiming();
    }
    ioWatchdog.Arm();
    const std::uint32_t frame = inTiled.RenderFrame(inRenderer.GetScene(), std::move(film));
    inTiled.WaitForFrame(frame); // returns early when the watchdog cancels the wait
    ioWatchdog.Disarm();
    const std::vector<std::string> failures = inTiled.GetFailures(frame);
    const std::size_t missing = inTiled.GetRemainingJobCount(frame);
    const bool complete = failures.empty() && missing == 0;
    if (inTimed)
    {
        state.PauseTiming();
    }
    inTiled.ReleaseFrame(frame);
    if (inTimed)
    {
        state.ResumeTiming();
    }
    if (!complete)
    {
        const std::string reason = failures.empty() ? "the frame hung: " + std::to_string(missing) +
                                                          " jobs outstanding, none completed for " +
                                                          std::to_string(kStallLimit.count()) +
                                                          " s" + DescribeDropped(inClient)
                                                    : failures.front();
        state.SkipWithError(reason.c_str());
    }
    return complete;
}

// One frame per iteration. On a fresh farm, one untimed frame first (the workers fetch and read
// the scene then); its time is reported as first_frame_ms by every repetition on that farm.
void RunFrames(benchmark::State& state, const std::string& inKey, XDistributedRenderer& inTiled,
               XFarm* ioFarm, const XRedisNetJobQueueBackend* inClient)
{
    if (HasHungBefore(inKey))
    {
        state.SkipWithError("skipped: an earlier repetition hung");
        return;
    }
    XRayTracerRenderer& renderer = GetDemoRenderer();
    inTiled.SetRenderOptions(renderer.GetRenderOptions());
    XWatchdog watchdog;
    const XProgressWatcher watcher(inTiled, watchdog);
    if (ioFarm != nullptr && ioFarm->GetFirstFrameMilliseconds() < 0)
    {
        const auto start = std::chrono::steady_clock::now();
        if (!RenderOneFrame(state, inTiled, renderer, watchdog, inClient, false))
        {
            HasHungBefore(inKey, true);
            return;
        }
        ioFarm->SetFirstFrameMilliseconds(
            std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
                .count());
    }
    if (ioFarm != nullptr)
    {
        state.counters["first_frame_ms"] = ioFarm->GetFirstFrameMilliseconds();
    }
    for (auto _ : state)
    {
        if (!RenderOneFrame(state, inTiled, renderer, watchdog, inClient, true))
        {
            HasHungBefore(inKey, true);
            break;
        }
    }
}

// The baseline: the frame's jobs on a pool of state.range(0) threads of this process.
void BM_LocalPoolFrame(benchmark::State& state)
{
    try
    {
        XDistributedRenderer tiled(
            std::make_unique<XLocalNetJobQueueBackend>(static_cast<std::uint32_t>(state.range(0))));
        RunFrames(state, "local/" + std::to_string(state.range(0)), tiled, nullptr, nullptr);
    }
    catch (const std::exception& error)
    {
        state.SkipWithError(error.what());
    }
}

// The frame's jobs through Redis: state.range(0) worker processes of state.range(1) threads
// each, and state.range(2) threads in the client.
void BM_RedisFrame(benchmark::State& state)
{
    try
    {
        XFarm& farm = GetFarm(static_cast<std::uint32_t>(state.range(0)),
                              static_cast<std::uint32_t>(state.range(1)));
        std::unique_ptr<XRedisNetJobQueueBackend> backend =
            MakeClientBackend(farm, static_cast<std::uint32_t>(state.range(2)));
        const XRedisNetJobQueueBackend& client = *backend;
        XDistributedRenderer tiled(std::move(backend));
        RunFrames(state,
                  "redis/" + std::to_string(state.range(0)) + "/" + std::to_string(state.range(1)) +
                      "/" + std::to_string(state.range(2)),
                  tiled, &farm, &client);
        // Results of jobs answered twice (reclaimed from a slow worker); 0 on a healthy farm.
        state.counters["dropped"] = static_cast<double>(client.GetDroppedResultCount());
    }
    catch (const std::exception& error)
    {
        state.SkipWithError(error.what());
    }
}

// Each iteration submits state.range(0) tiny jobs (the farm tests' adding job) in one batch (held
// back, then resumed, as the renderer submits a frame) and waits until all are delivered.
// time_per_job is the wall time per job, jobs_per_s its inverse.
void RunTinyJobs(benchmark::State& state, const std::string& inKey,
                 std::unique_ptr<XNetJobQueueBackend> inBackend,
                 const XRedisNetJobQueueBackend* inClient)
{
    if (HasHungBefore(inKey))
    {
        state.SkipWithError("skipped: an earlier repetition hung");
        return;
    }
    XRegisterFarmTestClasses();
    XNetJobQueue queue(0, true, false, true, std::move(inBackend));
    XWatchdog watchdog;
    const XProgressWatcher watcher(queue, watchdog);
    const auto count = static_cast<std::uint32_t>(state.range(0));
    std::vector<std::uint32_t> jobs(count);
    for (auto _ : state)
    {
        // Each batch brings its shared data, as each frame brings its scene.
        const std::uint32_t data = queue.AttachSharedData(std::make_unique<XFarmTestData>(1));
        for (std::uint32_t index = 0; index < count; ++index)
        {
            jobs[index] = queue.GetNextJobID();
            queue.AttachJob(jobs[index], std::make_unique<XFarmTestJob>(data, index), true);
        }
        watchdog.Arm();
        try
        {
            queue.ResumeJobs(jobs);
            queue.WaitForJobsToCompleteWithProgress(jobs, "Tiny jobs");
        }
        catch (const XThreadCancelled&)
        {
            HasHungBefore(inKey, true);
            const std::string reason =
                std::to_string(queue.GetOpenJobCount()) + " of " + std::to_string(count) +
                " tiny jobs hung (none completed for " + std::to_string(kStallLimit.count()) +
                " s)" + DescribeDropped(inClient);
            state.SkipWithError(reason.c_str());
            break;
        }
        watchdog.Disarm();
        if (watcher.GetFailureCount() != 0)
        {
            state.SkipWithError(("a tiny job failed: " + watcher.GetFirstFailure()).c_str());
            break;
        }
    }
    state.counters["jobs_per_s"] = benchmark::Counter(
        static_cast<double>(count), benchmark::Counter::kIsIterationInvariantRate);
    state.counters["time_per_job"] = benchmark::Counter(
        static_cast<double>(count),
        benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

// The local pool of state.range(1) threads (no streams).
void BM_LocalJobs(benchmark::State& state)
{
    try
    {
        RunTinyJobs(
            state, "local/" + std::to_string(state.range(0)) + "/" + std::to_string(state.range(1)),
            std::make_unique<XLocalNetJobQueueBackend>(static_cast<std::uint32_t>(state.range(1))),
            nullptr);
    }
    catch (const std::exception& error)
    {
        state.SkipWithError(error.what());
    }
}

// Through Redis, run by state.range(1) threads of this process (no worker processes).
void BM_RedisJobs(benchmark::State& state)
{
    try
    {
        const XFarm& farm = GetFarm(0, 0);
        std::unique_ptr<XRedisNetJobQueueBackend> backend =
            MakeClientBackend(farm, static_cast<std::uint32_t>(state.range(1)));
        const XRedisNetJobQueueBackend* client = backend.get();
        RunTinyJobs(
            state, "redis/" + std::to_string(state.range(0)) + "/" + std::to_string(state.range(1)),
            std::move(backend), client);
    }
    catch (const std::exception& error)
    {
        state.SkipWithError(error.what());
    }
}

// Frames take seconds on this machine: one timed frame per repetition, the median of three.
void FrameRuns(benchmark::internal::Benchmark* inBenchmark)
{
    inBenchmark->UseRealTime()
        ->Unit(benchmark::kMillisecond)
        ->Iterations(1)
        ->Repetitions(3)
        ->ReportAggregatesOnly(true);
}

void JobRuns(benchmark::internal::Benchmark* inBenchmark)
{
    inBenchmark->ArgNames({"jobs", "threads"})
        ->Args({256, 1})
        ->Args({256, 2})
        ->Args({1, 1})
        ->UseRealTime()
        ->Unit(benchmark::kMicrosecond)
        ->MinTime(0.3)
        ->Repetitions(3)
        ->ReportAggregatesOnly(true);
}
} // namespace

BENCHMARK(BM_LocalPoolFrame)->ArgName("threads")->Arg(2)->Apply(FrameRuns);
BENCHMARK(BM_RedisFrame)
    ->ArgNames({"workers", "worker_threads", "local_threads"})
    ->Args({1, 2, 0})
    ->Args({2, 1, 0})
    ->Args({0, 0, 2})
    ->Apply(FrameRuns);

BENCHMARK(BM_LocalJobs)->Apply(JobRuns);
BENCHMARK(BM_RedisJobs)->Apply(JobRuns);
