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

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <numeric>
#include <thread>
#include <vector>

namespace
{
constexpr std::uint32_t kSumDataClassID = 9001;
constexpr std::uint32_t kSumResultClassID = 9002;
constexpr std::uint32_t kSumJobClassID = 9003;
constexpr std::uint32_t kGarbageJobClassID = 9004;

// Marks that the test objects set in their constructors but never write: an object read from a
// stream has them at 0.
constexpr std::int32_t kJobMark = 42;
constexpr std::int32_t kDataMark = 7;
constexpr std::int32_t kResultMark = 5;

// What the test jobs did, wherever they ran (a job read from a stream keeps no pointers).
class XJobJournal
{
public:
    static XJobJournal& Get()
    {
        static XJobJournal journal;
        return journal;
    }

    void Ran(std::uint32_t inTag)
    {
        const std::lock_guard lock(itsMutex);
        itsRunOrder.push_back(inTag);
    }
    std::vector<std::uint32_t> GetRunOrder() const
    {
        const std::lock_guard lock(itsMutex);
        return itsRunOrder;
    }
    void Reset()
    {
        const std::lock_guard lock(itsMutex);
        itsRunOrder.clear();
        itsLoopStarted.Reset();
        itsGate.Reset();
        itsCopyStoppedJob = false;
    }

    WEvent itsLoopStarted; // set by a job that loops until it is cancelled
    WEvent itsGate;        // what a kCopyAfterRelease job waits for
    std::atomic<bool> itsCopyStoppedJob{false};
    std::atomic<int> itsLiveData{0};
    std::atomic<int> itsLiveJobs{0};

private:
    mutable std::mutex itsMutex;
    std::vector<std::uint32_t> itsRunOrder;
};

XJobJournal& Journal()
{
    return XJobJournal::Get();
}

// Numbers for the sum jobs.
class XSumData final : public XNetJobSharedData
{
public:
    XSumData() { ++Journal().itsLiveData; }
    explicit XSumData(std::vector<std::int64_t> inNumbers)
        : itsNumbers(std::move(inNumbers)), itsMark(kDataMark)
    {
        ++Journal().itsLiveData;
    }
    XSumData(const XSumData& inData) : XNetJobSharedData(inData), itsNumbers(inData.itsNumbers)
    {
        itsMark = inData.itsMark;
        ++Journal().itsLiveData;
    }
    ~XSumData() override { --Journal().itsLiveData; }

    std::uint32_t GetClassID() const override { return kSumDataClassID; }
    std::unique_ptr<XStorable> Clone() const override { return std::make_unique<XSumData>(*this); }
    std::uint64_t GetStreamSize() const override
    {
        return XNetJobSharedData::GetStreamSize() + 12 + 8 * itsNumbers.size();
    }
    void Read(XStream& inStream) override
    {
        XNetJobSharedData::Read(inStream);
        inStream.ReadClassVersion(kSumDataClassID);
        itsNumbers.resize(inStream.ReadCount(8));
        for (std::int64_t& number : itsNumbers)
        {
            number = static_cast<std::int64_t>(inStream.Read64());
        }
    }
    void Write(XStream& outStream) const override
    {
        XNetJobSharedData::Write(outStream);
        outStream.WriteVersion(kSumDataClassID);
        outStream.Write32(static_cast<std::uint32_t>(itsNumbers.size()));
        for (const std::int64_t number : itsNumbers)
        {
            outStream.Write64(static_cast<std::uint64_t>(number));
        }
    }

    std::vector<std::int64_t> itsNumbers;
    std::int32_t itsMark = 0; // not written
};

// A sum, with the marks the job saw where it ran.
class XSumResult final : public XNetJobResult
{
public:
    XSumResult() = default;
    XSumResult(std::uint32_t inTag, std::int64_t inSum, std::int32_t inJobMark,
               std::int32_t inDataMark)
        : itsTag(inTag), itsSum(inSum), itsJobMark(inJobMark), itsDataMark(inDataMark),
          itsMark(kResultMark)
    {
    }

    std::uint32_t GetClassID() const override { return kSumResultClassID; }
    std::unique_ptr<XStorable> Clone() const override
    {
        return std::make_unique<XSumResult>(*this);
    }
    std::uint64_t GetStreamSize() const override { return XNetJobResult::GetStreamSize() + 28; }
    void Read(XStream& inStream) override
    {
        XNetJobResult::Read(inStream);
        inStream.ReadClassVersion(kSumResultClassID);
        itsTag = inStream.Read32();
        itsSum = static_cast<std::int64_t>(inStream.Read64());
        itsJobMark = static_cast<std::int32_t>(inStream.Read32());
        itsDataMark = static_cast<std::int32_t>(inStream.Read32());
    }
    void Write(XStream& outStream) const override
    {
        XNetJobResult::Write(outStream);
        outStream.WriteVersion(kSumResultClassID);
        outStream.Write32(itsTag);
        outStream.Write64(static_cast<std::uint64_t>(itsSum));
        outStream.Write32(static_cast<std::uint32_t>(itsJobMark));
        outStream.Write32(static_cast<std::uint32_t>(itsDataMark));
    }

