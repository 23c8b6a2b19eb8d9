#include "XTestTiff.h"

#include "host/data/XDataVolume.h"
#include "host/imaging/XARGB32Volume.h"
#include "host/imaging/XFPVolume.h"
#include "host/imaging/XGrey16Volume.h"
#include "host/imaging/XGrey8Volume.h"

#include <gtest/gtest.h>
#include <tiffio.h>

#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <random>
#include <stdexcept>
#include <vector>

namespace
{
int KeepQuiet(TIFF*, void*, const char*, const char*, va_list)
{
    return 1;
}

int RecordError(TIFF*, void* inText, const char* inModule, const char* inFormat,
                va_list inArguments)
{
    char buffer[512];
    std::vsnprintf(buffer, sizeof buffer, inFormat, inArguments);
    *static_cast<std::string*>(inText) += std::string(inModule ? inModule : "") + ": " + buffer;
    return 1;
}

TIFF* Open(const std::filesystem::path& inPath, const char* inMode, std::string& outErrors)
{
    TIFFOpenOptions* options = TIFFOpenOptionsAlloc();
    TIFFOpenOptionsSetErrorHandlerExtR(options, RecordError, &outErrors);
    TIFFOpenOptionsSetWarningHandlerExtR(options, KeepQuiet, nullptr);
    TIFF* tiff = TIFFOpenExt(inPath.c_str(), inMode, options);
    TIFFOpenOptionsFree(options);
    return tiff;
}

[[noreturn]] void Refuse(const std::string& inWhat)
{
    ADD_FAILURE() << inWhat;
    throw std::runtime_error(inWhat);
}

// Stores a value as a sample of the format at sample index inIndex of a row.
void Put(std::vector<unsigned char>& outRow, std::size_t inIndex, double inValue,
         std::uint16_t inBits, std::uint16_t inFormat)
{
    switch (inBits)
    {
    case 1:
        if (inValue != 0.0)
        {
            outRow[inIndex / 8] |= static_cast<unsigned char>(0x80u >> (inIndex % 8));
        }
        return;
    case 8:
        outRow[inIndex] = static_cast<unsigned char>(inValue);
        return;
    case 16:
    {
        const auto value = static_cast<std::uint16_t>(inValue);
        std::memcpy(&outRow[inIndex * 2], &value, 2);
        return;
    }
    case 32:
        if (inFormat == 3)
        {
            const auto value = static_cast<float>(inValue);
            std::memcpy(&outRow[inIndex * 4], &value, 4);
        }
        else
        {
            const auto value = static_cast<std::int32_t>(inValue);
            std::memcpy(&outRow[inIndex * 4], &value, 4);
        }
        return;
    default:
        Refuse("no test encoding for " + std::to_string(inBits) + "-bit samples");
    }
}

double Get(const unsigned char* inRow, std::size_t inIndex, std::uint16_t inBits,
           std::uint16_t inFormat)
{
    switch (inBits)
    {
    case 1:
        return (inRow[inIndex / 8] >> (7 - inIndex % 8)) & 1u;
    case 8:
        return inRow[inIndex];
    case 16:
    {
        std::uint16_t value = 0;
        std::memcpy(&value, inRow + inIndex * 2, 2);
        return value;
    }
    case 32:
    {
        if (inFormat == 3)
        {
            float value = 0;
            std::memcpy(&value, inRow + inIndex * 4, 4);
            return value;
        }
        std::int32_t value = 0;
        std::memcpy(&value, inRow + inIndex * 4, 4);
        return value;
    }
    default:
        Refuse("no test decoding for " + std::to_string(inBits) + "-bit samples");
    }
}
} // namespace

double XTestTiff::Value(std::uint32_t inPage, std::uint32_t inX, std::uint32_t inY,
                        std::uint32_t inSample, std::uint16_t inBits, std::uint16_t inFormat)
{
    switch (inBits)
    {
    case 1:
        return (inPage + inX + inY) % 2;
    case 8:
        return (inPage * 53 + inY * 17 + inX * 5 + inSample * 71) % 256;
    case 16:
        return (inPage * 1009 + inY * 97 + inX * 13 + inSample * 5003) % 65536;
    default:
        return inFormat == 3 ? inPage * 10.5 + inY * 0.25 - inX * 1.5 + inSample
                             : -1000.0 * inX + inY * 7.0 + inPage;
    }
}

