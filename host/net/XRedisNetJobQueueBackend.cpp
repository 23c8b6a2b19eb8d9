#include "host/net/XRedisNetJobQueueBackend.h"

#include "host/core/XException.h"
#include "host/core/XLocalNetJobQueueBackend.h"
#include "host/core/XNetJob.h"
#include "host/core/XNetJobResult.h"
#include "host/core/XNetJobSharedData.h"
#include "host/core/XStream.h"
#include "host/net/XRedisConnection.h"
#include "host/net/XRedisError.h"
#include "host/net/XRedisJobEntry.h"
#include "host/net/XRedisOutbox.h"
#include "host/net/XRedisSharedDataCache.h"
#include "host/net/XRedisSharedDataStore.h"
#include "host/net/XRedisWorker.h"
#include "host/net/XZstdCodec.h"

#include <charconv>
#include <pthread.h>
#include <random>
#include <unistd.h>

namespace
{
constexpr std::chrono::milliseconds kTimeout{30000};
constexpr std::chrono::milliseconds kResultBlock{200};
// Shared data left by a client that disconnects stays this long for other clients.
constexpr std::chrono::seconds kKeepReleased{600};
// Without a result for this long, and no worker heartbeat, the user is told.
constexpr std::chrono::seconds kNoWorkerWarning{10};

std::string MakeClientName()
{
    char host[256] = {};
    if (gethostname(host, sizeof host - 1) != 0 || host[0] == '\0')
    {
        std::snprintf(host, sizeof host, "client");
    }
    std::random_device random;
    char suffix[17];
    std::snprintf(suffix, sizeof suffix, "%08x%08x", random(), random());
    return std::string(host) + "-" + std::to_string(getpid()) + "-" + suffix;
}

std::string_view FieldOf(const redisReply* inFields, std::string_view inName)
{
    for (std::size_t index = 0; index + 1 < inFields->elements; index += 2)
    {
        if (XRedisConnection::Text(inFields->element[index]) == inName)
        {
            return XRedisConnection::Text(inFields->element[index + 1]);
        }
    }
    return {};
}
} // namespace

XRedisNetJobQueueBackend::XRedisNetJobQueueBackend(const XRedisAddress& inAddress,
                                                   XOptions inOptions)
    : itsAddress(inAddress), itsOptions(std::move(inOptions)), itsClientName(MakeClientName()),
      itsResultsKey(XRedisKeys::Results(itsClientName)),
      itsCache(std::make_shared<XRedisSharedDataCache>())
{
    itsCommands = std::make_unique<XRedisConnection>(itsAddress, kTimeout,
                                                     "voltrace-client:" + itsClientName);
    itsResults = std::make_unique<XRedisConnection>(
        itsAddress, kTimeout, "voltrace-client:" + itsClientName + ":results");
    const auto created = itsCommands->TryCommand(
        {"XGROUP", "CREATE", XRedisKeys::kJobs, XRedisKeys::kGroup, "0", "MKSTREAM"});
    if (XRedisConnection::IsError(created.get()) &&
        !XRedisConnection::Text(created.get()).starts_with("BUSYGROUP"))
    {
        throw XRedisError("the Redis server at " + itsAddress.Describe() +
                              " refused to create the job group: " +
                              std::string(XRedisConnection::Text(created.get())),
                          false);
    }
    if (itsOptions.localThreads > 0)
    {
        XRedisWorker::XOptions local;
        local.threads = itsOptions.localThreads;
        local.reclaimAfter = itsOptions.reclaimAfter;
        local.idleWait = std::chrono::milliseconds(100); // the frame's end waits for it
        local.name = itsClientName + "-local";
        local.log = itsOptions.log;
        itsLocalWorker = std::make_unique<XRedisWorker>(itsAddress, local, itsCache);
    }
}

XRedisNetJobQueueBackend::~XRedisNetJobQueueBackend()
{
    Disconnect();
}

