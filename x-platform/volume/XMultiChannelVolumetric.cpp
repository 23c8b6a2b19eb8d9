#include "x-platform/volume/XMultiChannelVolumetric.h"

#include "host/core/XException.h"
#include "host/core/XInternalError.h"
#include "host/core/XStream.h"
#include "x-platform/volume/XFluoScalarVoxelShader.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <string>

X_SOURCE_NAME("x-platform/XMultiChannelVolumetric");

namespace
{
// Fluorescence properties that travel with a shade: threshold, brightness, opacity.
constexpr std::uint32_t kStreamedProperties[] = {XChannelShadeSpecification::kThresholdProperty,
                                                 XChannelShadeSpecification::kBrightnessProperty,
                                                 XChannelShadeSpecification::kOpacityProperty};
// Channel number, visibility, kind, model, colour, and a flag and a value per property.
constexpr std::size_t kStreamedSpecificationSize = 4 + 1 + 4 + 4 + 4 + 3 * (1 + 4);
// Channel number, low and high.
constexpr std::size_t kStreamedRangeSize = 4 + 8 + 8;
constexpr std::uint32_t kNoVolumeMarker = 0;
constexpr std::uint32_t kVolumeMarker = 1;

bool IsFinite(const XMathVectorF3& inVector)
{
    return std::isfinite(inVector.x) && std::isfinite(inVector.y) && std::isfinite(inVector.z);
}

std::string DescribeChannels(std::span<const XPackedChannelEntry> inChannels)
{
    std::string text;
    for (const XPackedChannelEntry& entry : inChannels)
    {
        text += (text.empty() ? "" : ", ") + std::to_string(entry.channel) +
                (entry.width == 3 ? " (colour)" : " (scalar)");
    }
    return text.empty() ? "none" : text;
}

void WriteSpecification(XStream& outStream, const XChannelShadeSpecification& inSpecification)
{
    outStream.Write32(inSpecification.GetChannel());
    outStream.Write8(inSpecification.IsVisible() ? 1 : 0);
    outStream.Write32(inSpecification.GetChannelKind());
    outStream.Write32(inSpecification.GetShaderModel());
    outStream.Write32(inSpecification.GetColour());
    for (const std::uint32_t property : kStreamedProperties)
    {
        const bool present = inSpecification.IsProperty(property);
        outStream.Write8(present ? 1 : 0);
        outStream.WriteFloat32S(present ? inSpecification.GetProperty(property) : 0.0f);
    }
}

XChannelShadeSpecification ReadSpecification(XStream& inStream)
{
    XChannelShadeSpecification shade(inStream.Read32());
    shade.SetVisible(inStream.Read8() != 0);
    shade.SetChannelKind(inStream.Read32());
    shade.SetShaderModel(inStream.Read32());
    shade.SetColour(inStream.Read32());
    for (const std::uint32_t property : kStreamedProperties)
    {
        const bool present = inStream.Read8() != 0;
        const float value = inStream.ReadFloat32S();
        if (present)
        {
            shade.SetProperty(property, value);
        }
    }
    return shade;
}
} // namespace

XMultiChannelVolumetric::XMultiChannelVolumetric(
    std::vector<XChannelShadeSpecification> inSpecifications, std::uint32_t inSampleID,
    std::uint32_t inTimePoint)
    : itsSpecifications(std::move(inSpecifications)), itsSampleID(inSampleID),
      itsTimePoint(inTimePoint)
{
}

void XMultiChannelVolumetric::SetChannelSpecifications(
    std::vector<XChannelShadeSpecification> inSpecifications)
{
    itsSpecifications = std::move(inSpecifications);
}

void XMultiChannelVolumetric::SetSample(std::uint32_t inSampleID, std::uint32_t inTimePoint)
{
    itsSampleID = inSampleID;
    itsTimePoint = inTimePoint;
}

void XMultiChannelVolumetric::SetOrigin(const XMathVectorF3& inOrigin)
{
    if (!IsFinite(inOrigin))
    {
        throw XException(XException::kInvalidArgument, "A volume's origin must be finite");
    }
    itsOrigin = inOrigin;
    if (IsPrepared())
    {
        ApplyVolumeTransform();
    }
}

