#include "x-platform/image/XStratifiedImageSampler.h"
#include "host/core/XException.h"
#include "x-platform/image/XSamplerRandomSource.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <utility>
#include <vector>

namespace
{
std::vector<ImageSample> Drain(XStratifiedImageSampler& inSampler, std::size_t inLimit = 10000)
{
    std::vector<ImageSample> samples;
    ImageSample sample;
    while (samples.size() < inLimit && inSampler.GetNextSample(sample))
    {
        samples.push_back(sample);
    }
    return samples;
}

std::vector<std::pair<float, float>> Positions(const std::vector<ImageSample>& inSamples)
{
    std::vector<std::pair<float, float>> positions;
    for (const ImageSample& sample : inSamples)
    {
        positions.emplace_back(sample.imageX, sample.imageY);
    }
    return positions;
}

using P = std::pair<float, float>;
} // namespace

TEST(XSamplerRandomSourceTest, DrawsFollowTheStateAndWrapSilently)
{
    XSamplerRandomSource::Reset();
    EXPECT_EQ(XSamplerRandomSource::GetState(), 7564231u);
    // state = 7564231 * 62089911 = 469662429573441; 469662429573441 mod (2^32 - 1) = 3460897896.
    EXPECT_EQ(XSamplerRandomSource::NextJitter(), static_cast<float>(3460897896.0 / 4294967296.0));
    EXPECT_EQ(XSamplerRandomSource::GetState(), 469662429573441u);
    EXPECT_EQ(XSamplerRandomSource::NextJitter(), static_cast<float>(3552167581.0 / 4294967296.0));
    EXPECT_EQ(XSamplerRandomSource::GetState(), 15442815797628100471u);
    // The third product exceeds 2^64 and wraps.
    EXPECT_EQ(XSamplerRandomSource::NextJitter(), static_cast<float>(4240927180.0 / 4294967296.0));
    EXPECT_EQ(XSamplerRandomSource::GetState(), 6511191017829106705u);

    // Reset also restarts rand() from its start-up seed.
    XSamplerRandomSource::Reset();
    const int first = std::rand();
    std::srand(1);
    EXPECT_EQ(first, std::rand());
}

TEST(XStratifiedImageSamplerTest, CentredStrataOfOnePixelInStratumOrder)
{
    XSamplerRandomSource::Reset();
    XStratifiedImageSampler sampler(XRect(5, 7, 6, 8), 2, 2, false, 0, 1);
    const std::vector<ImageSample> samples = Drain(sampler);
    EXPECT_EQ(Positions(samples),
              (std::vector<P>{{5.25f, 7.25f}, {5.75f, 7.25f}, {5.25f, 7.75f}, {5.75f, 7.75f}}));
    EXPECT_EQ(XSamplerRandomSource::GetState(), 7564231u) << "no jitter, so no generator draw";

    // The 1D values are the four strata centres, paired in the order rand() shuffles them.
    std::array<float, 4> expected = {0.125f, 0.375f, 0.625f, 0.875f};
    XSamplerRandomSource::Reset();
    for (std::size_t i = 0; i < expected.size(); ++i)
    {
        std::swap(expected[i], expected[static_cast<std::size_t>(std::rand()) % 4]);
    }
    ASSERT_EQ(samples.size(), 4u);
    for (std::size_t i = 0; i < 4; ++i)
    {
        EXPECT_EQ(samples[i].value1D, expected[i]) << i;
    }
}

TEST(XStratifiedImageSamplerTest, VisitsRowsThenColumnsByStepFromOffset)
{
    // Every pixel of a 3 x 2 rectangle, row by row.
    XStratifiedImageSampler all(XRect(2, 3, 5, 5), 1, 1, false, 0, 1);
    EXPECT_EQ(
        Positions(Drain(all)),
        (std::vector<P>{
            {2.5f, 3.5f}, {3.5f, 3.5f}, {4.5f, 3.5f}, {2.5f, 4.5f}, {3.5f, 4.5f}, {4.5f, 4.5f}}));

    // Step 3 from offset 1 over columns 0..9: columns 1, 4, 7 of each row.
    XStratifiedImageSampler interleaved(XRect(0, 0, 10, 2), 1, 1, false, 1, 3);
    EXPECT_EQ(
        Positions(Drain(interleaved)),
        (std::vector<P>{
            {1.5f, 0.5f}, {4.5f, 0.5f}, {7.5f, 0.5f}, {1.5f, 1.5f}, {4.5f, 1.5f}, {7.5f, 1.5f}}));

    // A step wider than the rectangle: one pixel per row, at left + offset.
    XStratifiedImageSampler sparse(XRect(10, 20, 14, 23), 1, 1, false, 2, 8);
    EXPECT_EQ(Positions(Drain(sparse)),
              (std::vector<P>{{12.5f, 20.5f}, {12.5f, 21.5f}, {12.5f, 22.5f}}));

    // Four interleaved workers together cover every pixel exactly once per stratum.
    std::vector<int> visits(8 * 3, 0);
    for (std::int32_t offset = 0; offset < 4; ++offset)
    {
        XStratifiedImageSampler worker(XRect(0, 0, 8, 3), 2, 3, false, offset, 4);
        for (const ImageSample& sample : Drain(worker))
        {
            ++visits[static_cast<std::size_t>(sample.imageY) * 8 +
                     static_cast<std::size_t>(sample.imageX)];
        }
    }
    EXPECT_TRUE(
        std::all_of(visits.begin(), visits.end(), [](int inCount) { return inCount == 6; }));
}

