#pragma once

// Small helpers for stream tests: the bytes an object writes, and reading a record that was
// tampered with and expecting the exception code.

#include "host/core/XException.h"
#include "host/core/XStorable.h"
#include "host/core/XStream.h"

#include <cstdint>
#include <cstring>
#include <functional>
#include <vector>

inline std::vector<std::uint8_t> XWrittenBytes(const XStorable& inObject)
{
    XMemoryStream stream;
    inObject.Write(stream);
    return stream.TakeBytes();
}

inline void XPutWord(std::vector<std::uint8_t>& ioBytes, std::size_t inOffset,
                     std::uint32_t inValue)
{
    std::memcpy(ioBytes.data() + inOffset, &inValue, 4);
}

// The code of the XException that inAction throws, or 0 when none is thrown.
inline std::int32_t XErrorCodeOf(const std::function<void()>& inAction)
{
    try
    {
        inAction();
    }
    catch (const XException& error)
    {
        return error.GetCode();
    }
    return 0;
}

// The code of the XException that reading inBytes into inTarget throws, or 0 when none is thrown.
inline std::int32_t XReadErrorCode(const std::vector<std::uint8_t>& inBytes, XStorable& inTarget)
{
    XMemoryStream stream(inBytes);
    return XErrorCodeOf([&] { inTarget.Read(stream); });
}
