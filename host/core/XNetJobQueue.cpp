#include "host/core/XNetJobQueue.h"

#include "host/core/XException.h"
#include "host/core/XInternalError.h"
#include "host/core/XLocalNetJobQueueBackend.h"
#include "host/core/XNetJob.h"
#include "host/core/XNetJobCompletedMessage.h"
#include "host/core/XNetJobResult.h"
#include "host/core/XNetJobSharedData.h"
#include "host/core/XProgress.h"
#include "host/core/XSessionLog.h"
#include "host/core/XThread.h"
#include "host/core/XThreadCancelled.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <pthread.h>

X_SOURCE_NAME("host/core/XNetJobQueue");

namespace
{
// How often a waiting thread looks at its cancellation flag when nothing else wakes it.
constexpr std::chrono::milliseconds kCancelPollInterval{25};
} // namespace

XNetJobQueue::XNetJobQueue(std::int32_t inType, bool /*inFirstFlag*/, bool /*inSecondFlag*/,
                           bool /*inThirdFlag*/, std::unique_ptr<XNetJobQueueBackend> inBackend)
    : itsType(inType),
      itsBackend(inBackend ? std::move(inBackend) : std::make_unique<XLocalNetJobQueueBackend>())
{
    itsBackend->Connect(*this);
    itsDeliveryThread = std::thread([this] { DeliveryLoop(); });
    // Set once, before any caller can use the queue; never changed afterwards.
    itsDeliveryThreadID = itsDeliveryThread.get_id();
}

XNetJobQueue::~XNetJobQueue()
{
    const bool onDeliveryThread = std::this_thread::get_id() == itsDeliveryThreadID;
    DisconnectFromICS();
    if (onDeliveryThread)
    {
        // Destroyed by one of its own listeners: the thread cannot wait for itself.
        X_ASSERT(!onDeliveryThread);
        itsDeliveryThread.detach();
    }
}

std::uint32_t XNetJobQueue::AttachSharedData(std::unique_ptr<XNetJobSharedData> inData)
{
    std::uint32_t id = 0;
    {
        const std::lock_guard lock(itsMutex);
        if (itsDisconnected)
        {
            X_ASSERT(!itsDisconnected);
            return 0; // the data is destroyed outside the lock
        }
        id = ++itsLastSharedDataID;
    }
    // Outside the lock: a backend may write the data to a stream, which runs the data's own code.
    itsBackend->AttachSharedData(id, std::move(inData));
    return id;
}

std::uint32_t XNetJobQueue::GetNextJobID()
{
    const std::lock_guard lock(itsMutex);
    return ++itsLastJobID;
}

void XNetJobQueue::AttachJob(std::uint32_t inJobID, std::unique_ptr<XNetJob> inJob, bool inHeldBack)
{
    if (!inJob)
    {
        X_ASSERT(inJob != nullptr);
        return;
    }
    std::vector<std::uint32_t> sharedDataIDs = inJob->GetSharedDataIDs();
    const std::lock_guard lock(itsMutex);
    if (itsDisconnected)
    {
        X_ASSERT(!itsDisconnected);
        return; // the job is destroyed after the lock is released
    }
    const bool isNewID = inJobID != 0 && !itsOpenJobs.contains(inJobID);
    if (!isNewID)
    {
        X_ASSERT(isNewID);
        return;
    }
    for (const std::uint32_t sharedDataID : sharedDataIDs)
    {
        ++itsSharedDataUsers[sharedDataID];
    }
    itsOpenJobs.emplace(inJobID, std::move(sharedDataIDs));
    if (inHeldBack)
    {
        itsHeldBack.emplace(inJobID, std::move(inJob));
        return;
    }
    XNetJobQueueBackend::XJobList jobs;
    jobs.emplace_back(inJobID, std::move(inJob));
    itsBackend->SubmitJobs(std::move(jobs));
}

