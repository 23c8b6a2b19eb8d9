// The per-voxel rules of the six channel layouts, on hand-made classifications and on random
// voxels: the one-, two- and three-channel rules must agree with the general rule wherever the
// rules coincide.
#include "x-platform/volume/XChannelRules.h"
#include "x-platform/volume/XNChannelVolumetricShader.h"
#include "x-platform/volume/XNMixedChannelOutputPolicy.h"
#include "x-platform/volume/XNScalarChannelOutputPolicy.h"
#include "x-platform/volume/XSingleChannelVolumetricShader.h"
#include "x-platform/volume/XSingleScalarChannelOutputPolicy.h"
#include "x-platform/volume/XSingleVectorChannelOutputPolicy.h"
#include "x-platform/volume/XThreeChannelVolumetricShader.h"
#include "x-platform/volume/XTwoChannelVolumetricShader.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

namespace
{
using XSingleScalar = XSingleChannelVolumetricShader<XSingleScalarChannelOutputPolicy>;
using XSingleColour = XSingleChannelVolumetricShader<XSingleVectorChannelOutputPolicy>;
using XNScalar = XNChannelVolumetricShader<XNScalarChannelOutputPolicy>;
using XNMixed = XNChannelVolumetricShader<XNMixedChannelOutputPolicy>;

// A table whose byte 1 has opacity inOpacity and emission inEmission in colour (1, 1, 1), so its
// brightness is inOpacity x inEmission exactly for the values used here; byte 0 is transparent.
XComponentTable Table(float inOpacity, float inEmission)
{
    XChannelTableRecord record;
    record.opacity[1] = inOpacity;
    record.emission[1] = inEmission;
    return XComponentTable(record, XRGBSpectrum(1, 1, 1));
}

// Random tables: a few bytes transparent, some with zero emission (bright nothing), colours
// random; so all branches of the rules are taken.
std::vector<XComponentTable> RandomTables(std::mt19937& ioEngine, std::size_t inCount)
{
    std::uniform_real_distribution<float> unit(0.0f, 1.0f);
    std::vector<XComponentTable> tables;
    for (std::size_t k = 0; k < inCount; ++k)
    {
        XChannelTableRecord record;
        for (std::size_t byte = 0; byte < 256; ++byte)
        {
            const std::uint32_t kind = ioEngine() % 8;
            record.opacity[byte] = kind == 0 ? 0.0f : unit(ioEngine);
            record.emission[byte] = kind == 1 ? 0.0f : 3.0f * unit(ioEngine);
        }
        tables.emplace_back(record, XRGBSpectrum(unit(ioEngine), unit(ioEngine), unit(ioEngine)));
    }
    return tables;
}
} // namespace

TEST(XChannelRulesTest, TwoChannelsTakeTheBrighterWithChannelOneWinningTies)
{
    // Channel 1: opacity 0.5, brightness 0.5; channel 2: opacity 0.25, brightness 0.5.
    const XComponentTable tables[2] = {Table(0.5f, 1.0f), Table(0.25f, 2.0f)};
    const std::uint8_t voxel[2] = {1, 1};
    EXPECT_EQ(tables[0][1].brightness, tables[1][1].brightness);
    EXPECT_EQ(XTwoChannelVolumetricShader::Opacity(voxel, tables, 2), 0.5f);
    // The general rule agrees: channel 2 is not strictly brighter than channel 1.
    EXPECT_EQ(XNScalar::Opacity(voxel, tables, 2), 0.5f);

    // Channel 2 brighter: its opacity.
    const XComponentTable brighter[2] = {Table(0.5f, 1.0f), Table(0.25f, 4.0f)};
    EXPECT_EQ(XTwoChannelVolumetricShader::Opacity(voxel, brighter, 2), 0.25f);

    // No channel bright (zero emission) but channel 1 not transparent: the two-channel rule
    // keeps channel 1's opacity, the general rule makes the voxel transparent.
    const XComponentTable dark[2] = {Table(0.5f, 0.0f), Table(0.75f, 0.0f)};
    EXPECT_EQ(XTwoChannelVolumetricShader::Opacity(voxel, dark, 2), 0.5f);
    EXPECT_EQ(XThreeChannelVolumetricShader::Opacity(
                  std::vector<std::uint8_t>{1, 1, 0}.data(),
                  std::vector<XComponentTable>{dark[0], dark[1], dark[1]}.data(), 3),
              0.5f);
    EXPECT_EQ(XNScalar::Opacity(voxel, dark, 2), 0.0f);
}

