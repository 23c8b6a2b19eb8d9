#include "host/net/XZstdCodec.h"

#include "host/core/XException.h"

#include <zstd.h>

namespace
{
constexpr int kLevel = 3; // zstd's default: fast, and films of flat tiles shrink a lot
}

std::string XZstdCodec::Compress(std::span<const std::uint8_t> inBytes)
{
    std::string frame(ZSTD_compressBound(inBytes.size()), '\0');
    const std::size_t size =
        ZSTD_compress(frame.data(), frame.size(), inBytes.data(), inBytes.size(), kLevel);
    if (ZSTD_isError(size))
    {
        throw XException(XException::kInvalidArgument,
                         std::string("zstd compression failed: ") + ZSTD_getErrorName(size));
    }
    frame.resize(size);
    return frame;
}

std::vector<std::uint8_t> XZstdCodec::Decompress(std::string_view inFrame, std::uint64_t inMaxBytes)
{
    const unsigned long long size = ZSTD_getFrameContentSize(inFrame.data(), inFrame.size());
    if (size == ZSTD_CONTENTSIZE_ERROR || size == ZSTD_CONTENTSIZE_UNKNOWN)
    {
        throw XException(XException::kMalformedStream,
                         "malformed result: not a zstd frame of known size");
    }
    if (size > inMaxBytes)
    {
        throw XException(XException::kMalformedStream,
                         "malformed result: " + std::to_string(size) +
                             " bytes uncompressed, more than the limit of " +
                             std::to_string(inMaxBytes));
    }
    std::vector<std::uint8_t> bytes(size);
    const std::size_t written =
        ZSTD_decompress(bytes.data(), bytes.size(), inFrame.data(), inFrame.size());
    if (ZSTD_isError(written) || written != size)
    {
        throw XException(XException::kMalformedStream,
                         std::string("malformed result: ") +
                             (ZSTD_isError(written) ? ZSTD_getErrorName(written)
                                                    : "shorter than its header says"));
    }
    return bytes;
}