TEST(XStratifiedImageSamplerTest, EndTestRunsOnlyWhenAPixelIsUsedUp)
{
    // top == bottom: the first pixel's samples still come out.
    XStratifiedImageSampler empty(XRect(4, 9, 8, 9), 2, 1, false, 0, 1);
    ImageSample sample;
    ASSERT_TRUE(empty.GetNextSample(sample));
    EXPECT_EQ(sample.imageX, 4.25f);
    EXPECT_EQ(sample.imageY, 9.5f);
    ASSERT_TRUE(empty.GetNextSample(sample));
    EXPECT_EQ(sample.imageX, 4.75f);

    // After the last sample of the last pixel, false.
    XStratifiedImageSampler single(XRect(0, 0, 1, 1), 1, 1, false, 0, 1);
    EXPECT_TRUE(single.GetNextSample(sample));
    EXPECT_FALSE(single.GetNextSample(sample));
}

TEST(XStratifiedImageSamplerTest, JitterDrawsXThenYThenTheOneDimensionalOffset)
{
    XSamplerRandomSource::Reset();
    const float d1 = XSamplerRandomSource::NextJitter();
    const float d2 = XSamplerRandomSource::NextJitter();
    const float d3 = XSamplerRandomSource::NextJitter();
    const float d4 = XSamplerRandomSource::NextJitter();
    const float d5 = XSamplerRandomSource::NextJitter();
    const float d6 = XSamplerRandomSource::NextJitter();

    XSamplerRandomSource::Reset();
    XStratifiedImageSampler sampler(XRect(3, 1, 5, 2), 1, 1, true, 0, 1);
    const std::vector<ImageSample> samples = Drain(sampler);
    ASSERT_EQ(samples.size(), 2u);
    EXPECT_EQ(samples[0].imageX, 3.0f + d1);
    EXPECT_EQ(samples[0].imageY, 1.0f + d2);
    EXPECT_EQ(samples[0].value1D, d3);
    EXPECT_EQ(samples[1].imageX, 4.0f + d4);
    EXPECT_EQ(samples[1].imageY, 1.0f + d5);
    EXPECT_EQ(samples[1].value1D, d6);

    // With 2 x 2 strata each jittered sample stays inside its own stratum.
    XStratifiedImageSampler strata(XRect(0, 0, 1, 1), 2, 2, true, 0, 1);
    const std::vector<ImageSample> inside = Drain(strata);
    ASSERT_EQ(inside.size(), 4u);
    for (std::size_t i = 0; i < 4; ++i)
    {
        const float lowX = 0.5f * static_cast<float>(i % 2);
        const float lowY = 0.5f * static_cast<float>(i / 2);
        EXPECT_GE(inside[i].imageX, lowX);
        EXPECT_LE(inside[i].imageX, lowX + 0.5f);
        EXPECT_GE(inside[i].imageY, lowY);
        EXPECT_LE(inside[i].imageY, lowY + 0.5f);
    }
}

TEST(XStratifiedImageSamplerTest, ShuffleKeepsSamplesWholeAndAdjustKeepsCounts)
{
    std::array<float, 6> pairs = {0.0f, 10.0f, 1.0f, 11.0f, 2.0f, 12.0f};
    XSamplerRandomSource::Reset();
    XStratifiedImageSampler::Shuffle(pairs.data(), 3, 2);
    for (std::size_t i = 0; i < 3; ++i)
    {
        EXPECT_EQ(pairs[2 * i + 1], pairs[2 * i] + 10.0f);
    }
    std::array<float, 3> firsts = {pairs[0], pairs[2], pairs[4]};
    std::sort(firsts.begin(), firsts.end());
    EXPECT_EQ(firsts, (std::array<float, 3>{0.0f, 1.0f, 2.0f}));

    const XStratifiedImageSampler sampler(XRect(0, 0, 1, 1), 1, 1, false, 0, 1);
    EXPECT_EQ(sampler.AdjustSampleCount(7), 7u);
}

TEST(XStratifiedImageSamplerTest, RefusesEmptyStrataAndAZeroStep)
{
    EXPECT_THROW(XStratifiedImageSampler(XRect(0, 0, 4, 4), 0, 1, false, 0, 1), XException);
    EXPECT_THROW(XStratifiedImageSampler(XRect(0, 0, 4, 4), 1, 0, false, 0, 1), XException);
    EXPECT_THROW(XStratifiedImageSampler(XRect(0, 0, 4, 4), 1, 1, false, 0, 0), XException);
}
