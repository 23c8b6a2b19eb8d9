#include "x-platform/image/XStratifiedImageSampler.h"

#include "host/core/XException.h"
#include "x-platform/image/XSamplerRandomSource.h"

#include <string>
#include <utility>

XStratifiedImageSampler::XStratifiedImageSampler(const XRect& inPixelRect, std::uint32_t inXSamples,
                                                 std::uint32_t inYSamples, bool inJitter,
                                                 std::int32_t inColumnOffset,
                                                 std::uint32_t inColumnStep)
    : itsPixelRect(inPixelRect), itsSamplesPerPixel(inXSamples * inYSamples),
      itsXSamples(inXSamples), itsYSamples(inYSamples), itsJitter(inJitter),
      itsPixelX(inPixelRect.left + inColumnOffset), itsPixelY(inPixelRect.top),
      itsColumnStep(inColumnStep), itsColumnOffset(inColumnOffset)
{
    if (inXSamples == 0 || inYSamples == 0 || inColumnStep == 0)
    {
        throw XException(XException::kInvalidArgument,
                         "stratified sampler needs at least one sample per axis and a column step "
                         "of at least 1 (got " +
                             std::to_string(inXSamples) + " x " + std::to_string(inYSamples) +
                             " samples, step " + std::to_string(inColumnStep) + ")");
    }
    if (inXSamples > 4096 || inYSamples > 4096)
    {
        throw XException(XException::kInvalidArgument,
                         "stratified sampler: at most 4096 samples per pixel side (got " +
                             std::to_string(inXSamples) + " x " + std::to_string(inYSamples) + ")");
    }
    itsImageSamples.assign(2 * static_cast<std::size_t>(itsSamplesPerPixel), 0.0f);
    itsSamples1D.assign(itsSamplesPerPixel, 0.0f);
    RegeneratePixel();
}

bool XStratifiedImageSampler::GetNextSample(ImageSample& outSample)
{
    if (itsSampleIndex == itsXSamples * itsYSamples)
    {
        // In 64 bits so that a column step beyond the int32 range simply ends the row.
        const std::int64_t nextX = std::int64_t(itsPixelX) + itsColumnStep;
        if (nextX >= itsPixelRect.right)
        {
            itsPixelX = itsColumnOffset + itsPixelRect.left;
            itsPixelY += 1;
        }
        else
        {
            itsPixelX = static_cast<std::int32_t>(nextX);
        }
        if (itsPixelY == itsPixelRect.bottom)
        {
            return false;
        }
        RegeneratePixel();
    }
    outSample.imageX = itsImageSamples[2 * itsSampleIndex];
    outSample.imageY = itsImageSamples[2 * itsSampleIndex + 1];
    outSample.value1D = itsSamples1D[itsSampleIndex];
    ++itsSampleIndex;
    return true;
}

void XStratifiedImageSampler::Shuffle(float* ioSamples, std::uint32_t inCount,
                                      std::uint32_t inDimensions)
{
    for (std::uint32_t i = 0; i < inCount; ++i)
    {
        const std::uint32_t j = XSamplerRandomSource::NextShuffleIndex(inCount);
        for (std::uint32_t d = 0; d < inDimensions; ++d)
        {
            std::swap(ioSamples[i * inDimensions + d], ioSamples[j * inDimensions + d]);
        }
    }
}

void XStratifiedImageSampler::RegeneratePixel()
{
    // Stratified 2D positions inside the pixel, rows of strata outer, jx drawn before jy.
    const float dx = 1.0f / static_cast<float>(itsXSamples);
    const float dy = 1.0f / static_cast<float>(itsYSamples);
    std::size_t next = 0;
    for (std::uint32_t y = 0; y < itsYSamples; ++y)
    {
        for (std::uint32_t x = 0; x < itsXSamples; ++x)
        {
            const float jx = itsJitter ? XSamplerRandomSource::NextJitter() : 0.5f;
            const float jy = itsJitter ? XSamplerRandomSource::NextJitter() : 0.5f;
            itsImageSamples[next++] = (static_cast<float>(x) + jx) * dx;
            itsImageSamples[next++] = (static_cast<float>(y) + jy) * dy;
        }
    }

    const float d = 1.0f / static_cast<float>(itsSamplesPerPixel);
    for (std::uint32_t i = 0; i < itsSamplesPerPixel; ++i)
    {
        const float offset = itsJitter ? XSamplerRandomSource::NextJitter() : 0.5f;
        itsSamples1D[i] = (static_cast<float>(i) + offset) * d;
    }

    const float pixelX = static_cast<float>(itsPixelX);
    const float pixelY = static_cast<float>(itsPixelY);
    for (std::size_t i = 0; i < itsImageSamples.size(); i += 2)
    {
        itsImageSamples[i] += pixelX;
        itsImageSamples[i + 1] += pixelY;
    }

    // Only the pairing with the 1D values is randomised; the image samples stay in stratum order.
    Shuffle(itsSamples1D.data(), itsSamplesPerPixel, 1);
    itsSampleIndex = 0;
}
