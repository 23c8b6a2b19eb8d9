#pragma once

#include "host/core/XInternalError.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

// A window onto an XHyperBuffer: a box of N-dimensional coordinates, the element strides of its
// axes and of its components, and the address of component 0 of the element at the box's origin.
// Views neither own nor lock the storage; the buffer must outlive them and stay locked while
// they are used.
template <std::size_t N, class T>
class XHyperBufferView
{
public:
    using Coordinates = std::array<std::int32_t, N>;
    using Extents = std::array<std::uint32_t, N>;
    using Strides = std::array<std::ptrdiff_t, N>;

    XHyperBufferView(T* inBase, const Coordinates& inOrigin, const Extents& inExtents,
                     const Strides& inStrides, std::ptrdiff_t inComponentStride,
                     std::uint32_t inComponents)
        : itsBase(inBase), itsOrigin(inOrigin), itsExtents(inExtents), itsStrides(inStrides),
          itsComponentStride(inComponentStride), itsComponents(inComponents)
    {
    }

    T* GetBaseAddress() const { return itsBase; }
    const Coordinates& GetOrigin() const { return itsOrigin; }
    const Extents& GetExtents() const { return itsExtents; }
    const Strides& GetStrides() const { return itsStrides; }
    std::ptrdiff_t GetComponentStride() const { return itsComponentStride; }
    // The components reachable from this view's base: all of them for a buffer's view, those
    // from the selected one on after SelectComponent.
    std::uint32_t GetComponents() const { return itsComponents; }

    // The same storage seen through a sub-box, which must lie inside this view's box.
    XHyperBufferView Restrict(const Coordinates& inOrigin, const Extents& inExtents) const
    {
        bool inside = true;
        for (std::size_t axis = 0; axis < N; ++axis)
        {
            const std::int64_t lower = itsOrigin[axis];
            const std::int64_t upper = lower + itsExtents[axis];
            const std::int64_t subLower = inOrigin[axis];
            const std::int64_t subUpper = subLower + inExtents[axis];
            inside = inside && subLower >= lower && subUpper <= upper;
        }
        if (!inside)
        {
            XReportInternalError("inside", kSourceName, __LINE__);
        }
        return XHyperBufferView(&At(inOrigin), inOrigin, inExtents, itsStrides, itsComponentStride,
                                itsComponents);
    }

    // The view whose base address is component inComponent of the origin element; component k
    // of the result is component inComponent + k of this view.
    XHyperBufferView SelectComponent(std::uint32_t inComponent) const
    {
        const bool valid = inComponent < itsComponents;
        if (!valid)
        {
            XReportInternalError("inComponent < itsComponents", kSourceName, __LINE__);
        }
        T* const base = itsBase + static_cast<std::ptrdiff_t>(inComponent) * itsComponentStride;
        return XHyperBufferView(base, itsOrigin, itsExtents, itsStrides, itsComponentStride,
                                valid ? itsComponents - inComponent : 0);
    }

    // The element at absolute coordinates inside the view's box (not checked: hot path).
    T& At(const Coordinates& inCoordinates) const
    {
        std::ptrdiff_t offset = 0;
        for (std::size_t axis = 0; axis < N; ++axis)
        {
            offset += (static_cast<std::ptrdiff_t>(inCoordinates[axis]) - itsOrigin[axis]) *
                      itsStrides[axis];
        }
        return itsBase[offset];
    }

private:
    static constexpr std::string_view kSourceName = "host/imaging/XHyperBufferView";

    T* itsBase;
    Coordinates itsOrigin;
    Extents itsExtents;
    Strides itsStrides;
    std::ptrdiff_t itsComponentStride;
    std::uint32_t itsComponents;
};
