#include "x-platform/volume/XMultiChannelVolumetric.h"

#include "host/XHostClassTable.h"
#include "host/core/XException.h"
#include "host/core/XInternalError.h"
#include "host/core/XStream.h"
#include "tests/scenes/XMultiChannelTestVolume.h"
#include "tests/scenes/XStreamTestSupport.h"
#include "x-platform/core/XObjectRecordSize.h"
#include "x-platform/volume/XMultiChannelVolumetricT.h"
#include "x-platform/volume/XVolumeClassTable.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <random>

namespace
{
const std::filesystem::path kDataFolder = VOLTRACE_SAMPLE_DATA_DIR;

class XMultiChannelVolumetricTest : public testing::Test
{
protected:
    void SetUp() override
    {
        XRegisterHostClasses();
        XRegisterVolumeClasses();
    }
};

template <class T>
XRef<XMultiChannelVolumetric> Prepared(std::vector<XChannelShadeSpecification> inSpecifications,
                                       std::uint32_t inSample, std::uint32_t inTimePoint = 0)
{
    XRef<XMultiChannelVolumetric> volumetric =
        XMakeRef<T>(std::move(inSpecifications), inSample, inTimePoint);
    volumetric->Prepare();
    return volumetric;
}

std::uint8_t Ramp(std::uint32_t inChannel, std::int32_t inX, std::int32_t inY, std::int32_t inZ)
{
    return static_cast<std::uint8_t>((37 * inX + 11 * inY + 59 * inZ * inZ + 90 * inChannel) % 256);
}

// Random points inside a box [0, inUpper] on each axis, with integer and half-integer points
// mixed in.
std::vector<XMathVectorF3> RandomPoints(std::uint32_t inSeed, const XMathVectorF3& inUpper,
                                        std::size_t inCount)
{
    std::mt19937 engine(inSeed);
    std::vector<XMathVectorF3> points;
    for (std::size_t index = 0; index < inCount; ++index)
    {
        XMathVectorF3 point;
        for (int axis = 0; axis < 3; ++axis)
        {
            const float unit = static_cast<float>(engine() >> 8) / 16777216.0f;
            float value = unit * inUpper[axis];
            if (index % 5 == 0)
            {
                value = std::floor(value);
            }
            else if (index % 5 == 1)
            {
                value = std::floor(value) + 0.5f;
            }
            point[axis] = std::min(value, inUpper[axis]);
        }
        points.push_back(point);
    }
    return points;
}

struct XShaded
{
    float opacity = 0;
    XRGBSpectrum colour;
};

XShaded ShadeAt(const XVolumetric& inVolumetric, const XMathVectorF3& inPoint)
{
    XShaded sample;
    sample.opacity = 123.0f; // ignored by the query
    inVolumetric.Shade(inPoint, XMathVectorF3(0, 0, 1), sample.opacity, sample.colour);
    return sample;
}
} // namespace

