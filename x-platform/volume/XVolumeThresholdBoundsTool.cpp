#include "x-platform/volume/XVolumeThresholdBoundsTool.h"

#include "host/core/XInternalError.h"
#include "host/core/XLockable.h"
#include "host/core/XProgress.h"
#include "host/imaging/XARGB32Volume.h"
#include "host/imaging/XFPVolume.h"
#include "host/imaging/XGrey16Volume.h"
#include "host/imaging/XGrey8Volume.h"
#include "host/imaging/XRGB48Volume.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <typeinfo>

X_SOURCE_NAME("x-platform/XVolumeThresholdBoundsTool");

namespace
{
// Truncates toward zero; values beyond the 32-bit range (and NaN) are clamped first so that the
// conversion is defined.
std::int32_t TruncateThreshold(float inThreshold)
{
    if (!(inThreshold == inThreshold))
    {
        return 0;
    }
    const double clamped = std::clamp(static_cast<double>(inThreshold),
                                      double{std::numeric_limits<std::int32_t>::min()},
                                      double{std::numeric_limits<std::int32_t>::max()});
    return static_cast<std::int32_t>(clamped);
}

template <class TVolume>
X3DRect Scan(TVolume& inVolume, typename TVolume::Voxel inThreshold,
             const XVolumeThresholdBoundsTool::XRegion* inRegion)
{
    const XLock lock(inVolume, XLockMode::kRead);
    std::optional<XLock> maskLock;
    XGrey8Volume* mask = inRegion != nullptr ? inRegion->mask : nullptr;
    if (mask != nullptr)
    {
        maskLock.emplace(*mask, XLockMode::kRead);
    }

    const X3DRect& bounds = inVolume.GetBounds();
    std::int32_t lower[3] = {bounds.GetX1(), bounds.GetY1(), bounds.GetZ1()};
    std::int32_t upper[3] = {bounds.GetX1(), bounds.GetY1(), bounds.GetZ1()};
    const X3DRect scanned = inRegion != nullptr ? bounds.Sect(inRegion->rect) : bounds;

    XProgress progress(scanned.GetDepth(), 3, 2000, false);
    const typename TVolume::Voxel* base = inVolume.GetBaseAddress();
    const std::ptrdiff_t rowStride = inVolume.GetRowStride();
    const std::ptrdiff_t planeStride = inVolume.GetPlaneStride();
    for (std::int32_t z = scanned.GetZ0(); z < scanned.GetZ1(); ++z)
    {
        for (std::int32_t y = scanned.GetY0(); y < scanned.GetY1(); ++y)
        {
            const typename TVolume::Voxel* row =
                base + (static_cast<std::ptrdiff_t>(z) - bounds.GetZ0()) * planeStride +
                (static_cast<std::ptrdiff_t>(y) - bounds.GetY0()) * rowStride;
            for (std::int32_t x = scanned.GetX0(); x < scanned.GetX1(); ++x)
            {
                if (!(row[static_cast<std::ptrdiff_t>(x) - bounds.GetX0()] > inThreshold))
                {
                    continue;
                }
                if (mask != nullptr &&
                    (!mask->GetBounds().Contains(x, y, z) || mask->At(x, y, z) == 0))
                {
                    continue;
                }
                const std::int32_t point[3] = {x, y, z};
                for (int axis = 0; axis < 3; ++axis)
                {
                    lower[axis] = std::min(lower[axis], point[axis]);
                    upper[axis] = std::max(upper[axis], point[axis]);
                }
            }
        }
        progress.Increment();
    }
    return X3DRect(lower[0], lower[1], lower[2], upper[0], upper[1], upper[2]);
}
} // namespace

X3DRect XVolumeThresholdBoundsTool::Compute(XVolume& inVolume, float inThreshold,
                                            const XRegion* inRegion)
{
    const std::type_info& type = typeid(inVolume);
    if (type == typeid(XGrey8Volume))
    {
        return Scan(static_cast<XGrey8Volume&>(inVolume),
                    static_cast<std::uint8_t>(TruncateThreshold(inThreshold)), inRegion);
    }
    if (type == typeid(XGrey16Volume))
    {
        return Scan(static_cast<XGrey16Volume&>(inVolume),
                    static_cast<std::uint16_t>(TruncateThreshold(inThreshold)), inRegion);
    }
    if (type == typeid(XFPVolume))
    {
        return Scan(static_cast<XFPVolume&>(inVolume), inThreshold, inRegion);
    }
    if (type == typeid(XARGB32Volume))
    {
        X_ASSERT(false);
        return X3DRect();
    }
    if (type == typeid(XRGB48Volume))
    {
        X_ASSERT(false);
        return X3DRect();
    }
    X_ASSERT(false);
    return inVolume.GetBounds();
}