    std::uint32_t itsTag = 0;
    std::int64_t itsSum = 0;
    std::int32_t itsJobMark = 0;
    std::int32_t itsDataMark = 0;
    std::int32_t itsMark = 0; // not written
};

enum class XJobKind : std::uint32_t
{
    kSum,                // sums its shared data times its factor
    kFail,               // throws an XException
    kLoopUntilCancelled, // polls for cancellation until it is cancelled
    kThrowCancelled,     // throws XThreadCancelled without having been cancelled
    kCopyAfterRelease,   // waits for the journal's gate, then copies its shared data
};

// Records that it ran, then does what its kind says.
class XSumJob final : public XNetJob
{
public:
    XSumJob() { ++Journal().itsLiveJobs; }
    XSumJob(std::uint32_t inTag, std::uint32_t inDataID, std::int64_t inFactor,
            XJobKind inKind = XJobKind::kSum)
        : itsTag(inTag), itsDataID(inDataID), itsFactor(inFactor), itsKind(inKind),
          itsMark(kJobMark)
    {
        RegisterSharedData(inDataID);
        ++Journal().itsLiveJobs;
    }
    XSumJob(const XSumJob& inJob)
        : XNetJob(inJob), itsTag(inJob.itsTag), itsDataID(inJob.itsDataID),
          itsFactor(inJob.itsFactor), itsKind(inJob.itsKind), itsMark(inJob.itsMark)
    {
        ++Journal().itsLiveJobs;
    }
    ~XSumJob() override { --Journal().itsLiveJobs; }

    std::string GetJobName() const override { return "Sum Job"; }
    std::uint32_t GetClassID() const override { return kSumJobClassID; }
    std::unique_ptr<XStorable> Clone() const override { return std::make_unique<XSumJob>(*this); }
    std::uint64_t GetStreamSize() const override { return XNetJob::GetStreamSize() + 28; }
    void Read(XStream& inStream) override
    {
        XNetJob::Read(inStream);
        inStream.ReadClassVersion(kSumJobClassID);
        itsTag = inStream.Read32();
        itsDataID = inStream.Read32();
        itsFactor = static_cast<std::int64_t>(inStream.Read64());
        itsKind = static_cast<XJobKind>(inStream.Read32());
    }
    void Write(XStream& outStream) const override
    {
        XNetJob::Write(outStream);
        outStream.WriteVersion(kSumJobClassID);
        outStream.Write32(itsTag);
        outStream.Write32(itsDataID);
        outStream.Write64(static_cast<std::uint64_t>(itsFactor));
        outStream.Write32(static_cast<std::uint32_t>(itsKind));
    }

protected:
    void Run() override
    {
        Journal().Ran(itsTag);
        if (itsKind == XJobKind::kFail)
        {
            throw XException(XException::kInvalidArgument,
                             "job " + std::to_string(itsTag) + " failed on purpose");
        }
        if (itsKind == XJobKind::kLoopUntilCancelled)
        {
            Journal().itsLoopStarted.Set();
            // Bounded so that a queue that never cancels fails the test instead of hanging it.
            for (int round = 0; round < 60000; ++round)
            {
                XThread::TestCancelCurrentThread();
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
            return;
        }
        if (itsKind == XJobKind::kThrowCancelled)
        {
            throw XThreadCancelled();
        }
        if (itsKind == XJobKind::kCopyAfterRelease)
        {
            Journal().itsLoopStarted.Set();
            Journal().itsGate.Wait(-1);
            try
            {
                GetSharedDataCopy(itsDataID);
            }
            catch (const XThreadCancelled&)
            {
                Journal().itsCopyStoppedJob = true;
                throw;
            }
        }
        const std::unique_ptr<XNetJobSharedData> data = GetSharedDataCopy(itsDataID);
        const auto* numbers = dynamic_cast<const XSumData*>(data.get());
        if (numbers == nullptr)
        {
            throw XException(XException::kInvalidArgument, "no numbers");
        }
        const std::int64_t sum = std::accumulate(numbers->itsNumbers.begin(),
                                                 numbers->itsNumbers.end(), std::int64_t{0});
        StoreJobResult(
            std::make_unique<XSumResult>(itsTag, sum * itsFactor, itsMark, numbers->itsMark));
    }

private:
    std::uint32_t itsTag = 0;
    std::uint32_t itsDataID = 0;
    std::int64_t itsFactor = 1;
    XJobKind itsKind = XJobKind::kSum;
    std::int32_t itsMark = 0; // not written
};

// Writes a registration count far beyond the bytes that follow, so it cannot be read back.
class XGarbageJob final : public XNetJob
{
public:
    static constexpr std::uint32_t kTag = 999;

    std::string GetJobName() const override { return "Garbage Job"; }
    std::uint32_t GetClassID() const override { return kGarbageJobClassID; }
    std::unique_ptr<XStorable> Clone() const override
    {
        return std::make_unique<XGarbageJob>(*this);
    }
    void Write(XStream& outStream) const override
    {
        XNetJob::Write(outStream);
        outStream.Write32(0xfffffff0U);
    }
    void Read(XStream& inStream) override
    {
        XNetJob::Read(inStream);
        inStream.ReadCount(8);
    }

protected:
    void Run() override { Journal().Ran(kTag); }
};

void RegisterTestClasses()
{
    XRegisterClass<XSumData>("XNetJobQueueTestSumData", XNetJobSharedData::kBaseClassID);
    XRegisterClass<XSumResult>("XNetJobQueueTestSumResult", XNetJobResult::kBaseClassID);
    XRegisterClass<XSumJob>("XNetJobQueueTestSumJob", XNetJob::kBaseClassID);
    XRegisterClass<XGarbageJob>("XNetJobQueueTestGarbageJob", XNetJob::kBaseClassID);
}

// One completion as a listener heard it.
struct XDelivery
{
    std::uint32_t jobID = 0;
    bool hasResult = false;
    XSumResult result; // the copy taken from the message, when it is a sum
    std::string failure;
    std::thread::id thread;
};

// Collects the completions of one queue; an optional hook runs inside HandleMessage.
class XCollector : public XListener
{
public:
    using XHook = std::function<void(const XNetJobCompletedMessage&)>;

