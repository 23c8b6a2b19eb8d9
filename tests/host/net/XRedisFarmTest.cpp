#include "XFarmTestClient.h"
#include "XFarmTestJob.h"
#include "XFarmTestSink.h"
#include "XRedisTestServer.h"

#include "host/net/XRedisError.h"
#include "host/net/XRedisKeys.h"
#include "host/net/XRedisNetJobQueueBackend.h"
#include "host/net/XRedisSharedDataCache.h"
#include "host/net/XRedisWorker.h"

#include <gtest/gtest.h>

// The farm's job queue on a real redis-server: a client backend in this process, and workers
// that are in this process too (they share the class registry with the test jobs). The client
// logs in as the farm's "client" user and the workers as "worker", so every test also shows
// that those ACL users are enough.

namespace
{
using namespace std::chrono_literals;

XRedisWorker::XOptions WorkerOptions(std::uint32_t inThreads, std::chrono::milliseconds inReclaim,
                                     std::chrono::milliseconds inHold = 0ms)
{
    XRedisWorker::XOptions options;
    options.threads = inThreads;
    options.reclaimAfter = inReclaim;
    options.idleWait = 50ms;
    options.holdInJob = inHold;
    return options;
}

XNetJobQueueBackend::XJobList AddJobs(std::uint32_t inFirstID, std::uint32_t inCount,
                                      XFarmTestJob::XKind inKind = XFarmTestJob::kAdd)
{
    XNetJobQueueBackend::XJobList jobs;
    for (std::uint32_t id = inFirstID; id < inFirstID + inCount; ++id)
    {
        jobs.emplace_back(id, std::make_unique<XFarmTestJob>(1, id, inKind));
    }
    return jobs;
}

long long Integer(XRedisConnection& ioConnection, const XRedisConnection::XArguments& inCommand)
{
    return ioConnection.Command(inCommand)->integer;
}

long long PendingJobs(XRedisConnection& ioConnection)
{
    const auto summary = ioConnection.Command({"XPENDING", XRedisKeys::kJobs, XRedisKeys::kGroup});
    return summary->element[0]->integer;
}

class XRedisFarmTest : public ::testing::Test
{
protected:
    void SetUp() override { XRegisterFarmTestClasses(); }

    XRedisTestServer itsServer;
    std::unique_ptr<XRedisConnection> itsAdmin = itsServer.Connect();
};
} // namespace

TEST_F(XRedisFarmTest, JobsRunOnceEachAndSharedDataIsReadOncePerWorker)
{
    XRedisNetJobQueueBackend::XOptions clientOptions;
    clientOptions.chunkBytes = 7; // the test data's stream spans several chunks
    XFarmTestClient farm(itsServer.GetAddress("client"), 1000, clientOptions);
    XFarmTestSink& sink = farm.sink;
    XRedisNetJobQueueBackend& client = farm.backend;
    const auto cache = std::make_shared<XRedisSharedDataCache>();
    XRedisWorker worker(itsServer.GetAddress("worker"), WorkerOptions(2, 5000ms), cache);
    worker.Start();

    client.SubmitJobs(AddJobs(1, 300));
    ASSERT_TRUE(sink.WaitForCount(300));
    const auto outcomes = sink.GetOutcomes();
    ASSERT_EQ(outcomes.size(), 300U);
    for (const auto& [jobID, reports] : outcomes)
    {
        ASSERT_EQ(reports.size(), 1U) << "job " << jobID;
        EXPECT_EQ(reports[0].value, 1000 + jobID);
        EXPECT_EQ(reports[0].failure, "");
    }
    EXPECT_EQ(cache->GetFetchCount(), 1U);

    // The same content under another id is not uploaded again: still one head and its chunks.
    const auto keysBefore = itsAdmin->Command({"KEYS", "voltrace:data:*"})->elements;
    EXPECT_GT(keysBefore, 2U);
    client.AttachSharedData(2, std::make_unique<XFarmTestData>(1000));
    EXPECT_EQ(itsAdmin->Command({"KEYS", "voltrace:data:*"})->elements, keysBefore);

    // A second result for an answered job (a slow worker's, say) is dropped.
    itsAdmin->Command({"XADD", XRedisKeys::Results(client.GetClientName()), "*", "job", "7",
                       "entry", "1-1", "worker", "late", "result", "", "failure", ""});
    ASSERT_TRUE(XEventually([&] { return client.GetDroppedResultCount() == 1; }));
    EXPECT_EQ(sink.GetCount(), 300U);

    // Answered jobs leave the stream and nothing stays pending.
    EXPECT_TRUE(XEventually([&] { return Integer(*itsAdmin, {"XLEN", XRedisKeys::kJobs}) == 0; }));
    EXPECT_EQ(PendingJobs(*itsAdmin), 0);
}

