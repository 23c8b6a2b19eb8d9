#include "x-platform/rendering/XPerspectiveCamera.h"
#include "host/core/XException.h"
#include "host/imaging/XCamera.h"
#include "x-platform/core/XRay.h"
#include "x-platform/image/XFilm.h"
#include "x-platform/image/XImageSampler.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

namespace
{
// The tracer's camera set-up: hither 1e-6, yon 50, lens parameters 1, 40 degrees, and the screen
// window (-a, -1) to (a, 1) with a = x resolution / y resolution.
constexpr float kHither = 1.0e-6f;
constexpr float kYon = 50.0f;
constexpr float kFieldOfView = 40.0f;

XPerspectiveCamera MakeCamera(const XFilm& inFilm,
                              const XMatrix_4x4<float>& inCameraToWorld = XMatrix_4x4<float>())
{
    const float a = inFilm.GetResolutionX() / inFilm.GetResolutionY();
    return XPerspectiveCamera(inCameraToWorld, XRectF(-a, -1.0f, a, 1.0f), kHither, kYon, 1.0f,
                              1.0f, kFieldOfView, inFilm);
}

XRay RayAt(const XPerspectiveCamera& inCamera, float inX, float inY)
{
    ImageSample sample;
    sample.imageX = inX;
    sample.imageY = inY;
    XRay ray;
    EXPECT_EQ(inCamera.GenerateRay(sample, ray), 1.0f);
    EXPECT_EQ(ray.tMin, 0.0f);
    return ray;
}

// Angle in degrees between a ray direction and the camera's viewing axis (-z).
double DegreesOffAxis(const XMathVectorF3& inDirection)
{
    const double cosine = -inDirection.z / inDirection.Length();
    return std::acos(std::min(1.0, cosine)) * 180.0 / std::numbers::pi;
}

void ExpectNear(const XMathVectorF3& inActual, const XMathVectorF3& inExpected, float inTolerance)
{
    EXPECT_NEAR(inActual.x, inExpected.x, inTolerance);
    EXPECT_NEAR(inActual.y, inExpected.y, inTolerance);
    EXPECT_NEAR(inActual.z, inExpected.z, inTolerance);
}
} // namespace

TEST(XPerspectiveCameraTest, CentreOfASquareFilmLooksAlongTheViewingAxis)
{
    const XFilm film(64.0f, 64.0f, nullptr);
    const XRay ray = RayAt(MakeCamera(film), 32.0f, 32.0f);
    // The ray starts on the plane z = -1 of camera space.
    ExpectNear(ray.origin, {0.0f, 0.0f, -1.0f}, 1.0e-5f);
    ExpectNear(ray.direction, {0.0f, 0.0f, -1.0f}, 1.0e-6f);
    EXPECT_FLOAT_EQ(ray.tMax, kYon - kHither);

    // Through a look-at frame: along the direction from the position to the point looked at.
    const XCamera viewer({1.0f, 2.0f, 3.0f}, {4.0f, 2.0f, -1.0f}, {0.0f, 1.0f, 0.0f});
    const XRay world = RayAt(MakeCamera(film, viewer.GetCameraToWorld()), 32.0f, 32.0f);
    ExpectNear(world.direction, {0.6f, 0.0f, -0.8f}, 1.0e-5f);
    ExpectNear(world.origin, {1.6f, 2.0f, 2.2f}, 1.0e-5f);
    EXPECT_FLOAT_EQ(world.tMax, kYon - kHither);
}

TEST(XPerspectiveCameraTest, RasterCornersMapToTheScreenWindowCorners)
{
    const XFilm film(100.0f, 50.0f, nullptr);
    const XPerspectiveCamera camera = MakeCamera(film);
    // Raster (0, 0) is the window's (-a, -1), raster (resolution) its (a, 1); a = 2.
    ExpectNear(camera.GetRasterToScreen().TransformPoint({0.0f, 0.0f, 0.0f}), {-2.0f, -1.0f, 0.0f},
               1.0e-6f);
    ExpectNear(camera.GetRasterToScreen().TransformPoint({100.0f, 50.0f, 0.0f}), {2.0f, 1.0f, 0.0f},
               1.0e-6f);
    ExpectNear(camera.GetRasterToScreen().TransformPoint({100.0f, 0.0f, 0.0f}), {2.0f, -1.0f, 0.0f},
               1.0e-6f);
    ExpectNear(camera.GetScreenToRaster().TransformPoint({0.0f, 0.0f, 0.0f}), {50.0f, 25.0f, 0.0f},
               1.0e-4f);

    // So raster row 0 is the bottom of the view and column 0 its left.
    const XRay lowerLeft = RayAt(camera, 0.0f, 0.0f);
    EXPECT_LT(lowerLeft.direction.x, 0.0f);
    EXPECT_LT(lowerLeft.direction.y, 0.0f);
    const XRay upperRight = RayAt(camera, 100.0f, 50.0f);
    EXPECT_GT(upperRight.direction.x, 0.0f);
    EXPECT_GT(upperRight.direction.y, 0.0f);
    // The corner rays pass through (+-a t, +-t, -1) with t = tan 20 degrees.
    const float t = static_cast<float>(std::tan(20.0 * std::numbers::pi / 180.0));
    ExpectNear(upperRight.origin, {2.0f * t, t, -1.0f}, 1.0e-5f);
    ExpectNear(lowerLeft.origin, {-2.0f * t, -t, -1.0f}, 1.0e-5f);
}

