#include "host/data/XTiffStackReader.h"

#include "XTestTiff.h"
#include "host/core/XException.h"

#include <gtest/gtest.h>
#include <tiffio.h>

#include <fstream>
#include <functional>
#include <limits>

namespace
{
constexpr std::uint64_t kNoLimit = std::numeric_limits<std::uint64_t>::max();

using XPageOf = std::function<std::uint32_t(std::uint32_t inZ, std::uint32_t inChannel,
                                            std::uint32_t inTimePoint)>;

// Every voxel of every channel and time point equals the value the writer put on its page.
void ExpectStack(const XDataVolumeSequence& inSequence, const XTestTiff& inFile,
                 std::uint32_t inDepth, const XPageOf& inPageOf)
{
    const bool colour = inFile.samplesPerPixel == 3;
    for (std::uint32_t t = 0; t < inSequence.GetTimePointCount(); ++t)
    {
        for (std::uint32_t c = 1; c <= inSequence.GetChannelCount(); ++c)
        {
            const XDataVolume* volume = inSequence.GetChannelVolume(c, t);
            ASSERT_NE(volume, nullptr);
            ASSERT_EQ(volume->GetBounds(), X3DRect(0, 0, 0, static_cast<std::int32_t>(inFile.width),
                                                   static_cast<std::int32_t>(inFile.height),
                                                   static_cast<std::int32_t>(inDepth)));
            for (std::uint32_t z = 0; z < inDepth; ++z)
            {
                const std::uint32_t page = inPageOf(z, c - 1, t);
                for (std::uint32_t y = 0; y < inFile.height; ++y)
                {
                    for (std::uint32_t x = 0; x < inFile.width; ++x)
                    {
                        for (std::uint32_t s = 0; s < (colour ? 3u : 1u); ++s)
                        {
                            const double expected = XTestTiff::Value(
                                page, x, y, s, inFile.bitsPerSample, inFile.sampleFormat);
                            ASSERT_EQ(XVoxelAt(*volume, static_cast<std::int32_t>(x),
                                               static_cast<std::int32_t>(y),
                                               static_cast<std::int32_t>(z), s),
                                      static_cast<float>(expected))
                                << "c " << c << " t " << t << " z " << z << " y " << y << " x " << x
                                << " s " << s;
                        }
                    }
                }
            }
        }
    }
}

// The XException that opening throws; fails the test when none is thrown.
XException OpenFailure(const std::filesystem::path& inPath, std::uint64_t inLimit = kNoLimit)
{
    testing::internal::CaptureStderr();
    try
    {
        XTiffStackReader::Open(inPath, inLimit);
    }
    catch (const XException& error)
    {
        // libtiff's own messages go into the exception, never to standard error.
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
        EXPECT_NE(std::string(error.what()).find(inPath.filename().string()), std::string::npos)
            << error.what();
        return error;
    }
    testing::internal::GetCapturedStderr();
    ADD_FAILURE() << inPath << " opened";
    return XException(0, "");
}

std::string Description(const std::string& inPixels)
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?><OME "
           "xmlns=\"http://www.openmicroscopy.org/Schemas/OME/2016-06\"><Image ID=\"Image:0\">"
           "<Pixels ID=\"Pixels:0\" " +
           inPixels + "><TiffData/></Pixels></Image></OME>";
}
} // namespace

TEST(XTiffStackReaderTest, ImageJHyperstackWithChannelsAndFrames)
{
    const XTestFolder folder;
    XTestTiff file;
    file.pages = 2 * 3 * 2; // channels × slices × frames
    file.description = "ImageJ=1.54f\nimages=12\nchannels=2\nslices=3\nframes=2\nhyperstack=true\n"
                       "unit=micron\nspacing=2.5\n";
    file.xResolution = 4.0;
    file.Write(folder / "hyper.tif");
    // The writer itself, read back through libtiff alone.
    EXPECT_EQ(XReadTiffPlane(folder / "hyper.tif", 7)[2 * 6 + 3],
              XTestTiff::Value(7, 3, 2, 0, 8, 1));

    const auto sequence = XTiffStackReader::Open(folder / "hyper.tif", kNoLimit);
    EXPECT_EQ(sequence->GetChannelCount(), 2u);
    EXPECT_EQ(sequence->GetTimePointCount(), 2u);
    EXPECT_EQ(sequence->GetVoxelType(), XVoxelType::kGrey8);
    EXPECT_EQ(sequence->GetBounds(), X3DRect(0, 0, 0, 6, 5, 3));
    EXPECT_DOUBLE_EQ(sequence->GetXScale(), 0.25);
    EXPECT_DOUBLE_EQ(sequence->GetYScale(), 0.25);
    EXPECT_DOUBLE_EQ(sequence->GetZScale(), 2.5);
    EXPECT_EQ(sequence->GetAxes().names, "TZCYX");
    EXPECT_FALSE(sequence->IsChannelExcluded(1));
    EXPECT_FALSE(sequence->IsChannelExcluded(2));
    EXPECT_EQ(sequence->GetChannelVolume(3, 0), nullptr);
    EXPECT_EQ(sequence->GetChannelVolume(1, 2), nullptr);
    ExpectStack(*sequence, file, 3,
                [](std::uint32_t z, std::uint32_t c, std::uint32_t t)
                { return (t * 3 + z) * 2 + c; });
}

