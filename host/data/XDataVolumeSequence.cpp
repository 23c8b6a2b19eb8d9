#include "host/data/XDataVolumeSequence.h"

#include "host/core/XException.h"

#include <string>

XDataVolumeSequence::XDataVolumeSequence(std::uint32_t inChannelCount,
                                         std::uint32_t inTimePointCount,
                                         std::vector<std::unique_ptr<XDataVolume>> inVolumes,
                                         XAxes inAxes)
    : itsChannelCount(inChannelCount), itsTimePointCount(inTimePointCount),
      itsVolumes(std::move(inVolumes)), itsExcluded(inChannelCount, false),
      itsAxes(std::move(inAxes))
{
    if (std::uint64_t{inChannelCount} * inTimePointCount != itsVolumes.size())
    {
        throw XException(XException::kMalformedStream,
                         "A volume sequence of " + std::to_string(inChannelCount) + " channels × " +
                             std::to_string(inTimePointCount) + " time points was given " +
                             std::to_string(itsVolumes.size()) + " volumes");
    }
    const XDataVolume* first = nullptr;
    for (const std::unique_ptr<XDataVolume>& volume : itsVolumes)
    {
        if (!volume)
        {
            continue;
        }
        if (first == nullptr)
        {
            first = volume.get();
            continue;
        }
        if (volume->GetVoxelType() != first->GetVoxelType() ||
            !(volume->GetBounds() == first->GetBounds()) ||
            volume->GetXScale() != first->GetXScale() ||
            volume->GetYScale() != first->GetYScale() || volume->GetZScale() != first->GetZScale())
        {
            throw XException(XException::kMalformedStream,
                             "The volumes of a sequence must share voxel type, size and scale");
        }
    }
    if (first == nullptr)
    {
        throw XException(XException::kMalformedStream, "A volume sequence holds no volume");
    }
    itsType = first->GetVoxelType();
    itsBounds = first->GetBounds();
    itsXScale = first->GetXScale();
    itsYScale = first->GetYScale();
    itsZScale = first->GetZScale();
}

XDataVolumeSequence::~XDataVolumeSequence() = default;

bool XDataVolumeSequence::IsChannelExcluded(std::uint32_t inChannel) const
{
    return inChannel >= 1 && inChannel <= itsChannelCount && itsExcluded[inChannel - 1];
}

void XDataVolumeSequence::SetChannelExcluded(std::uint32_t inChannel, bool inExcluded)
{
    if (inChannel >= 1 && inChannel <= itsChannelCount)
    {
        itsExcluded[inChannel - 1] = inExcluded;
    }
}

const XDataVolume* XDataVolumeSequence::GetChannelVolume(std::uint32_t inChannel,
                                                         std::uint32_t inTimePoint) const
{
    if (inChannel < 1 || inChannel > itsChannelCount || inTimePoint >= itsTimePointCount)
    {
        return nullptr;
    }
    return itsVolumes[std::size_t{inTimePoint} * itsChannelCount + (inChannel - 1)].get();
}

std::pair<double, double> XDataVolumeSequence::GetValueRange(std::uint32_t inChannel,
                                                             std::uint32_t inTimePoint) const
{
    const XDataVolume* volume = GetChannelVolume(inChannel, inTimePoint);
    if (volume == nullptr)
    {
        throw XException(XException::kMalformedStream,
                         "No data for channel " + std::to_string(inChannel) + " at time point " +
                             std::to_string(inTimePoint));
    }
    return volume->GetValueRange();
}
