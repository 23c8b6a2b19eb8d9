#include "x-platform/image/XFilm.h"

#include "host/core/XException.h"
#include "host/core/XInternalError.h"
#include "host/core/XStream.h"
#include "x-platform/image/XHighDynamicRangeImage.h"
#include "x-platform/image/XImageSampleFilter.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <typeinfo>
#include <utility>

X_SOURCE_NAME("x-platform/XFilm");

namespace
{
constexpr std::uint64_t kPixelBytes = 5 * 4;

// Reports inCondition, verbatim, unless inHolds. Used where the report text has spacing that
// the formatter would change inside X_ASSERT, or where evaluating it as written could fail.
void Check(bool inHolds, std::string_view inCondition, int inLine)
{
    if (!inHolds)
    {
        XReportInternalError(inCondition, kXSourceName, inLine);
    }
}

void CheckResolution(float inResolutionX, float inResolutionY)
{
    const auto valid = [](float inValue)
    { return std::isfinite(inValue) && inValue >= 0.0f && inValue <= XFilm::kMaxResolution; };
    if (!valid(inResolutionX) || !valid(inResolutionY))
    {
        throw XException(XException::kMalformedStream,
                         "film resolution must be finite and within [0, " +
                             std::to_string(XFilm::kMaxResolution) + "] (got " +
                             std::to_string(inResolutionX) + " x " + std::to_string(inResolutionY) +
                             ")");
    }
}

void CheckStoredRect(const XRect& inRect, const char* inWhat)
{
    const std::int64_t width = std::int64_t(inRect.right) - inRect.left;
    const std::int64_t height = std::int64_t(inRect.bottom) - inRect.top;
    const auto limit = static_cast<std::int64_t>(XFilm::kMaxResolution);
    if (width < 0 || height < 0 || width > limit || height > limit)
    {
        throw XException(XException::kMalformedStream,
                         std::string("film ") + inWhat + " rectangle (" +
                             std::to_string(inRect.left) + ", " + std::to_string(inRect.top) +
                             ") to (" + std::to_string(inRect.right) + ", " +
                             std::to_string(inRect.bottom) + ") is inverted or too large");
    }
}

std::unique_ptr<XFilm::XPixelBuffer> MakePixels(const XRect& inRect)
{
    return std::make_unique<XFilm::XPixelBuffer>(
        XFilm::XPixelBuffer::Coordinates{inRect.left, inRect.top},
        XFilm::XPixelBuffer::Extents{static_cast<std::uint32_t>(std::max(0, inRect.GetWidth())),
                                     static_cast<std::uint32_t>(std::max(0, inRect.GetHeight()))});
}
} // namespace

XFilm::XFilm() = default;

XFilm::XFilm(float inResolutionX, float inResolutionY, std::unique_ptr<XImageSampleFilter> inFilter)
    : itsResolutionX(inResolutionX), itsResolutionY(inResolutionY)
{
    CheckResolution(inResolutionX, inResolutionY);
    itsClipRect = XRect(0, 0, static_cast<std::int32_t>(inResolutionX),
                        static_cast<std::int32_t>(inResolutionY));
    itsSampleRect = itsClipRect;
    SetFilter(std::move(inFilter));
    SetPixels(MakePixels(itsSampleRect));
}

XFilm::XFilm(const XFilm& inFilm)
    : XLockable(inFilm), XStorable(inFilm), itsResolutionX(inFilm.itsResolutionX),
      itsResolutionY(inFilm.itsResolutionY), itsClipRect(inFilm.itsClipRect),
      itsSampleRect(inFilm.itsSampleRect)
{
    SetFilter(inFilm.itsFilter ? XClone(*inFilm.itsFilter) : nullptr);
    itsFilterTable = inFilm.itsFilterTable;
    SetPixels(inFilm.itsPixels ? std::make_unique<XPixelBuffer>(*inFilm.itsPixels) : nullptr);
}

XFilm::XFilm(const XFilm& inFilm, const XRect& inRect)
    : itsResolutionX(inFilm.itsResolutionX), itsResolutionY(inFilm.itsResolutionY),
      itsClipRect(inRect), itsSampleRect(inRect)
{
    SetFilter(inFilm.itsFilter ? XClone(*inFilm.itsFilter) : nullptr);
    itsFilterTable = inFilm.itsFilterTable;
    SetPixels(MakePixels(inRect));
}

