#pragma once

#include "apps/demo/XDemoCellCluster.h"
#include "apps/demo/XDemoStack.h"
#include "apps/demo/XDemoVector.h"

#include <cstdint>
#include <vector>

// The objects of one thin slice of the demo stack at height z, before any blur: each channel's
// signal as a share of its peak, pixel by pixel. Nuclei are filled and textured; membranes lie
// on the outline of the cluster and where two cells meet; the cytoplasm carries a faint stain in
// the membrane and filament channels; filaments are thin tubes. The buffers are reused from
// slice to slice.
class XDemoSliceRenderer
{
public:
    // The standard deviation of a filament's profile, micrometres; it reaches 3 of them.
    static constexpr double kFilamentSigma = 0.12;

    // Both must outlive the renderer.
    XDemoSliceRenderer(const XDemoStack::XSettings& inSettings, const XDemoCellCluster& inCluster);

    // Renders the slice at height inZ (micrometres) with the cluster's filament points whose
    // indices are given (those near the slice).
    void Render(double inZ, const std::vector<std::uint32_t>& inFilamentPoints);
    // Index 0 nuclei, 1 membranes, 2 filaments; width × height values, row after row.
    const float* GetChannel(std::uint32_t inIndex) const { return itsChannels[inIndex].data(); }

private:
    // The two cells whose outlines are nearest in normalised distance.
    struct XNearest
    {
        double distance1 = 1e9;
        double radius1 = 1.0;
        double distance2 = 1e9;
        double radius2 = 1.0;
        std::int32_t cell = -1;
    };

    XDemoVector At(std::int64_t inX, std::int64_t inY, double inZ) const;
    void AddCell(std::size_t inIndex, double inZ);
    void AddNucleus(const XDemoCellCluster::XCell& inCell, double inZ);
    void ShadeMembranes(double inZ);
    void AddFilamentPoint(const XDemoCellCluster::XFilamentPoint& inPoint, double inZ);

    const XDemoStack::XSettings& itsSettings;
    const std::vector<XDemoCellCluster::XCell>& itsCells;
    const std::vector<XDemoCellCluster::XFilamentPoint>& itsFilaments;
    const std::size_t itsPixelCount;
    std::vector<float> itsChannels[XDemoStack::kChannelCount];
    std::vector<XNearest> itsNearest;
};