TEST_F(XRedisFarmTest, CancellingRemovesQueuedJobsAndStopsRunningOnes)
{
    XFarmTestClient farm(itsServer.GetAddress("client"), 5);
    XFarmTestSink& sink = farm.sink;
    XRedisNetJobQueueBackend& client = farm.backend;
    XRedisWorker worker(itsServer.GetAddress("worker"), WorkerOptions(1, 5000ms));
    worker.Start();

    const int stoppedBefore = XFarmTestJob::StoppedByCancel();
    client.SubmitJobs(AddJobs(1, 1, XFarmTestJob::kLoopUntilCancelled));
    ASSERT_TRUE(XEventually([] { return XFarmTestJob::Looping() == 1; }));
    client.SubmitJobs(AddJobs(2, 3)); // queued behind the loop on the only thread
    ASSERT_TRUE(XEventually([&] { return Integer(*itsAdmin, {"XLEN", XRedisKeys::kJobs}) == 4; }));

    client.CancelJobs({1, 2, 3});
    ASSERT_TRUE(XEventually([&] { return XFarmTestJob::StoppedByCancel() == stoppedBefore + 1; }));
    ASSERT_TRUE(sink.WaitForCount(1));
    std::this_thread::sleep_for(300ms); // a cancelled job that ran would report by now
    const auto outcomes = sink.GetOutcomes();
    ASSERT_EQ(outcomes.size(), 1U);
    EXPECT_EQ(outcomes.begin()->first, 4U);
    EXPECT_EQ(outcomes.begin()->second[0].value, 9);
    EXPECT_TRUE(XEventually([&] { return PendingJobs(*itsAdmin) == 0; }));
}

TEST_F(XRedisFarmTest, StoppedWorkersJobsAreReclaimedAndUnreadableJobsQuarantined)
{
    XFarmTestClient farm(itsServer.GetAddress("client"), 100);
    XFarmTestSink& sink = farm.sink;
    XRedisNetJobQueueBackend& client = farm.backend;

    // A worker that stops while it holds a job leaves it pending ...
    XRedisWorker first(itsServer.GetAddress("worker"), WorkerOptions(1, 200ms, 60s));
    first.Start();
    client.SubmitJobs(AddJobs(1, 1));
    ASSERT_TRUE(XEventually([&] { return PendingJobs(*itsAdmin) == 1; }));
    first.Stop();
    EXPECT_EQ(PendingJobs(*itsAdmin), 1);
    EXPECT_EQ(sink.GetCount(), 0U);

    // ... and another takes it over once it has been idle for the reclaim time.
    std::vector<std::string> lines;
    std::mutex linesMutex;
    XRedisWorker::XOptions options = WorkerOptions(1, 200ms);
    options.log = [&](const std::string& inLine)
    {
        const std::lock_guard lock(linesMutex);
        lines.push_back(inLine);
    };
    XRedisWorker second(itsServer.GetAddress("worker"), options);
    second.Start();
    ASSERT_TRUE(sink.WaitForCount(1));
    EXPECT_EQ(sink.GetOutcomes().at(1).at(0).value, 101);

    // A job no worker can read is left for others at first, then quarantined and reported.
    client.SubmitJobs(AddJobs(2, 1, XFarmTestJob::kUnreadable));
    ASSERT_TRUE(sink.WaitForCount(2));
    const auto report = sink.GetOutcomes().at(2).at(0);
    EXPECT_EQ(report.value, -1);
    EXPECT_NE(report.failure.find("quarantined after 3 deliveries"), std::string::npos)
        << report.failure;
    EXPECT_NE(report.failure.find("a test job nobody can read"), std::string::npos);
    EXPECT_EQ(Integer(*itsAdmin, {"XLEN", XRedisKeys::kQuarantine}), 1);
    {
        const std::lock_guard lock(linesMutex);
        EXPECT_TRUE(
            std::any_of(lines.begin(), lines.end(),
                        [](const std::string& inLine)
                        { return inLine.find("left for other workers") != std::string::npos; }));
    }
    EXPECT_TRUE(XEventually([&] { return PendingJobs(*itsAdmin) == 0; }));
    EXPECT_EQ(sink.GetCount(), 2U);
}

TEST_F(XRedisFarmTest, AJobThatKeepsLosingItsWorkersIsQuarantined)
{
    XFarmTestClient farm(itsServer.GetAddress("client"), 0);
    XFarmTestSink& sink = farm.sink;
    XRedisNetJobQueueBackend& client = farm.backend;
    client.SubmitJobs(AddJobs(1, 1));

    // Three workers in turn take the job and go away while they hold it.
    for (int delivery = 1; delivery <= 3; ++delivery)
    {
        std::atomic<bool> holding{false};
        XRedisWorker::XOptions options = WorkerOptions(1, 100ms, 60s);
        options.log = [&](const std::string& inLine)
        { holding = holding || inLine.starts_with("holding job"); };
        XRedisWorker doomed(itsServer.GetAddress("worker"), options);
        doomed.Start();
        ASSERT_TRUE(XEventually([&] { return holding.load(); })) << "delivery " << delivery;
        doomed.Stop();
    }
    XRedisWorker next(itsServer.GetAddress("worker"), WorkerOptions(1, 100ms));
    next.Start();
    ASSERT_TRUE(sink.WaitForCount(1));
    const auto report = sink.GetOutcomes().at(1).at(0);
    EXPECT_NE(report.failure.find("quarantined after 4 deliveries: delivered 4 times without a "
                                  "result"),
              std::string::npos)
        << report.failure;
    EXPECT_EQ(next.GetCompletedJobCount(), 0U);
    EXPECT_EQ(Integer(*itsAdmin, {"XLEN", XRedisKeys::kQuarantine}), 1);
}

