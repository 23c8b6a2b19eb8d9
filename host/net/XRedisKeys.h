#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// The farm's key layout on the Redis server (docs/farm.md describes it for operators).
struct XRedisKeys
{
    // The stream of jobs, read by the workers' consumer group.
    static constexpr const char* kJobs = "voltrace:jobs";
    static constexpr const char* kGroup = "workers";
    // Jobs given up after too many deliveries, with the reason.
    static constexpr const char* kQuarantine = "voltrace:quarantine";
    // Worker name -> last heartbeat (Unix milliseconds) and thread count.
    static constexpr const char* kWorkers = "voltrace:workers";

    // A client's results stream.
    static std::string Results(std::string_view inClient)
    {
        return "voltrace:results:" + std::string(inClient);
    }
    // Shared data: a head "voltrace-data 1 <bytes> <chunk bytes> <chunks>" under Data(hash),
    // and the chunks under Data(hash):0, :1, ...
    static std::string Data(std::string_view inHash)
    {
        return "voltrace:data:" + std::string(inHash);
    }
    static std::string Chunk(std::string_view inHash, std::uint64_t inIndex)
    {
        return Data(inHash) + ":" + std::to_string(inIndex);
    }

    // Fields of a job entry: the submitting client, its job id, shared-data ids with their
    // content hashes ("1=ab12...,2=..."), and the job's stream bytes.
    static constexpr const char* kClientField = "client";
    static constexpr const char* kJobField = "job";
    static constexpr const char* kDataField = "data";
    static constexpr const char* kBodyField = "body";
    // Fields of a result entry: the job id, the job entry's id, the worker, the result's stream
    // bytes compressed with zstd (empty when the job stored none), and a failure text (empty
    // when the job ran).
    static constexpr const char* kEntryField = "entry";
    static constexpr const char* kWorkerField = "worker";
    static constexpr const char* kResultField = "result";
    static constexpr const char* kFailureField = "failure";

    // Limits checked before anything is allocated from what a server sent.
    static constexpr std::uint64_t kMaxJobBytes = 256ULL << 20;
    static constexpr std::uint64_t kMaxResultBytes = 256ULL << 20;
    static constexpr std::uint64_t kMaxSharedDataBytes = 64ULL << 30;
    // Redis refuses values over 512 MB; shared data goes up in chunks of this size.
    static constexpr std::uint64_t kDefaultChunkBytes = 64ULL << 20;
};