    explicit XCollector(XNetJobQueue& inQueue, XHook inHook = nullptr) : itsHook(std::move(inHook))
    {
        Subscribe(inQueue);
    }
    ~XCollector() override { UnsubscribeAll(); }

    void HandleMessage(const XMessage& inMessage) override
    {
        const auto* message = dynamic_cast<const XNetJobCompletedMessage*>(&inMessage);
        if (message == nullptr)
        {
            return;
        }
        XDelivery delivery;
        delivery.jobID = message->GetJobID();
        delivery.hasResult = message->HasResult();
        delivery.failure = message->GetFailure();
        delivery.thread = std::this_thread::get_id();
        const std::unique_ptr<XNetJobResult> copy = message->GetResultCopy();
        if (const auto* sum = dynamic_cast<const XSumResult*>(copy.get()))
        {
            delivery.result = *sum;
        }
        {
            const std::lock_guard lock(itsMutex);
            itsDeliveries.push_back(std::move(delivery));
        }
        if (itsHook)
        {
            itsHook(*message);
        }
    }

    std::vector<XDelivery> GetDeliveries() const
    {
        const std::lock_guard lock(itsMutex);
        return itsDeliveries;
    }
    std::map<std::uint32_t, XDelivery> GetByJob() const
    {
        std::map<std::uint32_t, XDelivery> byJob;
        for (XDelivery& delivery : GetDeliveries())
        {
            byJob[delivery.jobID] = delivery;
        }
        return byJob;
    }

private:
    const XHook itsHook;
    mutable std::mutex itsMutex;
    std::vector<XDelivery> itsDeliveries;
};

std::unique_ptr<XNetJobQueue> MakeQueue(std::uint32_t inWorkers, bool inStreamMode = false)
{
    return std::make_unique<XNetJobQueue>(
        0, true, false, true, std::make_unique<XLocalNetJobQueueBackend>(inWorkers, inStreamMode));
}

class XNetJobQueueTest : public testing::Test
{
protected:
    void SetUp() override
    {
        RegisterTestClasses();
        Journal().Reset();
        itsLiveDataAtStart = Journal().itsLiveData.load();
        itsLiveJobsAtStart = Journal().itsLiveJobs.load();
    }

    int LiveData() const { return Journal().itsLiveData.load() - itsLiveDataAtStart; }
    int LiveJobs() const { return Journal().itsLiveJobs.load() - itsLiveJobsAtStart; }

