#include "x-platform/geometry/XSurface.h"
#include "tests/scenes/XStreamTestSupport.h"
#include "tests/scenes/XTestMaterial.h"
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

namespace
{
XSurface MakeSurface(std::vector<XRef<XGeometry>> inGeometries,
                     const XMatrix_4x4<float>& inTransform = XMatrix_4x4<float>())
{
    XSurface surface;
    surface.SetGeometries(std::move(inGeometries));
    surface.SetTransform(inTransform);
    return surface;
}

void ExpectNear(const XMathVectorF3& inActual, const XMathVectorF3& inExpected, float inTolerance)
{
    EXPECT_NEAR(inActual.x, inExpected.x, inTolerance);
    EXPECT_NEAR(inActual.y, inExpected.y, inTolerance);
    EXPECT_NEAR(inActual.z, inExpected.z, inTolerance);
}
} // namespace

TEST(XSurfaceTest, CarriesTheRayToObjectSpaceAndTheHitBack)
{
    const XRef<XMaterial> material = XMakeRef<XTestMaterial>(XRGBSpectrum(1, 0, 0));
    XSurface surface =
        MakeSurface({XMakeRef<XSphere>(1.0f)}, XMatrix_4x4<float>::Translation(0, 0, 5));
    surface.SetMaterial(material);
    EXPECT_EQ(surface.GetBoundingBox(),
              XBoundingBox(XMathVectorF3(-1, -1, 4), XMathVectorF3(1, 1, 6)));

    XRay ray(XMathVectorF3(0, 0, 0), XMathVectorF3(0, 0, 1), 0, 100);
    XRayHit hit;
    ASSERT_TRUE(surface.Intersect(ray, hit));
    EXPECT_EQ(hit.t, 4);
    EXPECT_EQ(ray.tMax, 4);
    EXPECT_EQ(hit.point, XMathVectorF3(0, 0, 4));
    EXPECT_EQ(hit.objectPoint, XMathVectorF3(0, 0, -1));
    EXPECT_EQ(hit.normal, XMathVectorF3(0, 0, -1));
    EXPECT_EQ(hit.material, material);
    EXPECT_EQ(material->GetReferenceCount(), 3); // this handle, the surface's and the record's
    // Hitting the same surface again keeps the one reference the record holds.
    XRay again(XMathVectorF3(0, 0, 0), XMathVectorF3(0, 0, 1), 0, 100);
    ASSERT_TRUE(surface.Intersect(again, hit));
    EXPECT_EQ(material->GetReferenceCount(), 3);

    // A miss changes neither the ray nor the record.
    XRay miss(XMathVectorF3(3, 0, 0), XMathVectorF3(0, 0, 1), 0, 100);
    hit.t = 17;
    EXPECT_FALSE(surface.Intersect(miss, hit));
    EXPECT_EQ(miss.tMax, 100);
    EXPECT_EQ(hit.t, 17);

    // A rotated placement: the normal is carried to world space.
    XSurface rotated = MakeSurface({XMakeRef<XDisk>(1.0f)},
                                   XMatrix_4x4<float>::Rotation(XMathVectorF3(0, 1, 0), 90));
    XRay side(XMathVectorF3(5, 0, 0.25f), XMathVectorF3(-1, 0, 0), 0, 100);
    ASSERT_TRUE(rotated.Intersect(side, hit));
    EXPECT_NEAR(hit.t, 5, 1e-5);
    ExpectNear(hit.normal, XMathVectorF3(1, 0, 0), 1e-6f);
    ExpectNear(hit.point, XMathVectorF3(0, 0, 0.25f), 1e-5f);
}

