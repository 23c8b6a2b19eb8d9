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
XRayHit HitAt(float inU, float inV)
{
    XRayHit hit;
    hit.u = inU;
    hit.v = inV;
    return hit;
}

std::uint32_t WordAt(const std::vector<std::uint8_t>& inBytes, std::size_t inOffset)
{
    std::uint32_t word = 0;
    std::memcpy(&word, inBytes.data() + inOffset, 4);
    return word;
}

float FloatAt(const std::vector<std::uint8_t>& inBytes, std::size_t inOffset)
{
    float value = 0;
    std::memcpy(&value, inBytes.data() + inOffset, 4);
    return value;
}

// The two version records of a texture, then the checks of both and of the version limit.
void ExpectRecordsChecked(const std::vector<std::uint8_t>& inBytes, std::uint32_t inClassID,
                          XStorable& ioTarget)
{
    EXPECT_EQ(WordAt(inBytes, 0), 14942u);
    EXPECT_EQ(WordAt(inBytes, 8), inClassID);
    std::vector<std::uint8_t> wrongBase = inBytes;
    XPutWord(wrongBase, 0, inClassID);
    EXPECT_EQ(XReadErrorCode(wrongBase, ioTarget), 1005);
    std::vector<std::uint8_t> wrongClass = inBytes;
    XPutWord(wrongClass, 8, 14942);
    EXPECT_EQ(XReadErrorCode(wrongClass, ioTarget), 1005);
    std::vector<std::uint8_t> baseTooNew = inBytes;
    XPutWord(baseTooNew, 4, 65536);
    EXPECT_EQ(XReadErrorCode(baseTooNew, ioTarget), 1015);
    std::vector<std::uint8_t> tooNew = inBytes;
    XPutWord(tooNew, 12, 65536);
    EXPECT_EQ(XReadErrorCode(tooNew, ioTarget), 1015);
    std::vector<std::uint8_t> oldButKnown = inBytes;
    XPutWord(oldButKnown, 12, 65535);
    EXPECT_EQ(XReadErrorCode(oldButKnown, ioTarget), 0);
}
} // namespace

TEST(XTextureTest, SolidTexturesGiveTheirValueEverywhereAndStoreIt)
{
    XRegisterSceneClasses();
    const XRGBSolidTexture colour(XRGBSpectrum(0.25f, 0.5f, 2.0f));
    EXPECT_EQ(colour.Evaluate(HitAt(0.02f, 0.02f)), XRGBSpectrum(0.25f, 0.5f, 2.0f));
    EXPECT_EQ(colour.Evaluate(HitAt(0.06f, 0.9f)), XRGBSpectrum(0.25f, 0.5f, 2.0f));
    EXPECT_EQ(XRGBSolidTexture().Evaluate(HitAt(0, 0)), XRGBSpectrum(0, 0, 0));

    // 14942, 14944, red, green, blue.
    const std::vector<std::uint8_t> bytes = XWrittenBytes(colour);
    ASSERT_EQ(bytes.size(), 28u);
    EXPECT_EQ(colour.GetStreamSize(), 28u);
    EXPECT_EQ(FloatAt(bytes, 16), 0.25f);
    EXPECT_EQ(FloatAt(bytes, 20), 0.5f);
    EXPECT_EQ(FloatAt(bytes, 24), 2.0f);
    XRGBSolidTexture read;
    ASSERT_EQ(XReadErrorCode(bytes, read), 0);
    EXPECT_EQ(read.GetValue(), colour.GetValue());
    ExpectRecordsChecked(bytes, 14944, read);
    EXPECT_EQ(XClone(colour)->GetValue(), colour.GetValue());

    const XScalarSolidTexture scalar(-1.5f);
    EXPECT_EQ(scalar.Evaluate(HitAt(0.3f, 0.7f)), -1.5f);
    const std::vector<std::uint8_t> scalarBytes = XWrittenBytes(scalar);
    ASSERT_EQ(scalarBytes.size(), 20u);
    EXPECT_EQ(scalar.GetStreamSize(), 20u);
    EXPECT_EQ(FloatAt(scalarBytes, 16), -1.5f);
    XScalarSolidTexture readScalar;
    ASSERT_EQ(XReadErrorCode(scalarBytes, readScalar), 0);
    EXPECT_EQ(readScalar.GetValue(), -1.5f);
    ExpectRecordsChecked(scalarBytes, 14943, readScalar);
    EXPECT_EQ(XClone(scalar)->GetValue(), -1.5f);

    // A colour texture record cannot be read as a scalar texture and the other way round.
    EXPECT_EQ(XReadErrorCode(bytes, readScalar), 1005);
    EXPECT_EQ(XReadErrorCode(scalarBytes, read), 1005);
}

