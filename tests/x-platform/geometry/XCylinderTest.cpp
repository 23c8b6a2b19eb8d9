#include "x-platform/geometry/XCylinder.h"
#include "tests/scenes/XStreamTestSupport.h"
#include "x-platform/core/XRay.h"
#include "x-platform/geometry/XRayHit.h"

#include <gtest/gtest.h>

TEST(XCylinderTest, SideAndCapHits)
{
    const XCylinder cylinder; // radius 0.5, z in [-0.5, 0.5]
    EXPECT_EQ(cylinder.GetRadius(), 0.5f);
    EXPECT_EQ(cylinder.GetBoundingBox(),
              XBoundingBox(XMathVectorF3(-0.5f, -0.5f, -0.5f), XMathVectorF3(0.5f, 0.5f, 0.5f)));

    // Side from +x.
    XRay side(XMathVectorF3(2, 0, 0.25f), XMathVectorF3(-1, 0, 0), 0, 100);
    XRayHit hit;
    ASSERT_TRUE(cylinder.Intersect(side, hit));
    EXPECT_FLOAT_EQ(hit.t, 1.5f);
    EXPECT_EQ(side.tMax, hit.t);
    EXPECT_EQ(hit.normal, XMathVectorF3(1, 0, 0));
    EXPECT_EQ(hit.point, XMathVectorF3(0.5f, 0, 0.25f));
    // u, v and the inside flag are left alone.
    EXPECT_EQ(hit.u, 0);
    EXPECT_EQ(hit.v, 0);
    EXPECT_EQ(hit.inside, 0);

    // From below along +z: the bottom cap, normal (0, 0, 1) flipped to face the ray.
    XRay below(XMathVectorF3(0.1f, 0, -2), XMathVectorF3(0, 0, 1), 0, 100);
    ASSERT_TRUE(cylinder.Intersect(below, hit));
    EXPECT_FLOAT_EQ(hit.t, 1.5f);
    EXPECT_EQ(hit.normal, XMathVectorF3(0, 0, -1));
    // From above along -z: the top cap, normal (0, 0, 1).
    XRay above(XMathVectorF3(0.1f, 0, 2), XMathVectorF3(0, 0, -1), 0, 100);
    ASSERT_TRUE(cylinder.Intersect(above, hit));
    EXPECT_FLOAT_EQ(hit.t, 1.5f);
    EXPECT_EQ(hit.normal, XMathVectorF3(0, 0, 1));

    // A cap nearer than the side wins: slanted ray entering through the top.
    XRay slanted(XMathVectorF3(0, 0, 1), XMathVectorF3(0.6f, 0, -0.8f), 0, 100);
    ASSERT_TRUE(cylinder.Intersect(slanted, hit));
    EXPECT_FLOAT_EQ(hit.t, 0.625f);
    EXPECT_EQ(hit.normal, XMathVectorF3(0, 0, 1));
}

TEST(XCylinderTest, KeptQuirksOfTheRoutine)
{
    const XCylinder cylinder;
    XRayHit hit;
    // From inside along +z only the nearer plane (the bottom, behind the origin) is tested, and
    // the side is parallel to the ray: no hit.
    XRay inside(XMathVectorF3(0, 0, 0), XMathVectorF3(0, 0, 1), 0, 100);
    EXPECT_FALSE(cylinder.Intersect(inside, hit));
    EXPECT_FALSE(cylinder.TestIntersection(inside));
    EXPECT_EQ(inside.tMax, 100);

    // Above the cylinder the side root is out of range, and the other root is not tried.
    XRay over(XMathVectorF3(2, 0, 0.75f), XMathVectorF3(-1, 0, 0), 0, 100);
    EXPECT_FALSE(cylinder.Intersect(over, hit));

    // From inside sideways: the far side root.
    XRay sideways(XMathVectorF3(0, 0, 0), XMathVectorF3(0, 1, 0), 0, 100);
    ASSERT_TRUE(cylinder.Intersect(sideways, hit));
    EXPECT_FLOAT_EQ(hit.t, 0.5f);
    EXPECT_EQ(hit.normal, XMathVectorF3(0, -1, 0));

    // TestIntersection agrees with Intersect and shortens tMax.
    XRay test(XMathVectorF3(2, 0, 0), XMathVectorF3(-1, 0, 0), 0, 100);
    EXPECT_TRUE(cylinder.TestIntersection(test));
    EXPECT_FLOAT_EQ(test.tMax, 1.5f);
    // Beyond tMax it misses.
    XRay shortRay(XMathVectorF3(2, 0, 0), XMathVectorF3(-1, 0, 0), 0, 1);
    EXPECT_FALSE(cylinder.TestIntersection(shortRay));
}

TEST(XCylinderTest, StreamFormHoldsTheRadius)
{
    const XCylinder cylinder(2.5f);
    const std::vector<std::uint8_t> bytes = XWrittenBytes(cylinder);
    ASSERT_EQ(bytes.size(), cylinder.GetStreamSize());
    ASSERT_EQ(bytes.size(), 20u);
    XCylinder read;
    EXPECT_EQ(XReadErrorCode(bytes, read), 0);
    EXPECT_EQ(read.GetRadius(), 2.5f);
    std::vector<std::uint8_t> wrong = bytes;
    XPutWord(wrong, 8, 14935);
    EXPECT_EQ(XReadErrorCode(wrong, read), 1005);
    std::vector<std::uint8_t> tooNew = bytes;
    XPutWord(tooNew, 4, 70000);
    EXPECT_EQ(XReadErrorCode(tooNew, read), 1015);
}
