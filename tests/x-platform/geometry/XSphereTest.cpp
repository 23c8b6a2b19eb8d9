#include "x-platform/geometry/XSphere.h"
#include "tests/scenes/XStreamTestSupport.h"
#include "x-platform/core/XRay.h"
#include "x-platform/geometry/XRayHit.h"

#include <gtest/gtest.h>

#include <cmath>

TEST(XSphereTest, AcceptanceRulesOfTheTest)
{
    const XSphere sphere(1);

    // Tangent: the discriminant is exactly 0, a miss.
    XRay tangent(XMathVectorF3(1, 0, -5), XMathVectorF3(0, 0, 1), 0, 100);
    EXPECT_FALSE(sphere.TestIntersection(tangent));
    EXPECT_EQ(tangent.tMax, 100);

    // From outside: the near root, tMax shortened.
    XRay outside(XMathVectorF3(0, 0, -5), XMathVectorF3(0, 0, 1), 0, 100);
    EXPECT_TRUE(sphere.TestIntersection(outside));
    EXPECT_EQ(outside.tMax, 4);

    // The near root is accepted even beyond tMax: tMax grows.
    XRay beyond(XMathVectorF3(0, 0, -5), XMathVectorF3(0, 0, 1), 0, 2);
    EXPECT_TRUE(sphere.TestIntersection(beyond));
    EXPECT_EQ(beyond.tMax, 4);

    // From inside: the far root, but only within tMax.
    XRay inside(XMathVectorF3(0, 0, 0.5f), XMathVectorF3(0, 0, 1), 0, 100);
    EXPECT_TRUE(sphere.TestIntersection(inside));
    EXPECT_EQ(inside.tMax, 0.5f);
    XRay insideShort(XMathVectorF3(0, 0, 0.5f), XMathVectorF3(0, 0, 1), 0, 0.25f);
    EXPECT_FALSE(sphere.TestIntersection(insideShort));
    EXPECT_EQ(insideShort.tMax, 0.25f);

    // Behind the origin: tMin beyond both roots.
    XRay behind(XMathVectorF3(0, 0, 5), XMathVectorF3(0, 0, 1), 0, 100);
    EXPECT_FALSE(sphere.TestIntersection(behind));

    // A sphere of radius 0 is missed even by a ray through its centre.
    XRay centre(XMathVectorF3(0, 0, -5), XMathVectorF3(0, 0, 1), 0, 100);
    EXPECT_FALSE(XSphere(0).TestIntersection(centre));
}

TEST(XSphereTest, HitRecordNormalAndParameters)
{
    const XSphere sphere(2);

    // From +x toward the centre: hit at (2, 0, 0), normal +x, theta = pi/2 so v = 0.5, and
    // phi = acos(1 / 1.0001).
    XRay ray(XMathVectorF3(5, 0, 0), XMathVectorF3(-1, 0, 0), 0, 100);
    XRayHit hit;
    ASSERT_TRUE(sphere.Intersect(ray, hit));
    EXPECT_EQ(hit.t, 3);
    EXPECT_EQ(ray.tMax, 3);
    EXPECT_EQ(hit.point, XMathVectorF3(2, 0, 0));
    EXPECT_EQ(hit.objectPoint, XMathVectorF3(2, 0, 0));
    EXPECT_EQ(hit.normal, XMathVectorF3(1, 0, 0));
    EXPECT_EQ(hit.inside, 0);
    EXPECT_NEAR(hit.u, 0.0141421 / (2 * 3.14159265), 1e-6);
    EXPECT_NEAR(hit.v, 0.5, 1e-6);

    // On +z: phi = pi/2, u = 1/4; on -z: phi = 2 pi - pi/2, u = 3/4.
    XRay fromFront(XMathVectorF3(0, 0, 5), XMathVectorF3(0, 0, -1), 0, 100);
    ASSERT_TRUE(sphere.Intersect(fromFront, hit));
    EXPECT_NEAR(hit.u, 0.25, 1e-6);
    XRay fromBack(XMathVectorF3(0, 0, -5), XMathVectorF3(0, 0, 1), 0, 100);
    ASSERT_TRUE(sphere.Intersect(fromBack, hit));
    EXPECT_NEAR(hit.u, 0.75, 1e-6);

    // Poles: v close to 1 at +y and 0 at -y, without a domain error.
    XRay top(XMathVectorF3(0, 5, 0), XMathVectorF3(0, -1, 0), 0, 100);
    ASSERT_TRUE(sphere.Intersect(top, hit));
    EXPECT_NEAR(hit.v, 1.0, 0.01);
    EXPECT_FALSE(std::isnan(hit.u));
    XRay bottom(XMathVectorF3(0, -5, 0), XMathVectorF3(0, 1, 0), 0, 100);
    ASSERT_TRUE(sphere.Intersect(bottom, hit));
    EXPECT_NEAR(hit.v, 0.0, 0.01);

    // From inside: the far root, the normal flipped toward the ray's origin, inside = 1; the
    // parameters follow the flipped normal (-x: phi = pi - acos(1 / 1.0001)).
    XRay inside(XMathVectorF3(0, 0, 0), XMathVectorF3(1, 0, 0), 0, 100);
    ASSERT_TRUE(sphere.Intersect(inside, hit));
    EXPECT_EQ(hit.t, 2);
    EXPECT_EQ(hit.normal, XMathVectorF3(-1, 0, 0));
    EXPECT_EQ(hit.inside, 1);
    EXPECT_NEAR(hit.u, (3.14159265 - 0.0141414) / (2 * 3.14159265), 1e-6);

    // A miss leaves the record alone.
    XRayHit untouched;
    untouched.t = 42;
    XRay miss(XMathVectorF3(5, 5, 0), XMathVectorF3(-1, 0, 0), 0, 100);
    EXPECT_FALSE(sphere.Intersect(miss, untouched));
    EXPECT_EQ(untouched.t, 42);
    EXPECT_EQ(miss.tMax, 100);
}