void XTestTiff::Write(const std::filesystem::path& inPath) const
{
    std::string errors;
    TIFF* tiff = Open(inPath, bigEndian ? "wb" : "wl", errors);
    if (tiff == nullptr)
    {
        Refuse("cannot create " + inPath.string() + ": " + errors);
    }
    const std::uint32_t sampleCount = separatePlanes ? samplesPerPixel : 1;
    const std::uint32_t rowSamples = separatePlanes ? 1 : samplesPerPixel;
    for (std::uint32_t page = 0; page < pages; ++page)
    {
        const std::uint32_t rows = pageHeight ? pageHeight(page) : height;
        TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, width);
        TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, rows);
        TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, bitsPerSample);
        TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, samplesPerPixel);
        TIFFSetField(tiff, TIFFTAG_SAMPLEFORMAT, sampleFormat);
        TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC,
                     samplesPerPixel == 3 ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK);
        TIFFSetField(tiff, TIFFTAG_PLANARCONFIG,
                     separatePlanes ? PLANARCONFIG_SEPARATE : PLANARCONFIG_CONTIG);
        TIFFSetField(tiff, TIFFTAG_COMPRESSION, compression);
        if (compression != COMPRESSION_NONE && bitsPerSample >= 8 && sampleFormat != 3)
        {
            TIFFSetField(tiff, TIFFTAG_PREDICTOR, PREDICTOR_HORIZONTAL);
        }
        if (page == 0 && !description.empty())
        {
            TIFFSetField(tiff, TIFFTAG_IMAGEDESCRIPTION, description.c_str());
        }
        if (xResolution > 0.0)
        {
            TIFFSetField(tiff, TIFFTAG_XRESOLUTION, xResolution);
            TIFFSetField(tiff, TIFFTAG_YRESOLUTION, yResolution > 0.0 ? yResolution : xResolution);
            TIFFSetField(tiff, TIFFTAG_RESOLUTIONUNIT, RESUNIT_NONE);
        }
        // Rows of the whole plane, one block per sample when the samples are separate.
        const std::size_t rowBytes = (std::size_t{width} * rowSamples * bitsPerSample + 7) / 8;
        std::vector<std::vector<unsigned char>> plane(sampleCount * rows,
                                                      std::vector<unsigned char>(rowBytes));
        for (std::uint32_t sample = 0; sample < sampleCount; ++sample)
        {
            for (std::uint32_t y = 0; y < rows; ++y)
            {
                for (std::uint32_t x = 0; x < width; ++x)
                {
                    for (std::uint32_t k = 0; k < rowSamples; ++k)
                    {
                        const std::uint32_t s = separatePlanes ? sample : k;
                        Put(plane[sample * rows + y], std::size_t{x} * rowSamples + k,
                            Value(page, x, y, s, bitsPerSample, sampleFormat), bitsPerSample,
                            sampleFormat);
                    }
                }
            }
        }
        if (tiled)
        {
            constexpr std::uint32_t tileSize = 16;
            TIFFSetField(tiff, TIFFTAG_TILEWIDTH, tileSize);
            TIFFSetField(tiff, TIFFTAG_TILELENGTH, tileSize);
            const std::size_t tileRowBytes = (tileSize * rowSamples * bitsPerSample + 7) / 8;
            std::vector<unsigned char> tile(tileRowBytes * tileSize);
            for (std::uint32_t sample = 0; sample < sampleCount; ++sample)
            {
                for (std::uint32_t y = 0; y < rows; y += tileSize)
                {
                    for (std::uint32_t x = 0; x < width; x += tileSize)
                    {
                        std::fill(tile.begin(), tile.end(), 0);
                        const std::size_t pixelBits = std::size_t{rowSamples} * bitsPerSample;
                        const std::size_t columns = std::min(tileSize, width - x);
                        for (std::uint32_t row = 0; row < tileSize && y + row < rows; ++row)
                        {
                            std::memcpy(&tile[row * tileRowBytes],
                                        &plane[sample * rows + y + row][x * pixelBits / 8],
                                        columns * pixelBits / 8);
                        }
                        if (TIFFWriteTile(tiff, tile.data(), x, y, 0,
                                          static_cast<std::uint16_t>(sample)) < 0)
                        {
                            Refuse("cannot write a tile: " + errors);
                        }
                    }
                }
            }
        }
        else
        {
            TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, rowsPerStrip);
            for (std::uint32_t sample = 0; sample < sampleCount; ++sample)
            {
                for (std::uint32_t y = 0; y < rows; ++y)
                {
                    if (TIFFWriteScanline(tiff, plane[sample * rows + y].data(), y,
                                          static_cast<std::uint16_t>(sample)) < 0)
                    {
                        Refuse("cannot write a row: " + errors);
                    }
                }
            }
        }
        if (!TIFFWriteDirectory(tiff))
        {
            Refuse("cannot write a page: " + errors);
        }
    }
    TIFFClose(tiff);
}

