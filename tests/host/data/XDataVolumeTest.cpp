#include "host/data/XDataVolume.h"

#include "XTestTiff.h"
#include "host/core/XException.h"
#include "host/imaging/XARGB32Volume.h"
#include "host/imaging/XFPVolume.h"
#include "host/imaging/XGrey16Volume.h"
#include "host/imaging/XGrey8Volume.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <limits>
#include <thread>
#include <vector>

namespace
{
// A 16-bit volume 4 × 2 × 1 holding the given values in row order.
std::unique_ptr<XGrey16Volume> Grey16(const std::vector<std::uint16_t>& inValues)
{
    auto volume = std::make_unique<XGrey16Volume>(X3DRect(0, 0, 0, 4, 2, 1));
    std::copy(inValues.begin(), inValues.end(), volume->GetBaseAddress());
    return volume;
}
} // namespace

TEST(XDataVolumeTest, ByteRenditionRoundsAndClamps)
{
    // Range [1000, 3000]: byte = round(clamp((v − 1000) / 2000, 0, 1) × 255).
    EXPECT_EQ(XDataVolume::ToByte(0, 1000, 3000), 0);
    EXPECT_EQ(XDataVolume::ToByte(999, 1000, 3000), 0);
    EXPECT_EQ(XDataVolume::ToByte(1000, 1000, 3000), 0);
    EXPECT_EQ(XDataVolume::ToByte(1003, 1000, 3000), 0);   // 0.3825
    EXPECT_EQ(XDataVolume::ToByte(1004, 1000, 3000), 1);   // 0.51
    EXPECT_EQ(XDataVolume::ToByte(1500, 1000, 3000), 64);  // 63.75
    EXPECT_EQ(XDataVolume::ToByte(2000, 1000, 3000), 128); // 127.5 exactly: halves go up
    EXPECT_EQ(XDataVolume::ToByte(2996, 1000, 3000), 254); // 254.49
    EXPECT_EQ(XDataVolume::ToByte(2997, 1000, 3000), 255); // 254.6175
    EXPECT_EQ(XDataVolume::ToByte(3000, 1000, 3000), 255);
    EXPECT_EQ(XDataVolume::ToByte(65535, 1000, 3000), 255);
    EXPECT_EQ(XDataVolume::ToByte(std::numeric_limits<double>::quiet_NaN(), 0, 1), 0);
    EXPECT_EQ(XDataVolume::ToByte(-0.25, -0.5, 0.5), 64); // 0.25 × 255 = 63.75

    // The default 8-bit range [0, 255] leaves every byte as it is.
    for (int value = 0; value < 256; ++value)
    {
        EXPECT_EQ(XDataVolume::ToByte(value, 0, 255), value);
    }
}

TEST(XDataVolumeTest, Grey16FillsOnlyTheOverlapWithItsRendition)
{
    const XDataVolume volume(Grey16({999, 1000, 1003, 1004, 1500, 2000, 2997, 65535}), 0.5, 0.5,
                             2.0);
    EXPECT_EQ(volume.GetVoxelType(), XVoxelType::kGrey16);
    EXPECT_FALSE(volume.IsColour());
    EXPECT_EQ(volume.GetBounds(), X3DRect(0, 0, 0, 4, 2, 1));
    EXPECT_EQ(volume.GetZScale(), 2.0);
    EXPECT_EQ(volume.GetValueRange(), std::make_pair(999.0, 65535.0));
    EXPECT_EQ(volume.GetDefaultRange(), std::make_pair(999.0, 65535.0));

    // The target reaches one voxel beyond the data on every side; those voxels keep their 77.
    XGrey8Volume target(X3DRect(-1, -1, -1, 5, 3, 2));
    std::fill_n(target.GetBaseAddress(), target.GetVoxelCount(), std::uint8_t{77});
    volume.FillGrey8(target, 1000, 3000);
    const std::vector<int> expected = {0, 0, 0, 1, 64, 128, 255, 255};
    for (std::int32_t z = -1; z < 2; ++z)
    {
        for (std::int32_t y = -1; y < 3; ++y)
        {
            for (std::int32_t x = -1; x < 5; ++x)
            {
                const bool inside = z == 0 && y >= 0 && y < 2 && x >= 0 && x < 4;
                EXPECT_EQ(target.At(x, y, z), inside ? expected[y * 4 + x] : 77)
                    << x << "," << y << "," << z;
            }
        }
    }

    // Over the default range, the minimum gives 0 and the maximum 255.
    XGrey8Volume defaults(volume.GetBounds());
    volume.FillGrey8(defaults);
    EXPECT_EQ(defaults.At(0, 0, 0), 0);
    EXPECT_EQ(defaults.At(3, 1, 0), 255);
    EXPECT_EQ(defaults.At(1, 1, 0), XDataVolume::ToByte(2000, 999, 65535));

    EXPECT_THROW(volume.FillGrey8(target, 3000, 3000), XException);
    EXPECT_THROW(volume.FillGrey8(target, 3000, 1000), XException);
}

