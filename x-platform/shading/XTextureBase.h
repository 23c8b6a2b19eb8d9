#pragma once

#include "host/core/XStorable.h"

#include <cstdint>

// The root of all textures. Every texture's stored form opens with the texture record 14942 that
// this base writes, followed by the concrete class's own record and fields.
class XTextureBase : public XStorable
{
public:
    static constexpr std::uint32_t kClassID = 14942;

    std::uint32_t GetClassID() const override { return kClassID; }
    // The texture record.
    std::uint64_t GetStreamSize() const override;
    void Read(XStream& inStream) override;
    void Write(XStream& outStream) const override;

protected:
    XTextureBase() = default;
    XTextureBase(const XTextureBase&) = default;
    XTextureBase& operator=(const XTextureBase&) = default;
};
