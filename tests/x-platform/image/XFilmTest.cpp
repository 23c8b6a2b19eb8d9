#include "x-platform/image/XFilm.h"
#include "host/core/XException.h"
#include "host/core/XInternalError.h"
#include "host/core/XStream.h"
#include "x-platform/image/XBoxFilter.h"
#include "x-platform/image/XGaussianFilter.h"
#include "x-platform/image/XHighDynamicRangeImage.h"
#include "x-platform/image/XImageClassTable.h"
#include "x-platform/image/XTriangleFilter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <string>
#include <vector>

namespace
{
using Pixel = XFilm::XSamplePixel;

void ExpectPixel(const XFilm& inFilm, std::int32_t inX, std::int32_t inY, const Pixel& inExpected)
{
    const Pixel pixel = inFilm.GetPixel(inX, inY);
    EXPECT_EQ(pixel.r, inExpected.r) << "pixel " << inX << ", " << inY;
    EXPECT_EQ(pixel.g, inExpected.g) << "pixel " << inX << ", " << inY;
    EXPECT_EQ(pixel.b, inExpected.b) << "pixel " << inX << ", " << inY;
    EXPECT_EQ(pixel.a, inExpected.a) << "pixel " << inX << ", " << inY;
    EXPECT_EQ(pixel.weight, inExpected.weight) << "pixel " << inX << ", " << inY;
}

float TotalWeight(const XFilm& inFilm)
{
    float total = 0;
    const XRect& rect = inFilm.GetSampleRect();
    for (std::int32_t y = rect.top; y < rect.bottom; ++y)
    {
        for (std::int32_t x = rect.left; x < rect.right; ++x)
        {
            total += inFilm.GetPixel(x, y).weight;
        }
    }
    return total;
}

// A stored film of 2 x 1 pixels without filter, written field by field, so that a test can give
// a pixel an alpha without a sample.
XMemoryStream StoredTwoPixelFilm(const Pixel& inFirst, const Pixel& inSecond)
{
    XMemoryStream stream;
    stream.WriteVersion(XFilm::kClassID);
    stream.WriteFloat32S(2.0f);
    stream.WriteFloat32S(1.0f);
    XRect(0, 0, 2, 1).Write(stream);
    XRect(0, 0, 2, 1).Write(stream);
    stream.Write8(0);
    stream.Write8(1);
    for (const Pixel& pixel : {inFirst, inSecond})
    {
        for (const float value : {pixel.r, pixel.g, pixel.b, pixel.a, pixel.weight})
        {
            stream.WriteFloat32S(value);
        }
    }
    return stream;
}

class XFilmTest : public testing::Test
{
protected:
    void SetUp() override { XRegisterImageClasses(); }
};
} // namespace

