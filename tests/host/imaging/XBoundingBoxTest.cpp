#include "host/imaging/XBoundingBox.h"

#include "host/core/XStream.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

namespace
{
constexpr float kInfinity = std::numeric_limits<float>::infinity();

// The ray set-up of the traversal: reciprocal direction and, per axis, (near, far) = (0, 1) for
// a component >= 0 (so also for -0) and (1, 0) otherwise.
struct XTestRay
{
    XMathVectorF3 origin;
    XMathVectorF3 direction;
    XMathVectorF3 inverse;
    XMathVectorS2 indices[3];

    XTestRay(const XMathVectorF3& inOrigin, const XMathVectorF3& inDirection)
        : origin(inOrigin), direction(inDirection)
    {
        for (int axis = 0; axis < 3; ++axis)
        {
            inverse[axis] = 1.0f / direction[axis];
            indices[axis] = direction[axis] >= 0 ? XMathVectorS2(0, 1) : XMathVectorS2(1, 0);
        }
    }

    bool Hits(const XBoundingBox& inBox, float inTMin, float inTMax) const
    {
        return inBox.FastIntersect(origin, inverse, indices, inTMin, inTMax);
    }
};

// Slab test in double precision without reciprocals: a zero direction component is inside its
// slab for every t exactly when the origin lies within the slab (boundaries included).
// outMargin is the length of the overlap (negative when disjoint), infinite when a parallel
// axis decides.
bool ReferenceIntersect(const XBoundingBox& inBox, const XTestRay& inRay, double inTMin,
                        double inTMax, double& outMargin)
{
    double lower = inTMin;
    double upper = inTMax;
    for (int axis = 0; axis < 3; ++axis)
    {
        const double o = inRay.origin[axis];
        const double d = inRay.direction[axis];
        const double lo = inBox.GetMin()[axis];
        const double hi = inBox.GetMax()[axis];
        if (d == 0)
        {
            if (o < lo || o > hi)
            {
                outMargin = -std::numeric_limits<double>::infinity();
                return false;
            }
            continue;
        }
        const double t0 = (lo - o) / d;
        const double t1 = (hi - o) / d;
        lower = std::max(lower, std::min(t0, t1));
        upper = std::min(upper, std::max(t0, t1));
    }
    outMargin = upper - lower;
    return lower <= upper;
}
} // namespace

TEST(XBoundingBoxTest, CornersUnionContainmentAndCentroid)
{
    const XBoundingBox zero;
    EXPECT_EQ(zero.GetMin(), XMathVectorF3(0, 0, 0));
    EXPECT_EQ(zero.GetMax(), XMathVectorF3(0, 0, 0));

    const XBoundingBox a({-1, 0, 2}, {1, 3, 4});
    const XBoundingBox b({0, -2, 3}, {5, 1, 3.5f});
    EXPECT_EQ(&a[0], &a.GetMin());
    EXPECT_EQ(&a[1], &a.GetMax());
    const XBoundingBox both = XBoundingBox::MakeSurroundingBox(a, b);
    EXPECT_EQ(both, XBoundingBox({-1, -2, 2}, {5, 3, 4}));
    EXPECT_EQ(XBoundingBox::MakeSurroundingBox(b, a), both);
    EXPECT_EQ(XBoundingBox::MakeSurroundingBox(a, a), a);
    EXPECT_EQ(a.GetCentroid(), XMathVectorF3(0, 1.5f, 3));

    EXPECT_TRUE(a.Contains({-1, 0, 2}));
    EXPECT_TRUE(a.Contains({1, 3, 4}));
    EXPECT_TRUE(a.Contains({0, 1, 3}));
    EXPECT_FALSE(a.Contains({1.0001f, 1, 3}));
    EXPECT_FALSE(a.Contains({0, -0.0001f, 3}));
    EXPECT_FALSE(a.Contains({0, 1, 4.0001f}));
    EXPECT_TRUE(zero.Contains({0, 0, 0}));
}