void XNetJobQueue::ResumeJobs(const std::vector<std::uint32_t>& inJobIDs)
{
    const std::lock_guard lock(itsMutex);
    XNetJobQueueBackend::XJobList jobs;
    for (const std::uint32_t jobID : inJobIDs)
    {
        const auto found = itsHeldBack.find(jobID);
        if (found != itsHeldBack.end())
        {
            jobs.emplace_back(jobID, std::move(found->second));
            itsHeldBack.erase(found);
        }
    }
    if (!jobs.empty() && !itsDisconnected)
    {
        itsBackend->SubmitJobs(std::move(jobs));
    }
}

void XNetJobQueue::WaitForJobsToCompleteWithProgress(const std::vector<std::uint32_t>& inJobIDs,
                                                     const std::string& inTitle)
{
    XProgress progress(inJobIDs.size());
    progress.SetMessage(inTitle.empty() ? "Rendering" : inTitle);
    std::vector<std::uint32_t> remaining = inJobIDs;
    std::size_t doneShown = 0;
    std::unique_lock lock(itsMutex);
    for (;;)
    {
        std::erase_if(remaining,
                      [this](std::uint32_t inJobID) { return !itsOpenJobs.contains(inJobID); });
        const std::size_t done = inJobIDs.size() - remaining.size();
        if (done > doneShown)
        {
            // Progress is spoken to its listeners, which must not run under this queue's lock.
            lock.unlock();
            progress.Increment(done - doneShown);
            doneShown = done;
            lock.lock();
            continue;
        }
        if (remaining.empty())
        {
            return;
        }
        if (itsDisconnected)
        {
            throw XException(XException::kIOError, "the job queue was disconnected while " +
                                                       std::to_string(remaining.size()) + " of " +
                                                       std::to_string(inJobIDs.size()) +
                                                       " jobs remained");
        }
        if (XThread::IsCurrentThreadCancelled())
        {
            throw XThreadCancelled();
        }
        const bool onDeliveryThread = std::this_thread::get_id() == itsDeliveryThreadID;
        if (onDeliveryThread)
        {
            // A listener that waits would hold up the very deliveries it waits for.
            X_ASSERT(!onDeliveryThread);
            throw XException(XException::kInvalidArgument,
                             "jobs cannot be waited for on the job queue's delivery thread");
        }
        itsChanged.wait_for(lock, kCancelPollInterval);
    }
}

void XNetJobQueue::AsyncDeleteJobs(const std::vector<std::uint32_t>& inJobIDs)
{
    std::vector<std::unique_ptr<XNetJob>> dropped;
    std::unique_lock lock(itsMutex);
    std::vector<std::uint32_t> toCancel;
    std::vector<std::uint32_t> released;
    for (const std::uint32_t jobID : inJobIDs)
    {
        if (!itsOpenJobs.contains(jobID))
        {
            continue;
        }
        const auto held = itsHeldBack.find(jobID);
        if (held != itsHeldBack.end())
        {
            dropped.push_back(std::move(held->second));
            itsHeldBack.erase(held);
        }
        else
        {
            toCancel.push_back(jobID);
        }
        CloseJob(jobID, released);
    }
    if (!itsDisconnected)
    {
        // Cancel before releasing: a cancelled job that finds its shared data gone then stops.
        if (!toCancel.empty())
        {
            itsBackend->CancelJobs(toCancel);
        }
        for (const std::uint32_t sharedDataID : released)
        {
            itsBackend->ReleaseSharedData(sharedDataID);
        }
    }
    itsChanged.notify_all();
    if (std::this_thread::get_id() != itsDeliveryThreadID)
    {
        itsChanged.wait(lock,
                        [this, &inJobIDs]
                        {
                            return itsDelivering == 0 || std::find(inJobIDs.begin(), inJobIDs.end(),
                                                                   itsDelivering) == inJobIDs.end();
                        });
    }
    lock.unlock();
    // The dropped jobs are destroyed here, outside the lock.
}

