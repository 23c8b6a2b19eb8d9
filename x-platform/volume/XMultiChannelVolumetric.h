#pragma once

#include "host/ui/XChannelShadeSpecification.h"
#include "x-platform/volume/XChannelTableRecord.h"
#include "x-platform/volume/XComponentTable.h"
#include "x-platform/volume/XEmptySpaceGrid.h"
#include "x-platform/volume/XPackedChannelEntry.h"
#include "x-platform/volume/XPackedMultiChannelVolume.h"
#include "x-platform/volume/XVolumetric.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

// The volumetric of microscope image data: the visible channels of one time point of a sample,
// packed into bytes and classified through per-channel opacity and emission tables built from
// each channel's shade settings. A sample at a voxel point classifies the eight voxels
// around it (classification before interpolation) and interpolates trilinearly; the per-voxel
// combination rule is the concrete class's (XMultiChannelVolumetricT).
//
// Voxel coordinates are data indices: the data bounds are [0, n - 1] on each axis of n voxels and
// the volume transform is translate(origin) x scale(voxel size). Channels enter the packed volume
// and the tables in ascending channel number, whatever the order of the specifications.
//
// Once prepared (or read from a stream), the volumetric holds a read lock on its packed volume
// for its whole life; copies share the packed volume and the empty-space grid, which are never
// changed again, and take a read lock of their own.
class XMultiChannelVolumetric : public XVolumetric
{
public:
    static constexpr std::uint32_t kClassID = 14922;
    static constexpr float kStepSize = 0.75f;

    using XDisplayRange = XPackedMultiChannelVolume::XDisplayRange;

    std::uint32_t GetClassID() const override { return kClassID; }
    std::uint64_t GetStreamSize() const override;
    // After the base fields: the version record 14922, the specifications, the sample and time
    // point, the placement, the display ranges, the channel tables and the packed volume (see
    // docs/stream-format.md). Reading rebuilds the sampling state and the empty-space grid, so
    // a volumetric read from a stream renders without the sample it was made from.
    void Read(XStream& inStream) override;
    void Write(XStream& outStream) const override;

    // Builds the channel tables, the packed volume, the bounds, the empty-space grid and the
    // volume transform; does nothing when the packed volume exists. With no visible channel
    // nothing is built and the volume has no data. Throws XException when the sample cannot be
    // read, a visible channel is not in it (or its kind does not match the data), or the visible
    // channels do not fit this class's layout.
    void Prepare() override;
    bool IsPrepared() const { return itsLease.Get() != nullptr; }

    // The data bounds [0, n - 1] per axis; an empty box (minimum above maximum) without data.
    XBoundingBox GetVolumeBounds() const override { return itsDataBounds; }
    float GetStepSize() const override { return kStepSize; }
    const XEmptySpaceGrid* GetEmptySpaceGrid() const override { return itsEmptySpaceGrid.get(); }

    // The settings below are read by the next preparation; a prepared volumetric keeps what it
    // was prepared with (but for the origin and voxel size, which move it at once).
    // One shade per host channel; only visible ones are rendered.
    void SetChannelSpecifications(std::vector<XChannelShadeSpecification> inSpecifications);
    const std::vector<XChannelShadeSpecification>& GetChannelSpecifications() const
    {
        return itsSpecifications;
    }
    void SetSample(std::uint32_t inSampleID, std::uint32_t inTimePoint);
    std::uint32_t GetSampleID() const { return itsSampleID; }
    std::uint32_t GetTimePoint() const { return itsTimePoint; }

    // The world position of voxel (0, 0, 0); (0, 0, 0) by default. Throws XException unless
    // finite.
    void SetOrigin(const XMathVectorF3& inOrigin);
    const XMathVectorF3& GetOrigin() const { return itsOrigin; }
    // Replaces the voxel size read from the data. Throws XException unless each is positive
    // and finite.
    void SetVoxelSize(const XMathVectorF3& inVoxelSize);
    // The size given, else the packed volume's voxel scale, else (1, 1, 1).
    XMathVectorF3 GetVoxelSize() const;
    // The values that map to the bytes 0..255 for a scalar channel; by default the 8-bit range,
    // or the channel's minimum and maximum at the time point. Throws XException unless
    // inHigh > inLow, both finite.
    void SetDisplayRange(std::uint32_t inChannel, double inLow, double inHigh);
    const std::map<std::uint32_t, XDisplayRange>& GetDisplayRanges() const { return itsRanges; }

    // Null until prepared.
    const XPackedMultiChannelVolume* GetPackedVolume() const { return itsLease.Get(); }
    // One record per visible channel, in the packed volume's channel order.
    const std::vector<XChannelTableRecord>& GetChannelRecords() const { return itsRecords; }

    // The per-voxel rule's layout in words ("two scalar channels"), for messages.
    virtual std::string_view GetLayoutDescription() const = 0;

protected:
    XMultiChannelVolumetric() = default;
    XMultiChannelVolumetric(std::vector<XChannelShadeSpecification> inSpecifications,
                            std::uint32_t inSampleID, std::uint32_t inTimePoint);
    XMultiChannelVolumetric(const XMultiChannelVolumetric&) = default;

