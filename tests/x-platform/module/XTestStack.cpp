#include "XTestStack.h"

#include <gtest/gtest.h>
#include <tiffio.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace
{
[[noreturn]] void Refuse(const std::string& inWhat)
{
    ADD_FAILURE() << inWhat;
    throw std::runtime_error(inWhat);
}
} // namespace

void XTestStack::Write(const std::filesystem::path& inPath) const
{
    TIFF* tiff = TIFFOpen(inPath.c_str(), "w");
    if (tiff == nullptr)
    {
        Refuse("cannot create " + inPath.string());
    }
    const std::uint32_t pages = depth * channels;
    const std::string description = "ImageJ=1.54f\nimages=" + std::to_string(pages) +
                                    "\nchannels=" + std::to_string(channels) +
                                    "\nslices=" + std::to_string(depth) + "\nhyperstack=true\n";
    std::vector<std::uint8_t> row(width);
    for (std::uint32_t page = 0; page < pages; ++page)
    {
        const std::uint32_t z = page / channels;
        const std::uint32_t channel = page % channels;
        TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, width);
        TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, height);
        TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 8);
        TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 1);
        TIFFSetField(tiff, TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_UINT);
        TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
        TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
        TIFFSetField(tiff, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
        TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, height);
        if (page == 0 && channels > 1)
        {
            TIFFSetField(tiff, TIFFTAG_IMAGEDESCRIPTION, description.c_str());
        }
        for (std::uint32_t y = 0; y < height; ++y)
        {
            for (std::uint32_t x = 0; x < width; ++x)
            {
                row[x] = value(x, y, z, channel);
            }
            if (TIFFWriteScanline(tiff, row.data(), y, 0) < 0)
            {
                TIFFClose(tiff);
                Refuse("cannot write a row of " + inPath.string());
            }
        }
        if (!TIFFWriteDirectory(tiff))
        {
            TIFFClose(tiff);
            Refuse("cannot write a page of " + inPath.string());
        }
    }
    TIFFClose(tiff);
}