TEST_F(XMultiChannelVolumetricTest, SamplesClassifyTheCornersAndInterpolateTrilinearly)
{
    const std::uint32_t sample = XAddGrey8Sample(1, 6, 5, 4, Ramp);
    const auto volumetric = Prepared<X1ChannelVolumetric>(
        XMakeChannelSpecifications(1, false, {1}, {.threshold = 0.2f, .opacity = 0.7f}), sample);
    ASSERT_TRUE(volumetric->IsPrepared());
    EXPECT_EQ(volumetric->GetStepSize(), 0.75f);
    EXPECT_EQ(volumetric->GetVolumeBounds(),
              XBoundingBox(XMathVectorF3(0, 0, 0), XMathVectorF3(5, 4, 3)));
    const XChannelTableRecord& record = volumetric->GetChannelRecords().at(0);
    const auto opacityAt = [&](int inX, int inY, int inZ)
    { return double{record.opacity[Ramp(1, inX, inY, inZ)]}; };
    const auto emissionAt = [&](int inX, int inY, int inZ)
    { return double{record.emission[Ramp(1, inX, inY, inZ)]}; };

    // An integer point is exactly that voxel's classification.
    const XShaded exact = ShadeAt(*volumetric, XMathVectorF3(4, 2, 2));
    EXPECT_EQ(exact.opacity, record.opacity[Ramp(1, 4, 2, 2)]);
    EXPECT_GT(exact.opacity, 0.0f);
    EXPECT_EQ(exact.colour, record.colour * record.emission[Ramp(1, 4, 2, 2)]);
    EXPECT_EQ(volumetric->GetDensity(XMathVectorF3(4, 2, 2)), exact.opacity);

    // Elsewhere the classified corners are weighted trilinearly (not the classification of the
    // interpolated byte).
    std::size_t checked = 0;
    for (const XMathVectorF3& point : RandomPoints(7, XMathVectorF3(5, 4, 3), 400))
    {
        const int x = static_cast<int>(point.x);
        const int y = static_cast<int>(point.y);
        const int z = static_cast<int>(point.z);
        const double fx = point.x - x;
        const double fy = point.y - y;
        const double fz = point.z - z;
        double opacity = 0;
        double emission = 0;
        for (int corner = 0; corner < 8; ++corner)
        {
            const int dx = corner & 1;
            const int dy = (corner >> 1) & 1;
            const int dz = corner >> 2;
            const double weight = (dx ? fx : 1 - fx) * (dy ? fy : 1 - fy) * (dz ? fz : 1 - fz);
            if (weight == 0)
            {
                continue; // corners beyond the data edge are read with weight 0
            }
            opacity += weight * opacityAt(x + dx, y + dy, z + dz);
            emission += weight * emissionAt(x + dx, y + dy, z + dz);
        }
        const XShaded shaded = ShadeAt(*volumetric, point);
        EXPECT_NEAR(shaded.opacity, opacity, 1e-6);
        EXPECT_EQ(shaded.opacity, volumetric->GetDensity(point));
        // Default colour of channel 1: green.
        EXPECT_EQ(shaded.colour.r, 0.0f);
        EXPECT_NEAR(shaded.colour.g, emission, 1e-6);
        checked += opacity > 0;
    }
    EXPECT_GT(checked, 100u);

    // Outside the data bounds there is nothing, whatever comes in.
    for (const XMathVectorF3& outside :
         {XMathVectorF3(-0.01f, 1, 1), XMathVectorF3(5.01f, 1, 1), XMathVectorF3(1, 4.5f, 1),
          XMathVectorF3(1, 1, -3), XMathVectorF3(NAN, 1, 1)})
    {
        const XShaded shaded = ShadeAt(*volumetric, outside);
        EXPECT_EQ(shaded.opacity, 0.0f);
        EXPECT_EQ(shaded.colour, XRGBSpectrum());
        EXPECT_EQ(volumetric->GetDensity(outside), 0.0f);
    }
}

TEST_F(XMultiChannelVolumetricTest, PlacementIsTranslateOriginTimesScaleVoxelSize)
{
    // Voxel size 0.5 from the data.
    const std::uint32_t sample = XAddGrey8Sample(1, 6, 5, 4, Ramp, 0.5);
    const auto volumetric =
        Prepared<X1ChannelVolumetric>(XMakeChannelSpecifications(1, false, {1}), sample);
    EXPECT_EQ(volumetric->GetVoxelSize(), XMathVectorF3(0.5f, 0.5f, 0.5f));
    EXPECT_EQ(volumetric->GetVolumeTransform(), XMatrix_4x4<float>::Scale(0.5f, 0.5f, 0.5f));
    EXPECT_EQ(volumetric->GetObjectToWorld(), XMatrix_4x4<float>());
    EXPECT_EQ(volumetric->GetBoundingBox(),
              XBoundingBox(XMathVectorF3(0, 0, 0), XMathVectorF3(2.5f, 2, 1.5f)));

    // Origin and voxel size given after preparation move the volume at once.
    volumetric->SetOrigin(XMathVectorF3(10, 20, 30));
    volumetric->SetVoxelSize(XMathVectorF3(1, 2, 3));
    EXPECT_EQ(volumetric->GetVolumeTransform(),
              XMatrix_4x4<float>::Translation(10, 20, 30) * XMatrix_4x4<float>::Scale(1, 2, 3));
    EXPECT_EQ(volumetric->GetBoundingBox(),
              XBoundingBox(XMathVectorF3(10, 20, 30), XMathVectorF3(15, 28, 39)));
    // The centre of voxel (i, j, k) lies at origin + (i sx, j sy, k sz).
    const XMathVectorF3 world =
        volumetric->GetVoxelToWorld().TransformPoint(XMathVectorF3(4, 2, 2));
    EXPECT_EQ(world, XMathVectorF3(14, 24, 36));

    // Given before preparation, they are applied by it.
    XRef<XMultiChannelVolumetric> early =
        XMakeRef<X1ChannelVolumetric>(XMakeChannelSpecifications(1, false, {1}), sample, 0);
    early->SetOrigin(XMathVectorF3(-1, 0, 0));
    early->SetVoxelSize(XMathVectorF3(2, 2, 2));
    EXPECT_EQ(early->GetVolumeTransform(), XMatrix_4x4<float>());
    early->Prepare();
    EXPECT_EQ(early->GetVolumeTransform(),
              XMatrix_4x4<float>::Translation(-1, 0, 0) * XMatrix_4x4<float>::Scale(2, 2, 2));

    EXPECT_THROW(early->SetVoxelSize(XMathVectorF3(1, 0, 1)), XException);
    EXPECT_THROW(early->SetVoxelSize(XMathVectorF3(1, INFINITY, 1)), XException);
    EXPECT_THROW(early->SetOrigin(XMathVectorF3(NAN, 0, 0)), XException);
    EXPECT_THROW(early->SetDisplayRange(1, 5.0, 5.0), XException);
}

