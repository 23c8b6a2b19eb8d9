#pragma once

#include "host/core/XNetJobContext.h"
#include "host/core/XNetJobQueueBackend.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

// Runs a queue's jobs on a pool of worker threads of this process ("XNetJobQueue Worker").
//
// In stream mode every shared data, job and result crosses the stream format exactly as between
// machines: written to a memory stream and read back, through the class registry, into a fresh
// object (shared data once when attached, each job before it runs, each result after). A job
// whose stream cannot be read is reported as failed with the stream error.
class XLocalNetJobQueueBackend final : public XNetJobQueueBackend, private XNetJobContext
{
public:
    // inWorkers 0: one per core.
    explicit XLocalNetJobQueueBackend(std::uint32_t inWorkers = 0, bool inStreamMode = false);
    ~XLocalNetJobQueueBackend() override;

    std::uint32_t GetWorkerCount() const { return itsWorkerCount; }
    bool IsStreamMode() const { return itsStreamMode; }

    void Connect(XCompletionSink& inSink) override;
    void AttachSharedData(std::uint32_t inID, std::unique_ptr<XNetJobSharedData> inData) override;
    void ReleaseSharedData(std::uint32_t inID) override;
    void SubmitJobs(XJobList inJobs) override;
    void CancelJobs(const std::vector<std::uint32_t>& inJobIDs) override;
    void Disconnect() override;

private:
    struct XRunning
    {
        std::uint32_t jobID = 0;
        std::atomic<bool> cancelled{false};
    };

    std::unique_ptr<XNetJobSharedData> CopySharedData(std::uint32_t inID) const override;
    void WorkerLoop(XRunning& ioSlot);

    const std::uint32_t itsWorkerCount;
    const bool itsStreamMode;
    XCompletionSink* itsSink = nullptr;

    mutable std::mutex itsMutex;
    std::condition_variable itsWork;
    std::deque<std::pair<std::uint32_t, std::unique_ptr<XNetJob>>> itsQueue;
    // Copied under the lock, so a release never pulls data from under a job that is copying it.
    std::map<std::uint32_t, std::unique_ptr<XNetJobSharedData>> itsSharedData;
    std::vector<std::unique_ptr<XRunning>> itsSlots; // one per worker
    bool itsStopping = false;
    std::vector<std::thread> itsWorkers;
};