TEST_F(XRedisFarmTest, LosingTheServerFailsOpenJobsOrRendersThemHere)
{
    // Without local workers the open jobs fail with the reason; nothing waits.
    {
        XFarmTestClient farm(itsServer.GetAddress("client"), 1);
        XFarmTestSink& sink = farm.sink;
        XRedisNetJobQueueBackend& client = farm.backend;
        client.SubmitJobs(AddJobs(1, 3));
        ASSERT_TRUE(XEventually(
            [&] {
                return Integer(*itsAdmin, {"XLEN", XRedisKeys::kJobs}) == 3;
            }));
        itsServer.Kill();
        ASSERT_TRUE(sink.WaitForCount(3));
        for (const auto& [jobID, reports] : sink.GetOutcomes())
        {
            EXPECT_NE(reports.at(0).failure.find("lost the Redis server at unix:"),
                      std::string::npos)
                << reports.at(0).failure;
        }
        // Jobs submitted afterwards fail at once too.
        client.SubmitJobs(AddJobs(4, 1));
        ASSERT_TRUE(sink.WaitForCount(4));
    }
}

TEST(XRedisFarmFallbackTest, LocalWorkersFinishTheFrameWhenTheServerGoes)
{
    XRegisterFarmTestClasses();
    XRedisTestServer server;
    XRedisNetJobQueueBackend::XOptions options;
    options.localThreads = 1;
    std::atomic<int> movedHere{0};
    options.log = [&](const std::string& inLine)
    {
        movedHere += inLine.find("lost the Redis server") != std::string::npos &&
                     inLine.find("jobs on this machine") != std::string::npos;
    };
    XFarmTestClient farm(server.GetAddress("client"), 10, options);
    XFarmTestSink& sink = farm.sink;
    XRedisNetJobQueueBackend& client = farm.backend;
    client.SubmitJobs(AddJobs(1, 40));
    server.Kill(); // some jobs may have run through the server already; the rest run here
    ASSERT_TRUE(sink.WaitForCount(40));
    EXPECT_TRUE(XEventually([&] { return movedHere == 1; }));
    client.SubmitJobs(AddJobs(41, 2)); // straight to this machine's workers
    ASSERT_TRUE(sink.WaitForCount(42));
    for (const auto& [jobID, reports] : sink.GetOutcomes())
    {
        ASSERT_EQ(reports.size(), 1U) << "job " << jobID;
        EXPECT_EQ(reports[0].value, 10 + jobID) << reports[0].failure;
    }
}

TEST_F(XRedisFarmTest, WorkerUserMayOnlyTakeJobsReadDataAndWriteResults)
{
    const auto worker = itsServer.Connect("worker");
    const auto refused = [&](const XRedisConnection::XArguments& inCommand)
    {
        try
        {
            worker->Command(inCommand);
            return std::string("allowed");
        }
        catch (const XRedisError& error)
        {
            EXPECT_FALSE(error.IsConnectionLost());
            return std::string(error.what());
        }
    };
    for (const XRedisConnection::XArguments& command :
         {XRedisConnection::XArguments{"CONFIG", "GET", "maxmemory"},
          {"EVAL", "return 1", "0"},
          {"FUNCTION", "LIST"},
          {"XADD", XRedisKeys::kJobs, "*", "job", "1"},
          {"SET", "voltrace:data:0123", "x"},
          {"DEL", "voltrace:data:0123"},
          {"XGROUP", "DESTROY", XRedisKeys::kJobs, XRedisKeys::kGroup},
          {"FLUSHALL"}})
    {
        EXPECT_NE(refused(command).find("NOPERM"), std::string::npos) << command.front();
    }
    EXPECT_EQ(worker->Command({"GET", "voltrace:data:0123"})->type, REDIS_REPLY_NIL);
    EXPECT_EQ(refused({"XADD", XRedisKeys::Results("someone"), "*", "job", "1"}), "allowed");

    // A wrong password is refused with the user named; the password is not shown.
    XRedisAddress wrong = itsServer.GetAddress("worker");
    const auto file = itsServer.GetFolder() / "wrong.password";
    std::ofstream(file) << "not-the-password\n";
    wrong.LoadPasswordFile(file);
    try
    {
        XRedisConnection connection(wrong, 1000ms);
        ADD_FAILURE() << "a wrong password was accepted";
    }
    catch (const XRedisError& error)
    {
        const std::string what = error.what();
        EXPECT_NE(what.find("refused the login of user \"worker\""), std::string::npos) << what;
        EXPECT_EQ(what.find("not-the-password"), std::string::npos);
    }
}