XFilm::~XFilm() = default;

void XFilm::SetClipRect(const XRect& inClipRect)
{
    Check(itsClipRect.Contains(inClipRect), "itsClipRect.Contains( inClipRect )", __LINE__);
    itsClipRect = inClipRect;
}

XFilm::XSamplePixel XFilm::GetPixel(std::int32_t inX, std::int32_t inY) const
{
    const XSamplePixel* pixel = FindPixel(inX, inY);
    X_ASSERT(pixel != nullptr);
    return pixel != nullptr ? *pixel : XSamplePixel{};
}

void XFilm::Merge(const XFilm& inFilm)
{
    // Each report's text is the checked condition, spelt exactly as callers and tests expect.
    Check(inFilm.GetResolutionX() == GetResolutionX(),
          "inFilm.GetResolutionX() == GetResolutionX()", __LINE__);
    Check(inFilm.GetResolutionY() == GetResolutionY(),
          "inFilm.GetResolutionY() == GetResolutionY()", __LINE__);
    Check(GetSampleRect().Contains(inFilm.GetSampleRect()),
          "GetSampleRect().Contains( inFilm.GetSampleRect() )", __LINE__);
    if (inFilm.itsFilter)
    {
        // typeid of a null filter would throw, so a missing filter here is the same mismatch.
        Check(itsFilter && typeid(*inFilm.itsFilter) == typeid(*itsFilter),
              "typeid( *inFilm.itsFilter ) == typeid( *itsFilter )", __LINE__);
    }
    else
    {
        Check(itsFilter == nullptr, "itsFilter == 0", __LINE__);
    }
    X_ASSERT(itsPixels);
    X_ASSERT(&inFilm != this);
    if (!itsPixels || !inFilm.itsPixels || &inFilm == this)
    {
        return;
    }

    // Lock order: read-lock the source, then write-lock this film.
    const XLock sourceLock(const_cast<XFilm&>(inFilm), XLockMode::kRead);
    const XLock destinationLock(*this, XLockMode::kWrite);
    // Only pixels that both films hold: a source reaching outside is cut (and reported above).
    const XRect region = itsSampleRect.Sect(inFilm.itsSampleRect);
    for (std::int32_t y = region.top; y < region.bottom; ++y)
    {
        for (std::int32_t x = region.left; x < region.right; ++x)
        {
            const XSamplePixel& source = *inFilm.FindPixel(x, y);
            XSamplePixel& destination = *FindPixel(x, y);
            destination.r += source.r;
            destination.g += source.g;
            destination.b += source.b;
            destination.a += source.a;
            destination.weight += source.weight;
        }
    }
}

std::unique_ptr<XFilm> XFilm::CreateSubFilm(const XRect& inRect) const
{
    Check(GetSampleRect().Contains(inRect), "GetSampleRect().Contains( inRect )", __LINE__);
    const XRect rect = itsSampleRect.Sect(inRect);
    return std::unique_ptr<XFilm>(new XFilm(*this, rect));
}

std::unique_ptr<XHighDynamicRangeImage> XFilm::ConvertToImage(float& outStatistic) const
{
    return Convert(itsClipRect, itsResolutionX * itsResolutionY, outStatistic);
}

std::unique_ptr<XHighDynamicRangeImage> XFilm::ConvertToImage(const XRect& inRect,
                                                              float& outStatistic) const
{
    const float area =
        static_cast<float>(inRect.GetWidth()) * static_cast<float>(inRect.GetHeight());
    return Convert(inRect, area, outStatistic);
}

