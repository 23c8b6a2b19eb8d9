#pragma once

#include "host/core/XLockable.h"
#include "host/core/XStorable.h"
#include "host/imaging/XHyperBuffer.h"
#include "host/imaging/XRect.h"
#include "x-platform/core/XRGBSpectrum.h"
#include "x-platform/image/XImageSampleFilter.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

class XHighDynamicRangeImage;

// Accumulates the samples of a render in a grid of sample pixels, merges films rendered elsewhere
// (tiles, frames) into one, travels in streams, and converts a rectangle of its pixels into a
// floating-point image. Callers lock the film: a render holds the write lock for a whole region,
// and AddSample itself takes no lock.
class XFilm final : public XLockable, public XStorable
{
public:
    // Not among the module's fixed identifiers; 14903 is free in the module's range.
    static constexpr std::uint32_t kClassID = 14903;
    // Largest resolution, and largest rectangle side, a film accepts.
    static constexpr float kMaxResolution = 65536.0f;

    struct XSamplePixel
    {
        float r = 0; // weighted sums of the samples' colour
        float g = 0;
        float b = 0;
        float a = 0;      // the alpha of the last sample (summed by Merge)
        float weight = 0; // the sum of the sample weights
    };
    using XPixelBuffer = XHyperBuffer<2, XSamplePixel>;

    // Resolution 0 x 0 without filter or pixels: the state that Read fills.
    XFilm();
    // Clip and sample rectangle (0, 0) to (int resolution); zeroed pixels over the sample
    // rectangle; the filter, if any, is tabulated. Throws XException for a resolution that is not
    // finite or lies outside [0, kMaxResolution].
    XFilm(float inResolutionX, float inResolutionY, std::unique_ptr<XImageSampleFilter> inFilter);
    // Clones the filter and deep-copies the pixels; the caller keeps the source from changing.
    XFilm(const XFilm& inFilm);
    XFilm& operator=(const XFilm&) = delete;
    ~XFilm() override;

    float GetResolutionX() const { return itsResolutionX; }
    float GetResolutionY() const { return itsResolutionY; }
    // The rectangle that ConvertToImage converts.
    const XRect& GetClipRect() const { return itsClipRect; }
    // The pixels that own storage.
    const XRect& GetSampleRect() const { return itsSampleRect; }
    // Reports "itsClipRect.Contains( inClipRect )" unless the new rectangle lies in the old one;
    // the rectangle is taken either way.
    void SetClipRect(const XRect& inClipRect);

    const XImageSampleFilter* GetFilter() const { return itsFilter.get(); }
    // filter(i + 0.5, j + 0.5) for j < yWidth (outer), i < xWidth; empty without a filter.
    const std::vector<float>& GetFilterTable() const { return itsFilterTable; }
    // Entries of the two scratch rows, (size)(2 * width + 1) for each axis of the filter.
    std::size_t GetXScratchSize() const { return itsXScratch.size(); }
    std::size_t GetYScratchSize() const { return itsYScratch.size(); }

    bool HasPixels() const { return itsPixels != nullptr; }
    // The pixel at image position (inX, inY), which must lie in the sample rectangle; a film
    // without pixels, or a position outside them, reports and gives an empty pixel.
    XSamplePixel GetPixel(std::int32_t inX, std::int32_t inY) const;

    // Adds a sample to pixel (trunc(inX - 0.5), trunc(inY - 0.5)), truncating toward zero:
    // r, g, b += the colour, a = inAlpha, weight += 1. A sample whose pixel lies outside the
    // pixels is dropped. Allocates nothing and takes no lock.
    void AddSample(float inImageX, float inImageY, const XRGBSpectrum& inColour, float inAlpha)
    {
        const float x = std::trunc(inImageX - 0.5f);
        const float y = std::trunc(inImageY - 0.5f);
        // Written so that NaN positions fail the test as well.
        if (!(x >= itsPixelLeft && x < itsPixelRight && y >= itsPixelTop && y < itsPixelBottom))
        {
            return;
        }
        XSamplePixel& pixel =
            itsFirstPixel[(static_cast<std::ptrdiff_t>(y) - itsPixelOriginY) * itsRowStride +
                          (static_cast<std::ptrdiff_t>(x) - itsPixelOriginX) * itsColumnStride];
        pixel.r += inColour.r;
        pixel.g += inColour.g;
        pixel.b += inColour.b;
        pixel.a = inAlpha;
        pixel.weight += 1.0f;
    }

