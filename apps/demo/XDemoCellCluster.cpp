#include "apps/demo/XDemoCellCluster.h"

#include "apps/demo/XDemoRandom.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace
{
// The extent of the default stack in micrometres; cell sizes scale with a smaller stack.
constexpr XDemoVector kDefaultExtent{38.2, 38.2, 23.5};

constexpr int kFilamentsPerCell = 4;
constexpr double kFilamentPointSpacing = 0.04; // micrometres, well below a filament's width
constexpr int kFilamentPointsPerTurn = 6;

XDemoVector ExtentOf(const XDemoStack::XSettings& inSettings)
{
    return {(inSettings.width - 1) * inSettings.voxelSize[0],
            (inSettings.height - 1) * inSettings.voxelSize[1],
            (inSettings.depth - 1) * inSettings.voxelSize[2]};
}

// How much smaller than in the default stack the cells are.
double CellScale(const XDemoStack::XSettings& inSettings)
{
    const XDemoVector extent = ExtentOf(inSettings);
    return std::min({extent.x / kDefaultExtent.x, extent.y / kDefaultExtent.y,
                     extent.z / kDefaultExtent.z, 1.0});
}
} // namespace

XDemoCellCluster::XDemoCellCluster(const XDemoStack::XSettings& inSettings, XDemoRandom& ioRandom)
{
    PlaceCells(inSettings, ioRandom);
    TraceFilaments(CellScale(inSettings), ioRandom);
}

// Cells at random places around the stack's centre, no two closer than a cell's size.
void XDemoCellCluster::PlaceCells(const XDemoStack::XSettings& inSettings, XDemoRandom& ioRandom)
{
    const XDemoVector extent = ExtentOf(inSettings);
    const XDemoVector centre = extent * 0.5;
    const double scale = CellScale(inSettings);
    double spacing = 8.5 * scale;
    for (std::uint32_t index = 0; index < inSettings.cellCount; ++index)
    {
        XDemoVector position;
        for (int attempt = 1;; ++attempt)
        {
            position = centre + XDemoVector{ioRandom.Uniform(-0.31, 0.31) * extent.x,
                                            ioRandom.Uniform(-0.31, 0.31) * extent.y,
                                            ioRandom.Uniform(-0.2, 0.2) * extent.z};
            // Cells are flatter than wide, so a distance along z counts more.
            const bool free = std::all_of(itsCells.begin(), itsCells.end(),
                                          [&](const XCell& inOther)
                                          {
                                              XDemoVector apart = position - inOther.cell.centre;
                                              apart.z *= 1.3;
                                              return Length(apart) >= spacing;
                                          });
            if (free)
            {
                break;
            }
            if (attempt % 500 == 0)
            {
                spacing *= 0.95;
            }
        }

        XCell model;
        XDemoEllipsoid& cell = model.cell;
        cell.centre = position;
        cell.radii.x = scale * ioRandom.Uniform(5.2, 6.4);
        cell.radii.y = cell.radii.x * ioRandom.Uniform(0.8, 1.0);
        cell.radii.z = scale * ioRandom.Uniform(3.8, 4.8);
        const double angle = ioRandom.Uniform(0.0, std::numbers::pi);
        cell.cosAngle = std::cos(angle);
        cell.sinAngle = std::sin(angle);
        cell.lobeA = ioRandom.Uniform(-0.08, 0.08);
        cell.lobeB = ioRandom.Uniform(-0.08, 0.08);

        XDemoEllipsoid& nucleus = model.nucleus;
        nucleus.centre = position + XDemoVector{ioRandom.Uniform(-0.1, 0.1) * cell.radii.x,
                                                ioRandom.Uniform(-0.1, 0.1) * cell.radii.y,
                                                ioRandom.Uniform(-0.08, 0.08) * cell.radii.z};
        nucleus.radii.x = 0.5 * cell.radii.x * ioRandom.Uniform(0.9, 1.05);
        nucleus.radii.y = 0.52 * cell.radii.y * ioRandom.Uniform(0.9, 1.05);
        nucleus.radii.z = 0.55 * cell.radii.z * ioRandom.Uniform(0.9, 1.0);
        const double nucleusAngle = angle + ioRandom.Uniform(-0.3, 0.3);
        nucleus.cosAngle = std::cos(nucleusAngle);
        nucleus.sinAngle = std::sin(nucleusAngle);
        nucleus.lobeA = ioRandom.Uniform(-0.03, 0.03);
        nucleus.lobeB = ioRandom.Uniform(-0.03, 0.03);

        model.nucleusBrightness = ioRandom.Uniform(0.75, 1.0);
        model.membraneBrightness = ioRandom.Uniform(0.8, 1.0);
        itsCells.push_back(model);
    }
}

