#pragma once

#include "host/imaging/XBoundingBox.h"
#include "host/imaging/XMathVectorF3.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

// Empty-space skipping for a classified voxel grid: cells of 8 x 8 x 8 sample positions that
// record whether any voxel a sample inside the cell can read has a non-zero classified opacity,
// and the same record for every single sample position (one bit per voxel), for the samples of
// occupied cells.
// A sample at p reads the voxels trunc(p) and trunc(p) + 1 on each axis, so cell c covers the
// samples with trunc(p) in [origin + 8c, origin + 8c + 7] and is built from the voxels
// [origin + 8c, origin + 8c + 8] (clipped to the data). Where a cell is empty, every sample's
// interpolated opacity is exactly 0, so a marcher may skip it without changing any result.
// Immutable once built; queries take no lock and allocate nothing.
class XEmptySpaceGrid
{
public:
    static constexpr std::int32_t kCellShift = 3;
    static constexpr std::int32_t kCellSize = 1 << kCellShift;

    // For each of the 256 bytes of one component: whether it classifies to a non-zero opacity.
    using XOpaqueBytes = std::array<bool, 256>;

    // inOrigin: the voxel coordinates of the first data voxel; inVoxelCounts: data voxels per
    // axis; inFirstVoxel: component 0 of that voxel; inStrides: byte distances to the next voxel
    // along x, y and z; inOpaque: one entry per component of a voxel (adjacent bytes).
    XEmptySpaceGrid(const std::array<std::int32_t, 3>& inOrigin,
                    const std::array<std::uint32_t, 3>& inVoxelCounts,
                    const std::uint8_t* inFirstVoxel,
                    const std::array<std::ptrdiff_t, 3>& inStrides,
                    std::span<const XOpaqueBytes> inOpaque);

    std::int32_t GetCellSize() const { return kCellSize; }
    // The voxel coordinates at which cell (0, 0, 0) starts.
    const std::array<std::int32_t, 3>& GetOrigin() const { return itsOrigin; }
    const std::array<std::uint32_t, 3>& GetCellCounts() const { return itsCellCounts; }

    // True when no sample in the cell has opacity; cells outside the grid hold no data and are
    // empty.
    bool IsCellEmpty(std::int32_t inX, std::int32_t inY, std::int32_t inZ) const
    {
        if (inX < 0 || inY < 0 || inZ < 0 || static_cast<std::uint32_t>(inX) >= itsCellCounts[0] ||
            static_cast<std::uint32_t>(inY) >= itsCellCounts[1] ||
            static_cast<std::uint32_t>(inZ) >= itsCellCounts[2])
        {
            return true;
        }
        return itsOccupied[CellIndex(inX, inY, inZ)] == 0;
    }
    // The cell that holds the sample at a voxel point, by the same truncation that sampling uses.
    std::array<std::int32_t, 3> GetCellOf(const XMathVectorF3& inVoxelPoint) const
    {
        return {CellOf(inVoxelPoint.x, 0), CellOf(inVoxelPoint.y, 1), CellOf(inVoxelPoint.z, 2)};
    }
    bool IsEmptyAt(const XMathVectorF3& inVoxelPoint) const
    {
        const std::array<std::int32_t, 3> cell = GetCellOf(inVoxelPoint);
        return IsCellEmpty(cell[0], cell[1], cell[2]);
    }
    // The points whose samples fall in the cell (for non-negative coordinates): from
    // origin + 8c up to, not including, origin + 8c + 8 on each axis.
    XBoundingBox GetCellBounds(std::int32_t inX, std::int32_t inY, std::int32_t inZ) const;

    // True when the sample at a voxel point has opacity exactly 0: its cell is empty, or none of
    // the eight voxels it reads has opacity. A finer test than IsEmptyAt, at the cost of one bit
    // per voxel.
    bool IsSampleEmptyAt(const XMathVectorF3& inVoxelPoint) const
    {
        const std::int32_t x = VoxelOf(inVoxelPoint.x, 0);
        const std::int32_t y = VoxelOf(inVoxelPoint.y, 1);
        const std::int32_t z = VoxelOf(inVoxelPoint.z, 2);
        if (IsCellEmpty(x >> kCellShift, y >> kCellShift, z >> kCellShift))
        {
            return true;
        }
        // An occupied cell lies inside the grid, so the voxel lies inside the padded extent.
        const std::uint64_t word = itsOccupiedSamples[SampleRow(static_cast<std::uint32_t>(y),
                                                                static_cast<std::uint32_t>(z)) +
                                                      static_cast<std::uint32_t>(x) / 64];
        return ((word >> (static_cast<std::uint32_t>(x) % 64)) & 1u) == 0;
    }

    std::uint64_t GetCellCount() const { return itsOccupied.size(); }
    std::uint64_t GetEmptyCellCount() const;
    // The share of the data's sample positions (one per voxel) that IsSampleEmptyAt rules out:
    // 1 without data.
    float GetEmptySampleFraction() const { return itsEmptySampleFraction; }

private:
    std::size_t CellIndex(std::int32_t inX, std::int32_t inY, std::int32_t inZ) const
    {
        return (static_cast<std::size_t>(inZ) * itsCellCounts[1] + static_cast<std::size_t>(inY)) *
                   itsCellCounts[0] +
               static_cast<std::size_t>(inX);
    }
    std::int32_t CellOf(float inCoordinate, int inAxis) const
    {
        // Points far outside the grid (or NaN) land in a cell outside it.
        if (!(inCoordinate > -1.0e9f && inCoordinate < 1.0e9f))
        {
            return -1;
        }
        const std::int64_t voxel = static_cast<std::int64_t>(inCoordinate) - itsOrigin[inAxis];
        return static_cast<std::int32_t>(voxel >> kCellShift);
    }
    // The voxel a sample reads first, relative to the origin, by the truncation of CellOf; points
    // far outside the grid (or NaN) land on a voxel outside it.
    std::int32_t VoxelOf(float inCoordinate, int inAxis) const
    {
        if (!(inCoordinate > -1.0e9f && inCoordinate < 1.0e9f))
        {
            return -1;
        }
        return static_cast<std::int32_t>(static_cast<std::int64_t>(inCoordinate) -
                                         itsOrigin[inAxis]);
    }
    void Mark(std::int64_t inX, std::int64_t inY, std::int64_t inZ);
    // The first word of a row of sample bits.
    std::size_t SampleRow(std::uint32_t inY, std::uint32_t inZ) const
    {
        return (std::size_t{inZ} * itsPaddedCounts[1] + inY) * itsWordsPerRow;
    }
    // Turns the bits of opaque voxels into the bits of the samples that read them.
    void DilateSamples();

    std::array<std::int32_t, 3> itsOrigin{};
    std::array<std::uint32_t, 3> itsCellCounts{};
    std::vector<std::uint8_t> itsOccupied; // 1 where a sample may have opacity
    // One bit per sample voxel, set where the sample may have opacity: rows along x of
    // itsWordsPerRow words over the cells' padded extent.
    std::array<std::uint32_t, 3> itsPaddedCounts{};
    std::size_t itsWordsPerRow = 0;
    std::vector<std::uint64_t> itsOccupiedSamples;
    float itsEmptySampleFraction = 1.0f;
};