std::unique_ptr<XHighDynamicRangeImage> XFilm::Convert(const XRect& inRect, float inArea,
                                                       float& outStatistic) const
{
    CheckStoredRect(inRect, "conversion");
    X_ASSERT(itsPixels);
    const XLock filmLock(const_cast<XFilm&>(*this), XLockMode::kRead);
    const std::uint32_t width = static_cast<std::uint32_t>(std::max(0, inRect.GetWidth()));
    const std::uint32_t height = static_cast<std::uint32_t>(std::max(0, inRect.GetHeight()));
    auto image = std::make_unique<XHighDynamicRangeImage>(width, height);
    const XLock imageLock(*image, XLockMode::kWrite);

    outStatistic = std::numeric_limits<float>::infinity();
    float maximum = 0.0f;
    double sum = 0.0;
    const XSamplePixel empty;
    for (std::uint32_t row = 0; row < height; ++row)
    {
        const std::int32_t y = inRect.top + static_cast<std::int32_t>(row);
        for (std::uint32_t column = 0; column < width; ++column)
        {
            const std::int32_t x = inRect.left + static_cast<std::int32_t>(column);
            const XSamplePixel* found = FindPixel(x, y);
            const XSamplePixel& pixel = found != nullptr ? *found : empty;
            XHighDynamicRangeImage::XARGBFloatPixel& out = image->At(column, row);
            if (pixel.weight > 0.0f)
            {
                // Alpha times zero is intended: a sampled pixel always converts to alpha 0.
                out.a = std::clamp(pixel.a * 0.0f, 0.0f, 1.0f);
                out.r = std::max(pixel.r / pixel.weight, 0.0f);
                out.g = std::max(pixel.g / pixel.weight, 0.0f);
                out.b = std::max(pixel.b / pixel.weight, 0.0f);
            }
            else
            {
                out.a = pixel.a;
                out.r = 0.0f;
                out.g = 0.0f;
                out.b = 0.0f;
            }
            const float mean = static_cast<float>((out.r + out.g + out.b) / 3.0);
            maximum = std::max(maximum, mean);
            sum += mean;
        }
    }
    if (maximum != 0.0f)
    {
        const double t = sum / inArea / maximum - 0.5;
        outStatistic = static_cast<float>(std::fabs(t));
    }
    return image;
}

const XFilm::XSamplePixel* XFilm::FindPixel(std::int32_t inX, std::int32_t inY) const
{
    if (itsFirstPixel == nullptr)
    {
        return nullptr;
    }
    const float x = static_cast<float>(inX);
    const float y = static_cast<float>(inY);
    if (!(x >= itsPixelLeft && x < itsPixelRight && y >= itsPixelTop && y < itsPixelBottom))
    {
        return nullptr;
    }
    return &itsFirstPixel[(static_cast<std::ptrdiff_t>(inY) - itsPixelOriginY) * itsRowStride +
                          (static_cast<std::ptrdiff_t>(inX) - itsPixelOriginX) * itsColumnStride];
}

XFilm::XSamplePixel* XFilm::FindPixel(std::int32_t inX, std::int32_t inY)
{
    return const_cast<XSamplePixel*>(std::as_const(*this).FindPixel(inX, inY));
}

void XFilm::SetFilter(std::unique_ptr<XImageSampleFilter> inFilter)
{
    itsFilter = std::move(inFilter);
    itsFilterTable.clear();
    itsXScratch.clear();
    itsYScratch.clear();
    if (!itsFilter)
    {
        return;
    }
    const float xWidth = itsFilter->GetXWidth();
    const float yWidth = itsFilter->GetYWidth();
    for (std::int32_t j = 0; static_cast<float>(j) < yWidth; ++j)
    {
        for (std::int32_t i = 0; static_cast<float>(i) < xWidth; ++i)
        {
            itsFilterTable.push_back(
                itsFilter->Evaluate(static_cast<float>(i) + 0.5f, static_cast<float>(j) + 0.5f));
        }
    }
    itsXScratch.assign(static_cast<std::size_t>(2.0f * xWidth + 1.0f), 0.0f);
    itsYScratch.assign(static_cast<std::size_t>(2.0f * yWidth + 1.0f), 0.0f);
}

void XFilm::SetPixels(std::unique_ptr<XPixelBuffer> inPixels)
{
    itsPixels = std::move(inPixels);
    if (!itsPixels)
    {
        itsFirstPixel = nullptr;
        itsPixelOriginX = itsPixelOriginY = 0;
        itsRowStride = 0;
        itsPixelLeft = itsPixelTop = itsPixelRight = itsPixelBottom = 0.0f;
        return;
    }
    const auto& origin = itsPixels->GetOrigin();
    const auto& extents = itsPixels->GetExtents();
    itsPixelOriginX = origin[0];
    itsPixelOriginY = origin[1];
    itsColumnStride = itsPixels->GetStrides()[0];
    itsRowStride = itsPixels->GetStrides()[1];
    itsFirstPixel = itsPixels->GetData();
    itsPixelLeft = static_cast<float>(origin[0]);
    itsPixelTop = static_cast<float>(origin[1]);
    itsPixelRight = static_cast<float>(std::int64_t(origin[0]) + extents[0]);
    itsPixelBottom = static_cast<float>(std::int64_t(origin[1]) + extents[1]);
}