TEST_F(XMultiChannelVolumetricTest, DisplayRangesWindowTheBytes)
{
    // Bytes 0..255 along x; the range [100, 150] maps 125 to 128 (round(0.5 x 255)).
    const std::uint32_t sample =
        XAddGrey8Sample(1, 256, 1, 1,
                        [](std::uint32_t, std::int32_t inX, std::int32_t, std::int32_t)
                        { return static_cast<std::uint8_t>(inX); });
    XRef<XMultiChannelVolumetric> volumetric =
        XMakeRef<X1ChannelVolumetric>(XMakeChannelSpecifications(1, false, {1}), sample, 0);
    volumetric->SetDisplayRange(1, 100.0, 150.0);
    volumetric->Prepare();
    const XChannelTableRecord& record = volumetric->GetChannelRecords()[0];
    EXPECT_EQ(volumetric->GetDensity(XMathVectorF3(125, 0, 0)), record.opacity[128]);
    EXPECT_EQ(volumetric->GetDensity(XMathVectorF3(90, 0, 0)), 0.0f);
    EXPECT_EQ(volumetric->GetDensity(XMathVectorF3(200, 0, 0)), record.opacity[255]);
}

TEST_F(XMultiChannelVolumetricTest, ChannelsEnterInAscendingOrderWhateverTheSpecificationOrder)
{
    const std::uint32_t sample = XAddGrey8Sample(3, 9, 7, 5, XRandomSpotBytes(3, 9, 7, 5, 3));
    std::vector<XChannelShadeSpecification> ascending =
        XMakeChannelSpecifications(3, false, {1, 2, 3});
    ascending[1].SetProperty(XChannelShadeSpecification::kThresholdProperty, 0.3f);
    const std::vector<XChannelShadeSpecification> descending(ascending.rbegin(), ascending.rend());

    const auto forward = Prepared<X3ChannelVolumetric>(ascending, sample);
    const auto backward = Prepared<X3ChannelVolumetric>(descending, sample);
    EXPECT_EQ(backward->GetPackedVolume()->GetChannels(),
              (std::vector<XPackedChannelEntry>{{1, 1}, {2, 1}, {3, 1}}));
    // Records follow the channels: green, magenta, cyan; channel 2's threshold in record 2.
    const std::vector<XChannelTableRecord>& records = backward->GetChannelRecords();
    ASSERT_EQ(records.size(), 3u);
    EXPECT_EQ(records[0].colour, XRGBSpectrum(0, 1, 0));
    EXPECT_EQ(records[1].colour, XRGBSpectrum(1, 0, 1));
    EXPECT_EQ(records[2].colour, XRGBSpectrum(0, 1, 1));
    EXPECT_EQ(records, forward->GetChannelRecords());
    EXPECT_EQ(records[1].opacity[78], 0.0f);
    EXPECT_GT(records[0].opacity[78], 0.0f);
    for (const XMathVectorF3& point : RandomPoints(11, XMathVectorF3(8, 6, 4), 200))
    {
        EXPECT_EQ(backward->GetDensity(point), forward->GetDensity(point));
    }
}