TEST(XTiffStackReaderTest, OMEInBothDimensionOrders)
{
    const XTestFolder folder;
    XTestTiff file;
    file.bitsPerSample = 16;
    file.pages = 3 * 2 * 2;
    const std::string sizes = "SizeX=\"6\" SizeY=\"5\" SizeZ=\"3\" SizeC=\"2\" SizeT=\"2\" "
                              "Type=\"uint16\" PhysicalSizeX=\"0.4\" PhysicalSizeY=\"0.4\" "
                              "PhysicalSizeZ=\"1200\" PhysicalSizeZUnit=\"nm\"";
    file.description = Description("DimensionOrder=\"XYZCT\" " + sizes);
    file.Write(folder / "zct.ome.tif");
    file.description = Description("DimensionOrder=\"XYCZT\" " + sizes);
    file.Write(folder / "czt.ome.tif");

    const auto zct = XTiffStackReader::Open(folder / "zct.ome.tif", kNoLimit);
    EXPECT_EQ(zct->GetVoxelType(), XVoxelType::kGrey16);
    EXPECT_EQ(zct->GetChannelCount(), 2u);
    EXPECT_EQ(zct->GetTimePointCount(), 2u);
    EXPECT_DOUBLE_EQ(zct->GetXScale(), 0.4);
    EXPECT_DOUBLE_EQ(zct->GetZScale(), 1.2);
    EXPECT_EQ(zct->GetAxes().names, "TCZYX");
    ExpectStack(*zct, file, 3,
                [](std::uint32_t z, std::uint32_t c, std::uint32_t t)
                { return z + 3 * (c + 2 * t); });

    const auto czt = XTiffStackReader::Open(folder / "czt.ome.tif", kNoLimit);
    EXPECT_EQ(czt->GetAxes().names, "TZCYX");
    ExpectStack(*czt, file, 3,
                [](std::uint32_t z, std::uint32_t c, std::uint32_t t)
                { return c + 2 * (z + 3 * t); });
    // Value ranges per channel and time point come from the voxels read.
    const auto [low, high] = czt->GetValueRange(2, 1);
    EXPECT_EQ(low, XTestTiff::Value(2 * 3 + 1, 0, 0, 0, 16, 1));  // page of (0, 1, 1)
    EXPECT_EQ(high, XTestTiff::Value(2 * 5 + 1, 5, 4, 0, 16, 1)); // page of (2, 1, 1)
}

TEST(XTiffStackReaderTest, PlainStacksOfEveryTypeLayoutAndByteOrder)
{
    struct XCase
    {
        const char* name;
        std::function<void(XTestTiff&)> set;
        XVoxelType type;
    };
    const std::vector<XCase> cases = {
        {"grey8.tif", [](XTestTiff&) {}, XVoxelType::kGrey8},
        {"grey16-deflate.tif",
         [](XTestTiff& f)
         {
             f.bitsPerSample = 16;
             f.compression = COMPRESSION_ADOBE_DEFLATE;
         },
         XVoxelType::kGrey16},
        {"float-lzw.tif",
         [](XTestTiff& f)
         {
             f.bitsPerSample = 32;
             f.sampleFormat = 3;
             f.compression = COMPRESSION_LZW;
         },
         XVoxelType::kFloat32},
        {"grey16-big-endian.tif",
         [](XTestTiff& f)
         {
             f.bitsPerSample = 16;
             f.bigEndian = true;
         },
         XVoxelType::kGrey16},
        {"float-big-endian.tif",
         [](XTestTiff& f)
         {
             f.bitsPerSample = 32;
             f.sampleFormat = 3;
             f.bigEndian = true;
         },
         XVoxelType::kFloat32},
        {"grey16-tiled.tif",
         [](XTestTiff& f)
         {
             f.bitsPerSample = 16;
             f.tiled = true;
             f.width = 40; // tiles of 16: partial tiles on the right and at the bottom
             f.height = 20;
             f.bigEndian = true;
         },
         XVoxelType::kGrey16},
        {"rgb.tif", [](XTestTiff& f) { f.samplesPerPixel = 3; }, XVoxelType::kRGB24},
        {"rgb-separate-tiled.tif",
         [](XTestTiff& f)
         {
             f.samplesPerPixel = 3;
             f.separatePlanes = true;
             f.tiled = true;
             f.width = 20;
             f.height = 17;
         },
         XVoxelType::kRGB24},
        {"rgb-separate-strips.tif",
         [](XTestTiff& f)
         {
             f.samplesPerPixel = 3;
             f.separatePlanes = true;
             f.compression = COMPRESSION_LZW;
         },
         XVoxelType::kRGB24},
    };
    const XTestFolder folder;
    for (const XCase& test : cases)
    {
        SCOPED_TRACE(test.name);
        XTestTiff file;
        file.pages = 4;
        test.set(file);
        file.Write(folder / test.name);
        const auto sequence = XTiffStackReader::Open(folder / test.name, kNoLimit);
        EXPECT_EQ(sequence->GetVoxelType(), test.type);
        EXPECT_EQ(sequence->IsColour(), test.type == XVoxelType::kRGB24);
        EXPECT_EQ(sequence->GetChannelCount(), 1u);
        EXPECT_EQ(sequence->GetTimePointCount(), 1u);
        EXPECT_EQ(sequence->GetXScale(), 1.0); // plain TIFFs carry no calibration
        EXPECT_EQ(sequence->GetAxes().names, test.type == XVoxelType::kRGB24 ? "ZYXS" : "ZYX");
        ExpectStack(*sequence, file, 4,
                    [](std::uint32_t z, std::uint32_t, std::uint32_t) { return z; });
    }
}

