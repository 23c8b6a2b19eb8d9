#include "x-platform/geometry/XCone.h"
#include "tests/scenes/XStreamTestSupport.h"
#include "x-platform/core/XRay.h"
#include "x-platform/geometry/XRayHit.h"

#include <gtest/gtest.h>

#include <cmath>

TEST(XConeTest, SideHitAndItsFixedNormal)
{
    const XCone cone(1, 2); // apex at z = 1, base of radius 1 at z = -1
    EXPECT_EQ(cone.GetBoundingBox(),
              XBoundingBox(XMathVectorF3(-1, -1, -1), XMathVectorF3(1, 1, 1)));

    // At z = 0 the cone's radius is 0.5: A = 4, B = -40, C = 99, roots 4.5 and 5.5.
    XRay ray(XMathVectorF3(5, 0, 0), XMathVectorF3(-1, 0, 0), 0, 100);
    XRayHit hit;
    ASSERT_TRUE(cone.Intersect(ray, hit));
    EXPECT_FLOAT_EQ(hit.t, 4.5f);
    EXPECT_FLOAT_EQ(ray.tMax, 4.5f);
    const float length = std::sqrt(1.2f);
    EXPECT_NEAR(hit.normal.x, 1 / length, 1e-6);
    EXPECT_NEAR(hit.normal.y, 0, 1e-6);
    EXPECT_NEAR(hit.normal.z, 0.4472136f / length, 1e-6);

    // A slender cone gets the same normal at the same azimuth.
    const XCone slender(1, 20);
    XRay slenderRay(XMathVectorF3(5, 0, 0), XMathVectorF3(-1, 0, 0), 0, 100);
    XRayHit slenderHit;
    ASSERT_TRUE(slender.Intersect(slenderRay, slenderHit));
    EXPECT_FLOAT_EQ(slenderHit.t, 4.5f); // its radius at z = 0 is also 0.5
    EXPECT_NEAR(slenderHit.normal.x, hit.normal.x, 1e-6);
    EXPECT_NEAR(slenderHit.normal.z, hit.normal.z, 1e-6);
}

TEST(XConeTest, BaseNappeAndTheTestThatNeverReportsAHit)
{
    const XCone cone(1, 2);
    XRayHit hit;

    // Along the axis from below: the base at t = 4 beats the apex at t = 6; the base normal
    // (0, 0, 1) is flipped to face the ray.
    XRay below(XMathVectorF3(0, 0, -5), XMathVectorF3(0, 0, 1), 0, 100);
    ASSERT_TRUE(cone.Intersect(below, hit));
    EXPECT_FLOAT_EQ(hit.t, 4);
    EXPECT_EQ(hit.normal, XMathVectorF3(0, 0, -1));

    // From above off the axis the near root lies on the upper nappe (z = 1.4); the far root at
    // z = 0.6 is on the cone and is taken before the base at t = 6.
    XRay above(XMathVectorF3(0.2f, 0, 5), XMathVectorF3(0, 0, -1), 0, 100);
    ASSERT_TRUE(cone.Intersect(above, hit));
    EXPECT_NEAR(hit.t, 4.4f, 1e-5);
    EXPECT_NEAR(hit.point.z, 0.6f, 1e-5);

    // TestIntersection never reports a hit, yet shortens tMax.
    XRay test(XMathVectorF3(5, 0, 0), XMathVectorF3(-1, 0, 0), 0, 100);
    EXPECT_FALSE(cone.TestIntersection(test));
    EXPECT_FLOAT_EQ(test.tMax, 4.5f);
    XRay missing(XMathVectorF3(5, 5, 0), XMathVectorF3(-1, 0, 0), 0, 100);
    EXPECT_FALSE(cone.TestIntersection(missing));
    EXPECT_EQ(missing.tMax, 100);

    // Below the base the side misses and the base is parallel: no hit.
    XRay under(XMathVectorF3(5, 0, -1.5f), XMathVectorF3(-1, 0, 0), 0, 100);
    EXPECT_FALSE(cone.Intersect(under, hit));
}

TEST(XConeTest, StreamFormHoldsRadiusAndHeight)
{
    const XCone cone(0.5f, 3);
    const std::vector<std::uint8_t> bytes = XWrittenBytes(cone);
    ASSERT_EQ(bytes.size(), cone.GetStreamSize());
    ASSERT_EQ(bytes.size(), 24u);
    XCone read;
    EXPECT_EQ(XReadErrorCode(bytes, read), 0);
    EXPECT_EQ(read.GetRadius(), 0.5f);
    EXPECT_EQ(read.GetHeight(), 3);
    // The derived fields follow: same bounds, same hits.
    EXPECT_EQ(read.GetBoundingBox(), cone.GetBoundingBox());
    XRay a(XMathVectorF3(3, 0.1f, 0.2f), XMathVectorF3(-1, 0, 0), 0, 100);
    XRay b = a;
    XRayHit hitA;
    XRayHit hitB;
    ASSERT_TRUE(cone.Intersect(a, hitA));
    ASSERT_TRUE(read.Intersect(b, hitB));
    EXPECT_EQ(hitA.t, hitB.t);
    std::vector<std::uint8_t> wrong = bytes;
    XPutWord(wrong, 8, 14937);
    EXPECT_EQ(XReadErrorCode(wrong, read), 1005);
    std::vector<std::uint8_t> tooNew = bytes;
    XPutWord(tooNew, 12, 65536);
    EXPECT_EQ(XReadErrorCode(tooNew, read), 1015);
}
