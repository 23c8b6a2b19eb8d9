#pragma once

#include "host/core/XRefCountable.h"
#include "host/imaging/XMathVectorF3.h"
#include "host/ui/XChannelShadeSpecification.h"

#include <cstdint>
#include <filesystem>
#include <map>
#include <utility>
#include <vector>

class XSceneJson;
class XVolumetric;

// The "volume" entry of a scene file: the stack it names (opened through the sample database),
// the time point, the placement and the channels' shade settings. It checks everything when read,
// and creates the multi-channel volumetric that fits the channel layout.
class XSceneVolume
{
public:
    XSceneVolume(const XSceneJson& inVolume, const std::filesystem::path& inFolder);

    // The world box through the centres of the first and last voxels, in world units.
    std::pair<XMathVectorF3, XMathVectorF3> GetWorldDataBox() const;
    // An unprepared volumetric placed at origin and voxel size times the render scale.
    XRef<XVolumetric> CreateVolumetric(float inRenderScale) const;

    // The default colour of a channel by its number: green, magenta, cyan, yellow, red, blue,
    // then green again.
    static std::uint32_t GetDefaultColour(std::uint32_t inChannel);

private:
    struct XRange
    {
        double low = 0;
        double high = 0;
    };

    std::uint32_t itsSampleID = 0;
    std::uint32_t itsTimePoint = 0;
    XMathVectorF3 itsOrigin;
    XMathVectorF3 itsVoxelSize{1, 1, 1};
    std::uint32_t itsExtent[3] = {0, 0, 0};
    std::vector<XChannelShadeSpecification> itsSpecifications;
    std::map<std::uint32_t, XRange> itsRanges;
};
