#include "x-platform/volume/XPackedMultiChannelVolume.h"

#include "host/core/XException.h"
#include "host/core/XInternalError.h"
#include "host/core/XStream.h"
#include "host/core/XThread.h"
#include "host/data/XDataVolume.h"
#include "host/data/XDataVolumeSequence.h"
#include "host/data/XSampleDB.h"
#include "host/imaging/XARGB32Volume.h"
#include "host/imaging/XGrey8Volume.h"
#include "x-platform/core/XObjectRecordSize.h"

#include <algorithm>
#include <limits>
#include <string>

X_SOURCE_NAME("x-platform/XPackedMultiChannelVolume");

namespace
{
bool IsRequested(const std::vector<std::uint32_t>& inChannels, std::uint32_t inChannel)
{
    return inChannels.empty() ||
           std::find(inChannels.begin(), inChannels.end(), inChannel) != inChannels.end();
}

const XPackedMultiChannelVolume::XDisplayRange*
FindRange(const std::map<std::uint32_t, XPackedMultiChannelVolume::XDisplayRange>& inRanges,
          std::uint32_t inChannel)
{
    const auto found = inRanges.find(inChannel);
    return found == inRanges.end() ? nullptr : &found->second;
}

// W x H x D x C, or a malformed-stream error when the product does not fit 64 bits.
std::uint64_t CountBytes(const X3DRect& inBox, std::uint64_t inComponents)
{
    std::uint64_t count = inComponents;
    for (const std::uint64_t extent :
         {std::uint64_t{inBox.GetWidth()}, std::uint64_t{inBox.GetHeight()},
          std::uint64_t{inBox.GetDepth()}})
    {
        if (extent != 0 && count > std::numeric_limits<std::uint64_t>::max() / extent)
        {
            throw XException(XException::kMalformedStream,
                             "A packed volume's voxel count overflows 64 bits");
        }
        count *= extent;
    }
    return count;
}
} // namespace

XPackedMultiChannelVolume::XPackedMultiChannelVolume() = default;

XPackedMultiChannelVolume::XPackedMultiChannelVolume(
    std::uint32_t inSampleID, std::uint32_t inTimePoint,
    const std::vector<std::uint32_t>& inChannels,
    const std::map<std::uint32_t, XDisplayRange>& inRanges)
{
    if (const XDataVolumeSequence* sequence = XDBGetSample<XDataVolumeSequence>(inSampleID))
    {
        BuildFromSequence(*sequence, inTimePoint, inChannels, inRanges);
        return;
    }
    if (const XDataVolume* volume = XDBGetSample<XDataVolume>(inSampleID))
    {
        BuildFromVolume(*volume, inTimePoint, inChannels, inRanges);
        return;
    }
    X_ASSERT(false);
    throw XException(XException::kWrongSampleKind,
                     "Sample " + std::to_string(inSampleID) +
                         " is neither a volume sequence nor a data volume");
}

