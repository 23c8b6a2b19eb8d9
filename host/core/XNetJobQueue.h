#pragma once

#include "host/core/XNetJobQueueBackend.h"
#include "host/core/XSpeaker.h"

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

class XNetJob;
class XNetJobSharedData;

// The job queue: jobs are attached under ids (optionally held back until resumed), run by a
// backend (by default a pool of worker threads on this machine, one per core), and every
// finished job is announced as an XNetJobCompletedMessage, spoken by this queue on its own
// delivery thread ("XNetJobQueue Delivery"), one message at a time in the order the jobs
// finished.
//
// Deleting jobs is asynchronous for the backend (a running job stops at its next cancellation
// poll) but final for listeners: once AsyncDeleteJobs returns, no message for those jobs is
// spoken or being spoken. Shared data is given to the backend when attached and released when
// the last job that registered it is delivered or deleted.
class XNetJobQueue : public XSpeaker, private XNetJobQueueBackend::XCompletionSink
{
public:
    // The type and the three flags are the host's (0, true, false, true for rendering); they
    // are kept but change nothing. A null backend is a local pool with one worker per core.
    XNetJobQueue(std::int32_t inType, bool inFirstFlag, bool inSecondFlag, bool inThirdFlag,
                 std::unique_ptr<XNetJobQueueBackend> inBackend = nullptr);
    // Disconnects.
    ~XNetJobQueue() override;
    XNetJobQueue(const XNetJobQueue&) = delete;
    XNetJobQueue& operator=(const XNetJobQueue&) = delete;

    // Takes ownership; ids start at 1.
    std::uint32_t AttachSharedData(std::unique_ptr<XNetJobSharedData> inData);
    // Ids start at 1 and are never reused by this queue.
    std::uint32_t GetNextJobID();
    // Takes ownership. A job attached held back waits for ResumeJobs; otherwise it goes to the
    // backend at once. Reports an id already attached, or a null job, and drops the job.
    void AttachJob(std::uint32_t inJobID, std::unique_ptr<XNetJob> inJob, bool inHeldBack);
    // Hands the held-back jobs among inJobIDs to the backend, in the order given.
    void ResumeJobs(const std::vector<std::uint32_t>& inJobIDs);
    // Blocks until every listed job has been delivered (its message spoken and heard) or
    // deleted; unknown ids count as done. Meanwhile shows an XProgress over the jobs with the
    // title (or "Rendering" when it is empty). Polls the calling thread's cancellation flag and
    // throws XThreadCancelled when it is set, and throws XException when the queue is
    // disconnected while jobs remain.
    void WaitForJobsToCompleteWithProgress(const std::vector<std::uint32_t>& inJobIDs,
                                           const std::string& inTitle);
    // Forgets the jobs: held-back ones are dropped, the backend cancels the others, and their
    // completions are never spoken. Waits for a delivery in progress on another thread.
    void AsyncDeleteJobs(const std::vector<std::uint32_t>& inJobIDs);
    // Stops the backend and the delivery thread; completions not yet spoken are dropped, and
    // later attachments are refused (reported and dropped). Idempotent.
    void DisconnectFromICS();

    // Jobs attached and neither delivered nor deleted.
    std::size_t GetOpenJobCount() const;
    std::int32_t GetType() const { return itsType; }

private:
    struct XCompletion
    {
        std::uint32_t jobID = 0;
        std::unique_ptr<XNetJobResult> result;
        std::string failure;
    };

    void JobFinished(std::uint32_t inJobID, std::unique_ptr<XNetJobResult> inResult,
                     std::string inFailure) override;
    void DeliveryLoop();
    // The job is done (delivered or deleted): forget it and release shared data no longer
    // needed. Called under itsMutex.
    void CloseJob(std::uint32_t inJobID, std::vector<std::uint32_t>& outReleased);

    const std::int32_t itsType;
    std::unique_ptr<XNetJobQueueBackend> itsBackend;

    mutable std::mutex itsMutex;
    std::condition_variable itsChanged; // a job closed, a completion queued or disconnected
    std::uint32_t itsLastJobID = 0;
    std::uint32_t itsLastSharedDataID = 0;
    std::map<std::uint32_t, std::unique_ptr<XNetJob>> itsHeldBack;
    // Open jobs (attached, not yet delivered or deleted) with the shared data they registered.
    std::map<std::uint32_t, std::vector<std::uint32_t>> itsOpenJobs;
    // Open jobs per shared-data id; an id leaves when its count returns to 0.
    std::map<std::uint32_t, std::uint32_t> itsSharedDataUsers;
    std::deque<XCompletion> itsCompletions;
    std::uint32_t itsDelivering = 0; // the job whose message is being spoken, or 0
    bool itsDisconnected = false;
    std::thread::id itsDeliveryThreadID;
    std::thread itsDeliveryThread;
};