TEST(XTiffStackReaderTest, UnreadableFilesAreRefusedWithTheirName)
{
    const XTestFolder folder;
    EXPECT_EQ(OpenFailure(folder / "missing.tif").GetCode(), XException::kIOError);

    std::ofstream(folder / "notes.tif") << "these are not the voxels you are looking for\n";
    EXPECT_EQ(OpenFailure(folder / "notes.tif").GetCode(), XException::kIOError);

    std::ofstream(folder / "empty.tif");
    EXPECT_EQ(OpenFailure(folder / "empty.tif").GetCode(), XException::kIOError);

    // Cut in half: directories and data past the cut are gone.
    XTestTiff file;
    file.pages = 6;
    file.bitsPerSample = 16;
    file.Write(folder / "cut.tif");
    std::filesystem::resize_file(folder / "cut.tif",
                                 std::filesystem::file_size(folder / "cut.tif") / 2);
    EXPECT_EQ(OpenFailure(folder / "cut.tif").GetCode(), XException::kIOError);
}

TEST(XTiffStackReaderTest, PageDataPastTheEndOfTheFileIsRefused)
{
    // A little-endian TIFF whose one directory comes before its data, as many writers lay out
    // their files, cut short inside the data: the directory reads, the data is missing.
    const std::uint16_t width = 16;
    const std::uint16_t height = 8;
    const std::uint32_t dataOffset = 8 + 2 + 8 * 12 + 4;
    std::string bytes = {'I', 'I', 42, 0, 8, 0, 0, 0};
    const auto put = [&bytes](std::uint32_t inValue, int inSize)
    {
        for (int index = 0; index < inSize; ++index)
        {
            bytes += static_cast<char>((inValue >> (8 * index)) & 255u);
        }
    };
    put(8, 2); // entries
    const std::uint32_t entries[8][3] = {
        {256, 3, width}, {257, 3, height},     {258, 3, 8},      {259, 3, 1},
        {262, 3, 1},     {273, 4, dataOffset}, {278, 3, height}, {279, 4, width * height},
    };
    for (const auto& entry : entries)
    {
        put(entry[0], 2);
        put(entry[1], 2);
        put(1, 4);
        put(entry[2], 4);
    }
    put(0, 4); // no next directory
    ASSERT_EQ(bytes.size(), dataOffset);
    const XTestFolder folder;
    for (const std::uint32_t present : {width * height, width * height - 1})
    {
        std::ofstream(folder / "handmade.tif", std::ios::binary)
            << bytes << std::string(present, '\x07');
        if (present == width * height)
        {
            const auto sequence = XTiffStackReader::Open(folder / "handmade.tif", kNoLimit);
            EXPECT_EQ(XVoxelAt(*sequence->GetChannelVolume(1, 0), 15, 7, 0), 7.0);
            continue;
        }
        const XException cut = OpenFailure(folder / "handmade.tif");
        EXPECT_EQ(cut.GetCode(), XException::kIOError);
        EXPECT_NE(std::string(cut.what()).find("page 0 is cut short"), std::string::npos)
            << cut.what();
    }
}