TEST_F(XFilmTest, ConstructionCoversTheResolutionAndTabulatesTheFilter)
{
    const XFilm film(100.0f, 70.0f, std::make_unique<XGaussianFilter>());
    EXPECT_EQ(film.GetResolutionX(), 100.0f);
    EXPECT_EQ(film.GetResolutionY(), 70.0f);
    EXPECT_EQ(film.GetClipRect(), XRect(0, 0, 100, 70));
    EXPECT_EQ(film.GetSampleRect(), XRect(0, 0, 100, 70));
    ASSERT_TRUE(film.HasPixels());
    EXPECT_EQ(TotalWeight(film), 0.0f);

    // 16 x 16 entries, row-major in j: entry (i, j) = filter(i + 0.5, j + 0.5).
    const std::vector<float>& table = film.GetFilterTable();
    ASSERT_EQ(table.size(), 256u);
    EXPECT_FLOAT_EQ(table[0], std::exp(-1.5625f * 0.5f));
    EXPECT_FLOAT_EQ(table[1], std::exp(-1.5625f * (1.5f * 1.5f + 0.5f * 0.5f)));
    EXPECT_FLOAT_EQ(table[16 * 2 + 1], std::exp(-1.5625f * (1.5f * 1.5f + 2.5f * 2.5f)));
    EXPECT_EQ(film.GetXScratchSize(), 33u);
    EXPECT_EQ(film.GetYScratchSize(), 33u);

    const XFilm triangleFilm(4.0f, 4.0f, std::make_unique<XTriangleFilter>(3.0f, 2.0f));
    EXPECT_EQ(triangleFilm.GetFilterTable(),
              (std::vector<float>{2.5f * 1.5f, 1.5f * 1.5f, 0.5f * 1.5f, 2.5f * 0.5f, 1.5f * 0.5f,
                                  0.5f * 0.5f}));
    EXPECT_EQ(triangleFilm.GetXScratchSize(), 7u);
    EXPECT_EQ(triangleFilm.GetYScratchSize(), 5u);

    const XFilm plain(3.7f, 2.2f, nullptr);
    EXPECT_EQ(plain.GetSampleRect(), XRect(0, 0, 3, 2));
    EXPECT_TRUE(plain.GetFilterTable().empty());

    EXPECT_THROW(XFilm(-1.0f, 4.0f, nullptr), XException);
    EXPECT_THROW(XFilm(4.0f, std::numeric_limits<float>::quiet_NaN(), nullptr), XException);
}

TEST_F(XFilmTest, AddSampleTruncatesTheHalfPixelOffsetAndDropsOutsiders)
{
    XFilm film(10.0f, 10.0f, nullptr);
    film.AddSample(5.25f, 7.25f, XRGBSpectrum(1.0f, 2.0f, 3.0f), 0.5f);
    film.AddSample(5.75f, 7.75f, XRGBSpectrum(4.0f, 5.0f, 6.0f), 0.25f);
    film.AddSample(5.75f, 7.75f, XRGBSpectrum(1.0f, 1.0f, 1.0f), 0.75f);
    // trunc(0.3 - 0.5) = trunc(-0.2) = 0: toward zero, still pixel 0.
    film.AddSample(0.3f, 0.3f, XRGBSpectrum(1.0f, 0.0f, 0.0f), 1.0f);

    ExpectPixel(film, 4, 6, {1.0f, 2.0f, 3.0f, 0.5f, 1.0f});
    ExpectPixel(film, 5, 7, {5.0f, 6.0f, 7.0f, 0.75f, 2.0f}); // alpha is the last one's
    ExpectPixel(film, 0, 0, {1.0f, 0.0f, 0.0f, 1.0f, 1.0f});
    EXPECT_EQ(TotalWeight(film), 4.0f);

    // Pixels outside the film are dropped, never written.
    for (const auto& point :
         {std::pair{10.6f, 3.0f}, std::pair{3.0f, 10.6f}, std::pair{-0.6f, 3.0f},
          std::pair{3.0f, -0.6f}, std::pair{std::numeric_limits<float>::quiet_NaN(), 3.0f},
          std::pair{1.0e30f, 3.0f}})
    {
        film.AddSample(point.first, point.second, XRGBSpectrum(9.0f, 9.0f, 9.0f), 1.0f);
    }
    EXPECT_EQ(TotalWeight(film), 4.0f);
}

