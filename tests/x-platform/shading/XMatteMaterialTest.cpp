#include "x-platform/shading/XMatteMaterial.h"
#include "tests/scenes/XStreamTestSupport.h"
#include "x-platform/geometry/XRayHit.h"
#include "x-platform/geometry/XSphere.h"
#include "x-platform/rendering/XSceneClassTable.h"
#include "x-platform/shading/XCheckeredTexture.h"
#include "x-platform/shading/XRGBSolidTexture.h"
#include "x-platform/shading/XScalarSolidTexture.h"

#include <gtest/gtest.h>

#include <cstring>

namespace
{
XRayHit HitWithNormal(const XMathVectorF3& inNormal, float inU = 0, float inV = 0)
{
    XRayHit hit;
    hit.normal = inNormal;
    hit.u = inU;
    hit.v = inV;
    return hit;
}

XRGBSpectrum Shade(const XMaterial& inMaterial, const XMathVectorF3& inToLight,
                   const XRayHit& inHit)
{
    XRGBSpectrum colour(9, 9, 9);
    inMaterial.Shade(colour, XMathVectorF3(0, 0, 1), inToLight, inHit);
    return colour;
}

std::uint32_t WordAt(const std::vector<std::uint8_t>& inBytes, std::size_t inOffset)
{
    std::uint32_t word = 0;
    std::memcpy(&word, inBytes.data() + inOffset, 4);
    return word;
}
} // namespace

TEST(XMatteMaterialTest, ReflectsTheTextureScaledByKdAndTheCosine)
{
    // ambient 0.25, scale 2: ka = 0.25, kd = 0.75 * 2 = 1.5.
    const XRGBSpectrum texture(0.5f, 0.25f, 1.0f);
    const XMatteMaterial matte(std::make_unique<XRGBSolidTexture>(texture), 0.25f, 2.0f);
    EXPECT_EQ(matte.GetKa(), 0.25f);
    EXPECT_EQ(matte.GetKd(), 1.5f);
    const XRayHit hit = HitWithNormal(XMathVectorF3(0, 0, 1));
    // n . L = 0.5 for L = (0, 0, 0.5): vectors are used as passed, not normalised.
    EXPECT_EQ(Shade(matte, XMathVectorF3(0, 0, 0.5f), hit), XRGBSpectrum(0.375f, 0.1875f, 0.75f));
    // Behind the surface the result is negative: nothing is clamped.
    EXPECT_EQ(Shade(matte, XMathVectorF3(0, 0, -1), hit), XRGBSpectrum(-0.75f, -0.375f, -1.5f));
    // Grazing light gives nothing.
    EXPECT_EQ(Shade(matte, XMathVectorF3(1, 0, 0), hit), XRGBSpectrum(0, 0, 0));

    XRGBSpectrum colour;
    matte.GetDiffuseColour(colour, hit);
    EXPECT_EQ(colour, XRGBSpectrum(0.75f, 0.375f, 1.5f));
    matte.GetSpecularColour(colour, hit);
    EXPECT_EQ(colour, XRGBSpectrum(0, 0, 0));
    matte.GetAmbientColour(colour, hit);
    EXPECT_EQ(colour, XRGBSpectrum(0.125f, 0.0625f, 0.25f));

    // The texture is evaluated at the hit.
    const XMatteMaterial checked(std::make_unique<XRGBCheckeredTexture>(
                                     std::make_unique<XRGBSolidTexture>(texture),
                                     std::make_unique<XRGBSolidTexture>(XRGBSpectrum(2, 2, 2))),
                                 0.0f, 1.0f);
    checked.GetDiffuseColour(colour, HitWithNormal(XMathVectorF3(0, 0, 1), 0.02f, 0.02f));
    EXPECT_EQ(colour, texture);
    checked.GetDiffuseColour(colour, HitWithNormal(XMathVectorF3(0, 0, 1), 0.06f, 0.02f));
    EXPECT_EQ(colour, XRGBSpectrum(2, 2, 2));

    // The default material: no texture (white), kd 1, ka 0.
    const XMatteMaterial plain;
    EXPECT_EQ(plain.GetTexture(), nullptr);
    EXPECT_EQ(Shade(plain, XMathVectorF3(0, 0.6f, 0.8f), hit), XRGBSpectrum(0.8f, 0.8f, 0.8f));
    plain.GetAmbientColour(colour, hit);
    EXPECT_EQ(colour, XRGBSpectrum(0, 0, 0));
}