XPackedMultiChannelVolume::XPackedMultiChannelVolume(XStream& inStream)
{
    const std::uint32_t count = inStream.ReadCount(8);
    std::uint64_t components = 0;
    itsChannels.reserve(count);
    for (std::uint32_t index = 0; index < count; ++index)
    {
        XPackedChannelEntry entry;
        entry.channel = inStream.Read32();
        entry.width = inStream.Read32();
        if (entry.width != 1 && entry.width != 3)
        {
            throw XException(XException::kMalformedStream,
                             "A packed channel is 1 or 3 bytes wide, not " +
                                 std::to_string(entry.width));
        }
        components += entry.width;
        itsChannels.push_back(entry);
    }
    if (components > std::numeric_limits<std::uint32_t>::max())
    {
        throw XException(XException::kMalformedStream, "A packed volume has too many components");
    }
    inStream.CheckRemaining(3 * 4);
    itsVoxelScale.x = inStream.ReadFloat32S();
    itsVoxelScale.y = inStream.ReadFloat32S();
    itsVoxelScale.z = inStream.ReadFloat32S();

    const std::unique_ptr<XStorable> object = inStream.ReadObject();
    const auto* tempRect = dynamic_cast<const X3DRect*>(object.get());
    X_ASSERT(tempRect);
    const X3DRect box = tempRect != nullptr ? *tempRect : X3DRect();
    const std::uint64_t bytes = CountBytes(box, components);
    // Checked before the buffer is allocated, so a hostile box cannot allocate more than the
    // stream holds.
    inStream.CheckRemaining(bytes);
    itsBuffer =
        std::make_unique<XBuffer>(XBuffer::Coordinates{box.GetX0(), box.GetY0(), box.GetZ0()},
                                  XBuffer::Extents{box.GetWidth(), box.GetHeight(), box.GetDepth()},
                                  static_cast<std::uint32_t>(components), true);
    const XLock lock(*itsBuffer, XLockMode::kWrite);
    inStream.ReadBuffer8(itsBuffer->GetData(), static_cast<std::size_t>(bytes));
}

XPackedMultiChannelVolume::XPackedMultiChannelVolume(const XPackedMultiChannelVolume& inOther)
    : XLockable(), itsChannels(inOther.itsChannels), itsVoxelScale(inOther.itsVoxelScale)
{
    if (inOther.itsBuffer)
    {
        const XLock lock(*inOther.itsBuffer, XLockMode::kRead);
        itsBuffer = std::make_unique<XBuffer>(*inOther.itsBuffer);
    }
}

XPackedMultiChannelVolume::~XPackedMultiChannelVolume() = default;

void XPackedMultiChannelVolume::BuildFromSequence(
    const XDataVolumeSequence& inSequence, std::uint32_t inTimePoint,
    const std::vector<std::uint32_t>& inChannels,
    const std::map<std::uint32_t, XDisplayRange>& inRanges)
{
    if (inTimePoint >= inSequence.GetTimePointCount())
    {
        throw XException(XException::kInvalidArgument,
                         "Time point " + std::to_string(inTimePoint) +
                             " is out of range: the stack has " +
                             std::to_string(inSequence.GetTimePointCount()) + " time points");
    }
    itsVoxelScale = XMathVectorF3(static_cast<float>(inSequence.GetXScale()),
                                  static_cast<float>(inSequence.GetYScale()),
                                  static_cast<float>(inSequence.GetZScale()));
    for (std::uint32_t channel = 1; channel <= inSequence.GetChannelCount(); ++channel)
    {
        if (inSequence.IsChannelExcluded(channel) || !IsRequested(inChannels, channel))
        {
            continue;
        }
        const XDataVolume* volume = inSequence.GetChannelVolume(channel, inTimePoint);
        itsChannels.push_back({channel, volume != nullptr && volume->IsColour() ? 3u : 1u});
    }
    MakeBuffer(inSequence.GetBounds());
    std::uint32_t first = 0;
    for (const XPackedChannelEntry& entry : itsChannels)
    {
        const XDataVolume* volume = inSequence.GetChannelVolume(entry.channel, inTimePoint);
        if (volume == nullptr || entry.width == 0)
        {
            X_ASSERT(false);
        }
        else
        {
            CopyChannel(*volume, entry.width, first, FindRange(inRanges, entry.channel));
        }
        first += entry.width;
    }
}

