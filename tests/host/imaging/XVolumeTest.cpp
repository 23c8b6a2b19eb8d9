#include "host/imaging/XARGB32Volume.h"
#include "host/imaging/XFPVolume.h"
#include "host/imaging/XGrey16Volume.h"
#include "host/imaging/XGrey8Volume.h"
#include "host/imaging/XRGB48Volume.h"

#include "host/core/XInternalError.h"

#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <type_traits>
#include <typeindex>
#include <vector>

namespace
{
// A colour that encodes its voxel's coordinates, different for every voxel of the tests.
XARGB32Colour Encode(int inX, int inY, int inZ)
{
    return XARGB32Colour{7, static_cast<std::uint8_t>(inX), static_cast<std::uint8_t>(inY),
                         static_cast<std::uint8_t>(inZ)};
}

void FillWithCoordinates(XARGB32Volume& ioVolume)
{
    const X3DRect& bounds = ioVolume.GetBounds();
    for (int z = bounds.GetZ0(); z < bounds.GetZ1(); ++z)
        for (int y = bounds.GetY0(); y < bounds.GetY1(); ++y)
            for (int x = bounds.GetX0(); x < bounds.GetX1(); ++x)
                ioVolume.At(x, y, z) = Encode(x, y, z);
}

void FillWith(XARGB32Volume& ioVolume, XARGB32Colour inColour)
{
    std::fill_n(ioVolume.GetBaseAddress(), ioVolume.GetVoxelCount(), inColour);
}
} // namespace

TEST(XVolumeTest, AddressingAgreesWithBaseAddressAndStrides)
{
    XGrey16Volume volume(X3DRect(2, -3, 5, 6, 1, 8));
    EXPECT_EQ(volume.GetWidth(), 4u);
    EXPECT_EQ(volume.GetHeight(), 4u);
    EXPECT_EQ(volume.GetDepth(), 3u);
    EXPECT_EQ(volume.GetVoxelCount(), 48u);
    EXPECT_EQ(volume.GetRowStride(), 4);
    EXPECT_EQ(volume.GetPlaneStride(), 16);
    EXPECT_TRUE(volume.GetBounds().IsEqual(X3DRect(2, -3, 5, 6, 1, 8)));

    std::uint16_t* base = volume.GetBaseAddress();
    for (std::size_t i = 0; i < 48; ++i)
    {
        ASSERT_EQ(base[i], 0u);
    }
    EXPECT_EQ(&volume.At(2, -3, 5), base);
    EXPECT_EQ(&volume.At(3, -3, 5), base + 1);
    EXPECT_EQ(&volume.At(2, -2, 5), base + 4);
    EXPECT_EQ(&volume.At(5, 0, 7), base + 3 + 3 * 4 + 2 * 16);
    EXPECT_EQ(volume.GetPlane(5), base);
    EXPECT_EQ(volume.GetPlane(7), base + 32);

    volume.At(4, -1, 6) = 0xBEEF;
    const XGrey16Volume& constVolume = volume;
    EXPECT_EQ(constVolume.GetPlane(6)[2 + 2 * constVolume.GetRowStride()], 0xBEEF);
    EXPECT_EQ(constVolume.GetBaseAddress()[2 + 2 * 4 + 16], 0xBEEF);
}

TEST(XVolumeTest, VoxelTypesAndExactDynamicTypes)
{
    static_assert(std::is_same_v<XGrey8Volume::Voxel, std::uint8_t>);
    static_assert(std::is_same_v<XGrey16Volume::Voxel, std::uint16_t>);
    static_assert(std::is_same_v<XFPVolume::Voxel, float>);
    static_assert(std::is_same_v<XARGB32Volume::Voxel, XARGB32Colour>);
    static_assert(std::is_same_v<XRGB48Volume::Voxel, XRGB48Colour>);
    static_assert(std::is_final_v<XGrey8Volume> && std::is_final_v<XGrey16Volume> &&
                  std::is_final_v<XFPVolume> && std::is_final_v<XARGB32Volume> &&
                  std::is_final_v<XRGB48Volume>);
    static_assert(std::is_abstract_v<XVolume>);

    const X3DRect bounds(0, 0, 0, 2, 2, 2);
    std::vector<std::unique_ptr<XVolume>> volumes;
    volumes.push_back(std::make_unique<XGrey8Volume>(bounds));
    volumes.push_back(std::make_unique<XGrey16Volume>(bounds));
    volumes.push_back(std::make_unique<XFPVolume>(bounds));
    volumes.push_back(std::make_unique<XARGB32Volume>(bounds));
    volumes.push_back(std::make_unique<XRGB48Volume>(bounds));

    EXPECT_TRUE(typeid(*volumes[0]) == typeid(XGrey8Volume));
    EXPECT_TRUE(typeid(*volumes[1]) == typeid(XGrey16Volume));
    EXPECT_TRUE(typeid(*volumes[2]) == typeid(XFPVolume));
    EXPECT_TRUE(typeid(*volumes[3]) == typeid(XARGB32Volume));
    EXPECT_TRUE(typeid(*volumes[4]) == typeid(XRGB48Volume));
    std::set<std::type_index> types;
    for (const auto& volume : volumes)
    {
        types.insert(typeid(*volume));
        EXPECT_EQ(volume->GetVoxelCount(), 8u);
    }
    EXPECT_EQ(types.size(), 5u);

    XRGB48Volume colour(bounds);
    colour.At(1, 1, 1) = XRGB48Colour{1, 2, 65535};
    EXPECT_EQ(colour.GetBaseAddress()[7], (XRGB48Colour{1, 2, 65535}));
}