void XMultiChannelVolumetric::SetVoxelSize(const XMathVectorF3& inVoxelSize)
{
    if (!IsFinite(inVoxelSize) || !(inVoxelSize.x > 0.0f) || !(inVoxelSize.y > 0.0f) ||
        !(inVoxelSize.z > 0.0f))
    {
        throw XException(XException::kInvalidArgument,
                         "A voxel size must be positive and finite on every axis");
    }
    itsVoxelSize = inVoxelSize;
    if (IsPrepared())
    {
        ApplyVolumeTransform();
    }
}

XMathVectorF3 XMultiChannelVolumetric::GetVoxelSize() const
{
    if (itsVoxelSize)
    {
        return *itsVoxelSize;
    }
    if (const XPackedMultiChannelVolume* packed = itsLease.Get())
    {
        return packed->GetVoxelScale();
    }
    return XMathVectorF3(1, 1, 1);
}

void XMultiChannelVolumetric::SetDisplayRange(std::uint32_t inChannel, double inLow, double inHigh)
{
    if (!std::isfinite(inLow) || !std::isfinite(inHigh) || !(inHigh > inLow))
    {
        throw XException(XException::kInvalidArgument,
                         "Channel " + std::to_string(inChannel) +
                             ": the upper end of a display range must exceed the lower end");
    }
    itsRanges[inChannel] = XDisplayRange{inLow, inHigh};
}

void XMultiChannelVolumetric::Prepare()
{
    if (IsPrepared())
    {
        return;
    }
    std::vector<XPackedChannelEntry> request;
    BuildChannelRecords(request);
    if (request.empty())
    {
        return; // nothing visible: no data
    }
    std::vector<std::uint32_t> channels(request.size());
    std::transform(request.begin(), request.end(), channels.begin(),
                   [](const XPackedChannelEntry& inEntry) { return inEntry.channel; });
    auto packed =
        std::make_shared<XPackedMultiChannelVolume>(itsSampleID, itsTimePoint, channels, itsRanges);
    CheckLayout(request, *packed);
    Attach(std::move(packed));
    ApplyVolumeTransform();
}

void XMultiChannelVolumetric::BuildChannelRecords(std::vector<XPackedChannelEntry>& outRequest)
{
    std::vector<const XChannelShadeSpecification*> ordered;
    for (const XChannelShadeSpecification& shade : itsSpecifications)
    {
        if (shade.IsVisible())
        {
            ordered.push_back(&shade);
        }
    }
    std::stable_sort(
        ordered.begin(), ordered.end(),
        [](const XChannelShadeSpecification* inA, const XChannelShadeSpecification* inB)
        { return inA->GetChannel() < inB->GetChannel(); });

    itsRecords.clear();
    outRequest.clear();
    for (const XChannelShadeSpecification* shade : ordered)
    {
        const std::uint32_t channel = shade->GetChannel();
        if (!outRequest.empty() && outRequest.back().channel == channel)
        {
            throw XException(XException::kInvalidArgument,
                             "Channel " + std::to_string(channel) + " is given twice");
        }
        outRequest.push_back(
            {channel,
             shade->GetChannelKind() == XChannelShadeSpecification::kColourChannel ? 3u : 1u});
        XChannelTableRecord record;
        std::unique_ptr<XVoxelShaderBase> selectedShader;
        if (shade->GetShaderModel() == XChannelShadeSpecification::kFluorescenceModel)
        {
            selectedShader = std::make_unique<XFluoScalarVoxelShader>();
        }
        X_ASSERT(selectedShader);
        if (selectedShader)
        {
            selectedShader->SetFromSpecification(*shade);
            selectedShader->BuildTables(record.opacity, record.emission);
            record.colour = XVoxelShaderBase::ColourOfWord(shade->GetColour());
            if (!record.IsValid())
            {
                throw XException(XException::kInvalidArgument,
                                 "Channel " + std::to_string(channel) +
                                     ": its shading settings give opacities outside 0..1 or "
                                     "non-finite colours");
            }
        }
        // A channel without a shader keeps the all-transparent record, so that the tables stay
        // in step with the packed channels.
        itsRecords.push_back(record);
    }
}