TEST(XSphereTest, BoundsAreaAndSampling)
{
    const XSphere sphere(2);
    EXPECT_EQ(sphere.GetBoundingBox(),
              XBoundingBox(XMathVectorF3(-2, -2, -2), XMathVectorF3(2, 2, 2)));
    EXPECT_EQ(sphere.GetArea(), 4 * 12.566371f);
    EXPECT_FLOAT_EQ(sphere.GetUniformPdf(), 1 / (4 * 12.566371f));

    // Seen from distance 4 the sphere of radius 2 fills a cone with cos theta max = sqrt(3)/2.
    const XMatrix_4x4<float> place = XMatrix_4x4<float>::Translation(10, 0, 0);
    const float expected = 1.0f / (6.2831855f * (1.0f - std::sqrt(0.75f)));
    EXPECT_FLOAT_EQ(sphere.GetPdf(XMathVectorF3(14, 0, 0), XMathVectorF3(-1, 0, 0), place),
                    expected);

    // u1 = 1 samples the direction straight at the centre: the nearest point.
    const XMathVectorF3 nearest = sphere.SamplePoint(XMathVectorF3(0, 0, 4), 1, 0.3f);
    EXPECT_NEAR(nearest.z, 2, 1e-5);
    EXPECT_NEAR(nearest.x, 0, 1e-5);
    // Any sample lies on the sphere, on the side facing the reference point.
    for (float u1 : {0.05f, 0.25f, 0.5f, 0.9f})
    {
        for (float u2 : {0.0f, 0.3f, 0.7f})
        {
            const XMathVectorF3 point = sphere.SamplePoint(XMathVectorF3(0, 0, 4), u1, u2);
            EXPECT_NEAR(point.Length(), 2, 1e-4);
            EXPECT_GE(point.z, 1 - 1e-4);
        }
    }
    // From inside: the reference point itself.
    EXPECT_EQ(sphere.SamplePoint(XMathVectorF3(0.5f, 0, 0), 0.5f, 0.5f), XMathVectorF3(0.5f, 0, 0));
    // From inside, the base rule: the area density over the cosine and the squared distance.
    const float insidePdf =
        sphere.GetPdf(XMathVectorF3(0, 0, 0), XMathVectorF3(0, 0, 1), XMatrix_4x4<float>());
    EXPECT_NEAR(insidePdf, 4.0f / (4 * 12.566371f), 1e-6);
}

TEST(XSphereTest, StreamFormKeepsTheRadiusAndRecomputesItsSquare)
{
    const XSphere sphere(3);
    const std::vector<std::uint8_t> bytes = XWrittenBytes(sphere);
    ASSERT_EQ(bytes.size(), sphere.GetStreamSize());
    ASSERT_EQ(bytes.size(), 8u + 8u + 4u);
    std::uint32_t word = 0;
    std::memcpy(&word, bytes.data(), 4);
    EXPECT_EQ(word, 14933u);
    std::memcpy(&word, bytes.data() + 8, 4);
    EXPECT_EQ(word, 14935u);
    float radius = 0;
    std::memcpy(&radius, bytes.data() + 16, 4);
    EXPECT_EQ(radius, 3);

    XSphere read(1);
    EXPECT_EQ(XReadErrorCode(bytes, read), 0);
    EXPECT_EQ(read.GetRadius(), 3);
    // The squared radius follows: a ray at distance 2.5 from the centre hits.
    XRay ray(XMathVectorF3(2.5f, 0, -10), XMathVectorF3(0, 0, 1), 0, 100);
    EXPECT_TRUE(read.TestIntersection(ray));

    std::vector<std::uint8_t> wrongBase = bytes;
    XPutWord(wrongBase, 0, 14935);
    EXPECT_EQ(XReadErrorCode(wrongBase, read), 1005);
    std::vector<std::uint8_t> wrongClass = bytes;
    XPutWord(wrongClass, 8, 14936);
    EXPECT_EQ(XReadErrorCode(wrongClass, read), 1005);
    std::vector<std::uint8_t> tooNew = bytes;
    XPutWord(tooNew, 12, 65536);
    EXPECT_EQ(XReadErrorCode(tooNew, read), 1015);
    std::vector<std::uint8_t> oldEnough = bytes;
    XPutWord(oldEnough, 12, 65535);
    EXPECT_EQ(XReadErrorCode(oldEnough, read), 0);
}
