#include "apps/demo/XDemoSliceRenderer.h"

#include <algorithm>
#include <cmath>

namespace
{
// Thin structures, in micrometres (standard deviations of Gaussian profiles), and the width of
// the soft edge of nuclei and cytoplasm.
constexpr double kMembraneSigma = 0.15;
constexpr double kFilamentSigma = XDemoSliceRenderer::kFilamentSigma;
constexpr double kEdgeWidth = 0.3;
// Diffuse stain of the cytoplasm in the membrane and filament channels, as a share of the peak.
constexpr float kCytoplasmMembraneStain = 0.05f;
constexpr float kCytoplasmFilamentStain = 0.04f;

// Seeds of the texture lattices, one per channel.
constexpr std::uint32_t kNucleusTexture = 0x6e75636cu;
constexpr std::uint32_t kNucleusFineTexture = 0x63686d74u;
constexpr std::uint32_t kMembraneTexture = 0x6d656d62u;

std::uint32_t Mix(std::uint32_t inValue)
{
    inValue ^= inValue >> 16;
    inValue *= 0x7feb352du;
    inValue ^= inValue >> 15;
    inValue *= 0x846ca68bu;
    inValue ^= inValue >> 16;
    return inValue;
}

double LatticeValue(std::int64_t inX, std::int64_t inY, std::int64_t inZ, std::uint32_t inSeed)
{
    const std::uint32_t hash =
        Mix(static_cast<std::uint32_t>(inX) * 0x9e3779b1u ^
            Mix(static_cast<std::uint32_t>(inY) * 0x85ebca77u ^
                Mix(static_cast<std::uint32_t>(inZ) * 0xc2b2ae3du ^ inSeed)));
    return hash * (1.0 / 4294967296.0);
}

double Smooth(double inT)
{
    return inT * inT * (3.0 - 2.0 * inT);
}

// Smooth value noise in [0, 1) with one lattice cell per unit.
double ValueNoise(const XDemoVector& inPoint, std::uint32_t inSeed)
{
    const double fx = std::floor(inPoint.x);
    const double fy = std::floor(inPoint.y);
    const double fz = std::floor(inPoint.z);
    const auto ix = static_cast<std::int64_t>(fx);
    const auto iy = static_cast<std::int64_t>(fy);
    const auto iz = static_cast<std::int64_t>(fz);
    const double tx = Smooth(inPoint.x - fx);
    const double ty = Smooth(inPoint.y - fy);
    const double tz = Smooth(inPoint.z - fz);
    double value = 0.0;
    for (int corner = 0; corner < 8; ++corner)
    {
        const int dx = corner & 1;
        const int dy = (corner >> 1) & 1;
        const int dz = (corner >> 2) & 1;
        const double weight = (dx ? tx : 1.0 - tx) * (dy ? ty : 1.0 - ty) * (dz ? tz : 1.0 - tz);
        value += weight * LatticeValue(ix + dx, iy + dy, iz + dz, inSeed);
    }
    return value;
}

double Clamp01(double inValue)
{
    return std::clamp(inValue, 0.0, 1.0);
}

// The ranges of pixel indices whose centres lie within inReach of inCentre along one axis.
struct XSpan
{
    std::int64_t first = 0;
    std::int64_t last = -1;
};

XSpan SpanAround(double inCentre, double inReach, double inStep, std::uint32_t inCount)
{
    XSpan span;
    span.first = std::max<std::int64_t>(
        0, static_cast<std::int64_t>(std::ceil((inCentre - inReach) / inStep)));
    span.last = std::min<std::int64_t>(
        static_cast<std::int64_t>(inCount) - 1,
        static_cast<std::int64_t>(std::floor((inCentre + inReach) / inStep)));
    return span;
}
} // namespace

XDemoSliceRenderer::XDemoSliceRenderer(const XDemoStack::XSettings& inSettings,
                                       const XDemoCellCluster& inCluster)
    : itsSettings(inSettings), itsCells(inCluster.GetCells()),
      itsFilaments(inCluster.GetFilamentPoints()),
      itsPixelCount(std::size_t{inSettings.width} * inSettings.height)
{
    for (std::vector<float>& channel : itsChannels)
    {
        channel.resize(itsPixelCount);
    }
    itsNearest.resize(itsPixelCount);
}

void XDemoSliceRenderer::Render(double inZ, const std::vector<std::uint32_t>& inFilamentPoints)
{
    for (std::vector<float>& channel : itsChannels)
    {
        std::fill(channel.begin(), channel.end(), 0.0f);
    }
    std::fill(itsNearest.begin(), itsNearest.end(), XNearest());
    for (std::size_t index = 0; index < itsCells.size(); ++index)
    {
        AddCell(index, inZ);
        AddNucleus(itsCells[index], inZ);
    }
    ShadeMembranes(inZ);
    for (const std::uint32_t point : inFilamentPoints)
    {
        AddFilamentPoint(itsFilaments[point], inZ);
    }
}

XDemoVector XDemoSliceRenderer::At(std::int64_t inX, std::int64_t inY, double inZ) const
{
    return {static_cast<double>(inX) * itsSettings.voxelSize[0],
            static_cast<double>(inY) * itsSettings.voxelSize[1], inZ};
}

