#pragma once

#include <hiredis/hiredis.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

// One entry of the job stream as a worker sees it. Parsing never throws: what is missing or
// malformed is named in itsProblem, and the job is then treated as unreadable.
struct XRedisJobEntry
{
    std::string entryID;
    std::string client;
    std::uint32_t jobID = 0;
    std::map<std::uint32_t, std::string> dataHashes; // shared-data id -> content hash
    std::vector<std::uint8_t> body;                  // the job's stream bytes
    std::uint64_t deliveries = 1;
    std::string problem;

    // From a stream entry reply: [id, [field, value, ...]].
    static XRedisJobEntry Parse(const redisReply* inEntry);
    // The data field's text for the given ids and hashes: "1=ab..,2=cd..".
    static std::string FormatDataHashes(const std::map<std::uint32_t, std::string>& inHashes);
};
