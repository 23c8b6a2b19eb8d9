// The real microscopy stacks of the shared data folders, checked against what their README files
// state (shape, type, voxel size, value ranges) and, plane by plane, against libtiff's own
// decoding. Only the channels a check needs are read.
#include "XTestTiff.h"
#include "host/data/XDataVolumeSequence.h"
#include "host/data/XSampleDB.h"
#include "host/imaging/XGrey16Volume.h"
#include "host/imaging/XGrey8Volume.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace
{
const std::filesystem::path kDataFolder = VOLTRACE_SAMPLE_DATA_DIR;
const std::filesystem::path kBenchFolder = VOLTRACE_BENCH_DATA_DIR;

// Opens the stack through the process-wide sample database, checking that libtiff printed
// nothing; null (after GTEST_SKIP in the caller) when the file is not there.
const XDataVolumeSequence* Open(const std::filesystem::path& inPath)
{
    if (!std::filesystem::exists(inPath))
    {
        return nullptr;
    }
    testing::internal::CaptureStderr();
    const std::uint32_t id = XSampleDB::GetDB().OpenFile(inPath);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    const auto* sequence = XDBGetSample<XDataVolumeSequence>(id);
    EXPECT_NE(sequence, nullptr);
    return sequence;
}

// Plane z of the channel (1-based) at the time point equals page inPage as libtiff reads it.
void ExpectPlane(const XDataVolumeSequence& inSequence, const std::filesystem::path& inPath,
                 std::uint32_t inChannel, std::uint32_t inTimePoint, std::int32_t inZ,
                 std::uint32_t inPage)
{
    SCOPED_TRACE("page " + std::to_string(inPage));
    const std::vector<double> expected = XReadTiffPlane(inPath, inPage);
    const XVolume& voxels = inSequence.GetChannelVolume(inChannel, inTimePoint)->GetVoxels();
    ASSERT_EQ(expected.size(), std::size_t{voxels.GetWidth()} * voxels.GetHeight());
    std::vector<double> actual(expected.size());
    if (const auto* bytes = dynamic_cast<const XGrey8Volume*>(&voxels))
    {
        std::copy_n(bytes->GetPlane(inZ), actual.size(), actual.begin());
    }
    else
    {
        const auto& words = dynamic_cast<const XGrey16Volume&>(voxels);
        std::copy_n(words.GetPlane(inZ), actual.size(), actual.begin());
    }
    EXPECT_EQ(actual, expected);
    // A plane of zeros would prove little.
    EXPECT_GT(*std::max_element(expected.begin(), expected.end()), 0.0);
}

#define OPEN_OR_SKIP(variable, path)                                                               \
    const XDataVolumeSequence* variable = Open(path);                                              \
    if (variable == nullptr)                                                                       \
    {                                                                                              \
        GTEST_SKIP() << (path) << " is not there";                                                 \
    }
} // namespace

TEST(XRealStacksTest, MouseBrainCropIsATwoChannelOMETiff)
{
    const std::filesystem::path path = kDataFolder / "mouse_brain_stp_crop_2ch_zcyx_u16.ome.tif";
    OPEN_OR_SKIP(sequence, path);
    EXPECT_EQ(sequence->GetAxes().names, "ZCYX");
    EXPECT_EQ(sequence->GetAxes().shape, (std::vector<std::uint32_t>{30, 2, 510, 667}));
    EXPECT_EQ(sequence->GetVoxelType(), XVoxelType::kGrey16);
    EXPECT_EQ(sequence->GetChannelCount(), 2u);
    EXPECT_EQ(sequence->GetTimePointCount(), 1u);
    EXPECT_EQ(sequence->GetBounds(), X3DRect(0, 0, 0, 667, 510, 30));
    EXPECT_DOUBLE_EQ(sequence->GetXScale(), 2.0);
    EXPECT_DOUBLE_EQ(sequence->GetYScale(), 2.0);
    EXPECT_DOUBLE_EQ(sequence->GetZScale(), 5.0);
    EXPECT_EQ(sequence->GetValueRange(1, 0), std::make_pair(0.0, 16075.0));
    EXPECT_EQ(sequence->GetValueRange(2, 0), std::make_pair(0.0, 15936.0));
    // DimensionOrder XYCZT: page = z × 2 + c.
    ExpectPlane(*sequence, path, 1, 0, 17, 34);
    ExpectPlane(*sequence, path, 2, 0, 29, 59);
}