TEST(XSurfaceTest, ScalingPlacementsGiveWorldParameters)
{
    // Uniform scale 2: the sphere of radius 1 becomes radius 2.
    XSurface uniform = MakeSurface({XMakeRef<XSphere>(1.0f)}, XMatrix_4x4<float>::Scale(2, 2, 2));
    XRay ray(XMathVectorF3(0, 0, -10), XMathVectorF3(0, 0, 1), 0, 100);
    XRayHit hit;
    ASSERT_TRUE(uniform.Intersect(ray, hit));
    EXPECT_FLOAT_EQ(hit.t, 8);
    EXPECT_FLOAT_EQ(ray.tMax, 8);
    ExpectNear(hit.point, XMathVectorF3(0, 0, -2), 1e-6f);

    // The interval scales with the direction: a world tMax short of the hit keeps the far
    // sphere's acceptance rule but a ray from inside respects it.
    XRay inside(XMathVectorF3(0, 0, 0), XMathVectorF3(0, 0, 1), 0, 1.5f);
    EXPECT_FALSE(uniform.Intersect(inside, hit));
    XRay insideLong(XMathVectorF3(0, 0, 0), XMathVectorF3(0, 0, 1), 0, 2.5f);
    ASSERT_TRUE(uniform.Intersect(insideLong, hit));
    EXPECT_FLOAT_EQ(hit.t, 2);

    // A non-uniform scale (2, 1, 3): an ellipsoid.
    XSurface ellipsoid = MakeSurface({XMakeRef<XSphere>(1.0f)}, XMatrix_4x4<float>::Scale(2, 1, 3));
    XRay alongX(XMathVectorF3(-10, 0, 0), XMathVectorF3(1, 0, 0), 0, 100);
    ASSERT_TRUE(ellipsoid.Intersect(alongX, hit));
    EXPECT_FLOAT_EQ(hit.t, 8);
    XRay alongZ(XMathVectorF3(0, 0, -10), XMathVectorF3(0, 0, 1), 0, 100);
    ASSERT_TRUE(ellipsoid.Intersect(alongZ, hit));
    EXPECT_NEAR(hit.t, 7, 1e-5);
    // At the world point (sqrt 2, sqrt 2 / 2, 0) the ellipsoid's normal is (x / 4, y / 1, 0),
    // i.e. along (1, 2, 0); a ray coming back along it hits there at t = 5.
    const XMathVectorF3 point(std::sqrt(2.0f), std::sqrt(2.0f) / 2, 0);
    const XMathVectorF3 normal = XMathVectorF3(1, 2, 0).Normalized();
    XRay back(point + normal * 5.0f, -normal, 0, 100);
    ASSERT_TRUE(ellipsoid.Intersect(back, hit));
    EXPECT_NEAR(hit.t, 5, 1e-5);
    ExpectNear(hit.point, point, 1e-5f);
    ExpectNear(hit.normal, normal, 1e-5f);
}

TEST(XSurfaceTest, FirstGeometryInListOrderWins)
{
    // The small sphere is listed first: its hit at t = 9 wins over the nearer large one at 8.
    XSurface surface = MakeSurface({XMakeRef<XSphere>(1.0f), XMakeRef<XSphere>(2.0f)});
    XRay ray(XMathVectorF3(0, 0, -10), XMathVectorF3(0, 0, 1), 0, 100);
    XRayHit hit;
    ASSERT_TRUE(surface.Intersect(ray, hit));
    EXPECT_EQ(hit.t, 9);
    // A ray that misses the first geometry reaches the second.
    XRay outer(XMathVectorF3(1.5f, 0, -10), XMathVectorF3(0, 0, 1), 0, 100);
    ASSERT_TRUE(surface.Intersect(outer, hit));
    EXPECT_NEAR(hit.t, 10 - std::sqrt(4 - 2.25f), 1e-5);
    EXPECT_EQ(surface.GetBoundingBox(),
              XBoundingBox(XMathVectorF3(-2, -2, -2), XMathVectorF3(2, 2, 2)));
}

TEST(XSurfaceTest, OcclusionUsesTheTestsAndLeavesTheRayAlone)
{
    const XSurface sphere = MakeSurface({XMakeRef<XSphere>(1.0f)});
    const XRay ray(XMathVectorF3(0, 0, -10), XMathVectorF3(0, 0, 1), 0, 100);
    EXPECT_TRUE(sphere.IntersectP(ray));
    EXPECT_EQ(ray.tMax, 100);
    EXPECT_FALSE(sphere.IntersectP(XRay(XMathVectorF3(5, 0, -10), XMathVectorF3(0, 0, 1))));
    // The cone's test never occludes; the disk's always does.
    EXPECT_FALSE(MakeSurface({XMakeRef<XCone>(1.0f, 1.0f)}).IntersectP(ray));
    EXPECT_TRUE(MakeSurface({XMakeRef<XDisk>(1.0f)})
                    .IntersectP(XRay(XMathVectorF3(9, 9, 9), XMathVectorF3(1, 0, 0))));
    // In a list the cone's test still shortens the interval that the next geometry sees: the
    // cylinder's bottom cap at t = 9.5 occludes alone, but not behind the cone's base there.
    const XRay offAxis(XMathVectorF3(0.2f, 0, -10), XMathVectorF3(0, 0, 1), 0, 100);
    EXPECT_TRUE(MakeSurface({XMakeRef<XCylinder>(0.5f)}).IntersectP(offAxis));
    EXPECT_FALSE(
        MakeSurface({XMakeRef<XCone>(1.0f, 1.0f), XMakeRef<XCylinder>(0.5f)}).IntersectP(offAxis));
}