std::uint64_t XRedisNetJobQueueBackend::GetDroppedResultCount() const
{
    const std::lock_guard lock(itsMutex);
    return itsDropped;
}

void XRedisNetJobQueueBackend::Log(const std::string& inLine) const
{
    if (itsOptions.log)
    {
        itsOptions.log(inLine);
    }
}

void XRedisNetJobQueueBackend::Connect(XCompletionSink& inSink)
{
    {
        const std::lock_guard lock(itsMutex);
        itsSink = &inSink;
    }
    if (itsLocalWorker)
    {
        itsLocalWorker->Start();
    }
    itsSubmitThread = std::thread(&XRedisNetJobQueueBackend::SubmitLoop, this);
    itsResultThread = std::thread(&XRedisNetJobQueueBackend::ResultLoop, this);
}

void XRedisNetJobQueueBackend::AttachSharedData(std::uint32_t inID,
                                                std::unique_ptr<XNetJobSharedData> inData)
{
    if (!inData)
    {
        return;
    }
    XMemoryStream stream;
    stream.WriteObject(inData.get());
    const std::string hash = XRedisSharedDataStore::Hash(stream.GetBytes());
    std::shared_ptr<XNetJobSharedData> data(std::move(inData));
    bool lost = false;
    {
        const std::lock_guard lock(itsMutex);
        lost = !itsLostReason.empty();
    }
    if (!lost)
    {
        // Outside itsMutex: a large scene takes a while, and results keep arriving meanwhile.
        try
        {
            const std::lock_guard commands(itsCommandMutex);
            XRedisSharedDataStore::Upload(*itsCommands, hash, stream.GetBytes(),
                                          itsOptions.chunkBytes, itsOptions.keepSharedData);
        }
        catch (const XRedisError& error)
        {
            if (!error.IsConnectionLost() || !itsLocalWorker)
            {
                throw;
            }
        }
    }
    {
        const std::lock_guard lock(itsMutex);
        itsShared[inID] = XShared{hash, data};
        if (itsFallback)
        {
            itsFallback->AttachSharedData(inID, XClone(*data));
        }
    }
    itsCache->Seed(hash, data);
}

void XRedisNetJobQueueBackend::ReleaseSharedData(std::uint32_t inID)
{
    const std::lock_guard lock(itsMutex);
    const auto found = itsShared.find(inID);
    if (found == itsShared.end())
    {
        return;
    }
    const std::string hash = found->second.hash;
    itsShared.erase(found);
    if (itsFallback)
    {
        itsFallback->ReleaseSharedData(inID);
    }
    bool stillUsed = false;
    for (const auto& [id, shared] : itsShared)
    {
        stillUsed = stillUsed || shared.hash == hash;
    }
    if (!stillUsed)
    {
        itsCache->Forget(hash);
        itsHashesToExpire.push_back(hash);
        itsOutboxChanged.notify_all();
    }
}

void XRedisNetJobQueueBackend::SubmitJobs(XJobList inJobs)
{
    // Written here, on the caller's thread; sent by the submit thread.
    std::vector<std::pair<std::uint32_t, XOpenJob>> written;
    for (auto& [jobID, job] : inJobs)
    {
        if (!job)
        {
            continue;
        }
        XMemoryStream stream;
        stream.WriteObject(job.get());
        const auto& bytes = stream.GetBytes();
        XOpenJob open;
        open.body.assign(bytes.begin(), bytes.end());
        open.job = std::move(job);
        written.emplace_back(jobID, std::move(open));
    }
    XJobList toFallback;
    bool failNow = false;
    {
        const std::lock_guard lock(itsMutex);
        if (itsStopping)
        {
            return;
        }
        for (auto& [jobID, open] : written)
        {
            if (itsFallback)
            {
                toFallback.emplace_back(jobID, std::move(open.job));
                continue;
            }
            itsOpen[jobID] = std::move(open);
            itsToSend.push_back(jobID);
        }
        if (itsFallback && !toFallback.empty())
        {
            itsFallback->SubmitJobs(std::move(toFallback));
        }
        failNow = !itsLostReason.empty() && !itsFallback;
    }
    itsOutboxChanged.notify_all();
    if (failNow)
    {
        LoseServer({}); // fails the new jobs with the reason already known
    }
}

