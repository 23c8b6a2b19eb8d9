#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

// The error that bad input raises: a numeric code that callers and tests can test, and a text
// that tells a person what went wrong and where.
class XException : public std::runtime_error
{
public:
    // Codes shared with other implementations of the stream formats.
    static constexpr std::int32_t kWrongClass = 1005;      // a record of another class
    static constexpr std::int32_t kVersionTooNew = 1015;   // a version of 65536 or more
    static constexpr std::int32_t kWrongSampleKind = 2210; // a sample of the wrong kind

    // Codes of our own (documented in docs/stream-format.md).
    static constexpr std::int32_t kTruncatedStream = 3001; // fewer bytes than a read needs
    static constexpr std::int32_t kMalformedStream = 3002; // a count, length or tag out of range
    static constexpr std::int32_t kUnknownClass = 3003;    // an object of an unregistered class
    static constexpr std::int32_t kNestingTooDeep = 3004;  // objects nested beyond the limit
    static constexpr std::int32_t kIOError = 3005;         // a file could not be read or written
    static constexpr std::int32_t kInvalidArgument = 3006; // a value out of its range

    XException(std::int32_t inCode, const std::string& inMessage)
        : std::runtime_error(inMessage), itsCode(inCode)
    {
    }

    std::int32_t GetCode() const noexcept { return itsCode; }

private:
    std::int32_t itsCode;
};