TEST(XBoundingBoxTest, TransformedBoxIsTheTightBoxOfTheTransformedCorners)
{
    using M = XMatrix_4x4<float>;
    // A quarter turn about z takes (x, y) to (-y, x).
    const XBoundingBox box({0, 0, 0}, {1, 2, 3});
    const XBoundingBox turned = box.MakeTransformedBox(M::Rotation({0, 0, 1}, 90));
    EXPECT_NEAR(turned.GetMin().x, -2, 1e-6);
    EXPECT_NEAR(turned.GetMin().y, 0, 1e-6);
    EXPECT_NEAR(turned.GetMin().z, 0, 1e-6);
    EXPECT_NEAR(turned.GetMax().x, 0, 1e-6);
    EXPECT_NEAR(turned.GetMax().y, 1, 1e-6);
    EXPECT_NEAR(turned.GetMax().z, 3, 1e-6);
    EXPECT_EQ(box.MakeTransformedBox(M::Translation(1, 2, 3) * M::Scale(2, -1, 1)),
              XBoundingBox({1, 0, 3}, {3, 2, 6}));

    std::mt19937 random(99);
    std::uniform_real_distribution<float> coordinate(-5, 5);
    std::uniform_real_distribution<float> angle(-180, 180);
    std::uniform_real_distribution<float> scale(0.2f, 3);
    for (int trial = 0; trial < 500; ++trial)
    {
        const XMathVectorF3 p(coordinate(random), coordinate(random), coordinate(random));
        const XMathVectorF3 q(coordinate(random), coordinate(random), coordinate(random));
        const XBoundingBox source({std::min(p.x, q.x), std::min(p.y, q.y), std::min(p.z, q.z)},
                                  {std::max(p.x, q.x), std::max(p.y, q.y), std::max(p.z, q.z)});
        const M m = M::Translation(coordinate(random), coordinate(random), coordinate(random)) *
                    M::Rotation({coordinate(random), coordinate(random), coordinate(random)},
                                angle(random)) *
                    M::Scale(scale(random), scale(random), scale(random));
        const XBoundingBox result = source.MakeTransformedBox(m);
        // Every transformed corner is inside, and every face of the result touches one.
        XMathVectorF3 touchesMin(0, 0, 0);
        XMathVectorF3 touchesMax(0, 0, 0);
        for (int corner = 0; corner < 8; ++corner)
        {
            const XMathVectorF3 point = m.TransformPoint(
                {source[corner & 1].x, source[(corner >> 1) & 1].y, source[(corner >> 2) & 1].z});
            EXPECT_TRUE(result.Contains(point));
            for (int axis = 0; axis < 3; ++axis)
            {
                touchesMin[axis] += point[axis] == result.GetMin()[axis] ? 1.0f : 0.0f;
                touchesMax[axis] += point[axis] == result.GetMax()[axis] ? 1.0f : 0.0f;
            }
        }
        for (int axis = 0; axis < 3; ++axis)
        {
            EXPECT_GE(touchesMin[axis], 1) << "trial " << trial << " axis " << axis;
            EXPECT_GE(touchesMax[axis], 1) << "trial " << trial << " axis " << axis;
        }
        // Points inside the source box land inside the result.
        const XMathVectorF3 inside = source.GetCentroid();
        EXPECT_TRUE(result.Contains(m.TransformPoint(inside)));
    }
}