TEST(XRealStacksTest, WholeMouseBrainIsACalibratedImageJStack)
{
    const std::filesystem::path path = kDataFolder / "mouse_brain_stp_whole_zyx_u16.tif";
    OPEN_OR_SKIP(sequence, path);
    EXPECT_EQ(sequence->GetAxes().names, "ZYX");
    EXPECT_EQ(sequence->GetAxes().shape, (std::vector<std::uint32_t>{270, 193, 271}));
    EXPECT_EQ(sequence->GetVoxelType(), XVoxelType::kGrey16);
    EXPECT_EQ(sequence->GetChannelCount(), 1u);
    EXPECT_EQ(sequence->GetTimePointCount(), 1u);
    EXPECT_DOUBLE_EQ(sequence->GetXScale(), 40.0);
    EXPECT_DOUBLE_EQ(sequence->GetYScale(), 40.0);
    EXPECT_DOUBLE_EQ(sequence->GetZScale(), 50.0);
    EXPECT_EQ(sequence->GetValueRange(1, 0), std::make_pair(0.0, 14580.0));
    ExpectPlane(*sequence, path, 1, 0, 135, 135);
}

TEST(XRealStacksTest, DrosophilaIsAnUncalibratedTimeSeries)
{
    const std::filesystem::path path = kDataFolder / "drosophila_epithelium_tzyx_u8.tif";
    OPEN_OR_SKIP(sequence, path);
    EXPECT_EQ(sequence->GetAxes().names, "TZYX");
    EXPECT_EQ(sequence->GetAxes().shape, (std::vector<std::uint32_t>{5, 54, 400, 350}));
    EXPECT_EQ(sequence->GetVoxelType(), XVoxelType::kGrey8);
    EXPECT_EQ(sequence->GetChannelCount(), 1u);
    EXPECT_EQ(sequence->GetTimePointCount(), 5u);
    EXPECT_EQ(sequence->GetBounds(), X3DRect(0, 0, 0, 350, 400, 54));
    EXPECT_EQ(sequence->GetXScale(), 1.0);
    EXPECT_EQ(sequence->GetYScale(), 1.0);
    EXPECT_EQ(sequence->GetZScale(), 1.0);
    // Values 0–185 over the whole series.
    double low = 255.0;
    double high = 0.0;
    for (std::uint32_t t = 0; t < 5; ++t)
    {
        const auto [frameLow, frameHigh] = sequence->GetValueRange(1, t);
        low = std::min(low, frameLow);
        high = std::max(high, frameHigh);
    }
    EXPECT_EQ(low, 0.0);
    EXPECT_EQ(high, 185.0);
    // Frames of 54 slices: page = t × 54 + z. Slice 10 of frame 3 holds bright membranes.
    ExpectPlane(*sequence, path, 1, 3, 10, 3 * 54 + 10);
    // 8-bit data renders to its own values; a one-plane target receives just that plane.
    const XGrey8Volume& frame =
        dynamic_cast<const XGrey8Volume&>(sequence->GetChannelVolume(1, 3)->GetVoxels());
    XGrey8Volume rendition(X3DRect(0, 0, 10, 350, 400, 11));
    sequence->GetChannelVolume(1, 3)->FillGrey8(rendition);
    EXPECT_TRUE(std::equal(frame.GetPlane(10), frame.GetPlane(11), rendition.GetPlane(10)));
}

