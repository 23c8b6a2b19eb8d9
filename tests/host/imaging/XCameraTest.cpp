#include "host/imaging/XCamera.h"

#include "host/core/XStream.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

namespace
{
void ExpectNear(const XMathVectorF3& inActual, const XMathVectorF3& inExpected,
                float inTolerance = 1e-5f)
{
    EXPECT_NEAR(inActual.x, inExpected.x, inTolerance);
    EXPECT_NEAR(inActual.y, inExpected.y, inTolerance);
    EXPECT_NEAR(inActual.z, inExpected.z, inTolerance);
}

XMathVectorF3 Column(const XMatrix_4x4<float>& inMatrix, int inColumn)
{
    return {inMatrix.At(0, inColumn), inMatrix.At(1, inColumn), inMatrix.At(2, inColumn)};
}
} // namespace

TEST(XCameraTest, DefaultCameraLooksFromMinusTenAlongPlusZ)
{
    const XCamera camera;
    EXPECT_EQ(camera.GetPosition(), XMathVectorF3(0, 0, -10));
    EXPECT_EQ(camera.GetLookAt(), XMathVectorF3(0, 0, 0));
    EXPECT_EQ(camera.GetUp(), XMathVectorF3(0, 1, 0));

    const XMatrix_4x4<float> toWorld = camera.GetCameraToWorld();
    // back = (0, 0, -1); right = up x back = (-1, 0, 0); up' = back x right = (0, 1, 0).
    EXPECT_EQ(toWorld.TransformVector({0, 0, -1}), XMathVectorF3(0, 0, 1));
    EXPECT_EQ(toWorld.TransformVector({1, 0, 0}), XMathVectorF3(-1, 0, 0));
    EXPECT_EQ(toWorld.TransformVector({0, 1, 0}), XMathVectorF3(0, 1, 0));
    EXPECT_EQ(toWorld.TransformPoint({0, 0, 0}), XMathVectorF3(0, 0, -10));
    EXPECT_EQ(toWorld.TransformPoint({0, 0, -10}), XMathVectorF3(0, 0, 0));
    EXPECT_EQ(toWorld[12], 0);
    EXPECT_EQ(toWorld[13], 0);
    EXPECT_EQ(toWorld[14], -10);
}

TEST(XCameraTest, HandWorkedFrames)
{
    // From +z: back = +z, right = y x z = +x, up' = z x x = +y.
    const XMatrix_4x4<float> front = XCamera({0, 0, 10}, {0, 0, 0}, {0, 1, 0}).GetCameraToWorld();
    EXPECT_EQ(front, XMatrix_4x4<float>::Translation(0, 0, 10));

    // From +x with z up: back = +x, right = z x x = +y, up' = x x y = +z.
    const XMatrix_4x4<float> side = XCamera({10, 0, 0}, {0, 0, 0}, {0, 0, 1}).GetCameraToWorld();
    EXPECT_EQ(Column(side, 0), XMathVectorF3(0, 1, 0));
    EXPECT_EQ(Column(side, 1), XMathVectorF3(0, 0, 1));
    EXPECT_EQ(Column(side, 2), XMathVectorF3(1, 0, 0));
    EXPECT_EQ(Column(side, 3), XMathVectorF3(10, 0, 0));

    // An up vector that is not perpendicular to the view is straightened.
    const XMatrix_4x4<float> tilted = XCamera({0, 0, 10}, {0, 0, 0}, {0, 1, 1}).GetCameraToWorld();
    ExpectNear(Column(tilted, 1), {0, 1, 0});
}

TEST(XCameraTest, CameraToWorldIsARightHandedOrthonormalFrameAimedAtTheTarget)
{
    std::mt19937 random(31);
    std::uniform_real_distribution<float> coordinate(-20, 20);
    for (int trial = 0; trial < 500; ++trial)
    {
        const XMathVectorF3 position(coordinate(random), coordinate(random), coordinate(random));
        const XMathVectorF3 lookAt(coordinate(random), coordinate(random), coordinate(random));
        const XMathVectorF3 up(coordinate(random), coordinate(random), coordinate(random));
        const XMathVectorF3 view = lookAt - position;
        if (view.Length() < 1 || Cross(up, view).Length() < 0.1f * up.Length() * view.Length())
        {
            continue;
        }
        const XMatrix_4x4<float> m = XCamera(position, lookAt, up).GetCameraToWorld();
        const XMathVectorF3 right = Column(m, 0);
        const XMathVectorF3 trueUp = Column(m, 1);
        const XMathVectorF3 back = Column(m, 2);
        EXPECT_NEAR(right.Length(), 1, 1e-5);
        EXPECT_NEAR(trueUp.Length(), 1, 1e-5);
        EXPECT_NEAR(back.Length(), 1, 1e-5);
        EXPECT_NEAR(Dot(right, trueUp), 0, 1e-5);
        EXPECT_NEAR(Dot(right, back), 0, 1e-5);
        EXPECT_NEAR(Dot(trueUp, back), 0, 1e-5);
        ExpectNear(Cross(right, trueUp), back);
        EXPECT_EQ(m.At(3, 0), 0);
        EXPECT_EQ(m.At(3, 1), 0);
        EXPECT_EQ(m.At(3, 2), 0);
        EXPECT_EQ(m.At(3, 3), 1);
        EXPECT_EQ(Column(m, 3), position);
        // The camera's -z axis passes through the target, and up' leans toward the given up.
        ExpectNear(m.TransformPoint({0, 0, -view.Length()}), lookAt, 1e-4f);
        EXPECT_GT(Dot(trueUp, up), 0);
        EXPECT_NEAR(Dot(right, up), 0, 1e-4 * up.Length());
    }
}

TEST(XCameraTest, DegenerateCamerasAreRejected)
{
    const float nan = std::numeric_limits<float>::quiet_NaN();
    EXPECT_THROW(XCamera({1, 2, 3}, {1, 2, 3}, {0, 1, 0}), XException);
    EXPECT_THROW(XCamera({0, 0, -10}, {0, 0, 0}, {0, 0, 1}), XException);
    EXPECT_THROW(XCamera({0, 0, -10}, {0, 0, 0}, {0, 0, 0}), XException);
    EXPECT_THROW(XCamera({0, nan, -10}, {0, 0, 0}, {0, 1, 0}), XException);
    EXPECT_NO_THROW(XCamera({0, 0, -10}, {0, 0, 0}, {0, 1e-3f, 1}));
}

TEST(XCameraTest, StreamHoldsNineFloats)
{
    const XCamera camera({1, 2, 3}, {-4, 5.5f, 6}, {0, 0, 2});
    XMemoryStream stream;
    camera.Write(stream);
    ASSERT_EQ(stream.GetBytes().size(), 36u);
    XMemoryStream values(stream.GetBytes());
    for (const float expected : {1.0f, 2.0f, 3.0f, -4.0f, 5.5f, 6.0f, 0.0f, 0.0f, 2.0f})
    {
        EXPECT_EQ(values.ReadFloat32S(), expected);
    }

    XMemoryStream in(stream.GetBytes());
    XCamera read;
    read.Read(in);
    EXPECT_EQ(read, camera);

    // A stored camera without a frame is refused and the camera keeps its values.
    XMemoryStream bad;
    for (const float value : {1.0f, 1.0f, 1.0f, 1.0f, 1.0f, 1.0f, 0.0f, 1.0f, 0.0f})
    {
        bad.WriteFloat32S(value);
    }
    XMemoryStream badIn(bad.GetBytes());
    XCamera kept;
    EXPECT_THROW(kept.Read(badIn), XException);
    EXPECT_EQ(kept, XCamera());
}