TEST(XChannelRulesTest, ThreeChannelsReplaceTheWinnerOnlyWhenStrictlyBrighter)
{
    const std::uint8_t voxel[3] = {1, 1, 1};
    // Brightness 0.75, 0.5, 0.625: channel 3 is brighter than channel 2 but not than the best.
    const XComponentTable first[3] = {Table(0.75f, 1.0f), Table(0.5f, 1.0f), Table(0.625f, 1.0f)};
    EXPECT_EQ(XThreeChannelVolumetricShader::Opacity(voxel, first, 3), 0.75f);
    // Brightness 0.25, 0.75, 0.5: channel 2.
    const XComponentTable second[3] = {Table(0.25f, 1.0f), Table(0.75f, 1.0f), Table(0.5f, 1.0f)};
    EXPECT_EQ(XThreeChannelVolumetricShader::Opacity(voxel, second, 3), 0.75f);
    // Brightness 0.25, 0.5, 1 (opacity 0.5, emission 2): channel 3.
    const XComponentTable third[3] = {Table(0.25f, 1.0f), Table(0.5f, 1.0f), Table(0.5f, 2.0f)};
    EXPECT_EQ(XThreeChannelVolumetricShader::Opacity(voxel, third, 3), 0.5f);

    // Colour: the opacity-weighted mean (1 x 0.25 x 1 + 1 x 0.5 x 1 + 2 x 0.5 x 1) / 1.25 per
    // component, for the white channels of `third`.
    XRGBSpectrum colour;
    const float opacity = XThreeChannelVolumetricShader::Classify(voxel, third, 3, colour);
    EXPECT_EQ(opacity, 0.5f);
    EXPECT_FLOAT_EQ(colour.r, 1.75f / 1.25f);
    EXPECT_FLOAT_EQ(colour.g, colour.r);
    // A voxel with no opacity at all is black.
    const std::uint8_t transparent[3] = {0, 0, 0};
    EXPECT_EQ(XThreeChannelVolumetricShader::Classify(transparent, third, 3, colour), 0.0f);
    EXPECT_EQ(colour, XRGBSpectrum());
}

TEST(XChannelRulesTest, OneChannelIsItsOwnOpacityAndEmittedColour)
{
    XChannelTableRecord record;
    record.opacity[200] = 0.5f;
    record.emission[200] = 0.75f;
    const XComponentTable table(record, XRGBSpectrum(0, 1, 0.5f));
    const std::uint8_t voxel[1] = {200};
    XRGBSpectrum colour;
    EXPECT_EQ(XSingleScalar::Classify(voxel, &table, 1, colour), 0.5f);
    EXPECT_EQ(colour, XRGBSpectrum(0, 0.75f, 0.375f));
    EXPECT_EQ(XSingleScalar::Opacity(voxel, &table, 1), 0.5f);
}