    // Adds all five floats of every pixel of inFilm into the pixel at the same image position,
    // after checking that the films match (each mismatch is reported with its condition text).
    // Read-locks inFilm, then write-locks this film.
    void Merge(const XFilm& inFilm);

    // A film of the same resolution and filter whose clip and sample rectangles are inRect, with
    // zeroed pixels: a tile to render elsewhere and merge back. inRect must lie in the sample
    // rectangle; the part outside is cut off.
    std::unique_ptr<XFilm> CreateSubFilm(const XRect& inRect) const;

    // The clip rectangle as a floating-point image (row 0 first). A sampled pixel converts to
    // A = clamp(a * 0, 0, 1), R, G, B = max(sum / weight, 0); an unsampled one to (a, 0, 0, 0).
    // outStatistic = |S / (resolutionX * resolutionY) / M - 0.5| over the pixel means m =
    // (R + G + B) / 3, with S their sum and M their maximum; +infinity when M is 0.
    std::unique_ptr<XHighDynamicRangeImage> ConvertToImage(float& outStatistic) const;
    // The same for inRect, with the rectangle's area in place of the resolution's. Positions
    // outside the pixels convert as unsampled pixels of alpha 0. Both forms throw XException for
    // an inverted rectangle or one wider or higher than kMaxResolution.
    std::unique_ptr<XHighDynamicRangeImage> ConvertToImage(const XRect& inRect,
                                                           float& outStatistic) const;

    // Stored form: the version record, resolution x and y (float32), clip and sample rectangle,
    // a byte 1/0 and the filter object, a byte 1/0 and the five floats of every pixel of the
    // sample rectangle row by row. Reading rebuilds the filter table and throws XException for
    // out-of-range sizes or flags.
    std::uint32_t GetClassID() const override { return kClassID; }
    std::unique_ptr<XStorable> Clone() const override;
    std::uint64_t GetStreamSize() const override;
    void Read(XStream& inStream) override;
    void Write(XStream& outStream) const override;

private:
    // A sub-film's fields: resolution, filter copy, inRect as both rectangles, zeroed pixels.
    XFilm(const XFilm& inFilm, const XRect& inRect);

    void SetFilter(std::unique_ptr<XImageSampleFilter> inFilter);
    void SetPixels(std::unique_ptr<XPixelBuffer> inPixels);
    std::unique_ptr<XHighDynamicRangeImage> Convert(const XRect& inRect, float inArea,
                                                    float& outStatistic) const;
    // The pixel at image position (inX, inY), or null outside the pixels.
    const XSamplePixel* FindPixel(std::int32_t inX, std::int32_t inY) const;
    XSamplePixel* FindPixel(std::int32_t inX, std::int32_t inY);

    float itsResolutionX = 0;
    float itsResolutionY = 0;
    XRect itsClipRect;
    XRect itsSampleRect;
    std::unique_ptr<XImageSampleFilter> itsFilter;
    std::vector<float> itsFilterTable;
    std::vector<float> itsXScratch;
    std::vector<float> itsYScratch;
    std::unique_ptr<XPixelBuffer> itsPixels;

    // The pixel view: pixel (x, y) is itsFirstPixel[(y - y0) * rowStride + (x - x0) *
    // columnStride]; the bounds (as floats, for AddSample's test) are empty without pixels.
    std::int32_t itsPixelOriginX = 0;
    std::int32_t itsPixelOriginY = 0;
    std::ptrdiff_t itsColumnStride = 1;
    std::ptrdiff_t itsRowStride = 0;
    XSamplePixel* itsFirstPixel = nullptr;
    float itsPixelLeft = 0;
    float itsPixelTop = 0;
    float itsPixelRight = 0;
    float itsPixelBottom = 0;
};
