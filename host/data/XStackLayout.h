#pragma once

#include "host/data/XDataVolumeSequence.h"
#include "host/data/XVoxelType.h"

#include <cstdint>
#include <string>
#include <vector>

// Where the planes of a TIFF stack lie: the sizes along z, channels and time points, which page
// holds each plane, and the voxel size, as the file's metadata (OME-XML, ImageJ or none) gives
// them. Errors throw XException (kMalformedStream) with the file's name and what does not add up.
class XStackLayout
{
public:
    enum class XKind
    {
        kPlain,  // pages are z planes of one channel
        kImageJ, // ImageJ hyperstack: channel varies fastest, then z, then time
        kOME,    // OME-TIFF: order by DimensionOrder and TiffData
    };

    // What the file tells about itself, from its first page.
    struct XFacts
    {
        std::string fileName;
        std::string description; // ImageDescription
        std::uint32_t pageCount = 0;
        std::uint32_t width = 0;
        std::uint32_t height = 0;
        XVoxelType type = XVoxelType::kGrey8;
        double xResolution = 0.0; // pixels per unit; 0 when absent
        double yResolution = 0.0;
    };

    static XStackLayout Describe(const XFacts& inFacts);

    XKind GetKind() const { return itsKind; }
    std::uint32_t GetSizeZ() const { return itsSizeZ; }
    std::uint32_t GetChannelCount() const { return itsChannelCount; }
    std::uint32_t GetTimePointCount() const { return itsTimePointCount; }
    // Micrometres, or 1 along axes the metadata does not calibrate.
    double GetXScale() const { return itsScale[0]; }
    double GetYScale() const { return itsScale[1]; }
    double GetZScale() const { return itsScale[2]; }
    const XDataVolumeSequence::XAxes& GetAxes() const { return itsAxes; }

    // The page holding plane z of channel c (0-based) at time point t.
    std::uint32_t GetPage(std::uint32_t inZ, std::uint32_t inChannel,
                          std::uint32_t inTimePoint) const;

    // Micrometres per one of the unit, for the length units OME-XML and ImageJ write ("µm",
    // "micron", "nm", "mm", "Å", ...); 0 for a unit that is not a known length.
    static double MicrometresPer(const std::string& inUnit);

private:
    static XStackLayout FromOME(const XFacts& inFacts);
    static XStackLayout FromImageJ(const XFacts& inFacts);
    static XStackLayout FromPages(const XFacts& inFacts);
    void SetAxes(const std::string& inSlowestFirst, const XFacts& inFacts);
    std::size_t PlaneIndex(std::uint32_t inZ, std::uint32_t inChannel,
                           std::uint32_t inTimePoint) const;

    XKind itsKind = XKind::kPlain;
    std::uint32_t itsSizeZ = 1;
    std::uint32_t itsChannelCount = 1;
    std::uint32_t itsTimePointCount = 1;
    double itsScale[3] = {1.0, 1.0, 1.0};
    XDataVolumeSequence::XAxes itsAxes;
    std::vector<std::uint32_t> itsPages; // by PlaneIndex
};
