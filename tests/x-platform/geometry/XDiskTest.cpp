#include "x-platform/geometry/XDisk.h"
#include "tests/scenes/XStreamTestSupport.h"
#include "x-platform/core/XRay.h"
#include "x-platform/geometry/XRayHit.h"

#include <gtest/gtest.h>

TEST(XDiskTest, HitsAndTheTestThatAlwaysReportsAHit)
{
    const XDisk disk(1, 0.5f);
    EXPECT_EQ(disk.GetBoundingBox(),
              XBoundingBox(XMathVectorF3(-1, -1, 0.5f), XMathVectorF3(1, 1, 0.5f)));

    // From above: hit at t = 1.5, normal (0, 0, -1) flipped to face the ray.
    XRay above(XMathVectorF3(0.5f, 0, 2), XMathVectorF3(0, 0, -1), 0, 100);
    XRayHit hit;
    ASSERT_TRUE(disk.Intersect(above, hit));
    EXPECT_EQ(hit.t, 1.5f);
    EXPECT_EQ(above.tMax, 1.5f);
    EXPECT_EQ(hit.point, XMathVectorF3(0.5f, 0, 0.5f));
    EXPECT_EQ(hit.normal, XMathVectorF3(0, 0, 1));
    EXPECT_EQ(hit.inside, 0);
    // From below the normal stays (0, 0, -1).
    XRay below(XMathVectorF3(0, 0, -1), XMathVectorF3(0, 0, 1), 0, 100);
    ASSERT_TRUE(disk.Intersect(below, hit));
    EXPECT_EQ(hit.normal, XMathVectorF3(0, 0, -1));
    // The rim counts.
    XRay rim(XMathVectorF3(1, 0, 2), XMathVectorF3(0, 0, -1), 0, 100);
    ASSERT_TRUE(disk.TestIntersection(rim));
    EXPECT_EQ(rim.tMax, 1.5f);

    // A ray past the rim still reports a hit, at its unchanged tMax.
    XRay past(XMathVectorF3(3, 0, 2), XMathVectorF3(0, 0, -1), 0, 100);
    ASSERT_TRUE(disk.Intersect(past, hit));
    EXPECT_EQ(hit.t, 100);
    EXPECT_EQ(past.tMax, 100);
    EXPECT_EQ(hit.point, XMathVectorF3(3, 0, -98));
    // So do a parallel ray and a plane outside the interval.
    XRay parallel(XMathVectorF3(0, 0, 2), XMathVectorF3(1, 0, 0), 0, 100);
    EXPECT_TRUE(disk.TestIntersection(parallel));
    EXPECT_EQ(parallel.tMax, 100);
    XRay tooShort(XMathVectorF3(0, 0, 2), XMathVectorF3(0, 0, -1), 0, 1);
    EXPECT_TRUE(disk.TestIntersection(tooShort));
    EXPECT_EQ(tooShort.tMax, 1);
}

TEST(XDiskTest, StreamFormHoldsTheRadiusOnly)
{
    const XDisk disk(2, 0.75f);
    const std::vector<std::uint8_t> bytes = XWrittenBytes(disk);
    ASSERT_EQ(bytes.size(), disk.GetStreamSize());
    ASSERT_EQ(bytes.size(), 20u);
    XDisk read(0, -1);
    EXPECT_EQ(XReadErrorCode(bytes, read), 0);
    EXPECT_EQ(read.GetRadius(), 2);
    EXPECT_EQ(read.GetZ(), -1); // the plane is not stored
    EXPECT_EQ(XDisk().GetRadius(), 0);
    EXPECT_EQ(XDisk().GetZ(), 0);
    std::vector<std::uint8_t> wrong = bytes;
    XPutWord(wrong, 0, 14938);
    EXPECT_EQ(XReadErrorCode(wrong, read), 1005);
    std::vector<std::uint8_t> tooNew = bytes;
    XPutWord(tooNew, 12, 0xFFFFFFFFu);
    EXPECT_EQ(XReadErrorCode(tooNew, read), 1015);
}
