#include "x-platform/core/XTransformable.h"
#include "host/core/XStream.h"
#include "x-platform/core/XRGBSpectrum.h"
#include "x-platform/core/XRay.h"

#include <gtest/gtest.h>

namespace
{
class XCountingTransformable : public XTransformable
{
public:
    void OnTransformChanged() override { ++notifications; }
    int notifications = 0;
};
} // namespace

TEST(XTransformableTest, KeepsTheInverseNotifiesAndStoresBothMatrices)
{
    XCountingTransformable placed;
    EXPECT_EQ(placed.GetObjectToWorld(), XMatrix_4x4<float>());
    EXPECT_EQ(placed.GetWorldToObject(), XMatrix_4x4<float>());

    const XMatrix_4x4<float> transform =
        XMatrix_4x4<float>::Translation(1, 2, 3) * XMatrix_4x4<float>::Scale(2, 4, 8);
    placed.SetTransform(transform);
    EXPECT_EQ(placed.notifications, 1);
    EXPECT_EQ(placed.GetObjectToWorld(), transform);
    const XMathVectorF3 back =
        placed.GetWorldToObject().TransformPoint(transform.TransformPoint(XMathVectorF3(1, 1, 1)));
    EXPECT_NEAR(back.x, 1, 1e-6);
    EXPECT_NEAR(back.y, 1, 1e-6);
    EXPECT_NEAR(back.z, 1, 1e-6);

    // The record: object-to-world, then the inverse, 32 float32; reading does not notify.
    XMemoryStream stream;
    placed.WriteTransform(stream);
    ASSERT_EQ(stream.GetBytes().size(), XTransformable::kTransformStreamSize);
    XCountingTransformable read;
    read.ReadTransform(stream);
    EXPECT_EQ(read.notifications, 0);
    EXPECT_EQ(read.GetObjectToWorld(), placed.GetObjectToWorld());
    EXPECT_EQ(read.GetWorldToObject(), placed.GetWorldToObject());
}

TEST(XTransformableTest, RayAndSpectrumArithmetic)
{
    const XRay ray(XMathVectorF3(1, 2, 3), XMathVectorF3(0, 0, -2));
    EXPECT_EQ(ray.tMin, 0);
    EXPECT_EQ(ray.tMax, std::numeric_limits<float>::max());
    EXPECT_EQ(ray.At(1.5f), XMathVectorF3(1, 2, 0));

    const XRGBSpectrum a(1, 2, 3);
    const XRGBSpectrum b(0.5f, 0.25f, 2);
    EXPECT_EQ(a + b, XRGBSpectrum(1.5f, 2.25f, 5));
    EXPECT_EQ(a * b, XRGBSpectrum(0.5f, 0.5f, 6));
    EXPECT_EQ(a * 2.0f, XRGBSpectrum(2, 4, 6));
    EXPECT_EQ(0.5f * a, XRGBSpectrum(0.5f, 1, 1.5f));
    XRGBSpectrum sum;
    sum += a;
    sum *= b;
    EXPECT_EQ(sum, a * b);
}