TEST(XDataVolumeTest, FloatRangeSkipsNaNAndConstantChannelsRenderBlack)
{
    auto floats = std::make_unique<XFPVolume>(X3DRect(0, 0, 0, 2, 2, 1));
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float values[] = {-2.0f, nan, 0.5f, 6.0f};
    std::copy(std::begin(values), std::end(values), floats->GetBaseAddress());
    const XDataVolume volume(std::move(floats), 1, 1, 1);
    EXPECT_EQ(volume.GetValueRange(), std::make_pair(-2.0, 6.0));
    XGrey8Volume bytes(volume.GetBounds());
    volume.FillGrey8(bytes);
    EXPECT_EQ(bytes.At(0, 0, 0), 0);
    EXPECT_EQ(bytes.At(1, 0, 0), 0);  // NaN
    EXPECT_EQ(bytes.At(0, 1, 0), 80); // 2.5 / 8 × 255 = 79.69
    EXPECT_EQ(bytes.At(1, 1, 0), 255);

    const XDataVolume constant(Grey16({700, 700, 700, 700, 700, 700, 700, 700}), 1, 1, 1);
    const auto [low, high] = constant.GetDefaultRange();
    EXPECT_EQ(low, 700.0);
    EXPECT_GT(high, low);
    XGrey8Volume black(constant.GetBounds());
    std::fill_n(black.GetBaseAddress(), black.GetVoxelCount(), std::uint8_t{9});
    constant.FillGrey8(black);
    EXPECT_EQ(std::count(black.GetBaseAddress(), black.GetBaseAddress() + 8, 0), 8);
}

TEST(XDataVolumeTest, ColourVolumesCopyAndAverage)
{
    auto colours = std::make_unique<XARGB32Volume>(X3DRect(0, 0, 0, 2, 1, 1));
    colours->At(0, 0, 0) = {0, 10, 20, 31};
    colours->At(1, 0, 0) = {0, 0, 0, 2};
    const XDataVolume volume(std::move(colours), 1, 1, 1);
    EXPECT_TRUE(volume.IsColour());
    EXPECT_EQ(volume.GetVoxelType(), XVoxelType::kRGB24);
    EXPECT_EQ(volume.GetValueRange(), std::make_pair(0.0, 31.0));
    EXPECT_EQ(volume.GetDefaultRange(), std::make_pair(0.0, 255.0));

    XARGB32Volume copy(volume.GetBounds());
    volume.FillARGB32(copy);
    EXPECT_EQ(copy.At(0, 0, 0), (XARGB32Colour{255, 10, 20, 31}));
    EXPECT_EQ(copy.At(1, 0, 0), (XARGB32Colour{255, 0, 0, 2}));

    // Grey from colour: the rounded mean, 61 / 3 = 20.3 and 2 / 3 = 0.67.
    XGrey8Volume grey(volume.GetBounds());
    volume.FillGrey8(grey);
    EXPECT_EQ(grey.At(0, 0, 0), 20);
    EXPECT_EQ(grey.At(1, 0, 0), 1);

    // Scalar voxels become grey colours over the default range.
    const XDataVolume scalars(Grey16({1000, 3000, 2000, 1000, 1000, 1000, 1000, 1000}), 1, 1, 1);
    XARGB32Volume greys(scalars.GetBounds());
    scalars.FillARGB32(greys);
    EXPECT_EQ(greys.At(1, 0, 0), (XARGB32Colour{255, 255, 255, 255}));
    EXPECT_EQ(greys.At(2, 0, 0), (XARGB32Colour{255, 128, 128, 128}));
    EXPECT_EQ(greys.At(0, 1, 0), (XARGB32Colour{255, 0, 0, 0}));
}

