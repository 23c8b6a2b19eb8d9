#include "x-platform/volume/XPackedMultiChannelVolume.h"

#include "host/XHostClassTable.h"
#include "host/core/XCancellationScope.h"
#include "host/core/XException.h"
#include "host/core/XInternalError.h"
#include "host/core/XStream.h"
#include "host/core/XThreadCancelled.h"
#include "host/data/XSampleDB.h"
#include "host/imaging/XGrey16Volume.h"
#include "tests/scenes/XMultiChannelTestVolume.h"
#include "tests/scenes/XStreamTestSupport.h"
#include "x-platform/volume/XFluoScalarVoxelShader.h"
#include "x-platform/volume/XVolumeClassTable.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <filesystem>
#include <limits>

namespace
{
const std::filesystem::path kDataFolder = VOLTRACE_SAMPLE_DATA_DIR;

class XPackedMultiChannelVolumeTest : public testing::Test
{
protected:
    void SetUp() override
    {
        XRegisterHostClasses();
        XRegisterVolumeClasses();
    }
};

std::uint8_t Tag(std::uint32_t inChannel, std::int32_t inX, std::int32_t inY, std::int32_t inZ)
{
    return static_cast<std::uint8_t>(1 + inX + 5 * inY + 20 * inZ + 70 * (inChannel - 1));
}

// The byte of component inComponent at voxel (x, y, z), through the locked view's strides.
std::uint8_t ByteAt(const XPackedMultiChannelVolume& inVolume, std::int32_t inX, std::int32_t inY,
                    std::int32_t inZ, std::uint32_t inComponent)
{
    const XPackedMultiChannelVolume::XView* view = inVolume.GetLockedView();
    return view->SelectComponent(inComponent).At({inX, inY, inZ});
}

std::uint32_t AddTaggedSample(std::uint32_t inChannels)
{
    return XAddGrey8Sample(inChannels, 5, 4, 3, Tag, 0.5);
}
} // namespace

TEST_F(XPackedMultiChannelVolumeTest, PacksChannelsInterleavedInsideAZeroGuardBorder)
{
    const std::uint32_t sample = AddTaggedSample(3);
    XPackedMultiChannelVolume volume(sample, 0, {});
    EXPECT_EQ(volume.GetChannels(), (std::vector<XPackedChannelEntry>{{1, 1}, {2, 1}, {3, 1}}));
    EXPECT_EQ(volume.GetComponentCount(), 3u);
    EXPECT_EQ(volume.GetFirstComponent(2), 2u);
    EXPECT_EQ(volume.GetVoxelScale(), XMathVectorF3(0.5f, 0.5f, 0.5f));
    // 5 x 4 x 3 voxels grown by 4 on every side.
    EXPECT_EQ(volume.GetBox(), X3DRect(-4, -4, -4, 9, 8, 7));
    ASSERT_NE(volume.GetBuffer(), nullptr);
    EXPECT_EQ(volume.GetBuffer()->GetElementCount(), 13u * 12 * 11 * 3);
    EXPECT_TRUE(volume.GetBuffer()->IsInterleaved());

    EXPECT_EQ(volume.GetLockedView(), nullptr);
    const XLock lock(volume, XLockMode::kRead);
    const XPackedMultiChannelVolume::XView* view = volume.GetLockedView();
    ASSERT_NE(view, nullptr);
    // Interleaved strides: component 1, x C, y C W, z C W H.
    EXPECT_EQ(view->GetStrides(), (std::array<std::ptrdiff_t, 3>{3, 39, 468}));
    EXPECT_EQ(view->GetComponentStride(), 1);
    std::size_t nonZero = 0;
    for (std::int32_t z = -4; z < 7; ++z)
        for (std::int32_t y = -4; y < 8; ++y)
            for (std::int32_t x = -4; x < 9; ++x)
                for (std::uint32_t c = 0; c < 3; ++c)
                {
                    const bool inside = x >= 0 && x < 5 && y >= 0 && y < 4 && z >= 0 && z < 3;
                    const std::uint8_t expected = inside ? Tag(c + 1, x, y, z) : 0;
                    ASSERT_EQ(ByteAt(volume, x, y, z, c), expected) << x << " " << y << " " << z;
                    nonZero += expected != 0;
                }
    EXPECT_EQ(nonZero, 5u * 4 * 3 * 3);
}

