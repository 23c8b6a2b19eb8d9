#include "host/core/XLocalNetJobQueueBackend.h"

#include "host/core/XCancellationScope.h"
#include "host/core/XException.h"
#include "host/core/XInternalError.h"
#include "host/core/XNetJob.h"
#include "host/core/XNetJobResult.h"
#include "host/core/XNetJobSharedData.h"
#include "host/core/XStream.h"
#include "host/core/XThread.h"

#include <algorithm>
#include <exception>
#include <pthread.h>
#include <set>
#include <string>

X_SOURCE_NAME("host/core/XLocalNetJobQueueBackend");

namespace
{
// Writes the object to a memory stream and reads a fresh object of the same class back, as a
// transfer to another machine would.
template <class T>
std::unique_ptr<T> ThroughStream(const T& inObject)
{
    XMemoryStream written;
    written.WriteObject(&inObject);
    XMemoryStream reader(written.TakeBytes());
    std::unique_ptr<T> copy = reader.ReadObjectAs<T>();
    if (!copy)
    {
        throw XException(XException::kMalformedStream,
                         "malformed stream: an object was read back as null");
    }
    return copy;
}

std::uint32_t WorkersFor(std::uint32_t inWorkers)
{
    return inWorkers != 0 ? inWorkers : std::max(1U, std::thread::hardware_concurrency());
}
} // namespace

XLocalNetJobQueueBackend::XLocalNetJobQueueBackend(std::uint32_t inWorkers, bool inStreamMode)
    : itsWorkerCount(WorkersFor(inWorkers)), itsStreamMode(inStreamMode)
{
}

XLocalNetJobQueueBackend::~XLocalNetJobQueueBackend()
{
    Disconnect();
}

void XLocalNetJobQueueBackend::Connect(XCompletionSink& inSink)
{
    const std::lock_guard lock(itsMutex);
    const bool isFirstConnect = itsSink == nullptr && !itsStopping && itsWorkers.empty();
    if (!isFirstConnect)
    {
        X_ASSERT(isFirstConnect);
        return;
    }
    itsSink = &inSink;
    itsSlots.reserve(itsWorkerCount);
    itsWorkers.reserve(itsWorkerCount);
    for (std::uint32_t index = 0; index < itsWorkerCount; ++index)
    {
        itsSlots.push_back(std::make_unique<XRunning>());
        XRunning& slot = *itsSlots.back();
        itsWorkers.emplace_back([this, &slot] { WorkerLoop(slot); });
    }
}

void XLocalNetJobQueueBackend::AttachSharedData(std::uint32_t inID,
                                                std::unique_ptr<XNetJobSharedData> inData)
{
    if (inData && itsStreamMode)
    {
        inData = ThroughStream(*inData); // a stream error reaches the caller
    }
    std::unique_ptr<XNetJobSharedData> replaced;
    {
        const std::lock_guard lock(itsMutex);
        if (itsStopping)
        {
            replaced = std::move(inData);
        }
        else
        {
            std::unique_ptr<XNetJobSharedData>& entry = itsSharedData[inID];
            replaced = std::move(entry);
            entry = std::move(inData);
        }
    }
    // Whatever was dropped is destroyed here, outside the lock.
}

void XLocalNetJobQueueBackend::ReleaseSharedData(std::uint32_t inID)
{
    std::unique_ptr<XNetJobSharedData> released;
    {
        const std::lock_guard lock(itsMutex);
        const auto found = itsSharedData.find(inID);
        if (found == itsSharedData.end())
        {
            return;
        }
        released = std::move(found->second);
        itsSharedData.erase(found);
    }
}

void XLocalNetJobQueueBackend::SubmitJobs(XJobList inJobs)
{
    {
        const std::lock_guard lock(itsMutex);
        if (itsStopping || itsSink == nullptr)
        {
            return; // the jobs are destroyed with the list, outside the lock
        }
        for (auto& [jobID, job] : inJobs)
        {
            if (!job)
            {
                X_ASSERT(job != nullptr);
                continue;
            }
            itsQueue.emplace_back(jobID, std::move(job));
        }
    }
    itsWork.notify_all();
}