TEST_F(XFilmTest, SubFilmsAreZeroedTilesThatMergeBackInPlace)
{
    XFilm frame(64.0f, 48.0f, std::make_unique<XBoxFilter>(2.0f, 2.0f));
    frame.AddSample(40.5f, 20.5f, XRGBSpectrum(1.0f, 1.0f, 1.0f), 0.5f);

    const std::unique_ptr<XFilm> tile = frame.CreateSubFilm(XRect(32, 16, 64, 48));
    EXPECT_EQ(tile->GetResolutionX(), 64.0f);
    EXPECT_EQ(tile->GetResolutionY(), 48.0f);
    EXPECT_EQ(tile->GetSampleRect(), XRect(32, 16, 64, 48));
    EXPECT_EQ(tile->GetClipRect(), XRect(32, 16, 64, 48));
    ASSERT_NE(tile->GetFilter(), nullptr);
    EXPECT_EQ(typeid(*tile->GetFilter()), typeid(XBoxFilter));
    EXPECT_EQ(tile->GetFilterTable(), frame.GetFilterTable());
    EXPECT_EQ(TotalWeight(*tile), 0.0f);

    tile->AddSample(40.5f, 20.5f, XRGBSpectrum(2.0f, 3.0f, 4.0f), 0.25f);
    tile->AddSample(63.5f, 47.5f, XRGBSpectrum(1.0f, 0.0f, 0.0f), 1.0f);
    // With two samples per pixel side, the first stratum of the tile's left column lands in the
    // neighbouring tile's pixel 31: it is dropped.
    tile->AddSample(32.25f, 20.25f, XRGBSpectrum(7.0f, 7.0f, 7.0f), 1.0f);
    EXPECT_EQ(TotalWeight(*tile), 2.0f);

    {
        const XInternalErrorCapture capture;
        frame.Merge(*tile);
        EXPECT_TRUE(capture.GetConditions().empty());
    }
    // Merging sums all five floats, alpha included.
    ExpectPixel(frame, 40, 20, {3.0f, 4.0f, 5.0f, 0.75f, 2.0f});
    ExpectPixel(frame, 63, 47, {1.0f, 0.0f, 0.0f, 1.0f, 1.0f});
    ExpectPixel(frame, 31, 20, {0.0f, 0.0f, 0.0f, 0.0f, 0.0f});
    EXPECT_EQ(TotalWeight(frame), 3.0f);
}

TEST_F(XFilmTest, MergeReportsEveryMismatchWithItsConditionText)
{
    XFilm frame(8.0f, 8.0f, std::make_unique<XGaussianFilter>());

    const auto conditionsOf = [&frame](const XFilm& inSource)
    {
        const XInternalErrorCapture capture;
        frame.Merge(inSource);
        for (const XInternalErrorReport& report : capture.GetReports())
        {
            EXPECT_EQ(report.source, "x-platform/XFilm");
            EXPECT_GT(report.line, 0);
        }
        return capture.GetConditions();
    };
    using Conditions = std::vector<std::string>;

    EXPECT_EQ(conditionsOf(XFilm(8.0f, 8.0f, std::make_unique<XGaussianFilter>(2.0f, 2.0f, 1.0f))),
              Conditions{});
    EXPECT_EQ(conditionsOf(XFilm(9.0f, 8.0f, std::make_unique<XGaussianFilter>())),
              (Conditions{"inFilm.GetResolutionX() == GetResolutionX()",
                          "GetSampleRect().Contains( inFilm.GetSampleRect() )"}));
    EXPECT_EQ(conditionsOf(*XFilm(8.0f, 7.0f, std::make_unique<XGaussianFilter>())
                                .CreateSubFilm(XRect(0, 0, 4, 4))),
              Conditions{"inFilm.GetResolutionY() == GetResolutionY()"});
    EXPECT_EQ(conditionsOf(XFilm(8.0f, 8.0f, std::make_unique<XTriangleFilter>())),
              Conditions{"typeid( *inFilm.itsFilter ) == typeid( *itsFilter )"});
    EXPECT_EQ(conditionsOf(XFilm(8.0f, 8.0f, nullptr)), Conditions{"itsFilter == 0"});

    // A film without pixels cannot take a merge.
    {
        XFilm empty;
        const XInternalErrorCapture capture;
        empty.Merge(XFilm());
        EXPECT_EQ(capture.GetConditions(), Conditions{"itsPixels"});
    }

    // A film without a filter meeting one with a filter.
    XFilm unfiltered(8.0f, 8.0f, nullptr);
    const XInternalErrorCapture capture;
    unfiltered.Merge(frame);
    EXPECT_EQ(capture.GetConditions(),
              Conditions{"typeid( *inFilm.itsFilter ) == typeid( *itsFilter )"});
}