TEST(XBoundingBoxTest, FastIntersectHandCases)
{
    const XBoundingBox box({-1, -1, -1}, {1, 1, 1});
    // Straight through along +x from x = -5: enters at t = 4, leaves at t = 6.
    const XTestRay alongX({-5, 0, 0}, {1, 0, 0});
    EXPECT_TRUE(alongX.Hits(box, 0, 100));
    EXPECT_TRUE(alongX.Hits(box, 0, 4));   // touches the entry face
    EXPECT_TRUE(alongX.Hits(box, 6, 100)); // touches the exit face
    EXPECT_FALSE(alongX.Hits(box, 0, 3.9f));
    EXPECT_FALSE(alongX.Hits(box, 6.1f, 100));
    EXPECT_TRUE(alongX.Hits(box, 0, kInfinity));
    // Backwards along -x from x = -5: the box is behind.
    EXPECT_FALSE(XTestRay({-5, 0, 0}, {-1, 0, 0}).Hits(box, 0, 100));
    EXPECT_TRUE(XTestRay({-5, 0, 0}, {-1, 0, 0}).Hits(box, -100, 0));

    // Parallel to y and z: inside, outside, and on the planes of those slabs.
    EXPECT_FALSE(XTestRay({-5, 2, 0}, {1, 0, 0}).Hits(box, 0, 100));
    EXPECT_FALSE(XTestRay({-5, 2, 0}, {1, 0, 0}).Hits(box, 0, kInfinity));
    EXPECT_FALSE(XTestRay({-5, -2, 0}, {1, 0, 0}).Hits(box, -kInfinity, kInfinity));
    EXPECT_TRUE(XTestRay({-5, 1, 0}, {1, 0, 0}).Hits(box, 0, 100));
    EXPECT_TRUE(XTestRay({-5, -1, 1}, {1, 0, 0}).Hits(box, 0, 100));
    EXPECT_FALSE(XTestRay({-5, -1, 1}, {1, 0, 0}).Hits(box, 0, 3));

    // A -0 component passes the ">= 0" index rule while its reciprocal is -infinity.
    EXPECT_TRUE(XTestRay({-5, 0.5f, 0}, {1, -0.0f, 0}).Hits(box, 0, 100));
    EXPECT_TRUE(XTestRay({-5, -1, 0}, {1, -0.0f, 0}).Hits(box, 0, 100));
    EXPECT_TRUE(XTestRay({-5, 1, 0}, {1, -0.0f, -0.0f}).Hits(box, 0, 100));
    EXPECT_FALSE(XTestRay({-5, 1.5f, 0}, {1, -0.0f, 0}).Hits(box, 0, 100));
    EXPECT_FALSE(XTestRay({-5, -1.5f, 0}, {1, -0.0f, 0}).Hits(box, 0, 100));

    // A zero direction: the origin alone decides, for any interval.
    EXPECT_TRUE(XTestRay({0.5f, -1, 1}, {0, 0, 0}).Hits(box, 0, 1));
    EXPECT_FALSE(XTestRay({0.5f, -1, 1.01f}, {0, -0.0f, 0}).Hits(box, 0, 1));
    // An empty interval never hits.
    EXPECT_FALSE(alongX.Hits(box, 5, 4.5f));

    // A flat box (a disk's bounds) is hit at exactly one parameter.
    const XBoundingBox flat({-1, -1, 0}, {1, 1, 0});
    const XTestRay down({0.5f, 0.5f, 5}, {0, 0, -1});
    EXPECT_TRUE(down.Hits(flat, 0, 5));
    EXPECT_TRUE(down.Hits(flat, 5, 5));
    EXPECT_FALSE(down.Hits(flat, 0, 4.99f));
    EXPECT_TRUE(XTestRay({-3, 0, 0}, {1, 0, 0}).Hits(flat, 0, 10)); // in its plane
    EXPECT_FALSE(XTestRay({-3, 0, 0.01f}, {1, 0, 0}).Hits(flat, 0, 10));
}

