#include "x-platform/volume/XEmptySpaceGrid.h"

#include "host/XHostClassTable.h"
#include "tests/scenes/XMultiChannelTestVolume.h"
#include "x-platform/volume/XMultiChannelVolumetricT.h"

#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <random>
#include <vector>

// The per-sample record of the empty-space grid: a sample is empty exactly when none of the
// eight voxels it reads has opacity.
namespace
{
const std::filesystem::path kDataFolder = VOLTRACE_SAMPLE_DATA_DIR;

// Checks every sample voxel v of the data against inOpaque(voxel): at v + 0.5 (all eight
// weights 1/8) the sample is empty exactly when none of v + {0, 1}^3 inside the data is opaque,
// and then its density is 0; otherwise its density is positive. Returns the number of empty
// samples.
template <class TOpaque>
std::uint64_t ExpectSampleBitsMatchVoxels(const XMultiChannelVolumetric& inVolumetric,
                                          const std::array<std::int32_t, 3>& inCounts,
                                          TOpaque inOpaque)
{
    const XEmptySpaceGrid& grid = *inVolumetric.GetEmptySpaceGrid();
    std::uint64_t empty = 0;
    for (std::int32_t z = 0; z < inCounts[2]; ++z)
        for (std::int32_t y = 0; y < inCounts[1]; ++y)
            for (std::int32_t x = 0; x < inCounts[0]; ++x)
            {
                bool expected = true;
                for (int corner = 0; corner < 8; ++corner)
                {
                    const std::int32_t cx = x + (corner & 1);
                    const std::int32_t cy = y + ((corner >> 1) & 1);
                    const std::int32_t cz = z + (corner >> 2);
                    if (cx < inCounts[0] && cy < inCounts[1] && cz < inCounts[2] &&
                        inOpaque(cx, cy, cz))
                    {
                        expected = false;
                    }
                }
                // The last voxel of an axis is sampled only at its own coordinate.
                const auto centre = [&](std::int32_t inVoxel, std::int32_t inCount)
                { return static_cast<float>(inVoxel) + (inVoxel + 1 < inCount ? 0.5f : 0.0f); };
                const XMathVectorF3 point(centre(x, inCounts[0]), centre(y, inCounts[1]),
                                          centre(z, inCounts[2]));
                const bool actual = grid.IsSampleEmptyAt(point);
                if (actual != expected)
                {
                    ADD_FAILURE() << "sample " << x << " " << y << " " << z << ": expected "
                                  << (expected ? "empty" : "occupied");
                    return empty;
                }
                // A sample in an empty cell is an empty sample.
                EXPECT_TRUE(!grid.IsEmptyAt(point) || actual);
                const float density = inVolumetric.GetDensity(point);
                if (actual ? density != 0.0f : !(density > 0.0f))
                {
                    ADD_FAILURE() << "density " << density << " at " << x << " " << y << " " << z;
                    return empty;
                }
                empty += actual ? 1 : 0;
            }
    return empty;
}
} // namespace

TEST(XEmptySpaceGridSampleTest, ASampleIsEmptyWhenNoneOfItsEightVoxelsHasOpacity)
{
    XRegisterHostClasses();
    // 70 x 13 x 11 voxels: x runs past one 64-bit word, and no axis is a whole number of cells.
    // Opaque voxels at the first and the last voxel, at x = 64 (the first of the second word,
    // read by the sample at x = 63 of the first word) and at x = 8 (the start of cell 1).
    const std::vector<std::array<std::int32_t, 3>> opaque = {
        {0, 0, 0}, {69, 12, 10}, {64, 5, 5}, {8, 3, 7}};
    const auto isOpaque = [&](std::int32_t inX, std::int32_t inY, std::int32_t inZ)
    {
        for (const std::array<std::int32_t, 3>& voxel : opaque)
        {
            if (voxel == std::array<std::int32_t, 3>{inX, inY, inZ})
            {
                return true;
            }
        }
        return false;
    };
    const std::uint32_t sample =
        XAddGrey8Sample(1, 70, 13, 11,
                        [&](std::uint32_t, std::int32_t inX, std::int32_t inY, std::int32_t inZ)
                        { return static_cast<std::uint8_t>(isOpaque(inX, inY, inZ) ? 200 : 0); });
    XRef<XMultiChannelVolumetric> volumetric =
        XMakeRef<X1ChannelVolumetric>(XMakeChannelSpecifications(1, false, {1}), sample, 0);
    volumetric->Prepare();
    const XEmptySpaceGrid* grid = volumetric->GetEmptySpaceGrid();
    ASSERT_NE(grid, nullptr);

    // Each opaque voxel makes the samples at itself and up to one below on each axis occupied:
    // 8 for the inner ones, 1 for (0, 0, 0), 8 for (69, 12, 10).
    const std::uint64_t empty = ExpectSampleBitsMatchVoxels(*volumetric, {70, 13, 11}, isOpaque);
    EXPECT_EQ(empty, 70u * 13u * 11u - (1u + 8u + 8u + 8u));
    EXPECT_FLOAT_EQ(grid->GetEmptySampleFraction(), 1.0f - 25.0f / (70.0f * 13.0f * 11.0f));
    // By hand: the sample at x = 63 reads x = 64; the one at 62 does not.
    EXPECT_FALSE(grid->IsSampleEmptyAt(XMathVectorF3(63.5f, 4.5f, 4.5f)));
    EXPECT_TRUE(grid->IsSampleEmptyAt(XMathVectorF3(62.5f, 4.5f, 4.5f)));
    EXPECT_TRUE(grid->IsSampleEmptyAt(XMathVectorF3(63.5f, 3.5f, 4.5f)));
    // The sample at x = 7 reads x = 8; its cell (0) is occupied, its neighbour at x = 6 is empty.
    EXPECT_FALSE(grid->IsSampleEmptyAt(XMathVectorF3(7.25f, 2.75f, 6.5f)));
    EXPECT_FALSE(grid->IsEmptyAt(XMathVectorF3(6.5f, 2.5f, 6.5f)));
    EXPECT_TRUE(grid->IsSampleEmptyAt(XMathVectorF3(6.5f, 2.5f, 6.5f)));
    // Outside the grid nothing is occupied.
    EXPECT_TRUE(grid->IsSampleEmptyAt(XMathVectorF3(-2.0f, 0.0f, 0.0f)));
    EXPECT_TRUE(grid->IsSampleEmptyAt(XMathVectorF3(100.0f, 0.0f, 0.0f)));
    EXPECT_TRUE(grid->IsSampleEmptyAt(XMathVectorF3(NAN, 0.0f, 0.0f)));
}