TEST_F(XFilmTest, ConversionToTheFloatingPointImageAndItsStatistic)
{
    XFilm film(2.0f, 2.0f, nullptr);
    film.AddSample(0.5f, 0.5f, XRGBSpectrum(1.0f, 2.0f, 3.0f), 0.5f);
    film.AddSample(0.5f, 0.5f, XRGBSpectrum(3.0f, 2.0f, 1.0f), 0.5f);
    film.AddSample(1.5f, 0.5f, XRGBSpectrum(-1.0f, 0.5f, 0.0f), 0.9f);

    float statistic = 0;
    const std::unique_ptr<XHighDynamicRangeImage> image = film.ConvertToImage(statistic);
    ASSERT_EQ(image->GetWidth(), 2u);
    ASSERT_EQ(image->GetHeight(), 2u);
    // Sampled: alpha * 0 = 0, colour = sum / weight.
    const auto& first = image->At(0, 0);
    EXPECT_EQ(first.a, 0.0f);
    EXPECT_EQ(first.r, 2.0f);
    EXPECT_EQ(first.g, 2.0f);
    EXPECT_EQ(first.b, 2.0f);
    // A negative channel converts to 0.
    const auto& second = image->At(1, 0);
    EXPECT_EQ(second.a, 0.0f);
    EXPECT_EQ(second.r, 0.0f);
    EXPECT_EQ(second.g, 0.5f);
    EXPECT_EQ(second.b, 0.0f);
    EXPECT_EQ(image->At(0, 1).r, 0.0f);
    // Means 2 and 1/6: S = 13/6, M = 2, area 4: |13/6 / 4 / 2 - 0.5| = 11/48.
    EXPECT_FLOAT_EQ(statistic, 11.0f / 48.0f);

    // The rectangle form uses the rectangle's area: S = 1/6, M = 1/6, area 1: |1 - 0.5|.
    const auto single = film.ConvertToImage(XRect(1, 0, 2, 1), statistic);
    ASSERT_EQ(single->GetWidth(), 1u);
    ASSERT_EQ(single->GetHeight(), 1u);
    EXPECT_EQ(single->At(0, 0).g, 0.5f);
    EXPECT_FLOAT_EQ(statistic, 0.5f);

    // The clip form converts the clip rectangle but keeps the resolution's area:
    // S = 2, M = 2, area 4: |0.25 - 0.5|.
    film.SetClipRect(XRect(0, 0, 1, 2));
    const auto clipped = film.ConvertToImage(statistic);
    ASSERT_EQ(clipped->GetWidth(), 1u);
    ASSERT_EQ(clipped->GetHeight(), 2u);
    EXPECT_EQ(clipped->At(0, 0).r, 2.0f);
    EXPECT_FLOAT_EQ(statistic, 0.25f);

    // An all-black image has the statistic +infinity.
    const XFilm black(3.0f, 3.0f, nullptr);
    black.ConvertToImage(statistic);
    EXPECT_EQ(statistic, std::numeric_limits<float>::infinity());
}

