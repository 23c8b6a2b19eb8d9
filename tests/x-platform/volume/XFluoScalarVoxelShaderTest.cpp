#include "x-platform/volume/XFluoScalarVoxelShader.h"

#include "host/core/XException.h"
#include "host/core/XStream.h"
#include "host/ui/XChannelShadeSpecification.h"
#include "tests/scenes/XStreamTestSupport.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>

namespace
{
XChannelShadeSpecification
Shade(std::initializer_list<std::pair<std::uint32_t, float>> inProperties,
      std::uint32_t inColour = 0)
{
    XChannelShadeSpecification shade(1);
    shade.SetColour(inColour);
    for (const auto& [property, value] : inProperties)
    {
        shade.SetProperty(property, value);
    }
    return shade;
}

constexpr std::uint32_t kThreshold = XChannelShadeSpecification::kThresholdProperty;
constexpr std::uint32_t kBrightness = XChannelShadeSpecification::kBrightnessProperty;
constexpr std::uint32_t kOpacity = XChannelShadeSpecification::kOpacityProperty;
} // namespace

TEST(XFluoScalarVoxelShaderTest, SettingsMapToGainAbsorptionThresholdAndColour)
{
    XFluoScalarVoxelShader shader;
    // No properties: gain 1.5, absorption 2^(13 x 0.5 - 6) = 2^0.5, threshold 0.
    shader.SetFromSpecification(Shade({}));
    EXPECT_FLOAT_EQ(shader.GetGain(), 1.5f);
    EXPECT_FLOAT_EQ(shader.GetAbsorption(), std::sqrt(2.0f));
    EXPECT_EQ(shader.GetThreshold(), 0.0f);

    // Opacity setting 0 gives 1/64, 1 gives 128, exactly.
    shader.SetFromSpecification(Shade({{kOpacity, 0.0f}}));
    EXPECT_EQ(shader.GetAbsorption(), 0.015625f);
    shader.SetFromSpecification(Shade({{kOpacity, 1.0f}}));
    EXPECT_EQ(shader.GetAbsorption(), 128.0f);

    // Brightness 1 gives the default gain; brightness 2 doubles it.
    shader.SetFromSpecification(Shade({{kBrightness, 1.0f}}));
    EXPECT_EQ(shader.GetGain(), 1.5f);
    shader.SetFromSpecification(Shade({{kBrightness, 2.0f}}));
    EXPECT_EQ(shader.GetGain(), 3.0f);

    // Threshold t maps to t x 0.99 + 0.01; a setting is forgotten when the next shade
    // lacks it.
    shader.SetFromSpecification(Shade({{kThreshold, 0.5f}}));
    EXPECT_FLOAT_EQ(shader.GetThreshold(), 0.505f);
    shader.SetFromSpecification(Shade({{kThreshold, 0.0f}}));
    EXPECT_FLOAT_EQ(shader.GetThreshold(), 0.01f);
    shader.SetFromSpecification(Shade({}));
    EXPECT_EQ(shader.GetThreshold(), 0.0f);

    // Colour word: red in bits 8-15, green 16-23, blue 24-31; the low byte is ignored.
    shader.SetFromSpecification(Shade({}, 0x33FF00AAu));
    EXPECT_EQ(shader.GetColour(), XRGBSpectrum(0.0f, 1.0f, 0x33 / 255.0f));
    shader.SetFromSpecification(Shade({}, XChannelShadeSpecification::MakeColour(255, 0, 51)));
    EXPECT_EQ(shader.GetColour(), XRGBSpectrum(1.0f, 0.0f, 0.2f));
}

