#pragma once

#include "host/core/XException.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

class XStorable;

// A version record: the class it belongs to and the version of that class's stored form.
struct XVersion
{
    std::uint32_t classId = 0;
    std::uint32_t version = 0;

    bool IsA(std::uint32_t inClassId) const { return classId == inClassId; }
};

// Binary, little-endian stream of primitives, version records and storable objects (the byte
// layout is in docs/stream-format.md). Reading is safe against hostile bytes: every read, count
// and length is checked against what remains, object nesting is bounded, and every failure is
// an XException.
class XStream
{
public:
    static constexpr std::uint32_t kCurrentVersion = 1; // written in every version record
    static constexpr std::uint32_t kFirstUnknownVersion = 65536;
    static constexpr int kMaxObjectNesting = 64;
    static constexpr std::uint32_t kMaxClassNameLength = 256;

    virtual ~XStream() = default;

    void Write8(std::uint8_t inValue);
    void Write32(std::uint32_t inValue);
    void Write64(std::uint64_t inValue);
    void WriteFloat32S(float inValue);
    void WriteFloat64(double inValue);
    void WriteBuffer8(const void* inData, std::size_t inSize);
    void WriteString(std::string_view inText); // uint32 length, then the bytes

    std::uint8_t Read8();
    std::uint32_t Read32();
    std::uint64_t Read64();
    float ReadFloat32S();
    double ReadFloat64();
    void ReadBuffer8(void* outData, std::size_t inSize);
    std::string ReadString(std::uint32_t inMaxLength);

    // Reads a uint32 element count and checks that the remaining bytes can hold that many
    // elements of at least inMinBytesPerElement each, so that callers may allocate for it.
    std::uint32_t ReadCount(std::size_t inMinBytesPerElement);

    void WriteVersion(std::uint32_t inClassId, std::uint32_t inVersion = kCurrentVersion);
    XVersion ReadVersion();
    // Reads a version record and checks it: another class throws 1005, a version of 65536 or
    // more throws 1015. Returns the version.
    std::uint32_t ReadClassVersion(std::uint32_t inExpectedClassId);

    // Writes an object with its registered class name, or a null.
    void WriteObject(const XStorable* inObject);
    // Reads an object of any registered class, or null.
    std::unique_ptr<XStorable> ReadObject();
    // Reads an object that must be a T (or null); another kind throws 1005.
    template <class T>
    std::unique_ptr<T> ReadObjectAs();

    // Bytes that reads may still consume: to the end of the stream, or of the object being read.
    std::uint64_t GetRemaining() const;
    // Throws a truncation error unless inSize more bytes can be read.
    void CheckRemaining(std::uint64_t inSize) const;

    // Where the next byte is read or written; used in error messages.
    virtual std::uint64_t GetPosition() const = 0;

protected:
    virtual void WriteBytes(const void* inData, std::size_t inSize) = 0;
    virtual void ReadBytes(void* outData, std::size_t inSize) = 0;
    virtual std::uint64_t GetWritePosition() const = 0;
    virtual std::uint64_t GetReadableSize() const = 0;
    // Overwrites bytes already written (the length of an object record, once it is known).
    virtual void PatchBytes(std::uint64_t inPosition, const void* inData, std::size_t inSize) = 0;

    [[noreturn]] void ThrowMalformed(const std::string& inWhat) const;
    [[noreturn]] void ThrowWrongKind(const XStorable& inObject) const;

private:
    std::vector<std::uint64_t> itsObjectEnds; // end position of each object being read
};

// A stream over bytes in memory.
class XMemoryStream : public XStream
{
public:
    XMemoryStream() = default;
    explicit XMemoryStream(std::vector<std::uint8_t> inBytes) : itsBytes(std::move(inBytes)) {}

    const std::vector<std::uint8_t>& GetBytes() const { return itsBytes; }
    std::vector<std::uint8_t> TakeBytes() { return std::move(itsBytes); }
    std::uint64_t GetPosition() const override { return itsReadPosition; }

protected:
    void WriteBytes(const void* inData, std::size_t inSize) override;
    void ReadBytes(void* outData, std::size_t inSize) override;
    std::uint64_t GetWritePosition() const override { return itsBytes.size(); }
    std::uint64_t GetReadableSize() const override { return itsBytes.size(); }
    void PatchBytes(std::uint64_t inPosition, const void* inData, std::size_t inSize) override;

private:
    std::vector<std::uint8_t> itsBytes;
    std::uint64_t itsReadPosition = 0;
};

// A stream over a file, opened for reading or for writing. Errors name the file.
class XFileStream : public XStream
{
public:
    enum class XMode
    {
        kRead,
        kWrite
    };

    XFileStream(const std::string& inPath, XMode inMode);
    ~XFileStream() override;
    XFileStream(const XFileStream&) = delete;
    XFileStream& operator=(const XFileStream&) = delete;

    // Flushes and closes a written file; throws if the data did not reach the disk.
    void Close();
    std::uint64_t GetPosition() const override { return itsPosition; }

protected:
    void WriteBytes(const void* inData, std::size_t inSize) override;
    void ReadBytes(void* outData, std::size_t inSize) override;
    std::uint64_t GetWritePosition() const override { return itsPosition; }
    std::uint64_t GetReadableSize() const override { return itsSize; }
    void PatchBytes(std::uint64_t inPosition, const void* inData, std::size_t inSize) override;

private:
    [[noreturn]] void ThrowIOError(const std::string& inWhat) const;

    std::string itsPath;
    XMode itsMode;
    std::FILE* itsFile = nullptr;
    std::uint64_t itsPosition = 0;
    std::uint64_t itsSize = 0;
};

template <class T>
std::unique_ptr<T> XStream::ReadObjectAs()
{
    std::unique_ptr<XStorable> object = ReadObject();
    if (!object)
    {
        return nullptr;
    }
    T* typed = dynamic_cast<T*>(object.get());
    if (typed == nullptr)
    {
        ThrowWrongKind(*object);
    }
    object.release();
    return std::unique_ptr<T>(typed);
}
