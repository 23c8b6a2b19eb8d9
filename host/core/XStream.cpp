#include "host/core/XStream.h"

#include "host/core/XClassRegistry.h"
#include "host/core/XStorable.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstring>

static_assert(std::endian::native == std::endian::little,
              "the stream writes the host's bytes as they are; port the primitives to swap them");

namespace
{
// Object record tags.
constexpr std::uint8_t kNullObject = 0;
constexpr std::uint8_t kObject = 1;
} // namespace

void XStream::Write8(std::uint8_t inValue)
{
    WriteBytes(&inValue, 1);
}

void XStream::Write32(std::uint32_t inValue)
{
    WriteBytes(&inValue, 4);
}

void XStream::Write64(std::uint64_t inValue)
{
    WriteBytes(&inValue, 8);
}

void XStream::WriteFloat32S(float inValue)
{
    WriteBytes(&inValue, 4);
}

void XStream::WriteFloat64(double inValue)
{
    WriteBytes(&inValue, 8);
}

void XStream::WriteBuffer8(const void* inData, std::size_t inSize)
{
    if (inSize > 0)
    {
        WriteBytes(inData, inSize);
    }
}

void XStream::WriteString(std::string_view inText)
{
    if (inText.size() > UINT32_MAX)
    {
        throw XException(XException::kMalformedStream, "string too long for a stream");
    }
    Write32(static_cast<std::uint32_t>(inText.size()));
    WriteBuffer8(inText.data(), inText.size());
}

std::uint8_t XStream::Read8()
{
    std::uint8_t value = 0;
    CheckRemaining(1);
    ReadBytes(&value, 1);
    return value;
}

std::uint32_t XStream::Read32()
{
    std::uint32_t value = 0;
    CheckRemaining(4);
    ReadBytes(&value, 4);
    return value;
}

std::uint64_t XStream::Read64()
{
    std::uint64_t value = 0;
    CheckRemaining(8);
    ReadBytes(&value, 8);
    return value;
}

float XStream::ReadFloat32S()
{
    float value = 0;
    CheckRemaining(4);
    ReadBytes(&value, 4);
    return value;
}

double XStream::ReadFloat64()
{
    double value = 0;
    CheckRemaining(8);
    ReadBytes(&value, 8);
    return value;
}

void XStream::ReadBuffer8(void* outData, std::size_t inSize)
{
    CheckRemaining(inSize);
    if (inSize > 0)
    {
        ReadBytes(outData, inSize);
    }
}

std::string XStream::ReadString(std::uint32_t inMaxLength)
{
    const std::uint64_t position = GetPosition();
    const std::uint32_t length = Read32();
    if (length > inMaxLength)
    {
        ThrowMalformed("string of " + std::to_string(length) + " bytes at byte " +
                       std::to_string(position) + " exceeds the limit of " +
                       std::to_string(inMaxLength));
    }
    CheckRemaining(length);
    std::string text(length, '\0');
    ReadBuffer8(text.data(), length);
    return text;
}

std::uint32_t XStream::ReadCount(std::size_t inMinBytesPerElement)
{
    const std::uint64_t position = GetPosition();
    const std::uint32_t count = Read32();
    const std::uint64_t needed =
        std::uint64_t(count) * std::max<std::size_t>(inMinBytesPerElement, 1);
    if (needed > GetRemaining())
    {
        ThrowMalformed("count " + std::to_string(count) + " at byte " + std::to_string(position) +
                       " needs at least " + std::to_string(needed) + " bytes but only " +
                       std::to_string(GetRemaining()) + " remain");
    }
    return count;
}

void XStream::WriteVersion(std::uint32_t inClassId, std::uint32_t inVersion)
{
    Write32(inClassId);
    Write32(inVersion);
}

XVersion XStream::ReadVersion()
{
    XVersion version;
    version.classId = Read32();
    version.version = Read32();
    return version;
}

