#include "host/imaging/XARGB32Volume.h"

#include "host/core/XInternalError.h"

#include <algorithm>

X_SOURCE_NAME("host/imaging/XARGB32Volume");

void XARGB32Volume::CopyRegion(const XARGB32Volume& inSource, const X3DRect& inSourceRect,
                               const X3DRect& inDestinationRect)
{
    const std::uint32_t width = inSourceRect.GetWidth();
    const std::uint32_t height = inSourceRect.GetHeight();
    const std::uint32_t depth = inSourceRect.GetDepth();
    const bool sameSize = width == inDestinationRect.GetWidth() &&
                          height == inDestinationRect.GetHeight() &&
                          depth == inDestinationRect.GetDepth();
    const bool sourceInside = inSource.GetBounds().Sect(inSourceRect).IsEqual(inSourceRect);
    const bool destinationInside = GetBounds().Sect(inDestinationRect).IsEqual(inDestinationRect);
    X_ASSERT(sameSize);
    X_ASSERT(sourceInside);
    X_ASSERT(destinationInside);
    if (!sameSize || !sourceInside || !destinationInside)
    {
        return;
    }
    if (inSourceRect.GetVoxelCount() == 0)
    {
        return;
    }

    if (&inSource == this)
    {
        // Reading and writing the same volume: go through a copy of the source region, which
        // also makes overlapping regions safe.
        XARGB32Volume staging(inSourceRect);
        staging.CopyRegion(*this, inSourceRect, inSourceRect);
        CopyRegion(staging, inSourceRect, inDestinationRect);
        return;
    }

    // Locking does not change the source's voxels.
    const XLock sourceLock(const_cast<XARGB32Volume&>(inSource), XLockMode::kRead);
    const XLock destinationLock(*this, XLockMode::kWrite);
    for (std::uint32_t z = 0; z < depth; ++z)
    {
        for (std::uint32_t y = 0; y < height; ++y)
        {
            const XARGB32Colour* from =
                &inSource.At(inSourceRect.GetX0(), inSourceRect.GetY0() + std::int32_t(y),
                             inSourceRect.GetZ0() + std::int32_t(z));
            XARGB32Colour* to =
                &At(inDestinationRect.GetX0(), inDestinationRect.GetY0() + std::int32_t(y),
                    inDestinationRect.GetZ0() + std::int32_t(z));
            std::copy_n(from, width, to);
        }
    }
}
