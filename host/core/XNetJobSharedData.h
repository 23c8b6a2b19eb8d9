#pragma once

#include "host/core/XStorable.h"

#include <cstdint>

// Data that many jobs of a job queue need (a frame's scene, say): attached to the queue once and
// handed to every job that registered its id, wherever the job runs. Derived classes write this
// base part first: the version record of the base (class id 1203), no fields of its own.
class XNetJobSharedData : public XStorable
{
public:
    static constexpr std::uint32_t kBaseClassID = 1203;

    ~XNetJobSharedData() override = default;

    std::uint64_t GetStreamSize() const override;
    void Read(XStream& inStream) override;
    void Write(XStream& outStream) const override;

protected:
    XNetJobSharedData() = default;
    XNetJobSharedData(const XNetJobSharedData&) = default;
    XNetJobSharedData& operator=(const XNetJobSharedData&) = default;
};
