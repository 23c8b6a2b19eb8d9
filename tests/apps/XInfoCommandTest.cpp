#include "apps/XInfoCommand.h"

#include "XScratchFolder.h"
#include "apps/XExitCode.h"
#include "apps/demo/XDemoStack.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>

namespace
{
const std::filesystem::path kSampleData = VOLTRACE_SAMPLE_DATA_DIR;

struct XInfoResult
{
    int code = -1;
    std::string text;
    std::string errors;
};

XInfoResult Info(const std::filesystem::path& inPath)
{
    std::ostringstream text;
    std::ostringstream errors;
    XInfoResult result;
    result.code = RunInfo(inPath, text, errors);
    result.text = text.str();
    result.errors = errors.str();
    return result;
}

std::string RangeText(const XDemoStack& inStack, std::uint32_t inChannel)
{
    const std::span<const std::uint16_t> voxels = inStack.GetChannel(inChannel);
    const auto [low, high] = std::minmax_element(voxels.begin(), voxels.end());
    return std::to_string(*low) + ".." + std::to_string(*high);
}
} // namespace

TEST(XInfoCommandTest, DescribesAStackWrittenByTheDemo)
{
    XScratchFolder folder;
    XDemoStack::XSettings settings;
    settings.width = 40;
    settings.height = 32;
    settings.depth = 6;
    settings.voxelSize = {0.25, 0.25, 0.75};
    settings.cellCount = 2;
    const XDemoStack stack(settings);
    const std::filesystem::path path = folder / "small.ome.tif";
    stack.WriteOmeTiff(path);

    const XInfoResult result = Info(path);
    EXPECT_EQ(result.code, XExitCode::kDone);
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.text, "File         " + path.string() +
                               "\n"
                               "Axes         CZYX  3 × 6 × 32 × 40\n"
                               "Channels     3\n"
                               "Time points  1\n"
                               "Voxel type   uint16\n"
                               "Voxel size   0.25 × 0.25 × 0.75 µm (x × y × z)\n"
                               "Value range  min..max at time point 0\n"
                               "  channel 1  " +
                               RangeText(stack, 1) + "\n  channel 2  " + RangeText(stack, 2) +
                               "\n  channel 3  " + RangeText(stack, 3) + "\n");
}

TEST(XInfoCommandTest, DescribesRealStacksWithTheirRangesAndTimePoints)
{
    const std::filesystem::path nucleus =
        kSampleData / "nucleus_hoechst_confocal_widefield_zcyx_u16.tif";
    const std::filesystem::path fly = kSampleData / "drosophila_epithelium_tzyx_u8.tif";
    if (!std::filesystem::exists(nucleus) || !std::filesystem::exists(fly))
    {
        GTEST_SKIP() << "the shared sample stacks are not here";
    }
    // Values as the data folder's notes give them.
    const XInfoResult two = Info(nucleus);
    EXPECT_EQ(two.code, XExitCode::kDone);
    for (const char* line :
         {"Axes         ZCYX  45 × 2 × 130 × 133\n", "Channels     2\n", "Voxel type   uint16\n",
          "Voxel size   0.511878 × 0.511878 × 0.499413 µm (x × y × z)\n", "  channel 1  0..61711\n",
          "  channel 2  608..7480\n"})
    {
        EXPECT_NE(two.text.find(line), std::string::npos) << line << " not in\n" << two.text;
    }

    // Five time points, each with its own range; the largest value of all is 185.
    const XInfoResult series = Info(fly);
    EXPECT_EQ(series.code, XExitCode::kDone);
    for (const char* line :
         {"Axes         TZYX  5 × 54 × 400 × 350\n", "Time points  5\n", "Voxel type   uint8\n",
          "Voxel size   1 × 1 × 1 µm (x × y × z), or no calibration recorded\n",
          "Value range  min..max per time point\n", "  channel 1  t0 0..", ", t4 0..", "0..185"})
    {
        EXPECT_NE(series.text.find(line), std::string::npos) << line << " not in\n" << series.text;
    }
}

TEST(XInfoCommandTest, ABadStackGivesOneLineNamingTheFile)
{
    XScratchFolder folder;
    XWriteWholeFile(folder / "notes.txt", "These are notes about the cells, not a stack.\n");
    for (const std::filesystem::path& path :
         {folder / "notes.txt", folder / "absent.tif", folder.GetPath()})
    {
        const XInfoResult result = Info(path);
        EXPECT_EQ(result.code, XExitCode::kBadInput) << path;
        EXPECT_EQ(result.text, "");
        EXPECT_EQ(std::count(result.errors.begin(), result.errors.end(), '\n'), 1) << result.errors;
        EXPECT_EQ(result.errors.back(), '\n');
        EXPECT_NE(result.errors.find(path.filename().string()), std::string::npos) << result.errors;
    }
}
