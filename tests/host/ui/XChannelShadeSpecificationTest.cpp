#include "host/ui/XChannelShadeSpecification.h"

#include <gtest/gtest.h>

TEST(XChannelShadeSpecificationTest, DefaultsAndSettings)
{
    XChannelShadeSpecification shade(3);
    EXPECT_EQ(shade.GetChannel(), 3u);
    EXPECT_TRUE(shade.IsVisible());
    EXPECT_EQ(shade.GetChannelKind(), XChannelShadeSpecification::kScalarChannel);
    EXPECT_EQ(shade.GetShaderModel(), XChannelShadeSpecification::kFluorescenceModel);
    EXPECT_EQ(XChannelShadeSpecification().GetChannel(), 1u);

    shade.SetVisible(false);
    shade.SetChannelKind(XChannelShadeSpecification::kColourChannel);
    shade.SetShaderModel(7);
    shade.SetChannel(4);
    EXPECT_FALSE(shade.IsVisible());
    EXPECT_EQ(shade.GetChannelKind(), 2u);
    EXPECT_EQ(shade.GetShaderModel(), 7u);
    EXPECT_EQ(shade.GetChannel(), 4u);
}

TEST(XChannelShadeSpecificationTest, ColourWordHoldsRedGreenBlueAboveTheLowByte)
{
    EXPECT_EQ(XChannelShadeSpecification::MakeColour(255, 0, 0), 0x0000FF00u);
    EXPECT_EQ(XChannelShadeSpecification::MakeColour(0, 255, 0), 0x00FF0000u);
    EXPECT_EQ(XChannelShadeSpecification::MakeColour(0, 0, 255), 0xFF000000u);
    const std::uint32_t word = XChannelShadeSpecification::MakeColour(0x12, 0x34, 0x56);
    EXPECT_EQ(word, 0x56341200u);
    XChannelShadeSpecification shade;
    shade.SetColour(word);
    EXPECT_EQ((shade.GetColour() >> 8) & 255u, 0x12u);
    EXPECT_EQ((shade.GetColour() >> 16) & 255u, 0x34u);
    EXPECT_EQ(shade.GetColour() >> 24, 0x56u);
}

TEST(XChannelShadeSpecificationTest, PropertiesArePresentOnlyOnceSet)
{
    XChannelShadeSpecification shade;
    for (const std::uint32_t property : {0u, 1u, 2u, 3u})
    {
        EXPECT_FALSE(shade.IsProperty(property));
        EXPECT_EQ(shade.GetProperty(property), 0.0f);
    }
    shade.SetProperty(XChannelShadeSpecification::kThresholdProperty, 0.1f);
    shade.SetProperty(XChannelShadeSpecification::kOpacityProperty, 0.0f);
    EXPECT_TRUE(shade.IsProperty(0));
    EXPECT_FALSE(shade.IsProperty(2));
    EXPECT_TRUE(shade.IsProperty(3)); // set to 0 is still set
    EXPECT_EQ(shade.GetProperty(0), 0.1f);
    EXPECT_EQ(shade.GetProperty(3), 0.0f);
    shade.SetProperty(0, 0.25f);
    EXPECT_EQ(shade.GetProperty(0), 0.25f);
    shade.ClearProperty(0);
    EXPECT_FALSE(shade.IsProperty(0));
    EXPECT_EQ(shade.GetProperty(0), 0.0f);
}
