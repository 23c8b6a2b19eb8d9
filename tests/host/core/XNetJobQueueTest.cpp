#include "host/core/XNetJobQueue.h"
#include "host/core/WEvent.h"
#include "host/core/XCancellationScope.h"
#include "host/core/XClassRegistry.h"
#include "host/core/XException.h"
#include "host/core/XInternalError.h"
#include "host/core/XListener.h"
#include "host/core/XLocalNetJobQueueBackend.h"
#include "host/core/XNetJob.h"
#include "host/core/XNetJobCompletedMessage.h"
#include "host/core/XNetJobContext.h"
#include "host/core/XNetJobResult.h"
#include "host/core/XNetJobSharedData.h"
#include "host/core/XStream.h"
#include "host/core/XThread.h"
#include "host/core/XThreadCancelled.h"
#include "tests/scenes/XStreamTestSupport.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

namespace
{
constexpr std::uint32_t kDataClassID = 9001;
constexpr std::uint32_t kResultClassID = 9002;
// Set by the value constructors of the test objects but never written: an object read from a
// stream has it at 0.
constexpr std::int32_t kMark = 42;

// What the test jobs did, wherever they ran (a job read from a stream keeps no pointers).
struct XJournal
{
    void Ran(std::int64_t inFactor)
    {
        const std::lock_guard lock(mutex);
        runOrder.push_back(inFactor);
    }
    std::vector<std::int64_t> RunOrder()
    {
        const std::lock_guard lock(mutex);
        return runOrder;
    }
    void Reset()
    {
        const std::lock_guard lock(mutex);
        runOrder.clear();
        started.Reset();
        gate.Reset();
        liveData = 0;
        liveJobs = 0;
    }

    std::mutex mutex;
    std::vector<std::int64_t> runOrder; // the factors of the jobs that ran
    WEvent started;                     // set by a looping or gated job once it runs
    WEvent gate;                        // what a kCopyAfterRelease job waits for
    std::atomic<int> liveData{0};
    std::atomic<int> liveJobs{0};
    std::atomic<int> liveResults{0};
};

XJournal& Journal()
{
    static XJournal journal;
    return journal;
}

// Counts the live objects of a kind, copies included.
class XLive
{
public:
    explicit XLive(std::atomic<int>& inCount) : itsCount(inCount) { ++itsCount; }
    XLive(const XLive& inOther) : XLive(inOther.itsCount) {}
    XLive& operator=(const XLive&) { return *this; }
    ~XLive() { --itsCount; }

private:
    std::atomic<int>& itsCount;
};

// Shared data (the number the jobs multiply) or a result (the product, with the marks of the job
// and of the data copy that made it, where the job ran).
template <class TBase, std::uint32_t kClassID>
class XNumber final : public TBase
{
public:
    XNumber() = default;
    explicit XNumber(std::int64_t inValue, std::int32_t inJobMark = 0, std::int32_t inDataMark = 0)
        : itsValue(inValue), itsJobMark(inJobMark), itsDataMark(inDataMark), itsMark(kMark)
    {
    }

    std::uint32_t GetClassID() const override { return kClassID; }
    std::unique_ptr<XStorable> Clone() const override { return std::make_unique<XNumber>(*this); }
    std::uint64_t GetStreamSize() const override { return TBase::GetStreamSize() + 24; }
    void Read(XStream& inStream) override
    {
        TBase::Read(inStream);
        inStream.ReadClassVersion(kClassID);
        itsValue = static_cast<std::int64_t>(inStream.Read64());
        itsJobMark = static_cast<std::int32_t>(inStream.Read32());
        itsDataMark = static_cast<std::int32_t>(inStream.Read32());
    }
    void Write(XStream& outStream) const override
    {
        TBase::Write(outStream);
        outStream.WriteVersion(kClassID);
        outStream.Write64(static_cast<std::uint64_t>(itsValue));
        outStream.Write32(static_cast<std::uint32_t>(itsJobMark));
        outStream.Write32(static_cast<std::uint32_t>(itsDataMark));
    }