void XMultiChannelVolumetric::CheckLayout(const std::vector<XPackedChannelEntry>& inRequest,
                                          const XPackedMultiChannelVolume& inPacked) const
{
    const std::vector<XPackedChannelEntry>& packed = inPacked.GetChannels();
    for (const XPackedChannelEntry& wanted : inRequest)
    {
        const auto found = std::find_if(packed.begin(), packed.end(),
                                        [&](const XPackedChannelEntry& inEntry)
                                        { return inEntry.channel == wanted.channel; });
        if (found == packed.end())
        {
            throw XException(XException::kInvalidArgument, "Channel " +
                                                               std::to_string(wanted.channel) +
                                                               " is not in the sample's data");
        }
        if (found->width != wanted.width)
        {
            throw XException(XException::kInvalidArgument,
                             "Channel " + std::to_string(wanted.channel) + " is shown as a " +
                                 (wanted.width == 3 ? "colour" : "scalar") +
                                 " channel, but its data is " +
                                 (found->width == 3 ? "colour" : "scalar"));
        }
    }
    if (!AcceptsLayout(packed))
    {
        throw XException(XException::kInvalidArgument,
                         "This volumetric renders " + std::string(GetLayoutDescription()) +
                             "; the visible channels are " + DescribeChannels(packed));
    }
}

void XMultiChannelVolumetric::Attach(std::shared_ptr<XPackedMultiChannelVolume> inPacked)
{
    Detach();
    itsLease = XLease(std::move(inPacked));
    const XPackedMultiChannelVolume& packed = *itsLease.Get();
    const std::vector<XPackedChannelEntry>& channels = packed.GetChannels();
    X_ASSERT(channels.size() == itsRecords.size());

    // One table per component; a colour channel's components are pure red, green and blue.
    for (std::size_t index = 0; index < channels.size() && index < itsRecords.size(); ++index)
    {
        const XChannelTableRecord& record = itsRecords[index];
        if (channels[index].width == 3)
        {
            itsComponentTables.emplace_back(record, XRGBSpectrum(1, 0, 0));
            itsComponentTables.emplace_back(record, XRGBSpectrum(0, 1, 0));
            itsComponentTables.emplace_back(record, XRGBSpectrum(0, 0, 1));
        }
        else
        {
            itsComponentTables.emplace_back(record, record.colour);
        }
    }

    const XPackedMultiChannelVolume::XView* view = packed.GetLockedView();
    const X3DRect box = packed.GetBox();
    const std::uint32_t extents[3] = {box.GetWidth(), box.GetHeight(), box.GetDepth()};
    const std::int32_t origins[3] = {box.GetX0(), box.GetY0(), box.GetZ0()};
    constexpr std::uint32_t border = XPackedMultiChannelVolume::kGuardBorder;
    // Voxel coordinates must be exact in float32 (up to 2^24), so that a point inside the bounds
    // never truncates to a voxel outside the buffer.
    constexpr std::int64_t exactLimit = std::int64_t{1} << 24;
    bool hasData = view != nullptr && !itsComponentTables.empty() &&
                   itsComponentTables.size() == packed.GetComponentCount();
    for (int axis = 0; axis < 3; ++axis)
    {
        const std::int64_t upperEnd = std::int64_t{origins[axis]} + extents[axis];
        hasData = hasData && extents[axis] > 2 * border && origins[axis] >= -exactLimit &&
                  upperEnd <= exactLimit;
    }
    if (!hasData)
    {
        return;
    }
    // The data lies inside the guard border: [origin + 4, origin + extent - 5].
    XMathVectorF3 lower;
    XMathVectorF3 upper;
    std::array<std::int32_t, 3> dataOrigin{};
    std::array<std::uint32_t, 3> voxelCounts{};
    for (int axis = 0; axis < 3; ++axis)
    {
        dataOrigin[axis] = static_cast<std::int32_t>(origins[axis] + std::int64_t{border});
        voxelCounts[axis] = extents[axis] - 2 * border;
        lower[axis] = static_cast<float>(dataOrigin[axis]);
        upper[axis] = static_cast<float>(std::int64_t{dataOrigin[axis]} + voxelCounts[axis] - 1);
    }
    itsDataBounds = XBoundingBox(lower, upper);
    itsBoxBase = view->GetBaseAddress();
    itsBoxOrigin = {origins[0], origins[1], origins[2]};
    for (int axis = 0; axis < 3; ++axis)
    {
        itsStrides[axis] = view->GetStrides()[axis];
    }
    for (int corner = 0; corner < 8; ++corner)
    {
        itsCornerOffsets[corner] = (corner & 1) * itsStrides[0] +
                                   ((corner >> 1) & 1) * itsStrides[1] +
                                   (corner >> 2) * itsStrides[2];
    }

    std::vector<XEmptySpaceGrid::XOpaqueBytes> opaque(itsComponentTables.size());
    for (std::size_t k = 0; k < itsComponentTables.size(); ++k)
    {
        for (std::uint32_t byte = 0; byte < 256; ++byte)
        {
            opaque[k][byte] = itsComponentTables[k][static_cast<std::uint8_t>(byte)].opacity > 0.0f;
        }
    }
    const std::uint8_t* firstVoxel =
        itsBoxBase + border * itsStrides[0] + border * itsStrides[1] + border * itsStrides[2];
    itsEmptySpaceGrid = std::make_shared<const XEmptySpaceGrid>(dataOrigin, voxelCounts, firstVoxel,
                                                                itsStrides, opaque);
}