std::uint32_t XStream::ReadClassVersion(std::uint32_t inExpectedClassId)
{
    const std::uint64_t position = GetPosition();
    const XVersion version = ReadVersion();
    if (!version.IsA(inExpectedClassId))
    {
        throw XException(XException::kWrongClass,
                         "version record at byte " + std::to_string(position) + " is of class " +
                             std::to_string(version.classId) + ", expected " +
                             std::to_string(inExpectedClassId));
    }
    if (version.version >= kFirstUnknownVersion)
    {
        throw XException(XException::kVersionTooNew,
                         "version record at byte " + std::to_string(position) + " has version " +
                             std::to_string(version.version) + " of class " +
                             std::to_string(inExpectedClassId) + ", newer than this reader");
    }
    return version.version;
}

void XStream::WriteObject(const XStorable* inObject)
{
    if (inObject == nullptr)
    {
        Write8(kNullObject);
        return;
    }
    const std::string name = XClassRegistry::Get().GetName(inObject->GetClassID());
    if (name.empty())
    {
        throw XException(XException::kUnknownClass,
                         "cannot write an object of unregistered class " +
                             std::to_string(inObject->GetClassID()));
    }
    Write8(kObject);
    WriteString(name);
    const std::uint64_t lengthPosition = GetWritePosition();
    Write64(0);
    const std::uint64_t bodyStart = GetWritePosition();
    inObject->Write(*this);
    const std::uint64_t bodyLength = GetWritePosition() - bodyStart;
    PatchBytes(lengthPosition, &bodyLength, sizeof bodyLength);
}

std::unique_ptr<XStorable> XStream::ReadObject()
{
    const std::uint64_t position = GetPosition();
    const std::uint8_t tag = Read8();
    if (tag == kNullObject)
    {
        return nullptr;
    }
    if (tag != kObject)
    {
        ThrowMalformed("object record at byte " + std::to_string(position) + " has tag " +
                       std::to_string(tag));
    }
    if (itsObjectEnds.size() >= kMaxObjectNesting)
    {
        throw XException(XException::kNestingTooDeep,
                         "objects nested more than " + std::to_string(kMaxObjectNesting) +
                             " deep at byte " + std::to_string(position));
    }
    const std::string name = ReadString(kMaxClassNameLength);
    const std::uint64_t bodyLength = Read64();
    CheckRemaining(bodyLength);
    std::unique_ptr<XStorable> object = XClassRegistry::Get().CreateByName(name);
    if (!object)
    {
        throw XException(XException::kUnknownClass, "object at byte " + std::to_string(position) +
                                                        " is of unknown class '" + name + "'");
    }
    const std::uint64_t bodyEnd = GetPosition() + bodyLength;
    itsObjectEnds.push_back(bodyEnd);
    try
    {
        object->Read(*this);
    }
    catch (...)
    {
        itsObjectEnds.pop_back();
        throw;
    }
    itsObjectEnds.pop_back();
    if (GetPosition() != bodyEnd)
    {
        ThrowMalformed("object of class " + name + " at byte " + std::to_string(position) +
                       " read " + std::to_string(GetPosition() - (bodyEnd - bodyLength)) +
                       " of its " + std::to_string(bodyLength) + " bytes");
    }
    return object;
}

std::uint64_t XStream::GetRemaining() const
{
    const std::uint64_t end = itsObjectEnds.empty()
                                  ? GetReadableSize()
                                  : std::min(itsObjectEnds.back(), GetReadableSize());
    const std::uint64_t position = GetPosition();
    return end > position ? end - position : 0;
}

void XStream::CheckRemaining(std::uint64_t inSize) const
{
    if (inSize > GetRemaining())
    {
        throw XException(XException::kTruncatedStream,
                         "stream ends early: " + std::to_string(inSize) + " bytes needed at byte " +
                             std::to_string(GetPosition()) + ", " + std::to_string(GetRemaining()) +
                             (itsObjectEnds.empty() ? " remain" : " remain in the object"));
    }
}

