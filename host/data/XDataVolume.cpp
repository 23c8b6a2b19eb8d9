#include "host/data/XDataVolume.h"

#include "host/core/XException.h"
#include "host/core/XInternalError.h"
#include "host/imaging/XARGB32Volume.h"
#include "host/imaging/XFPVolume.h"
#include "host/imaging/XGrey16Volume.h"
#include "host/imaging/XGrey8Volume.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

X_SOURCE_NAME("host/data/XDataVolume");

namespace
{
std::unique_ptr<XVolume> MakeVolume(XVoxelType inType, const X3DRect& inBounds)
{
    switch (inType)
    {
    case XVoxelType::kGrey8:
        return std::make_unique<XGrey8Volume>(inBounds);
    case XVoxelType::kGrey16:
        return std::make_unique<XGrey16Volume>(inBounds);
    case XVoxelType::kFloat32:
        return std::make_unique<XFPVolume>(inBounds);
    case XVoxelType::kRGB24:
        return std::make_unique<XARGB32Volume>(inBounds);
    }
    return nullptr;
}

XVoxelType TypeOf(const XVolume& inVolume)
{
    if (dynamic_cast<const XGrey8Volume*>(&inVolume) != nullptr)
    {
        return XVoxelType::kGrey8;
    }
    if (dynamic_cast<const XGrey16Volume*>(&inVolume) != nullptr)
    {
        return XVoxelType::kGrey16;
    }
    if (dynamic_cast<const XFPVolume*>(&inVolume) != nullptr)
    {
        return XVoxelType::kFloat32;
    }
    if (dynamic_cast<const XARGB32Volume*>(&inVolume) != nullptr)
    {
        return XVoxelType::kRGB24;
    }
    throw XException(XException::kMalformedStream,
                     "A data volume holds 8-bit, 16-bit, floating-point or colour voxels only");
}

void CheckScale(double inScale)
{
    if (!(inScale > 0.0) || !std::isfinite(inScale))
    {
        throw XException(XException::kMalformedStream,
                         "A voxel size must be a positive finite number, not " +
                             std::to_string(inScale));
    }
}

// Applies inMap to every voxel of the overlap of the two volumes, row by row.
template <class TSource, class TDestination, class TMap>
void MapOverlap(const TSource& inSource, TDestination& outDestination, const TMap& inMap)
{
    const X3DRect overlap = outDestination.GetBounds().Sect(inSource.GetBounds());
    const std::uint32_t width = overlap.GetWidth();
    if (width == 0 || overlap.GetHeight() == 0)
    {
        return;
    }
    for (std::int32_t z = overlap.GetZ0(); z < overlap.GetZ1(); ++z)
    {
        for (std::int32_t y = overlap.GetY0(); y < overlap.GetY1(); ++y)
        {
            const auto* source = &inSource.At(overlap.GetX0(), y, z);
            auto* destination = &outDestination.At(overlap.GetX0(), y, z);
            for (std::uint32_t x = 0; x < width; ++x)
            {
                destination[x] = inMap(source[x]);
            }
        }
    }
}

// The rendition of every possible value of a small integer type, computed once per fill.
template <class T>
std::vector<std::uint8_t> MakeByteTable(double inLow, double inHigh)
{
    std::vector<std::uint8_t> table(std::size_t{std::numeric_limits<T>::max()} + 1);
    for (std::size_t value = 0; value < table.size(); ++value)
    {
        table[value] = XDataVolume::ToByte(static_cast<double>(value), inLow, inHigh);
    }
    return table;
}

template <class TVolume>
void FillFromIntegers(const TVolume& inSource, XGrey8Volume& outVolume, double inLow, double inHigh)
{
    const std::vector<std::uint8_t> table = MakeByteTable<typename TVolume::Voxel>(inLow, inHigh);
    MapOverlap(inSource, outVolume,
               [&table](typename TVolume::Voxel inValue) { return table[inValue]; });
}

template <class TVolume>
std::pair<double, double> ScanRange(const TVolume& inVolume)
{
    using TVoxel = typename TVolume::Voxel;
    // Compared in the voxel type; comparisons with NaN are false, so NaN voxels change nothing.
    TVoxel low = std::numeric_limits<TVoxel>::has_infinity ? std::numeric_limits<TVoxel>::infinity()
                                                           : std::numeric_limits<TVoxel>::max();
    TVoxel high = std::numeric_limits<TVoxel>::has_infinity
                      ? -std::numeric_limits<TVoxel>::infinity()
                      : std::numeric_limits<TVoxel>::lowest();
    const TVoxel* voxel = inVolume.GetBaseAddress();
    const TVoxel* const end = voxel + inVolume.GetVoxelCount();
    for (; voxel != end; ++voxel)
    {
        if (*voxel < low)
        {
            low = *voxel;
        }
        if (*voxel > high)
        {
            high = *voxel;
        }
    }
    if (low > high)
    {
        return {0.0, 0.0};
    }
    return {static_cast<double>(low), static_cast<double>(high)};
}

std::pair<double, double> ScanColourRange(const XARGB32Volume& inVolume)
{
    int low = 255;
    int high = 0;
    const XARGB32Colour* voxels = inVolume.GetBaseAddress();
    const std::uint64_t count = inVolume.GetVoxelCount();
    for (std::uint64_t index = 0; index < count; ++index)
    {
        const XARGB32Colour colour = voxels[index];
        low = std::min({low, int{colour.r}, int{colour.g}, int{colour.b}});
        high = std::max({high, int{colour.r}, int{colour.g}, int{colour.b}});
    }
    if (low > high)
    {
        return {0.0, 0.0};
    }
    return {low, high};
}

std::pair<double, double> ScanVolume(XVoxelType inType, const XVolume& inVolume)
{
    switch (inType)
    {
    case XVoxelType::kGrey8:
        return ScanRange(static_cast<const XGrey8Volume&>(inVolume));
    case XVoxelType::kGrey16:
        return ScanRange(static_cast<const XGrey16Volume&>(inVolume));
    case XVoxelType::kFloat32:
        return ScanRange(static_cast<const XFPVolume&>(inVolume));
    case XVoxelType::kRGB24:
        break;
    }
    return ScanColourRange(static_cast<const XARGB32Volume&>(inVolume));
}

std::uint8_t MeanOfComponents(const XARGB32Colour& inColour)
{
    return static_cast<std::uint8_t>((int{inColour.r} + inColour.g + inColour.b + 1) / 3);
}
} // namespace