TEST_F(XMultiChannelVolumetricTest, HiddenChannelsStayOutAndNoVisibleChannelMeansNoData)
{
    const std::uint32_t sample = XAddGrey8Sample(3, 4, 4, 4, Ramp);
    const auto twoOfThree =
        Prepared<X2ChannelVolumetric>(XMakeChannelSpecifications(3, false, {3, 1}), sample);
    EXPECT_EQ(twoOfThree->GetPackedVolume()->GetChannels(),
              (std::vector<XPackedChannelEntry>{{1, 1}, {3, 1}}));
    EXPECT_EQ(twoOfThree->GetChannelRecords().size(), 2u);

    const auto none =
        Prepared<X1ChannelVolumetric>(XMakeChannelSpecifications(3, false, {}), sample);
    EXPECT_FALSE(none->IsPrepared());
    EXPECT_EQ(none->GetPackedVolume(), nullptr);
    EXPECT_EQ(none->GetEmptySpaceGrid(), nullptr);
    EXPECT_GT(none->GetVolumeBounds().GetMin().x, none->GetVolumeBounds().GetMax().x);
    EXPECT_EQ(none->GetDensity(XMathVectorF3(0, 0, 0)), 0.0f);
    const XShaded shaded = ShadeAt(*none, XMathVectorF3(1, 1, 1));
    EXPECT_EQ(shaded.opacity, 0.0f);
    EXPECT_EQ(shaded.colour, XRGBSpectrum());
}

TEST_F(XMultiChannelVolumetricTest, AnUnknownShaderModelIsReportedAndLeavesItsChannelTransparent)
{
    const std::uint32_t sample = XAddGrey8Sample(2, 6, 5, 4, Ramp);
    std::vector<XChannelShadeSpecification> specifications =
        XMakeChannelSpecifications(2, false, {1, 2});
    specifications[1].SetShaderModel(7);
    const XInternalErrorCapture capture;
    const auto both = Prepared<X2ChannelVolumetric>(specifications, sample);
    ASSERT_EQ(capture.GetReports().size(), 1u);
    EXPECT_EQ(capture.GetReports()[0].condition, "selectedShader");
    EXPECT_EQ(capture.GetReports()[0].source, "x-platform/XMultiChannelVolumetric");
    ASSERT_TRUE(both->IsPrepared());
    EXPECT_EQ(both->GetChannelRecords()[1], XChannelTableRecord());
    // Channel 2 never outshines channel 1, so the opacity is channel 1's alone.
    const auto first =
        Prepared<X1ChannelVolumetric>(XMakeChannelSpecifications(2, false, {1}), sample);
    for (const XMathVectorF3& point : RandomPoints(5, XMathVectorF3(5, 4, 3), 200))
    {
        EXPECT_EQ(both->GetDensity(point), first->GetDensity(point));
    }
}

TEST_F(XMultiChannelVolumetricTest, LayoutsThatDoNotFitAreRefused)
{
    const std::uint32_t sample = XAddGrey8Sample(3, 4, 4, 4, Ramp);
    const auto expectRefused = [&](XRef<XMultiChannelVolumetric> inVolumetric, const char* inText)
    {
        try
        {
            inVolumetric->Prepare();
            ADD_FAILURE() << "prepared: " << inText;
        }
        catch (const XException& error)
        {
            EXPECT_EQ(error.GetCode(), XException::kInvalidArgument);
            EXPECT_NE(std::string(error.what()).find(inText), std::string::npos) << error.what();
        }
        EXPECT_FALSE(inVolumetric->IsPrepared());
    };
    expectRefused(
        XMakeRef<X2ChannelVolumetric>(XMakeChannelSpecifications(3, false, {1, 2, 3}), sample, 0),
        "two scalar channels");
    expectRefused(
        XMakeRef<X1ColourChannelVolumetric>(XMakeChannelSpecifications(3, false, {2}), sample, 0),
        "one colour channel");
    // A channel the data does not have; a scalar channel shown as colour; a channel twice.
    expectRefused(
        XMakeRef<X2ChannelVolumetric>(XMakeChannelSpecifications(5, false, {1, 5}), sample, 0),
        "Channel 5 is not in the sample");
    expectRefused(
        XMakeRef<X1ColourChannelVolumetric>(XMakeChannelSpecifications(3, true, {2}), sample, 0),
        "its data is scalar");
    std::vector<XChannelShadeSpecification> twice = XMakeChannelSpecifications(2, false, {1, 2});
    twice[1].SetChannel(1);
    expectRefused(XMakeRef<X2ChannelVolumetric>(twice, sample, 0), "given twice");
    // A time point the sample does not have.
    expectRefused(
        XMakeRef<X1ChannelVolumetric>(XMakeChannelSpecifications(3, false, {1}), sample, 4),
        "Time point 4");
}