TEST_F(XPackedMultiChannelVolumeTest, SelectsRequestedAndIncludedChannelsInAscendingOrder)
{
    const std::uint32_t sample = AddTaggedSample(3);
    // The request order does not matter; channel 2 alone lands at component 0.
    XPackedMultiChannelVolume some(sample, 0, {3, 1});
    EXPECT_EQ(some.GetChannels(), (std::vector<XPackedChannelEntry>{{1, 1}, {3, 1}}));
    {
        const XLock lock(some, XLockMode::kRead);
        EXPECT_EQ(ByteAt(some, 2, 1, 1, 1), Tag(3, 2, 1, 1));
    }
    XPackedMultiChannelVolume second(sample, 0, {2});
    {
        const XLock lock(second, XLockMode::kRead);
        EXPECT_EQ(ByteAt(second, 4, 3, 2, 0), Tag(2, 4, 3, 2));
    }

    // Channels the data excludes are skipped.
    auto* sequence = XDBGetSample<XDataVolumeSequence>(sample);
    sequence->SetChannelExcluded(2, true);
    XPackedMultiChannelVolume all(sample, 0, {});
    EXPECT_EQ(all.GetChannels(), (std::vector<XPackedChannelEntry>{{1, 1}, {3, 1}}));
    sequence->SetChannelExcluded(2, false);

    // A list naming no existing channel: no component, an empty buffer over the grown box.
    XPackedMultiChannelVolume none(sample, 0, {7});
    EXPECT_TRUE(none.GetChannels().empty());
    EXPECT_EQ(none.GetComponentCount(), 0u);
    EXPECT_EQ(none.GetBox(), X3DRect(-4, -4, -4, 9, 8, 7));
    const XLock lock(none, XLockMode::kRead);
    EXPECT_EQ(none.GetBuffer()->GetElementCount(), 0u);
}

TEST_F(XPackedMultiChannelVolumeTest, RendersWideVoxelsToBytesOverTheirRange)
{
    // One 16-bit channel, 4 x 1 x 2, values 0, 1000, ..., 7000.
    auto voxels = std::make_unique<XGrey16Volume>(X3DRect(0, 0, 0, 4, 1, 2));
    for (std::int32_t z = 0; z < 2; ++z)
        for (std::int32_t x = 0; x < 4; ++x)
            voxels->At(x, 0, z) = static_cast<std::uint16_t>(1000 * (x + 4 * z));
    std::vector<std::unique_ptr<XDataVolume>> volumes;
    volumes.push_back(std::make_unique<XDataVolume>(std::move(voxels), 2.0, 3.0, 4.0));
    const std::uint32_t sample = XSampleDB::GetDB().AddSample(std::make_unique<XDataVolumeSequence>(
        1, 1, std::move(volumes), XDataVolumeSequence::XAxes{"ZYX", {2, 1, 4}}));

    // Default range: the channel's minimum and maximum (0..7000).
    XPackedMultiChannelVolume byDefault(sample, 0, {});
    EXPECT_EQ(byDefault.GetVoxelScale(), XMathVectorF3(2, 3, 4));
    // A given range [1000, 3000]: below 0, above 255, linear between.
    XPackedMultiChannelVolume windowed(sample, 0, {}, {{1, {1000.0, 3000.0}}});
    const XLock lockA(byDefault, XLockMode::kRead);
    const XLock lockB(windowed, XLockMode::kRead);
    for (std::int32_t z = 0; z < 2; ++z)
        for (std::int32_t x = 0; x < 4; ++x)
        {
            const double value = 1000.0 * (x + 4 * z);
            EXPECT_EQ(ByteAt(byDefault, x, 0, z, 0), XDataVolume::ToByte(value, 0, 7000));
            EXPECT_EQ(ByteAt(windowed, x, 0, z, 0), XDataVolume::ToByte(value, 1000, 3000));
        }
    EXPECT_EQ(ByteAt(windowed, 0, 0, 0, 0), 0);
    EXPECT_EQ(ByteAt(windowed, 2, 0, 0, 0), 128);
    EXPECT_EQ(ByteAt(windowed, 3, 0, 1, 0), 255);

    // A range whose upper end is not above its lower end is refused.
    EXPECT_THROW(XPackedMultiChannelVolume(sample, 0, {}, {{1, {5.0, 5.0}}}), XException);
}

