#include "XChildProcess.h"
#include "XFarmTestClient.h"
#include "XFarmTestJob.h"
#include "XFarmTestSink.h"
#include "XRedisTestServer.h"

#include "apps/demo/XDemoScene.h"
#include "host/core/XListener.h"
#include "host/core/XNetJobCompletedMessage.h"
#include "host/net/XRedisKeys.h"
#include "host/net/XRedisNetJobQueueBackend.h"
#include "host/net/XRedisWorker.h"
#include "tests/apps/XScratchFolder.h"
#include "x-platform/distributed/XDistributedRenderer.h"
#include "x-platform/distributed/XRenderNetJobResult.h"
#include "x-platform/image/XFilm.h"
#include "x-platform/module/XRayTracerRenderer.h"
#include "x-platform/module/XStorableClassTable.h"
#include "x-platform/module/XVolumeRayTracerTool.h"

#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <mutex>
#include <regex>

// Frames rendered by `voltrace worker` processes through a private redis-server must equal the
// same frames rendered directly in this process, sample for sample and weight for weight, also
// when a worker is killed in the middle of a job.

namespace
{
using namespace std::chrono_literals;

// Merges every tile result the queue delivers into a film of its own, and counts deliveries per
// job: a result merged twice would show as doubled weights.
class XResultMerger final : public XListener
{
public:
    explicit XResultMerger(std::unique_ptr<XFilm> inFilm) : itsFilm(std::move(inFilm)) {}

    void HandleMessage(const XMessage& inMessage) override
    {
        const auto* completed = dynamic_cast<const XNetJobCompletedMessage*>(&inMessage);
        if (completed == nullptr)
        {
            return;
        }
        const auto result = completed->GetResultCopy();
        const auto* tile = dynamic_cast<const XRenderNetJobResult*>(result.get());
        const std::lock_guard lock(itsMutex);
        ++itsDeliveries[completed->GetJobID()];
        if (tile != nullptr && tile->GetFilm() != nullptr)
        {
            itsFilm->Merge(*tile->GetFilm());
        }
    }

    std::map<std::uint32_t, int> GetDeliveries() const
    {
        const std::lock_guard lock(itsMutex);
        return itsDeliveries;
    }
    const XFilm& GetFilm() const { return *itsFilm; }

private:
    mutable std::mutex itsMutex;
    std::unique_ptr<XFilm> itsFilm;
    std::map<std::uint32_t, int> itsDeliveries;
};

bool SameSamples(const XFilm& inA, const XFilm& inB)
{
    const XRect& rect = inA.GetSampleRect();
    for (std::int32_t y = rect.top; y < rect.bottom; ++y)
    {
        for (std::int32_t x = rect.left; x < rect.right; ++x)
        {
            const auto a = inA.GetPixel(x, y);
            const auto b = inB.GetPixel(x, y);
            if (std::memcmp(&a, &b, sizeof a) != 0)
            {
                ADD_FAILURE() << "pixel (" << x << ", " << y << "): weight " << a.weight
                              << " against " << b.weight;
                return false;
            }
        }
    }
    return true;
}

std::unique_ptr<XChildProcess> StartWorker(const XRedisTestServer& inServer,
                                           const std::filesystem::path& inLog,
                                           std::vector<std::string> inOptions)
{
    std::vector<std::string> arguments{VOLTRACE_COMMAND, "worker", "--redis",
                                       inServer.GetURL("worker")};
    arguments.insert(arguments.end(), inOptions.begin(), inOptions.end());
    auto worker = std::make_unique<XChildProcess>(
        arguments, inLog,
        std::vector<std::string>{std::string(XRedisAddress::kPasswordVariable) + "=" +
                                 XRedisTestServer::kWorkerPassword});
    EXPECT_TRUE(worker->WaitForError("serving", 20s)) << worker->ReadErrors();
    return worker;
}

// The number of jobs a worker says it finished when it stops.
int StoppedAfter(XChildProcess& ioWorker)
{
    ioWorker.Signal(SIGTERM);
    EXPECT_EQ(ioWorker.Wait(), 0);
    std::smatch match;
    const std::string errors = ioWorker.ReadErrors();
    return std::regex_search(errors, match, std::regex("stopped after ([0-9]+) jobs"))
               ? std::stoi(match[1])
               : -1;
}

class XFarmRenderTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        XRegisterStorableClasses();
        itsFiles = XDemoScene::WriteDemo(itsFolder.GetPath());
        itsRenderer = std::make_unique<XRayTracerRenderer>(itsFiles.scene);
        itsRenderer->SetResolution(100, 70);
        itsRenderer->SetSamplesPerPixelSide(1);
        itsDirect = itsRenderer->CreateFilm();
        XVolumeRayTracerTool::RenderFilm(itsRenderer->GetScene(), itsRenderer->GetRenderOptions(),
                                         *itsDirect, 2);
    }

    // Renders the frame on the farm (no local threads) and checks it against the direct film.
    void RenderOnFarmAndCompare(const std::function<void()>& inWhileRendering = {})
    {
        XRedisNetJobQueueBackend::XOptions options;
        options.localThreads = 0;
        XDistributedRenderer farm(
            std::make_unique<XRedisNetJobQueueBackend>(itsServer.GetAddress("client"), options));
        XResultMerger merger(itsRenderer->CreateFilm());
        merger.Subscribe(farm.GetJobQueue());
        farm.SetRenderOptions(itsRenderer->GetRenderOptions());
        const std::uint32_t frame =
            farm.RenderFrame(itsRenderer->GetScene(), itsRenderer->CreateFilm());
        if (inWhileRendering)
        {
            inWhileRendering();
        }
        farm.WaitForFrame(frame);
        EXPECT_TRUE(farm.GetFailures(frame).empty());
        farm.ReleaseFrame(frame);

        const auto deliveries = merger.GetDeliveries();
        EXPECT_EQ(deliveries.size(), 24U); // 3 x 2 tiles, 4 passes
        for (const auto& [jobID, count] : deliveries)
        {
            EXPECT_EQ(count, 1) << "job " << jobID;
        }
        EXPECT_TRUE(SameSamples(merger.GetFilm(), *itsDirect));
        EXPECT_EQ(itsAdmin->Command({"XPENDING", XRedisKeys::kJobs, XRedisKeys::kGroup})
                      ->element[0]
                      ->integer,
                  0);
        EXPECT_EQ(itsAdmin->Command({"XLEN", XRedisKeys::kQuarantine})->integer, 0);
    }

    XScratchFolder itsFolder;
    XDemoScene::XFiles itsFiles;
    std::unique_ptr<XRayTracerRenderer> itsRenderer;
    std::unique_ptr<XFilm> itsDirect;
    XRedisTestServer itsServer;
    std::unique_ptr<XRedisConnection> itsAdmin = itsServer.Connect();
};
} // namespace