std::vector<double> XReadTiffPlane(const std::filesystem::path& inPath, std::uint32_t inPage)
{
    std::string errors;
    TIFF* tiff = Open(inPath, "r", errors);
    if (tiff == nullptr || !TIFFSetDirectory(tiff, static_cast<tdir_t>(inPage)) ||
        TIFFIsTiled(tiff))
    {
        if (tiff != nullptr)
        {
            TIFFClose(tiff);
        }
        Refuse("cannot read page " + std::to_string(inPage) + " of " + inPath.string());
    }
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint16_t bits = 8;
    std::uint16_t format = 1;
    std::uint16_t samples = 1;
    std::uint16_t planar = PLANARCONFIG_CONTIG;
    TIFFGetField(tiff, TIFFTAG_IMAGEWIDTH, &width);
    TIFFGetField(tiff, TIFFTAG_IMAGELENGTH, &height);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_BITSPERSAMPLE, &bits);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_SAMPLEFORMAT, &format);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_SAMPLESPERPIXEL, &samples);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_PLANARCONFIG, &planar);
    const bool separate = planar == PLANARCONFIG_SEPARATE && samples > 1;
    std::vector<unsigned char> row(static_cast<std::size_t>(TIFFScanlineSize(tiff)));
    std::vector<double> plane(std::size_t{width} * height * samples);
    for (std::uint32_t sample = 0; sample < (separate ? samples : 1u); ++sample)
    {
        for (std::uint32_t y = 0; y < height; ++y)
        {
            if (TIFFReadScanline(tiff, row.data(), y, static_cast<std::uint16_t>(sample)) < 0)
            {
                TIFFClose(tiff);
                Refuse("cannot read row " + std::to_string(y) + " of " + inPath.string());
            }
            for (std::uint32_t x = 0; x < width; ++x)
            {
                for (std::uint32_t k = 0; k < (separate ? 1u : samples); ++k)
                {
                    const std::size_t pixel = std::size_t{y} * width + x;
                    plane[pixel * samples + (separate ? sample : k)] =
                        Get(row.data(), separate ? x : std::size_t{x} * samples + k, bits, format);
                }
            }
        }
    }
    TIFFClose(tiff);
    return plane;
}

double XVoxelAt(const XDataVolume& inVolume, std::int32_t inX, std::int32_t inY, std::int32_t inZ,
                std::uint32_t inComponent)
{
    const XVolume& voxels = inVolume.GetVoxels();
    if (const auto* grey8 = dynamic_cast<const XGrey8Volume*>(&voxels))
    {
        return grey8->At(inX, inY, inZ);
    }
    if (const auto* grey16 = dynamic_cast<const XGrey16Volume*>(&voxels))
    {
        return grey16->At(inX, inY, inZ);
    }
    if (const auto* floats = dynamic_cast<const XFPVolume*>(&voxels))
    {
        return floats->At(inX, inY, inZ);
    }
    const XARGB32Colour colour = dynamic_cast<const XARGB32Volume&>(voxels).At(inX, inY, inZ);
    return inComponent == 0 ? colour.r : inComponent == 1 ? colour.g : colour.b;
}

XTestFolder::XTestFolder()
{
    std::random_device random;
    itsPath = std::filesystem::temp_directory_path() /
              ("voltrace-data-test-" + std::to_string(random()) + "-" + std::to_string(random()));
    std::filesystem::create_directories(itsPath);
}

XTestFolder::~XTestFolder()
{
    std::error_code ignored;
    std::filesystem::remove_all(itsPath, ignored);
}
