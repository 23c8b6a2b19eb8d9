#pragma once

#include "x-platform/image/XImageSampleFilter.h"

// Weight 1 at every offset: the extent is deliberately not tested.
class XBoxFilter final : public XImageSampleFilter
{
public:
    static constexpr std::uint32_t kClassID = 14905;

    // 16 x 16, the renderer's default extent.
    XBoxFilter() : XBoxFilter(16.0f, 16.0f) {}
    XBoxFilter(float inXWidth, float inYWidth) : XImageSampleFilter(inXWidth, inYWidth) {}

    float Evaluate(float inX, float inY) const override;

    std::uint32_t GetClassID() const override { return kClassID; }
    std::unique_ptr<XStorable> Clone() const override;
    // After the base record: kClassID.
    void Read(XStream& inStream) override;
    void Write(XStream& outStream) const override;
};
