#pragma once

#include "host/imaging/XRect.h"
#include "x-platform/image/XImageSampler.h"

#include <cstdint>
#include <vector>

// Divides each pixel into xSamples x ySamples strata with one sample each, at the stratum's
// centre or jittered inside it, and pairs every sample with a shuffled one-dimensional stratified
// value. Pixels are visited row by row; within a row from left + columnOffset in steps of
// columnStep, so that several workers can share one rectangle by interleaving columns.
class XStratifiedImageSampler final : public XImageSampler
{
public:
    // Throws XException when either sample count or the column step is 0. Allocates the sample
    // arrays once and generates the first pixel's samples.
    XStratifiedImageSampler(const XRect& inPixelRect, std::uint32_t inXSamples,
                            std::uint32_t inYSamples, bool inJitter, std::int32_t inColumnOffset,
                            std::uint32_t inColumnStep);

    // Allocates nothing. The end test (pixelY == bottom) runs only when a pixel is used up, so
    // a rectangle whose top equals its bottom still yields its first pixel.
    bool GetNextSample(ImageSample& outSample) override;

    // Swaps each of inCount samples of inDimensions floats with one chosen by rand() % inCount.
    static void Shuffle(float* ioSamples, std::uint32_t inCount, std::uint32_t inDimensions);

private:
    void RegeneratePixel();

    XRect itsPixelRect;
    std::uint32_t itsSamplesPerPixel;
    std::uint32_t itsXSamples;
    std::uint32_t itsYSamples;
    bool itsJitter;
    std::uint32_t itsSampleIndex = 0;
    std::int32_t itsPixelX;
    std::int32_t itsPixelY;
    std::vector<float> itsImageSamples; // x, y pairs in stratum order, in image coordinates
    std::vector<float> itsSamples1D;
    std::uint32_t itsColumnStep;
    std::int32_t itsColumnOffset;
};