void XMultiChannelVolumetric::Detach()
{
    itsLease = XLease();
    itsDataBounds = XBoundingBox(XMathVectorF3(0, 0, 0), XMathVectorF3(-1, -1, -1));
    itsComponentTables.clear();
    itsEmptySpaceGrid.reset();
    itsBoxBase = nullptr;
    itsBoxOrigin = {};
    itsStrides = {};
    itsCornerOffsets = {};
}

void XMultiChannelVolumetric::ApplyVolumeTransform()
{
    const XMathVectorF3 size = GetVoxelSize();
    SetVolumeTransform(XMatrix_4x4<float>::Translation(itsOrigin.x, itsOrigin.y, itsOrigin.z) *
                       XMatrix_4x4<float>::Scale(size.x, size.y, size.z));
}

std::uint64_t XMultiChannelVolumetric::GetStreamSize() const
{
    std::uint64_t size = XVolumetric::GetStreamSize() + 8;
    size += 4 + kStreamedSpecificationSize * itsSpecifications.size();
    size += 2 * 4 + 3 * 4 + 1 + 3 * 4;
    size += 4 + kStreamedRangeSize * itsRanges.size();
    size += 4 + std::uint64_t{XChannelTableRecord::kFloatCount} * 4 * itsRecords.size();
    size += 4;
    if (const XPackedMultiChannelVolume* packed = itsLease.Get())
    {
        size += packed->GetStreamSize();
    }
    return size;
}

void XMultiChannelVolumetric::Write(XStream& outStream) const
{
    XVolumetric::Write(outStream);
    outStream.WriteVersion(kClassID);
    outStream.Write32(static_cast<std::uint32_t>(itsSpecifications.size()));
    for (const XChannelShadeSpecification& shade : itsSpecifications)
    {
        WriteSpecification(outStream, shade);
    }
    outStream.Write32(itsSampleID);
    outStream.Write32(itsTimePoint);
    outStream.WriteFloat32S(itsOrigin.x);
    outStream.WriteFloat32S(itsOrigin.y);
    outStream.WriteFloat32S(itsOrigin.z);
    outStream.Write8(itsVoxelSize ? 1 : 0);
    const XMathVectorF3 voxelSize = itsVoxelSize.value_or(XMathVectorF3(1, 1, 1));
    outStream.WriteFloat32S(voxelSize.x);
    outStream.WriteFloat32S(voxelSize.y);
    outStream.WriteFloat32S(voxelSize.z);
    outStream.Write32(static_cast<std::uint32_t>(itsRanges.size()));
    for (const auto& [channel, range] : itsRanges)
    {
        outStream.Write32(channel);
        outStream.WriteFloat64(range.low);
        outStream.WriteFloat64(range.high);
    }
    outStream.Write32(static_cast<std::uint32_t>(itsRecords.size()));
    for (const XChannelTableRecord& record : itsRecords)
    {
        record.Write(outStream);
    }
    const XPackedMultiChannelVolume* packed = itsLease.Get();
    outStream.Write32(packed != nullptr ? kVolumeMarker : kNoVolumeMarker);
    if (packed != nullptr)
    {
        packed->Write(outStream);
    }
}

