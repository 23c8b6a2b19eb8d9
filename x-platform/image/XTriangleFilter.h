#pragma once

#include "x-platform/image/XImageSampleFilter.h"

// The product of two unnormalised tents: max(0, xWidth - |x|) * max(0, yWidth - |y|).
class XTriangleFilter final : public XImageSampleFilter
{
public:
    static constexpr std::uint32_t kClassID = 14906;

    // 16 x 16, the renderer's default extent.
    XTriangleFilter() : XTriangleFilter(16.0f, 16.0f) {}
    XTriangleFilter(float inXWidth, float inYWidth) : XImageSampleFilter(inXWidth, inYWidth) {}

    float Evaluate(float inX, float inY) const override;

    std::uint32_t GetClassID() const override { return kClassID; }
    std::unique_ptr<XStorable> Clone() const override;
    // After the base record: kClassID.
    void Read(XStream& inStream) override;
    void Write(XStream& outStream) const override;
};