void XNetJobQueue::DisconnectFromICS()
{
    std::deque<XCompletion> dropped;
    std::map<std::uint32_t, std::unique_ptr<XNetJob>> heldBack;
    std::thread deliveryThread;
    {
        const std::lock_guard lock(itsMutex);
        itsDisconnected = true;
        dropped.swap(itsCompletions);
        heldBack.swap(itsHeldBack);
        if (std::this_thread::get_id() != itsDeliveryThreadID)
        {
            // Only one caller takes the thread to join it; on the delivery thread itself it is
            // left for the destructor.
            deliveryThread = std::move(itsDeliveryThread);
        }
    }
    itsChanged.notify_all();
    // Outside the lock: the backend's workers may be waiting for it inside JobFinished.
    itsBackend->Disconnect();
    if (deliveryThread.joinable())
    {
        deliveryThread.join();
    }
}

std::size_t XNetJobQueue::GetOpenJobCount() const
{
    const std::lock_guard lock(itsMutex);
    return itsOpenJobs.size();
}

void XNetJobQueue::JobFinished(std::uint32_t inJobID, std::unique_ptr<XNetJobResult> inResult,
                               std::string inFailure)
{
    {
        const std::lock_guard lock(itsMutex);
        if (itsDisconnected || !itsOpenJobs.contains(inJobID) || itsHeldBack.contains(inJobID))
        {
            return; // deleted or unknown: the result is destroyed outside the lock
        }
        itsCompletions.push_back(XCompletion{inJobID, std::move(inResult), std::move(inFailure)});
    }
    itsChanged.notify_all();
}

void XNetJobQueue::DeliveryLoop()
{
    pthread_setname_np(pthread_self(), "XNetJobQueue De"); // Linux allows 15 characters
    std::unique_lock lock(itsMutex);
    for (;;)
    {
        itsChanged.wait(lock, [this] { return itsDisconnected || !itsCompletions.empty(); });
        if (itsDisconnected)
        {
            return;
        }
        XCompletion completion = std::move(itsCompletions.front());
        itsCompletions.pop_front();
        if (!itsOpenJobs.contains(completion.jobID))
        {
            // Deleted after it finished: dropped, and its result destroyed outside the lock.
            lock.unlock();
            completion = XCompletion();
            lock.lock();
            continue;
        }
        itsDelivering = completion.jobID;
        lock.unlock();
        try
        {
            const XNetJobCompletedMessage message(this, completion.jobID,
                                                  std::move(completion.result),
                                                  std::move(completion.failure));
            SpeakMessage(message, false);
        }
        catch (const std::exception& inError)
        {
            XSessionLogManager::GetManager().AddEntry("A listener of the job queue failed on job " +
                                                      std::to_string(completion.jobID) + ": " +
                                                      inError.what());
        }
        catch (...)
        {
            XSessionLogManager::GetManager().AddEntry("A listener of the job queue failed on job " +
                                                      std::to_string(completion.jobID) +
                                                      " with an unknown error");
        }
        lock.lock();
        itsDelivering = 0;
        std::vector<std::uint32_t> released;
        CloseJob(completion.jobID, released);
        if (!itsDisconnected)
        {
            for (const std::uint32_t sharedDataID : released)
            {
                itsBackend->ReleaseSharedData(sharedDataID);
            }
        }
        itsChanged.notify_all();
    }
}

void XNetJobQueue::CloseJob(std::uint32_t inJobID, std::vector<std::uint32_t>& outReleased)
{
    const auto found = itsOpenJobs.find(inJobID);
    if (found == itsOpenJobs.end())
    {
        return;
    }
    for (const std::uint32_t sharedDataID : found->second)
    {
        const auto users = itsSharedDataUsers.find(sharedDataID);
        X_ASSERT(users != itsSharedDataUsers.end());
        if (users != itsSharedDataUsers.end() && --users->second == 0)
        {
            itsSharedDataUsers.erase(users);
            outReleased.push_back(sharedDataID);
        }
    }
    itsOpenJobs.erase(found);
}
