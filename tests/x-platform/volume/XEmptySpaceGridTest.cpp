#include "x-platform/volume/XEmptySpaceGrid.h"

#include "host/XHostClassTable.h"
#include "tests/scenes/XMultiChannelTestVolume.h"
#include "x-platform/volume/XMultiChannelVolumetricT.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <random>

namespace
{
const std::filesystem::path kDataFolder = VOLTRACE_SAMPLE_DATA_DIR;
const std::filesystem::path kBenchFolder = VOLTRACE_BENCH_DATA_DIR;

// Every sample point of a grid's cells that is empty: samples at the cell's lattice points, at
// its far edge (just below the next cell) and at random points inside must all be transparent.
// Returns the number of empty cells.
std::uint64_t ExpectEmptyCellsTransparent(const XMultiChannelVolumetric& inVolumetric,
                                          std::uint32_t inSeed)
{
    const XEmptySpaceGrid& grid = *inVolumetric.GetEmptySpaceGrid();
    const XBoundingBox bounds = inVolumetric.GetVolumeBounds();
    std::mt19937 engine(inSeed);
    std::uniform_real_distribution<float> unit(0.0f, 1.0f);
    std::uint64_t empty = 0;
    const std::array<std::uint32_t, 3>& counts = grid.GetCellCounts();
    for (std::int32_t z = 0; z < static_cast<std::int32_t>(counts[2]); ++z)
        for (std::int32_t y = 0; y < static_cast<std::int32_t>(counts[1]); ++y)
            for (std::int32_t x = 0; x < static_cast<std::int32_t>(counts[0]); ++x)
            {
                if (!grid.IsCellEmpty(x, y, z))
                {
                    continue;
                }
                ++empty;
                const XBoundingBox cell = grid.GetCellBounds(x, y, z);
                std::vector<XMathVectorF3> points;
                // The far corner: the largest float below the next cell, clipped to the data.
                XMathVectorF3 far;
                for (int axis = 0; axis < 3; ++axis)
                {
                    far[axis] =
                        std::min(std::nextafter(cell.GetMax()[axis], 0.0f), bounds.GetMax()[axis]);
                }
                points.push_back(cell.GetMin());
                points.push_back(far);
                for (int index = 0; index < 24; ++index)
                {
                    points.push_back(cell.GetMin() +
                                     Mul(far - cell.GetMin(),
                                         XMathVectorF3(unit(engine), unit(engine), unit(engine))));
                }
                for (const XMathVectorF3& point : points)
                {
                    EXPECT_TRUE(grid.IsEmptyAt(point));
                    float opacity = -1.0f;
                    XRGBSpectrum colour(1, 1, 1);
                    inVolumetric.Shade(point, XMathVectorF3(0, 0, 1), opacity, colour);
                    if (opacity != 0.0f || inVolumetric.GetDensity(point) != 0.0f)
                    {
                        ADD_FAILURE() << "opacity in an empty cell at " << point.x << " " << point.y
                                      << " " << point.z;
                        return empty;
                    }
                }
            }
    return empty;
}
} // namespace

TEST(XEmptySpaceGridTest, ACellHoldsTheVoxelsItsSamplesRead)
{
    XRegisterHostClasses();
    // 20 x 20 x 20 voxels, dark but for (8, 3, 17): the voxel starts cell 1 along x, so cell 0,
    // whose samples up to x < 8 read voxel 8, holds it too.
    const std::uint32_t sample = XAddGrey8Sample(
        1, 20, 20, 20,
        [](std::uint32_t, std::int32_t inX, std::int32_t inY, std::int32_t inZ)
        { return static_cast<std::uint8_t>(inX == 8 && inY == 3 && inZ == 17 ? 200 : 0); });
    XRef<XMultiChannelVolumetric> volumetric =
        XMakeRef<X1ChannelVolumetric>(XMakeChannelSpecifications(1, false, {1}), sample, 0);
    volumetric->Prepare();
    const XEmptySpaceGrid* grid = volumetric->GetEmptySpaceGrid();
    ASSERT_NE(grid, nullptr);
    EXPECT_EQ(grid->GetCellSize(), 8);
    EXPECT_EQ(grid->GetOrigin(), (std::array<std::int32_t, 3>{0, 0, 0}));
    EXPECT_EQ(grid->GetCellCounts(), (std::array<std::uint32_t, 3>{3, 3, 3}));
    EXPECT_EQ(grid->GetCellCount(), 27u);
    EXPECT_EQ(grid->GetEmptyCellCount(), 25u);
    EXPECT_FALSE(grid->IsCellEmpty(0, 0, 2));
    EXPECT_FALSE(grid->IsCellEmpty(1, 0, 2));
    EXPECT_TRUE(grid->IsCellEmpty(1, 1, 2));
    EXPECT_TRUE(grid->IsCellEmpty(2, 0, 2));
    // Outside the grid there is nothing.
    EXPECT_TRUE(grid->IsCellEmpty(-1, 0, 2));
    EXPECT_TRUE(grid->IsCellEmpty(0, 0, 3));
    EXPECT_EQ(grid->GetCellBounds(1, 0, 2),
              XBoundingBox(XMathVectorF3(8, 0, 16), XMathVectorF3(16, 8, 24)));

    // The sample at x = 7.5 reads voxel 8 and has opacity; its cell is 0.
    const XMathVectorF3 reading(7.5f, 3, 17);
    EXPECT_GT(volumetric->GetDensity(reading), 0.0f);
    EXPECT_EQ(grid->GetCellOf(reading), (std::array<std::int32_t, 3>{0, 0, 2}));
    EXPECT_FALSE(grid->IsEmptyAt(reading));
    // The sample at y = 8 no longer reads row 3.
    EXPECT_TRUE(grid->IsEmptyAt(XMathVectorF3(8, 8, 17)));
    EXPECT_EQ(grid->GetCellOf(XMathVectorF3(NAN, 0, 0))[0], -1);
    EXPECT_EQ(ExpectEmptyCellsTransparent(*volumetric, 1), 25u);
}