TEST_F(XFarmRenderTest, TwoWorkerProcessesRenderTheDemoAsThisProcessDoes)
{
    auto first = StartWorker(itsServer, itsFolder.GetPath() / "first.log", {"--threads", "1"});
    auto second = StartWorker(itsServer, itsFolder.GetPath() / "second.log", {"--threads", "1"});
    RenderOnFarmAndCompare();
    // Every job ran exactly once, on one of the two.
    EXPECT_EQ(StoppedAfter(*first) + StoppedAfter(*second), 24);
}

TEST_F(XFarmRenderTest, AWorkerKilledInsideAJobLosesNothing)
{
    // The doomed worker is alone until it holds a job; then the survivor starts and the doomed
    // one is killed, and the survivor renders everything, the held job after the reclaim time.
    auto doomed = StartWorker(itsServer, itsFolder.GetPath() / "doomed.log",
                              {"--threads", "1", "--hold-job-ms", "600000"});
    std::unique_ptr<XChildProcess> survivor;
    RenderOnFarmAndCompare(
        [&]
        {
            ASSERT_TRUE(doomed->WaitForError("holding job", 20s)) << doomed->ReadErrors();
            survivor = StartWorker(itsServer, itsFolder.GetPath() / "survivor.log",
                                   {"--threads", "1", "--reclaim-ms", "500"});
            doomed->Signal(SIGKILL);
            EXPECT_EQ(doomed->Wait(), 128 + SIGKILL);
        });
    ASSERT_NE(survivor, nullptr);
    EXPECT_EQ(StoppedAfter(*survivor), 24);
}

TEST_F(XFarmRenderTest, AJobOneWorkerCannotReadIsLeftForAnother)
{
    // The `voltrace worker` process does not know the test's job class; a worker in this
    // process does.
    XRegisterFarmTestClasses();
    auto stranger = StartWorker(itsServer, itsFolder.GetPath() / "stranger.log",
                                {"--threads", "1", "--reclaim-ms", "600000"});
    XFarmTestClient farm(itsServer.GetAddress("client"), 40);
    XFarmTestSink& sink = farm.sink;
    XRedisNetJobQueueBackend& client = farm.backend;
    XNetJobQueueBackend::XJobList jobs;
    jobs.emplace_back(1, std::make_unique<XFarmTestJob>(1, 2));
    client.SubmitJobs(std::move(jobs));
    ASSERT_TRUE(stranger->WaitForError("left for other workers", 20s)) << stranger->ReadErrors();
    EXPECT_EQ(sink.GetCount(), 0U);

    XRedisWorker::XOptions options;
    options.threads = 1;
    options.reclaimAfter = 300ms;
    XRedisWorker local(itsServer.GetAddress("worker"), options);
    local.Start();
    ASSERT_TRUE(sink.WaitForCount(1));
    EXPECT_EQ(sink.GetOutcomes().at(1).at(0).value, 42);
    EXPECT_EQ(StoppedAfter(*stranger), 0);
}
