#include "host/imaging/XVolumeHistogram.h"

#include "host/core/XException.h"
#include "host/core/XInternalError.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

TEST(XVolumeHistogramTest, BucketBoundariesOverZeroToMax)
{
    const XVolumeHistogram unit(0.0, 512.0, 512);
    EXPECT_EQ(unit.GetBucketCount(), 512u);
    EXPECT_EQ(unit.GetLow(), 0.0);
    EXPECT_EQ(unit.GetHigh(), 512.0);
    EXPECT_EQ(unit.ValueToBucketIndex(0.0), 0u);
    EXPECT_EQ(unit.ValueToBucketIndex(0.999), 0u);
    EXPECT_EQ(unit.ValueToBucketIndex(1.0), 1u);
    EXPECT_EQ(unit.ValueToBucketIndex(3.0), 3u);
    EXPECT_EQ(unit.ValueToBucketIndex(510.999), 510u);
    EXPECT_EQ(unit.ValueToBucketIndex(511.0), 511u);
    EXPECT_EQ(unit.ValueToBucketIndex(std::nextafter(512.0, 0.0)), 511u);
    EXPECT_EQ(unit.ValueToBucketIndex(512.0), 511u);

    // The luminance histogram's shape: 512 buckets over [0, max] with an arbitrary max.
    const double max = 7.3;
    const XVolumeHistogram image(0.0, max, 512);
    EXPECT_EQ(image.ValueToBucketIndex(max), 511u);
    EXPECT_EQ(image.ValueToBucketIndex(std::nextafter(max, 0.0)), 511u);
    EXPECT_EQ(image.ValueToBucketIndex(max * 100.5 / 512.0), 100u);
    EXPECT_EQ(image.ValueToBucketIndex(max * 0.5 / 512.0), 0u);
    EXPECT_EQ(image.ValueToBucketIndex(max * 1.5 / 512.0), 1u);
    EXPECT_EQ(image.ValueToBucketIndex(max * 510.5 / 512.0), 510u);
}

TEST(XVolumeHistogramTest, OutOfRangeAndNaNAreClamped)
{
    const XVolumeHistogram histogram(-2.0, 2.0, 4);
    EXPECT_EQ(histogram.ValueToBucketIndex(-2.0), 0u);
    EXPECT_EQ(histogram.ValueToBucketIndex(-1.5), 0u);
    EXPECT_EQ(histogram.ValueToBucketIndex(-0.5), 1u);
    EXPECT_EQ(histogram.ValueToBucketIndex(0.0), 2u);
    EXPECT_EQ(histogram.ValueToBucketIndex(1.999), 3u);
    EXPECT_EQ(histogram.ValueToBucketIndex(2.0), 3u);
    EXPECT_EQ(histogram.ValueToBucketIndex(-7.0), 0u);
    EXPECT_EQ(histogram.ValueToBucketIndex(1e300), 3u);
    EXPECT_EQ(histogram.ValueToBucketIndex(std::numeric_limits<double>::infinity()), 3u);
    EXPECT_EQ(histogram.ValueToBucketIndex(-std::numeric_limits<double>::infinity()), 0u);
    EXPECT_EQ(histogram.ValueToBucketIndex(std::numeric_limits<double>::quiet_NaN()), 0u);
}

TEST(XVolumeHistogramTest, CountsAndTotal)
{
    XVolumeHistogram histogram(0.0, 1.0, 3);
    EXPECT_EQ(histogram.GetTotal(), 0u);
    for (const double value : {0.1, 0.5, 0.6, 0.9, 1.0, 1.0})
    {
        histogram.Increment(histogram.ValueToBucketIndex(value));
    }
    EXPECT_EQ(histogram.GetCount(0), 1u);
    EXPECT_EQ(histogram.GetCount(1), 2u);
    EXPECT_EQ(histogram.GetCount(2), 3u);
    EXPECT_EQ(histogram.GetTotal(), 6u);

    const XInternalErrorCapture capture;
    histogram.Increment(3);
    EXPECT_EQ(histogram.GetCount(3), 0u);
    EXPECT_EQ(capture.GetConditions().size(), 2u);
    EXPECT_EQ(histogram.GetTotal(), 6u);
}

TEST(XVolumeHistogramTest, BadRangesAreRejected)
{
    EXPECT_THROW(XVolumeHistogram(1.0, 1.0, 8), XException);
    EXPECT_THROW(XVolumeHistogram(2.0, 1.0, 8), XException);
    EXPECT_THROW(XVolumeHistogram(0.0, std::numeric_limits<double>::quiet_NaN(), 8), XException);
    EXPECT_THROW(XVolumeHistogram(0.0, std::numeric_limits<double>::infinity(), 8), XException);
    EXPECT_THROW(XVolumeHistogram(0.0, 1.0, 0), XException);
}