    // Attaches a sum job under a new id and returns the id.
    static std::uint32_t AddJob(XNetJobQueue& ioQueue, std::uint32_t inTag, std::uint32_t inDataID,
                                std::int64_t inFactor, bool inHeldBack,
                                XJobKind inKind = XJobKind::kSum)
    {
        const std::uint32_t id = ioQueue.GetNextJobID();
        ioQueue.AttachJob(id, std::make_unique<XSumJob>(inTag, inDataID, inFactor, inKind),
                          inHeldBack);
        return id;
    }

private:
    int itsLiveDataAtStart = 0;
    int itsLiveJobsAtStart = 0;
};

// A context that hands out numbers under one id, as a backend would.
class XFixedContext final : public XNetJobContext
{
public:
    std::unique_ptr<XNetJobSharedData> CopySharedData(std::uint32_t inID) const override
    {
        return inID == 4 ? std::make_unique<XSumData>(std::vector<std::int64_t>{2, 3}) : nullptr;
    }
};

TEST_F(XNetJobQueueTest, JobRunsThroughItsContextAndKeepsOneResult)
{
    const XFixedContext context;
    XSumJob job(1, 4, 10);
    job.Execute(context);
    const std::unique_ptr<XNetJobResult> result = job.TakeJobResult();
    const auto* sum = dynamic_cast<const XSumResult*>(result.get());
    ASSERT_NE(sum, nullptr);
    EXPECT_EQ(sum->itsSum, 50);
    EXPECT_EQ(sum->itsJobMark, kJobMark);
    EXPECT_EQ(sum->itsDataMark, kDataMark);
    EXPECT_EQ(job.TakeJobResult(), nullptr);

    // The context has data under 4 only, and a job sees only the ids it registered.
    XSumJob unregistered(2, 5, 1);
    EXPECT_THROW(unregistered.Execute(context), XException);
    EXPECT_EQ(unregistered.TakeJobResult(), nullptr);
    XSumJob copy(unregistered);
    EXPECT_EQ(copy.GetSharedDataIDs(), std::vector<std::uint32_t>{5});
}

TEST_F(XNetJobQueueTest, BaseStreamsKeepRegistrationsAndRefuseMalformedCounts)
{
    XSumJob job(1, 3, 1);
    job.RegisterSharedData(5, 0x20);
    job.RegisterSharedData(3, 0x99); // already registered: counts once, first flags stand
    ASSERT_EQ(job.GetSharedDataIDs(), (std::vector<std::uint32_t>{3, 5}));

    XMemoryStream base;
    job.XNetJob::Write(base);
    {
        XMemoryStream reader(base.GetBytes());
        EXPECT_EQ(reader.Read32(), 1200U);
        EXPECT_EQ(reader.Read32(), XStream::kCurrentVersion);
        EXPECT_EQ(reader.Read32(), 2U);
        EXPECT_EQ(reader.Read32(), 3U);
        EXPECT_EQ(reader.Read32(), 0U);
        EXPECT_EQ(reader.Read32(), 5U);
        EXPECT_EQ(reader.Read32(), 0x20U);
        EXPECT_EQ(reader.GetRemaining(), 0U);
    }

    XMemoryStream written;
    written.WriteObject(&job);
    XMemoryStream reader(written.GetBytes());
    const std::unique_ptr<XSumJob> read = reader.ReadObjectAs<XSumJob>();
    ASSERT_NE(read, nullptr);
    EXPECT_EQ(read->GetSharedDataIDs(), (std::vector<std::uint32_t>{3, 5}));
    XMemoryStream rewritten;
    rewritten.WriteObject(read.get());
    EXPECT_EQ(rewritten.GetBytes(), written.GetBytes()); // flags included

    // A count beyond the limit, even with the bytes present, and a count beyond the bytes.
    const auto readBase = [](std::uint32_t inCount, std::uint32_t inPairs)
    {
        XMemoryStream stream;
        stream.WriteVersion(1200);
        stream.Write32(inCount);
        for (std::uint32_t pair = 0; pair < inPairs; ++pair)
        {
            stream.Write32(pair + 1);
            stream.Write32(0);
        }
        XMemoryStream input(stream.TakeBytes());
        XSumJob target;
        target.XNetJob::Read(input);
        return target.GetSharedDataIDs().size();
    };
    EXPECT_EQ(readBase(XNetJob::kMaxSharedData, XNetJob::kMaxSharedData), XNetJob::kMaxSharedData);
    for (const auto& [count, pairs] :
         {std::pair{XNetJob::kMaxSharedData + 1, XNetJob::kMaxSharedData + 1}, std::pair{3U, 2U}})
    {
        try
        {
            readBase(count, pairs);
            ADD_FAILURE() << "count " << count << " was accepted";
        }
        catch (const XException& inError)
        {
            EXPECT_EQ(inError.GetCode(), XException::kMalformedStream) << inError.what();
        }
    }

    // Results and shared data write their version record and nothing else.
    XMemoryStream resultBase;
    XSumResult().XNetJobResult::Write(resultBase);
    XMemoryStream dataBase;
    XSumData().XNetJobSharedData::Write(dataBase);
    XMemoryStream resultReader(resultBase.TakeBytes());
    XMemoryStream dataReader(dataBase.TakeBytes());
    EXPECT_EQ(resultReader.Read32(), 1202U);
    EXPECT_EQ(dataReader.Read32(), 1203U);
    EXPECT_EQ(resultReader.Read32(), XStream::kCurrentVersion);
    EXPECT_EQ(dataReader.Read32(), XStream::kCurrentVersion);
    EXPECT_EQ(resultReader.GetRemaining() + dataReader.GetRemaining(), 0U);

    // A job base record read where a result's belongs is of the wrong class.
    XMemoryStream wrongClass(base.GetBytes());
    XSumResult result;
    try
    {
        result.XNetJobResult::Read(wrongClass);
        ADD_FAILURE() << "a job record was read as a result";
    }
    catch (const XException& inError)
    {
        EXPECT_EQ(inError.GetCode(), XException::kWrongClass);
    }
}

TEST_F(XNetJobQueueTest, CompletedMessageCopiesOwnTheirResults)
{
    const XNetJobCompletedMessage message(nullptr, 17, std::make_unique<XSumResult>(3, 60, 1, 2),
                                          "");
    const std::unique_ptr<XMessage> clone = message.Clone();
    const auto* copy = dynamic_cast<const XNetJobCompletedMessage*>(clone.get());
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy->GetJobID(), 17U);
    EXPECT_TRUE(copy->HasResult());
    EXPECT_TRUE(copy->GetFailure().empty());
    const std::unique_ptr<XNetJobResult> first = message.GetResultCopy();
    const std::unique_ptr<XNetJobResult> second = copy->GetResultCopy();
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    EXPECT_NE(first.get(), second.get());
    EXPECT_EQ(dynamic_cast<const XSumResult&>(*second).itsSum, 60);

