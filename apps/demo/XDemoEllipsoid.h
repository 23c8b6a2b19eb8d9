#pragma once

#include "apps/demo/XDemoVector.h"

#include <algorithm>
#include <cmath>

// An ellipsoid turned about z, its outline bent by two third-order lobes.
struct XDemoEllipsoid
{
    XDemoVector centre; // micrometres
    XDemoVector radii;
    double cosAngle = 1.0;
    double sinAngle = 0.0;
    double lobeA = 0.0;
    double lobeB = 0.0;

    // Below 1 inside, 1 on the surface, growing linearly with the distance from the centre
    // along each direction. outRadius is the surface's distance from the centre along the
    // point's direction, in micrometres.
    double Distance(const XDemoVector& inPoint, double& outRadius) const
    {
        const XDemoVector v = inPoint - centre;
        const double lx = (cosAngle * v.x + sinAngle * v.y) / radii.x;
        const double ly = (-sinAngle * v.x + cosAngle * v.y) / radii.y;
        const double lz = v.z / radii.z;
        const double squared = lx * lx + ly * ly + lz * lz;
        if (squared < 1e-12)
        {
            outRadius = (radii.x + radii.y + radii.z) / 3.0;
            return 0.0;
        }
        const double d = std::sqrt(squared);
        const double ux = lx / d;
        const double uy = ly / d;
        const double bend = 1.0 + lobeA * (ux * ux * ux - 3.0 * ux * uy * uy) +
                            lobeB * (3.0 * ux * ux * uy - uy * uy * uy);
        const double scaled = d / bend;
        outRadius = Length(v) / scaled;
        return scaled;
    }

    double Distance(const XDemoVector& inPoint) const
    {
        double radius = 0.0;
        return Distance(inPoint, radius);
    }

    // No point farther from the centre lies inside.
    double GetReach() const
    {
        return std::max({radii.x, radii.y, radii.z}) * (1.0 + std::abs(lobeA) + std::abs(lobeB));
    }
};
