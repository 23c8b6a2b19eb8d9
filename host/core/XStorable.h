#pragma once

#include <cstdint>
#include <memory>

class XStream;

// An object that can be written to a stream with its class and re-created from it, on this
// machine or another. Write and Read handle the same fields in the same order, base class first.
class XStorable
{
public:
    virtual ~XStorable() = default;

    // The class identifier, which the class also writes as its version record.
    virtual std::uint32_t GetClassID() const = 0;
    // A deep copy of the same class.
    virtual std::unique_ptr<XStorable> Clone() const = 0;
    // An estimate of the bytes that Write produces, used to size buffers.
    virtual std::uint64_t GetStreamSize() const = 0;
    virtual void Read(XStream& inStream) = 0;
    virtual void Write(XStream& outStream) const = 0;

protected:
    XStorable() = default;
    XStorable(const XStorable&) = default;
    XStorable& operator=(const XStorable&) = default;
};

// Clone with the static type kept: XClone(film) is a std::unique_ptr<XFilm>.
template <class T>
std::unique_ptr<T> XClone(const T& inObject)
{
    return std::unique_ptr<T>(static_cast<T*>(inObject.Clone().release()));
}
