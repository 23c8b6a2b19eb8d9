#pragma once

#include "host/core/XStorable.h"

#include <cstdint>

// What a job of a job queue hands back to the machine that submitted it. Derived classes write
// this base part first: the version record of the base (class id 1202), no fields of its own.
class XNetJobResult : public XStorable
{
public:
    static constexpr std::uint32_t kBaseClassID = 1202;

    ~XNetJobResult() override = default;

    std::uint64_t GetStreamSize() const override;
    void Read(XStream& inStream) override;
    void Write(XStream& outStream) const override;

protected:
    XNetJobResult() = default;
    XNetJobResult(const XNetJobResult&) = default;
    XNetJobResult& operator=(const XNetJobResult&) = default;
};
