#include "host/imaging/X3DRect.h"

#include "host/XHostClassTable.h"
#include "host/core/XStream.h"

#include <gtest/gtest.h>

#include <limits>

TEST(X3DRectTest, ConstructorsAndExtents)
{
    const X3DRect rect(1, 2, 3, 10, 20, 30);
    EXPECT_EQ(rect.GetX0(), 1);
    EXPECT_EQ(rect.GetY0(), 2);
    EXPECT_EQ(rect.GetZ0(), 3);
    EXPECT_EQ(rect.GetX1(), 10);
    EXPECT_EQ(rect.GetY1(), 20);
    EXPECT_EQ(rect.GetZ1(), 30);
    EXPECT_EQ(rect.GetWidth(), 9u);
    EXPECT_EQ(rect.GetHeight(), 18u);
    EXPECT_EQ(rect.GetDepth(), 27u);
    EXPECT_EQ(rect.GetVoxelCount(), 9u * 18u * 27u);
    EXPECT_EQ(rect.GetXYBounds(), XRect(1, 2, 10, 20));
    EXPECT_EQ(X3DRect(XRect(1, 2, 10, 20), 3, 30), rect);
    EXPECT_EQ(X3DRect(rect.GetXYBounds(), 0, 1), X3DRect(1, 2, 0, 10, 20, 1));

    EXPECT_EQ(X3DRect(), X3DRect(0, 0, 0, 0, 0, 0));
    EXPECT_EQ(X3DRect().GetVoxelCount(), 0u);

    // Inverted axes have no extent; extreme bounds do not overflow.
    const X3DRect inverted(5, 0, 0, 4, 10, 10);
    EXPECT_EQ(inverted.GetWidth(), 0u);
    EXPECT_EQ(inverted.GetVoxelCount(), 0u);
    constexpr std::int32_t kLow = std::numeric_limits<std::int32_t>::min();
    constexpr std::int32_t kHigh = std::numeric_limits<std::int32_t>::max();
    EXPECT_EQ(X3DRect(kLow, 0, 0, kHigh, 1, 1).GetWidth(), 4294967295u);
    EXPECT_EQ(X3DRect(0, 0, 0, 100000, 100000, 1000).GetVoxelCount(), 10000000000000ull);

    EXPECT_TRUE(rect.IsEqual(X3DRect(1, 2, 3, 10, 20, 30)));
    EXPECT_FALSE(rect.IsEqual(X3DRect(1, 2, 3, 10, 20, 31)));
}

TEST(X3DRectTest, SectAndContains)
{
    const X3DRect a(0, 0, 0, 10, 10, 10);
    EXPECT_EQ(a.Sect(X3DRect(-5, 2, 8, 4, 20, 9)), X3DRect(0, 2, 8, 4, 10, 9));
    EXPECT_EQ(X3DRect(-5, 2, 8, 4, 20, 9).Sect(a), X3DRect(0, 2, 8, 4, 10, 9));
    EXPECT_EQ(a.Sect(a), a);
    const X3DRect apart = a.Sect(X3DRect(0, 0, 12, 10, 10, 20));
    EXPECT_EQ(apart.GetDepth(), 0u);
    EXPECT_EQ(apart.GetVoxelCount(), 0u);
    EXPECT_EQ(apart.GetWidth(), 10u);

    EXPECT_TRUE(a.Contains(0, 0, 0));
    EXPECT_TRUE(a.Contains(9, 9, 9));
    EXPECT_FALSE(a.Contains(10, 5, 5));
    EXPECT_FALSE(a.Contains(5, 10, 5));
    EXPECT_FALSE(a.Contains(5, 5, 10));
    EXPECT_FALSE(a.Contains(-1, 5, 5));
}

TEST(X3DRectTest, StoredAsVersionRecordAndSixWords)
{
    XRegisterHostClasses();
    const X3DRect rect(-4, -4, -4, 36, 28, 12);
    EXPECT_EQ(rect.GetClassID(), kX3DRectClassID);
    EXPECT_EQ(*XClone(rect), rect);

    XMemoryStream direct;
    rect.Write(direct);
    EXPECT_EQ(direct.GetBytes().size(), rect.GetStreamSize());
    XMemoryStream fields(direct.GetBytes());
    EXPECT_EQ(fields.ReadClassVersion(kX3DRectClassID), XStream::kCurrentVersion);
    for (const std::int32_t expected : {-4, -4, -4, 36, 28, 12})
    {
        EXPECT_EQ(static_cast<std::int32_t>(fields.Read32()), expected);
    }

    XMemoryStream stream;
    stream.WriteObject(&rect);
    XMemoryStream in(stream.GetBytes());
    const std::unique_ptr<X3DRect> read = in.ReadObjectAs<X3DRect>();
    ASSERT_TRUE(read);
    EXPECT_EQ(*read, rect);
}

TEST(X3DRectTest, WrongVersionRecordIsRejected)
{
    XRegisterHostClasses();
    const auto codeOf = [](std::vector<std::uint8_t> inBytes, bool inAsObject)
    {
        XMemoryStream in(std::move(inBytes));
        try
        {
            if (inAsObject)
            {
                in.ReadObject();
            }
            else
            {
                X3DRect rect;
                rect.Read(in);
            }
        }
        catch (const XException& e)
        {
            return e.GetCode();
        }
        return 0;
    };

    XMemoryStream stream;
    const X3DRect rect(1, 2, 3, 4, 5, 6);
    stream.WriteObject(&rect);
    std::vector<std::uint8_t> object = stream.GetBytes();
    // The body is the last 32 bytes: class id, version, six words.
    ASSERT_GT(object.size(), 32u);
    object.at(object.size() - 32) ^= 1;
    EXPECT_EQ(codeOf(object, true), XException::kWrongClass);

    XMemoryStream otherClass;
    otherClass.WriteVersion(kX3DRectClassID + 1);
    for (int i = 0; i < 6; ++i)
    {
        otherClass.Write32(0);
    }
    EXPECT_EQ(codeOf(otherClass.GetBytes(), false), XException::kWrongClass);

    XMemoryStream tooNew;
    tooNew.WriteVersion(kX3DRectClassID, XStream::kFirstUnknownVersion);
    for (int i = 0; i < 6; ++i)
    {
        tooNew.Write32(0);
    }
    EXPECT_EQ(codeOf(tooNew.GetBytes(), false), XException::kVersionTooNew);
}