TEST_F(XPackedMultiChannelVolumeTest, ColourChannelsTakeThreeComponents)
{
    const auto colourOf =
        [](std::uint32_t inChannel, std::int32_t inX, std::int32_t inY, std::int32_t inZ)
    {
        return XARGB32Colour{7, static_cast<std::uint8_t>(10 * inChannel + inX),
                             static_cast<std::uint8_t>(100 + inY),
                             static_cast<std::uint8_t>(200 + inZ)};
    };
    const std::uint32_t sample = XAddColourSample(2, 3, 2, 2, colourOf);
    XPackedMultiChannelVolume volume(sample, 0, {});
    EXPECT_EQ(volume.GetChannels(), (std::vector<XPackedChannelEntry>{{1, 3}, {2, 3}}));
    EXPECT_EQ(volume.GetComponentCount(), 6u);
    EXPECT_EQ(volume.GetFirstComponent(1), 3u);
    const XLock lock(volume, XLockMode::kRead);
    for (std::int32_t z = 0; z < 2; ++z)
        for (std::int32_t y = 0; y < 2; ++y)
            for (std::int32_t x = 0; x < 3; ++x)
                for (std::uint32_t channel = 1; channel <= 2; ++channel)
                {
                    const XARGB32Colour colour = colourOf(channel, x, y, z);
                    const std::uint32_t first = 3 * (channel - 1);
                    EXPECT_EQ(ByteAt(volume, x, y, z, first), colour.r);
                    EXPECT_EQ(ByteAt(volume, x, y, z, first + 1), colour.g);
                    EXPECT_EQ(ByteAt(volume, x, y, z, first + 2), colour.b);
                }
}

TEST_F(XPackedMultiChannelVolumeTest, ASingleDataVolumeIsOneChannel)
{
    auto voxels = std::make_unique<XGrey8Volume>(X3DRect(0, 0, 0, 2, 2, 1));
    voxels->At(1, 1, 0) = 77;
    const std::uint32_t sample =
        XSampleDB::GetDB().AddSample(std::make_unique<XDataVolume>(std::move(voxels), 1, 1, 3));
    XPackedMultiChannelVolume volume(sample, 0, {});
    EXPECT_EQ(volume.GetChannels(), (std::vector<XPackedChannelEntry>{{1, 1}}));
    EXPECT_EQ(volume.GetVoxelScale(), XMathVectorF3(1, 1, 3));
    EXPECT_EQ(volume.GetBox(), X3DRect(-4, -4, -4, 6, 6, 5));
    {
        const XLock lock(volume, XLockMode::kRead);
        EXPECT_EQ(ByteAt(volume, 1, 1, 0, 0), 77);
        EXPECT_EQ(ByteAt(volume, 0, 1, 0, 0), 0);
    }
    EXPECT_TRUE(XPackedMultiChannelVolume(sample, 0, {2}).GetChannels().empty());
    EXPECT_THROW(XPackedMultiChannelVolume(sample, 1, {}), XException);
}

TEST_F(XPackedMultiChannelVolumeTest, AFlatVolumeIsNotGrownAlongItsEmptyAxis)
{
    const auto loader = [](XVolume&) {};
    std::vector<std::unique_ptr<XDataVolume>> volumes;
    volumes.push_back(
        std::make_unique<XDataVolume>(XVoxelType::kGrey8, 3, 2, 0, 1.0, 1.0, 1.0, loader));
    const std::uint32_t sample = XSampleDB::GetDB().AddSample(std::make_unique<XDataVolumeSequence>(
        1, 1, std::move(volumes), XDataVolumeSequence::XAxes{"ZYX", {0, 2, 3}}));
    XPackedMultiChannelVolume volume(sample, 0, {});
    EXPECT_EQ(volume.GetBox(), X3DRect(-4, -4, 0, 7, 6, 0));
    EXPECT_EQ(volume.GetBuffer()->GetElementCount(), 0u);
}