void XPackedMultiChannelVolume::BuildFromVolume(
    const XDataVolume& inVolume, std::uint32_t inTimePoint,
    const std::vector<std::uint32_t>& inChannels,
    const std::map<std::uint32_t, XDisplayRange>& inRanges)
{
    if (inTimePoint != 0)
    {
        throw XException(XException::kInvalidArgument,
                         "Time point " + std::to_string(inTimePoint) +
                             " is out of range: a single volume has one time point");
    }
    itsVoxelScale = XMathVectorF3(static_cast<float>(inVolume.GetXScale()),
                                  static_cast<float>(inVolume.GetYScale()),
                                  static_cast<float>(inVolume.GetZScale()));
    if (IsRequested(inChannels, 1))
    {
        itsChannels.push_back({1, inVolume.IsColour() ? 3u : 1u});
    }
    MakeBuffer(inVolume.GetBounds());
    if (!itsChannels.empty())
    {
        CopyChannel(inVolume, itsChannels[0].width, 0, FindRange(inRanges, 1));
    }
}

void XPackedMultiChannelVolume::MakeBuffer(const X3DRect& inBounds)
{
    XBuffer::Coordinates origin{inBounds.GetX0(), inBounds.GetY0(), inBounds.GetZ0()};
    XBuffer::Extents extents{inBounds.GetWidth(), inBounds.GetHeight(), inBounds.GetDepth()};
    for (std::size_t axis = 0; axis < 3; ++axis)
    {
        if (extents[axis] != 0)
        {
            origin[axis] -= kGuardBorder;
            extents[axis] += 2 * kGuardBorder;
        }
    }
    itsBuffer = std::make_unique<XBuffer>(origin, extents, GetComponentCount(), true);
}

void XPackedMultiChannelVolume::CopyChannel(const XDataVolume& inVolume, std::uint32_t inWidth,
                                            std::uint32_t inFirstComponent,
                                            const XDisplayRange* inRange)
{
    if (inWidth == 3)
    {
        XARGB32Volume colour(inVolume.GetBounds());
        inVolume.FillARGB32(colour);
        CopyColour(colour, inFirstComponent);
        return;
    }
    XGrey8Volume grey(inVolume.GetBounds());
    if (inRange != nullptr)
    {
        inVolume.FillGrey8(grey, inRange->low, inRange->high);
    }
    else
    {
        inVolume.FillGrey8(grey);
    }
    CopyGrey(grey, inFirstComponent);
}

// Copies every voxel of inSource into the buffer, from the channel's first component on, plane by
// plane with a cancellation poll after each; inStore writes one source voxel at its place.
template <class TVolume, class TStore>
void XPackedMultiChannelVolume::CopyVoxels(TVolume& inSource, std::uint32_t inFirstComponent,
                                           TStore inStore)
{
    // Write-lock the buffer, then read-lock the source.
    const XLock bufferLock(*itsBuffer, XLockMode::kWrite);
    const XLock sourceLock(inSource, XLockMode::kRead);
    const X3DRect& rect = inSource.GetBounds();
    const XRect plane = rect.GetXYBounds();
    if (rect.GetVoxelCount() == 0)
    {
        return;
    }
    const XView view = itsBuffer->GetView()
                           .Restrict({rect.GetX0(), rect.GetY0(), rect.GetZ0()},
                                     {rect.GetWidth(), rect.GetHeight(), rect.GetDepth()})
                           .SelectComponent(inFirstComponent);
    const std::ptrdiff_t xStride = view.GetStrides()[0];
    const std::ptrdiff_t componentStride = view.GetComponentStride();
    for (std::int32_t z = rect.GetZ0(); z < rect.GetZ1(); ++z)
    {
        const auto* source = inSource.GetPlane(z);
        for (std::int32_t y = plane.top; y < plane.bottom; ++y)
        {
            unsigned char* row = &view.At({plane.left, y, z});
            for (std::int32_t x = 0; x < plane.GetWidth(); ++x)
            {
                inStore(row + x * xStride, componentStride, *source++);
            }
        }
        XThread::TestCancelCurrentThread();
    }
}

void XPackedMultiChannelVolume::CopyGrey(XGrey8Volume& inSource, std::uint32_t inFirstComponent)
{
    CopyVoxels(inSource, inFirstComponent,
               [](unsigned char* outVoxel, std::ptrdiff_t, std::uint8_t inValue)
               { *outVoxel = inValue; });
}