    std::int64_t itsValue = 0;
    std::int32_t itsJobMark = 0;
    std::int32_t itsDataMark = 0;
    std::int32_t itsMark = 0; // not written
    XLive itsLive{kClassID == kDataClassID ? Journal().liveData : Journal().liveResults};
};
using XData = XNumber<XNetJobSharedData, kDataClassID>;
using XResult = XNumber<XNetJobResult, kResultClassID>;

enum class XJobKind : std::uint32_t
{
    kMultiply,           // its shared data times its factor
    kUnregistered,       // multiplies, without having registered its shared data
    kFail,               // throws an XException
    kLoopUntilCancelled, // polls for cancellation until it is cancelled
    kThrowCancelled,     // throws XThreadCancelled without having been cancelled
    kCopyAfterRelease,   // waits for the journal's gate, then copies its shared data
    kGarbage,            // multiplies, but writes a record that cannot be read back
};

// Records its factor in the journal, then does what its kind says.
class XTestJob final : public XNetJob
{
public:
    XTestJob() = default;
    XTestJob(std::int64_t inFactor, std::uint32_t inDataID, XJobKind inKind = XJobKind::kMultiply)
        : itsFactor(inFactor), itsDataID(inDataID), itsKind(inKind), itsMark(kMark)
    {
        if (inKind != XJobKind::kUnregistered)
        {
            RegisterSharedData(inDataID);
        }
    }

    std::string GetJobName() const override { return "Test Job"; }
    std::uint32_t GetClassID() const override { return 9003; }
    std::unique_ptr<XStorable> Clone() const override { return std::make_unique<XTestJob>(*this); }
    std::uint64_t GetStreamSize() const override
    {
        return XNetJob::GetStreamSize() + (itsKind == XJobKind::kGarbage ? 32 : 28);
    }
    void Read(XStream& inStream) override
    {
        XNetJob::Read(inStream);
        inStream.ReadClassVersion(GetClassID());
        itsFactor = static_cast<std::int64_t>(inStream.Read64());
        itsDataID = inStream.Read32();
        itsKind = static_cast<XJobKind>(inStream.Read32());
        if (itsKind == XJobKind::kGarbage)
        {
            inStream.ReadCount(8);
        }
    }
    void Write(XStream& outStream) const override
    {
        XNetJob::Write(outStream);
        outStream.WriteVersion(GetClassID());
        outStream.Write64(static_cast<std::uint64_t>(itsFactor));
        outStream.Write32(itsDataID);
        outStream.Write32(static_cast<std::uint32_t>(itsKind));
        if (itsKind == XJobKind::kGarbage)
        {
            outStream.Write32(0xfffffff0U); // a count far beyond the bytes that follow
        }
    }

protected:
    void Run() override
    {
        Journal().Ran(itsFactor);
        if (itsKind == XJobKind::kFail)
        {
            throw XException(XException::kInvalidArgument,
                             "job " + std::to_string(itsFactor) + " failed on purpose");
        }
        if (itsKind == XJobKind::kThrowCancelled)
        {
            throw XThreadCancelled();
        }
        if (itsKind == XJobKind::kLoopUntilCancelled || itsKind == XJobKind::kCopyAfterRelease)
        {
            Journal().started.Set();
        }
        if (itsKind == XJobKind::kCopyAfterRelease)
        {
            Journal().gate.Wait(-1);
        }
        // Bounded, so that a queue that never cancels fails the test instead of hanging it.
        for (int round = 0; itsKind == XJobKind::kLoopUntilCancelled && round < 60000; ++round)
        {
            XThread::TestCancelCurrentThread();
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        const std::unique_ptr<XNetJobSharedData> data = GetSharedDataCopy(itsDataID);
        const auto* number = dynamic_cast<const XData*>(data.get());
        if (number == nullptr)
        {
            throw XException(XException::kInvalidArgument, "no data");
        }
        StoreJobResult(
            std::make_unique<XResult>(number->itsValue * itsFactor, itsMark, number->itsMark));
    }

private:
    std::int64_t itsFactor = 1;
    std::uint32_t itsDataID = 0;
    XJobKind itsKind = XJobKind::kMultiply;
    std::int32_t itsMark = 0; // not written
    XLive itsLive{Journal().liveJobs};
};

// One completion as a listener heard it.
struct XDelivery
{
    bool hasResult = false;
    XResult result; // a copy taken from the message
    std::string failure;
    std::thread::id thread;
};

// Collects completions by job, as a listener of a queue or as the sink of a backend. The hook,
// set before any job is attached, runs after each message is recorded.
class XCollector : public XListener, public XNetJobQueueBackend::XCompletionSink
{
public:
    XCollector() = default;
    explicit XCollector(XNetJobQueue& inQueue) { Subscribe(inQueue); }
    ~XCollector() override { UnsubscribeAll(); }