void XDemoSliceRenderer::AddCell(std::size_t inIndex, double inZ)
{
    const XDemoEllipsoid& cell = itsCells[inIndex].cell;
    // The membrane's profile reaches a little beyond the outline.
    const double reach = 1.3 * cell.GetReach();
    if (std::abs(inZ - cell.centre.z) > reach)
    {
        return;
    }
    const XSpan xs = SpanAround(cell.centre.x, reach, itsSettings.voxelSize[0], itsSettings.width);
    const XSpan ys = SpanAround(cell.centre.y, reach, itsSettings.voxelSize[1], itsSettings.height);
    for (std::int64_t y = ys.first; y <= ys.last; ++y)
    {
        for (std::int64_t x = xs.first; x <= xs.last; ++x)
        {
            double radius = 0.0;
            const double distance = cell.Distance(At(x, y, inZ), radius);
            XNearest& nearest = itsNearest[static_cast<std::size_t>(y * itsSettings.width + x)];
            if (distance < nearest.distance1)
            {
                nearest.distance2 = nearest.distance1;
                nearest.radius2 = nearest.radius1;
                nearest.distance1 = distance;
                nearest.radius1 = radius;
                nearest.cell = static_cast<std::int32_t>(inIndex);
            }
            else if (distance < nearest.distance2)
            {
                nearest.distance2 = distance;
                nearest.radius2 = radius;
            }
        }
    }
}

// A filled nucleus with a soft edge and a chromatin-like texture.
void XDemoSliceRenderer::AddNucleus(const XDemoCellCluster::XCell& inCell, double inZ)
{
    const XDemoEllipsoid& nucleus = inCell.nucleus;
    const double reach = nucleus.GetReach() + kEdgeWidth;
    if (std::abs(inZ - nucleus.centre.z) > reach)
    {
        return;
    }
    const XSpan xs =
        SpanAround(nucleus.centre.x, reach, itsSettings.voxelSize[0], itsSettings.width);
    const XSpan ys =
        SpanAround(nucleus.centre.y, reach, itsSettings.voxelSize[1], itsSettings.height);
    float* nuclei = itsChannels[0].data();
    for (std::int64_t y = ys.first; y <= ys.last; ++y)
    {
        for (std::int64_t x = xs.first; x <= xs.last; ++x)
        {
            const XDemoVector point = At(x, y, inZ);
            double radius = 0.0;
            const double distance = nucleus.Distance(point, radius);
            const double mask = Clamp01(0.5 + (1.0 - distance) * radius / kEdgeWidth);
            if (mask <= 0.0)
            {
                continue;
            }
            const double texture = 0.6 + 0.55 * ValueNoise(point * (1.0 / 0.7), kNucleusTexture) +
                                   0.25 * ValueNoise(point * (1.0 / 0.3), kNucleusFineTexture);
            const auto value = static_cast<float>(inCell.nucleusBrightness * mask * texture);
            float& pixel = nuclei[y * itsSettings.width + x];
            pixel = std::max(pixel, value);
        }
    }
}

// Membranes lie on the outline of the cluster and where two cells meet; the cytoplasm
// carries a faint stain in the membrane and filament channels.
void XDemoSliceRenderer::ShadeMembranes(double inZ)
{
    float* membranes = itsChannels[1].data();
    float* filaments = itsChannels[2].data();
    const auto width = static_cast<std::int64_t>(itsSettings.width);
    for (std::size_t pixel = 0; pixel < itsPixelCount; ++pixel)
    {
        const XNearest& nearest = itsNearest[pixel];
        if (nearest.cell < 0 || nearest.distance1 > 1.5)
        {
            continue;
        }
        // Distances to the outline and to the boundary with the next cell, in micrometres.
        double distance = std::abs(1.0 - nearest.distance1) * nearest.radius1;
        if (nearest.distance2 < 1.0)
        {
            const double between = (nearest.distance2 - nearest.distance1) /
                                   (1.0 / nearest.radius1 + 1.0 / nearest.radius2);
            distance = std::min(distance, between);
        }
        const double inside =
            Clamp01(0.5 + (1.0 - nearest.distance1) * nearest.radius1 / kEdgeWidth);
        double membrane = 0.0;
        if (distance < 4.0 * kMembraneSigma)
        {
            const auto x = static_cast<std::int64_t>(pixel) % width;
            const auto y = static_cast<std::int64_t>(pixel) / width;
            const double texture =
                0.7 + 0.6 * ValueNoise(At(x, y, inZ) * (1.0 / 0.6), kMembraneTexture);
            membrane = itsCells[static_cast<std::size_t>(nearest.cell)].membraneBrightness *
                       texture *
                       std::exp(-0.5 * distance * distance / (kMembraneSigma * kMembraneSigma));
        }
        membranes[pixel] = static_cast<float>(membrane + kCytoplasmMembraneStain * inside);
        filaments[pixel] = static_cast<float>(kCytoplasmFilamentStain * inside);
    }
}

void XDemoSliceRenderer::AddFilamentPoint(const XDemoCellCluster::XFilamentPoint& inPoint,
                                          double inZ)
{
    const double reach = 3.0 * kFilamentSigma;
    const XSpan xs =
        SpanAround(inPoint.position.x, reach, itsSettings.voxelSize[0], itsSettings.width);
    const XSpan ys =
        SpanAround(inPoint.position.y, reach, itsSettings.voxelSize[1], itsSettings.height);
    float* filaments = itsChannels[2].data();
    for (std::int64_t y = ys.first; y <= ys.last; ++y)
    {
        for (std::int64_t x = xs.first; x <= xs.last; ++x)
        {
            const XDemoVector apart = At(x, y, inZ) - inPoint.position;
            const double squared = Dot(apart, apart);
            const auto value = static_cast<float>(
                inPoint.brightness * std::exp(-0.5 * squared / (kFilamentSigma * kFilamentSigma)));
            float& pixel = filaments[y * itsSettings.width + x];
            pixel = std::max(pixel, value);
        }
    }
}