void XRedisNetJobQueueBackend::CancelJobs(const std::vector<std::uint32_t>& inJobIDs)
{
    std::vector<std::unique_ptr<XNetJob>> dropped;
    {
        const std::lock_guard lock(itsMutex);
        for (const std::uint32_t jobID : inJobIDs)
        {
            const auto found = itsOpen.find(jobID);
            if (found == itsOpen.end())
            {
                continue;
            }
            if (!found->second.entryID.empty())
            {
                itsEntriesToDrop.push_back(found->second.entryID);
            }
            dropped.push_back(std::move(found->second.job));
            itsOpen.erase(found); // a job not yet sent is simply not sent
        }
        if (itsFallback)
        {
            itsFallback->CancelJobs(inJobIDs);
        }
    }
    itsOutboxChanged.notify_all();
}

void XRedisNetJobQueueBackend::SubmitLoop()
{
    pthread_setname_np(pthread_self(), "XRedisSubmit");
    std::unique_lock lock(itsMutex);
    for (;;)
    {
        itsOutboxChanged.wait(lock,
                              [this]
                              {
                                  return itsStopping || !itsToSend.empty() ||
                                         !itsEntriesToDrop.empty() || !itsResultsToDrop.empty() ||
                                         !itsHashesToExpire.empty();
                              });
        if (itsStopping || !itsLostReason.empty())
        {
            return;
        }
        XRedisOutbox outbox;
        for (const std::uint32_t jobID : itsToSend)
        {
            const auto found = itsOpen.find(jobID);
            if (found == itsOpen.end() || found->second.sent)
            {
                continue;
            }
            std::map<std::uint32_t, std::string> hashes;
            for (const std::uint32_t id : found->second.job->GetSharedDataIDs())
            {
                if (const auto shared = itsShared.find(id); shared != itsShared.end())
                {
                    hashes[id] = shared->second.hash;
                }
            }
            found->second.sent = true;
            // The body is needed only until sent; a local fallback runs the job object itself.
            outbox.itsJobs.push_back(
                {jobID, XRedisJobEntry::FormatDataHashes(hashes), std::move(found->second.body)});
        }
        itsToSend.clear();
        outbox.itsEntriesToDrop = std::exchange(itsEntriesToDrop, {});
        outbox.itsResultsToDrop = std::exchange(itsResultsToDrop, {});
        outbox.itsHashesToExpire = std::exchange(itsHashesToExpire, {});
        lock.unlock();

        std::vector<std::string> entryIDs;
        std::string lost;
        try
        {
            const std::lock_guard commands(itsCommandMutex);
            entryIDs = outbox.Send(*itsCommands, itsClientName);
        }
        catch (const XException& error)
        {
            lost = error.what();
        }

        lock.lock();
        for (std::size_t index = 0; index < entryIDs.size(); ++index)
        {
            const auto found = itsOpen.find(outbox.itsJobs[index].jobID);
            if (found != itsOpen.end())
            {
                found->second.entryID = entryIDs[index];
            }
            else
            {
                // Cancelled while being sent, or answered already.
                itsEntriesToDrop.push_back(entryIDs[index]);
            }
        }
        if (!lost.empty())
        {
            lock.unlock();
            LoseServer(lost);
            return;
        }
    }
}