void XPackedMultiChannelVolume::CopyColour(XARGB32Volume& inSource, std::uint32_t inFirstComponent)
{
    // The three colour bytes after the leading alpha byte, into three consecutive components.
    CopyVoxels(
        inSource, inFirstComponent,
        [](unsigned char* outVoxel, std::ptrdiff_t inComponentStride, const XARGB32Colour& inValue)
        {
            outVoxel[0] = inValue.r;
            outVoxel[inComponentStride] = inValue.g;
            outVoxel[2 * inComponentStride] = inValue.b;
        });
}

void XPackedMultiChannelVolume::Write(XStream& outStream) const
{
    outStream.Write32(static_cast<std::uint32_t>(itsChannels.size()));
    for (const XPackedChannelEntry& entry : itsChannels)
    {
        outStream.Write32(entry.channel);
        outStream.Write32(entry.width);
    }
    outStream.WriteFloat32S(itsVoxelScale.x);
    outStream.WriteFloat32S(itsVoxelScale.y);
    outStream.WriteFloat32S(itsVoxelScale.z);
    const X3DRect box = GetBox();
    outStream.WriteObject(&box);
    if (itsBuffer)
    {
        const XLock lock(*itsBuffer, XLockMode::kRead);
        outStream.WriteBuffer8(itsBuffer->GetData(), itsBuffer->GetElementCount());
    }
}

std::uint64_t XPackedMultiChannelVolume::GetStreamSize() const
{
    const X3DRect box = GetBox();
    return 4 + 8 * std::uint64_t{itsChannels.size()} + 3 * 4 + XObjectRecordSize(&box) +
           box.GetVoxelCount() * GetComponentCount();
}

void XPackedMultiChannelVolume::LockFor(XLockMode inMode)
{
    const std::lock_guard guard(itsLockMutex);
    if (inMode != XLockMode::kRead)
    {
        X_ASSERT(itsLockCount == 0);
    }
    ++itsLockCount;
    if (itsLockCount == 1 && itsBuffer)
    {
        itsBuffer->LockFor(inMode);
        itsLockedView = std::make_unique<XView>(itsBuffer->GetView());
    }
}

void XPackedMultiChannelVolume::UnlockFor(XLockMode inMode)
{
    const std::lock_guard guard(itsLockMutex);
    X_ASSERT(itsLockCount != 0);
    --itsLockCount;
    if (itsLockCount == 0 && itsBuffer)
    {
        itsBuffer->UnlockFor(inMode);
        itsLockedView.reset();
    }
}

std::uint64_t XPackedMultiChannelVolume::GetLockCount() const
{
    const std::lock_guard guard(itsLockMutex);
    return itsLockCount;
}

std::uint32_t XPackedMultiChannelVolume::GetComponentCount() const
{
    std::uint32_t components = 0;
    for (const XPackedChannelEntry& entry : itsChannels)
    {
        components += entry.width;
    }
    return components;
}

std::uint32_t XPackedMultiChannelVolume::GetFirstComponent(std::size_t inIndex) const
{
    std::uint32_t first = 0;
    for (std::size_t index = 0; index < inIndex && index < itsChannels.size(); ++index)
    {
        first += itsChannels[index].width;
    }
    return first;
}

X3DRect XPackedMultiChannelVolume::GetBox() const
{
    if (!itsBuffer)
    {
        return X3DRect();
    }
    const XBuffer::Coordinates& origin = itsBuffer->GetOrigin();
    const XBuffer::Extents& extents = itsBuffer->GetExtents();
    const auto upper = [&](std::size_t inAxis)
    { return static_cast<std::int32_t>(std::int64_t{origin[inAxis]} + extents[inAxis]); };
    return X3DRect(origin[0], origin[1], origin[2], upper(0), upper(1), upper(2));
}
