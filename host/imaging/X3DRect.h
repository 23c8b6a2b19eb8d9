#pragma once

#include "host/core/XStorable.h"
#include "host/imaging/XRect.h"

#include <cstdint>

// A box of voxels: x0, y0, z0 inclusive, x1, y1, z1 exclusive.
class X3DRect : public XStorable
{
public:
    X3DRect() = default;
    X3DRect(std::int32_t inX0, std::int32_t inY0, std::int32_t inZ0, std::int32_t inX1,
            std::int32_t inY1, std::int32_t inZ1);
    // The XY rectangle extended over the planes [inZ0, inZ1).
    X3DRect(const XRect& inXY, std::int32_t inZ0, std::int32_t inZ1);

    std::int32_t GetX0() const { return itsX0; }
    std::int32_t GetY0() const { return itsY0; }
    std::int32_t GetZ0() const { return itsZ0; }
    std::int32_t GetX1() const { return itsX1; }
    std::int32_t GetY1() const { return itsY1; }
    std::int32_t GetZ1() const { return itsZ1; }

    // Extents; 0 when the upper bound is not above the lower one.
    std::uint32_t GetWidth() const { return Extent(itsX0, itsX1); }
    std::uint32_t GetHeight() const { return Extent(itsY0, itsY1); }
    std::uint32_t GetDepth() const { return Extent(itsZ0, itsZ1); }
    std::uint64_t GetVoxelCount() const
    {
        return std::uint64_t(GetWidth()) * GetHeight() * GetDepth();
    }

    // The rectangle (x0, y0) to (x1, y1).
    XRect GetXYBounds() const { return XRect(itsX0, itsY0, itsX1, itsY1); }

    // The intersection; without overlap on an axis that axis is empty (upper = lower).
    X3DRect Sect(const X3DRect& inOther) const;
    bool Contains(std::int32_t inX, std::int32_t inY, std::int32_t inZ) const
    {
        return itsX0 <= inX && inX < itsX1 && itsY0 <= inY && inY < itsY1 && itsZ0 <= inZ &&
               inZ < itsZ1;
    }

    bool IsEqual(const X3DRect& inOther) const { return *this == inOther; }
    bool operator==(const X3DRect& inOther) const;

    // Stored form: the version record, then x0, y0, z0, x1, y1, z1 as 32-bit words.
    std::uint32_t GetClassID() const override;
    std::unique_ptr<XStorable> Clone() const override;
    std::uint64_t GetStreamSize() const override;
    void Read(XStream& inStream) override;
    void Write(XStream& outStream) const override;

private:
    static std::uint32_t Extent(std::int32_t inLower, std::int32_t inUpper)
    {
        return inUpper > inLower
                   ? static_cast<std::uint32_t>(std::int64_t(inUpper) - std::int64_t(inLower))
                   : 0;
    }

    std::int32_t itsX0 = 0;
    std::int32_t itsY0 = 0;
    std::int32_t itsZ0 = 0;
    std::int32_t itsX1 = 0;
    std::int32_t itsY1 = 0;
    std::int32_t itsZ1 = 0;
};
