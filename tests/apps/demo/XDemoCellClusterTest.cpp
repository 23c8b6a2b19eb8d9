#include "apps/demo/XDemoCellCluster.h"

#include "apps/demo/XDemoRandom.h"
#include "apps/demo/XDemoSliceRenderer.h"

#include <gtest/gtest.h>

#include <cmath>

TEST(XDemoCellClusterTest, CellsHoldTheirNucleiAndFilamentsRunThroughTheCytoplasm)
{
    const XDemoStack::XSettings settings; // the default stack's size
    XDemoRandom random(settings.seed);
    const XDemoCellCluster cluster(settings, random);
    const std::vector<XDemoCellCluster::XCell>& cells = cluster.GetCells();
    ASSERT_EQ(cells.size(), settings.cellCount);

    const XDemoVector extent{191 * 0.2, 191 * 0.2, 47 * 0.5};
    for (const XDemoCellCluster::XCell& cell : cells)
    {
        const XDemoVector& centre = cell.cell.centre;
        EXPECT_GT(centre.x, 0.0);
        EXPECT_LT(centre.x, extent.x);
        EXPECT_GT(centre.z, 0.0);
        EXPECT_LT(centre.z, extent.z);
        // The nucleus's centre and the ends of its axes lie well inside the cell.
        const XDemoEllipsoid& nucleus = cell.nucleus;
        EXPECT_LT(cell.cell.Distance(nucleus.centre), 0.3);
        for (const XDemoVector& axis :
             {XDemoVector{nucleus.radii.x, 0, 0}, XDemoVector{0, nucleus.radii.y, 0},
              XDemoVector{0, 0, nucleus.radii.z}})
        {
            EXPECT_LT(cell.cell.Distance(nucleus.centre + axis), 0.85);
            EXPECT_LT(cell.cell.Distance(nucleus.centre - axis), 0.85);
        }
        EXPECT_GT(cell.nucleusBrightness, 0.5);
        EXPECT_LE(cell.nucleusBrightness, 1.0);
    }

    // Each filament point lies inside the cell nearest to it and outside every nucleus.
    const std::vector<XDemoCellCluster::XFilamentPoint>& points = cluster.GetFilamentPoints();
    ASSERT_GT(points.size(), 10u * 4u * 50u);
    for (const XDemoCellCluster::XFilamentPoint& point : points)
    {
        double nearest = 1e9;
        for (const XDemoCellCluster::XCell& cell : cells)
        {
            nearest = std::min(nearest, cell.cell.Distance(point.position));
            ASSERT_GE(cell.nucleus.Distance(point.position), 1.0);
        }
        ASSERT_LE(nearest, 0.95);
    }
    // Neighbouring points of one filament are a fixed small step apart.
    std::size_t steps = 0;
    for (std::size_t i = 1; i < points.size(); ++i)
    {
        const double gap = Length(points[i].position - points[i - 1].position);
        steps += std::abs(gap - 0.04) < 1e-9 ? 1 : 0;
    }
    EXPECT_GT(steps, points.size() * 9 / 10);
}

TEST(XDemoSliceRendererTest, ASliceThroughANucleusShowsItAndNothingOutsideTheCells)
{
    XDemoStack::XSettings settings;
    settings.cellCount = 1;
    XDemoRandom random(settings.seed);
    const XDemoCellCluster cluster(settings, random);
    const XDemoCellCluster::XCell& cell = cluster.GetCells().front();
    XDemoSliceRenderer renderer(settings, cluster);
    renderer.Render(cell.nucleus.centre.z, {});

    const auto pixel = [&](double inX, double inY)
    {
        return static_cast<std::size_t>(std::lround(inY / 0.2)) * settings.width +
               static_cast<std::size_t>(std::lround(inX / 0.2));
    };
    // The nucleus is filled, its texture between 0.6 and 1.4 of its brightness; the nucleus lies
    // in the cytoplasm, which carries the faint stains, away from the membrane.
    const std::size_t centre = pixel(cell.nucleus.centre.x, cell.nucleus.centre.y);
    EXPECT_GE(renderer.GetChannel(0)[centre], 0.6 * cell.nucleusBrightness - 1e-6);
    EXPECT_LE(renderer.GetChannel(0)[centre], 1.4 * cell.nucleusBrightness + 1e-6);
    EXPECT_NEAR(renderer.GetChannel(1)[centre], 0.05, 1e-3);
    EXPECT_NEAR(renderer.GetChannel(2)[centre], 0.04, 1e-3);

    // The membrane peaks on the outline: walking out from the cell's centre along x, the
    // brightest membrane pixel lies where the normalised distance crosses 1.
    double brightest = 0.0;
    double where = 0.0;
    for (double x = cell.cell.centre.x; x < 191 * 0.2; x += 0.2)
    {
        const double value = renderer.GetChannel(1)[pixel(x, cell.cell.centre.y)];
        if (value > brightest)
        {
            brightest = value;
            where = cell.cell.Distance({x, cell.cell.centre.y, cell.nucleus.centre.z});
        }
    }
    EXPECT_GT(brightest, 0.5);
    EXPECT_NEAR(where, 1.0, 0.05);

    // A corner far from the one cell holds nothing at all.
    for (std::uint32_t channel = 0; channel < 3; ++channel)
    {
        EXPECT_EQ(renderer.GetChannel(channel)[0], 0.0f);
    }
}