TEST_F(XFilmTest, UnsampledPixelsKeepTheirAlphaAndClipRectChangesAreChecked)
{
    XMemoryStream stream =
        StoredTwoPixelFilm({0.0f, 0.0f, 0.0f, 0.7f, 0.0f}, {4.0f, 2.0f, 6.0f, 3.0f, 2.0f});
    XFilm film;
    film.Read(stream);
    float statistic = 0;
    const auto image = film.ConvertToImage(statistic);
    EXPECT_EQ(image->At(0, 0).a, 0.7f);
    EXPECT_EQ(image->At(0, 0).r, 0.0f);
    EXPECT_EQ(image->At(1, 0).a, 0.0f);
    EXPECT_EQ(image->At(1, 0).r, 2.0f);
    EXPECT_EQ(image->At(1, 0).g, 1.0f);
    EXPECT_EQ(image->At(1, 0).b, 3.0f);

    {
        const XInternalErrorCapture capture;
        film.SetClipRect(XRect(1, 0, 2, 1));
        EXPECT_TRUE(capture.GetConditions().empty());
        film.SetClipRect(XRect(0, 0, 2, 1));
        EXPECT_EQ(capture.GetConditions(),
                  std::vector<std::string>{"itsClipRect.Contains( inClipRect )"});
    }

    // Outside the pixels, conversion gives empty pixels rather than reading past them.
    const auto wide = film.ConvertToImage(XRect(-1, 0, 3, 2), statistic);
    EXPECT_EQ(wide->At(0, 0).a, 0.0f);
    EXPECT_EQ(wide->At(2, 0).r, 2.0f);
    EXPECT_EQ(wide->At(3, 1).r, 0.0f);
    EXPECT_THROW(film.ConvertToImage(XRect(2, 0, 1, 1), statistic), XException);

    // Converting a film without pixels is reported.
    const XInternalErrorCapture capture;
    const auto none = XFilm().ConvertToImage(statistic);
    EXPECT_EQ(capture.GetConditions(), std::vector<std::string>{"itsPixels"});
    EXPECT_EQ(statistic, std::numeric_limits<float>::infinity());
}

TEST_F(XFilmTest, StreamRoundTripKeepsEveryFieldInTheStoredLayout)
{
    XFilm film(3.0f, 2.0f, std::make_unique<XTriangleFilter>(2.0f, 1.0f));
    film.AddSample(0.5f, 0.5f, XRGBSpectrum(1.0f, 2.0f, 3.0f), 0.5f);
    film.AddSample(2.5f, 1.5f, XRGBSpectrum(4.0f, 5.0f, 6.0f), 0.25f);
    film.SetClipRect(XRect(1, 0, 3, 2));

    XMemoryStream stream;
    stream.WriteObject(&film);
    const std::unique_ptr<XFilm> read = stream.ReadObjectAs<XFilm>();
    ASSERT_NE(read, nullptr);
    EXPECT_EQ(read->GetResolutionX(), 3.0f);
    EXPECT_EQ(read->GetResolutionY(), 2.0f);
    EXPECT_EQ(read->GetClipRect(), XRect(1, 0, 3, 2));
    EXPECT_EQ(read->GetSampleRect(), XRect(0, 0, 3, 2));
    ASSERT_NE(read->GetFilter(), nullptr);
    EXPECT_EQ(typeid(*read->GetFilter()), typeid(XTriangleFilter));
    EXPECT_EQ(read->GetFilterTable(), film.GetFilterTable());
    EXPECT_EQ(read->GetXScratchSize(), 5u);
    ExpectPixel(*read, 0, 0, {1.0f, 2.0f, 3.0f, 0.5f, 1.0f});
    ExpectPixel(*read, 2, 1, {4.0f, 5.0f, 6.0f, 0.25f, 1.0f});
    EXPECT_EQ(TotalWeight(*read), 2.0f);

    // The layout, field by field.
    XMemoryStream body;
    film.Write(body);
    EXPECT_EQ(body.ReadClassVersion(XFilm::kClassID), XStream::kCurrentVersion);
    EXPECT_EQ(body.ReadFloat32S(), 3.0f);
    EXPECT_EQ(body.ReadFloat32S(), 2.0f);
    XRect rect;
    rect.Read(body);
    EXPECT_EQ(rect, XRect(1, 0, 3, 2));
    rect.Read(body);
    EXPECT_EQ(rect, XRect(0, 0, 3, 2));
    EXPECT_EQ(body.Read8(), 1);
    EXPECT_NE(body.ReadObjectAs<XTriangleFilter>(), nullptr);
    EXPECT_EQ(body.Read8(), 1);
    EXPECT_EQ(body.GetRemaining(), 6u * 20u);
    EXPECT_EQ(body.ReadFloat32S(), 1.0f); // pixel (0, 0), r
    EXPECT_GE(film.GetStreamSize(), 6u * 20u);

    // A film without filter or pixels travels as such.
    const XFilm empty;
    XMemoryStream emptyStream;
    emptyStream.WriteObject(&empty);
    const auto emptyRead = emptyStream.ReadObjectAs<XFilm>();
    EXPECT_FALSE(emptyRead->HasPixels());
    EXPECT_EQ(emptyRead->GetFilter(), nullptr);
}

