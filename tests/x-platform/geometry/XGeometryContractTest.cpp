#include "host/core/XStream.h"
#include "tests/scenes/XRandomSpheres.h"
#include "tests/scenes/XStreamTestSupport.h"
#include "x-platform/core/XObjectRecordSize.h"
#include "x-platform/core/XRay.h"
#include "x-platform/geometry/XCone.h"
#include "x-platform/geometry/XCylinder.h"
#include "x-platform/geometry/XDisk.h"
#include "x-platform/geometry/XRayHit.h"
#include "x-platform/geometry/XSphere.h"
#include "x-platform/rendering/XSceneClassTable.h"

#include <gtest/gtest.h>

#include <cmath>

// The same checks over every geometry: hits lie on the shape inside its bounds with a unit
// normal facing the ray, TestIntersection agrees with Intersect as each class defines it, and
// every class survives the stream by name.
template <class T>
struct XGeometryFactory;

template <>
struct XGeometryFactory<XSphere>
{
    static XSphere Make() { return XSphere(0.8f); }
};
template <>
struct XGeometryFactory<XCylinder>
{
    static XCylinder Make() { return XCylinder(0.6f); }
};
template <>
struct XGeometryFactory<XCone>
{
    static XCone Make() { return XCone(0.7f, 1.5f); }
};
template <>
struct XGeometryFactory<XDisk>
{
    static XDisk Make() { return XDisk(0.9f, 0.2f); }
};

template <class T>
class XGeometryContractTest : public ::testing::Test
{
};

using XGeometryTypes = ::testing::Types<XSphere, XCylinder, XCone, XDisk>;
TYPED_TEST_SUITE(XGeometryContractTest, XGeometryTypes);

TYPED_TEST(XGeometryContractTest, HitsLieInsideTheBoundsAndFaceTheRay)
{
    const TypeParam geometry = XGeometryFactory<TypeParam>::Make();
    const XBoundingBox box = geometry.GetBoundingBox();
    XUniformSource random(17);
    int hits = 0;
    for (int i = 0; i < 2000; ++i)
    {
        // From a point on a sphere of radius 5 toward a point inside the bounds.
        XMathVectorF3 from(random.Next(-1, 1), random.Next(-1, 1), random.Next(-1, 1));
        from = from.Normalized() * 5.0f;
        const XMathVectorF3 to(random.Next(box.GetMin().x, box.GetMax().x),
                               random.Next(box.GetMin().y, box.GetMax().y),
                               random.Next(box.GetMin().z, box.GetMax().z));
        const XRay start(from, (to - from).Normalized(), 0, 100);

        XRay ray = start;
        XRayHit hit;
        const bool found = geometry.Intersect(ray, hit);
        XRay tested = start;
        const bool testFound = geometry.TestIntersection(tested);
        if constexpr (std::is_same_v<TypeParam, XCone>)
        {
            EXPECT_FALSE(testFound); // found only through Intersect
            EXPECT_EQ(tested.tMax, ray.tMax);
        }
        else if constexpr (std::is_same_v<TypeParam, XDisk>)
        {
            EXPECT_TRUE(testFound); // reports a hit in every case
            EXPECT_TRUE(found);
            EXPECT_EQ(tested.tMax, ray.tMax);
        }
        else
        {
            EXPECT_EQ(testFound, found);
            EXPECT_EQ(tested.tMax, ray.tMax);
        }
        // The disk's "hit" at the unchanged tMax is no hit on the shape.
        if (!found || ray.tMax == start.tMax)
        {
            continue;
        }
        ++hits;
        EXPECT_EQ(hit.t, ray.tMax);
        const XMathVectorF3 expected = start.At(hit.t);
        EXPECT_NEAR((hit.point - expected).Length(), 0, 1e-5);
        EXPECT_EQ(hit.objectPoint, hit.point);
        for (int axis = 0; axis < 3; ++axis)
        {
            EXPECT_GE(hit.point[axis], box.GetMin()[axis] - 1e-5f);
            EXPECT_LE(hit.point[axis], box.GetMax()[axis] + 1e-5f);
        }
        EXPECT_NEAR(hit.normal.Length(), 1, 1e-5);
        EXPECT_LE(Dot(hit.normal, start.direction), 0);
    }
    EXPECT_GT(hits, 200);
}

TYPED_TEST(XGeometryContractTest, StreamsByNameAndClones)
{
    XRegisterSceneClasses();
    const TypeParam geometry = XGeometryFactory<TypeParam>::Make();
    XMemoryStream stream;
    stream.WriteObject(&geometry);
    // Tag, name, body length, body.
    EXPECT_EQ(stream.GetBytes().size(), XObjectRecordSize(&geometry));
    const std::unique_ptr<XGeometry> read = stream.ReadObjectAs<XGeometry>();
    ASSERT_NE(read, nullptr);
    EXPECT_EQ(read->GetClassID(), geometry.GetClassID());
    if constexpr (!std::is_same_v<TypeParam, XDisk>)
    {
        EXPECT_EQ(read->GetBoundingBox(), geometry.GetBoundingBox());
    }
    EXPECT_EQ(XWrittenBytes(*read), XWrittenBytes(geometry));

    const XRef<XGeometry> clone = geometry.CloneShared();
    EXPECT_EQ(clone->GetReferenceCount(), 1);
    EXPECT_EQ(XWrittenBytes(*clone), XWrittenBytes(geometry));
    EXPECT_EQ(clone->GetBoundingBox(), geometry.GetBoundingBox());
}
