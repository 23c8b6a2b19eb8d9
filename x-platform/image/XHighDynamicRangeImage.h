#pragma once

#include "host/core/XLockable.h"
#include "host/imaging/XHyperBuffer.h"

#include <cstdint>
#include <memory>

class XARGB32Volume;
class XVolumeHistogram;

// The floating-point image that a film converts into: one ARGB pixel of four floats per
// position, rows top to bottom in the film's raster order (row 0 is the bottom of the view).
class XHighDynamicRangeImage final : public XLockable
{
public:
    struct XARGBFloatPixel
    {
        float a = 0;
        float r = 0;
        float g = 0;
        float b = 0;
    };
    using XPixelBuffer = XHyperBuffer<2, XARGBFloatPixel>;

    // A buffer of inWidth x inHeight pixels with origin (0, 0), row-major.
    XHighDynamicRangeImage(std::uint32_t inWidth, std::uint32_t inHeight);

    std::uint32_t GetWidth() const { return itsPixels->GetExtents()[0]; }
    std::uint32_t GetHeight() const { return itsPixels->GetExtents()[1]; }

    // The pixel at column inX, row inY (not checked). Writers hold the image's write lock.
    XARGBFloatPixel& At(std::uint32_t inX, std::uint32_t inY)
    {
        return itsPixels->GetData()[static_cast<std::size_t>(inY) * GetWidth() + inX];
    }
    const XARGBFloatPixel& At(std::uint32_t inX, std::uint32_t inY) const
    {
        return itsPixels->GetData()[static_cast<std::size_t>(inY) * GetWidth() + inX];
    }

    // The whole image as 8-bit colour, one slice deep: red, green and blue are min(c, 1) * 255
    // truncated (NaN counts as 1, negatives as 0); alpha stays at the new volume's 0.
    std::unique_ptr<XARGB32Volume> ConvertToARGB32() const;
    // Columns inFirstColumn, inFirstColumn + inColumnStep, ... of every row: the result is
    // width / inColumnStep wide. Output columns whose source lies beyond the row stay at the new
    // volume's zero. Throws XException for a step of 0.
    std::unique_ptr<XARGB32Volume> ConvertColumnsToARGB32(std::uint32_t inFirstColumn,
                                                          std::uint32_t inColumnStep) const;
    // 512 buckets of luminance 0.212671 R + 0.71516 G + 0.072169 B over [0, the largest finite
    // luminance]; pixels of luminance 0 are not counted. Null when no pixel is brighter than 0.
    std::unique_ptr<XVolumeHistogram> BuildLuminanceHistogram() const;

private:
    std::unique_ptr<XPixelBuffer> itsPixels;
};