XDataVolume::XDataVolume(XVoxelType inType, std::uint32_t inWidth, std::uint32_t inHeight,
                         std::uint32_t inDepth, double inXScale, double inYScale, double inZScale,
                         XLoader inLoader)
    : itsType(inType),
      itsBounds(0, 0, 0, static_cast<std::int32_t>(inWidth), static_cast<std::int32_t>(inHeight),
                static_cast<std::int32_t>(inDepth)),
      itsXScale(inXScale), itsYScale(inYScale), itsZScale(inZScale), itsLoader(std::move(inLoader))
{
    constexpr std::uint32_t limit = std::numeric_limits<std::int32_t>::max();
    if (inWidth > limit || inHeight > limit || inDepth > limit)
    {
        throw XException(XException::kMalformedStream,
                         "A data volume's extents must be below 2^31");
    }
    CheckScale(inXScale);
    CheckScale(inYScale);
    CheckScale(inZScale);
    X_ASSERT(itsLoader);
}

XDataVolume::XDataVolume(std::unique_ptr<XVolume> inVoxels, double inXScale, double inYScale,
                         double inZScale)
    : itsType(TypeOf(*inVoxels)), itsXScale(inXScale), itsYScale(inYScale), itsZScale(inZScale)
{
    CheckScale(inXScale);
    CheckScale(inYScale);
    CheckScale(inZScale);
    const X3DRect& source = inVoxels->GetBounds();
    itsBounds = X3DRect(0, 0, 0, static_cast<std::int32_t>(source.GetWidth()),
                        static_cast<std::int32_t>(source.GetHeight()),
                        static_cast<std::int32_t>(source.GetDepth()));
    if (source == itsBounds)
    {
        itsVoxels = std::move(inVoxels);
    }
    else
    {
        // Re-base the voxels at the origin: the layout is the same, so one block copy.
        itsVoxels = MakeVolume(itsType, itsBounds);
        const auto copy = [](const auto& inFrom, auto& outTo)
        { std::copy_n(inFrom.GetBaseAddress(), inFrom.GetVoxelCount(), outTo.GetBaseAddress()); };
        switch (itsType)
        {
        case XVoxelType::kGrey8:
            copy(static_cast<const XGrey8Volume&>(*inVoxels),
                 static_cast<XGrey8Volume&>(*itsVoxels));
            break;
        case XVoxelType::kGrey16:
            copy(static_cast<const XGrey16Volume&>(*inVoxels),
                 static_cast<XGrey16Volume&>(*itsVoxels));
            break;
        case XVoxelType::kFloat32:
            copy(static_cast<const XFPVolume&>(*inVoxels), static_cast<XFPVolume&>(*itsVoxels));
            break;
        case XVoxelType::kRGB24:
            copy(static_cast<const XARGB32Volume&>(*inVoxels),
                 static_cast<XARGB32Volume&>(*itsVoxels));
            break;
        }
    }
    std::tie(itsMin, itsMax) = ScanVolume(itsType, *itsVoxels);
    itsLoaded.store(true, std::memory_order_release);
}

XDataVolume::~XDataVolume() = default;

