#include "x-platform/shading/XGlassMaterial.h"
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
} // namespace

TEST(XGlassMaterialTest, ShadesWithAFixedSplitOfItsThirdColour)
{
    const XGlassMaterial glass;
    EXPECT_EQ(glass.GetColourA(), XRGBSpectrum(1, 1, 1));
    EXPECT_EQ(glass.GetColourB(), XRGBSpectrum(0.1f, 0.1f, 0.1f));
    EXPECT_EQ(glass.GetColourC(), XRGBSpectrum(0.1f, 0.1f, 0.1f));
    EXPECT_EQ(glass.GetColourD(), XRGBSpectrum(0.05f, 0.05f, 0.05f));

    const XRayHit hit = HitWithNormal(XMathVectorF3(0, 0, 1));
    const XMathVectorF3 toLight(0, 0.6f, 0.8f); // c = 0.8, r = (0, 0.6, -0.8)
    XRGBSpectrum result;
    // A viewer along r: (r . v)^50 = 1, so 0.1 C 0.8 + 0.9 C per channel with C = 0.1.
    glass.Shade(result, XMathVectorF3(0, 0.6f, -0.8f), toLight, hit);
    EXPECT_NEAR(result.r, 0.01f * 0.8f + 0.09f, 1e-6f);
    EXPECT_NEAR(result.g, 0.01f * 0.8f + 0.09f, 1e-6f);
    // A viewer at right angles to r: no highlight.
    glass.Shade(result, XMathVectorF3(1, 0, 0), toLight, hit);
    EXPECT_NEAR(result.b, 0.01f * 0.8f, 1e-7f);
    // A viewer along the normal: (-0.8)^50 is about 1.4e-5.
    glass.Shade(result, XMathVectorF3(0, 0, 1), toLight, hit);
    EXPECT_NEAR(result.r, 0.008f + 0.09f * std::pow(0.8f, 50.0f), 1e-7f);

    const XGlassMaterial tinted(XRGBSpectrum(0.5f, 0.25f, 1), XRGBSpectrum(7, 7, 7),
                                XRGBSpectrum(1, 2, 4), XRGBSpectrum(0.125f, 0.25f, 0.5f));
    tinted.Shade(result, XMathVectorF3(1, 0, 0), XMathVectorF3(0, 0, 1), hit);
    EXPECT_NEAR(result.r, 0.1f, 1e-7f);
    EXPECT_NEAR(result.g, 0.2f, 1e-7f);
    EXPECT_NEAR(result.b, 0.4f, 1e-7f);
    tinted.GetDiffuseColour(result, hit);
    EXPECT_EQ(result, XRGBSpectrum(1, 2, 4));
    tinted.GetSpecularColour(result, hit);
    EXPECT_EQ(result, XRGBSpectrum(0.125f, 0.25f, 0.5f));
    tinted.GetAmbientColour(result, hit);
    EXPECT_EQ(result, XRGBSpectrum(0.5f, 0.25f, 1));
}

TEST(XGlassMaterialTest, StoresItsFourColours)
{
    XRegisterSceneClasses();
    XGlassMaterial glass;
    glass.SetColours(XRGBSpectrum(0.5f, 0.25f, 1), XRGBSpectrum(7, 8, 9), XRGBSpectrum(1, 2, 4),
                     XRGBSpectrum(0.125f, 0.25f, 0.5f));
    const std::vector<std::uint8_t> bytes = XWrittenBytes(glass);
    ASSERT_EQ(bytes.size(), 16u + 48u);
    EXPECT_EQ(glass.GetStreamSize(), bytes.size());
    float fields[12] = {};
    std::memcpy(fields, bytes.data() + 16, sizeof(fields));
    const float expected[12] = {0.5f, 0.25f, 1, 7, 8, 9, 1, 2, 4, 0.125f, 0.25f, 0.5f};
    for (int i = 0; i < 12; ++i)
    {
        EXPECT_EQ(fields[i], expected[i]) << i;
    }

    XGlassMaterial read;
    ASSERT_EQ(XReadErrorCode(bytes, read), 0);
    EXPECT_EQ(read.GetColourB(), XRGBSpectrum(7, 8, 9)); // carried although no operation reads it
    EXPECT_EQ(XWrittenBytes(read), bytes);
    EXPECT_EQ(XWrittenBytes(*XClone(glass)), bytes);
    XMemoryStream stream;
    stream.WriteObject(&glass);
    const std::unique_ptr<XMaterial> object = stream.ReadObjectAs<XMaterial>();
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(XWrittenBytes(*object), bytes);

    std::vector<std::uint8_t> wrongBase = bytes;
    XPutWord(wrongBase, 0, 14949);
    EXPECT_EQ(XReadErrorCode(wrongBase, read), 1005);
    std::vector<std::uint8_t> wrongClass = bytes;
    XPutWord(wrongClass, 8, 14947);
    EXPECT_EQ(XReadErrorCode(wrongClass, read), 1005);
    std::vector<std::uint8_t> tooNew = bytes;
    XPutWord(tooNew, 12, 65536);
    EXPECT_EQ(XReadErrorCode(tooNew, read), 1015);
}
