#pragma once

#include "host/core/XLockable.h"
#include "host/imaging/X3DRect.h"
#include "host/imaging/XHyperBuffer.h"
#include "host/imaging/XMathVectorF3.h"
#include "x-platform/volume/XPackedChannelEntry.h"

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

class XARGB32Volume;
class XDataVolume;
class XDataVolumeSequence;
class XGrey8Volume;
class XStream;

// The renderer's own copy of the voxels it marches: the selected channels of one time point,
// reduced to 8 bits per component and interleaved voxel by voxel in one byte buffer, with a
// zero guard border of 4 voxels on every side so that neighbourhood reads at the data's edge stay
// inside the buffer. Built once, then read-locked while render threads sample it; streamed to
// remote render nodes.
//
// Lock protocol: read locks nest; a write lock must be the first lock taken. Only the outermost
// lock and the last unlock lock and unlock the buffer and make and free the component-0 view.
class XPackedMultiChannelVolume : public XLockable
{
public:
    using XBuffer = XHyperBuffer<3, unsigned char>;
    using XView = XBuffer::View;

    static constexpr std::int32_t kGuardBorder = 4;

    // The window [low, high] of a channel's values that maps to the bytes 0..255.
    struct XDisplayRange
    {
        double low = 0.0;
        double high = 255.0;
    };

    // No buffer, no channels, voxel scale 1.
    XPackedMultiChannelVolume();
    // The channels inChannels (1-based; empty: every channel) of time point inTimePoint of the
    // sample inSampleID in the process's sample database, each rendered to bytes over its range
    // in inRanges, or over the data's default range (the 8-bit range, or the channel's minimum
    // and maximum at that time point). Polls XThread::TestCancelCurrentThread after every plane.
    // Throws XException: code 2210 for a sample that is neither a volume sequence nor a data
    // volume, kInvalidArgument for a time point the sample does not have, and whatever reading
    // the voxels throws.
    XPackedMultiChannelVolume(std::uint32_t inSampleID, std::uint32_t inTimePoint,
                              const std::vector<std::uint32_t>& inChannels,
                              const std::map<std::uint32_t, XDisplayRange>& inRanges = {});
    // Reads the stream format that Write produces; throws XException on bad bytes.
    explicit XPackedMultiChannelVolume(XStream& inStream);
    // The same channels, scale and voxels in a buffer of its own; unlocked.
    XPackedMultiChannelVolume(const XPackedMultiChannelVolume& inOther);
    XPackedMultiChannelVolume& operator=(const XPackedMultiChannelVolume&) = delete;
    ~XPackedMultiChannelVolume() override;

    // The channel count and entries, the voxel scale, the box as an X3DRect object and the voxel
    // bytes in storage order (under a read lock on the buffer).
    void Write(XStream& outStream) const;
    std::uint64_t GetStreamSize() const;

    void LockFor(XLockMode inMode) override;
    void UnlockFor(XLockMode inMode) override;
    std::uint64_t GetLockCount() const;
    // The view of component 0 of the whole box while locked; null while unlocked. A channel's
    // bytes are GetFirstComponent(index) bytes after component 0.
    const XView* GetLockedView() const { return itsLockedView.get(); }

    const std::vector<XPackedChannelEntry>& GetChannels() const { return itsChannels; }
    // Bytes per voxel: the sum of the channel widths.
    std::uint32_t GetComponentCount() const;
    // The first component of the channel at inIndex in the channel list.
    std::uint32_t GetFirstComponent(std::size_t inIndex) const;
    // The physical size of a voxel along x, y and z.
    const XMathVectorF3& GetVoxelScale() const { return itsVoxelScale; }
    // The buffer's box, guard border included; empty without a buffer.
    X3DRect GetBox() const;
    // Null only in a default-constructed object.
    const XBuffer* GetBuffer() const { return itsBuffer.get(); }

private:
    void BuildFromSequence(const XDataVolumeSequence& inSequence, std::uint32_t inTimePoint,
                           const std::vector<std::uint32_t>& inChannels,
                           const std::map<std::uint32_t, XDisplayRange>& inRanges);
    void BuildFromVolume(const XDataVolume& inVolume, std::uint32_t inTimePoint,
                         const std::vector<std::uint32_t>& inChannels,
                         const std::map<std::uint32_t, XDisplayRange>& inRanges);
    // Makes the buffer over inBounds grown by the guard border on every axis of non-zero extent.
    void MakeBuffer(const X3DRect& inBounds);
    // Renders inVolume (one channel at one time point) to bytes and copies them in from
    // component inFirstComponent on.
    void CopyChannel(const XDataVolume& inVolume, std::uint32_t inWidth,
                     std::uint32_t inFirstComponent, const XDisplayRange* inRange);
    void CopyGrey(XGrey8Volume& inSource, std::uint32_t inFirstComponent);
    void CopyColour(XARGB32Volume& inSource, std::uint32_t inFirstComponent);
    template <class TVolume, class TStore>
    void CopyVoxels(TVolume& inSource, std::uint32_t inFirstComponent, TStore inStore);

    std::unique_ptr<XBuffer> itsBuffer;
    std::vector<XPackedChannelEntry> itsChannels;
    XMathVectorF3 itsVoxelScale{1.0f, 1.0f, 1.0f};
    std::unique_ptr<XView> itsLockedView;
    std::uint64_t itsLockCount = 0;
    // Guards the count and the view, so that volumetrics sharing this volume on several threads
    // may lock and unlock it; never taken while sampling.
    mutable std::mutex itsLockMutex;
};
