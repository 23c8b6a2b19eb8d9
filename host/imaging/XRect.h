#pragma once

#include "host/core/XInternalError.h"
#include "host/core/XStream.h"

#include <algorithm>
#include <cstdint>
#include <type_traits>

// A rectangle stored as left, top, bottom, right (in that member order), with the constructor
// taking left, top, right, bottom. Width = right - left, height = bottom - top; a point is inside
// when left <= x < right and top <= y < bottom.
template <class T>
struct XRectT
{
    T left = 0;
    T top = 0;
    T bottom = 0;
    T right = 0;

    constexpr XRectT() = default;
    constexpr XRectT(T inLeft, T inTop, T inRight, T inBottom)
        : left(inLeft), top(inTop), bottom(inBottom), right(inRight)
    {
    }

    constexpr T GetWidth() const { return right - left; }
    constexpr T GetHeight() const { return bottom - top; }
    constexpr bool IsEmpty() const { return !(right > left) || !(bottom > top); }

    constexpr bool IsEqual(const XRectT& inOther) const { return *this == inOther; }
    constexpr bool operator==(const XRectT& inOther) const = default;

    constexpr bool Contains(T inX, T inY) const
    {
        return left <= inX && inX < right && top <= inY && inY < bottom;
    }
    // Whether inOther lies within this rectangle (edges may coincide).
    constexpr bool Contains(const XRectT& inOther) const
    {
        return left <= inOther.left && inOther.right <= right && top <= inOther.top &&
               inOther.bottom <= bottom;
    }

    // The intersection. Without overlap the result is empty: its right edge is clamped to its
    // left and its bottom to its top.
    constexpr XRectT Sect(const XRectT& inOther) const
    {
        XRectT result;
        result.left = std::max(left, inOther.left);
        result.top = std::max(top, inOther.top);
        result.right = std::max(result.left, std::min(right, inOther.right));
        result.bottom = std::max(result.top, std::min(bottom, inOther.bottom));
        return result;
    }

    // This rectangle carried by the linear map that takes the frame inFrom onto the frame inTo.
    // Integer results are rounded outward (left and top down, right and bottom up), so the result
    // covers the whole mapped area. A frame of zero width or height has no such map: that is
    // reported and the axis collapses onto inTo's left or top edge.
    XRectT Map(const XRectT& inFrom, const XRectT& inTo) const
    {
        const T fromWidth = inFrom.GetWidth();
        const T fromHeight = inFrom.GetHeight();
        if (fromWidth == T(0) || fromHeight == T(0))
        {
            XReportInternalError("!inFrom.IsEmpty()", "host/imaging/XRect", __LINE__);
        }
        XRectT result;
        result.left =
            MapCoordinate(left, inFrom.left, fromWidth, inTo.left, inTo.GetWidth(), false);
        result.right =
            MapCoordinate(right, inFrom.left, fromWidth, inTo.left, inTo.GetWidth(), true);
        result.top = MapCoordinate(top, inFrom.top, fromHeight, inTo.top, inTo.GetHeight(), false);
        result.bottom =
            MapCoordinate(bottom, inFrom.top, fromHeight, inTo.top, inTo.GetHeight(), true);
        return result;
    }

    // Keeps left and top.
    constexpr void SetDimensions(T inWidth, T inHeight)
    {
        right = left + inWidth;
        bottom = top + inHeight;
    }
    // Keeps width and height.
    constexpr void SetPosition(T inLeft, T inTop)
    {
        right = inLeft + GetWidth();
        bottom = inTop + GetHeight();
        left = inLeft;
        top = inTop;
    }
    constexpr void SetWidth(T inWidth) { right = left + inWidth; }
    constexpr void SetHeight(T inHeight) { bottom = top + inHeight; }

    // The four values in storage order (left, top, bottom, right); integers as 32-bit words,
    // floating point as float32.
    void Write(XStream& outStream) const
    {
        for (const T value : {left, top, bottom, right})
        {
            if constexpr (std::is_integral_v<T>)
            {
                outStream.Write32(static_cast<std::uint32_t>(value));
            }
            else
            {
                outStream.WriteFloat32S(static_cast<float>(value));
            }
        }
    }
    void Read(XStream& inStream)
    {
        inStream.CheckRemaining(4 * 4);
        for (T* value : {&left, &top, &bottom, &right})
        {
            if constexpr (std::is_integral_v<T>)
            {
                *value = static_cast<T>(static_cast<std::int32_t>(inStream.Read32()));
            }
            else
            {
                *value = static_cast<T>(inStream.ReadFloat32S());
            }
        }
    }

private:
    static T MapCoordinate(T inValue, T inFromOrigin, T inFromSize, T inToOrigin, T inToSize,
                           bool inRoundUp)
    {
        if (inFromSize == T(0))
        {
            return inToOrigin;
        }
        if constexpr (std::is_integral_v<T>)
        {
            const std::int64_t numerator =
                (std::int64_t(inValue) - std::int64_t(inFromOrigin)) * std::int64_t(inToSize);
            const std::int64_t denominator = inFromSize;
            std::int64_t quotient = numerator / denominator;
            const bool inexact = numerator % denominator != 0;
            const bool positive = (numerator < 0) == (denominator < 0);
            if (inexact && inRoundUp && positive)
            {
                ++quotient;
            }
            else if (inexact && !inRoundUp && !positive)
            {
                --quotient;
            }
            return static_cast<T>(std::int64_t(inToOrigin) + quotient);
        }
        else
        {
            return inToOrigin + (inValue - inFromOrigin) * inToSize / inFromSize;
        }
    }
};

using XRect = XRectT<std::int32_t>;
using XRectF = XRectT<float>;
