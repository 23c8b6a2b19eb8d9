#pragma once

#include "host/core/XStream.h"
#include "x-platform/core/XObjectRecordSize.h"
#include "x-platform/core/XRGBSpectrum.h"
#include "x-platform/geometry/XRayHit.h"
#include "x-platform/shading/XTextureT.h"

#include <cmath>
#include <cstdint>
#include <memory>
#include <utility>

// A checkerboard of two owned textures over the surface parameters: 25 checks along each unit of
// u and of v. The class identifier is the template's second argument.
template <class T, std::uint32_t ID>
class XCheckeredTexture final : public XTextureT<T>
{
public:
    static constexpr std::uint32_t kClassID = ID;

    // Without textures: both checks evaluate to T() until textures are read or given.
    XCheckeredTexture() = default;
    XCheckeredTexture(std::unique_ptr<XTextureT<T>> inFirst, std::unique_ptr<XTextureT<T>> inSecond)
        : itsFirst(std::move(inFirst)), itsSecond(std::move(inSecond))
    {
    }
    // Clones both textures.
    XCheckeredTexture(const XCheckeredTexture& inOther)
        : XTextureT<T>(inOther), itsFirst(CloneTexture(inOther.itsFirst.get())),
          itsSecond(CloneTexture(inOther.itsSecond.get()))
    {
    }
    XCheckeredTexture& operator=(const XCheckeredTexture&) = delete;

    const XTextureT<T>* GetFirst() const { return itsFirst.get(); }
    const XTextureT<T>* GetSecond() const { return itsSecond.get(); }

    // s = sin(u * 3.1415927 * 25), t = sin(v * 3.1415927 * 25) in single precision: the first
    // texture where s and t are both positive or both not positive, else the second. A zero of
    // the sine counts with the non-positive side.
    T Evaluate(const XRayHit& inHit) const override
    {
        const float s = std::sin(inHit.u * 3.1415927f * 25.0f);
        const float t = std::sin(inHit.v * 3.1415927f * 25.0f);
        const bool first = (s > 0.0f && t > 0.0f) || (s <= 0.0f && t <= 0.0f);
        const XTextureT<T>* texture = first ? itsFirst.get() : itsSecond.get();
        return texture != nullptr ? texture->Evaluate(inHit) : T();
    }

    std::uint32_t GetClassID() const override { return kClassID; }
    std::unique_ptr<XStorable> Clone() const override
    {
        return std::make_unique<XCheckeredTexture>(*this);
    }
    std::uint64_t GetStreamSize() const override
    {
        return XTextureBase::GetStreamSize() + 8 + XObjectRecordSize(itsFirst.get()) +
               XObjectRecordSize(itsSecond.get());
    }
    // After the texture record: the class record, then the first and the second texture as
    // objects. An object that is not a texture of T throws XException 1005.
    void Read(XStream& inStream) override
    {
        XTextureBase::Read(inStream);
        inStream.ReadClassVersion(kClassID);
        std::unique_ptr<XTextureT<T>> first = inStream.ReadObjectAs<XTextureT<T>>();
        std::unique_ptr<XTextureT<T>> second = inStream.ReadObjectAs<XTextureT<T>>();
        itsFirst = std::move(first);
        itsSecond = std::move(second);
    }
    void Write(XStream& outStream) const override
    {
        XTextureBase::Write(outStream);
        outStream.WriteVersion(kClassID);
        outStream.WriteObject(itsFirst.get());
        outStream.WriteObject(itsSecond.get());
    }

private:
    static std::unique_ptr<XTextureT<T>> CloneTexture(const XTextureT<T>* inTexture)
    {
        return inTexture != nullptr ? XClone(*inTexture) : nullptr;
    }

    std::unique_ptr<XTextureT<T>> itsFirst;
    std::unique_ptr<XTextureT<T>> itsSecond;
};

// The colour checkerboard, the one instance the renderer registers and stores.
using XRGBCheckeredTexture = XCheckeredTexture<XRGBSpectrum, 14945>;
extern template class XCheckeredTexture<XRGBSpectrum, 14945>;
