#pragma once

#include "host/core/XStorable.h"

#include <cstdint>
#include <memory>

// The weight with which a sample contributes to a pixel at a given offset from it. The film
// tabulates its filter once and carries, clones, transports and compares it.
class XImageSampleFilter : public XStorable
{
public:
    static constexpr std::uint32_t kClassID = 14904;
    // Widths are limited so that the film's table (xWidth x yWidth floats) stays small.
    static constexpr float kMaxWidth = 256.0f;

    // The weight at offset (inX, inY) pixels from the sample.
    virtual float Evaluate(float inX, float inY) const = 0;

    // Extents along each axis in pixels, and their inverses, which are kept in step.
    float GetXWidth() const { return itsXWidth; }
    float GetYWidth() const { return itsYWidth; }
    float GetInvXWidth() const { return itsInvXWidth; }
    float GetInvYWidth() const { return itsInvYWidth; }

    // A new filter of the same class with these widths; the inverses are recomputed from them.
    std::unique_ptr<XStorable> Clone() const override = 0;
    // The bytes of the two widths, for every filter class.
    std::uint64_t GetStreamSize() const override { return 8; }
    // The base record: kClassID, xWidth, yWidth. Reading recomputes the inverses and throws
    // XException for widths that are not finite, not positive or above kMaxWidth.
    void Read(XStream& inStream) override;
    void Write(XStream& outStream) const override;

protected:
    // Throws XException for widths that are not finite, not positive or above kMaxWidth.
    XImageSampleFilter(float inXWidth, float inYWidth);
    XImageSampleFilter(const XImageSampleFilter&) = default;
    XImageSampleFilter& operator=(const XImageSampleFilter&) = default;

    float itsXWidth;
    float itsYWidth;
    float itsInvXWidth;
    float itsInvYWidth;
};
