#pragma once

#include "host/core/XNetJobQueueBackend.h"
#include "host/net/XRedisAddress.h"
#include "host/net/XRedisKeys.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

class XLocalNetJobQueueBackend;
class XRedisConnection;
class XRedisSharedDataCache;
class XRedisWorker;
struct redisReply;

// Runs a queue's jobs on a farm: jobs go to the Redis job stream in the order submitted, any
// number of `voltrace worker` processes run them, and results come back on this client's own
// results stream. Shared data is uploaded once, content-addressed and in chunks. This process
// can work on its own jobs too, with workers of its own that skip downloading shared data.
//
// Exactly one result per job reaches the queue: later duplicates (a job reclaimed from a worker
// that was only slow) are dropped. Cancelled jobs are deleted from the stream, which also tells
// the workers running them to stop. When the server goes away, the jobs still open run on this
// machine if it has local workers, and fail with the reason otherwise; nothing waits forever.
// All network traffic after construction runs on the backend's own two threads.
class XRedisNetJobQueueBackend final : public XNetJobQueueBackend
{
public:
    struct XOptions
    {
        std::uint32_t localThreads = 0; // workers in this process; 0: the farm does everything
        std::uint64_t chunkBytes = XRedisKeys::kDefaultChunkBytes;
        std::chrono::seconds keepSharedData{6 * 3600}; // while in use, refreshed on upload
        std::chrono::milliseconds reclaimAfter{5000};  // for the local workers
        // Receives notes for the user (no worker seen, server lost); may be empty.
        std::function<void(const std::string&)> log;
    };

    // Connects (throws XRedisError naming the address when the server cannot be reached or
    // refuses the login) and starts the local workers.
    XRedisNetJobQueueBackend(const XRedisAddress& inAddress, XOptions inOptions);
    ~XRedisNetJobQueueBackend() override;

    const std::string& GetClientName() const { return itsClientName; }
    // Results dropped because their job had already been answered or deleted.
    std::uint64_t GetDroppedResultCount() const;

    void Connect(XCompletionSink& inSink) override;
    void AttachSharedData(std::uint32_t inID, std::unique_ptr<XNetJobSharedData> inData) override;
    void ReleaseSharedData(std::uint32_t inID) override;
    void SubmitJobs(XJobList inJobs) override;
    void CancelJobs(const std::vector<std::uint32_t>& inJobIDs) override;
    void Disconnect() override;

private:
    struct XOpenJob
    {
        std::unique_ptr<XNetJob> job; // kept to run here if the server goes away
        std::string body;             // its stream bytes, until sent
        std::string entryID;          // empty until the server has it
        bool sent = false;
    };
    struct XShared
    {
        std::string hash;
        std::shared_ptr<XNetJobSharedData> data;
    };

    void SubmitLoop();
    void ResultLoop();
    void HandleResult(const redisReply* inEntry);
    void WarnIfNoWorkers(XRedisConnection& ioConnection);
    // The server is gone: open jobs move to local workers, or fail with the reason.
    void LoseServer(const std::string& inReason);
    void Log(const std::string& inLine) const;

    const XRedisAddress itsAddress;
    const XOptions itsOptions;
    const std::string itsClientName;
    const std::string itsResultsKey;
    std::shared_ptr<XRedisSharedDataCache> itsCache;

    std::mutex itsCommandMutex; // guards itsCommands (uploads and the submit thread)
    std::unique_ptr<XRedisConnection> itsCommands;
    std::unique_ptr<XRedisConnection> itsResults; // the result thread's own

    mutable std::mutex itsMutex;
    std::condition_variable itsOutboxChanged;
    XCompletionSink* itsSink = nullptr;
    std::map<std::uint32_t, XOpenJob> itsOpen;
    std::map<std::uint32_t, XShared> itsShared;
    std::deque<std::uint32_t> itsToSend;       // job ids, in submission order
    std::vector<std::string> itsEntriesToDrop; // job entries answered or cancelled
    std::vector<std::string> itsResultsToDrop; // result entries handled
    std::vector<std::string> itsHashesToExpire;
    std::uint64_t itsDropped = 0;
    bool itsStopping = false;
    std::string itsLostReason;
    std::unique_ptr<XLocalNetJobQueueBackend> itsFallback;

    std::unique_ptr<XRedisWorker> itsLocalWorker;
    std::thread itsSubmitThread;
    std::thread itsResultThread;
};
