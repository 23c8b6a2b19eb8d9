#include "host/ui/XChannelShadeSpecification.h"

#include <gtest/gtest.h>

TEST(XChannelShadeSpecificationTest, DefaultsAndSettings)
{
    XChannelShadeSpecification specification(3);
    EXPECT_EQ(specification.GetChannel(), 3u);
    EXPECT_TRUE(specification.IsVisible());
    EXPECT_EQ(specification.GetChannelKind(), XChannelShadeSpecification::kScalarChannel);
    EXPECT_EQ(specification.GetShaderModel(), XChannelShadeSpecification::kFluorescenceModel);
    EXPECT_EQ(XChannelShadeSpecification().GetChannel(), 1u);

    specification.SetVisible(false);
    specification.SetChannelKind(XChannelShadeSpecification::kColourChannel);
    specification.SetShaderModel(7);
    specification.SetChannel(4);
    EXPECT_FALSE(specification.IsVisible());
    EXPECT_EQ(specification.GetChannelKind(), 2u);
    EXPECT_EQ(specification.GetShaderModel(), 7u);
    EXPECT_EQ(specification.GetChannel(), 4u);
}

TEST(XChannelShadeSpecificationTest, ColourWordHoldsRedGreenBlueAboveTheLowByte)
{
    EXPECT_EQ(XChannelShadeSpecification::MakeColour(255, 0, 0), 0x0000FF00u);
    EXPECT_EQ(XChannelShadeSpecification::MakeColour(0, 255, 0), 0x00FF0000u);
    EXPECT_EQ(XChannelShadeSpecification::MakeColour(0, 0, 255), 0xFF000000u);
    const std::uint32_t word = XChannelShadeSpecification::MakeColour(0x12, 0x34, 0x56);
    EXPECT_EQ(word, 0x56341200u);
    XChannelShadeSpecification specification;
    specification.SetColour(word);
    EXPECT_EQ((specification.GetColour() >> 8) & 255u, 0x12u);
    EXPECT_EQ((specification.GetColour() >> 16) & 255u, 0x34u);
    EXPECT_EQ(specification.GetColour() >> 24, 0x56u);
}

TEST(XChannelShadeSpecificationTest, PropertiesArePresentOnlyOnceSet)
{
    XChannelShadeSpecification specification;
    for (const std::uint32_t property : {0u, 1u, 2u, 3u})
    {
        EXPECT_FALSE(specification.IsProperty(property));
        EXPECT_EQ(specification.GetProperty(property), 0.0f);
    }
    specification.SetProperty(XChannelShadeSpecification::kThresholdProperty, 0.1f);
    specification.SetProperty(XChannelShadeSpecification::kOpacityProperty, 0.0f);
    EXPECT_TRUE(specification.IsProperty(0));
    EXPECT_FALSE(specification.IsProperty(2));
    EXPECT_TRUE(specification.IsProperty(3)); // set to 0 is still set
    EXPECT_EQ(specification.GetProperty(0), 0.1f);
    EXPECT_EQ(specification.GetProperty(3), 0.0f);
    specification.SetProperty(0, 0.25f);
    EXPECT_EQ(specification.GetProperty(0), 0.25f);
    specification.ClearProperty(0);
    EXPECT_FALSE(specification.IsProperty(0));
    EXPECT_EQ(specification.GetProperty(0), 0.0f);
}
