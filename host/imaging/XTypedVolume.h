#pragma once

#include "host/imaging/XVolume.h"

#include <cstddef>
#include <cstdint>
#include <vector>

// A volume that owns zero-initialised voxels of type T. Coordinates are absolute voxel
// coordinates inside the bounds; they are not checked.
template <class T>
class XTypedVolume : public XVolume
{
public:
    using Voxel = T;

    // The voxel at the lower corner (x0, y0, z0).
    T* GetBaseAddress() { return itsVoxels.data(); }
    const T* GetBaseAddress() const { return itsVoxels.data(); }

    T& At(std::int32_t inX, std::int32_t inY, std::int32_t inZ)
    {
        return itsVoxels[Offset(inX, inY, inZ)];
    }
    const T& At(std::int32_t inX, std::int32_t inY, std::int32_t inZ) const
    {
        return itsVoxels[Offset(inX, inY, inZ)];
    }

    // The first voxel of plane z.
    T* GetPlane(std::int32_t inZ) { return itsVoxels.data() + PlaneOffset(inZ); }
    const T* GetPlane(std::int32_t inZ) const { return itsVoxels.data() + PlaneOffset(inZ); }

protected:
    explicit XTypedVolume(const X3DRect& inBounds)
        : XVolume(inBounds), itsVoxels(static_cast<std::size_t>(GetVoxelCount()))
    {
    }

private:
    std::ptrdiff_t PlaneOffset(std::int32_t inZ) const
    {
        return (static_cast<std::ptrdiff_t>(inZ) - GetBounds().GetZ0()) * GetPlaneStride();
    }
    std::size_t Offset(std::int32_t inX, std::int32_t inY, std::int32_t inZ) const
    {
        return static_cast<std::size_t>(PlaneOffset(inZ) +
                                        (static_cast<std::ptrdiff_t>(inY) - GetBounds().GetY0()) *
                                            GetRowStride() +
                                        (static_cast<std::ptrdiff_t>(inX) - GetBounds().GetX0()));
    }

    std::vector<T> itsVoxels;
};