TEST(XRealStacksTest, NucleusIsATwoChannelImageJHyperstack)
{
    const std::filesystem::path path =
        kDataFolder / "nucleus_hoechst_confocal_widefield_zcyx_u16.tif";
    OPEN_OR_SKIP(sequence, path);
    EXPECT_EQ(sequence->GetAxes().names, "ZCYX");
    EXPECT_EQ(sequence->GetAxes().shape, (std::vector<std::uint32_t>{45, 2, 130, 133}));
    EXPECT_EQ(sequence->GetVoxelType(), XVoxelType::kGrey16);
    EXPECT_EQ(sequence->GetChannelCount(), 2u);
    EXPECT_EQ(sequence->GetTimePointCount(), 1u);
    // XResolution 1953591/1000000 pixels per micron; spacing 0.4994126016284111.
    EXPECT_NEAR(sequence->GetXScale(), 1e6 / 1953591, 1e-6);
    EXPECT_NEAR(sequence->GetYScale(), 1e6 / 1953591, 1e-6);
    EXPECT_NEAR(sequence->GetZScale(), 0.4994126016284111, 1e-12);
    EXPECT_EQ(sequence->GetValueRange(1, 0), std::make_pair(0.0, 61711.0));
    EXPECT_EQ(sequence->GetValueRange(2, 0), std::make_pair(608.0, 7480.0));
    // Channel fastest: page = z × 2 + c.
    ExpectPlane(*sequence, path, 1, 0, 22, 44);
    ExpectPlane(*sequence, path, 2, 0, 40, 81);
    // The widefield channel's default window is its own range: 608 → 0, 7480 → 255.
    XGrey8Volume rendition(sequence->GetBounds());
    const XDataVolume& widefield = *sequence->GetChannelVolume(2, 0);
    widefield.FillGrey8(rendition);
    const auto& words = dynamic_cast<const XGrey16Volume&>(widefield.GetVoxels());
    for (std::int32_t x = 0; x < 133; x += 11)
    {
        EXPECT_EQ(rendition.At(x, 65, 20), XDataVolume::ToByte(words.At(x, 65, 20), 608, 7480));
    }
    EXPECT_EQ(*std::min_element(rendition.GetBaseAddress(),
                                rendition.GetBaseAddress() + rendition.GetVoxelCount()),
              0);
    EXPECT_EQ(*std::max_element(rendition.GetBaseAddress(),
                                rendition.GetBaseAddress() + rendition.GetVoxelCount()),
              255);
}

TEST(XRealStacksTest, BlobsAndTubesBenchmarkStacks)
{
    const std::filesystem::path twoPath = kBenchFolder / "blobs_tubes_2ch_zcyx_u8.tif";
    const std::filesystem::path onePath = kBenchFolder / "blobs_tubes_1ch_zyx_u8.tif";
    OPEN_OR_SKIP(two, twoPath);
    OPEN_OR_SKIP(one, onePath);
    EXPECT_EQ(two->GetAxes().names, "ZCYX");
    EXPECT_EQ(two->GetAxes().shape, (std::vector<std::uint32_t>{128, 2, 256, 256}));
    EXPECT_EQ(one->GetAxes().names, "ZYX");
    EXPECT_EQ(one->GetAxes().shape, (std::vector<std::uint32_t>{128, 256, 256}));
    for (const XDataVolumeSequence* sequence : {two, one})
    {
        EXPECT_EQ(sequence->GetVoxelType(), XVoxelType::kGrey8);
        EXPECT_EQ(sequence->GetTimePointCount(), 1u);
        EXPECT_EQ(sequence->GetBounds(), X3DRect(0, 0, 0, 256, 256, 128));
        EXPECT_EQ(sequence->GetXScale(), 1.0);
        EXPECT_EQ(sequence->GetZScale(), 1.0);
    }
    ExpectPlane(*two, twoPath, 2, 0, 64, 129);
    ExpectPlane(*one, onePath, 1, 0, 100, 100);

    // The one-channel stack is the voxelwise maximum of the two channels.
    const auto& nuclei =
        dynamic_cast<const XGrey8Volume&>(two->GetChannelVolume(1, 0)->GetVoxels());
    const auto& tubes = dynamic_cast<const XGrey8Volume&>(two->GetChannelVolume(2, 0)->GetVoxels());
    const auto& both = dynamic_cast<const XGrey8Volume&>(one->GetChannelVolume(1, 0)->GetVoxels());
    for (const std::int32_t z : {0, 31, 64, 127})
    {
        std::vector<std::uint8_t> maximum(static_cast<std::size_t>(both.GetPlaneStride()));
        std::transform(nuclei.GetPlane(z), nuclei.GetPlane(z) + maximum.size(), tubes.GetPlane(z),
                       maximum.begin(),
                       [](std::uint8_t inA, std::uint8_t inB) { return std::max(inA, inB); });
        EXPECT_TRUE(std::equal(maximum.begin(), maximum.end(), both.GetPlane(z))) << "z " << z;
    }
}
