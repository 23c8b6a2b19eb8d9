#pragma once

#include "host/data/XSample.h"
#include "host/data/XVoxelType.h"
#include "host/imaging/X3DRect.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>

class XARGB32Volume;
class XGrey8Volume;
class XVolume;

// One channel of one time point: a box of W × H × D voxels of one type with a physical voxel
// size. The voxels are read on first use (through the loader given at construction) and kept;
// every accessor may therefore throw the loader's XException. All operations are safe to call
// from several threads at once.
class XDataVolume : public XSample
{
public:
    // Fills a freshly made, zeroed volume of the right class and size with the voxels.
    using XLoader = std::function<void(XVolume& outVoxels)>;

    // Voxels read lazily by inLoader into an XGrey8Volume, XGrey16Volume, XFPVolume or
    // XARGB32Volume (for kRGB24) over (0, 0, 0)-(W, H, D).
    XDataVolume(XVoxelType inType, std::uint32_t inWidth, std::uint32_t inHeight,
                std::uint32_t inDepth, double inXScale, double inYScale, double inZScale,
                XLoader inLoader);
    // Voxels given now: an XGrey8Volume, XGrey16Volume, XFPVolume or XARGB32Volume; its
    // bounds' lower corner is taken as (0, 0, 0). Other classes throw XException.
    XDataVolume(std::unique_ptr<XVolume> inVoxels, double inXScale, double inYScale,
                double inZScale);
    ~XDataVolume() override;
    XDataVolume(const XDataVolume&) = delete;
    XDataVolume& operator=(const XDataVolume&) = delete;

    XVoxelType GetVoxelType() const { return itsType; }
    bool IsColour() const { return itsType == XVoxelType::kRGB24; }
    // (0, 0, 0)-(W, H, D).
    const X3DRect& GetBounds() const { return itsBounds; }
    // Voxel size in micrometres, or 1 when the data carries no calibration.
    double GetXScale() const { return itsXScale; }
    double GetYScale() const { return itsYScale; }
    double GetZScale() const { return itsZScale; }

    // The voxels (loading them if need be), of the class the voxel type names.
    const XVolume& GetVoxels() const;
    // A new volume of the same class holding a copy of the voxels.
    std::unique_ptr<XVolume> GetVolumeCopy() const;

    // The smallest and largest value over all voxels (over all components of colour voxels).
    // NaN voxels are left out; a volume of NaN only gives (0, 0).
    std::pair<double, double> GetValueRange() const;
    // The range that maps to bytes by default: [0, 255] for 8-bit and colour voxels, else the
    // value range, widened so that the upper end exceeds the lower one.
    std::pair<double, double> GetDefaultRange() const;

    // Writes the 8-bit rendition of every voxel that lies inside both outVolume's bounds and
    // this volume's bounds; other voxels of outVolume are left alone. Colour voxels use the
    // rounded mean of their components. Throws XException unless inHigh > inLow.
    void FillGrey8(XGrey8Volume& outVolume, double inLow, double inHigh) const;
    void FillGrey8(XGrey8Volume& outVolume) const; // over GetDefaultRange()
    // Same overlap rule; colour voxels are copied, scalar voxels become grey (r = g = b, the
    // rendition over GetDefaultRange()). Alpha is 255.
    void FillARGB32(XARGB32Volume& outVolume) const;

    // The byte a value v becomes: round(clamp((v − lo) / (hi − lo), 0, 1) × 255), halves
    // rounded up; NaN gives 0. Requires inHigh > inLow.
    static std::uint8_t ToByte(double inValue, double inLow, double inHigh);

private:
    void Load() const;
    const XVolume& Voxels() const;

    XVoxelType itsType;
    X3DRect itsBounds;
    double itsXScale;
    double itsYScale;
    double itsZScale;
    XLoader itsLoader;

    mutable std::mutex itsLoadMutex;
    mutable std::atomic<bool> itsLoaded{false};
    mutable std::unique_ptr<XVolume> itsVoxels;
    mutable double itsMin = 0.0;
    mutable double itsMax = 0.0;
};