TEST(XDataVolumeTest, VolumeCopiesAreIndependentAndRebasedAtTheOrigin)
{
    auto bytes = std::make_unique<XGrey8Volume>(X3DRect(5, 5, 5, 7, 8, 9));
    for (std::int32_t z = 5; z < 9; ++z)
    {
        for (std::int32_t y = 5; y < 8; ++y)
        {
            for (std::int32_t x = 5; x < 7; ++x)
            {
                bytes->At(x, y, z) = static_cast<std::uint8_t>(x * 100 + y * 10 + z);
            }
        }
    }
    const XDataVolume volume(std::move(bytes), 1, 1, 1);
    EXPECT_EQ(volume.GetBounds(), X3DRect(0, 0, 0, 2, 3, 4));
    EXPECT_EQ(XVoxelAt(volume, 0, 0, 0), static_cast<std::uint8_t>(555));
    EXPECT_EQ(XVoxelAt(volume, 1, 2, 3), static_cast<std::uint8_t>(678));

    const std::unique_ptr<XVolume> copy = volume.GetVolumeCopy();
    auto* copyBytes = dynamic_cast<XGrey8Volume*>(copy.get());
    ASSERT_NE(copyBytes, nullptr);
    EXPECT_EQ(copyBytes->GetBounds(), volume.GetBounds());
    EXPECT_EQ(copyBytes->At(1, 2, 3), static_cast<std::uint8_t>(678));
    copyBytes->At(1, 2, 3) = 1;
    EXPECT_EQ(XVoxelAt(volume, 1, 2, 3), static_cast<std::uint8_t>(678));

    EXPECT_NE(dynamic_cast<XGrey16Volume*>(XDataVolume(Grey16({}), 1, 1, 1).GetVolumeCopy().get()),
              nullptr);
    EXPECT_THROW(XDataVolume(Grey16({}), 0.0, 1, 1), XException);
    EXPECT_THROW(XDataVolume(Grey16({}), 1, std::nan(""), 1), XException);
}

TEST(XDataVolumeTest, LoaderRunsOnceAcrossThreadsAndAgainAfterAFailure)
{
    std::atomic<int> calls{0};
    std::atomic<bool> fail{true};
    const XDataVolume volume(XVoxelType::kGrey16, 3, 2, 2, 1, 1, 1,
                             [&](XVolume& outVoxels)
                             {
                                 ++calls;
                                 if (fail)
                                 {
                                     throw XException(XException::kIOError, "disk gone");
                                 }
                                 auto& voxels = dynamic_cast<XGrey16Volume&>(outVoxels);
                                 EXPECT_EQ(voxels.GetBounds(), X3DRect(0, 0, 0, 3, 2, 2));
                                 voxels.At(2, 1, 1) = 4242;
                                 voxels.At(0, 0, 0) = 17;
                             });
    EXPECT_EQ(calls, 0); // nothing is read before it is needed
    EXPECT_THROW(volume.GetValueRange(), XException);
    EXPECT_EQ(calls, 1);

    fail = false;
    std::vector<std::thread> threads;
    std::vector<std::pair<double, double>> ranges(4);
    for (std::size_t index = 0; index < ranges.size(); ++index)
    {
        threads.emplace_back([&, index] { ranges[index] = volume.GetValueRange(); });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(calls, 2);
    for (const auto& range : ranges)
    {
        EXPECT_EQ(range, std::make_pair(0.0, 4242.0));
    }
    EXPECT_EQ(XVoxelAt(volume, 0, 0, 0), 17);
    EXPECT_EQ(calls, 2);
}