TEST_F(XPackedMultiChannelVolumeTest, RefusesSamplesOfOtherKindsAndMissingTimePoints)
{
    struct XOtherSample : XSample
    {
    };
    const std::uint32_t other = XSampleDB::GetDB().AddSample(std::make_unique<XOtherSample>());
    {
        const XInternalErrorCapture capture;
        try
        {
            XPackedMultiChannelVolume volume(other, 0, {});
            ADD_FAILURE() << "a sample of another kind was packed";
        }
        catch (const XException& error)
        {
            EXPECT_EQ(error.GetCode(), XException::kWrongSampleKind);
        }
        ASSERT_EQ(capture.GetReports().size(), 1u);
        EXPECT_EQ(capture.GetReports()[0].condition, "false");
        EXPECT_EQ(capture.GetReports()[0].source, "x-platform/XPackedMultiChannelVolume");
    }
    // A number that names no sample at all is refused the same way.
    const XInternalErrorCapture capture;
    EXPECT_THROW(XPackedMultiChannelVolume(0xFFFFFFF0u, 0, {}), XException);

    const std::uint32_t sample = AddTaggedSample(1);
    try
    {
        XPackedMultiChannelVolume volume(sample, 1, {});
        ADD_FAILURE() << "a missing time point was packed";
    }
    catch (const XException& error)
    {
        EXPECT_EQ(error.GetCode(), XException::kInvalidArgument);
        EXPECT_NE(std::string(error.what()).find("Time point 1"), std::string::npos);
    }
}

TEST_F(XPackedMultiChannelVolumeTest, AChannelWithoutDataAtTheTimePointIsReported)
{
    // Two channels over two time points; channel 2 has no data at time point 1.
    std::vector<std::unique_ptr<XDataVolume>> volumes;
    for (int entry = 0; entry < 4; ++entry)
    {
        auto voxels = std::make_unique<XGrey8Volume>(X3DRect(0, 0, 0, 2, 2, 2));
        voxels->At(0, 0, 0) = static_cast<std::uint8_t>(10 + entry);
        volumes.push_back(entry == 3 ? nullptr
                                     : std::make_unique<XDataVolume>(std::move(voxels), 1, 1, 1));
    }
    const std::uint32_t sample = XSampleDB::GetDB().AddSample(std::make_unique<XDataVolumeSequence>(
        2, 2, std::move(volumes), XDataVolumeSequence::XAxes{"TCZYX", {2, 2, 2, 2, 2}}));
    const XInternalErrorCapture capture;
    XPackedMultiChannelVolume volume(sample, 1, {});
    EXPECT_EQ(capture.GetConditions(), (std::vector<std::string>{"false"}));
    // The channel keeps its (zero) component; the other channel is copied from time point 1.
    EXPECT_EQ(volume.GetChannels(), (std::vector<XPackedChannelEntry>{{1, 1}, {2, 1}}));
    const XLock lock(volume, XLockMode::kRead);
    EXPECT_EQ(ByteAt(volume, 0, 0, 0, 0), 12);
    EXPECT_EQ(ByteAt(volume, 0, 0, 0, 1), 0);
}

TEST_F(XPackedMultiChannelVolumeTest, CopyingPollsCancellationOncePerPlane)
{
    const std::uint32_t sample = AddTaggedSample(2);
    std::atomic<bool> cancelled{true};
    {
        const XCancellationScope scope(cancelled);
        EXPECT_THROW(XPackedMultiChannelVolume(sample, 0, {}), XThreadCancelled);
    }
    // The unwound copy released its locks: a fresh volume packs normally.
    XPackedMultiChannelVolume volume(sample, 0, {});
    EXPECT_FALSE(volume.GetBuffer()->IsLocked());
}

