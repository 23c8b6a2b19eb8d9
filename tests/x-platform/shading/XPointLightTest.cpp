#include "x-platform/shading/XPointLight.h"
#include "tests/scenes/XStreamTestSupport.h"
#include "x-platform/rendering/XSceneClassTable.h"

#include <gtest/gtest.h>

TEST(XPointLightTest, PositionFollowsTheTransform)
{
    const XPointLight dark;
    EXPECT_EQ(dark.GetPosition(), XMathVectorF3(0, 0, 0));
    EXPECT_EQ(dark.GetIntensity(), XRGBSpectrum(0, 0, 0));

    XPointLight light(XMatrix_4x4<float>::Translation(1, 2, 3), XRGBSpectrum(4, 5, 6));
    EXPECT_EQ(light.GetPosition(), XMathVectorF3(1, 2, 3));
    XRGBSpectrum intensity;
    XMathVectorF3 toLight;
    const XRGBSpectrum& returned = light.SampleIncident(intensity, XMathVectorF3(1, 0, 0), toLight);
    EXPECT_EQ(&returned, &intensity);
    EXPECT_EQ(toLight, XMathVectorF3(0, 2, 3));  // not normalised: its length is the distance
    EXPECT_EQ(intensity, XRGBSpectrum(4, 5, 6)); // no fall-off

    // At the light's own position: a zero vector and the full intensity.
    light.SampleIncident(intensity, XMathVectorF3(1, 2, 3), toLight);
    EXPECT_EQ(toLight, XMathVectorF3(0, 0, 0));
    EXPECT_EQ(intensity, XRGBSpectrum(4, 5, 6));

    // A new transform moves the light; the form with a sample value ignores it.
    light.SetTransform(XMatrix_4x4<float>::Rotation(XMathVectorF3(0, 0, 1), 90) *
                       XMatrix_4x4<float>::Translation(1, 0, 0));
    EXPECT_NEAR(light.GetPosition().x, 0, 1e-6);
    EXPECT_NEAR(light.GetPosition().y, 1, 1e-6);
    XMathVectorF3 sampled;
    light.SampleIncident(intensity, XMathVectorF3(0, 0, 0), sampled, 0.75f);
    EXPECT_EQ(sampled, light.GetPosition());
    const XLight& base = light;
    base.SampleIncident(intensity, XMathVectorF3(0, 0, 0), sampled, 0.1f);
    EXPECT_EQ(sampled, light.GetPosition());
}

TEST(XPointLightTest, StreamFormStoresThePositionAsDoubles)
{
    XRegisterSceneClasses();
    const XPointLight light(XMatrix_4x4<float>::Translation(0.1f, -2.7f, 1e6f),
                            XRGBSpectrum(0.5f, 1, 2));
    const std::vector<std::uint8_t> bytes = XWrittenBytes(light);
    ASSERT_EQ(bytes.size(), light.GetStreamSize());
    // 14930, the transform record, 14931, three float64, three float32.
    ASSERT_EQ(bytes.size(), 8u + 128u + 8u + 24u + 12u);
    std::uint32_t word = 0;
    std::memcpy(&word, bytes.data() + 136, 4);
    EXPECT_EQ(word, 14931u);
    double y = 0;
    std::memcpy(&y, bytes.data() + 144 + 8, 8);
    EXPECT_EQ(y, static_cast<double>(-2.7f));

    XPointLight read;
    ASSERT_EQ(XReadErrorCode(bytes, read), 0);
    EXPECT_EQ(read.GetPosition(), light.GetPosition());
    EXPECT_EQ(read.GetIntensity(), light.GetIntensity());
    EXPECT_EQ(read.GetObjectToWorld(), light.GetObjectToWorld());
    EXPECT_EQ(read.GetWorldToObject(), light.GetWorldToObject());

    // Through the registry, polymorphically, and as a clone.
    XMemoryStream stream;
    stream.WriteObject(&light);
    const std::unique_ptr<XLight> object = stream.ReadObjectAs<XLight>();
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(XWrittenBytes(*object), bytes);
    EXPECT_EQ(XWrittenBytes(*XClone(light)), bytes);

    std::vector<std::uint8_t> wrongBase = bytes;
    XPutWord(wrongBase, 0, 14931);
    EXPECT_EQ(XReadErrorCode(wrongBase, read), 1005);
    std::vector<std::uint8_t> wrongClass = bytes;
    XPutWord(wrongClass, 136, 14930);
    EXPECT_EQ(XReadErrorCode(wrongClass, read), 1005);
    std::vector<std::uint8_t> tooNew = bytes;
    XPutWord(tooNew, 140, 65536);
    EXPECT_EQ(XReadErrorCode(tooNew, read), 1015);
    std::vector<std::uint8_t> baseTooNew = bytes;
    XPutWord(baseTooNew, 4, 65536);
    EXPECT_EQ(XReadErrorCode(baseTooNew, read), 1015);
}
