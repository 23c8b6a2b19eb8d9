#include "x-platform/image/XHighDynamicRangeImage.h"

#include "host/core/XException.h"
#include "host/imaging/XARGB32Volume.h"
#include "host/imaging/XVolumeHistogram.h"

#include <cmath>
#include <vector>

namespace
{
// min(c, 1) written as 1 > c so that NaN becomes 1; the film never produces negatives, and they
// map to 0 rather than to a wrapped byte.
std::uint8_t ToByte(float inChannel)
{
    float clamped = 1.0f > inChannel ? inChannel : 1.0f;
    clamped = clamped > 0.0f ? clamped : 0.0f;
    return static_cast<std::uint8_t>(static_cast<std::int32_t>(clamped * 255.0));
}

void ConvertPixel(const XHighDynamicRangeImage::XARGBFloatPixel& inPixel, XARGB32Colour& outColour)
{
    outColour.r = ToByte(inPixel.r);
    outColour.g = ToByte(inPixel.g);
    outColour.b = ToByte(inPixel.b);
}

} // namespace

XHighDynamicRangeImage::XHighDynamicRangeImage(std::uint32_t inWidth, std::uint32_t inHeight)
    : itsPixels(std::make_unique<XPixelBuffer>(XPixelBuffer::Coordinates{0, 0},
                                               XPixelBuffer::Extents{inWidth, inHeight}))
{
}

std::unique_ptr<XARGB32Volume> XHighDynamicRangeImage::ConvertToARGB32() const
{
    // Locking does not change the image's value.
    const XLock imageLock(const_cast<XHighDynamicRangeImage&>(*this), XLockMode::kRead);
    const std::uint32_t width = GetWidth();
    const std::uint32_t height = GetHeight();
    auto volume = std::make_unique<XARGB32Volume>(
        X3DRect(0, 0, 0, static_cast<std::int32_t>(width), static_cast<std::int32_t>(height), 1));
    const XLock volumeLock(*volume, XLockMode::kWrite);
    const XARGBFloatPixel* source = itsPixels->GetData();
    XARGB32Colour* destination = volume->GetBaseAddress();
    const std::size_t count = static_cast<std::size_t>(width) * height;
    for (std::size_t i = 0; i < count; ++i)
    {
        ConvertPixel(source[i], destination[i]);
    }
    return volume;
}

std::unique_ptr<XARGB32Volume>
XHighDynamicRangeImage::ConvertColumnsToARGB32(std::uint32_t inFirstColumn,
                                               std::uint32_t inColumnStep) const
{
    if (inColumnStep == 0)
    {
        throw XException(XException::kInvalidArgument,
                         "column conversion of an image needs a column step of at least 1");
    }
    // Locking does not change the image's value.
    const XLock imageLock(const_cast<XHighDynamicRangeImage&>(*this), XLockMode::kRead);
    const std::uint32_t width = GetWidth();
    const std::uint32_t height = GetHeight();
    const std::uint32_t columns = width / inColumnStep;
    auto volume = std::make_unique<XARGB32Volume>(
        X3DRect(0, 0, 0, static_cast<std::int32_t>(columns), static_cast<std::int32_t>(height), 1));
    const XLock volumeLock(*volume, XLockMode::kWrite);
    for (std::uint32_t y = 0; y < height; ++y)
    {
        for (std::uint32_t k = 0; k < columns; ++k)
        {
            const std::uint64_t sourceColumn = inFirstColumn + std::uint64_t(k) * inColumnStep;
            if (sourceColumn < width)
            {
                ConvertPixel(
                    At(static_cast<std::uint32_t>(sourceColumn), y),
                    volume->At(static_cast<std::int32_t>(k), static_cast<std::int32_t>(y), 0));
            }
        }
    }
    return volume;
}

std::unique_ptr<XVolumeHistogram> XHighDynamicRangeImage::BuildLuminanceHistogram() const
{
    // Locking does not change the image's value.
    const XLock imageLock(const_cast<XHighDynamicRangeImage&>(*this), XLockMode::kRead);
    const std::size_t count = static_cast<std::size_t>(GetWidth()) * GetHeight();
    const XARGBFloatPixel* pixels = itsPixels->GetData();
    std::vector<float> luminances(count);
    float maximum = 0.0f;
    for (std::size_t i = 0; i < count; ++i)
    {
        const float luminance =
            0.212671f * pixels[i].r + 0.71516f * pixels[i].g + 0.072169f * pixels[i].b;
        luminances[i] = luminance;
        // The histogram's range must be finite; an infinite pixel lands in the last bucket.
        if (std::isfinite(luminance) && luminance > maximum)
        {
            maximum = luminance;
        }
    }
    if (!(maximum > 0.0f))
    {
        return nullptr;
    }
    auto histogram = std::make_unique<XVolumeHistogram>(0.0, maximum, 512);
    for (const float luminance : luminances)
    {
        if (luminance > 0.0f)
        {
            histogram->Increment(histogram->ValueToBucketIndex(luminance));
        }
    }
    return histogram;
}