void XRedisNetJobQueueBackend::ResultLoop()
{
    pthread_setname_np(pthread_self(), "XRedisResults");
    std::string lastID = "0-0";
    auto lastResult = std::chrono::steady_clock::now();
    try
    {
        for (;;)
        {
            {
                const std::lock_guard lock(itsMutex);
                if (itsStopping || !itsLostReason.empty())
                {
                    return;
                }
            }
            const auto reply = itsResults->Command({"XREAD", "COUNT", "256", "BLOCK",
                                                    std::to_string(kResultBlock.count()), "STREAMS",
                                                    itsResultsKey, lastID});
            // [[key, [[id, fields], ...]]] or nil
            if (reply->type != REDIS_REPLY_ARRAY || reply->elements == 0)
            {
                if (std::chrono::steady_clock::now() - lastResult > kNoWorkerWarning)
                {
                    lastResult = std::chrono::steady_clock::now();
                    WarnIfNoWorkers(*itsResults);
                }
                continue;
            }
            lastResult = std::chrono::steady_clock::now();
            const redisReply* entries = reply->element[0]->element[1];
            for (std::size_t index = 0; index < entries->elements; ++index)
            {
                lastID = XRedisConnection::Text(entries->element[index]->element[0]);
                HandleResult(entries->element[index]);
            }
        }
    }
    catch (const XRedisError& error)
    {
        LoseServer(error.what());
    }
}

void XRedisNetJobQueueBackend::HandleResult(const redisReply* inEntry)
{
    const std::string resultID(XRedisConnection::Text(inEntry->element[0]));
    const redisReply* fields = inEntry->element[1];
    const std::string_view jobText = FieldOf(fields, XRedisKeys::kJobField);
    const std::string_view entryID = FieldOf(fields, XRedisKeys::kEntryField);
    std::uint32_t jobID = 0;
    std::from_chars(jobText.data(), jobText.data() + jobText.size(), jobID);

    XCompletionSink* sink = nullptr;
    {
        const std::lock_guard lock(itsMutex);
        itsResultsToDrop.push_back(resultID);
        const auto found = itsOpen.find(jobID);
        // A fast worker may answer before the submit thread has recorded the job's entry id.
        const bool isAnswer = found != itsOpen.end() && found->second.sent &&
                              (found->second.entryID.empty() || found->second.entryID == entryID);
        if (!isAnswer || itsStopping)
        {
            ++itsDropped; // answered before, cancelled, or not ours
            itsOutboxChanged.notify_all();
            return;
        }
        itsEntriesToDrop.emplace_back(entryID);
        itsOpen.erase(found);
        sink = itsSink;
        itsOutboxChanged.notify_all();
    }

    std::unique_ptr<XNetJobResult> result;
    std::string failure(FieldOf(fields, XRedisKeys::kFailureField));
    const std::string_view packed = FieldOf(fields, XRedisKeys::kResultField);
    if (failure.empty() && !packed.empty())
    {
        try
        {
            XMemoryStream stream(XZstdCodec::Decompress(packed, XRedisKeys::kMaxResultBytes));
            result = stream.ReadObjectAs<XNetJobResult>();
        }
        catch (const XException& error)
        {
            failure = "cannot read the result from worker " +
                      std::string(FieldOf(fields, XRedisKeys::kWorkerField)) + ": " + error.what();
        }
    }
    else if (!failure.empty())
    {
        failure += " (worker " + std::string(FieldOf(fields, XRedisKeys::kWorkerField)) + ")";
    }
    sink->JobFinished(jobID, failure.empty() ? std::move(result) : nullptr, std::move(failure));
}

void XRedisNetJobQueueBackend::WarnIfNoWorkers(XRedisConnection& ioConnection)
{
    {
        const std::lock_guard lock(itsMutex);
        if (itsOpen.empty() || itsOptions.localThreads > 0)
        {
            return;
        }
    }
    const auto reply = ioConnection.TryCommand({"HGETALL", XRedisKeys::kWorkers});
    const auto now = std::chrono::duration_cast<std::chrono::milliseconds>(
                         std::chrono::system_clock::now().time_since_epoch())
                         .count();
    for (std::size_t index = 1; reply->type == REDIS_REPLY_ARRAY && index < reply->elements;
         index += 2)
    {
        const std::string_view beat = XRedisConnection::Text(reply->element[index]);
        long long when = 0;
        std::from_chars(beat.data(), beat.data() + beat.size(), when);
        if (now - when < 5000)
        {
            return;
        }
    }
    Log("no voltrace worker has answered for " + std::to_string(kNoWorkerWarning.count()) +
        " s and none is beating on " + itsAddress.Describe() +
        "; start workers with `voltrace worker --redis URL`");
}