TEST(XEmptySpaceGridTest, EmptyCellsOfRealDataHoldNoOpacity)
{
    const XRef<XMultiChannelVolumetric> volumetric = XMakeNucleusVolumetric(kDataFolder);
    if (!volumetric)
    {
        GTEST_SKIP() << "the nucleus stack is not in " << kDataFolder;
    }
    const XEmptySpaceGrid* grid = volumetric->GetEmptySpaceGrid();
    ASSERT_NE(grid, nullptr);
    EXPECT_EQ(grid->GetCellCounts(), (std::array<std::uint32_t, 3>{17, 17, 6}));
    const std::uint64_t empty = ExpectEmptyCellsTransparent(*volumetric, 2);
    // Most of the field around the nucleus is empty, but not all of it.
    EXPECT_GT(empty, grid->GetCellCount() / 4);
    EXPECT_LT(empty, grid->GetCellCount());

    // And the grid is tight: every cell it keeps holds a voxel with opacity.
    const std::array<std::uint32_t, 3>& counts = grid->GetCellCounts();
    const XBoundingBox bounds = volumetric->GetVolumeBounds();
    for (std::int32_t z = 0; z < static_cast<std::int32_t>(counts[2]); ++z)
        for (std::int32_t y = 0; y < static_cast<std::int32_t>(counts[1]); ++y)
            for (std::int32_t x = 0; x < static_cast<std::int32_t>(counts[0]); ++x)
            {
                if (grid->IsCellEmpty(x, y, z))
                {
                    continue;
                }
                bool opaque = false;
                const XBoundingBox cell = grid->GetCellBounds(x, y, z);
                for (float k = cell.GetMin().z; k <= cell.GetMax().z && !opaque; ++k)
                    for (float j = cell.GetMin().y; j <= cell.GetMax().y && !opaque; ++j)
                        for (float i = cell.GetMin().x; i <= cell.GetMax().x && !opaque; ++i)
                        {
                            const XMathVectorF3 voxel(i, j, k);
                            opaque = bounds.Contains(voxel) && volumetric->GetDensity(voxel) > 0;
                        }
                EXPECT_TRUE(opaque) << x << " " << y << " " << z;
            }
}

TEST(XEmptySpaceGridTest, TheSparseBenchmarkStackHasMuchEmptySpace)
{
    const std::filesystem::path path = kBenchFolder / "blobs_tubes_1ch_zyx_u8.tif";
    if (!std::filesystem::exists(path))
    {
        GTEST_SKIP() << path << " is not there";
    }
    // The noise floor (0 to 11) lies below the threshold 0.05, which leaves bytes up to 15
    // transparent.
    const XRef<XMultiChannelVolumetric> volumetric =
        XMakeStackVolumetric(path, {1}, 0, {.threshold = 0.05f});
    const XEmptySpaceGrid* grid = volumetric->GetEmptySpaceGrid();
    ASSERT_NE(grid, nullptr);
    EXPECT_EQ(grid->GetCellCounts(), (std::array<std::uint32_t, 3>{32, 32, 16}));
    std::mt19937 engine(3);
    std::uniform_real_distribution<float> x(0.0f, 255.0f);
    std::uniform_real_distribution<float> z(0.0f, 127.0f);
    std::size_t empty = 0;
    for (int index = 0; index < 200000; ++index)
    {
        const XMathVectorF3 point(x(engine), x(engine), z(engine));
        if (grid->IsEmptyAt(point))
        {
            ++empty;
            ASSERT_EQ(volumetric->GetDensity(point), 0.0f);
        }
    }
    // About 44 % of the cells hold only the noise floor.
    EXPECT_GT(grid->GetEmptyCellCount(), grid->GetCellCount() / 3);
    EXPECT_GT(empty, 200000u / 4);
}