TEST(XTextureTest, CheckeredTextureAlternatesTwentyFiveChecksPerUnit)
{
    const XRGBSpectrum red(1, 0, 0);
    const XRGBSpectrum blue(0, 0, 1);
    const XRGBCheckeredTexture checks(std::make_unique<XRGBSolidTexture>(red),
                                      std::make_unique<XRGBSolidTexture>(blue));
    EXPECT_EQ(checks.Evaluate(HitAt(0.02f, 0.02f)), red); // both sines positive
    EXPECT_EQ(checks.Evaluate(HitAt(0.06f, 0.02f)), blue);
    EXPECT_EQ(checks.Evaluate(HitAt(0.02f, 0.06f)), blue);
    EXPECT_EQ(checks.Evaluate(HitAt(0.06f, 0.06f)), red); // both negative
    // A zero of the sine counts with the non-positive side.
    EXPECT_EQ(checks.Evaluate(HitAt(0.0f, 0.02f)), blue);
    EXPECT_EQ(checks.Evaluate(HitAt(0.0f, 0.0f)), red);
    EXPECT_EQ(checks.Evaluate(HitAt(0.0f, 0.06f)), red);
    // One period is 0.08 in u and in v: the pattern repeats.
    EXPECT_EQ(checks.Evaluate(HitAt(0.10f, 0.02f)), red);
    EXPECT_EQ(checks.Evaluate(HitAt(0.14f, 0.02f)), blue);
    EXPECT_EQ(checks.Evaluate(HitAt(0.02f, 0.94f)), blue);

    // Without textures both checks give black.
    const XRGBCheckeredTexture empty;
    EXPECT_EQ(empty.Evaluate(HitAt(0.02f, 0.02f)), XRGBSpectrum());
    EXPECT_EQ(empty.Evaluate(HitAt(0.06f, 0.02f)), XRGBSpectrum());

    // A clone owns copies of both textures.
    const std::unique_ptr<XRGBCheckeredTexture> clone = XClone(checks);
    ASSERT_NE(clone->GetFirst(), nullptr);
    EXPECT_NE(clone->GetFirst(), checks.GetFirst());
    EXPECT_NE(clone->GetSecond(), checks.GetSecond());
    EXPECT_EQ(clone->Evaluate(HitAt(0.06f, 0.02f)), blue);
}

TEST(XTextureTest, CheckeredTextureStoresBothTexturesAsObjects)
{
    XRegisterSceneClasses();
    // A checkerboard nested in a checkerboard.
    const XRGBCheckeredTexture checks(
        std::make_unique<XRGBSolidTexture>(XRGBSpectrum(1, 0.5f, 0)),
        std::make_unique<XRGBCheckeredTexture>(
            std::make_unique<XRGBSolidTexture>(XRGBSpectrum(0, 1, 0)), nullptr));
    const std::vector<std::uint8_t> bytes = XWrittenBytes(checks);
    ASSERT_EQ(bytes.size(), checks.GetStreamSize());
    // The first object record: tag 1, then the class name.
    EXPECT_EQ(bytes[16], 1);
    EXPECT_EQ(WordAt(bytes, 17), 16u);
    EXPECT_EQ(std::string(bytes.begin() + 21, bytes.begin() + 37), "XRGBSolidTexture");
    // Record (1 + 4 + 16 + 8) and body (28 bytes) of the solid texture, then the nested one.
    const std::size_t second = 16 + 1 + 4 + 16 + 8 + 28;
    EXPECT_EQ(std::string(bytes.begin() + second + 5, bytes.begin() + second + 22),
              "XCheckeredTexture");

    XRGBCheckeredTexture read;
    ASSERT_EQ(XReadErrorCode(bytes, read), 0);
    EXPECT_EQ(XWrittenBytes(read), bytes);
    EXPECT_EQ(read.Evaluate(HitAt(0.02f, 0.02f)), XRGBSpectrum(1, 0.5f, 0));
    EXPECT_EQ(read.Evaluate(HitAt(0.06f, 0.02f)), XRGBSpectrum()); // nested: second, empty
    EXPECT_EQ(read.Evaluate(HitAt(0.06f, 0.06f)), XRGBSpectrum(1, 0.5f, 0));
    ExpectRecordsChecked(bytes, 14945, read);

    // By class name through the registry, and as a clone.
    XMemoryStream stream;
    stream.WriteObject(&checks);
    const std::unique_ptr<XTextureT<XRGBSpectrum>> object =
        stream.ReadObjectAs<XTextureT<XRGBSpectrum>>();
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(XWrittenBytes(*object), bytes);
    EXPECT_EQ(XWrittenBytes(*XClone(checks)), bytes);

    // An object of another kind in place of a texture: 1005. A scalar texture is a texture, but
    // not a colour texture.
    std::vector<std::unique_ptr<XStorable>> intruders;
    intruders.push_back(std::make_unique<XSphere>(2.0f));
    intruders.push_back(std::make_unique<XScalarSolidTexture>(1.0f));
    for (const std::unique_ptr<XStorable>& intruder : intruders)
    {
        XMemoryStream bad;
        bad.WriteVersion(14942);
        bad.WriteVersion(14945);
        bad.WriteObject(nullptr);
        bad.WriteObject(intruder.get());
        EXPECT_EQ(XReadErrorCode(bad.GetBytes(), read), 1005);
    }
}
