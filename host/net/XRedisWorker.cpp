#include "host/net/XRedisWorker.h"

#include "host/core/XCancellationScope.h"
#include "host/core/XException.h"
#include "host/core/XNetJob.h"
#include "host/core/XNetJobContext.h"
#include "host/core/XNetJobResult.h"
#include "host/core/XNetJobSharedData.h"
#include "host/core/XStream.h"
#include "host/core/XThreadCancelled.h"
#include "host/net/XRedisConnection.h"
#include "host/net/XRedisError.h"
#include "host/net/XRedisJobEntry.h"
#include "host/net/XRedisKeys.h"
#include "host/net/XRedisSharedDataCache.h"
#include "host/net/XZstdCodec.h"

#include <algorithm>
#include <map>
#include <pthread.h>
#include <set>
#include <unistd.h>

namespace
{
constexpr std::chrono::milliseconds kTimeout{30000};

std::string DefaultName()
{
    char host[256] = {};
    if (gethostname(host, sizeof host - 1) != 0 || host[0] == '\0')
    {
        std::snprintf(host, sizeof host, "worker");
    }
    return std::string(host) + "-" + std::to_string(getpid());
}

std::chrono::milliseconds HeartbeatFor(std::chrono::milliseconds inReclaimAfter)
{
    return std::clamp(inReclaimAfter / 4, std::chrono::milliseconds(20),
                      std::chrono::milliseconds(500));
}

std::string MillisecondsNow()
{
    return std::to_string(std::chrono::duration_cast<std::chrono::milliseconds>(
                              std::chrono::system_clock::now().time_since_epoch())
                              .count());
}

// The shared data of one job, for the time of its run.
class XJobContext final : public XNetJobContext
{
public:
    std::map<std::uint32_t, XRedisSharedDataCache::XData> itsData;

    std::unique_ptr<XNetJobSharedData> CopySharedData(std::uint32_t inID) const override
    {
        const auto found = itsData.find(inID);
        return found != itsData.end() && found->second ? XClone(*found->second) : nullptr;
    }
};

// Reading failed in a way another worker (a newer build, say) might not.
bool IsUnreadable(const XException& inError)
{
    switch (inError.GetCode())
    {
    case XException::kWrongClass:
    case XException::kVersionTooNew:
    case XException::kTruncatedStream:
    case XException::kMalformedStream:
    case XException::kUnknownClass:
    case XException::kNestingTooDeep:
        return true;
    default:
        return false;
    }
}
} // namespace

XRedisWorker::XRedisWorker(const XRedisAddress& inAddress, XOptions inOptions,
                           std::shared_ptr<XRedisSharedDataCache> inCache)
    : itsAddress(inAddress), itsOptions(std::move(inOptions)),
      itsName(itsOptions.name.empty() ? DefaultName() : itsOptions.name),
      itsThreadCount(itsOptions.threads != 0 ? itsOptions.threads
                                             : std::max(1U, std::thread::hardware_concurrency())),
      itsCache(inCache ? std::move(inCache) : std::make_shared<XRedisSharedDataCache>())
{
}

XRedisWorker::~XRedisWorker()
{
    Stop();
}

std::unique_ptr<XRedisConnection> XRedisWorker::Connect(const std::string& inRole) const
{
    return std::make_unique<XRedisConnection>(itsAddress, kTimeout,
                                              "voltrace-worker:" + itsName + ":" + inRole);
}

void XRedisWorker::Start()
{
    // Every connection is made before any thread starts, so a refusal reaches the caller.
    std::vector<std::unique_ptr<XRedisConnection>> connections;
    for (std::uint32_t index = 0; index < itsThreadCount; ++index)
    {
        connections.push_back(Connect(std::to_string(index)));
    }
    auto heartbeat = Connect("heartbeat");
    // The consumer group is made by clients; a worker may not be allowed to (see docs/farm.md)
    // and waits for it instead.
    itsThreads.emplace_back(&XRedisWorker::HeartbeatLoop, this, std::move(heartbeat));
    for (auto& connection : connections)
    {
        itsThreads.emplace_back(&XRedisWorker::ThreadLoop, this, std::move(connection));
    }
}

void XRedisWorker::Stop()
{
    {
        const std::lock_guard lock(itsMutex);
        itsStopping = true;
        for (XRunning* running : itsRunning)
        {
            running->cancelled = true;
        }
    }
    itsChanged.notify_all();
    for (std::thread& thread : itsThreads)
    {
        thread.join();
    }
    itsThreads.clear();
}