TEST(XSurfaceTest, BoundsFollowTheGeometriesAndThePlacement)
{
    // No geometry: the point at the origin, whatever the placement, and no hit.
    XSurface empty;
    empty.SetTransform(XMatrix_4x4<float>::Translation(5, 5, 5));
    EXPECT_EQ(empty.GetBoundingBox(), XBoundingBox(XMathVectorF3(), XMathVectorF3()));
    XRay ray(XMathVectorF3(0, 0, -10), XMathVectorF3(0, 0, 1), 0, 100);
    XRayHit hit;
    EXPECT_FALSE(empty.Intersect(ray, hit));

    // The union of the object boxes, transformed; a new transform moves it.
    XSurface surface = MakeSurface({XMakeRef<XCylinder>(0.5f), XMakeRef<XDisk>(2.0f, 1.0f)},
                                   XMatrix_4x4<float>::Translation(1, 2, 3));
    EXPECT_EQ(surface.GetBoundingBox(),
              XBoundingBox(XMathVectorF3(-1, 0, 2.5f), XMathVectorF3(3, 4, 4)));
    surface.SetTransform(XMatrix_4x4<float>::Scale(2, 2, 2));
    EXPECT_EQ(surface.GetBoundingBox(),
              XBoundingBox(XMathVectorF3(-4, -4, -1), XMathVectorF3(4, 4, 2)));
}

TEST(XSurfaceTest, CopiesShareGeometriesAndMaterial)
{
    const XRef<XGeometry> sphere = XMakeRef<XSphere>(1.0f);
    const XRef<XMaterial> material = XMakeRef<XTestMaterial>();
    XSurface surface = MakeSurface({sphere});
    surface.SetMaterial(material);
    surface.SetFlag(7);
    surface.SetEnabled(false);
    {
        const XSurface copy(surface);
        EXPECT_EQ(sphere->GetReferenceCount(), 3);
        EXPECT_EQ(material->GetReferenceCount(), 3);
        EXPECT_EQ(copy.GetFlag(), 7);
        EXPECT_FALSE(copy.IsEnabled());
        EXPECT_EQ(copy.GetBoundingBox(), surface.GetBoundingBox());
    }
    EXPECT_EQ(sphere->GetReferenceCount(), 2);
    surface.SetMaterial(material); // the same reference: nothing changes
    EXPECT_EQ(material->GetReferenceCount(), 2);
}

TEST(XSurfaceTest, StreamFormRoundTrips)
{
    XRegisterSceneClasses();
    XRegisterTestMaterial();
    XSurface surface = MakeSurface({XMakeRef<XSphere>(1.5f), XMakeRef<XCone>(1.0f, 2.0f),
                                    XMakeRef<XCylinder>(0.25f), XMakeRef<XDisk>(3.0f)},
                                   XMatrix_4x4<float>::Translation(1, 2, 3) *
                                       XMatrix_4x4<float>::Rotation(XMathVectorF3(1, 1, 0), 30));
    surface.SetMaterial(XMakeRef<XTestMaterial>(XRGBSpectrum(0.25f, 0.5f, 0.75f)));
    surface.SetFlag(9);

    const std::vector<std::uint8_t> bytes = XWrittenBytes(surface);
    ASSERT_EQ(bytes.size(), surface.GetStreamSize());
    // Version record, then the transform record: object-to-world and its inverse.
    float matrix[16];
    std::memcpy(matrix, bytes.data() + 8, sizeof matrix);
    EXPECT_EQ(XMatrix_4x4<float>(matrix), surface.GetObjectToWorld());
    std::memcpy(matrix, bytes.data() + 8 + 64, sizeof matrix);
    EXPECT_EQ(XMatrix_4x4<float>(matrix), surface.GetWorldToObject());
    EXPECT_EQ(bytes.back(), 9);

    XSurface read;
    ASSERT_EQ(XReadErrorCode(bytes, read), 0);
    EXPECT_EQ(XWrittenBytes(read), bytes);
    EXPECT_EQ(read.GetObjectToWorld(), surface.GetObjectToWorld());
    EXPECT_EQ(read.GetWorldToObject(), surface.GetWorldToObject());
    EXPECT_EQ(read.GetBoundingBox(), surface.GetBoundingBox());
    ASSERT_EQ(read.GetGeometries().size(), 4u);
    EXPECT_EQ(read.GetGeometries()[1]->GetClassID(), XCone::kClassID);
    ASSERT_TRUE(read.GetMaterial());
    EXPECT_EQ(static_cast<const XTestMaterial&>(*read.GetMaterial()).GetColour(),
              XRGBSpectrum(0.25f, 0.5f, 0.75f));
    EXPECT_EQ(read.GetFlag(), 9);

    // Without a material the record holds a null object.
    XSurface bare = MakeSurface({XMakeRef<XSphere>(1.0f)});
    const std::vector<std::uint8_t> bareBytes = XWrittenBytes(bare);
    EXPECT_EQ(bareBytes.size(), bare.GetStreamSize());
    XSurface bareRead;
    ASSERT_EQ(XReadErrorCode(bareBytes, bareRead), 0);
    EXPECT_FALSE(bareRead.GetMaterial());

    std::vector<std::uint8_t> wrong = bytes;
    XPutWord(wrong, 0, XSphere::kClassID);
    EXPECT_EQ(XReadErrorCode(wrong, read), 1005);
    std::vector<std::uint8_t> tooNew = bytes;
    XPutWord(tooNew, 4, 65536);
    EXPECT_EQ(XReadErrorCode(tooNew, read), 1015);
}
