#include "x-platform/volume/XEmptySpaceGrid.h"

#include <algorithm>
#include <bit>

namespace
{
// The cells whose voxel range [8c, 8c + 8] holds voxel inVoxel (relative to the origin): its own
// cell, and the one below when it starts a cell.
int CellsOf(std::int64_t inVoxel, std::int64_t outCells[2])
{
    const std::int64_t cell = inVoxel >> XEmptySpaceGrid::kCellShift;
    outCells[0] = cell;
    if ((inVoxel & (XEmptySpaceGrid::kCellSize - 1)) == 0 && cell > 0)
    {
        outCells[1] = cell - 1;
        return 2;
    }
    return 1;
}
} // namespace

XEmptySpaceGrid::XEmptySpaceGrid(const std::array<std::int32_t, 3>& inOrigin,
                                 const std::array<std::uint32_t, 3>& inVoxelCounts,
                                 const std::uint8_t* inFirstVoxel,
                                 const std::array<std::ptrdiff_t, 3>& inStrides,
                                 std::span<const XOpaqueBytes> inOpaque)
    : itsOrigin(inOrigin)
{
    for (std::size_t axis = 0; axis < 3; ++axis)
    {
        itsCellCounts[axis] = (inVoxelCounts[axis] + kCellSize - 1) / kCellSize;
    }
    itsOccupied.assign(std::size_t{itsCellCounts[0]} * itsCellCounts[1] * itsCellCounts[2], 0);
    for (std::size_t axis = 0; axis < 3; ++axis)
    {
        itsPaddedCounts[axis] = itsCellCounts[axis] * kCellSize;
    }
    itsWordsPerRow = (std::size_t{itsPaddedCounts[0]} + 63) / 64;
    itsOccupiedSamples.assign(itsWordsPerRow * itsPaddedCounts[1] * itsPaddedCounts[2], 0);
    if (itsOccupied.empty() || inOpaque.empty())
    {
        return;
    }
    // A byte table per component turns the test of one voxel into lookups.
    const std::size_t components = inOpaque.size();
    for (std::uint32_t z = 0; z < inVoxelCounts[2]; ++z)
    {
        for (std::uint32_t y = 0; y < inVoxelCounts[1]; ++y)
        {
            const std::uint8_t* voxel = inFirstVoxel +
                                        static_cast<std::ptrdiff_t>(z) * inStrides[2] +
                                        static_cast<std::ptrdiff_t>(y) * inStrides[1];
            for (std::uint32_t x = 0; x < inVoxelCounts[0]; ++x, voxel += inStrides[0])
            {
                bool opaque = false;
                for (std::size_t k = 0; k < components && !opaque; ++k)
                {
                    opaque = inOpaque[k][voxel[k]];
                }
                if (opaque)
                {
                    Mark(x, y, z);
                    itsOccupiedSamples[SampleRow(y, z) + x / 64] |= std::uint64_t{1} << (x % 64);
                }
            }
        }
    }
    DilateSamples();
    // Every occupied sample lies in the data, since a bit only spreads to lower positions.
    std::uint64_t occupied = 0;
    for (const std::uint64_t word : itsOccupiedSamples)
    {
        occupied += static_cast<std::uint64_t>(std::popcount(word));
    }
    const double samples =
        static_cast<double>(inVoxelCounts[0]) * inVoxelCounts[1] * inVoxelCounts[2];
    itsEmptySampleFraction = static_cast<float>(1.0 - static_cast<double>(occupied) / samples);
}

void XEmptySpaceGrid::DilateSamples()
{
    // The sample at v reads the voxels v + (0 or 1) on each axis: each bit takes in the bits
    // above it along x, then y, then z. Going upward, the neighbour above is still unchanged.
    const std::size_t rows = std::size_t{itsPaddedCounts[1]} * itsPaddedCounts[2];
    for (std::size_t row = 0; row < rows; ++row)
    {
        std::uint64_t* const words = &itsOccupiedSamples[row * itsWordsPerRow];
        for (std::size_t k = 0; k < itsWordsPerRow; ++k)
        {
            const std::uint64_t carry = k + 1 < itsWordsPerRow ? words[k + 1] << 63 : 0;
            words[k] |= (words[k] >> 1) | carry;
        }
    }
    for (std::uint32_t z = 0; z < itsPaddedCounts[2]; ++z)
    {
        for (std::uint32_t y = 0; y + 1 < itsPaddedCounts[1]; ++y)
        {
            std::uint64_t* const words = &itsOccupiedSamples[SampleRow(y, z)];
            const std::uint64_t* const above = &itsOccupiedSamples[SampleRow(y + 1, z)];
            for (std::size_t k = 0; k < itsWordsPerRow; ++k)
            {
                words[k] |= above[k];
            }
        }
    }
    const std::size_t plane = itsWordsPerRow * itsPaddedCounts[1];
    for (std::uint32_t z = 0; z + 1 < itsPaddedCounts[2]; ++z)
    {
        std::uint64_t* const words = &itsOccupiedSamples[z * plane];
        for (std::size_t k = 0; k < plane; ++k)
        {
            words[k] |= words[k + plane];
        }
    }
}

void XEmptySpaceGrid::Mark(std::int64_t inX, std::int64_t inY, std::int64_t inZ)
{
    std::int64_t xs[2];
    std::int64_t ys[2];
    std::int64_t zs[2];
    const int xCount = CellsOf(inX, xs);
    const int yCount = CellsOf(inY, ys);
    const int zCount = CellsOf(inZ, zs);
    for (int k = 0; k < zCount; ++k)
    {
        for (int j = 0; j < yCount; ++j)
        {
            for (int i = 0; i < xCount; ++i)
            {
                itsOccupied[CellIndex(static_cast<std::int32_t>(xs[i]),
                                      static_cast<std::int32_t>(ys[j]),
                                      static_cast<std::int32_t>(zs[k]))] = 1;
            }
        }
    }
}

XBoundingBox XEmptySpaceGrid::GetCellBounds(std::int32_t inX, std::int32_t inY,
                                            std::int32_t inZ) const
{
    const auto lower = [&](std::int32_t inCell, int inAxis) {
        return static_cast<float>(std::int64_t{itsOrigin[inAxis]} +
                                  std::int64_t{inCell} * kCellSize);
    };
    const XMathVectorF3 minimum(lower(inX, 0), lower(inY, 1), lower(inZ, 2));
    return XBoundingBox(minimum, minimum + XMathVectorF3(kCellSize, kCellSize, kCellSize));
}

std::uint64_t XEmptySpaceGrid::GetEmptyCellCount() const
{
    return static_cast<std::uint64_t>(std::count(itsOccupied.begin(), itsOccupied.end(), 0));
}