TEST_F(XMultiChannelVolumetricTest, TheFactoryPicksTheClassForTheVisibleChannels)
{
    const auto classOf =
        [](std::uint32_t inChannels, bool inColour, const std::vector<std::uint32_t>& inShown)
    {
        return XMultiChannelVolumetricFactory::SelectClassID(
            XMakeChannelSpecifications(inChannels, inColour, inShown));
    };
    EXPECT_EQ(classOf(3, false, {}), 14923u);
    EXPECT_EQ(classOf(3, false, {2}), 14923u);
    EXPECT_EQ(classOf(3, false, {1, 3}), 14924u);
    EXPECT_EQ(classOf(3, false, {1, 2, 3}), 14925u);
    EXPECT_EQ(classOf(5, false, {1, 2, 3, 5}), 14926u);
    EXPECT_EQ(classOf(2, true, {1, 2}), 14927u);
    EXPECT_EQ(classOf(2, true, {2}), 14928u);
    std::vector<XChannelShadeSpecification> mixed = XMakeChannelSpecifications(2, false, {1, 2});
    mixed[1].SetChannelKind(XChannelShadeSpecification::kColourChannel);
    EXPECT_EQ(XMultiChannelVolumetricFactory::SelectClassID(mixed), 14927u);
    const XRef<XMultiChannelVolumetric> made =
        XMultiChannelVolumetricFactory::Create(XMakeChannelSpecifications(3, false, {1, 2}), 1, 0);
    EXPECT_EQ(made->GetClassID(), 14924u);
    EXPECT_EQ(made->GetSampleID(), 1u);
}

TEST_F(XMultiChannelVolumetricTest, ColourClassesAreTheGeneralRuleOverPureRedGreenAndBlue)
{
    // Two colour channels, and six grey channels holding the same bytes: channel 3(k-1)+i of the
    // grey sample is component i of colour channel k.
    const auto grey = XRandomSpotBytes(17, 10, 9, 8, 6);
    const auto colourOf =
        [&](std::uint32_t inChannel, std::int32_t inX, std::int32_t inY, std::int32_t inZ)
    {
        const std::uint32_t first = 3 * (inChannel - 1) + 1;
        return XARGB32Colour{255, grey(first, inX, inY, inZ), grey(first + 1, inX, inY, inZ),
                             grey(first + 2, inX, inY, inZ)};
    };
    const std::uint32_t colourSample = XAddColourSample(2, 10, 9, 8, colourOf);
    const std::uint32_t greySample = XAddGrey8Sample(6, 10, 9, 8, grey);
    const XChannelLook look{.threshold = 0.05f, .brightness = 1.5f, .opacity = 0.6f};
    // Pure red, green and blue for the grey channels.
    std::vector<XChannelShadeSpecification> rgb =
        XMakeChannelSpecifications(6, false, {1, 2, 3, 4, 5, 6}, look);
    for (std::uint32_t index = 0; index < 6; ++index)
    {
        rgb[index].SetColour(XChannelShadeSpecification::MakeColour(
            index % 3 == 0 ? 255 : 0, index % 3 == 1 ? 255 : 0, index % 3 == 2 ? 255 : 0));
    }
    const auto sixGrey = Prepared<XNScalarChannelVolumetric>(rgb, greySample);
    const auto threeGrey = Prepared<XNScalarChannelVolumetric>(
        std::vector<XChannelShadeSpecification>(rgb.begin(), rgb.begin() + 3), greySample);
    const auto twoColour = Prepared<XNMixedChannelVolumetric>(
        XMakeChannelSpecifications(2, true, {1, 2}, look), colourSample);
    const auto oneColour = Prepared<X1ColourChannelVolumetric>(
        XMakeChannelSpecifications(2, true, {1}, look), colourSample);
    const auto oneColourMixed = Prepared<XNMixedChannelVolumetric>(
        XMakeChannelSpecifications(2, true, {1}, look), colourSample);
    ASSERT_TRUE(sixGrey->IsPrepared() && twoColour->IsPrepared() && oneColour->IsPrepared());
    EXPECT_EQ(twoColour->GetPackedVolume()->GetComponentCount(), 6u);

    std::size_t opaque = 0;
    for (const XMathVectorF3& point : RandomPoints(23, XMathVectorF3(9, 8, 7), 3000))
    {
        const XShaded six = ShadeAt(*sixGrey, point);
        const XShaded two = ShadeAt(*twoColour, point);
        EXPECT_EQ(two.opacity, six.opacity);
        EXPECT_EQ(two.colour, six.colour);
        const XShaded three = ShadeAt(*threeGrey, point);
        const XShaded one = ShadeAt(*oneColour, point);
        const XShaded oneMixed = ShadeAt(*oneColourMixed, point);
        EXPECT_EQ(one.opacity, three.opacity);
        EXPECT_EQ(one.colour, three.colour);
        EXPECT_EQ(one.opacity, oneMixed.opacity);
        EXPECT_EQ(one.colour, oneMixed.colour);
        EXPECT_EQ(one.opacity, oneColour->GetDensity(point));
        opaque += one.opacity > 0;
    }
    EXPECT_GT(opaque, 300u);
}

