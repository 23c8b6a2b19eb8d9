#pragma once

// A linear, unbounded RGB colour of three float32 components.
struct XRGBSpectrum
{
    float r = 0;
    float g = 0;
    float b = 0;

    constexpr XRGBSpectrum() = default;
    constexpr XRGBSpectrum(float inR, float inG, float inB) : r(inR), g(inG), b(inB) {}

    constexpr XRGBSpectrum& operator+=(const XRGBSpectrum& inOther)
    {
        r += inOther.r;
        g += inOther.g;
        b += inOther.b;
        return *this;
    }
    // Componentwise product.
    constexpr XRGBSpectrum& operator*=(const XRGBSpectrum& inOther)
    {
        r *= inOther.r;
        g *= inOther.g;
        b *= inOther.b;
        return *this;
    }
    constexpr XRGBSpectrum& operator*=(float inScale)
    {
        r *= inScale;
        g *= inScale;
        b *= inScale;
        return *this;
    }

    constexpr bool operator==(const XRGBSpectrum& inOther) const = default;
};

constexpr XRGBSpectrum operator+(XRGBSpectrum inA, const XRGBSpectrum& inB)
{
    return inA += inB;
}

// Componentwise product.
constexpr XRGBSpectrum operator*(XRGBSpectrum inA, const XRGBSpectrum& inB)
{
    return inA *= inB;
}

constexpr XRGBSpectrum operator*(XRGBSpectrum inA, float inScale)
{
    return inA *= inScale;
}

constexpr XRGBSpectrum operator*(float inScale, XRGBSpectrum inA)
{
    return inA *= inScale;
}
