#pragma once

#include "x-platform/core/XRGBSpectrum.h"
#include "x-platform/shading/XSolidTexture.h"

// A constant colour.
class XRGBSolidTexture final : public XSolidTexture<XRGBSpectrum>
{
public:
    static constexpr std::uint32_t kClassID = 14944;

    // Black.
    XRGBSolidTexture() = default;
    explicit XRGBSolidTexture(const XRGBSpectrum& inColour) : XSolidTexture(inColour) {}

    std::uint32_t GetClassID() const override { return kClassID; }
    std::unique_ptr<XStorable> Clone() const override;
    std::uint64_t GetStreamSize() const override;
    // After the texture record: 14944, red, green, blue (float32).
    void Read(XStream& inStream) override;
    void Write(XStream& outStream) const override;
};