TEST_F(XMultiChannelVolumetricTest, FixedClassesAgreeWithTheGeneralClassOnRealData)
{
    const std::filesystem::path path =
        kDataFolder / "nucleus_hoechst_confocal_widefield_zcyx_u16.tif";
    if (!std::filesystem::exists(path))
    {
        GTEST_SKIP() << path << " is not there";
    }
    const std::uint32_t sample = XSampleDB::GetDB().OpenFile(path);
    const XChannelLook look{.threshold = 0.1f};
    const auto specifications = [&](const std::vector<std::uint32_t>& inShown)
    { return XMakeChannelSpecifications(2, false, inShown, look); };
    const auto two = Prepared<X2ChannelVolumetric>(specifications({1, 2}), sample);
    const auto twoGeneral = Prepared<XNScalarChannelVolumetric>(specifications({1, 2}), sample);
    const auto one = Prepared<X1ChannelVolumetric>(specifications({2}), sample);
    const auto oneGeneral = Prepared<XNScalarChannelVolumetric>(specifications({2}), sample);
    EXPECT_EQ(two->GetVolumeBounds(),
              XBoundingBox(XMathVectorF3(0, 0, 0), XMathVectorF3(132, 129, 44)));

    std::size_t opaque = 0;
    for (const XMathVectorF3& point : RandomPoints(29, XMathVectorF3(132, 129, 44), 20000))
    {
        // With the default colours every channel with opacity is bright, so the rules coincide
        // everywhere: exactly, but for the one-channel colour c x e against (c x e x a) / a.
        const XShaded a = ShadeAt(*two, point);
        const XShaded b = ShadeAt(*twoGeneral, point);
        EXPECT_EQ(a.opacity, b.opacity);
        EXPECT_EQ(a.colour, b.colour);
        const XShaded c = ShadeAt(*one, point);
        const XShaded d = ShadeAt(*oneGeneral, point);
        EXPECT_EQ(c.opacity, d.opacity);
        EXPECT_NEAR(c.colour.r, d.colour.r, 1e-6f * (1 + c.colour.r));
        EXPECT_NEAR(c.colour.b, d.colour.b, 1e-6f * (1 + c.colour.b));
        EXPECT_EQ(c.colour.g, 0.0f); // magenta
        opaque += a.opacity > 0;
    }
    EXPECT_GT(opaque, 1000u);
}