TEST(XVolumeTest, InvertedAxesAreEmpty)
{
    const XFPVolume volume(X3DRect(5, 5, 5, 2, 7, 9));
    EXPECT_EQ(volume.GetWidth(), 0u);
    EXPECT_EQ(volume.GetHeight(), 2u);
    EXPECT_EQ(volume.GetDepth(), 4u);
    EXPECT_EQ(volume.GetVoxelCount(), 0u);
    EXPECT_EQ(volume.GetRowStride(), 0);
    EXPECT_EQ(volume.GetPlaneStride(), 0);
    EXPECT_TRUE(volume.GetBounds().IsEqual(X3DRect(5, 5, 5, 5, 7, 9)));

    const XGrey8Volume inverted(X3DRect(3, 3, 3, -3, -3, -3));
    EXPECT_EQ(inverted.GetVoxelCount(), 0u);
    EXPECT_TRUE(inverted.GetBounds().IsEqual(X3DRect(3, 3, 3, 3, 3, 3)));
}

TEST(XVolumeTest, CopyRegionCopiesExactlyTheRegion)
{
    XARGB32Volume source(X3DRect(-1, 0, 0, 7, 8, 3));
    FillWithCoordinates(source);
    XARGB32Volume destination(X3DRect(0, 0, 0, 10, 10, 4));
    const XARGB32Colour sentinel{1, 2, 3, 4};
    FillWith(destination, sentinel);

    // Readers of the source may hold their locks during the copy.
    const XLock reader(source, XLockMode::kRead);
    destination.CopyRegion(source, X3DRect(1, 2, 0, 4, 5, 2), X3DRect(5, 0, 1, 8, 3, 3));
    EXPECT_FALSE(destination.IsLocked());

    int copied = 0;
    for (int z = 0; z < 4; ++z)
        for (int y = 0; y < 10; ++y)
            for (int x = 0; x < 10; ++x)
            {
                const bool inside = x >= 5 && x < 8 && y < 3 && z >= 1 && z < 3;
                const XARGB32Colour expected = inside ? Encode(x - 4, y + 2, z - 1) : sentinel;
                ASSERT_EQ(destination.At(x, y, z), expected) << x << " " << y << " " << z;
                copied += inside ? 1 : 0;
            }
    EXPECT_EQ(copied, 18);
    EXPECT_EQ(source.At(3, 4, 1), Encode(3, 4, 1));
}

TEST(XVolumeTest, CopyRegionWithinOneVolumeHandlesOverlap)
{
    XARGB32Volume row(X3DRect(0, 0, 0, 6, 1, 1));
    FillWithCoordinates(row);
    row.CopyRegion(row, X3DRect(0, 0, 0, 4, 1, 1), X3DRect(2, 0, 0, 6, 1, 1));
    const int expectedX[] = {0, 1, 0, 1, 2, 3};
    for (int x = 0; x < 6; ++x)
    {
        EXPECT_EQ(row.At(x, 0, 0), Encode(expectedX[x], 0, 0)) << x;
    }
    EXPECT_FALSE(row.IsLocked());
}

TEST(XVolumeTest, CopyRegionRejectsMismatchedOrOutsideRegions)
{
    XARGB32Volume source(X3DRect(0, 0, 0, 4, 4, 1));
    FillWithCoordinates(source);
    XARGB32Volume destination(X3DRect(0, 0, 0, 4, 4, 1));

    const XInternalErrorCapture capture;
    destination.CopyRegion(source, X3DRect(0, 0, 0, 2, 2, 1), X3DRect(0, 0, 0, 3, 2, 1));
    destination.CopyRegion(source, X3DRect(3, 0, 0, 5, 2, 1), X3DRect(0, 0, 0, 2, 2, 1));
    destination.CopyRegion(source, X3DRect(0, 0, 0, 2, 2, 1), X3DRect(0, -1, 0, 2, 1, 1));
    EXPECT_EQ(capture.GetConditions(),
              (std::vector<std::string>{"sameSize", "sourceInside", "destinationInside"}));
    for (std::size_t i = 0; i < 16; ++i)
    {
        ASSERT_EQ(destination.GetBaseAddress()[i], XARGB32Colour{}) << i;
    }

    // An empty region is inside and copies nothing.
    destination.CopyRegion(source, X3DRect(4, 0, 0, 4, 4, 1), X3DRect(0, 0, 0, 0, 4, 1));
    EXPECT_EQ(capture.GetConditions().size(), 3u);
}