void XLocalNetJobQueueBackend::CancelJobs(const std::vector<std::uint32_t>& inJobIDs)
{
    const std::set<std::uint32_t> cancelled(inJobIDs.begin(), inJobIDs.end());
    std::vector<std::unique_ptr<XNetJob>> dropped;
    const std::lock_guard lock(itsMutex);
    for (auto& [jobID, job] : itsQueue)
    {
        if (cancelled.contains(jobID))
        {
            dropped.push_back(std::move(job));
        }
    }
    std::erase_if(itsQueue, [](const auto& inEntry) { return inEntry.second == nullptr; });
    for (const auto& slot : itsSlots)
    {
        if (slot->jobID != 0 && cancelled.contains(slot->jobID))
        {
            slot->cancelled.store(true);
        }
    }
    // The lock is released before the dropped jobs are destroyed (reverse order of declaration).
}

void XLocalNetJobQueueBackend::Disconnect()
{
    std::vector<std::thread> workers;
    std::deque<std::pair<std::uint32_t, std::unique_ptr<XNetJob>>> queued;
    std::map<std::uint32_t, std::unique_ptr<XNetJobSharedData>> sharedData;
    {
        const std::lock_guard lock(itsMutex);
        itsStopping = true;
        itsSink = nullptr;
        for (const auto& slot : itsSlots)
        {
            slot->cancelled.store(true);
        }
        workers.swap(itsWorkers);
        queued.swap(itsQueue);
        sharedData.swap(itsSharedData);
    }
    itsWork.notify_all();
    for (std::thread& worker : workers)
    {
        worker.join();
    }
}

std::unique_ptr<XNetJobSharedData>
XLocalNetJobQueueBackend::CopySharedData(std::uint32_t inID) const
{
    {
        const std::lock_guard lock(itsMutex);
        const auto found = itsSharedData.find(inID);
        if (found != itsSharedData.end() && found->second)
        {
            return XClone(*found->second);
        }
    }
    // Deleting jobs cancels them before their shared data is released, so a cancelled job that
    // finds its data gone stops here rather than running on without it.
    XThread::TestCancelCurrentThread();
    return nullptr;
}

void XLocalNetJobQueueBackend::WorkerLoop(XRunning& ioSlot)
{
    pthread_setname_np(pthread_self(), "XNetJobQueue Wo"); // Linux allows 15 characters
    std::unique_lock lock(itsMutex);
    for (;;)
    {
        itsWork.wait(lock, [this] { return itsStopping || !itsQueue.empty(); });
        if (itsStopping)
        {
            return;
        }
        auto [jobID, job] = std::move(itsQueue.front());
        itsQueue.pop_front();
        ioSlot.cancelled.store(false);
        ioSlot.jobID = jobID;
        lock.unlock();

        std::unique_ptr<XNetJob> streamedJob;
        std::unique_ptr<XNetJobResult> result;
        std::string failure;
        bool stoppedByCancel = false;
        try
        {
            const XCancellationScope scope(ioSlot.cancelled);
            XNetJob* toRun = job.get();
            if (itsStreamMode)
            {
                streamedJob = ThroughStream(*job);
                toRun = streamedJob.get();
            }
            toRun->Execute(*this);
            result = toRun->TakeJobResult();
            if (result && itsStreamMode)
            {
                result = ThroughStream(*result);
            }
        }
        catch (const XThreadCancelled&)
        {
            stoppedByCancel = true;
        }
        catch (const std::exception& inError)
        {
            failure = inError.what();
            if (failure.empty())
            {
                failure = "the job failed without a reason";
            }
        }
        catch (...)
        {
            failure = "the job failed with an unknown error";
        }
        if (!failure.empty())
        {
            result.reset();
        }

        lock.lock();
        ioSlot.jobID = 0;
        const bool wasCancelled = ioSlot.cancelled.load();
        XCompletionSink* const sink = itsStopping ? nullptr : itsSink;
        lock.unlock();

        if (stoppedByCancel && !wasCancelled)
        {
            failure = "the job stopped as if cancelled, but it was not cancelled";
            result.reset();
        }
        if (sink != nullptr && !(stoppedByCancel && wasCancelled))
        {
            // Outside the lock: the sink takes its own locks and may call back into this backend.
            sink->JobFinished(jobID, std::move(result), std::move(failure));
        }
        streamedJob.reset();
        job.reset();
        result.reset();
        lock.lock();
    }
}