// Persistent random walks through each cell's cytoplasm: they start just outside the nucleus,
// turn a little every few tenths of a micrometre, keep mostly level, and steer away from the
// cell's outline and the nucleus. A walk ends where it would leave its cell.
void XDemoCellCluster::TraceFilaments(double inScale, XDemoRandom& ioRandom)
{
    for (std::size_t index = 0; index < itsCells.size(); ++index)
    {
        const XDemoEllipsoid& cell = itsCells[index].cell;
        const XDemoEllipsoid& nucleus = itsCells[index].nucleus;
        for (int filament = 0; filament < kFilamentsPerCell; ++filament)
        {
            const double brightness = ioRandom.Uniform(0.7, 1.0);
            const double length = inScale * ioRandom.Uniform(10.0, 18.0);
            const XDemoVector out = Normalised(
                XDemoVector{ioRandom.Normal(), ioRandom.Normal(), 0.5 * ioRandom.Normal()},
                {1, 0, 0});
            double surface = 0.0;
            nucleus.Distance(nucleus.centre + out, surface);
            XDemoVector position = nucleus.centre + out * (1.2 * surface);
            const XDemoVector twist{ioRandom.Normal(), ioRandom.Normal(), ioRandom.Normal()};
            XDemoVector direction = Normalised(twist - out * Dot(twist, out), {-out.y, out.x, 0.0});

            const auto steps = static_cast<int>(length / kFilamentPointSpacing);
            for (int step = 0; step < steps; ++step)
            {
                if (step % kFilamentPointsPerTurn == 0)
                {
                    direction =
                        direction + XDemoVector{0.3 * ioRandom.Normal(), 0.3 * ioRandom.Normal(),
                                                0.12 * ioRandom.Normal()};
                    direction.z *= 0.8;
                    const XDemoVector ahead = position + direction * (0.6 * inScale);
                    if (cell.Distance(ahead) > 0.8)
                    {
                        const XDemoVector outward = Normalised(ahead - cell.centre, direction);
                        const double along = Dot(direction, outward);
                        if (along > 0.0)
                        {
                            direction = direction - outward * (1.5 * along);
                        }
                    }
                    if (nucleus.Distance(ahead) < 1.15)
                    {
                        const XDemoVector away = Normalised(ahead - nucleus.centre, direction);
                        const double along = Dot(direction, away);
                        if (along < 0.0)
                        {
                            direction = direction - away * (1.5 * along);
                        }
                    }
                    direction = Normalised(direction, {1, 0, 0});
                }
                position = position + direction * kFilamentPointSpacing;
                const double inCell = cell.Distance(position);
                if (inCell > 0.95 || nucleus.Distance(position) < 1.0)
                {
                    break;
                }
                // Into a neighbour's territory (cells share the space where they overlap).
                bool neighbour = false;
                for (std::size_t other = 0; other < itsCells.size() && !neighbour; ++other)
                {
                    neighbour = other != index && itsCells[other].cell.Distance(position) < inCell;
                }
                if (neighbour)
                {
                    break;
                }
                itsFilamentPoints.push_back({position, brightness});
            }
        }
    }
}