    void HandleMessage(const XMessage& inMessage) override
    {
        const auto& message = dynamic_cast<const XNetJobCompletedMessage&>(inMessage);
        JobFinished(message.GetJobID(), message.GetResultCopy(), message.GetFailure());
        if (hook)
        {
            hook(message);
        }
    }
    void JobFinished(std::uint32_t inJobID, std::unique_ptr<XNetJobResult> inResult,
                     std::string inFailure) override
    {
        XDelivery delivery{
            inResult != nullptr, {}, std::move(inFailure), std::this_thread::get_id()};
        if (inResult)
        {
            delivery.result = dynamic_cast<const XResult&>(*inResult);
        }
        const std::lock_guard lock(itsMutex);
        EXPECT_TRUE(itsDeliveries.emplace(inJobID, delivery).second) << inJobID << " came twice";
        itsChanged.notify_all();
    }
    // Once at least inCount jobs have come.
    std::map<std::uint32_t, XDelivery> Get(std::size_t inCount = 0)
    {
        std::unique_lock lock(itsMutex);
        itsChanged.wait(lock, [&] { return itsDeliveries.size() >= inCount; });
        return itsDeliveries;
    }

    std::function<void(const XNetJobCompletedMessage&)> hook;

private:
    std::mutex itsMutex;
    std::condition_variable itsChanged;
    std::map<std::uint32_t, XDelivery> itsDeliveries;
};

// A queue on a local pool of inWorkers threads, with a collector of its completions.
struct XRig
{
    explicit XRig(std::uint32_t inWorkers, bool inStreamMode = false)
        : queue(std::make_unique<XNetJobQueue>(
              0, true, false, true,
              std::make_unique<XLocalNetJobQueueBackend>(inWorkers, inStreamMode))),
          collector(*queue)
    {
    }
    std::uint32_t AddData(std::int64_t inValue)
    {
        return queue->AttachSharedData(std::make_unique<XData>(inValue));
    }
    // Attaches a job under a new id and returns the id.
    std::uint32_t AddJob(std::int64_t inFactor, std::uint32_t inDataID, bool inHeldBack,
                         XJobKind inKind = XJobKind::kMultiply)
    {
        const std::uint32_t id = queue->GetNextJobID();
        queue->AttachJob(id, std::make_unique<XTestJob>(inFactor, inDataID, inKind), inHeldBack);
        factorOf[id] = inFactor;
        return id;
    }
    void Wait(const std::vector<std::uint32_t>& inJobIDs)
    {
        queue->WaitForJobsToCompleteWithProgress(inJobIDs, "Test");
    }

