#pragma once

#include <cstdint>

// One position on the image plane at which a ray is traced.
struct ImageSample
{
    float imageX = 0;  // pixel column plus the position inside the pixel, in [0, 1)
    float imageY = 0;  // pixel row plus the position inside the pixel, in [0, 1)
    float value1D = 0; // a paired one-dimensional stratified value in [0, 1)
};

// Hands out, one at a time, the image positions to trace for one rectangle of pixels.
class XImageSampler
{
public:
    virtual ~XImageSampler() = default;

    // Fills outSample with the next position; false once the rectangle is exhausted, and the
    // caller must then stop asking.
    virtual bool GetNextSample(ImageSample& outSample) = 0;
    // The number of samples a caller should take given the number it asked for; unchanged here.
    virtual std::uint32_t AdjustSampleCount(std::uint32_t inCount) const { return inCount; }

protected:
    XImageSampler() = default;
    XImageSampler(const XImageSampler&) = default;
    XImageSampler& operator=(const XImageSampler&) = default;
};