void XRedisNetJobQueueBackend::LoseServer(const std::string& inReason)
{
    std::vector<std::pair<std::uint32_t, std::string>> failed;
    XCompletionSink* sink = nullptr;
    {
        const std::lock_guard lock(itsMutex);
        const bool first = itsLostReason.empty();
        if (first)
        {
            itsLostReason = inReason;
        }
        const std::string reason = itsLostReason;
        if (itsStopping)
        {
            return;
        }
        if (itsLocalWorker && first)
        {
            Log(reason + "; rendering the " + std::to_string(itsOpen.size()) +
                " remaining jobs on this machine");
            itsFallback = std::make_unique<XLocalNetJobQueueBackend>(itsOptions.localThreads);
            itsFallback->Connect(*itsSink);
            for (const auto& [id, shared] : itsShared)
            {
                itsFallback->AttachSharedData(id, XClone(*shared.data));
            }
            XJobList jobs;
            for (auto& [jobID, open] : itsOpen)
            {
                jobs.emplace_back(jobID, std::move(open.job));
            }
            itsOpen.clear();
            itsFallback->SubmitJobs(std::move(jobs));
        }
        else if (!itsLocalWorker)
        {
            for (const auto& [jobID, open] : itsOpen)
            {
                failed.emplace_back(jobID, reason);
            }
            itsOpen.clear();
        }
        itsToSend.clear();
        sink = itsSink;
    }
    itsOutboxChanged.notify_all();
    for (auto& [jobID, reason] : failed)
    {
        sink->JobFinished(jobID, nullptr, std::move(reason));
    }
}

void XRedisNetJobQueueBackend::Disconnect()
{
    {
        const std::lock_guard lock(itsMutex);
        if (itsStopping)
        {
            return;
        }
        itsStopping = true;
    }
    itsOutboxChanged.notify_all();
    if (itsLocalWorker)
    {
        itsLocalWorker->Stop();
    }
    if (itsSubmitThread.joinable())
    {
        itsSubmitThread.join();
    }
    if (itsResultThread.joinable())
    {
        itsResultThread.join();
    }
    std::unique_ptr<XLocalNetJobQueueBackend> fallback;
    std::vector<std::string> entries;
    std::vector<std::string> hashes;
    {
        const std::lock_guard lock(itsMutex);
        fallback = std::move(itsFallback);
        entries = std::exchange(itsEntriesToDrop, {});
        for (const auto& [jobID, open] : itsOpen)
        {
            if (!open.entryID.empty())
            {
                entries.push_back(open.entryID);
            }
        }
        for (const auto& [id, shared] : itsShared)
        {
            hashes.push_back(shared.hash);
        }
        hashes.insert(hashes.end(), itsHashesToExpire.begin(), itsHashesToExpire.end());
        itsOpen.clear();
        itsShared.clear();
        itsSink = nullptr;
    }
    if (fallback)
    {
        fallback->Disconnect();
    }
    if (!itsLostReason.empty())
    {
        return;
    }
    // Jobs nobody waits for any more leave the stream, so no worker renders them.
    try
    {
        const std::lock_guard commands(itsCommandMutex);
        if (!entries.empty())
        {
            XRedisConnection::XArguments drop{"XDEL", XRedisKeys::kJobs};
            drop.insert(drop.end(), entries.begin(), entries.end());
            itsCommands->TryCommand(drop);
        }
        itsCommands->TryCommand({"DEL", itsResultsKey});
        for (const std::string& hash : hashes)
        {
            XRedisSharedDataStore::Expire(*itsCommands, hash, kKeepReleased);
        }
    }
    catch (const XException&)
    {
        // The server went away meanwhile; what was left expires or is reclaimed there.
    }
}