TEST(XMatteMaterialTest, StoresItsTextureAsAnObjectThenKdAndKa)
{
    XRegisterSceneClasses();
    const XMatteMaterial matte(std::make_unique<XRGBSolidTexture>(XRGBSpectrum(0.5f, 0.25f, 1)),
                               0.25f, 2.0f);
    const std::vector<std::uint8_t> bytes = XWrittenBytes(matte);
    // 14946, 14947, the texture's object record (1 + 4 + 16 + 8 + 28), kd, ka.
    ASSERT_EQ(bytes.size(), 16u + 57u + 8u);
    EXPECT_EQ(matte.GetStreamSize(), bytes.size());
    EXPECT_EQ(WordAt(bytes, 0), 14946u);
    EXPECT_EQ(WordAt(bytes, 8), 14947u);
    float kd = 0;
    float ka = 0;
    std::memcpy(&kd, bytes.data() + 73, 4);
    std::memcpy(&ka, bytes.data() + 77, 4);
    EXPECT_EQ(kd, 1.5f);
    EXPECT_EQ(ka, 0.25f);

    XMatteMaterial read;
    ASSERT_EQ(XReadErrorCode(bytes, read), 0);
    EXPECT_EQ(read.GetKd(), 1.5f);
    EXPECT_EQ(read.GetKa(), 0.25f);
    ASSERT_NE(read.GetTexture(), nullptr);
    EXPECT_EQ(XWrittenBytes(read), bytes);

    // Through the registry by name, and a clone with a texture of its own.
    XMemoryStream stream;
    stream.WriteObject(&matte);
    const std::unique_ptr<XMaterial> object = stream.ReadObjectAs<XMaterial>();
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(XWrittenBytes(*object), bytes);
    std::unique_ptr<XMatteMaterial> clone;
    {
        const XMatteMaterial source(
            std::make_unique<XRGBSolidTexture>(XRGBSpectrum(0.5f, 0.25f, 1)), 0.25f, 2.0f);
        clone = XClone(source);
        EXPECT_NE(clone->GetTexture(), source.GetTexture());
    }
    EXPECT_EQ(XWrittenBytes(*clone), bytes); // the source and its texture are gone

    // A default material stores a null texture.
    const XMatteMaterial plain;
    EXPECT_EQ(XWrittenBytes(plain).size(), plain.GetStreamSize());
    EXPECT_EQ(XWrittenBytes(plain)[16], 0);

    std::vector<std::uint8_t> wrongBase = bytes;
    XPutWord(wrongBase, 0, 14947);
    EXPECT_EQ(XReadErrorCode(wrongBase, read), 1005);
    std::vector<std::uint8_t> wrongClass = bytes;
    XPutWord(wrongClass, 8, 14948);
    EXPECT_EQ(XReadErrorCode(wrongClass, read), 1005);
    std::vector<std::uint8_t> tooNew = bytes;
    XPutWord(tooNew, 12, 65536);
    EXPECT_EQ(XReadErrorCode(tooNew, read), 1015);

    // An object that is not a colour texture in the texture's place: 1005.
    std::vector<std::unique_ptr<XStorable>> intruders;
    intruders.push_back(std::make_unique<XSphere>(1.0f));
    intruders.push_back(std::make_unique<XScalarSolidTexture>(0.5f));
    for (const std::unique_ptr<XStorable>& intruder : intruders)
    {
        XMemoryStream bad;
        bad.WriteVersion(14946);
        bad.WriteVersion(14947);
        bad.WriteObject(intruder.get());
        bad.WriteFloat32S(1.0f);
        bad.WriteFloat32S(0.0f);
        EXPECT_EQ(XReadErrorCode(bad.GetBytes(), read), 1005);
    }
}