std::string XRedisWorker::WaitUntilStopped(const std::atomic<bool>& inStopFlag)
{
    std::unique_lock lock(itsMutex);
    while (!itsStopping && !inStopFlag.load())
    {
        itsChanged.wait_for(lock, std::chrono::milliseconds(100));
    }
    return itsFailure;
}

void XRedisWorker::Fail(const std::string& inReason)
{
    {
        const std::lock_guard lock(itsMutex);
        if (itsFailure.empty())
        {
            itsFailure = inReason;
        }
        itsStopping = true;
        for (XRunning* running : itsRunning)
        {
            running->cancelled = true;
        }
    }
    itsChanged.notify_all();
}

void XRedisWorker::Log(const std::string& inLine) const
{
    if (itsOptions.log)
    {
        itsOptions.log(inLine);
    }
}

void XRedisWorker::ThreadLoop(std::unique_ptr<XRedisConnection> inConnection)
{
    pthread_setname_np(pthread_self(), "XRedisWorker");
    std::string cursor = "0-0";
    // Jobs to reclaim are looked for once per heartbeat interval (and again at once after one
    // was found), not before every job: that would cost a round trip per job.
    const auto interval = HeartbeatFor(itsOptions.reclaimAfter);
    auto nextReclaim = std::chrono::steady_clock::now();
    try
    {
        while (!itsStopping)
        {
            XRedisJobEntry entry;
            bool found = false;
            if (std::chrono::steady_clock::now() >= nextReclaim)
            {
                found = Reclaim(*inConnection, cursor, entry);
                if (!found)
                {
                    nextReclaim = std::chrono::steady_clock::now() + interval;
                }
            }
            if (found || ReadNew(*inConnection, entry))
            {
                Process(*inConnection, entry);
            }
        }
    }
    catch (const XRedisError& error)
    {
        Fail(error.what());
    }
}

bool XRedisWorker::Reclaim(XRedisConnection& ioConnection, std::string& ioCursor,
                           XRedisJobEntry& outEntry)
{
    const std::string idle = std::to_string(itsOptions.reclaimAfter.count());
    const auto reply = ioConnection.TryCommand({"XAUTOCLAIM", XRedisKeys::kJobs, XRedisKeys::kGroup,
                                                itsName, idle, ioCursor, "COUNT", "1"});
    if (IsNoGroup(reply.get()))
    {
        return false;
    }
    ThrowIfRefused(reply.get(), "XAUTOCLAIM");
    if (reply->type != REDIS_REPLY_ARRAY || reply->elements < 2)
    {
        return false;
    }
    ioCursor = XRedisConnection::Text(reply->element[0]);
    const redisReply* entries = reply->element[1];
    if (entries->type != REDIS_REPLY_ARRAY || entries->elements == 0 ||
        entries->element[0]->type != REDIS_REPLY_ARRAY)
    {
        return false;
    }
    outEntry = XRedisJobEntry::Parse(entries->element[0]);
    const auto pending = ioConnection.Command({"XPENDING", XRedisKeys::kJobs, XRedisKeys::kGroup,
                                               outEntry.entryID, outEntry.entryID, "1"});
    if (pending->type == REDIS_REPLY_ARRAY && pending->elements == 1 &&
        pending->element[0]->elements == 4)
    {
        outEntry.deliveries = static_cast<std::uint64_t>(pending->element[0]->element[3]->integer);
    }
    return true;
}

bool XRedisWorker::ReadNew(XRedisConnection& ioConnection, XRedisJobEntry& outEntry)
{
    // A short block, so that reclaiming and stopping are looked at often.
    const auto block = std::clamp(std::min(itsOptions.idleWait, itsOptions.reclaimAfter / 2),
                                  std::chrono::milliseconds(10), std::chrono::milliseconds(5000));
    const auto reply = ioConnection.TryCommand(
        {"XREADGROUP", "GROUP", XRedisKeys::kGroup, itsName, "COUNT", "1", "BLOCK",
         std::to_string(block.count()), "STREAMS", XRedisKeys::kJobs, ">"});
    if (IsNoGroup(reply.get()))
    {
        // No client has made the job stream yet.
        std::unique_lock lock(itsMutex);
        itsChanged.wait_for(lock, block, [this] { return itsStopping.load(); });
        return false;
    }
    ThrowIfRefused(reply.get(), "XREADGROUP");
    // [[stream, [[id, fields]]]]
    if (reply->type != REDIS_REPLY_ARRAY || reply->elements == 0 ||
        reply->element[0]->elements != 2 || reply->element[0]->element[1]->elements == 0)
    {
        return false;
    }
    outEntry = XRedisJobEntry::Parse(reply->element[0]->element[1]->element[0]);
    outEntry.deliveries = 1;
    return true;
}