    // Whether the per-voxel rule can render channels of these widths.
    virtual bool AcceptsLayout(std::span<const XPackedChannelEntry> inChannels) const = 0;

    // Where a sample reads: component 0 of the voxel trunc(p), and the trilinear weights of
    // the eight corners (x fastest, then y, then z).
    struct XSampleSite
    {
        const std::uint8_t* voxel = nullptr;
        std::array<float, 8> weights{};
    };
    // False (and nothing to read) for points outside the data bounds.
    bool LocateSample(const XMathVectorF3& inVoxelPoint, XSampleSite& outSite) const
    {
        if (!itsDataBounds.Contains(inVoxelPoint))
        {
            return false;
        }
        const std::int32_t x = static_cast<std::int32_t>(inVoxelPoint.x);
        const std::int32_t y = static_cast<std::int32_t>(inVoxelPoint.y);
        const std::int32_t z = static_cast<std::int32_t>(inVoxelPoint.z);
        const float fx = inVoxelPoint.x - static_cast<float>(x);
        const float fy = inVoxelPoint.y - static_cast<float>(y);
        const float fz = inVoxelPoint.z - static_cast<float>(z);
        outSite.voxel = itsBoxBase +
                        (static_cast<std::ptrdiff_t>(x) - itsBoxOrigin[0]) * itsStrides[0] +
                        (static_cast<std::ptrdiff_t>(y) - itsBoxOrigin[1]) * itsStrides[1] +
                        (static_cast<std::ptrdiff_t>(z) - itsBoxOrigin[2]) * itsStrides[2];
        const float wx[2] = {1.0f - fx, fx};
        const float wy[2] = {1.0f - fy, fy};
        const float wz[2] = {1.0f - fz, fz};
        for (int corner = 0; corner < 8; ++corner)
        {
            outSite.weights[corner] = wx[corner & 1] * wy[(corner >> 1) & 1] * wz[corner >> 2];
        }
        return true;
    }
    // Byte offsets of the eight corners from the site's voxel, in the order of the weights.
    const std::array<std::ptrdiff_t, 8>& GetCornerOffsets() const { return itsCornerOffsets; }
    // One table per packed component (a colour channel has three).
    const XComponentTable* GetComponentTables() const { return itsComponentTables.data(); }
    std::uint32_t GetComponentCount() const
    {
        return static_cast<std::uint32_t>(itsComponentTables.size());
    }

private:
    // Holds a read lock on a shared packed volume for as long as it lives; a copy takes its own.
    class XLease
    {
    public:
        XLease() = default;
        explicit XLease(std::shared_ptr<XPackedMultiChannelVolume> inVolume)
            : itsVolume(std::move(inVolume))
        {
            if (itsVolume)
            {
                itsVolume->LockFor(XLockMode::kRead);
            }
        }
        XLease(const XLease& inOther) : XLease(inOther.itsVolume) {}
        XLease(XLease&& inOther) noexcept : itsVolume(std::move(inOther.itsVolume)) {}
        XLease& operator=(XLease inOther)
        {
            std::swap(itsVolume, inOther.itsVolume);
            return *this;
        }
        ~XLease()
        {
            if (itsVolume)
            {
                itsVolume->UnlockFor(XLockMode::kRead);
            }
        }
        XPackedMultiChannelVolume* Get() const { return itsVolume.get(); }

    private:
        std::shared_ptr<XPackedMultiChannelVolume> itsVolume;
    };

    // Builds one record per visible channel in ascending channel number; fills the request list.
    void BuildChannelRecords(std::vector<XPackedChannelEntry>& outRequest);
    // Throws unless the packed channels are the requested ones and fit this class.
    void CheckLayout(const std::vector<XPackedChannelEntry>& inRequest,
                     const XPackedMultiChannelVolume& inPacked) const;
    // Takes a read lock on inPacked and derives the sampling state from it and the records.
    void Attach(std::shared_ptr<XPackedMultiChannelVolume> inPacked);
    void Detach();
    void ApplyVolumeTransform();

    std::vector<XChannelShadeSpecification> itsSpecifications;
    std::uint32_t itsSampleID = 0;
    std::uint32_t itsTimePoint = 0;
    XMathVectorF3 itsOrigin;
    std::optional<XMathVectorF3> itsVoxelSize;
    std::map<std::uint32_t, XDisplayRange> itsRanges;
    std::vector<XChannelTableRecord> itsRecords;
    XLease itsLease;

    // Derived from the packed volume and the records whenever either is set.
    XBoundingBox itsDataBounds{XMathVectorF3(0, 0, 0), XMathVectorF3(-1, -1, -1)};
    std::vector<XComponentTable> itsComponentTables;
    std::shared_ptr<const XEmptySpaceGrid> itsEmptySpaceGrid;
    const std::uint8_t* itsBoxBase = nullptr; // component 0 of the box's first voxel
    std::array<std::int32_t, 3> itsBoxOrigin{};
    std::array<std::ptrdiff_t, 3> itsStrides{};
    std::array<std::ptrdiff_t, 8> itsCornerOffsets{};
};
