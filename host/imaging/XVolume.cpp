#include "host/imaging/XVolume.h"

#include <algorithm>

namespace
{
X3DRect WithEmptyInvertedAxes(const X3DRect& inBounds)
{
    return X3DRect(inBounds.GetX0(), inBounds.GetY0(), inBounds.GetZ0(),
                   std::max(inBounds.GetX0(), inBounds.GetX1()),
                   std::max(inBounds.GetY0(), inBounds.GetY1()),
                   std::max(inBounds.GetZ0(), inBounds.GetZ1()));
}
} // namespace

XVolume::XVolume(const X3DRect& inBounds) : itsBounds(WithEmptyInvertedAxes(inBounds)) {}

XVolume::~XVolume() = default;
