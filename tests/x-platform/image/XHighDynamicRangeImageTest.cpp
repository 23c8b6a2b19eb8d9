#include "x-platform/image/XHighDynamicRangeImage.h"
#include "host/core/XException.h"
#include "host/imaging/XARGB32Volume.h"
#include "host/imaging/XVolumeHistogram.h"

#include <gtest/gtest.h>

#include <limits>

namespace
{
using Pixel = XHighDynamicRangeImage::XARGBFloatPixel;
}

TEST(XHighDynamicRangeImageTest, ConvertsEachChannelByTruncationWithAnUpperClamp)
{
    XHighDynamicRangeImage image(3, 2);
    image.At(0, 0) = Pixel{0.8f, 2.0f, 0.5f, 1.0f};
    image.At(1, 0) = Pixel{1.0f, 0.999f, 0.0f, std::numeric_limits<float>::quiet_NaN()};
    image.At(2, 0) = Pixel{1.0f, -0.5f, 1.0f / 255.0f, std::numeric_limits<float>::infinity()};
    image.At(0, 1) = Pixel{0.0f, 0.1f, 0.2f, 0.3f};

    const std::unique_ptr<XARGB32Volume> volume = image.ConvertToARGB32();
    ASSERT_EQ(volume->GetWidth(), 3u);
    ASSERT_EQ(volume->GetHeight(), 2u);
    ASSERT_EQ(volume->GetDepth(), 1u);
    // Float alpha is not converted: the byte stays at the new volume's 0.
    EXPECT_EQ(volume->At(0, 0, 0), (XARGB32Colour{0, 255, 127, 255}));
    EXPECT_EQ(volume->At(1, 0, 0), (XARGB32Colour{0, 254, 0, 255})); // NaN counts as 1
    EXPECT_EQ(volume->At(2, 0, 0), (XARGB32Colour{0, 0, 1, 255}));
    // 0.1 * 255 = 25.5, 0.2 * 255 = 51.0000007, 0.3 * 255 = 76.5: truncated.
    EXPECT_EQ(volume->At(0, 1, 0), (XARGB32Colour{0, 25, 51, 76}));
    EXPECT_EQ(volume->At(2, 1, 0), (XARGB32Colour{0, 0, 0, 0}));
}

TEST(XHighDynamicRangeImageTest, ColumnConversionTakesEveryStepthColumnFromTheFirst)
{
    XHighDynamicRangeImage image(10, 2);
    for (std::uint32_t y = 0; y < 2; ++y)
    {
        for (std::uint32_t x = 0; x < 10; ++x)
        {
            // Red byte = 10 x column, green byte = 100 + row.
            image.At(x, y) = Pixel{1.0f, (10.0f * static_cast<float>(x) + 0.5f) / 255.0f,
                                   (100.0f + static_cast<float>(y) + 0.5f) / 255.0f, 0.0f};
        }
    }
    const std::unique_ptr<XARGB32Volume> columns = image.ConvertColumnsToARGB32(1, 3);
    ASSERT_EQ(columns->GetWidth(), 3u);
    ASSERT_EQ(columns->GetHeight(), 2u);
    for (std::int32_t y = 0; y < 2; ++y)
    {
        for (std::int32_t k = 0; k < 3; ++k)
        {
            EXPECT_EQ(columns->At(k, y, 0).r, 10 * (1 + 3 * k)) << k << ", " << y;
            EXPECT_EQ(columns->At(k, y, 0).g, 100 + y) << k << ", " << y;
        }
    }

    // Step 1 from column 0 is the whole image.
    const auto whole = image.ConvertToARGB32();
    const auto all = image.ConvertColumnsToARGB32(0, 1);
    ASSERT_EQ(all->GetWidth(), 10u);
    for (std::int32_t x = 0; x < 10; ++x)
    {
        EXPECT_EQ(all->At(x, 1, 0), whole->At(x, 1, 0));
    }

    // Columns past the row's end are left at zero instead of read from the next row.
    const auto late = image.ConvertColumnsToARGB32(8, 3);
    ASSERT_EQ(late->GetWidth(), 3u);
    EXPECT_EQ(late->At(0, 0, 0).r, 80);
    EXPECT_EQ(late->At(1, 0, 0), (XARGB32Colour{}));

    EXPECT_THROW(image.ConvertColumnsToARGB32(0, 0), XException);
}

TEST(XHighDynamicRangeImageTest, LuminanceHistogramOverTheBrightestPixel)
{
    XHighDynamicRangeImage image(2, 2);
    image.At(0, 0) = Pixel{0.0f, 1.0f, 0.0f, 0.0f}; // Y = 0.212671
    image.At(1, 0) = Pixel{0.0f, 0.0f, 1.0f, 0.0f}; // Y = 0.71516, the maximum
    image.At(0, 1) = Pixel{0.0f, 0.0f, 0.0f, 0.0f}; // Y = 0: not counted
    image.At(1, 1) = Pixel{0.0f, 0.0f, 0.0f, 1.0f}; // Y = 0.072169

    const std::unique_ptr<XVolumeHistogram> histogram = image.BuildLuminanceHistogram();
    ASSERT_NE(histogram, nullptr);
    EXPECT_EQ(histogram->GetBucketCount(), 512u);
    EXPECT_EQ(histogram->GetLow(), 0.0);
    EXPECT_EQ(histogram->GetHigh(), static_cast<double>(0.71516f));
    EXPECT_EQ(histogram->GetTotal(), 3u);
    // 0.212671 / 0.71516 * 512 = 152.3 and 0.072169 / 0.71516 * 512 = 51.7.
    EXPECT_EQ(histogram->GetCount(152), 1u);
    EXPECT_EQ(histogram->GetCount(51), 1u);
    EXPECT_EQ(histogram->GetCount(511), 1u);

    XHighDynamicRangeImage black(4, 3);
    EXPECT_EQ(black.BuildLuminanceHistogram(), nullptr);
    black.At(2, 2) = Pixel{1.0f, -1.0f, 0.0f, 0.0f};
    EXPECT_EQ(black.BuildLuminanceHistogram(), nullptr) << "negative luminance is not bright";
}