TEST(XTiffStackReaderTest, ContentsThatAreNotAStackAreRefused)
{
    const XTestFolder folder;
    XTestTiff file;

    file.pages = 59;
    file.description = "ImageJ=1.54f\nimages=60\nchannels=2\nslices=30\nhyperstack=true\n";
    file.Write(folder / "cells.tif");
    const XException short59 = OpenFailure(folder / "cells.tif");
    EXPECT_EQ(short59.GetCode(), XException::kMalformedStream);
    EXPECT_STREQ(short59.what(), "cells.tif: ImageJ metadata says 30 slices × 2 channels = 60 "
                                 "planes but the file has 59");

    file = XTestTiff();
    file.bitsPerSample = 32;
    file.sampleFormat = 2;
    file.Write(folder / "int32.tif");
    const XException int32 = OpenFailure(folder / "int32.tif");
    EXPECT_EQ(int32.GetCode(), XException::kMalformedStream);
    EXPECT_NE(std::string(int32.what()).find("32-bit signed integer"), std::string::npos);

    file = XTestTiff();
    file.bitsPerSample = 1;
    file.Write(folder / "bits.tif");
    EXPECT_NE(std::string(OpenFailure(folder / "bits.tif").what()).find("1-bit"),
              std::string::npos);

    file = XTestTiff();
    file.pages = 3;
    file.pageHeight = [](std::uint32_t inPage) { return inPage == 2 ? 4u : 5u; };
    file.Write(folder / "ragged.tif");
    const XException ragged = OpenFailure(folder / "ragged.tif");
    EXPECT_EQ(ragged.GetCode(), XException::kMalformedStream);
    EXPECT_NE(std::string(ragged.what()).find("page 2 holds 6 × 4"), std::string::npos)
        << ragged.what();

    file = XTestTiff();
    file.pages = 2;
    file.description = Description("DimensionOrder=\"XYZCT\" SizeX=\"6\" SizeY=\"5\" SizeZ=\"2\" "
                                   "SizeC=\"1\" SizeT=\"1\" Type=\"uint16\"");
    file.Write(folder / "liar.ome.tif");
    EXPECT_NE(std::string(OpenFailure(folder / "liar.ome.tif").what()).find("uint16"),
              std::string::npos);
}

TEST(XTiffStackReaderTest, MemoryLimitIsCheckedBeforeReading)
{
    const XTestFolder folder;
    XTestTiff file;
    file.pages = 4;
    file.bitsPerSample = 16;
    file.Write(folder / "small.tif"); // 6 × 5 × 4 voxels of 2 bytes = 240 bytes
    const XException refused = OpenFailure(folder / "small.tif", 239);
    EXPECT_EQ(refused.GetCode(), XException::kIOError);
    EXPECT_NE(std::string(refused.what()).find("memory"), std::string::npos);
    EXPECT_NO_THROW(XTiffStackReader::Open(folder / "small.tif", 240));
}

TEST(XTiffStackReaderTest, DataThatCannotBeDecodedFailsWhenRead)
{
    const XTestFolder folder;
    XTestTiff file;
    file.pages = 2;
    file.bitsPerSample = 16;
    file.rowsPerStrip = 5;
    file.compression = COMPRESSION_ADOBE_DEFLATE;
    file.Write(folder / "garbled.tif");

    // Overwrite the compressed data of page 1 with bytes that do not inflate.
    TIFF* tiff = TIFFOpen((folder / "garbled.tif").c_str(), "r");
    ASSERT_NE(tiff, nullptr);
    ASSERT_TRUE(TIFFSetDirectory(tiff, 1));
    const std::uint64_t offset = TIFFGetStrileOffset(tiff, 0);
    const std::uint64_t bytes = TIFFGetStrileByteCount(tiff, 0);
    TIFFClose(tiff);
    {
        std::fstream stream(folder / "garbled.tif",
                            std::ios::in | std::ios::out | std::ios::binary);
        stream.seekp(static_cast<std::streamoff>(offset));
        for (std::uint64_t index = 0; index < bytes; ++index)
        {
            stream.put(static_cast<char>(0xFF));
        }
    }

    const auto sequence = XTiffStackReader::Open(folder / "garbled.tif", kNoLimit);
    const XDataVolume* volume = sequence->GetChannelVolume(1, 0);
    ASSERT_NE(volume, nullptr);
    testing::internal::CaptureStderr();
    try
    {
        volume->GetValueRange();
        ADD_FAILURE() << "garbled data decoded";
    }
    catch (const XException& error)
    {
        EXPECT_EQ(error.GetCode(), XException::kIOError);
        EXPECT_NE(std::string(error.what()).find("garbled.tif: page 1: strip 0"), std::string::npos)
            << error.what();
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}
