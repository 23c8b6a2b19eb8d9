#include "apps/demo/XDemoStack.h"

#include "../XScratchFolder.h"
#include "host/core/XException.h"
#include "host/data/XDataVolume.h"
#include "host/data/XDataVolumeSequence.h"
#include "host/data/XSampleDB.h"
#include "host/data/XTiffFile.h"
#include "host/imaging/XGrey16Volume.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <numeric>
#include <sstream>
#include <string>
#include <vector>

namespace
{
XDemoStack::XSettings SmallSettings()
{
    XDemoStack::XSettings settings;
    settings.width = 64;
    settings.height = 48;
    settings.depth = 12;
    settings.cellCount = 3;
    return settings;
}

// The mean of a 3 × 3 patch of one plane around the voxel nearest a world point.
double PatchMean(const XDemoStack& inStack, std::uint32_t inChannel,
                 const std::array<double, 3>& inPoint)
{
    const XDemoStack::XSettings& settings = inStack.GetSettings();
    const auto x = static_cast<std::int64_t>(std::lround(inPoint[0] / settings.voxelSize[0]));
    const auto y = static_cast<std::int64_t>(std::lround(inPoint[1] / settings.voxelSize[1]));
    const auto z = static_cast<std::uint32_t>(std::lround(inPoint[2] / settings.voxelSize[2]));
    double sum = 0.0;
    for (std::int64_t dy = -1; dy <= 1; ++dy)
    {
        for (std::int64_t dx = -1; dx <= 1; ++dx)
        {
            sum += inStack.GetVoxel(inChannel, static_cast<std::uint32_t>(x + dx),
                                    static_cast<std::uint32_t>(y + dy), z);
        }
    }
    return sum / 9.0;
}
} // namespace