    const XNetJobCompletedMessage failed(nullptr, 18, nullptr, "broken");
    const std::unique_ptr<XMessage> failedClone = failed.Clone();
    const auto& failedCopy = dynamic_cast<const XNetJobCompletedMessage&>(*failedClone);
    EXPECT_FALSE(failedCopy.HasResult());
    EXPECT_EQ(failedCopy.GetResultCopy(), nullptr);
    EXPECT_EQ(failedCopy.GetFailure(), "broken");
}

TEST_F(XNetJobQueueTest, EveryJobIsDeliveredOnceOnOneThreadThatIsNotTheCaller)
{
    const XInternalErrorCapture capture;
    {
        const auto queue = MakeQueue(4);
        XCollector collector(*queue);
        const std::uint32_t dataID = queue->AttachSharedData(
            std::make_unique<XSumData>(std::vector<std::int64_t>{1, 2, 3, 4, 5, 6, 7, 8, 9, 10}));
        EXPECT_EQ(dataID, 1U);

        // A third of the jobs held back and resumed below, so that both paths deliver. The held
        // ones are attached first: until they are delivered they keep the shared data attached
        // while the others come and go.
        std::map<std::uint32_t, std::int64_t> factorOf;
        std::vector<std::uint32_t> ids;
        std::vector<std::uint32_t> held;
        for (const bool isHeld : {true, false})
        {
            for (std::uint32_t index = 1; index <= 60; ++index)
            {
                if ((index % 3 == 0) == isHeld)
                {
                    const std::uint32_t id = AddJob(*queue, index, dataID, index, isHeld);
                    factorOf[id] = index;
                    ids.push_back(id);
                    if (isHeld)
                    {
                        held.push_back(id);
                    }
                }
            }
        }
        const std::uint32_t failingID = AddJob(*queue, 100, dataID, 1, false, XJobKind::kFail);
        ids.push_back(failingID);
        queue->ResumeJobs(held);

        queue->WaitForJobsToCompleteWithProgress(ids, "");
        EXPECT_EQ(queue->GetOpenJobCount(), 0U);

        const std::vector<XDelivery> deliveries = collector.GetDeliveries();
        ASSERT_EQ(deliveries.size(), ids.size());
        const std::map<std::uint32_t, XDelivery> byJob = collector.GetByJob();
        EXPECT_EQ(byJob.size(), ids.size()); // no job twice
        for (const auto& [id, factor] : factorOf)
        {
            const XDelivery& delivery = byJob.at(id);
            EXPECT_TRUE(delivery.hasResult) << id;
            EXPECT_TRUE(delivery.failure.empty()) << delivery.failure;
            EXPECT_EQ(delivery.result.itsSum, 55 * factor) << id;
            EXPECT_EQ(delivery.result.itsTag, static_cast<std::uint32_t>(factor));
        }
        const XDelivery& failed = byJob.at(failingID);
        EXPECT_FALSE(failed.hasResult);
        EXPECT_EQ(failed.failure, "job 100 failed on purpose");

        const std::thread::id deliveryThread = deliveries.front().thread;
        EXPECT_NE(deliveryThread, std::this_thread::get_id());
        for (const XDelivery& delivery : deliveries)
        {
            EXPECT_EQ(delivery.thread, deliveryThread);
        }

        // Waiting again, or for unknown ids, returns at once.
        queue->WaitForJobsToCompleteWithProgress(ids, "Again");
        queue->WaitForJobsToCompleteWithProgress({12345}, "Unknown");
        EXPECT_EQ(collector.GetDeliveries().size(), ids.size());
    }
    EXPECT_EQ(LiveJobs(), 0);
    EXPECT_EQ(LiveData(), 0);
    EXPECT_TRUE(capture.GetConditions().empty());
}

TEST_F(XNetJobQueueTest, HeldBackJobsWaitForResumeAndRunInResumeOrder)
{
    const XInternalErrorCapture capture;
    const auto queue = MakeQueue(1);
    XCollector collector(*queue);
    const std::uint32_t dataID =
        queue->AttachSharedData(std::make_unique<XSumData>(std::vector<std::int64_t>{1}));

    std::vector<std::uint32_t> held;
    for (std::uint32_t tag = 1; tag <= 5; ++tag)
    {
        held.push_back(AddJob(*queue, tag, dataID, tag, true));
    }
    // The one worker takes jobs first in, first out: had the held jobs gone to it, they would
    // have run before this one.
    const std::uint32_t free = AddJob(*queue, 10, dataID, 1, false);
    queue->WaitForJobsToCompleteWithProgress({free}, "Free");
    EXPECT_EQ(Journal().GetRunOrder(), std::vector<std::uint32_t>{10});
    EXPECT_EQ(queue->GetOpenJobCount(), 5U);

    // An id already attached and a null job are reported and dropped.
    queue->AttachJob(held[0], std::make_unique<XSumJob>(50, dataID, 1), true);
    queue->AttachJob(queue->GetNextJobID(), nullptr, false);
    EXPECT_EQ(capture.GetConditions(), (std::vector<std::string>{"isNewID", "inJob != nullptr"}));

    const std::vector<std::uint32_t> order{held[4], held[1], held[3], held[0], held[2]};
    queue->ResumeJobs(order);
    queue->ResumeJobs(order); // no longer held: nothing happens
    queue->WaitForJobsToCompleteWithProgress(held, "Held");
    EXPECT_EQ(Journal().GetRunOrder(), (std::vector<std::uint32_t>{10, 5, 2, 4, 1, 3}));
    EXPECT_EQ(collector.GetDeliveries().size(), 6U);
    EXPECT_EQ(collector.GetByJob().at(held[3]).result.itsSum, 4);
}

TEST_F(XNetJobQueueTest, DeletedJobsNeverDeliverWhetherHeldQueuedOrRunning)
{
    const XInternalErrorCapture capture;
    const auto queue = MakeQueue(1);
    XCollector collector(*queue);
    const std::uint32_t dataID =
        queue->AttachSharedData(std::make_unique<XSumData>(std::vector<std::int64_t>{2, 4}));

    const std::uint32_t running =
        AddJob(*queue, 1, dataID, 1, false, XJobKind::kLoopUntilCancelled);
    Journal().itsLoopStarted.Wait(-1);
    const std::uint32_t queued = AddJob(*queue, 2, dataID, 1, false); // behind the running one
    const std::uint32_t kept = AddJob(*queue, 3, dataID, 10, false);
    const std::uint32_t held = AddJob(*queue, 4, dataID, 1, true);

    queue->AsyncDeleteJobs({running, queued, held, 777});
    queue->ResumeJobs({held}); // deleted: nothing to resume
    queue->WaitForJobsToCompleteWithProgress({running, queued, kept, held}, "Deleting");

    // The kept job ran on the only worker after the running one stopped, so anything the deleted
    // jobs could still deliver would have come before it.
    const std::vector<XDelivery> deliveries = collector.GetDeliveries();
    ASSERT_EQ(deliveries.size(), 1U);
    EXPECT_EQ(deliveries[0].jobID, kept);
    EXPECT_EQ(deliveries[0].result.itsSum, 60);
    EXPECT_EQ(Journal().GetRunOrder(), (std::vector<std::uint32_t>{1, 3}));
    EXPECT_EQ(queue->GetOpenJobCount(), 0U);

    queue->DisconnectFromICS();
    EXPECT_EQ(collector.GetDeliveries().size(), 1U);
    EXPECT_EQ(LiveJobs(), 0);
    EXPECT_TRUE(capture.GetConditions().empty());
}

TEST_F(XNetJobQueueTest, DeletingFromAListenerOrDuringADelivery)
{
    // A listener deletes its own job and the next one: it must not wait for itself, and the
    // next job's message is never spoken.
    {
        const auto queue = MakeQueue(1);
        const std::uint32_t dataID =
            queue->AttachSharedData(std::make_unique<XSumData>(std::vector<std::int64_t>{1}));
        const std::uint32_t first = queue->GetNextJobID();
        const std::uint32_t second = queue->GetNextJobID();
        XCollector collector(*queue,
                             [&queue, first, second](const XNetJobCompletedMessage& inMessage)
                             {
                                 if (inMessage.GetJobID() == first)
                                 {
                                     queue->AsyncDeleteJobs({first, second});
                                 }
                             });
        queue->AttachJob(first, std::make_unique<XSumJob>(1, dataID, 1), true);
        queue->AttachJob(second, std::make_unique<XSumJob>(2, dataID, 1), true);
        queue->ResumeJobs({first, second});
        queue->WaitForJobsToCompleteWithProgress({first, second}, "Listener");
        const std::vector<XDelivery> deliveries = collector.GetDeliveries();
        ASSERT_EQ(deliveries.size(), 1U);
        EXPECT_EQ(deliveries[0].jobID, first);
    }

    // Deleting a job whose message is being heard on the delivery thread returns only after the
    // listener has returned.
    {
        const auto queue = MakeQueue(2);
        const std::uint32_t dataID =
            queue->AttachSharedData(std::make_unique<XSumData>(std::vector<std::int64_t>{1}));
        WEvent entered;
        WEvent gate;
        std::atomic<bool> left{false};
        XCollector collector(*queue,
                             [&](const XNetJobCompletedMessage&)
                             {
                                 entered.Set();
                                 gate.Wait(-1);
                                 left = true;
                             });
        const std::uint32_t id = AddJob(*queue, 1, dataID, 1, false);
        entered.Wait(-1);
        std::atomic<bool> listenerHadLeft{false};
        std::thread deleter(
            [&]
            {
                queue->AsyncDeleteJobs({id});
                listenerHadLeft = left.load();
            });
        // Gives a deleter that does not wait the time to return early.
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        gate.Set();
        deleter.join();
        EXPECT_TRUE(listenerHadLeft);
        EXPECT_EQ(collector.GetDeliveries().size(), 1U);
        EXPECT_EQ(queue->GetOpenJobCount(), 0U);
    }
}

// Runs one sum job and one garbage job and returns their deliveries.
std::map<std::uint32_t, XDelivery> RunMarkedJobs(bool inStreamMode, std::uint32_t& outSumID,
                                                 std::uint32_t& outGarbageID)
{
    const auto queue = MakeQueue(2, inStreamMode);
    XCollector collector(*queue);
    const std::uint32_t dataID =
        queue->AttachSharedData(std::make_unique<XSumData>(std::vector<std::int64_t>{5, 6}));
    outSumID = queue->GetNextJobID();
    queue->AttachJob(outSumID, std::make_unique<XSumJob>(1, dataID, 3), false);
    outGarbageID = queue->GetNextJobID();
    queue->AttachJob(outGarbageID, std::make_unique<XGarbageJob>(), false);
    queue->WaitForJobsToCompleteWithProgress({outSumID, outGarbageID}, "Marks");
    return collector.GetByJob();
}

TEST_F(XNetJobQueueTest, StreamModeRunsFreshObjectsReadFromTheStream)
{
    std::uint32_t sumID = 0;
    std::uint32_t garbageID = 0;
    {
        const std::map<std::uint32_t, XDelivery> local = RunMarkedJobs(false, sumID, garbageID);
        const XDelivery& sum = local.at(sumID);
        EXPECT_EQ(sum.result.itsSum, 33);
        EXPECT_EQ(sum.result.itsJobMark, kJobMark);
        EXPECT_EQ(sum.result.itsDataMark, kDataMark);
        EXPECT_EQ(sum.result.itsMark, kResultMark);
        // Without a stream the garbage job runs and ends without a result.
        const XDelivery& garbage = local.at(garbageID);
        EXPECT_FALSE(garbage.hasResult);
        EXPECT_TRUE(garbage.failure.empty()) << garbage.failure;
        EXPECT_EQ(Journal().GetRunOrder().size(), 2U);
    }
    Journal().Reset();
    {
        const std::map<std::uint32_t, XDelivery> streamed = RunMarkedJobs(true, sumID, garbageID);
        const XDelivery& sum = streamed.at(sumID);
        ASSERT_TRUE(sum.hasResult);
        EXPECT_EQ(sum.result.itsSum, 33);
        EXPECT_EQ(sum.result.itsJobMark, 0);  // the job that ran was read from a stream
        EXPECT_EQ(sum.result.itsDataMark, 0); // so was the shared data it copied
        EXPECT_EQ(sum.result.itsMark, 0);     // and the result that came back
        const XDelivery& garbage = streamed.at(garbageID);
        EXPECT_FALSE(garbage.hasResult);
        EXPECT_NE(garbage.failure.find("malformed stream"), std::string::npos) << garbage.failure;
        EXPECT_EQ(Journal().GetRunOrder(), std::vector<std::uint32_t>{1});
    }
    EXPECT_EQ(LiveJobs(), 0);
    EXPECT_EQ(LiveData(), 0);
}

TEST_F(XNetJobQueueTest, SharedDataIsReleasedAfterItsLastJob)
{
    const XInternalErrorCapture capture;
    const auto queue = MakeQueue(2);
    XCollector collector(*queue);
    const auto numbers = [] { return std::make_unique<XSumData>(std::vector<std::int64_t>{1}); };
    const std::uint32_t delivered = queue->AttachSharedData(numbers());
    const std::uint32_t deleted = queue->AttachSharedData(numbers());
    queue->AttachSharedData(numbers()); // no job ever uses it
    EXPECT_EQ(LiveData(), 3);

    const std::uint32_t first = AddJob(*queue, 1, delivered, 1, true);
    const std::uint32_t second = AddJob(*queue, 2, delivered, 1, true);
    const std::uint32_t doomed = AddJob(*queue, 3, deleted, 1, true);

    queue->ResumeJobs({first});
    queue->WaitForJobsToCompleteWithProgress({first}, "First");
    EXPECT_EQ(LiveData(), 3); // the second job still needs it
    queue->ResumeJobs({second});
    queue->WaitForJobsToCompleteWithProgress({second}, "Second");
    EXPECT_EQ(LiveData(), 2);
    queue->AsyncDeleteJobs({doomed});
    EXPECT_EQ(LiveData(), 1);
    queue->DisconnectFromICS();
    EXPECT_EQ(LiveData(), 0);
    EXPECT_EQ(collector.GetDeliveries().size(), 2U);
    EXPECT_TRUE(capture.GetConditions().empty());
}

TEST_F(XNetJobQueueTest, CancellingTheWaitingThreadStopsTheWait)
{
    const auto queue = MakeQueue(1);
    const std::uint32_t id = AddJob(*queue, 1, 0, 1, true); // held back: never completes
    std::atomic<bool> cancel{false};
    WEvent waiting;
    std::atomic<bool> threwCancelled{false};
    std::thread waiter(
        [&]
        {
            const XCancellationScope scope(cancel);
            waiting.Set();
            try
            {
                queue->WaitForJobsToCompleteWithProgress({id}, "Cancelled");
            }
            catch (const XThreadCancelled&)
            {
                threwCancelled = true;
            }
        });
    waiting.Wait(-1);
    std::this_thread::sleep_for(std::chrono::milliseconds(10)); // let the wait start polling
    cancel = true;
    waiter.join();
    EXPECT_TRUE(threwCancelled);
    EXPECT_EQ(queue->GetOpenJobCount(), 1U);
}

TEST_F(XNetJobQueueTest, DisconnectWakesWaitersAndRefusesLaterJobs)
{
    const XInternalErrorCapture capture;
    {
        const auto queue = MakeQueue(1);
        XCollector collector(*queue);
        const std::uint32_t dataID =
            queue->AttachSharedData(std::make_unique<XSumData>(std::vector<std::int64_t>{1}));
        const std::uint32_t running =
            AddJob(*queue, 1, dataID, 1, false, XJobKind::kLoopUntilCancelled);
        const std::uint32_t held = AddJob(*queue, 2, dataID, 1, true);
        Journal().itsLoopStarted.Wait(-1);

        WEvent waiting;
        std::atomic<std::int32_t> errorCode{0};
        std::thread waiter(
            [&]
            {
                waiting.Set();
                try
                {
                    queue->WaitForJobsToCompleteWithProgress({running, held}, "Disconnect");
                }
                catch (const XException& inError)
                {
                    errorCode = inError.GetCode();
                }
            });
        waiting.Wait(-1);
        std::this_thread::sleep_for(std::chrono::milliseconds(10)); // let the wait start
        queue->DisconnectFromICS(); // returns although a job was running
        waiter.join();
        EXPECT_EQ(errorCode.load(), XException::kIOError);

        queue->DisconnectFromICS();
        EXPECT_EQ(LiveJobs(), 0);
        EXPECT_EQ(LiveData(), 0);
        queue->AttachJob(queue->GetNextJobID(), std::make_unique<XSumJob>(3, dataID, 1), false);
        EXPECT_EQ(queue->AttachSharedData(std::make_unique<XSumData>()), 0U);
        EXPECT_EQ(LiveJobs(), 0);
        EXPECT_EQ(LiveData(), 0);
        // Unknown ids still count as done.
        queue->WaitForJobsToCompleteWithProgress({12345}, "");
        EXPECT_TRUE(collector.GetDeliveries().empty());
    }
    EXPECT_EQ(capture.GetConditions(),
              (std::vector<std::string>{"!itsDisconnected", "!itsDisconnected"}));
}
// Records what a backend reports, in order.
class XRecordingSink final : public XNetJobQueueBackend::XCompletionSink
{
public:
    void JobFinished(std::uint32_t inJobID, std::unique_ptr<XNetJobResult> inResult,
                     std::string inFailure) override
    {
        const std::lock_guard lock(itsMutex);
        itsReports.emplace_back(inJobID, inResult ? "result" : inFailure);
        itsChanged.notify_all();
    }
    std::vector<std::pair<std::uint32_t, std::string>> WaitForReports(std::size_t inCount)
    {
        std::unique_lock lock(itsMutex);
        itsChanged.wait(lock, [this, inCount] { return itsReports.size() >= inCount; });
        return itsReports;
    }

private:
    std::mutex itsMutex;
    std::condition_variable itsChanged;
    std::vector<std::pair<std::uint32_t, std::string>> itsReports;
};

TEST_F(XNetJobQueueTest, LocalBackendRunsInOrderAndStopsCancelledJobs)
{
    EXPECT_GE(XLocalNetJobQueueBackend().GetWorkerCount(), 1U);
    EXPECT_FALSE(XLocalNetJobQueueBackend().IsStreamMode());
    EXPECT_EQ(XLocalNetJobQueueBackend(3, true).GetWorkerCount(), 3U);
    EXPECT_TRUE(XLocalNetJobQueueBackend(3, true).IsStreamMode());

    XRecordingSink sink;
    XLocalNetJobQueueBackend backend(1);
    backend.Connect(sink);
    backend.AttachSharedData(8, std::make_unique<XSumData>(std::vector<std::int64_t>{4}));

    // A job cancelled while it runs and whose shared data is then released stops at the copy
    // instead of running on without its data; it is not reported.
    XNetJobQueueBackend::XJobList first;
    first.emplace_back(1, std::make_unique<XSumJob>(1, 8, 1, XJobKind::kCopyAfterRelease));
    backend.SubmitJobs(std::move(first));
    Journal().itsLoopStarted.Wait(-1);

    // Queued behind it, in the order given; the third is cancelled before it starts.
    XNetJobQueueBackend::XJobList more;
    more.emplace_back(2, std::make_unique<XSumJob>(2, 8, 1, XJobKind::kThrowCancelled));
    more.emplace_back(3, std::make_unique<XSumJob>(3, 8, 1));
    more.emplace_back(4, std::make_unique<XSumJob>(4, 8, 2));
    backend.SubmitJobs(std::move(more));
    backend.CancelJobs({1, 3, 99});
    backend.ReleaseSharedData(8);
    backend.AttachSharedData(9, std::make_unique<XSumData>(std::vector<std::int64_t>{5}));
    XNetJobQueueBackend::XJobList last;
    last.emplace_back(5, std::make_unique<XSumJob>(5, 9, 1));
    backend.SubmitJobs(std::move(last));
    Journal().itsGate.Set();

    // Job 4 lost its data with the release; job 2 stopped as if cancelled but was not.
    const auto reports = sink.WaitForReports(3);
    ASSERT_EQ(reports.size(), 3U);
    EXPECT_EQ(reports[0].first, 2U);
    EXPECT_NE(reports[0].second.find("not cancelled"), std::string::npos) << reports[0].second;
    EXPECT_EQ(reports[1], (std::pair<std::uint32_t, std::string>{4, "no numbers"}));
    EXPECT_EQ(reports[2], (std::pair<std::uint32_t, std::string>{5, "result"}));
    EXPECT_TRUE(Journal().itsCopyStoppedJob);
    EXPECT_EQ(Journal().GetRunOrder(), (std::vector<std::uint32_t>{1, 2, 4, 5}));

    backend.Disconnect();
    backend.Disconnect();
    XNetJobQueueBackend::XJobList afterwards;
    afterwards.emplace_back(6, std::make_unique<XSumJob>(6, 9, 1));
    backend.SubmitJobs(std::move(afterwards));
    EXPECT_EQ(LiveJobs(), 0);
    EXPECT_EQ(LiveData(), 0);
    EXPECT_EQ(sink.WaitForReports(0).size(), 3U);
}
} // namespace