TEST(XBoundingBoxTest, FastIntersectAgreesWithADoublePrecisionSlabTest)
{
    std::mt19937 random(2024);
    std::uniform_real_distribution<float> coordinate(-5, 5);
    std::uniform_real_distribution<float> position(-10, 10);
    std::uniform_real_distribution<float> component(-1, 1);
    std::uniform_real_distribution<float> parameter(-5, 5);
    std::uniform_real_distribution<float> length(0, 20);
    std::uniform_int_distribution<int> choice(0, 7);

    const int kRays = 200000;
    int compared = 0;
    int hits = 0;
    int parallelCases = 0;
    for (int ray = 0; ray < kRays; ++ray)
    {
        XMathVectorF3 lower;
        XMathVectorF3 upper;
        for (int axis = 0; axis < 3; ++axis)
        {
            const float a = coordinate(random);
            const float b = choice(random) == 0 ? a : coordinate(random); // sometimes flat
            lower[axis] = std::min(a, b);
            upper[axis] = std::max(a, b);
        }
        const XBoundingBox box(lower, upper);

        // Half of the rays aim at a point of the box before some components are zeroed.
        const bool aimed = choice(random) < 4;
        XMathVectorF3 target;
        for (int axis = 0; axis < 3; ++axis)
        {
            std::uniform_real_distribution<float> within(lower[axis], upper[axis]);
            target[axis] = lower[axis] < upper[axis] ? within(random) : lower[axis];
        }
        XMathVectorF3 origin;
        XMathVectorF3 direction;
        bool parallel = false;
        for (int axis = 0; axis < 3; ++axis)
        {
            switch (choice(random))
            {
            case 0:
                origin[axis] = lower[axis];
                break;
            case 1:
                origin[axis] = upper[axis];
                break;
            default:
                origin[axis] = position(random);
            }
        }
        for (int axis = 0; axis < 3; ++axis)
        {
            switch (choice(random))
            {
            case 0:
                direction[axis] = 0.0f;
                parallel = true;
                break;
            case 1:
                direction[axis] = -0.0f;
                parallel = true;
                break;
            default:
                const float d = aimed ? (target[axis] - origin[axis]) * 0.1f : component(random);
                direction[axis] = std::fabs(d) < 1e-3f ? std::copysign(1e-3f, d) : d;
            }
        }
        const float tMin = parameter(random);
        float tMax = tMin + length(random);
        if (choice(random) == 0)
        {
            tMax = kInfinity;
        }
        else if (choice(random) == 0)
        {
            tMax = std::numeric_limits<float>::max();
        }

        const XTestRay testRay(origin, direction);
        double margin = 0;
        const bool expected = ReferenceIntersect(box, testRay, tMin, tMax, margin);
        // Skip only near-tangent cases, where float rounding may legitimately decide either way.
        const double scale = 1.0 + std::fabs(tMin) + (std::isfinite(tMax) ? std::fabs(tMax) : 0);
        if (std::fabs(margin) < 1e-4 * scale)
        {
            continue;
        }
        ++compared;
        hits += expected ? 1 : 0;
        parallelCases += parallel ? 1 : 0;
        ASSERT_EQ(testRay.Hits(box, tMin, tMax), expected)
            << "ray " << ray << " origin (" << origin.x << ", " << origin.y << ", " << origin.z
            << ") direction (" << direction.x << ", " << direction.y << ", " << direction.z
            << ") box (" << lower.x << ", " << lower.y << ", " << lower.z << ")-(" << upper.x
            << ", " << upper.y << ", " << upper.z << ") t [" << tMin << ", " << tMax << "]";
    }
    // The sample must exercise both outcomes and the parallel cases, and skip only a few rays.
    EXPECT_GT(compared, kRays * 8 / 10);
    EXPECT_GT(hits, compared / 20);
    EXPECT_LT(hits, compared - compared / 20);
    EXPECT_GT(parallelCases, compared / 4);
}

TEST(XBoundingBoxTest, StreamHoldsSixFloatsMinimumFirst)
{
    const XBoundingBox box({-1.5f, 2, 3.25f}, {4, 5.5f, 6});
    XMemoryStream stream;
    box.WriteStream(stream);
    ASSERT_EQ(stream.GetBytes().size(), 24u);

    XMemoryStream values(stream.GetBytes());
    for (const float expected : {-1.5f, 2.0f, 3.25f, 4.0f, 5.5f, 6.0f})
    {
        EXPECT_EQ(values.ReadFloat32S(), expected);
    }

    XMemoryStream in(stream.GetBytes());
    XBoundingBox read;
    read.ReadStream(in);
    EXPECT_EQ(read, box);
}