// One test, so that the default stack is made once.
TEST(XDemoStackTest, TheDefaultStackReadsBackAndShowsCellsOverANoisyBackground)
{
    XScratchFolder folder;
    const XDemoStack stack;
    const XDemoStack::XSettings& settings = stack.GetSettings();
    EXPECT_EQ(settings.width, 192u);
    EXPECT_EQ(settings.height, 192u);
    EXPECT_EQ(settings.depth, 48u);
    EXPECT_EQ(stack.GetNuclei().size(), 10u);
    const std::filesystem::path path = folder / "cells.ome.tif";
    stack.WriteOmeTiff(path);

    // One uncompressed 16-bit page per plane, the OME-XML on the first.
    XTiffFile file(path);
    ASSERT_EQ(file.GetPageCount(), 3u * 48u);
    for (std::size_t page = 0; page < file.GetPageCount(); ++page)
    {
        EXPECT_EQ(file.GetPage(page).width, 192u);
        EXPECT_EQ(file.GetPage(page).height, 192u);
        EXPECT_EQ(file.GetPage(page).bitsPerSample, 16u);
        EXPECT_EQ(file.GetPage(page).samplesPerPixel, 1u);
    }
    EXPECT_EQ(file.GetDescription(), stack.GetOmeXml());

    const std::uint32_t id = XSampleDB::GetDB().OpenFile(path);
    const XDataVolumeSequence* sequence = XDBGetSample<XDataVolumeSequence>(id);
    ASSERT_NE(sequence, nullptr);
    EXPECT_EQ(sequence->GetChannelCount(), 3u);
    EXPECT_EQ(sequence->GetTimePointCount(), 1u);
    EXPECT_EQ(sequence->GetVoxelType(), XVoxelType::kGrey16);
    EXPECT_EQ(sequence->GetBounds(), X3DRect(0, 0, 0, 192, 192, 48));
    EXPECT_DOUBLE_EQ(sequence->GetXScale(), 0.2);
    EXPECT_DOUBLE_EQ(sequence->GetYScale(), 0.2);
    EXPECT_DOUBLE_EQ(sequence->GetZScale(), 0.5);
    EXPECT_EQ(sequence->GetAxes().names, "CZYX");
    EXPECT_EQ(sequence->GetAxes().shape, (std::vector<std::uint32_t>{3, 48, 192, 192}));

    // Every channel reads back voxel for voxel, in its place.
    for (std::uint32_t channel = 1; channel <= 3; ++channel)
    {
        const XDataVolume* volume = sequence->GetChannelVolume(channel, 0);
        ASSERT_NE(volume, nullptr);
        const auto& voxels = dynamic_cast<const XGrey16Volume&>(volume->GetVoxels());
        const std::span<const std::uint16_t> expected = stack.GetChannel(channel);
        ASSERT_EQ(voxels.GetVoxelCount(), expected.size());
        EXPECT_TRUE(std::equal(expected.begin(), expected.end(), voxels.GetBaseAddress()))
            << "channel " << channel;
        EXPECT_EQ(voxels.At(5, 7, 9), stack.GetVoxel(channel, 5, 7, 9));
        const auto [low, high] = std::minmax_element(expected.begin(), expected.end());
        EXPECT_EQ(sequence->GetValueRange(channel, 0), std::make_pair(double(*low), double(*high)));
    }

    // No nucleus reaches the first plane: it holds only the camera offset, 30 background photons
    // with their shot noise and the read noise of 4 counts (and the rounding twice, 2 / 12).
    double sum = 0.0;
    double squares = 0.0;
    const std::size_t planeSize = std::size_t{settings.width} * settings.height;
    for (std::size_t voxel = 0; voxel < planeSize; ++voxel)
    {
        const double value = stack.GetChannel(XDemoStack::kNucleiChannel)[voxel];
        sum += value;
        squares += value * value;
    }
    const double mean = sum / planeSize;
    EXPECT_NEAR(mean, XDemoStack::kCameraOffset + 30.0, 0.3);
    EXPECT_NEAR(std::sqrt(squares / planeSize - mean * mean), std::sqrt(30.0 + 16.0 + 2.0 / 12.0),
                0.15);
    EXPECT_NEAR(stack.GetQuantile(XDemoStack::kNucleiChannel, 0.5), 130, 2);

    const double membraneTop = stack.GetQuantile(XDemoStack::kMembraneChannel, 0.999);
    const double filamentMedian = stack.GetQuantile(XDemoStack::kFilamentChannel, 0.5);
    const double filamentTop = stack.GetQuantile(XDemoStack::kFilamentChannel, 0.999);
    EXPECT_GT(filamentTop, filamentMedian + 150.0);
    for (const XDemoStack::XNucleus& nucleus : stack.GetNuclei())
    {
        const std::array<double, 3>& centre = nucleus.centre;
        EXPECT_GT(nucleus.radius, 1.5);
        EXPECT_LT(nucleus.radius, 4.0);
        for (int axis = 0; axis < 3; ++axis)
        {
            const double extent = ((axis == 0   ? settings.width
                                    : axis == 1 ? settings.height
                                                : settings.depth) -
                                   1) *
                                  settings.voxelSize[static_cast<std::size_t>(axis)];
            EXPECT_GT(centre[static_cast<std::size_t>(axis)], nucleus.radius);
            EXPECT_LT(centre[static_cast<std::size_t>(axis)], extent - nucleus.radius);
        }
        // Nuclei are bright at their centres; membranes and filaments keep out of them.
        EXPECT_GT(PatchMean(stack, XDemoStack::kNucleiChannel, centre), 130.0 + 700.0);
        EXPECT_LT(PatchMean(stack, XDemoStack::kMembraneChannel, centre), membraneTop / 3.0);
        EXPECT_LT(PatchMean(stack, XDemoStack::kFilamentChannel, centre),
                  (filamentMedian + filamentTop) / 2.0);
    }
}

TEST(XDemoStackTest, TheSameSettingsGiveTheSameVoxelsAndAnotherSeedOthers)
{
    const XDemoStack first(SmallSettings());
    const XDemoStack second(SmallSettings());
    XDemoStack::XSettings reseeded = SmallSettings();
    reseeded.seed += 1;
    const XDemoStack other(reseeded);
    for (std::uint32_t channel = 1; channel <= XDemoStack::kChannelCount; ++channel)
    {
        const std::span<const std::uint16_t> a = first.GetChannel(channel);
        const std::span<const std::uint16_t> b = second.GetChannel(channel);
        const std::span<const std::uint16_t> c = other.GetChannel(channel);
        ASSERT_EQ(a.size(), std::size_t{64} * 48 * 12);
        EXPECT_TRUE(std::equal(a.begin(), a.end(), b.begin(), b.end()));
        EXPECT_GT(std::inner_product(a.begin(), a.end(), c.begin(), std::size_t{0}, std::plus<>(),
                                     std::not_equal_to<>()),
                  a.size() / 2);
    }
    EXPECT_EQ(first.GetOmeXml(), second.GetOmeXml());
}

