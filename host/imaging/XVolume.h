#pragma once

#include "host/core/XLockable.h"
#include "host/imaging/X3DRect.h"

#include <cstddef>
#include <cstdint>

// A box of voxels in one contiguous block: x varies fastest, then y, then z. The concrete classes
// differ by voxel type and are told apart by their exact dynamic type.
class XVolume : public XLockable
{
public:
    ~XVolume() override = 0;

    // The volume's rectangle in voxel coordinates, upper corner exclusive. An axis given with its
    // upper end below its lower end is empty: its upper end is moved down to its lower end.
    const X3DRect& GetBounds() const { return itsBounds; }
    std::uint32_t GetWidth() const { return itsBounds.GetWidth(); }
    std::uint32_t GetHeight() const { return itsBounds.GetHeight(); }
    std::uint32_t GetDepth() const { return itsBounds.GetDepth(); }
    std::uint64_t GetVoxelCount() const { return itsBounds.GetVoxelCount(); }

    // Distances in voxels from one row, and from one plane, to the next.
    std::ptrdiff_t GetRowStride() const { return GetWidth(); }
    std::ptrdiff_t GetPlaneStride() const
    {
        return static_cast<std::ptrdiff_t>(GetWidth()) * static_cast<std::ptrdiff_t>(GetHeight());
    }

protected:
    explicit XVolume(const X3DRect& inBounds);
    XVolume(const XVolume&) = default;
    XVolume& operator=(const XVolume&) = default;

private:
    X3DRect itsBounds;
};