bool XRedisWorker::IsNoGroup(const redisReply* inReply)
{
    return XRedisConnection::IsError(inReply) &&
           XRedisConnection::Text(inReply).starts_with("NOGROUP");
}

void XRedisWorker::ThrowIfRefused(const redisReply* inReply, const char* inCommand) const
{
    if (XRedisConnection::IsError(inReply))
    {
        throw XRedisError("the Redis server at " + itsAddress.Describe() + " refused " + inCommand +
                              ": " + std::string(XRedisConnection::Text(inReply)),
                          false);
    }
}

void XRedisWorker::Process(XRedisConnection& ioConnection, XRedisJobEntry& inEntry)
{
    if (inEntry.entryID.empty())
    {
        return;
    }
    XRunning running;
    running.entryID = inEntry.entryID;
    {
        const std::lock_guard lock(itsMutex);
        if (itsStopping)
        {
            return; // left pending: another worker reclaims it
        }
        itsRunning.push_back(&running);
    }
    struct XUnregister
    {
        XRedisWorker& worker;
        XRunning& running;
        ~XUnregister()
        {
            const std::lock_guard lock(worker.itsMutex);
            std::erase(worker.itsRunning, &running);
        }
    } const unregister{*this, running};

    if (inEntry.deliveries > itsOptions.maxDeliveries)
    {
        Quarantine(ioConnection, inEntry,
                   "delivered " + std::to_string(inEntry.deliveries) +
                       " times without a result (its workers stopped or lost their connection)");
        return;
    }

    // Read the job and its shared data.
    std::unique_ptr<XNetJob> job;
    XJobContext context;
    try
    {
        if (!inEntry.problem.empty())
        {
            throw XException(XException::kMalformedStream, inEntry.problem);
        }
        XMemoryStream stream(std::move(inEntry.body));
        job = stream.ReadObjectAs<XNetJob>();
        if (!job)
        {
            throw XException(XException::kMalformedStream, "the job reads as null");
        }
        for (const std::uint32_t id : job->GetSharedDataIDs())
        {
            const auto hash = inEntry.dataHashes.find(id);
            if (hash == inEntry.dataHashes.end())
            {
                throw XException(XException::kMalformedStream,
                                 "no content hash for shared data " + std::to_string(id));
            }
            context.itsData[id] = itsCache->Get(hash->second, ioConnection);
        }
    }
    catch (const XRedisError&)
    {
        throw;
    }
    catch (const XException& error)
    {
        const std::string what = "cannot read job " + inEntry.entryID + ": " + error.what();
        if (!IsUnreadable(error))
        {
            Finish(ioConnection, inEntry, {}, what); // the data is gone: no worker can run it
        }
        else if (inEntry.deliveries >= itsOptions.maxDeliveries)
        {
            Quarantine(ioConnection, inEntry, what);
        }
        else
        {
            Log(what + "; left for other workers");
        }
        return;
    }

    std::string result;
    std::string failure;
    try
    {
        const XCancellationScope scope(running.cancelled);
        for (auto held = itsOptions.holdInJob; held.count() > 0 && !running.cancelled;
             held -= std::chrono::milliseconds(10))
        {
            if (held == itsOptions.holdInJob)
            {
                Log("holding job " + inEntry.entryID);
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        job->Execute(context);
        if (const auto stored = job->TakeJobResult(); stored)
        {
            XMemoryStream stream;
            stream.WriteObject(stored.get());
            result = XZstdCodec::Compress(stream.GetBytes());
        }
    }
    catch (const XThreadCancelled&)
    {
        // Deleted by its client (nothing to report), or this worker is stopping (left pending
        // for another worker).
        return;
    }
    catch (const std::exception& error)
    {
        failure = error.what()[0] != '\0' ? error.what() : "the job failed without a reason";
    }
    if (running.cancelled)
    {
        return;
    }
    Finish(ioConnection, inEntry, result, failure);
    if (!failure.empty())
    {
        Log("job " + inEntry.entryID + " failed: " + failure);
    }
    ++itsCompleted;
}

void XRedisWorker::Finish(XRedisConnection& ioConnection, const XRedisJobEntry& inEntry,
                          const std::string& inResult, const std::string& inFailure)
{
    // The result and the acknowledgement go together or not at all.
    const std::string jobID = std::to_string(inEntry.jobID);
    ioConnection.Append({"MULTI"});
    ioConnection.Append({"XADD", XRedisKeys::Results(inEntry.client), "*", XRedisKeys::kJobField,
                         jobID, XRedisKeys::kEntryField, inEntry.entryID, XRedisKeys::kWorkerField,
                         itsName, XRedisKeys::kResultField, inResult, XRedisKeys::kFailureField,
                         inFailure});
    ioConnection.Append({"XACK", XRedisKeys::kJobs, XRedisKeys::kGroup, inEntry.entryID});
    ioConnection.Append({"EXEC"});
    std::string refused;
    for (int reply = 0; reply < 4; ++reply)
    {
        const auto answer = ioConnection.TakeReply();
        if (XRedisConnection::IsError(answer.get()) && refused.empty())
        {
            refused = XRedisConnection::Text(answer.get());
        }
    }
    if (!refused.empty())
    {
        throw XRedisError("the Redis server at " + itsAddress.Describe() +
                              " refused the result of job " + inEntry.entryID + ": " + refused,
                          false);
    }
}

void XRedisWorker::Quarantine(XRedisConnection& ioConnection, const XRedisJobEntry& inEntry,
                              const std::string& inReason)
{
    Log("quarantined job " + inEntry.entryID + ": " + inReason);
    ioConnection.Append({"MULTI"});
    ioConnection.Append({"XADD", XRedisKeys::kQuarantine, "MAXLEN", "~", "10000", "*",
                         XRedisKeys::kEntryField, inEntry.entryID, XRedisKeys::kClientField,
                         inEntry.client, XRedisKeys::kJobField, std::to_string(inEntry.jobID),
                         XRedisKeys::kWorkerField, itsName, "deliveries",
                         std::to_string(inEntry.deliveries), "reason", inReason});
    int replies = 3;
    if (!inEntry.client.empty())
    {
        ioConnection.Append({"XADD", XRedisKeys::Results(inEntry.client), "*",
                             XRedisKeys::kJobField, std::to_string(inEntry.jobID),
                             XRedisKeys::kEntryField, inEntry.entryID, XRedisKeys::kWorkerField,
                             itsName, XRedisKeys::kResultField, "", XRedisKeys::kFailureField,
                             "quarantined after " + std::to_string(inEntry.deliveries) +
                                 " deliveries: " + inReason});
        ++replies;
    }
    ioConnection.Append({"XACK", XRedisKeys::kJobs, XRedisKeys::kGroup, inEntry.entryID});
    ioConnection.Append({"EXEC"});
    for (int reply = 0; reply < replies; ++reply)
    {
        (void)ioConnection.TakeReply();
    }
}

void XRedisWorker::HeartbeatLoop(std::unique_ptr<XRedisConnection> inConnection)
{
    pthread_setname_np(pthread_self(), "XRedisHeartbeat");
    const auto interval = HeartbeatFor(itsOptions.reclaimAfter);
    auto lastPresence = std::chrono::steady_clock::time_point();
    try
    {
        for (;;)
        {
            std::vector<std::string> held;
            {
                std::unique_lock lock(itsMutex);
                itsChanged.wait_for(lock, interval, [this] { return itsStopping.load(); });
                if (itsStopping)
                {
                    break;
                }
                for (const XRunning* running : itsRunning)
                {
                    held.push_back(running->entryID);
                }
            }
            if (!held.empty())
            {
                // Claiming a held job again resets its idle time, so no one reclaims it; a job
                // its client deleted is not returned: it was cancelled.
                XRedisConnection::XArguments claim{"XCLAIM", XRedisKeys::kJobs, XRedisKeys::kGroup,
                                                   itsName, "0"};
                claim.insert(claim.end(), held.begin(), held.end());
                claim.push_back("JUSTID");
                const auto reply = inConnection->Command(claim);
                std::set<std::string> alive;
                for (std::size_t index = 0; index < reply->elements; ++index)
                {
                    alive.emplace(XRedisConnection::Text(reply->element[index]));
                }
                const std::lock_guard lock(itsMutex);
                for (XRunning* running : itsRunning)
                {
                    if (!alive.contains(running->entryID) &&
                        std::find(held.begin(), held.end(), running->entryID) != held.end())
                    {
                        running->cancelled = true;
                    }
                }
            }
            const auto now = std::chrono::steady_clock::now();
            if (now - lastPresence >= std::chrono::seconds(1))
            {
                lastPresence = now;
                inConnection->Command({"HSET", XRedisKeys::kWorkers, itsName,
                                       MillisecondsNow() + " " + std::to_string(itsThreadCount)});
            }
        }
        inConnection->TryCommand({"HDEL", XRedisKeys::kWorkers, itsName});
    }
    catch (const XRedisError& error)
    {
        Fail(error.what());
    }
}