TEST(XFluoScalarVoxelShaderTest, ClassificationFollowsTheFluorescenceCurve)
{
    // Threshold 0.25, gain 2, absorption 4, colour (1, 0.5, 0).
    const XFluoScalarVoxelShader shader(0.25f, 2.0f, 4.0f, XRGBSpectrum(1, 0.5f, 0));
    XRGBSpectrum colour;
    float opacity = -1;

    // At and below the threshold: transparent and black.
    for (const float value : {0.0f, 0.1f, 0.25f})
    {
        shader.Classify(value, colour, opacity);
        EXPECT_EQ(opacity, 0.0f) << value;
        EXPECT_EQ(colour, XRGBSpectrum()) << value;
        EXPECT_EQ(shader.GetOpacity(value), 0.0f) << value;
    }
    // v = 0.5: d = 0.25, opacity 1 - 2^-1 = 0.5, emission 0.5, colour (0.5, 0.25, 0).
    shader.Classify(0.5f, colour, opacity);
    EXPECT_FLOAT_EQ(opacity, 0.5f);
    EXPECT_FLOAT_EQ(colour.r, 0.5f);
    EXPECT_FLOAT_EQ(colour.g, 0.25f);
    EXPECT_EQ(colour.b, 0.0f);
    EXPECT_EQ(shader.GetOpacity(0.5f), opacity);
    // v = 1: d = 0.75, opacity 1 - 2^-3 = 0.875, emission 1.5.
    shader.Classify(1.0f, colour, opacity);
    EXPECT_FLOAT_EQ(opacity, 0.875f);
    EXPECT_FLOAT_EQ(colour.r, 1.5f);

    // The tables hold the same values for the bytes (value byte / 256); the byte equal to
    // threshold x 256 (64) is transparent, the next one is not.
    std::array<float, 256> opacityTable{};
    std::array<float, 256> emissionTable{};
    shader.BuildTables(opacityTable, emissionTable);
    EXPECT_EQ(opacityTable[64], 0.0f);
    EXPECT_EQ(emissionTable[64], 0.0f);
    EXPECT_GT(opacityTable[65], 0.0f);
    EXPECT_FLOAT_EQ(emissionTable[65], 2.0f / 256.0f);
    EXPECT_FLOAT_EQ(opacityTable[128], 0.5f);
    EXPECT_FLOAT_EQ(emissionTable[128], 0.5f);
    for (std::uint32_t byte = 0; byte < 256; ++byte)
    {
        shader.Classify(byte / 256.0f, colour, opacity);
        EXPECT_EQ(opacityTable[byte], opacity) << byte;
        EXPECT_EQ(emissionTable[byte], colour.r) << byte;
        if (byte > 0)
        {
            EXPECT_GE(opacityTable[byte], opacityTable[byte - 1]) << byte;
        }
    }
}

TEST(XFluoScalarVoxelShaderTest, DefaultSpecificationMakesByteZeroTransparent)
{
    XFluoScalarVoxelShader shader;
    shader.SetFromSpecification(Shade({}, XChannelShadeSpecification::MakeColour(0, 255, 0)));
    std::array<float, 256> opacity{};
    std::array<float, 256> emission{};
    shader.BuildTables(opacity, emission);
    EXPECT_EQ(opacity[0], 0.0f);
    // Byte 128: d = 0.5, opacity 1 - 2^(-0.5 x sqrt 2), emission 0.75.
    EXPECT_NEAR(opacity[128], 1.0 - std::exp2(-0.5 * std::sqrt(2.0)), 1e-6);
    EXPECT_FLOAT_EQ(emission[128], 0.75f);
    // Byte 255 with opacity setting 1: nearly opaque.
    shader.SetFromSpecification(Shade({{kOpacity, 1.0f}}));
    shader.BuildTables(opacity, emission);
    EXPECT_NEAR(opacity[255], 1.0, 1e-6);
}

TEST(XFluoScalarVoxelShaderTest, StreamsItsSixFloatsAfterTheThreeVersionRecords)
{
    const XFluoScalarVoxelShader shader(0.125f, 3.0f, 0.5f, XRGBSpectrum(0.25f, 0.5f, 1.0f));
    const std::vector<std::uint8_t> bytes = XWrittenBytes(shader);
    ASSERT_EQ(bytes.size(), 3 * 8 + 6 * 4u);
    EXPECT_EQ(bytes.size(), shader.GetStreamSize());
    XMemoryStream stream(bytes);
    EXPECT_EQ(stream.ReadVersion().classId, 14939u);
    EXPECT_EQ(stream.ReadVersion().classId, 14940u);
    EXPECT_EQ(stream.ReadVersion().classId, 14941u);
    EXPECT_EQ(stream.ReadFloat32S(), 0.125f);
    EXPECT_EQ(stream.ReadFloat32S(), 3.0f);
    EXPECT_EQ(stream.ReadFloat32S(), 0.5f);
    EXPECT_EQ(stream.ReadFloat32S(), 0.25f);
    EXPECT_EQ(stream.ReadFloat32S(), 0.5f);
    EXPECT_EQ(stream.ReadFloat32S(), 1.0f);

    XFluoScalarVoxelShader read;
    EXPECT_EQ(XReadErrorCode(bytes, read), 0);
    EXPECT_EQ(XWrittenBytes(read), bytes);
    const auto clone = XClone(shader);
    EXPECT_EQ(XWrittenBytes(*clone), bytes);

    // Another class's record, a too-new version and a cut stream are refused.
    std::vector<std::uint8_t> wrongClass = bytes;
    XPutWord(wrongClass, 16, 14940);
    EXPECT_EQ(XReadErrorCode(wrongClass, read), XException::kWrongClass);
    std::vector<std::uint8_t> tooNew = bytes;
    XPutWord(tooNew, 20, 65536);
    EXPECT_EQ(XReadErrorCode(tooNew, read), XException::kVersionTooNew);
    const std::vector<std::uint8_t> cut(bytes.begin(), bytes.end() - 2);
    EXPECT_EQ(XReadErrorCode(cut, read), XException::kTruncatedStream);
}