void XDataVolume::Load() const
{
    const std::lock_guard<std::mutex> lock(itsLoadMutex);
    if (itsLoaded.load(std::memory_order_relaxed))
    {
        return;
    }
    std::unique_ptr<XVolume> voxels = MakeVolume(itsType, itsBounds);
    itsLoader(*voxels);
    const std::pair<double, double> range = ScanVolume(itsType, *voxels);
    itsVoxels = std::move(voxels);
    std::tie(itsMin, itsMax) = range;
    itsLoaded.store(true, std::memory_order_release);
}

const XVolume& XDataVolume::Voxels() const
{
    if (!itsLoaded.load(std::memory_order_acquire))
    {
        Load();
    }
    return *itsVoxels;
}

const XVolume& XDataVolume::GetVoxels() const
{
    return Voxels();
}

std::unique_ptr<XVolume> XDataVolume::GetVolumeCopy() const
{
    const XVolume& voxels = Voxels();
    switch (itsType)
    {
    case XVoxelType::kGrey8:
        return std::make_unique<XGrey8Volume>(static_cast<const XGrey8Volume&>(voxels));
    case XVoxelType::kGrey16:
        return std::make_unique<XGrey16Volume>(static_cast<const XGrey16Volume&>(voxels));
    case XVoxelType::kFloat32:
        return std::make_unique<XFPVolume>(static_cast<const XFPVolume&>(voxels));
    case XVoxelType::kRGB24:
        break;
    }
    return std::make_unique<XARGB32Volume>(static_cast<const XARGB32Volume&>(voxels));
}

std::pair<double, double> XDataVolume::GetValueRange() const
{
    Voxels();
    return {itsMin, itsMax};
}

std::pair<double, double> XDataVolume::GetDefaultRange() const
{
    if (itsType == XVoxelType::kGrey8 || itsType == XVoxelType::kRGB24)
    {
        return {0.0, 255.0};
    }
    const auto [low, high] = GetValueRange();
    if (high > low)
    {
        return {low, high};
    }
    // A constant channel: every voxel renders as 0.
    const double wider = low + 1.0;
    return {low, wider > low ? wider : std::nextafter(low, std::numeric_limits<double>::max())};
}

std::uint8_t XDataVolume::ToByte(double inValue, double inLow, double inHigh)
{
    const double fraction = (inValue - inLow) / (inHigh - inLow);
    if (!(fraction > 0.0))
    {
        return 0; // below the range, or NaN
    }
    if (fraction >= 1.0)
    {
        return 255;
    }
    return static_cast<std::uint8_t>(std::round(fraction * 255.0));
}

void XDataVolume::FillGrey8(XGrey8Volume& outVolume, double inLow, double inHigh) const
{
    if (!(inHigh > inLow) || !std::isfinite(inLow) || !std::isfinite(inHigh))
    {
        throw XException(XException::kMalformedStream,
                         "The upper end of a display range must exceed the lower end: [" +
                             std::to_string(inLow) + ", " + std::to_string(inHigh) + "]");
    }
    const XVolume& voxels = Voxels();
    switch (itsType)
    {
    case XVoxelType::kGrey8:
        FillFromIntegers(static_cast<const XGrey8Volume&>(voxels), outVolume, inLow, inHigh);
        break;
    case XVoxelType::kGrey16:
        FillFromIntegers(static_cast<const XGrey16Volume&>(voxels), outVolume, inLow, inHigh);
        break;
    case XVoxelType::kFloat32:
        MapOverlap(static_cast<const XFPVolume&>(voxels), outVolume,
                   [inLow, inHigh](float inValue) { return ToByte(inValue, inLow, inHigh); });
        break;
    case XVoxelType::kRGB24:
    {
        const std::vector<std::uint8_t> table = MakeByteTable<std::uint8_t>(inLow, inHigh);
        MapOverlap(static_cast<const XARGB32Volume&>(voxels), outVolume,
                   [&table](const XARGB32Colour& inColour)
                   { return table[MeanOfComponents(inColour)]; });
        break;
    }
    }
}

void XDataVolume::FillGrey8(XGrey8Volume& outVolume) const
{
    const auto [low, high] = GetDefaultRange();
    FillGrey8(outVolume, low, high);
}

void XDataVolume::FillARGB32(XARGB32Volume& outVolume) const
{
    if (itsType == XVoxelType::kRGB24)
    {
        MapOverlap(static_cast<const XARGB32Volume&>(Voxels()), outVolume,
                   [](XARGB32Colour inColour)
                   {
                       inColour.a = 255;
                       return inColour;
                   });
        return;
    }
    XGrey8Volume grey(itsBounds);
    FillGrey8(grey);
    MapOverlap(grey, outVolume,
               [](std::uint8_t inByte) {
                   return XARGB32Colour{255, inByte, inByte, inByte};
               });
}
