#pragma once

#include "x-platform/image/XImageSampleFilter.h"

// A plain radial exponential, exp(-alpha * (x^2 + y^2)): nothing is subtracted at the edge and
// nothing is normalised.
class XGaussianFilter final : public XImageSampleFilter
{
public:
    static constexpr std::uint32_t kClassID = 14907;
    static constexpr float kDefaultWidth = 16.0f;
    static constexpr float kDefaultAlpha = 1.5625f;

    // The renderer's default filter: 16 x 16 with alpha 1.5625.
    XGaussianFilter() : XGaussianFilter(kDefaultWidth, kDefaultWidth, kDefaultAlpha) {}
    // Throws XException for a non-finite alpha, and for widths as the base does.
    XGaussianFilter(float inXWidth, float inYWidth, float inAlpha);

    float Evaluate(float inX, float inY) const override;
    // The fall-off rate.
    float GetAlpha() const { return itsAlpha; }

    std::uint32_t GetClassID() const override { return kClassID; }
    std::unique_ptr<XStorable> Clone() const override;
    // After the base record: kClassID, alpha (float32).
    void Read(XStream& inStream) override;
    void Write(XStream& outStream) const override;

private:
    float itsAlpha;
};
