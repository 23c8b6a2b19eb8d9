#include "x-platform/shading/XPlasticMaterial.h"
#include "tests/scenes/XStreamTestSupport.h"
#include "x-platform/geometry/XRayHit.h"
#include "x-platform/rendering/XSceneClassTable.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

namespace
{
XRayHit HitWithNormal(const XMathVectorF3& inNormal)
{
    XRayHit hit;
    hit.normal = inNormal;
    return hit;
}

void ExpectNear(const XRGBSpectrum& inActual, const XRGBSpectrum& inExpected)
{
    EXPECT_NEAR(inActual.r, inExpected.r, 1e-6f);
    EXPECT_NEAR(inActual.g, inExpected.g, 1e-6f);
    EXPECT_NEAR(inActual.b, inExpected.b, 1e-6f);
}
} // namespace

TEST(XPlasticMaterialTest, ShadesWithAScaledDiffuseTermAndAHighlight)
{
    // colour (1, 0.5, 0.25), exponent 2, kd 0.5, ks 0.25, ka 0.25, scale 2: diffuse = 0.5
    // colour, specular = 0.25 colour, ambient = 0.25 colour, scale = (1 - 0.25) 2 = 1.5.
    const XRGBSpectrum colour(1.0f, 0.5f, 0.25f);
    const XPlasticMaterial plastic(colour, 2.0f, 0.5f, 0.25f, 0.25f, 2.0f);
    EXPECT_EQ(plastic.GetDiffuse(), XRGBSpectrum(0.5f, 0.25f, 0.125f));
    EXPECT_EQ(plastic.GetSpecular(), XRGBSpectrum(0.25f, 0.125f, 0.0625f));
    EXPECT_EQ(plastic.GetAmbient(), XRGBSpectrum(0.25f, 0.125f, 0.0625f));
    EXPECT_EQ(plastic.GetExponent(), 2.0f);
    EXPECT_EQ(plastic.GetScale(), 1.5f);

    const XRayHit hit = HitWithNormal(XMathVectorF3(0, 0, 1));
    XRGBSpectrum result;
    // L = (0, 0.6, 0.8): c = L . n = 0.8 and r = L - 2 c n = (0, 0.6, -0.8), already unit.
    const XMathVectorF3 toLight(0, 0.6f, 0.8f);
    // A viewer along r: r . v = 1, so the highlight is the full specular colour.
    plastic.Shade(result, XMathVectorF3(0, 0.6f, -0.8f), toLight, hit);
    ExpectNear(result, XRGBSpectrum(1.5f * (0.5f * 0.8f + 0.25f), 1.5f * (0.25f * 0.8f + 0.125f),
                                    1.5f * (0.125f * 0.8f + 0.0625f)));
    // A viewer along the normal: r . v = -0.8, squared 0.64.
    plastic.Shade(result, XMathVectorF3(0, 0, 1), toLight, hit);
    ExpectNear(result, XRGBSpectrum(1.5f * (0.5f * 0.8f + 0.25f * 0.64f),
                                    1.5f * (0.25f * 0.8f + 0.125f * 0.64f),
                                    1.5f * (0.125f * 0.8f + 0.0625f * 0.64f)));
    // The reflected vector is normalised even when L is not: L = 2 (0, 0.6, 0.8).
    plastic.Shade(result, XMathVectorF3(0, 0.6f, -0.8f), toLight * 2.0f, hit);
    ExpectNear(result, XRGBSpectrum(1.5f * (0.5f * 1.6f + 0.25f), 1.5f * (0.25f * 1.6f + 0.125f),
                                    1.5f * (0.125f * 1.6f + 0.0625f)));

    // An odd exponent keeps the sign of r . v < 0; a fractional one makes it not a number.
    const XPlasticMaterial odd(colour, 3.0f, 0.0f, 1.0f, 0.0f, 1.0f);
    odd.Shade(result, XMathVectorF3(0, 0, 1), toLight, hit);
    ExpectNear(result, XRGBSpectrum(-0.512f, -0.256f, -0.128f));
    const XPlasticMaterial fractional(colour, 2.5f, 0.0f, 1.0f, 0.0f, 1.0f);
    fractional.Shade(result, XMathVectorF3(0, 0, 1), toLight, hit);
    EXPECT_TRUE(std::isnan(result.r));

    plastic.GetDiffuseColour(result, hit);
    EXPECT_EQ(result, XRGBSpectrum(0.75f, 0.375f, 0.1875f));
    plastic.GetSpecularColour(result, hit);
    EXPECT_EQ(result, XRGBSpectrum(0.375f, 0.1875f, 0.09375f));
    plastic.GetAmbientColour(result, hit); // not scaled
    EXPECT_EQ(result, XRGBSpectrum(0.25f, 0.125f, 0.0625f));

    // The default material shades to black.
    const XPlasticMaterial black;
    black.Shade(result, XMathVectorF3(0, 0, 1), toLight, hit);
    EXPECT_EQ(result, XRGBSpectrum(0, 0, 0));
}

TEST(XPlasticMaterialTest, StoresThreeColoursTheExponentAndTheScale)
{
    XRegisterSceneClasses();
    const XPlasticMaterial plastic(XRGBSpectrum(1.0f, 0.5f, 0.25f), 20.0f, 0.5f, 0.25f, 0.25f,
                                   2.0f);
    const std::vector<std::uint8_t> bytes = XWrittenBytes(plastic);
    ASSERT_EQ(bytes.size(), 16u + 44u);
    EXPECT_EQ(plastic.GetStreamSize(), bytes.size());
    float fields[11] = {};
    std::memcpy(fields, bytes.data() + 16, sizeof(fields));
    const float expected[11] = {0.5f,  0.25f,  0.125f,  0.25f, 0.125f, 0.0625f,
                                0.25f, 0.125f, 0.0625f, 20.0f, 1.5f};
    for (int i = 0; i < 11; ++i)
    {
        EXPECT_EQ(fields[i], expected[i]) << i;
    }

    XPlasticMaterial read;
    ASSERT_EQ(XReadErrorCode(bytes, read), 0);
    EXPECT_EQ(XWrittenBytes(read), bytes);
    EXPECT_EQ(XWrittenBytes(*XClone(plastic)), bytes);
    XMemoryStream stream;
    stream.WriteObject(&plastic);
    const std::unique_ptr<XMaterial> object = stream.ReadObjectAs<XMaterial>();
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(XWrittenBytes(*object), bytes);

    std::vector<std::uint8_t> wrongBase = bytes;
    XPutWord(wrongBase, 0, 14948);
    EXPECT_EQ(XReadErrorCode(wrongBase, read), 1005);
    std::vector<std::uint8_t> wrongClass = bytes;
    XPutWord(wrongClass, 8, 14949);
    EXPECT_EQ(XReadErrorCode(wrongClass, read), 1005);
    std::vector<std::uint8_t> tooNew = bytes;
    XPutWord(tooNew, 12, 65536);
    EXPECT_EQ(XReadErrorCode(tooNew, read), 1015);
    std::vector<std::uint8_t> truncated(bytes.begin(), bytes.end() - 1);
    EXPECT_NE(XReadErrorCode(truncated, read), 0);
}