TEST(XEmptySpaceGridSampleTest, EmptySamplesOfSpottedDataHoldNoOpacity)
{
    XRegisterHostClasses();
    // Two channels of sparse bright spots on a dark floor; a threshold that leaves the floor
    // transparent.
    constexpr std::uint32_t kWidth = 75;
    constexpr std::uint32_t kHeight = 21;
    constexpr std::uint32_t kDepth = 17;
    const auto bytes = XRandomSpotBytes(7, kWidth, kHeight, kDepth, 2);
    const std::uint32_t sample = XAddGrey8Sample(2, kWidth, kHeight, kDepth, bytes);
    XRef<XMultiChannelVolumetric> volumetric = XMakeRef<X2ChannelVolumetric>(
        XMakeChannelSpecifications(2, false, {1, 2}, {.threshold = 0.25f}), sample, 0);
    volumetric->Prepare();
    ASSERT_NE(volumetric->GetEmptySpaceGrid(), nullptr);
    // A voxel is opaque when either channel's classified opacity is.
    const auto isOpaque = [&](std::int32_t inX, std::int32_t inY, std::int32_t inZ)
    {
        float opacity = 0.0f;
        XRGBSpectrum colour;
        volumetric->Shade(XMathVectorF3(static_cast<float>(inX), static_cast<float>(inY),
                                        static_cast<float>(inZ)),
                          XMathVectorF3(0, 0, 1), opacity, colour);
        return opacity > 0.0f;
    };
    const std::uint64_t empty =
        ExpectSampleBitsMatchVoxels(*volumetric, {kWidth, kHeight, kDepth}, isOpaque);
    // Spots are sparse, so many samples are empty, but not all.
    const std::uint64_t samples = std::uint64_t{kWidth} * kHeight * kDepth;
    EXPECT_GT(empty, samples / 10);
    EXPECT_LT(empty, samples);
    EXPECT_FLOAT_EQ(volumetric->GetEmptySpaceGrid()->GetEmptySampleFraction(),
                    static_cast<float>(static_cast<double>(empty) / static_cast<double>(samples)));
}

TEST(XEmptySpaceGridSampleTest, EmptySamplesOfRealDataHoldNoOpacity)
{
    const XRef<XMultiChannelVolumetric> volumetric = XMakeNucleusVolumetric(kDataFolder);
    if (!volumetric)
    {
        GTEST_SKIP() << "the nucleus stack is not in " << kDataFolder;
    }
    const XEmptySpaceGrid* grid = volumetric->GetEmptySpaceGrid();
    ASSERT_NE(grid, nullptr);
    const XBoundingBox bounds = volumetric->GetVolumeBounds();
    std::mt19937 engine(11);
    std::uniform_real_distribution<float> unit(0.0f, 1.0f);
    std::uint64_t emptySamples = 0;
    std::uint64_t emptyCells = 0;
    for (int index = 0; index < 100000; ++index)
    {
        XMathVectorF3 point;
        for (int axis = 0; axis < 3; ++axis)
        {
            point[axis] = bounds.GetMin()[axis] +
                          unit(engine) * (bounds.GetMax()[axis] - bounds.GetMin()[axis]);
            // Every fourth point on a voxel plane, where some weights are exactly 0.
            if (index % 4 == axis)
            {
                point[axis] = std::floor(point[axis]);
            }
        }
        if (!grid->IsSampleEmptyAt(point))
        {
            continue;
        }
        ++emptySamples;
        emptyCells += grid->IsEmptyAt(point) ? 1 : 0;
        float opacity = -1.0f;
        XRGBSpectrum colour(1, 1, 1);
        volumetric->Shade(point, XMathVectorF3(0, 0, 1), opacity, colour);
        ASSERT_EQ(opacity, 0.0f) << point.x << " " << point.y << " " << point.z;
        ASSERT_EQ(volumetric->GetDensity(point), 0.0f);
    }
    // The per-sample record finds empty samples beyond the empty cells.
    EXPECT_GT(emptyCells, 100000u / 10);
    EXPECT_GT(emptySamples, emptyCells + 100000u / 50);
}