void XMultiChannelVolumetric::Read(XStream& inStream)
{
    XVolumetric::Read(inStream);
    inStream.ReadClassVersion(kClassID);

    const std::uint32_t specificationCount = inStream.ReadCount(kStreamedSpecificationSize);
    std::vector<XChannelShadeSpecification> specifications;
    specifications.reserve(specificationCount);
    for (std::uint32_t index = 0; index < specificationCount; ++index)
    {
        specifications.push_back(ReadSpecification(inStream));
    }

    inStream.CheckRemaining(2 * 4 + 3 * 4 + 1 + 3 * 4);
    const std::uint32_t sampleID = inStream.Read32();
    const std::uint32_t timePoint = inStream.Read32();
    XMathVectorF3 origin;
    origin.x = inStream.ReadFloat32S();
    origin.y = inStream.ReadFloat32S();
    origin.z = inStream.ReadFloat32S();
    const bool hasVoxelSize = inStream.Read8() != 0;
    XMathVectorF3 voxelSize;
    voxelSize.x = inStream.ReadFloat32S();
    voxelSize.y = inStream.ReadFloat32S();
    voxelSize.z = inStream.ReadFloat32S();
    const bool validSize =
        IsFinite(voxelSize) && voxelSize.x > 0.0f && voxelSize.y > 0.0f && voxelSize.z > 0.0f;
    if (!IsFinite(origin) || (hasVoxelSize && !validSize))
    {
        throw XException(XException::kMalformedStream,
                         "A volume's origin must be finite and its voxel size positive");
    }

    const std::uint32_t rangeCount = inStream.ReadCount(kStreamedRangeSize);
    std::map<std::uint32_t, XDisplayRange> ranges;
    for (std::uint32_t index = 0; index < rangeCount; ++index)
    {
        const std::uint32_t channel = inStream.Read32();
        XDisplayRange range;
        range.low = inStream.ReadFloat64();
        range.high = inStream.ReadFloat64();
        if (!std::isfinite(range.low) || !std::isfinite(range.high) || !(range.high > range.low))
        {
            throw XException(XException::kMalformedStream,
                             "A display range's upper end must exceed its lower end");
        }
        ranges[channel] = range;
    }

    const std::uint32_t recordCount =
        inStream.ReadCount(std::size_t{XChannelTableRecord::kFloatCount} * 4);
    std::vector<XChannelTableRecord> records(recordCount);
    for (XChannelTableRecord& record : records)
    {
        record.Read(inStream);
        if (!record.IsValid())
        {
            throw XException(XException::kMalformedStream,
                             "A channel table holds an opacity outside 0..1 or a non-finite value");
        }
    }

    std::shared_ptr<XPackedMultiChannelVolume> packed;
    const std::uint32_t marker = inStream.Read32();
    if (marker == kVolumeMarker)
    {
        packed = std::make_shared<XPackedMultiChannelVolume>(inStream);
        if (packed->GetChannels().size() != records.size() || !AcceptsLayout(packed->GetChannels()))
        {
            throw XException(XException::kMalformedStream,
                             "A volumetric's channel tables do not fit its packed channels " +
                                 DescribeChannels(packed->GetChannels()));
        }
    }
    else if (marker != kNoVolumeMarker)
    {
        throw XException(XException::kMalformedStream,
                         "A volumetric's packed-volume marker is " + std::to_string(marker));
    }

    itsSpecifications = std::move(specifications);
    itsSampleID = sampleID;
    itsTimePoint = timePoint;
    itsOrigin = origin;
    itsVoxelSize = hasVoxelSize ? std::optional<XMathVectorF3>(voxelSize) : std::nullopt;
    itsRanges = std::move(ranges);
    itsRecords = std::move(records);
    if (packed)
    {
        Attach(std::move(packed));
    }
    else
    {
        Detach();
    }
}
