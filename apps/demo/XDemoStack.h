#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

// A synthetic three-channel 16-bit stack of a small cluster of cells, as a fluorescence
// microscope records it: channel 1 nuclei (filled, textured ellipsoids), channel 2 membranes
// (thin shells around the cells and between neighbours), channel 3 filaments (thin curved tubes
// through the cytoplasm). The objects are blurred by a point spread that is longer along z than
// across, sit on a dim background above a camera offset and carry shot and read noise drawn from
// a fixed-seed generator, so the same settings always give the same voxels.
class XDemoStack
{
public:
    struct XSettings
    {
        std::uint32_t width = 192; // voxels along x
        std::uint32_t height = 192;
        std::uint32_t depth = 48;
        std::array<double, 3> voxelSize{0.2, 0.2, 0.5}; // micrometres along x, y, z
        std::uint32_t cellCount = 10;
        std::uint64_t seed = 20240611;
    };

    // A nucleus in the stack's world frame, where voxel (i, j, k) lies at (i·sx, j·sy, k·sz):
    // its centre and its mean radius, in micrometres.
    struct XNucleus
    {
        std::array<double, 3> centre{};
        double radius = 0.0;
    };

    static constexpr std::uint32_t kChannelCount = 3;
    static constexpr std::uint32_t kNucleiChannel = 1;
    static constexpr std::uint32_t kMembraneChannel = 2;
    static constexpr std::uint32_t kFilamentChannel = 3;
    // The camera's offset in counts, added to every voxel; the background's photons come on top.
    static constexpr double kCameraOffset = 100.0;

    // The name and display colour (0xRRGGBB) of channel c (1-based).
    static std::string GetChannelName(std::uint32_t inChannel);
    static std::uint32_t GetChannelColour(std::uint32_t inChannel);

    // Generates the stack (well under a second for the default size in an optimised build),
    // reporting progress through an XProgress. Throws XException (kInvalidArgument) for
    // settings out of range: sizes below 8 × 8 × 2 or above 4096, voxel sizes that are not
    // positive, no cells or more than 64.
    explicit XDemoStack(const XSettings& inSettings);
    XDemoStack(); // the default settings

    const XSettings& GetSettings() const { return itsSettings; }
    // One per cell, in the order the cells were placed.
    const std::vector<XNucleus>& GetNuclei() const { return itsNuclei; }

    // The voxels of channel c (1-based), plane after plane, each plane row after row from y = 0.
    std::span<const std::uint16_t> GetChannel(std::uint32_t inChannel) const;
    std::uint16_t GetVoxel(std::uint32_t inChannel, std::uint32_t inX, std::uint32_t inY,
                           std::uint32_t inZ) const;
    // The smallest value v with at least inFraction (0..1) of the channel's voxels ≤ v: 0.5 gives
    // the median.
    std::uint16_t GetQuantile(std::uint32_t inChannel, double inFraction) const;

    // Writes an OME-TIFF: one little-endian, uncompressed page per plane with the planes in
    // DimensionOrder XYZCT (page = c × depth + z), the OME-XML in the first page's
    // ImageDescription. Throws XException (kIOError) naming the file when it cannot be written;
    // a partly written file is removed.
    void WriteOmeTiff(const std::filesystem::path& inPath) const;
    // Writes a CSV table with the header row x,y,z,radius and one row per nucleus: its centre in
    // micrometres and inSpotRadius. Throws XException (kIOError) naming the file.
    void WriteSpots(const std::filesystem::path& inPath, double inSpotRadius) const;

    // The OME-XML that WriteOmeTiff stores.
    std::string GetOmeXml() const;

private:
    void Generate();

    XSettings itsSettings;
    std::vector<XNucleus> itsNuclei;
    std::vector<std::uint16_t> itsVoxels; // channel after channel
};