TEST_F(XPackedMultiChannelVolumeTest, LockProtocolCountsNestedReadsAndReportsMisuse)
{
    const std::uint32_t sample = AddTaggedSample(1);
    XPackedMultiChannelVolume volume(sample, 0, {});
    const XPackedMultiChannelVolume::XBuffer& buffer = *volume.GetBuffer();
    {
        const XInternalErrorCapture capture;
        // Two nested read locks lock the buffer once; it is unlocked after the second unlock.
        volume.LockFor(XLockMode::kRead);
        const XPackedMultiChannelVolume::XView* view = volume.GetLockedView();
        volume.LockFor(XLockMode::kRead);
        EXPECT_EQ(volume.GetLockCount(), 2u);
        EXPECT_EQ(volume.GetLockedView(), view);
        EXPECT_TRUE(buffer.IsLocked());
        volume.UnlockFor(XLockMode::kRead);
        EXPECT_TRUE(buffer.IsLocked());
        EXPECT_NE(volume.GetLockedView(), nullptr);
        volume.UnlockFor(XLockMode::kRead);
        EXPECT_FALSE(buffer.IsLocked());
        EXPECT_EQ(volume.GetLockedView(), nullptr);
        EXPECT_TRUE(capture.GetReports().empty());

        // A write lock while a read lock is held is reported and counted, without touching the
        // buffer.
        volume.LockFor(XLockMode::kRead);
        volume.LockFor(XLockMode::kWrite);
        EXPECT_EQ(capture.GetConditions(), (std::vector<std::string>{"itsLockCount == 0"}));
        EXPECT_EQ(volume.GetLockCount(), 2u);
        volume.UnlockFor(XLockMode::kWrite);
        volume.UnlockFor(XLockMode::kRead);
        EXPECT_FALSE(buffer.IsLocked());
    }
    {
        // A write lock as the first lock is exclusive.
        volume.LockFor(XLockMode::kWrite);
        EXPECT_FALSE(
            const_cast<XPackedMultiChannelVolume::XBuffer&>(buffer).TryLockFor(XLockMode::kRead));
        volume.UnlockFor(XLockMode::kWrite);
        EXPECT_FALSE(buffer.IsLocked());
    }
    {
        // An unlock without a lock is reported and still decrements: the count wraps.
        const XInternalErrorCapture capture;
        volume.UnlockFor(XLockMode::kRead);
        EXPECT_EQ(capture.GetConditions(), (std::vector<std::string>{"itsLockCount != 0"}));
        EXPECT_EQ(capture.GetReports()[0].source, "x-platform/XPackedMultiChannelVolume");
        EXPECT_EQ(volume.GetLockCount(), std::numeric_limits<std::uint64_t>::max());
        EXPECT_FALSE(buffer.IsLocked());
    }
}

TEST_F(XPackedMultiChannelVolumeTest, StreamsOutAndBackByteForByte)
{
    const std::uint32_t sample = AddTaggedSample(2);
    XPackedMultiChannelVolume volume(sample, 0, {2, 1});
    XMemoryStream stream;
    volume.Write(stream);
    const std::vector<std::uint8_t> bytes = stream.GetBytes();
    EXPECT_EQ(bytes.size(), volume.GetStreamSize());
    EXPECT_EQ(bytes.size(), 4 + 2 * 8 + 12 + (1 + 4 + 7 + 8 + 8 + 24) + 13 * 12 * 11 * 2u);
    // Items 1 and 2: the channel list.
    std::uint32_t words[5];
    std::memcpy(words, bytes.data(), sizeof(words));
    EXPECT_EQ(words[0], 2u);
    EXPECT_EQ(words[1], 1u);
    EXPECT_EQ(words[2], 1u);
    EXPECT_EQ(words[3], 2u);
    EXPECT_EQ(words[4], 1u);

    XMemoryStream input(bytes);
    const XPackedMultiChannelVolume read(input);
    EXPECT_EQ(input.GetRemaining(), 0u);
    EXPECT_EQ(read.GetChannels(), volume.GetChannels());
    EXPECT_EQ(read.GetVoxelScale(), volume.GetVoxelScale());
    EXPECT_EQ(read.GetBox(), volume.GetBox());
    XMemoryStream again;
    read.Write(again);
    EXPECT_EQ(again.GetBytes(), bytes);

    // A copy holds the same bytes in a buffer of its own.
    const XPackedMultiChannelVolume copy(volume);
    EXPECT_NE(copy.GetBuffer(), volume.GetBuffer());
    EXPECT_EQ(copy.GetLockCount(), 0u);
    XMemoryStream copied;
    copy.Write(copied);
    EXPECT_EQ(copied.GetBytes(), bytes);
}

