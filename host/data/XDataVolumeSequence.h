#pragma once

#include "host/data/XDataVolume.h"
#include "host/data/XSample.h"
#include "host/data/XVoxelType.h"
#include "host/imaging/X3DRect.h"

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

// Channels × time points of data volumes that share one voxel type, one size and one voxel
// size. Channels are numbered from 1, time points from 0. A stack read from a file is always a
// sequence, even with one channel and one time point.
class XDataVolumeSequence : public XSample
{
public:
    // The axes of the data as stored, slowest first, for people to read: letters from T, Z, C,
    // Y, X and S (colour components), e.g. "ZCYX" with shape {30, 2, 510, 667}.
    struct XAxes
    {
        std::string names;
        std::vector<std::uint32_t> shape;
    };

    // inVolumes holds inTimePointCount × inChannelCount entries, time point by time point:
    // entry t × channels + (c − 1) is channel c at time point t; an entry may be null (no data
    // there). Every volume present must share the type, bounds and voxel size of the others and
    // at least one must be present; otherwise XException.
    XDataVolumeSequence(std::uint32_t inChannelCount, std::uint32_t inTimePointCount,
                        std::vector<std::unique_ptr<XDataVolume>> inVolumes, XAxes inAxes);
    ~XDataVolumeSequence() override;

    std::uint32_t GetChannelCount() const { return itsChannelCount; }
    std::uint32_t GetTimePointCount() const { return itsTimePointCount; }
    // Channels that the data marks as not for display; none for files. 1-based; channels out
    // of range are not excluded.
    bool IsChannelExcluded(std::uint32_t inChannel) const;
    void SetChannelExcluded(std::uint32_t inChannel, bool inExcluded);

    // Null when the channel (1-based) or time point (0-based) is out of range or has no data.
    const XDataVolume* GetChannelVolume(std::uint32_t inChannel, std::uint32_t inTimePoint) const;

    XVoxelType GetVoxelType() const { return itsType; }
    bool IsColour() const { return itsType == XVoxelType::kRGB24; }
    // (0, 0, 0)-(W, H, D), the bounds of every volume.
    const X3DRect& GetBounds() const { return itsBounds; }
    double GetXScale() const { return itsXScale; }
    double GetYScale() const { return itsYScale; }
    double GetZScale() const { return itsZScale; }

    // The channel's smallest and largest value at the time point (reads its voxels). Throws
    // XException when there is no volume there.
    std::pair<double, double> GetValueRange(std::uint32_t inChannel,
                                            std::uint32_t inTimePoint) const;

    const XAxes& GetAxes() const { return itsAxes; }

private:
    std::uint32_t itsChannelCount;
    std::uint32_t itsTimePointCount;
    std::vector<std::unique_ptr<XDataVolume>> itsVolumes;
    std::vector<bool> itsExcluded;
    XAxes itsAxes;
    XVoxelType itsType = XVoxelType::kGrey8;
    X3DRect itsBounds;
    double itsXScale = 1.0;
    double itsYScale = 1.0;
    double itsZScale = 1.0;
};
