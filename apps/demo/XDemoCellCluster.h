#pragma once

#include "apps/demo/XDemoEllipsoid.h"
#include "apps/demo/XDemoStack.h"
#include "apps/demo/XDemoVector.h"

#include <vector>

class XDemoRandom;

// The cells of the demo stack in its world frame (micrometres): their outlines, their nuclei and
// the filaments through their cytoplasm. The cells lie around the stack's centre and are as big
// as in a real cluster, or smaller in proportion for a stack smaller than the default.
class XDemoCellCluster
{
public:
    struct XCell
    {
        XDemoEllipsoid cell;
        XDemoEllipsoid nucleus;
        double nucleusBrightness = 1.0; // share of the channel's peak
        double membraneBrightness = 1.0;
    };

    struct XFilamentPoint
    {
        XDemoVector position;
        double brightness = 1.0;
    };

    // Places inSettings.cellCount cells and traces their filaments, drawing from ioRandom in a
    // fixed order.
    XDemoCellCluster(const XDemoStack::XSettings& inSettings, XDemoRandom& ioRandom);

    const std::vector<XCell>& GetCells() const { return itsCells; }
    // Points along every filament, much closer together than a filament is wide.
    const std::vector<XFilamentPoint>& GetFilamentPoints() const { return itsFilamentPoints; }

private:
    void PlaceCells(const XDemoStack::XSettings& inSettings, XDemoRandom& ioRandom);
    void TraceFilaments(double inScale, XDemoRandom& ioRandom);

    std::vector<XCell> itsCells;
    std::vector<XFilamentPoint> itsFilamentPoints;
};