TEST(XPerspectiveCameraTest, AWideFilmWidensOnlyTheHorizontalField)
{
    const XFilm square(100.0f, 100.0f, nullptr);
    const XFilm wide(200.0f, 100.0f, nullptr);
    const XPerspectiveCamera squareCamera = MakeCamera(square);
    const XPerspectiveCamera wideCamera = MakeCamera(wide);

    // Vertical half field: 20 degrees for both.
    EXPECT_NEAR(DegreesOffAxis(RayAt(squareCamera, 50.0f, 100.0f).direction), 20.0, 1.0e-4);
    EXPECT_NEAR(DegreesOffAxis(RayAt(wideCamera, 100.0f, 100.0f).direction), 20.0, 1.0e-4);
    EXPECT_NEAR(DegreesOffAxis(RayAt(wideCamera, 100.0f, 0.0f).direction), 20.0, 1.0e-4);
    // Horizontal half field: 20 degrees square, atan(2 tan 20) wide.
    const double wideHalf =
        std::atan(2.0 * std::tan(20.0 * std::numbers::pi / 180.0)) * 180.0 / std::numbers::pi;
    EXPECT_NEAR(DegreesOffAxis(RayAt(squareCamera, 100.0f, 50.0f).direction), 20.0, 1.0e-4);
    EXPECT_NEAR(DegreesOffAxis(RayAt(wideCamera, 200.0f, 50.0f).direction), wideHalf, 1.0e-4);
    EXPECT_NEAR(DegreesOffAxis(RayAt(wideCamera, 0.0f, 50.0f).direction), wideHalf, 1.0e-4);
}

TEST(XPerspectiveCameraTest, TMaxIsPositiveAndReachesTheFarPlaneWhateverTheDirection)
{
    const XFilm film(40.0f, 30.0f, nullptr);
    const XCamera viewers[] = {
        XCamera(),
        XCamera({0.0f, 0.0f, 0.0f}, {0.0f, 0.0f, 5.0f}, {0.0f, 1.0f, 0.0f}),
        XCamera({3.0f, -2.0f, 1.0f}, {-1.0f, 4.0f, 0.5f}, {0.0f, 0.0f, 1.0f}),
    };
    for (const XCamera& viewer : viewers)
    {
        const XPerspectiveCamera camera = MakeCamera(film, viewer.GetCameraToWorld());
        for (const float x : {0.0f, 7.5f, 20.0f, 40.0f})
        {
            for (const float y : {0.0f, 15.0f, 30.0f})
            {
                const XRay ray = RayAt(camera, x, y);
                EXPECT_GT(ray.tMax, 0.0f) << x << ", " << y;
                EXPECT_NEAR(ray.direction.Length(), 1.0f, 1.0e-6f);
                // The far end lies yon - hither beyond the start plane z = -1, in camera space.
                const XMathVectorF3 end =
                    camera.GetWorldToCamera().TransformPoint(ray.At(ray.tMax));
                EXPECT_NEAR(end.z, -1.0f - (kYon - kHither), 1.0e-3f) << x << ", " << y;
            }
        }
    }
}

TEST(XPerspectiveCameraTest, PerspectiveMatrixAndChainOfSpaces)
{
    const XMatrix_4x4<float> p = XPerspectiveCamera::Perspective(90.0f, 2.0f, 1.0f, 3.0f);
    for (int i = 0; i < 16; ++i)
    {
        switch (i)
        {
        case 0:
            EXPECT_FLOAT_EQ(p[i], 0.5f);
            break;
        case 5:
            EXPECT_FLOAT_EQ(p[i], 1.0f);
            break;
        case 10:
            EXPECT_EQ(p[i], -2.0f);
            break;
        case 11:
            EXPECT_EQ(p[i], -1.0f);
            break;
        case 14:
            EXPECT_EQ(p[i], -3.0f);
            break;
        default:
            EXPECT_EQ(p[i], 0.0f) << i;
        }
    }

    const XFilm film(64.0f, 32.0f, nullptr);
    const XCamera viewer({0.0f, 1.0f, 2.0f}, {1.0f, 1.0f, 0.0f}, {0.0f, 1.0f, 0.0f});
    const XPerspectiveCamera camera = MakeCamera(film, viewer.GetCameraToWorld());
    EXPECT_EQ(&camera.GetFilm(), &film);
    EXPECT_EQ(camera.GetHither(), kHither);
    EXPECT_EQ(camera.GetYon(), kYon);
    EXPECT_EQ(camera.GetLensParameter1(), 1.0f);
    EXPECT_EQ(camera.GetLensParameter2(), 1.0f);
    // The projection's aspect is 1; the window carries the film's.
    EXPECT_EQ(camera.GetCameraToScreen()[0], camera.GetCameraToScreen()[5]);
    // World to camera undoes camera to world; world to screen is the projection after it.
    const XMathVectorF3 point(0.3f, -0.7f, 1.9f);
    ExpectNear(
        camera.GetWorldToCamera().TransformPoint(camera.GetCameraToWorld().TransformPoint(point)),
        point, 1.0e-5f);
    ExpectNear(
        camera.GetWorldToScreen().TransformPoint(point),
        camera.GetCameraToScreen().TransformPoint(camera.GetWorldToCamera().TransformPoint(point)),
        1.0e-5f);

    EXPECT_THROW(XPerspectiveCamera(XMatrix_4x4<float>(), XRectF(-1, -1, 1, 1), kHither, kYon, 1.0f,
                                    1.0f, 0.0f, film),
                 XException);
    EXPECT_THROW(XPerspectiveCamera(XMatrix_4x4<float>(), XRectF(-1, -1, 1, 1), kHither, kYon, 1.0f,
                                    1.0f, 180.0f, film),
                 XException);
}