TEST_F(XFilmTest, CopiesAreDeep)
{
    XFilm film(4.0f, 4.0f, std::make_unique<XGaussianFilter>(3.0f, 2.0f, 0.5f));
    film.AddSample(1.5f, 1.5f, XRGBSpectrum(1.0f, 1.0f, 1.0f), 1.0f);
    const std::unique_ptr<XFilm> copy = XClone(film);
    copy->AddSample(1.5f, 1.5f, XRGBSpectrum(1.0f, 1.0f, 1.0f), 1.0f);
    EXPECT_EQ(film.GetPixel(1, 1).weight, 1.0f);
    EXPECT_EQ(copy->GetPixel(1, 1).weight, 2.0f);
    EXPECT_NE(copy->GetFilter(), film.GetFilter());
    EXPECT_EQ(copy->GetFilterTable(), film.GetFilterTable());
    EXPECT_EQ(copy->GetXScratchSize(), 7u);
    EXPECT_EQ(copy->GetYScratchSize(), 5u);
}

TEST_F(XFilmTest, HostileStreamsThrowBeforeAllocating)
{
    const auto expectCode = [](XMemoryStream& inStream, std::int32_t inCode)
    {
        XFilm film;
        try
        {
            film.Read(inStream);
            ADD_FAILURE() << "the stream was accepted";
        }
        catch (const XException& exception)
        {
            EXPECT_EQ(exception.GetCode(), inCode) << exception.what();
        }
        EXPECT_FALSE(film.HasPixels()) << "a failed read leaves the film unchanged";
    };

    const auto header = [](XMemoryStream& outStream, const XRect& inSampleRect)
    {
        outStream.WriteVersion(XFilm::kClassID);
        outStream.WriteFloat32S(64.0f);
        outStream.WriteFloat32S(64.0f);
        XRect(0, 0, 64, 64).Write(outStream);
        inSampleRect.Write(outStream);
    };

    // A has-pixels claim for 65536 x 65536 pixels with no bytes behind it.
    XMemoryStream huge;
    header(huge, XRect(0, 0, 65536, 65536));
    huge.Write8(0);
    huge.Write8(1);
    expectCode(huge, XException::kTruncatedStream);

    XMemoryStream inverted;
    header(inverted, XRect(10, 0, 5, 4));
    expectCode(inverted, XException::kMalformedStream);

    XMemoryStream badFlag;
    header(badFlag, XRect(0, 0, 1, 1));
    badFlag.Write8(2);
    expectCode(badFlag, XException::kMalformedStream);

    XMemoryStream badResolution;
    badResolution.WriteVersion(XFilm::kClassID);
    badResolution.WriteFloat32S(std::numeric_limits<float>::infinity());
    badResolution.WriteFloat32S(1.0f);
    expectCode(badResolution, XException::kMalformedStream);

    XMemoryStream otherClass;
    XBoxFilter().Write(otherClass);
    expectCode(otherClass, XException::kWrongClass);

    // An object that is not a filter where the filter belongs is reported.
    XMemoryStream notAFilter;
    header(notAFilter, XRect(0, 0, 1, 1));
    notAFilter.Write8(1);
    const XFilm inner;
    notAFilter.WriteObject(&inner);
    notAFilter.Write8(0);
    XFilm film;
    const XInternalErrorCapture capture;
    film.Read(notAFilter);
    EXPECT_EQ(capture.GetConditions(), std::vector<std::string>{"itsFilter"});
    EXPECT_EQ(film.GetFilter(), nullptr);
}
