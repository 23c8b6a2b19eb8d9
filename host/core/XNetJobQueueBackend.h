#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

class XNetJob;
class XNetJobResult;
class XNetJobSharedData;

// Where a job queue's jobs run: a pool of threads on this machine, or workers elsewhere. The
// queue (XNetJobQueue) keeps the ids, holds jobs back, delivers completions and decides when
// shared data is no longer needed; a backend only runs what it is given and reports back.
class XNetJobQueueBackend
{
public:
    // Receives finished jobs. Called from any thread, never after Disconnect has returned.
    class XCompletionSink
    {
    public:
        // A job ended: with its stored result (may be null), or with a failure text (non-empty)
        // when it threw or could not be run. A job stopped by CancelJobs need not be reported.
        virtual void JobFinished(std::uint32_t inJobID, std::unique_ptr<XNetJobResult> inResult,
                                 std::string inFailure) = 0;

    protected:
        ~XCompletionSink() = default;
    };

    using XJobList = std::vector<std::pair<std::uint32_t, std::unique_ptr<XNetJob>>>;

    virtual ~XNetJobQueueBackend() = default;

    // Called once by the queue before anything else; the sink stays valid until Disconnect.
    virtual void Connect(XCompletionSink& inSink) = 0;
    // Shared data that jobs submitted later may register; the backend owns it.
    virtual void AttachSharedData(std::uint32_t inID,
                                  std::unique_ptr<XNetJobSharedData> inData) = 0;
    // No job that registered inID remains; the backend may let the data go.
    virtual void ReleaseSharedData(std::uint32_t inID) = 0;
    // Jobs to run, in this order of priority; each is reported to the sink once.
    virtual void SubmitJobs(XJobList inJobs) = 0;
    // Drops those of the jobs that have not started and asks running ones to stop at their next
    // cancellation poll. Unknown and finished ids are ignored.
    virtual void CancelJobs(const std::vector<std::uint32_t>& inJobIDs) = 0;
    // Stops all work, waits for the backend's threads and forgets every job and shared data; no
    // sink call follows. Idempotent.
    virtual void Disconnect() = 0;
};