TEST_F(XMultiChannelVolumetricTest, StreamsWithItsPackedVolumeAndRendersWithoutTheSample)
{
    const std::uint32_t sample = XAddGrey8Sample(2, 11, 10, 9, XRandomSpotBytes(41, 11, 10, 9, 2));
    const auto original = Prepared<X2ChannelVolumetric>(
        XMakeChannelSpecifications(2, false, {1, 2}, {.threshold = 0.05f}), sample);
    original->SetOrigin(XMathVectorF3(1, 2, 3));
    original->SetDisplayRange(2, 0.0, 255.0);
    original->SetTransform(XMatrix_4x4<float>::Translation(0, 0, 5));

    XMemoryStream stream;
    stream.WriteObject(original.Get());
    EXPECT_EQ(stream.GetBytes().size(), XObjectRecordSize(original.Get()));
    const std::unique_ptr<XStorable> object = stream.ReadObject();
    EXPECT_EQ(stream.GetRemaining(), 0u);
    auto* read = dynamic_cast<X2ChannelVolumetric*>(object.get());
    ASSERT_NE(read, nullptr);
    ASSERT_TRUE(read->IsPrepared());
    EXPECT_NE(read->GetPackedVolume(), original->GetPackedVolume());
    EXPECT_EQ(read->GetPackedVolume()->GetLockCount(), 1u);
    EXPECT_EQ(read->GetChannelRecords(), original->GetChannelRecords());
    EXPECT_EQ(read->GetVolumeBounds(), original->GetVolumeBounds());
    EXPECT_EQ(read->GetBoundingBox(), original->GetBoundingBox());
    EXPECT_EQ(read->GetVoxelToWorld(), original->GetVoxelToWorld());
    EXPECT_EQ(read->GetOrigin(), original->GetOrigin());
    EXPECT_EQ(read->GetDisplayRanges().size(), 1u);
    EXPECT_EQ(read->GetSampleID(), sample);
    ASSERT_NE(read->GetEmptySpaceGrid(), nullptr);
    EXPECT_EQ(read->GetEmptySpaceGrid()->GetEmptyCellCount(),
              original->GetEmptySpaceGrid()->GetEmptyCellCount());

    // Pointing it at a sample that does not exist changes nothing: it is prepared already.
    read->SetSample(0xFFFFFF00u, 3);
    read->Prepare();
    for (const XMathVectorF3& point : RandomPoints(43, XMathVectorF3(10, 9, 8), 2000))
    {
        const XShaded a = ShadeAt(*original, point);
        const XShaded b = ShadeAt(*read, point);
        EXPECT_EQ(a.opacity, b.opacity);
        EXPECT_EQ(a.colour, b.colour);
    }
    // Written again (with the sample restored), the bytes are the same.
    read->SetSample(sample, 0);
    XMemoryStream again;
    again.WriteObject(read);
    EXPECT_EQ(again.GetBytes(), stream.GetBytes());

    // An unprepared volumetric streams too, and prepares after reading.
    XRef<XMultiChannelVolumetric> unprepared =
        XMakeRef<X2ChannelVolumetric>(XMakeChannelSpecifications(2, false, {1, 2}), sample, 0);
    XMemoryStream plain;
    plain.WriteObject(unprepared.Get());
    auto later = plain.ReadObjectAs<XMultiChannelVolumetric>();
    EXPECT_FALSE(later->IsPrepared());
    later->Prepare();
    EXPECT_TRUE(later->IsPrepared());
}

