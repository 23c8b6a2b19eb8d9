#pragma once

#include "host/core/XException.h"
#include "host/core/XLockable.h"
#include "host/imaging/XHyperBufferView.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

// An N-dimensional box of elements with C components each, held in one zero-initialised
// allocation. Components of one element are adjacent when interleaved; otherwise each component
// is a whole N-dimensional block of its own.
template <std::size_t N, class T>
class XHyperBuffer : public XLockable
{
public:
    using Coordinates = std::array<std::int32_t, N>;
    using Extents = std::array<std::uint32_t, N>;
    using Strides = std::array<std::ptrdiff_t, N>;
    using View = XHyperBufferView<N, T>;
    using ConstView = XHyperBufferView<N, const T>;

    // Throws XException when the element count does not fit in memory addressing.
    XHyperBuffer(const Coordinates& inOrigin, const Extents& inExtents,
                 std::uint32_t inComponents = 1, bool inInterleaved = true)
        : itsOrigin(inOrigin), itsExtents(inExtents), itsComponents(inComponents),
          itsInterleaved(inInterleaved), itsData(CountElements(inExtents, inComponents))
    {
        std::ptrdiff_t step = itsInterleaved ? static_cast<std::ptrdiff_t>(itsComponents) : 1;
        for (std::size_t axis = 0; axis < N; ++axis)
        {
            itsStrides[axis] = step;
            step *= static_cast<std::ptrdiff_t>(itsExtents[axis]);
        }
        itsComponentStride = itsInterleaved ? 1 : step;
    }

    const Coordinates& GetOrigin() const { return itsOrigin; }
    const Extents& GetExtents() const { return itsExtents; }
    std::uint32_t GetComponents() const { return itsComponents; }
    bool IsInterleaved() const { return itsInterleaved; }
    // Element strides of the axes and of the components.
    const Strides& GetStrides() const { return itsStrides; }
    std::ptrdiff_t GetComponentStride() const { return itsComponentStride; }

    T* GetData() { return itsData.data(); }
    const T* GetData() const { return itsData.data(); }
    // The number of elements the storage holds now; product(extents) × components after a lock.
    std::size_t GetElementCount() const { return itsData.size(); }

    // The whole box, component 0.
    View GetView()
    {
        return View(itsData.data(), itsOrigin, itsExtents, itsStrides, itsComponentStride,
                    itsComponents);
    }
    ConstView GetView() const
    {
        return ConstView(itsData.data(), itsOrigin, itsExtents, itsStrides, itsComponentStride,
                         itsComponents);
    }

    // Restores storage of the box's size first (a moved-from buffer has none), then locks.
    void LockFor(XLockMode inMode) override
    {
        const std::size_t count = CountElements(itsExtents, itsComponents);
        if (itsData.size() != count)
        {
            itsData.assign(count, T{});
        }
        XLockable::LockFor(inMode);
    }

private:
    static std::size_t CountElements(const Extents& inExtents, std::uint32_t inComponents)
    {
        // Strides are signed element offsets, so the byte size must fit std::ptrdiff_t.
        constexpr std::uint64_t limit =
            static_cast<std::uint64_t>(std::numeric_limits<std::ptrdiff_t>::max()) / sizeof(T);
        std::uint64_t count = inComponents;
        bool fits = count <= limit;
        for (std::size_t axis = 0; axis < N && fits; ++axis)
        {
            const std::uint64_t extent = inExtents[axis];
            fits = extent == 0 || count <= limit / extent;
            count *= fits ? extent : 1;
        }
        if (!fits)
        {
            throw XException(XException::kInvalidArgument,
                             "Buffer too large: its element count exceeds the addressable " +
                                 std::to_string(limit) + " elements");
        }
        return static_cast<std::size_t>(count);
    }

    Coordinates itsOrigin;
    Extents itsExtents;
    std::uint32_t itsComponents;
    bool itsInterleaved;
    Strides itsStrides{};
    std::ptrdiff_t itsComponentStride = 1;
    std::vector<T> itsData;
};