    std::unique_ptr<XNetJobQueue> queue;
    XCollector collector;
    std::map<std::uint32_t, std::int64_t> factorOf; // of the jobs added
};

// The 32-bit words written to inStream.
std::vector<std::uint32_t> Words(const XMemoryStream& inStream)
{
    XMemoryStream reader(inStream.GetBytes());
    std::vector<std::uint32_t> words;
    while (reader.GetRemaining() >= 4)
    {
        words.push_back(reader.Read32());
    }
    EXPECT_EQ(reader.GetRemaining(), 0U);
    return words;
}

class XNetJobQueueTest : public testing::Test
{
protected:
    void SetUp() override
    {
        XRegisterClass<XData>("XNetJobQueueTestData", XNetJobSharedData::kBaseClassID);
        XRegisterClass<XResult>("XNetJobQueueTestResult", XNetJobResult::kBaseClassID);
        XRegisterClass<XTestJob>("XNetJobQueueTestJob", XNetJob::kBaseClassID);
        Journal().Reset();
    }
    static int LiveData() { return Journal().liveData.load(); }
    static int LiveJobs() { return Journal().liveJobs.load(); }
};

TEST_F(XNetJobQueueTest, JobRunsThroughItsContextAndKeepsOneResult)
{
    // Has data under id 4 only, as a backend would.
    struct XFixedContext final : XNetJobContext
    {
        std::unique_ptr<XNetJobSharedData> CopySharedData(std::uint32_t inID) const override
        {
            return inID == 4 ? std::make_unique<XData>(5) : nullptr;
        }
    } context;
    XTestJob job(10, 4);
    job.Execute(context);
    const std::unique_ptr<XNetJobResult> result = job.TakeJobResult();
    const auto& product = dynamic_cast<const XResult&>(*result);
    EXPECT_EQ(product.itsValue, 50);
    EXPECT_EQ(product.itsJobMark, kMark);
    EXPECT_EQ(product.itsDataMark, kMark);
    EXPECT_EQ(job.TakeJobResult(), nullptr);

    // A job sees only the ids it registered, and only those the context has.
    XTestJob unregistered(1, 4, XJobKind::kUnregistered);
    EXPECT_THROW(unregistered.Execute(context), XException);
    XTestJob missing(1, 5);
    EXPECT_THROW(missing.Execute(context), XException);
    EXPECT_EQ(missing.TakeJobResult(), nullptr);
    EXPECT_EQ(XTestJob(missing).GetSharedDataIDs(), std::vector<std::uint32_t>{5});
}

TEST_F(XNetJobQueueTest, BaseRecordsKeepRegistrationsAndRefuseMalformedCounts)
{
    XTestJob job(1, 3);
    job.RegisterSharedData(5, 0x20);
    job.RegisterSharedData(3, 0x99); // already registered: counts once, the first flags stand
    EXPECT_EQ(job.GetSharedDataIDs(), (std::vector<std::uint32_t>{3, 5}));

    XMemoryStream base;
    job.XNetJob::Write(base);
    EXPECT_EQ(Words(base),
              (std::vector<std::uint32_t>{1200, XStream::kCurrentVersion, 2, 3, 0, 5, 0x20}));
    XMemoryStream resultBase;
    XResult().XNetJobResult::Write(resultBase);
    EXPECT_EQ(Words(resultBase), (std::vector<std::uint32_t>{1202, XStream::kCurrentVersion}));
    XMemoryStream dataBase;
    XData().XNetJobSharedData::Write(dataBase);
    EXPECT_EQ(Words(dataBase), (std::vector<std::uint32_t>{1203, XStream::kCurrentVersion}));

    XMemoryStream written;
    written.WriteObject(&job);
    XMemoryStream reader(written.GetBytes());
    const std::unique_ptr<XTestJob> read = reader.ReadObjectAs<XTestJob>();
    ASSERT_NE(read, nullptr);
    EXPECT_EQ(read->GetSharedDataIDs(), (std::vector<std::uint32_t>{3, 5}));
    XMemoryStream rewritten;
    rewritten.WriteObject(read.get());
    EXPECT_EQ(rewritten.GetBytes(), written.GetBytes()); // flags included

    // A count beyond the limit, even with the bytes present, and a count beyond the bytes.
    const auto readBase = [](std::uint32_t inCount, std::uint32_t inPairs)
    {
        XMemoryStream stream;
        stream.WriteVersion(XNetJob::kBaseClassID);
        stream.Write32(inCount);
        for (std::uint32_t word = 0; word < 2 * inPairs; ++word)
        {
            stream.Write32(word);
        }
        XMemoryStream input(stream.TakeBytes());
        return XErrorCodeOf([&input] { XTestJob().XNetJob::Read(input); });
    };
    const std::uint32_t limit = XNetJob::kMaxSharedData;
    EXPECT_EQ(readBase(limit, limit), 0);
    EXPECT_EQ(readBase(limit + 1, limit + 1), XException::kMalformedStream);
    EXPECT_EQ(readBase(3, 2), XException::kMalformedStream);
    // A job's base record where a result's belongs.
    XMemoryStream wrongClass(base.GetBytes());
    EXPECT_EQ(XErrorCodeOf([&] { XResult().XNetJobResult::Read(wrongClass); }),
              XException::kWrongClass);
}

TEST_F(XNetJobQueueTest, CompletedMessageClonesOwnTheirResults)
{
    const XNetJobCompletedMessage message(nullptr, 17, std::make_unique<XResult>(60), "");
    const std::unique_ptr<XMessage> clone = message.Clone();
    const auto& copy = dynamic_cast<const XNetJobCompletedMessage&>(*clone);
    EXPECT_EQ(copy.GetJobID(), 17U);
    EXPECT_TRUE(copy.HasResult());
    EXPECT_EQ(copy.GetFailure(), "");
    ASSERT_NE(message.GetResultCopy(), nullptr);
    const std::unique_ptr<XNetJobResult> result = copy.GetResultCopy();
    EXPECT_EQ(dynamic_cast<const XResult&>(*result).itsValue, 60);

    const std::unique_ptr<XMessage> failedClone =
        XNetJobCompletedMessage(nullptr, 18, nullptr, "broken").Clone();
    const auto& failed = dynamic_cast<const XNetJobCompletedMessage&>(*failedClone);
    EXPECT_FALSE(failed.HasResult());
    EXPECT_EQ(failed.GetResultCopy(), nullptr);
    EXPECT_EQ(failed.GetFailure(), "broken");
}

TEST_F(XNetJobQueueTest, EveryJobIsDeliveredOnceOnOneThreadThatIsNotTheCaller)
{
    const XInternalErrorCapture capture;
    {
        XRig rig(4);
        const std::uint32_t dataID = rig.AddData(55);
        EXPECT_EQ(dataID, 1U);
        // Every third job is held back and resumed later, so that both paths deliver. Attached
        // first, they keep the data attached while the others come and go.
        std::vector<std::uint32_t> held;
        for (std::int64_t factor = 3; factor <= 60; factor += 3)
        {
            held.push_back(rig.AddJob(factor, dataID, true));
        }
        for (std::int64_t factor = 1; factor <= 60; factor += factor % 3 == 1 ? 1 : 2)
        {
            rig.AddJob(factor, dataID, false);
        }
        const std::uint32_t failing = rig.AddJob(100, dataID, false, XJobKind::kFail);
        rig.queue->ResumeJobs(held);
        std::vector<std::uint32_t> ids;
        for (const auto& [id, factor] : rig.factorOf)
        {
            ids.push_back(id);
        }
        rig.Wait(ids);
        EXPECT_EQ(rig.queue->GetOpenJobCount(), 0U);

        const std::map<std::uint32_t, XDelivery> deliveries = rig.collector.Get();
        ASSERT_EQ(deliveries.size(), 61U);
        std::set<std::thread::id> threads;
        for (const auto& [id, delivery] : deliveries)
        {
            threads.insert(delivery.thread);
            EXPECT_EQ(delivery.result.itsValue, id == failing ? 0 : 55 * rig.factorOf[id]) << id;
        }
        EXPECT_FALSE(deliveries.at(failing).hasResult);
        EXPECT_EQ(deliveries.at(failing).failure, "job 100 failed on purpose");
        EXPECT_EQ(threads.size(), 1U);
        EXPECT_FALSE(threads.contains(std::this_thread::get_id()));

        rig.Wait(ids); // waiting again returns at once
    }
    EXPECT_EQ(LiveJobs(), 0);
    EXPECT_EQ(LiveData(), 0);
    EXPECT_TRUE(capture.GetConditions().empty());
}

TEST_F(XNetJobQueueTest, HeldBackJobsWaitForResumeAndRunInResumeOrder)
{
    const XInternalErrorCapture capture;
    XRig rig(1);
    const std::uint32_t dataID = rig.AddData(1);
    std::vector<std::uint32_t> held;
    for (std::int64_t factor = 1; factor <= 5; ++factor)
    {
        held.push_back(rig.AddJob(factor, dataID, true));
    }
    // The one worker takes jobs in the order it got them: had the held jobs gone to it, they
    // would have run before this one.
    rig.Wait({rig.AddJob(10, dataID, false)});
    EXPECT_EQ(Journal().RunOrder(), std::vector<std::int64_t>{10});
    EXPECT_EQ(rig.queue->GetOpenJobCount(), 5U);

    // An id already attached and a null job are reported and dropped.
    rig.queue->AttachJob(held[0], std::make_unique<XTestJob>(50, dataID), true);
    rig.queue->AttachJob(rig.queue->GetNextJobID(), nullptr, false);
    EXPECT_EQ(capture.GetConditions(), (std::vector<std::string>{"isNewID", "inJob != nullptr"}));

    const std::vector<std::uint32_t> order{held[4], held[1], held[3], held[0], held[2]};
    rig.queue->ResumeJobs(order);
    rig.queue->ResumeJobs(order); // no longer held: nothing happens
    rig.Wait(held);
    EXPECT_EQ(Journal().RunOrder(), (std::vector<std::int64_t>{10, 5, 2, 4, 1, 3}));
    EXPECT_EQ(rig.collector.Get().size(), 6U);
    EXPECT_EQ(rig.collector.Get().at(held[3]).result.itsValue, 4);
}

TEST_F(XNetJobQueueTest, DeletedJobsNeverDeliverWhetherHeldQueuedOrRunning)
{
    const XInternalErrorCapture capture;
    XRig rig(1);
    const std::uint32_t dataID = rig.AddData(6);
    const std::uint32_t running = rig.AddJob(1, dataID, false, XJobKind::kLoopUntilCancelled);
    Journal().started.Wait(-1);
    const std::uint32_t queued = rig.AddJob(2, dataID, false); // behind the running one
    const std::uint32_t kept = rig.AddJob(10, dataID, false);
    const std::uint32_t held = rig.AddJob(4, dataID, true);

    rig.queue->AsyncDeleteJobs({running, queued, held, 777});
    rig.queue->ResumeJobs({held}); // deleted: nothing to resume
    rig.Wait({running, queued, kept, held});
    // The kept job ran on the only worker after the running one stopped, so anything the
    // deleted jobs could still deliver would have come before it.
    const std::map<std::uint32_t, XDelivery> deliveries = rig.collector.Get();
    ASSERT_EQ(deliveries.size(), 1U);
    EXPECT_EQ(deliveries.at(kept).result.itsValue, 60);
    EXPECT_EQ(Journal().RunOrder(), (std::vector<std::int64_t>{1, 10}));
    EXPECT_EQ(rig.queue->GetOpenJobCount(), 0U);
    EXPECT_TRUE(capture.GetConditions().empty());
}

TEST_F(XNetJobQueueTest, DeletingFromAListenerOrDuringADelivery)
{
    // A listener deletes its own job and the next one: it must not wait for itself, and the
    // next job's message is never spoken.
    {
        XRig rig(1);
        const std::uint32_t dataID = rig.AddData(1);
        const std::uint32_t first = rig.AddJob(1, dataID, true);
        const std::uint32_t second = rig.AddJob(2, dataID, true);
        rig.collector.hook = [&](const XNetJobCompletedMessage& inMessage)
        {
            if (inMessage.GetJobID() == first)
            {
                rig.queue->AsyncDeleteJobs({first, second});
            }
        };
        rig.queue->ResumeJobs({first, second});
        rig.Wait({first, second});
        const std::map<std::uint32_t, XDelivery> deliveries = rig.collector.Get();
        EXPECT_EQ(deliveries.size(), 1U);
        EXPECT_TRUE(deliveries.contains(first));
    }
    // Deleting a job whose message is being heard returns only after the listener has returned.
    {
        XRig rig(2);
        WEvent entered;
        WEvent gate;
        std::atomic<bool> left{false};
        rig.collector.hook = [&](const XNetJobCompletedMessage&)
        {
            entered.Set();
            gate.Wait(-1);
            left = true;
        };
        const std::uint32_t id = rig.AddJob(1, rig.AddData(1), false);
        entered.Wait(-1);
        std::atomic<bool> listenerHadLeft{false};
        std::thread deleter(
            [&]
            {
                rig.queue->AsyncDeleteJobs({id});
                listenerHadLeft = left.load();
            });
        // Gives a deleter that does not wait the time to return early.
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        gate.Set();
        deleter.join();
        EXPECT_TRUE(listenerHadLeft);
        EXPECT_EQ(rig.collector.Get().size(), 1U);
        EXPECT_EQ(rig.queue->GetOpenJobCount(), 0U);
    }
}

TEST_F(XNetJobQueueTest, StreamModeRunsFreshObjectsReadFromTheStream)
{
    for (const bool streamMode : {false, true})
    {
        SCOPED_TRACE(streamMode ? "stream mode" : "direct");
        Journal().Reset();
        {
            XRig rig(2, streamMode);
            const std::uint32_t dataID = rig.AddData(11);
            // Held back until both are attached, so that the first cannot release the data.
            const std::uint32_t product = rig.AddJob(3, dataID, true);
            const std::uint32_t garbage = rig.AddJob(1, dataID, true, XJobKind::kGarbage);
            rig.queue->ResumeJobs({product, garbage});
            rig.Wait({product, garbage});
            const std::map<std::uint32_t, XDelivery> deliveries = rig.collector.Get();
            // In stream mode the job that ran, the data it copied and the result that came back
            // were each read from a stream, so their marks are 0.
            const XResult& result = deliveries.at(product).result;
            EXPECT_EQ(result.itsValue, 33);
            EXPECT_EQ(result.itsJobMark, streamMode ? 0 : kMark);
            EXPECT_EQ(result.itsDataMark, streamMode ? 0 : kMark);
            EXPECT_EQ(result.itsMark, streamMode ? 0 : kMark);
            // A job that cannot be read back fails without running.
            const std::string& failure = deliveries.at(garbage).failure;
            EXPECT_EQ(failure.find("malformed stream") != std::string::npos, streamMode) << failure;
            EXPECT_EQ(deliveries.at(garbage).hasResult, !streamMode);
            EXPECT_EQ(Journal().RunOrder().size(), streamMode ? 1U : 2U);
        }
        EXPECT_EQ(LiveJobs(), 0);
        EXPECT_EQ(LiveData(), 0);
    }
}

TEST_F(XNetJobQueueTest, SharedDataIsReleasedAfterItsLastJob)
{
    const XInternalErrorCapture capture;
    XRig rig(2);
    const std::uint32_t delivered = rig.AddData(1);
    const std::uint32_t deleted = rig.AddData(1);
    rig.AddData(1); // no job ever uses it
    EXPECT_EQ(LiveData(), 3);
    const std::uint32_t first = rig.AddJob(1, delivered, true);
    const std::uint32_t second = rig.AddJob(2, delivered, true);
    const std::uint32_t doomed = rig.AddJob(3, deleted, true);

    rig.queue->ResumeJobs({first});
    rig.Wait({first});
    EXPECT_EQ(LiveData(), 3); // the second job still needs it
    rig.queue->ResumeJobs({second});
    rig.Wait({second});
    EXPECT_EQ(LiveData(), 2);
    rig.queue->AsyncDeleteJobs({doomed});
    EXPECT_EQ(LiveData(), 1);
    rig.queue->DisconnectFromICS();
    EXPECT_EQ(LiveData(), 0);
    EXPECT_EQ(rig.collector.Get().size(), 2U);
    EXPECT_TRUE(capture.GetConditions().empty());
}

TEST_F(XNetJobQueueTest, WaitingEndsWhenTheWaiterIsCancelledOrTheQueueDisconnects)
{
    const XInternalErrorCapture capture;
    {
        XRig rig(1);
        const std::uint32_t dataID = rig.AddData(1);
        const std::uint32_t running = rig.AddJob(1, dataID, false, XJobKind::kLoopUntilCancelled);
        const std::uint32_t held = rig.AddJob(2, dataID, true);
        Journal().started.Wait(-1);
        // Waits for both jobs on another thread, does inEnd once the wait has (most likely)
        // started, and tells how the wait ended.
        std::atomic<bool> cancel{false};
        const auto waitUntil = [&](const std::function<void()>& inEnd)
        {
            WEvent waiting;
            std::string ending = "returned";
            std::thread waiter(
                [&]
                {
                    const XCancellationScope scope(cancel);
                    waiting.Set();
                    try
                    {
                        rig.Wait({running, held});
                    }
                    catch (const XThreadCancelled&)
                    {
                        ending = "cancelled";
                    }
                    catch (const XException& inError)
                    {
                        ending = "code " + std::to_string(inError.GetCode());
                    }
                });
            waiting.Wait(-1);
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
            inEnd();
            waiter.join();
            return ending;
        };
        EXPECT_EQ(waitUntil([&] { cancel = true; }), "cancelled");
        EXPECT_EQ(rig.queue->GetOpenJobCount(), 2U);
        cancel = false;
        // Disconnecting returns although a job is running.
        EXPECT_EQ(waitUntil([&] { rig.queue->DisconnectFromICS(); }),
                  "code " + std::to_string(XException::kIOError));

        rig.queue->DisconnectFromICS();
        EXPECT_EQ(LiveJobs(), 0);
        EXPECT_EQ(LiveData(), 0);
        rig.AddJob(3, dataID, false);
        EXPECT_EQ(rig.AddData(1), 0U);
        EXPECT_EQ(LiveJobs(), 0);
        EXPECT_EQ(LiveData(), 0);
        rig.Wait({12345}); // unknown ids still count as done
        EXPECT_TRUE(rig.collector.Get().empty());
    }
    EXPECT_EQ(capture.GetConditions(),
              (std::vector<std::string>{"!itsDisconnected", "!itsDisconnected"}));
}

TEST_F(XNetJobQueueTest, LocalBackendRunsInOrderAndStopsCancelledJobs)
{
    EXPECT_GE(XLocalNetJobQueueBackend().GetWorkerCount(), 1U);
    EXPECT_EQ(XLocalNetJobQueueBackend(3).GetWorkerCount(), 3U);

    XCollector sink;
    XLocalNetJobQueueBackend backend(1);
    backend.Connect(sink);
    backend.AttachSharedData(8, std::make_unique<XData>(4));
    // Submits jobs with ids equal to their factors, in the order given.
    const auto submit = [&backend](std::initializer_list<std::pair<std::uint32_t, XJobKind>> inJobs,
                                   std::uint32_t inDataID)
    {
        XNetJobQueueBackend::XJobList jobs;
        for (const auto& [id, kind] : inJobs)
        {
            jobs.emplace_back(id, std::make_unique<XTestJob>(id, inDataID, kind));
        }
        backend.SubmitJobs(std::move(jobs));
    };
    // A job cancelled while it runs and whose shared data is then released stops at the copy
    // instead of failing for want of its data, so it is not reported.
    submit({{1, XJobKind::kCopyAfterRelease}}, 8);
    Journal().started.Wait(-1);
    // Queued behind it; the third is cancelled before it starts.
    submit({{2, XJobKind::kThrowCancelled}, {3, XJobKind::kMultiply}, {4, XJobKind::kMultiply}}, 8);
    backend.CancelJobs({1, 3, 99});
    backend.ReleaseSharedData(8);
    backend.AttachSharedData(9, std::make_unique<XData>(5));
    submit({{5, XJobKind::kMultiply}}, 9);
    Journal().gate.Set();

    // Job 4 lost its data with the release; job 2 stopped as if cancelled but was not.
    const std::map<std::uint32_t, XDelivery> reports = sink.Get(3);
    EXPECT_EQ(reports.size(), 3U);
    EXPECT_NE(reports.at(2).failure.find("not cancelled"), std::string::npos);
    EXPECT_EQ(reports.at(4).failure, "no data");
    EXPECT_EQ(reports.at(5).result.itsValue, 25);
    EXPECT_EQ(Journal().RunOrder(), (std::vector<std::int64_t>{1, 2, 4, 5}));

    backend.Disconnect();
    backend.Disconnect();
    submit({{6, XJobKind::kMultiply}}, 9);
    EXPECT_EQ(LiveJobs(), 0);
    EXPECT_EQ(LiveData(), 0);
    EXPECT_EQ(sink.Get().size(), 3U);
}
} // namespace
