#pragma once

#include <chrono>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

class XRedisConnection;

// Shared data on the server, content-addressed: stored once under the hash of its stream
// bytes, in chunks (Redis refuses values over 512 MB), and found again by that hash.
class XRedisSharedDataStore
{
public:
    // The content address of the bytes: 32 hex digits (XXH3, 128 bits).
    static std::string Hash(std::span<const std::uint8_t> inBytes);

    // Uploads the bytes under their hash unless the server has them already; either way they
    // stay for inKeep from now. The head is written after the chunks, so a reader never sees a
    // partial upload as complete.
    static void Upload(XRedisConnection& ioConnection, const std::string& inHash,
                       std::span<const std::uint8_t> inBytes, std::uint64_t inChunkBytes,
                       std::chrono::seconds inKeep);
    // Lets the data go after inKeep (another client may still be using the same content).
    static void Expire(XRedisConnection& ioConnection, const std::string& inHash,
                       std::chrono::seconds inKeep);
    // Downloads and checks the bytes stored under inHash: the head's sizes are checked against
    // the limit before anything is allocated, every chunk's length against the head, and the
    // whole against the hash. Throws XException: kIOError when the data is not on the server
    // (expired, never uploaded), kMalformedStream when it does not check out.
    static std::vector<std::uint8_t> Fetch(XRedisConnection& ioConnection,
                                           const std::string& inHash);
};
