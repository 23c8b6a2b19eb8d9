#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

// Compresses tile results for the trip back from a worker.
class XZstdCodec
{
public:
    static std::string Compress(std::span<const std::uint8_t> inBytes);
    // Throws XException (kMalformedStream) for data that is not one zstd frame of a known size
    // of at most inMaxBytes; nothing larger is ever allocated.
    static std::vector<std::uint8_t> Decompress(std::string_view inFrame, std::uint64_t inMaxBytes);
};
