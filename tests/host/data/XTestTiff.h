#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

class XDataVolume;

// Writes small TIFF files with libtiff for the reader's tests, and reads single samples back
// directly with libtiff to check the reader against.
struct XTestTiff
{
    std::uint32_t width = 6;
    std::uint32_t height = 5;
    std::uint32_t pages = 1;
    std::uint16_t bitsPerSample = 8;
    std::uint16_t samplesPerPixel = 1;
    std::uint16_t sampleFormat = 1; // 1 unsigned, 2 signed, 3 floating point
    std::uint16_t compression = 1;  // 1 none, 5 LZW, 8 deflate
    bool bigEndian = false;
    bool tiled = false; // 16 × 16 tiles
    bool separatePlanes = false;
    std::uint32_t rowsPerStrip = 2;
    std::string description;  // written to the first page when not empty
    double xResolution = 0.0; // written when above 0
    double yResolution = 0.0;
    // The height of page inPage; the default gives every page `height` rows.
    std::function<std::uint32_t(std::uint32_t inPage)> pageHeight;

    // The value of sample s of pixel (x, y) on page p. Integers are stored as unsigned (or, for
    // sampleFormat 2, signed) integers of bitsPerSample bits; 1-bit samples as 0 or 1.
    static double Value(std::uint32_t inPage, std::uint32_t inX, std::uint32_t inY,
                        std::uint32_t inSample, std::uint16_t inBits, std::uint16_t inFormat);

    // Writes the file; fails the test (and throws) when libtiff refuses.
    void Write(const std::filesystem::path& inPath) const;
};

// Every sample of page p as libtiff decodes it, row by row, the samples of a pixel adjacent.
std::vector<double> XReadTiffPlane(const std::filesystem::path& inPath, std::uint32_t inPage);

// Voxel (x, y, z) of a data volume as a number; for colour voxels, component 0 red, 1 green,
// 2 blue.
double XVoxelAt(const XDataVolume& inVolume, std::int32_t inX, std::int32_t inY, std::int32_t inZ,
                std::uint32_t inComponent = 0);

// A fresh, empty folder for one test's files, removed with the object.
class XTestFolder
{
public:
    XTestFolder();
    ~XTestFolder();
    XTestFolder(const XTestFolder&) = delete;
    XTestFolder& operator=(const XTestFolder&) = delete;
    std::filesystem::path operator/(const std::string& inName) const { return itsPath / inName; }

private:
    std::filesystem::path itsPath;
};