TEST_F(XMultiChannelVolumetricTest, HostileStreamsAreRefused)
{
    const std::uint32_t sample = XAddGrey8Sample(2, 5, 5, 5, Ramp);
    const auto original =
        Prepared<X2ChannelVolumetric>(XMakeChannelSpecifications(2, false, {1, 2}), sample);
    const std::vector<std::uint8_t> bytes = XWrittenBytes(*original);

    // Every cut is an XException, never a crash.
    for (std::size_t size = 0; size < bytes.size(); size += size < 400 ? 1 : 97)
    {
        X2ChannelVolumetric target;
        const std::vector<std::uint8_t> cut(bytes.begin(), bytes.begin() + size);
        EXPECT_NE(XReadErrorCode(cut, target), 0) << size;
    }
    // Offsets: base fields (3 matrices, a box, a flag), version record, two specifications,
    // sample and placement, no range, then the record count and the first record.
    const std::size_t specifications = 3 * 64 + 24 + 1 + 8;
    const std::size_t records = specifications + 4 + 2 * 32 + 8 + 12 + 1 + 12 + 4;
    {
        std::vector<std::uint8_t> huge = bytes;
        XPutWord(huge, specifications, 0x7FFFFFFF);
        X2ChannelVolumetric target;
        EXPECT_EQ(XReadErrorCode(huge, target), XException::kMalformedStream);
    }
    {
        std::vector<std::uint8_t> notANumber = bytes;
        ASSERT_EQ(notANumber[records], 2u); // two records
        XPutWord(notANumber, records + 4 + 200 * 4, 0x7FC00000u);
        X2ChannelVolumetric target;
        EXPECT_EQ(XReadErrorCode(notANumber, target), XException::kMalformedStream);
    }
    {
        // A second channel three bytes wide does not fit two scalar channels.
        const std::size_t packed = records + 4 + 2 * 516 * 4 + 4;
        std::vector<std::uint8_t> wide = bytes;
        std::uint32_t width = 0;
        std::memcpy(&width, wide.data() + packed + 4 + 12, 4);
        ASSERT_EQ(width, 1u);
        XPutWord(wide, packed + 4 + 12, 3);
        X2ChannelVolumetric target;
        EXPECT_NE(XReadErrorCode(wide, target), 0);
        EXPECT_FALSE(target.IsPrepared());
    }
    {
        // A box far from the origin, where float32 no longer holds every voxel coordinate:
        // read, but without data, so that no point can address outside the buffer.
        const std::size_t packed = records + 4 + 2 * 516 * 4 + 4;
        const std::size_t box = packed + 4 + 16 + 12 + 1 + 4 + 7 + 8 + 8;
        std::vector<std::uint8_t> far = bytes;
        std::int32_t x0 = 0;
        std::int32_t x1 = 0;
        std::memcpy(&x0, far.data() + box, 4);
        std::memcpy(&x1, far.data() + box + 12, 4);
        ASSERT_EQ(x0, -4);
        ASSERT_EQ(x1, 9);
        XPutWord(far, box, 1u << 30);
        XPutWord(far, box + 12, (1u << 30) + 13);
        X2ChannelVolumetric target;
        EXPECT_EQ(XReadErrorCode(far, target), 0);
        EXPECT_TRUE(target.IsPrepared());
        EXPECT_GT(target.GetVolumeBounds().GetMin().x, target.GetVolumeBounds().GetMax().x);
        EXPECT_EQ(target.GetDensity(XMathVectorF3(1073741828.0f, 1, 1)), 0.0f);
    }
    // Another volumetric class's record.
    std::vector<std::uint8_t> otherClass = bytes;
    XPutWord(otherClass, bytes.size() - 8, 14925);
    X2ChannelVolumetric target;
    EXPECT_EQ(XReadErrorCode(otherClass, target), XException::kWrongClass);
}

TEST_F(XMultiChannelVolumetricTest, CopiesShareThePackedVolumeUnderReadLocksOfTheirOwn)
{
    const std::uint32_t sample = XAddGrey8Sample(1, 6, 6, 6, Ramp);
    auto original =
        Prepared<X1ChannelVolumetric>(XMakeChannelSpecifications(1, false, {1}), sample);
    const XPackedMultiChannelVolume* packed = original->GetPackedVolume();
    EXPECT_EQ(packed->GetLockCount(), 1u);
    EXPECT_TRUE(packed->GetBuffer()->IsLocked());
    {
        const auto clone = XClone(*original);
        EXPECT_EQ(clone->GetPackedVolume(), packed);
        EXPECT_EQ(clone->GetEmptySpaceGrid(), original->GetEmptySpaceGrid());
        EXPECT_EQ(packed->GetLockCount(), 2u);
        EXPECT_EQ(clone->GetReferenceCount(), 1);
        for (const XMathVectorF3& point : RandomPoints(3, XMathVectorF3(5, 5, 5), 100))
        {
            EXPECT_EQ(clone->GetDensity(point), original->GetDensity(point));
        }
        // The copy outlives the original.
        original = nullptr;
        EXPECT_EQ(clone->GetPackedVolume()->GetLockCount(), 1u);
        EXPECT_GT(clone->GetDensity(XMathVectorF3(2, 2, 2)), 0.0f);
    }
}
