#include "host/net/XRedisSharedDataStore.h"

#include "host/core/XException.h"
#include "host/net/XRedisConnection.h"
#include "host/net/XRedisKeys.h"

#include <xxhash.h>

#include <algorithm>
#include <cstdio>
#include <sstream>

namespace
{
constexpr const char* kHeadMagic = "voltrace-data";
constexpr std::uint32_t kHeadVersion = 1;

struct XHead
{
    std::uint64_t bytes = 0;
    std::uint64_t chunkBytes = 0;
    std::uint64_t chunks = 0;
};

std::uint64_t ChunkCount(std::uint64_t inBytes, std::uint64_t inChunkBytes)
{
    return inBytes == 0 ? 0 : (inBytes + inChunkBytes - 1) / inChunkBytes;
}

[[noreturn]] void Malformed(const std::string& inHash, const std::string& inWhy)
{
    throw XException(XException::kMalformedStream,
                     "shared data " + inHash + " on the server is malformed: " + inWhy);
}

XHead ParseHead(const std::string& inHash, std::string_view inText)
{
    std::istringstream stream{std::string(inText)};
    std::string magic;
    std::uint32_t version = 0;
    XHead head;
    if (!(stream >> magic >> version >> head.bytes >> head.chunkBytes >> head.chunks) ||
        magic != kHeadMagic)
    {
        Malformed(inHash, "unreadable head \"" + std::string(inText.substr(0, 80)) + "\"");
    }
    if (version != kHeadVersion)
    {
        throw XException(XException::kVersionTooNew,
                         "shared data " + inHash + " has head version " + std::to_string(version) +
                             ", this build reads version 1");
    }
    if (head.bytes > XRedisKeys::kMaxSharedDataBytes)
    {
        Malformed(inHash, std::to_string(head.bytes) + " bytes, more than the limit of " +
                              std::to_string(XRedisKeys::kMaxSharedDataBytes));
    }
    if (head.chunkBytes == 0 || head.chunkBytes > (512ULL << 20) ||
        head.chunks != ChunkCount(head.bytes, head.chunkBytes))
    {
        Malformed(inHash, "chunk sizes do not add up");
    }
    return head;
}

void ExpireAll(XRedisConnection& ioConnection, const std::string& inHash, std::uint64_t inChunks,
               std::chrono::seconds inKeep)
{
    const std::string seconds = std::to_string(std::max<std::int64_t>(1, inKeep.count()));
    std::vector<std::string> keys{XRedisKeys::Data(inHash)};
    for (std::uint64_t index = 0; index < inChunks; ++index)
    {
        keys.push_back(XRedisKeys::Chunk(inHash, index));
    }
    for (const std::string& key : keys)
    {
        ioConnection.Append({"EXPIRE", key, seconds});
    }
    for (std::size_t index = 0; index < keys.size(); ++index)
    {
        (void)ioConnection.TakeReply();
    }
}
} // namespace

std::string XRedisSharedDataStore::Hash(std::span<const std::uint8_t> inBytes)
{
    const XXH128_hash_t hash = XXH3_128bits(inBytes.data(), inBytes.size());
    char text[33];
    std::snprintf(text, sizeof text, "%016llx%016llx", static_cast<unsigned long long>(hash.high64),
                  static_cast<unsigned long long>(hash.low64));
    return text;
}

void XRedisSharedDataStore::Upload(XRedisConnection& ioConnection, const std::string& inHash,
                                   std::span<const std::uint8_t> inBytes,
                                   std::uint64_t inChunkBytes, std::chrono::seconds inKeep)
{
    const std::uint64_t chunkBytes = std::clamp<std::uint64_t>(inChunkBytes, 1, 512ULL << 20);
    const std::uint64_t chunks = ChunkCount(inBytes.size(), chunkBytes);
    const auto head = ioConnection.Command({"GET", XRedisKeys::Data(inHash)});
    if (head->type == REDIS_REPLY_STRING)
    {
        const XHead stored = ParseHead(inHash, XRedisConnection::Text(head.get()));
        ExpireAll(ioConnection, inHash, stored.chunks, inKeep);
        // A head whose chunks have gone (expired one by one) is uploaded again.
        const auto present = ioConnection.Command(
            {"EXISTS", XRedisKeys::Chunk(inHash, stored.chunks == 0 ? 0 : stored.chunks - 1)});
        if (stored.chunks == 0 || present->integer == 1)
        {
            return;
        }
    }
    const std::string seconds = std::to_string(std::max<std::int64_t>(1, inKeep.count()));
    for (std::uint64_t index = 0; index < chunks; ++index)
    {
        const std::uint64_t begin = index * chunkBytes;
        const std::uint64_t size = std::min<std::uint64_t>(chunkBytes, inBytes.size() - begin);
        const std::string_view chunk(reinterpret_cast<const char*>(inBytes.data()) + begin, size);
        ioConnection.Command({"SET", XRedisKeys::Chunk(inHash, index), chunk, "EX", seconds});
    }
    const std::string headText = std::string(kHeadMagic) + " " + std::to_string(kHeadVersion) +
                                 " " + std::to_string(inBytes.size()) + " " +
                                 std::to_string(chunkBytes) + " " + std::to_string(chunks);
    ioConnection.Command({"SET", XRedisKeys::Data(inHash), headText, "EX", seconds});
}

void XRedisSharedDataStore::Expire(XRedisConnection& ioConnection, const std::string& inHash,
                                   std::chrono::seconds inKeep)
{
    const auto head = ioConnection.Command({"GET", XRedisKeys::Data(inHash)});
    if (head->type == REDIS_REPLY_STRING)
    {
        ExpireAll(ioConnection, inHash,
                  ParseHead(inHash, XRedisConnection::Text(head.get())).chunks, inKeep);
    }
}

std::vector<std::uint8_t> XRedisSharedDataStore::Fetch(XRedisConnection& ioConnection,
                                                       const std::string& inHash)
{
    const auto headReply = ioConnection.Command({"GET", XRedisKeys::Data(inHash)});
    if (headReply->type != REDIS_REPLY_STRING)
    {
        throw XException(XException::kIOError,
                         "shared data " + inHash + " is not on the Redis server at " +
                             ioConnection.GetAddress().Describe() + " (expired or never sent)");
    }
    const XHead head = ParseHead(inHash, XRedisConnection::Text(headReply.get()));
    std::vector<std::uint8_t> bytes;
    bytes.reserve(head.bytes);
    for (std::uint64_t index = 0; index < head.chunks; ++index)
    {
        const auto chunk = ioConnection.Command({"GET", XRedisKeys::Chunk(inHash, index)});
        if (chunk->type != REDIS_REPLY_STRING)
        {
            throw XException(XException::kIOError, "chunk " + std::to_string(index) +
                                                       " of shared data " + inHash +
                                                       " is not on the Redis server");
        }
        const std::uint64_t expected =
            std::min<std::uint64_t>(head.chunkBytes, head.bytes - index * head.chunkBytes);
        if (chunk->len != expected)
        {
            Malformed(inHash, "chunk " + std::to_string(index) + " holds " +
                                  std::to_string(chunk->len) + " bytes, expected " +
                                  std::to_string(expected));
        }
        bytes.insert(bytes.end(), chunk->str, chunk->str + chunk->len);
    }
    if (Hash(bytes) != inHash)
    {
        Malformed(inHash, "its bytes do not match their hash");
    }
    return bytes;
}
