#pragma once

#include "host/net/XRedisAddress.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

class XRedisConnection;
class XRedisSharedDataCache;
struct XRedisJobEntry;
struct redisReply;

// A farm worker: threads that take jobs from the Redis job stream (one job per thread), run
// them and write each result together with the job's acknowledgement; and a heartbeat that
// keeps the running jobs claimed and notices the ones whose client deleted them (cancelled).
//
// Faults: a job held by a worker that stopped beating for the reclaim time is taken over by
// another worker; a job delivered more than the allowed number of times is quarantined and
// its client told; a job this worker cannot read (an unknown class or version, bad bytes) is
// left unacknowledged for other workers, and quarantined once its deliveries run out.
class XRedisWorker
{
public:
    struct XOptions
    {
        std::uint32_t threads = 0; // 0: one per core
        std::chrono::milliseconds reclaimAfter{5000};
        // How long an idle thread waits for a new job before looking for jobs to reclaim (and
        // at Stop); at most half the reclaim time.
        std::chrono::milliseconds idleWait{1000};
        std::uint32_t maxDeliveries = 3;
        std::string name; // empty: host name and process id
        // For tests: waits this long inside each job before running it, so that a kill lands
        // while the job is held.
        std::chrono::milliseconds holdInJob{0};
        // Receives one line per notable event (job left, quarantined, failed); may be empty.
        std::function<void(const std::string&)> log;
    };

    // inCache empty: a cache of the worker's own.
    XRedisWorker(const XRedisAddress& inAddress, XOptions inOptions,
                 std::shared_ptr<XRedisSharedDataCache> inCache = nullptr);
    // Stops.
    ~XRedisWorker();
    XRedisWorker(const XRedisWorker&) = delete;
    XRedisWorker& operator=(const XRedisWorker&) = delete;

    // Connects every thread, creates the consumer group if missing and starts taking jobs.
    // Throws XRedisError when the server cannot be reached or refuses us.
    void Start();
    // Stops taking jobs; running jobs are stopped and left unacknowledged (another worker
    // reclaims them). Idempotent.
    void Stop();
    // Blocks until Stop, the flag, or a lost server; returns the reason the worker stopped on
    // its own ("" after Stop or the flag).
    std::string WaitUntilStopped(const std::atomic<bool>& inStopFlag);

    const std::string& GetName() const { return itsName; }
    std::uint32_t GetThreadCount() const { return itsThreadCount; }
    std::uint64_t GetCompletedJobCount() const { return itsCompleted.load(); }

private:
    struct XRunning
    {
        std::string entryID;
        std::atomic<bool> cancelled{false}; // deleted by its client, or the worker stops
    };

    void ThreadLoop(std::unique_ptr<XRedisConnection> inConnection);
    void HeartbeatLoop(std::unique_ptr<XRedisConnection> inConnection);
    bool Reclaim(XRedisConnection& ioConnection, std::string& ioCursor, XRedisJobEntry& outEntry);
    bool ReadNew(XRedisConnection& ioConnection, XRedisJobEntry& outEntry);
    void Process(XRedisConnection& ioConnection, XRedisJobEntry& inEntry);
    void Quarantine(XRedisConnection& ioConnection, const XRedisJobEntry& inEntry,
                    const std::string& inReason);
    void Finish(XRedisConnection& ioConnection, const XRedisJobEntry& inEntry,
                const std::string& inResult, const std::string& inFailure);
    static bool IsNoGroup(const redisReply* inReply);
    void ThrowIfRefused(const redisReply* inReply, const char* inCommand) const;
    void Log(const std::string& inLine) const;
    void Fail(const std::string& inReason);
    std::unique_ptr<XRedisConnection> Connect(const std::string& inRole) const;

    const XRedisAddress itsAddress;
    const XOptions itsOptions;
    const std::string itsName;
    const std::uint32_t itsThreadCount;
    const std::shared_ptr<XRedisSharedDataCache> itsCache;

    std::mutex itsMutex;
    std::condition_variable itsChanged;
    std::vector<XRunning*> itsRunning; // one per thread while it holds a job
    std::atomic<bool> itsStopping{false};
    std::string itsFailure;
    std::atomic<std::uint64_t> itsCompleted{0};
    std::vector<std::thread> itsThreads;
};
