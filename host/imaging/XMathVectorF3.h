#pragma once

#include <cmath>

// A point or direction of three float32 components.
struct XMathVectorF3
{
    float x = 0;
    float y = 0;
    float z = 0;

    constexpr XMathVectorF3() = default;
    constexpr XMathVectorF3(float inX, float inY, float inZ) : x(inX), y(inY), z(inZ) {}

    // Component 0, 1 or 2 (x, y, z).
    constexpr float& operator[](int inIndex) { return inIndex == 0 ? x : (inIndex == 1 ? y : z); }
    constexpr float operator[](int inIndex) const
    {
        return inIndex == 0 ? x : (inIndex == 1 ? y : z);
    }

    constexpr XMathVectorF3& operator+=(const XMathVectorF3& inOther)
    {
        x += inOther.x;
        y += inOther.y;
        z += inOther.z;
        return *this;
    }
    constexpr XMathVectorF3& operator-=(const XMathVectorF3& inOther)
    {
        x -= inOther.x;
        y -= inOther.y;
        z -= inOther.z;
        return *this;
    }
    constexpr XMathVectorF3& operator*=(float inScale)
    {
        x *= inScale;
        y *= inScale;
        z *= inScale;
        return *this;
    }

    constexpr float LengthSquared() const { return x * x + y * y + z * z; }
    float Length() const { return std::sqrt(LengthSquared()); }
    // The unit vector of the same direction; the zero vector gives non-finite components.
    XMathVectorF3 Normalized() const
    {
        const float inverseLength = 1.0f / Length();
        return {x * inverseLength, y * inverseLength, z * inverseLength};
    }

    constexpr bool operator==(const XMathVectorF3& inOther) const = default;
};

constexpr XMathVectorF3 operator+(const XMathVectorF3& inA, const XMathVectorF3& inB)
{
    return {inA.x + inB.x, inA.y + inB.y, inA.z + inB.z};
}

constexpr XMathVectorF3 operator-(const XMathVectorF3& inA, const XMathVectorF3& inB)
{
    return {inA.x - inB.x, inA.y - inB.y, inA.z - inB.z};
}

constexpr XMathVectorF3 operator-(const XMathVectorF3& inA)
{
    return {-inA.x, -inA.y, -inA.z};
}

constexpr XMathVectorF3 operator*(const XMathVectorF3& inA, float inScale)
{
    return {inA.x * inScale, inA.y * inScale, inA.z * inScale};
}

constexpr XMathVectorF3 operator*(float inScale, const XMathVectorF3& inA)
{
    return inA * inScale;
}

constexpr XMathVectorF3 operator/(const XMathVectorF3& inA, float inDivisor)
{
    return {inA.x / inDivisor, inA.y / inDivisor, inA.z / inDivisor};
}

// Componentwise product.
constexpr XMathVectorF3 Mul(const XMathVectorF3& inA, const XMathVectorF3& inB)
{
    return {inA.x * inB.x, inA.y * inB.y, inA.z * inB.z};
}

constexpr float Dot(const XMathVectorF3& inA, const XMathVectorF3& inB)
{
    return inA.x * inB.x + inA.y * inB.y + inA.z * inB.z;
}

// Right-handed cross product: Cross(x, y) = z.
constexpr XMathVectorF3 Cross(const XMathVectorF3& inA, const XMathVectorF3& inB)
{
    return {inA.y * inB.z - inA.z * inB.y, inA.z * inB.x - inA.x * inB.z,
            inA.x * inB.y - inA.y * inB.x};
}
