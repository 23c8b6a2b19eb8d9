#pragma once

#include "x-platform/shading/XSolidTexture.h"

// A constant scalar.
class XScalarSolidTexture final : public XSolidTexture<float>
{
public:
    static constexpr std::uint32_t kClassID = 14943;

    // Zero.
    XScalarSolidTexture() = default;
    explicit XScalarSolidTexture(float inValue) : XSolidTexture(inValue) {}

    std::uint32_t GetClassID() const override { return kClassID; }
    std::unique_ptr<XStorable> Clone() const override;
    std::uint64_t GetStreamSize() const override;
    // After the texture record: 14943, the value (float32).
    void Read(XStream& inStream) override;
    void Write(XStream& outStream) const override;
};
