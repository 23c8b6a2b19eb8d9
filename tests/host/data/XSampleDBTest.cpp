#include "host/data/XSampleDB.h"

#include "XTestTiff.h"
#include "host/core/XException.h"
#include "host/data/XDataVolume.h"
#include "host/data/XDataVolumeSequence.h"
#include "host/imaging/XGrey16Volume.h"
#include "host/imaging/XGrey8Volume.h"

#include <gtest/gtest.h>

namespace
{
std::unique_ptr<XDataVolume> Bytes(std::uint8_t inValue, std::int32_t inWidth = 3)
{
    auto voxels = std::make_unique<XGrey8Volume>(X3DRect(0, 0, 0, inWidth, 2, 2));
    std::fill_n(voxels->GetBaseAddress(), voxels->GetVoxelCount(), inValue);
    return std::make_unique<XDataVolume>(std::move(voxels), 0.5, 0.5, 1.5);
}
} // namespace

TEST(XDataVolumeSequenceTest, ChannelsAndTimePointsAreAddressedFromOneAndZero)
{
    // 2 channels × 3 time points; channel 2 has no data at time point 1.
    std::vector<std::unique_ptr<XDataVolume>> volumes;
    for (std::uint8_t t = 0; t < 3; ++t)
    {
        for (std::uint8_t c = 1; c <= 2; ++c)
        {
            volumes.push_back(t == 1 && c == 2 ? nullptr
                                               : Bytes(static_cast<std::uint8_t>(10 * t + c)));
        }
    }
    XDataVolumeSequence sequence(2, 3, std::move(volumes), {"TCZYX", {3, 2, 2, 2, 3}});
    EXPECT_EQ(sequence.GetChannelCount(), 2u);
    EXPECT_EQ(sequence.GetTimePointCount(), 3u);
    EXPECT_EQ(sequence.GetBounds(), X3DRect(0, 0, 0, 3, 2, 2));
    EXPECT_EQ(sequence.GetVoxelType(), XVoxelType::kGrey8);
    EXPECT_EQ(sequence.GetZScale(), 1.5);
    EXPECT_EQ(sequence.GetAxes().names, "TCZYX");
    EXPECT_EQ(sequence.GetValueRange(1, 2), std::make_pair(21.0, 21.0));
    EXPECT_EQ(sequence.GetValueRange(2, 0), std::make_pair(2.0, 2.0));
    EXPECT_EQ(sequence.GetChannelVolume(2, 1), nullptr);
    EXPECT_THROW(sequence.GetValueRange(2, 1), XException);
    EXPECT_EQ(sequence.GetChannelVolume(0, 0), nullptr);
    EXPECT_EQ(sequence.GetChannelVolume(3, 0), nullptr);
    EXPECT_EQ(sequence.GetChannelVolume(1, 3), nullptr);

    EXPECT_FALSE(sequence.IsChannelExcluded(2));
    sequence.SetChannelExcluded(2, true);
    EXPECT_TRUE(sequence.IsChannelExcluded(2));
    EXPECT_FALSE(sequence.IsChannelExcluded(1));
    EXPECT_FALSE(sequence.IsChannelExcluded(0));
    EXPECT_FALSE(sequence.IsChannelExcluded(3));
}

TEST(XDataVolumeSequenceTest, VolumesMustAgree)
{
    std::vector<std::unique_ptr<XDataVolume>> sizes;
    sizes.push_back(Bytes(1, 3));
    sizes.push_back(Bytes(1, 4));
    EXPECT_THROW(XDataVolumeSequence(2, 1, std::move(sizes), {}), XException);

    std::vector<std::unique_ptr<XDataVolume>> types;
    types.push_back(Bytes(1));
    types.push_back(std::make_unique<XDataVolume>(
        std::make_unique<XGrey16Volume>(X3DRect(0, 0, 0, 3, 2, 2)), 0.5, 0.5, 1.5));
    EXPECT_THROW(XDataVolumeSequence(2, 1, std::move(types), {}), XException);

    std::vector<std::unique_ptr<XDataVolume>> count;
    count.push_back(Bytes(1));
    EXPECT_THROW(XDataVolumeSequence(2, 1, std::move(count), {}), XException);

    std::vector<std::unique_ptr<XDataVolume>> none(2);
    EXPECT_THROW(XDataVolumeSequence(1, 2, std::move(none), {}), XException);
}

TEST(XSampleDBTest, SamplesAreFoundByNumberAndKind)
{
    XSampleDB& db = XSampleDB::GetDB();
    EXPECT_EQ(&db, &XSampleDB::GetDB());
    const std::uint32_t single = db.AddSample(Bytes(7));
    std::vector<std::unique_ptr<XDataVolume>> volumes;
    volumes.push_back(Bytes(8));
    const std::uint32_t sequence = db.AddSample(std::make_unique<XDataVolumeSequence>(
        1, 1, std::move(volumes), XDataVolumeSequence::XAxes{}));
    EXPECT_NE(single, 0u);
    EXPECT_NE(single, sequence);

    EXPECT_NE(XDBGetSample<XDataVolume>(single), nullptr);
    EXPECT_EQ(XDBGetSample<XDataVolumeSequence>(single), nullptr);
    EXPECT_NE(XDBGetSample<XDataVolumeSequence>(sequence), nullptr);
    EXPECT_EQ(XDBGetSample<XDataVolume>(sequence), nullptr);
    EXPECT_EQ(XDBGetSample<XDataVolume>(0), nullptr);
    EXPECT_EQ(XDBGetSample<XDataVolumeSequence>(0xFFFFFFF0u), nullptr);
    EXPECT_EQ(XDBGetSample<XDataVolume>(single)->GetValueRange(), std::make_pair(7.0, 7.0));
    EXPECT_THROW(db.AddSample(nullptr), XException);
}

TEST(XSampleDBTest, FilesOpenOnceAndFailuresAddNothing)
{
    const XTestFolder folder;
    XTestTiff file;
    file.pages = 3;
    file.bitsPerSample = 16;
    file.Write(folder / "stack.tif");

    XSampleDB db;
    const std::uint32_t id = db.OpenFile(folder / "stack.tif");
    EXPECT_EQ(db.OpenFile(folder / "." / "stack.tif"), id);
    const auto* sequence = dynamic_cast<const XDataVolumeSequence*>(db.GetSample(id));
    ASSERT_NE(sequence, nullptr);
    EXPECT_EQ(sequence->GetBounds(), X3DRect(0, 0, 0, 6, 5, 3));
    EXPECT_EQ(sequence->GetVoxelType(), XVoxelType::kGrey16);

    EXPECT_THROW(db.OpenFile(folder / "absent.tif"), XException);
    EXPECT_EQ(db.GetSample(id + 1), nullptr);

    EXPECT_EQ(db.GetMemoryLimit(), XSampleDB::GetDefaultMemoryLimit());
    EXPECT_GT(XSampleDB::GetDefaultMemoryLimit(), 0u);
    file.Write(folder / "other.tif"); // 6 × 5 × 3 × 2 = 180 bytes of voxels
    db.SetMemoryLimit(179);
    try
    {
        db.OpenFile(folder / "other.tif");
        ADD_FAILURE() << "a stack over the memory limit opened";
    }
    catch (const XException& error)
    {
        EXPECT_EQ(error.GetCode(), XException::kIOError);
        EXPECT_NE(std::string(error.what()).find("other.tif"), std::string::npos);
    }
    db.SetMemoryLimit(180);
    EXPECT_NE(db.OpenFile(folder / "other.tif"), id);
}