TEST_F(XPackedMultiChannelVolumeTest, HostileStreamsAreRefusedBeforeAllocating)
{
    const auto readCode = [](const std::vector<std::uint8_t>& inBytes)
    {
        XMemoryStream stream(inBytes);
        try
        {
            XPackedMultiChannelVolume volume(stream);
        }
        catch (const XException& error)
        {
            return error.GetCode();
        }
        return 0;
    };
    const auto header = [](std::uint32_t inCount, std::uint32_t inWidth)
    {
        XMemoryStream stream;
        stream.Write32(inCount);
        for (std::uint32_t index = 0; index < std::min(inCount, 4u); ++index)
        {
            stream.Write32(index + 1);
            stream.Write32(inWidth);
        }
        stream.WriteFloat32S(1);
        stream.WriteFloat32S(1);
        stream.WriteFloat32S(1);
        return stream;
    };
    // A channel count the stream cannot hold.
    EXPECT_EQ(readCode(header(0x40000000u, 1).TakeBytes()), XException::kMalformedStream);
    // A channel two bytes wide.
    {
        XMemoryStream stream = header(1, 2);
        const X3DRect box(0, 0, 0, 1, 1, 1);
        stream.WriteObject(&box);
        stream.Write8(0);
        EXPECT_EQ(readCode(stream.TakeBytes()), XException::kMalformedStream);
    }
    // A box of 2^30 x 2^30 x 4 voxels with no bytes behind it.
    {
        XMemoryStream stream = header(1, 3);
        const X3DRect box(0, 0, 0, 1 << 30, 1 << 30, 4);
        stream.WriteObject(&box);
        EXPECT_EQ(readCode(stream.TakeBytes()), XException::kTruncatedStream);
    }
    // Voxel bytes cut short.
    {
        XMemoryStream stream = header(1, 1);
        const X3DRect box(0, 0, 0, 2, 2, 2);
        stream.WriteObject(&box);
        const std::uint8_t voxels[7] = {};
        stream.WriteBuffer8(voxels, sizeof(voxels));
        EXPECT_EQ(readCode(stream.TakeBytes()), XException::kTruncatedStream);
    }
    // Another object where the box belongs: reported, and read as an empty box.
    {
        XMemoryStream stream = header(0, 1);
        const XFluoScalarVoxelShader notABox;
        stream.WriteObject(&notABox);
        const XInternalErrorCapture capture;
        XMemoryStream input(stream.TakeBytes());
        const XPackedMultiChannelVolume volume(input);
        EXPECT_EQ(capture.GetConditions(), (std::vector<std::string>{"tempRect"}));
        EXPECT_EQ(volume.GetBox(), X3DRect());
    }
}

TEST_F(XPackedMultiChannelVolumeTest, PacksTheRealNucleusStack)
{
    const std::filesystem::path path =
        kDataFolder / "nucleus_hoechst_confocal_widefield_zcyx_u16.tif";
    if (!std::filesystem::exists(path))
    {
        GTEST_SKIP() << path << " is not there";
    }
    const std::uint32_t sample = XSampleDB::GetDB().OpenFile(path);
    const auto* sequence = XDBGetSample<XDataVolumeSequence>(sample);
    ASSERT_NE(sequence, nullptr);
    XPackedMultiChannelVolume volume(sample, 0, {});
    EXPECT_EQ(volume.GetChannels(), (std::vector<XPackedChannelEntry>{{1, 1}, {2, 1}}));
    EXPECT_EQ(volume.GetBox(), X3DRect(-4, -4, -4, 137, 134, 49));
    EXPECT_NEAR(volume.GetVoxelScale().x, 0.5119f, 1e-4f);
    EXPECT_NEAR(volume.GetVoxelScale().z, 0.4994f, 1e-4f);

    // Every voxel is the channel's byte rendition over its own minimum and maximum.
    const XLock lock(volume, XLockMode::kRead);
    for (std::uint32_t channel = 1; channel <= 2; ++channel)
    {
        const XDataVolume* data = sequence->GetChannelVolume(channel, 0);
        XGrey8Volume expected(data->GetBounds());
        data->FillGrey8(expected);
        std::uint64_t mismatches = 0;
        std::uint64_t bright = 0;
        for (std::int32_t z = 0; z < 45; ++z)
            for (std::int32_t y = 0; y < 130; ++y)
                for (std::int32_t x = 0; x < 133; ++x)
                {
                    const std::uint8_t byte = ByteAt(volume, x, y, z, channel - 1);
                    mismatches += byte != expected.At(x, y, z);
                    bright += byte == 255;
                }
        EXPECT_EQ(mismatches, 0u) << channel;
        EXPECT_GE(bright, 1u) << channel; // the maximum maps to 255
    }
    // Streaming the real volume out and in keeps every byte.
    XMemoryStream stream;
    volume.Write(stream);
    XMemoryStream input(stream.GetBytes());
    const XPackedMultiChannelVolume read(input);
    XMemoryStream again;
    read.Write(again);
    EXPECT_EQ(again.GetBytes(), stream.GetBytes());
}