TEST(XChannelRulesTest, FixedLayoutsAgreeWithTheGeneralRuleOnRandomVoxels)
{
    std::mt19937 engine(20240611);
    const std::vector<XComponentTable> tables = RandomTables(engine, 6);
    int differingDark = 0;
    for (int trial = 0; trial < 20000; ++trial)
    {
        std::uint8_t voxel[6];
        for (std::uint8_t& byte : voxel)
        {
            byte = static_cast<std::uint8_t>(engine());
        }
        XRGBSpectrum general;
        XRGBSpectrum fixed;
        // One scalar channel: the same opacity wherever the channel is bright or transparent;
        // the colour c x e equals (c x e x alpha) / alpha up to rounding.
        {
            const float fixedOpacity = XSingleScalar::Classify(voxel, tables.data(), 1, fixed);
            const float generalOpacity = XNScalar::Classify(voxel, tables.data(), 1, general);
            const XComponentTable::XEntry& entry = tables[0][voxel[0]];
            if (entry.brightness > 0.0f || entry.opacity == 0.0f)
            {
                EXPECT_EQ(fixedOpacity, generalOpacity);
            }
            if (entry.opacity > 0.0f)
            {
                EXPECT_NEAR(fixed.r, general.r, 1e-6f * (1.0f + std::fabs(fixed.r)));
                EXPECT_NEAR(fixed.g, general.g, 1e-6f * (1.0f + std::fabs(fixed.g)));
                EXPECT_NEAR(fixed.b, general.b, 1e-6f * (1.0f + std::fabs(fixed.b)));
            }
        }
        // Two and three scalar channels: the same colour always; the same opacity unless no
        // channel is bright while channel 1 has opacity.
        for (const std::uint32_t count : {2u, 3u})
        {
            const float fixedOpacity =
                count == 2
                    ? XTwoChannelVolumetricShader::Classify(voxel, tables.data(), 2, fixed)
                    : XThreeChannelVolumetricShader::Classify(voxel, tables.data(), 3, fixed);
            const float generalOpacity = XNScalar::Classify(voxel, tables.data(), count, general);
            EXPECT_EQ(fixed, general);
            bool anyBright = false;
            for (std::uint32_t k = 0; k < count; ++k)
            {
                anyBright = anyBright || tables[k][voxel[k]].brightness > 0.0f;
            }
            if (anyBright || tables[0][voxel[0]].opacity == 0.0f)
            {
                EXPECT_EQ(fixedOpacity, generalOpacity) << count;
            }
            else
            {
                EXPECT_EQ(fixedOpacity, tables[0][voxel[0]].opacity);
                EXPECT_EQ(generalOpacity, 0.0f);
                ++differingDark;
            }
            EXPECT_EQ(count == 2 ? XTwoChannelVolumetricShader::Opacity(voxel, tables.data(), 2)
                                 : XThreeChannelVolumetricShader::Opacity(voxel, tables.data(), 3),
                      fixedOpacity);
        }
        // One colour channel is the general rule over its three components, exactly; the mixed
        // and the scalar general rules are the same rule.
        EXPECT_EQ(XSingleColour::Classify(voxel, tables.data(), 3, fixed),
                  XNMixed::Classify(voxel, tables.data(), 3, general));
        EXPECT_EQ(fixed, general);
        EXPECT_EQ(XNMixed::Classify(voxel, tables.data(), 6, fixed),
                  XNScalar::Classify(voxel, tables.data(), 6, general));
        EXPECT_EQ(fixed, general);
    }
    // The random tables reached the case in which the rules deliberately differ.
    EXPECT_GT(differingDark, 0);
}

TEST(XChannelRulesTest, EachLayoutAcceptsOnlyItsChannelWidths)
{
    using XEntries = std::vector<XPackedChannelEntry>;
    const XEntries one{{1, 1}};
    const XEntries colour{{2, 3}};
    const XEntries two{{1, 1}, {2, 1}};
    const XEntries three{{1, 1}, {2, 1}, {4, 1}};
    const XEntries four{{1, 1}, {2, 1}, {3, 1}, {4, 1}};
    const XEntries mixed{{1, 1}, {2, 3}};
    EXPECT_TRUE(XSingleScalar::Accepts(one));
    EXPECT_FALSE(XSingleScalar::Accepts(colour));
    EXPECT_FALSE(XSingleScalar::Accepts(two));
    EXPECT_TRUE(XSingleColour::Accepts(colour));
    EXPECT_FALSE(XSingleColour::Accepts(one));
    EXPECT_TRUE(XTwoChannelVolumetricShader::Accepts(two));
    EXPECT_FALSE(XTwoChannelVolumetricShader::Accepts(three));
    EXPECT_FALSE(XTwoChannelVolumetricShader::Accepts(mixed));
    EXPECT_TRUE(XThreeChannelVolumetricShader::Accepts(three));
    EXPECT_FALSE(XThreeChannelVolumetricShader::Accepts(two));
    EXPECT_TRUE(XNScalar::Accepts(four));
    EXPECT_TRUE(XNScalar::Accepts(one));
    EXPECT_FALSE(XNScalar::Accepts(mixed));
    EXPECT_FALSE(XNScalar::Accepts(XEntries{}));
    EXPECT_TRUE(XNMixed::Accepts(mixed));
    EXPECT_TRUE(XNMixed::Accepts(four));
    EXPECT_FALSE(XNMixed::Accepts(XEntries{{1, 2}}));
}