void XStream::ThrowMalformed(const std::string& inWhat) const
{
    throw XException(XException::kMalformedStream, "malformed stream: " + inWhat);
}

void XStream::ThrowWrongKind(const XStorable& inObject) const
{
    throw XException(XException::kWrongClass,
                     "object of class " + XClassRegistry::Get().GetName(inObject.GetClassID()) +
                         " before byte " + std::to_string(GetPosition()) +
                         " is not of the kind expected here");
}

// Memory stream.

void XMemoryStream::WriteBytes(const void* inData, std::size_t inSize)
{
    const auto* bytes = static_cast<const std::uint8_t*>(inData);
    itsBytes.insert(itsBytes.end(), bytes, bytes + inSize);
}

void XMemoryStream::ReadBytes(void* outData, std::size_t inSize)
{
    std::memcpy(outData, itsBytes.data() + itsReadPosition, inSize);
    itsReadPosition += inSize;
}

void XMemoryStream::PatchBytes(std::uint64_t inPosition, const void* inData, std::size_t inSize)
{
    std::memcpy(itsBytes.data() + inPosition, inData, inSize);
}

// File stream.

XFileStream::XFileStream(const std::string& inPath, XMode inMode) : itsPath(inPath), itsMode(inMode)
{
    itsFile = std::fopen(inPath.c_str(), inMode == XMode::kRead ? "rb" : "wb");
    if (itsFile == nullptr)
    {
        ThrowIOError(inMode == XMode::kRead ? "cannot open for reading" : "cannot create");
    }
    if (inMode == XMode::kRead)
    {
        const bool seekable = std::fseek(itsFile, 0, SEEK_END) == 0;
        const long size = seekable ? std::ftell(itsFile) : -1;
        if (size < 0 || std::fseek(itsFile, 0, SEEK_SET) != 0)
        {
            std::fclose(itsFile);
            itsFile = nullptr;
            ThrowIOError("cannot determine the file's size");
        }
        itsSize = static_cast<std::uint64_t>(size);
    }
}

XFileStream::~XFileStream()
{
    if (itsFile != nullptr)
    {
        std::fclose(itsFile);
    }
}

void XFileStream::Close()
{
    if (itsFile == nullptr)
    {
        return;
    }
    const bool failed = std::fflush(itsFile) != 0;
    const int error = errno;
    const bool closeFailed = std::fclose(itsFile) != 0;
    itsFile = nullptr;
    if (failed || closeFailed)
    {
        errno = failed ? error : errno;
        ThrowIOError("cannot write");
    }
}

void XFileStream::WriteBytes(const void* inData, std::size_t inSize)
{
    if (itsMode != XMode::kWrite || itsFile == nullptr)
    {
        ThrowIOError("not open for writing");
    }
    if (std::fwrite(inData, 1, inSize, itsFile) != inSize)
    {
        ThrowIOError("cannot write");
    }
    itsPosition += inSize;
}

void XFileStream::ReadBytes(void* outData, std::size_t inSize)
{
    if (itsMode != XMode::kRead || itsFile == nullptr)
    {
        ThrowIOError("not open for reading");
    }
    if (std::fread(outData, 1, inSize, itsFile) != inSize)
    {
        ThrowIOError("cannot read");
    }
    itsPosition += inSize;
}

void XFileStream::PatchBytes(std::uint64_t inPosition, const void* inData, std::size_t inSize)
{
    const long end = static_cast<long>(itsPosition);
    if (std::fseek(itsFile, static_cast<long>(inPosition), SEEK_SET) != 0 ||
        std::fwrite(inData, 1, inSize, itsFile) != inSize ||
        std::fseek(itsFile, end, SEEK_SET) != 0)
    {
        ThrowIOError("cannot write");
    }
}

void XFileStream::ThrowIOError(const std::string& inWhat) const
{
    const int error = errno;
    std::string message = itsPath + ": " + inWhat;
    if (error != 0)
    {
        message += " (" + std::string(std::strerror(error)) + ")";
    }
    throw XException(XException::kIOError, message);
}
