#pragma once

// Named sphere scenes shared by the tests and the benchmarks: random spheres in the unit cube,
// spheres whose boxes never overlap, and the primary rays of a fixed pinhole view of the cube.

#include "host/imaging/XMathVectorF3.h"
#include "host/imaging/XMatrix_4x4.h"
#include "x-platform/core/XRay.h"
#include "x-platform/geometry/XSphere.h"
#include "x-platform/geometry/XSurface.h"

#include <cmath>
#include <cstdint>
#include <memory>
#include <numbers>
#include <random>
#include <vector>

struct XSphereSpec
{
    XMathVectorF3 centre;
    float radius = 1;
};

// A reproducible uniform source in [0, 1): 24 random bits of a fixed Mersenne twister.
class XUniformSource
{
public:
    explicit XUniformSource(std::uint32_t inSeed) : itsEngine(inSeed) {}
    float Next() { return static_cast<float>(itsEngine() >> 8) * (1.0f / 16777216.0f); }
    float Next(float inLow, float inHigh) { return inLow + (inHigh - inLow) * Next(); }

private:
    std::mt19937 itsEngine;
};

// The benchmark workload: centres uniform in the unit cube, radii uniform in [0.003, 0.012].
inline std::vector<XSphereSpec> XMakeRandomSpheres(std::size_t inCount, std::uint32_t inSeed,
                                                   float inMinRadius = 0.003f,
                                                   float inMaxRadius = 0.012f)
{
    XUniformSource random(inSeed);
    std::vector<XSphereSpec> spheres(inCount);
    for (XSphereSpec& sphere : spheres)
    {
        sphere.centre.x = random.Next();
        sphere.centre.y = random.Next();
        sphere.centre.z = random.Next();
        sphere.radius = random.Next(inMinRadius, inMaxRadius);
    }
    return spheres;
}

// One sphere in each of the first inCount cells of a cubic grid over the unit cube, placed at
// random inside its cell with a margin, so that no two bounding boxes overlap or touch.
inline std::vector<XSphereSpec> XMakeSeparatedSpheres(std::size_t inCount, std::uint32_t inSeed)
{
    XUniformSource random(inSeed);
    std::size_t side = 1;
    while (side * side * side < inCount)
    {
        ++side;
    }
    const float cell = 1.0f / static_cast<float>(side);
    std::vector<XSphereSpec> spheres(inCount);
    for (std::size_t i = 0; i < inCount; ++i)
    {
        const std::size_t cellIndex[3] = {i % side, (i / side) % side, i / (side * side)};
        XSphereSpec& sphere = spheres[i];
        sphere.radius = cell * random.Next(0.1f, 0.4f);
        const float room = cell * 0.45f - sphere.radius; // keeps a gap of 0.1 cell between boxes
        for (int axis = 0; axis < 3; ++axis)
        {
            sphere.centre[axis] =
                (static_cast<float>(cellIndex[axis]) + 0.5f) * cell + random.Next(-room, room);
        }
    }
    return spheres;
}

// One surface per sphere: an XSphere of the radius translated to the centre.
inline std::vector<std::unique_ptr<XSurface>>
XMakeSphereSurfaces(const std::vector<XSphereSpec>& inSpheres)
{
    std::vector<std::unique_ptr<XSurface>> surfaces;
    surfaces.reserve(inSpheres.size());
    for (const XSphereSpec& sphere : inSpheres)
    {
        auto surface = std::make_unique<XSurface>();
        surface->SetGeometries({XMakeRef<XSphere>(sphere.radius)});
        surface->SetTransform(
            XMatrix_4x4<float>::Translation(sphere.centre.x, sphere.centre.y, sphere.centre.z));
        surfaces.push_back(std::move(surface));
    }
    return surfaces;
}

// Primary rays of a pinhole camera at (0.5, 0.5, -1.2) looking at the centre of the unit cube
// along +z with +y up and a vertical field of view of 40 degrees, one ray through the centre of
// each pixel, row by row. Directions are unit length.
inline std::vector<XRay> XMakePrimaryRays(int inWidth, int inHeight)
{
    const XMathVectorF3 eye(0.5f, 0.5f, -1.2f);
    const float halfHeight = static_cast<float>(std::tan(20.0 * std::numbers::pi / 180.0));
    const float halfWidth = halfHeight * static_cast<float>(inWidth) / static_cast<float>(inHeight);
    std::vector<XRay> rays;
    rays.reserve(static_cast<std::size_t>(inWidth) * static_cast<std::size_t>(inHeight));
    for (int y = 0; y < inHeight; ++y)
    {
        for (int x = 0; x < inWidth; ++x)
        {
            const float sx =
                ((static_cast<float>(x) + 0.5f) / static_cast<float>(inWidth) * 2.0f - 1.0f) *
                halfWidth;
            const float sy =
                ((static_cast<float>(y) + 0.5f) / static_cast<float>(inHeight) * 2.0f - 1.0f) *
                halfHeight;
            rays.emplace_back(eye, XMathVectorF3(sx, sy, 1.0f).Normalized(), 0.0f, 1.0e6f);
        }
    }
    return rays;
}