TEST(XDemoStackTest, QuantilesSplitTheVoxelsAsSorting)
{
    const XDemoStack stack(SmallSettings());
    for (std::uint32_t channel = 1; channel <= XDemoStack::kChannelCount; ++channel)
    {
        const std::span<const std::uint16_t> voxels = stack.GetChannel(channel);
        std::vector<std::uint16_t> sorted(voxels.begin(), voxels.end());
        std::sort(sorted.begin(), sorted.end());
        EXPECT_EQ(stack.GetQuantile(channel, 0.0), sorted.front());
        EXPECT_EQ(stack.GetQuantile(channel, 1.0), sorted.back());
        for (const double fraction : {0.25, 0.5, 0.999})
        {
            const auto rank = static_cast<std::size_t>(std::ceil(fraction * sorted.size()));
            EXPECT_EQ(stack.GetQuantile(channel, fraction), sorted[rank - 1]) << fraction;
        }
    }
}

TEST(XDemoStackTest, OmeXmlDescribesTheStack)
{
    const XDemoStack stack(SmallSettings());
    const std::string xml = stack.GetOmeXml();
    for (const char* expected : {"DimensionOrder=\"XYZCT\"", "Type=\"uint16\"", "SizeX=\"64\"",
                                 "SizeY=\"48\"", "SizeZ=\"12\"", "SizeC=\"3\"", "SizeT=\"1\"",
                                 "PhysicalSizeX=\"0.2\"", "PhysicalSizeXUnit=\"µm\"",
                                 "PhysicalSizeZ=\"0.5\"", "<TiffData IFD=\"0\" PlaneCount=\"36\"/>",
                                 // RGBA words as signed integers: 0x3080FFFF and 0xFF40A0FF − 2^32.
                                 "Name=\"Nuclei\" SamplesPerPixel=\"1\" Color=\"813760511\"",
                                 "Name=\"Membranes\" SamplesPerPixel=\"1\" Color=\"-12541697\""})
    {
        EXPECT_NE(xml.find(expected), std::string::npos) << expected;
    }
}

TEST(XDemoStackTest, SpotsListTheNucleusCentresInMicrometres)
{
    XScratchFolder folder;
    const XDemoStack stack(SmallSettings());
    stack.WriteSpots(folder / "spots.csv", 0.6);
    std::istringstream table(XReadWholeFile(folder / "spots.csv"));
    std::string line;
    ASSERT_TRUE(std::getline(table, line));
    EXPECT_EQ(line, "x,y,z,radius");
    std::size_t row = 0;
    while (std::getline(table, line))
    {
        ASSERT_LT(row, stack.GetNuclei().size());
        double values[4] = {};
        char commas[3] = {};
        std::istringstream fields(line);
        fields >> values[0] >> commas[0] >> values[1] >> commas[1] >> values[2] >> commas[2] >>
            values[3];
        ASSERT_FALSE(fields.fail()) << line;
        for (int axis = 0; axis < 3; ++axis)
        {
            EXPECT_NEAR(values[axis], stack.GetNuclei()[row].centre[static_cast<std::size_t>(axis)],
                        0.0005);
            EXPECT_EQ(commas[axis], ',');
        }
        EXPECT_EQ(values[3], 0.6);
        ++row;
    }
    EXPECT_EQ(row, 3u);
}

TEST(XDemoStackTest, BadSettingsAndUnwritableFilesThrow)
{
    const auto codeOf = [](const auto& inCall)
    {
        try
        {
            inCall();
        }
        catch (const XException& inError)
        {
            return inError.GetCode();
        }
        return 0;
    };
    XDemoStack::XSettings settings = SmallSettings();
    settings.width = 4;
    EXPECT_EQ(codeOf([&] { XDemoStack{settings}; }), XException::kInvalidArgument);
    settings = SmallSettings();
    settings.voxelSize[2] = 0.0;
    EXPECT_EQ(codeOf([&] { XDemoStack{settings}; }), XException::kInvalidArgument);
    settings = SmallSettings();
    settings.cellCount = 0;
    EXPECT_EQ(codeOf([&] { XDemoStack{settings}; }), XException::kInvalidArgument);

    XScratchFolder folder;
    const XDemoStack stack(SmallSettings());
    const std::filesystem::path missing = folder / "absent" / "cells.ome.tif";
    try
    {
        stack.WriteOmeTiff(missing);
        ADD_FAILURE() << "written into a folder that does not exist";
    }
    catch (const XException& inError)
    {
        EXPECT_EQ(inError.GetCode(), XException::kIOError);
        EXPECT_NE(std::string(inError.what()).find("cells.ome.tif"), std::string::npos);
    }
    EXPECT_EQ(codeOf([&] { stack.WriteSpots(folder / "absent" / "spots.csv", 1.0); }),
              XException::kIOError);
    EXPECT_FALSE(std::filesystem::exists(missing));
}
