#pragma once

#include <cmath>

// A point or direction of the demo's cell model, in micrometres.
struct XDemoVector
{
    double x = 0.0;
    double y = 0.0;
    double z = 0.0;
};

inline XDemoVector operator+(const XDemoVector& inA, const XDemoVector& inB)
{
    return {inA.x + inB.x, inA.y + inB.y, inA.z + inB.z};
}

inline XDemoVector operator-(const XDemoVector& inA, const XDemoVector& inB)
{
    return {inA.x - inB.x, inA.y - inB.y, inA.z - inB.z};
}

inline XDemoVector operator*(const XDemoVector& inA, double inS)
{
    return {inA.x * inS, inA.y * inS, inA.z * inS};
}

inline double Dot(const XDemoVector& inA, const XDemoVector& inB)
{
    return inA.x * inB.x + inA.y * inB.y + inA.z * inB.z;
}

inline double Length(const XDemoVector& inA)
{
    return std::sqrt(Dot(inA, inA));
}

inline XDemoVector Normalised(const XDemoVector& inA, const XDemoVector& inFallback)
{
    const double length = Length(inA);
    return length > 1e-12 ? inA * (1.0 / length) : inFallback;
}