std::unique_ptr<XStorable> XFilm::Clone() const
{
    return std::make_unique<XFilm>(*this);
}

std::uint64_t XFilm::GetStreamSize() const
{
    std::uint64_t size = 2 * 4 + 2 * 16 + 9;
    if (itsFilter)
    {
        size += itsFilter->GetStreamSize();
    }
    if (itsPixels)
    {
        size += kPixelBytes * itsPixels->GetElementCount() + 1;
    }
    return size;
}

void XFilm::Write(XStream& outStream) const
{
    const XLock filmLock(const_cast<XFilm&>(*this), XLockMode::kRead);
    outStream.WriteVersion(kClassID);
    outStream.WriteFloat32S(itsResolutionX);
    outStream.WriteFloat32S(itsResolutionY);
    itsClipRect.Write(outStream);
    itsSampleRect.Write(outStream);
    outStream.Write8(itsFilter ? 1 : 0);
    if (itsFilter)
    {
        outStream.WriteObject(itsFilter.get());
    }
    outStream.Write8(itsPixels ? 1 : 0);
    if (itsPixels)
    {
        for (std::int32_t y = itsSampleRect.top; y < itsSampleRect.bottom; ++y)
        {
            for (std::int32_t x = itsSampleRect.left; x < itsSampleRect.right; ++x)
            {
                const XSamplePixel* pixel = FindPixel(x, y);
                const XSamplePixel& value = pixel != nullptr ? *pixel : XSamplePixel{};
                outStream.WriteFloat32S(value.r);
                outStream.WriteFloat32S(value.g);
                outStream.WriteFloat32S(value.b);
                outStream.WriteFloat32S(value.a);
                outStream.WriteFloat32S(value.weight);
            }
        }
    }
}

void XFilm::Read(XStream& inStream)
{
    inStream.ReadClassVersion(kClassID);
    const float resolutionX = inStream.ReadFloat32S();
    const float resolutionY = inStream.ReadFloat32S();
    CheckResolution(resolutionX, resolutionY);
    XRect clipRect;
    clipRect.Read(inStream);
    CheckStoredRect(clipRect, "clip");
    XRect sampleRect;
    sampleRect.Read(inStream);
    CheckStoredRect(sampleRect, "sample");

    const auto readFlag = [&inStream](const char* inWhat)
    {
        const std::uint64_t position = inStream.GetPosition();
        const std::uint8_t flag = inStream.Read8();
        if (flag > 1)
        {
            throw XException(XException::kMalformedStream,
                             std::string("film's ") + inWhat + " flag at byte " +
                                 std::to_string(position) + " is " + std::to_string(flag) +
                                 ", expected 0 or 1");
        }
        return flag == 1;
    };

    std::unique_ptr<XImageSampleFilter> filter;
    if (readFlag("has-filter"))
    {
        std::unique_ptr<XStorable> object = inStream.ReadObject();
        filter.reset(dynamic_cast<XImageSampleFilter*>(object.get()));
        if (filter)
        {
            object.release();
        }
        Check(filter != nullptr, "itsFilter", __LINE__);
    }

    std::unique_ptr<XPixelBuffer> pixels;
    if (readFlag("has-pixels"))
    {
        const std::uint64_t count =
            std::uint64_t(sampleRect.GetWidth()) * std::uint64_t(sampleRect.GetHeight());
        inStream.CheckRemaining(count * kPixelBytes);
        pixels = MakePixels(sampleRect);
        XSamplePixel* pixel = pixels->GetData();
        for (std::uint64_t i = 0; i < count; ++i, ++pixel)
        {
            pixel->r = inStream.ReadFloat32S();
            pixel->g = inStream.ReadFloat32S();
            pixel->b = inStream.ReadFloat32S();
            pixel->a = inStream.ReadFloat32S();
            pixel->weight = inStream.ReadFloat32S();
        }
    }

    // Everything was read: only now does the film change.
    itsResolutionX = resolutionX;
    itsResolutionY = resolutionY;
    itsClipRect = clipRect;
    itsSampleRect = sampleRect;
    SetFilter(std::move(filter));
    SetPixels(std::move(pixels));
}
