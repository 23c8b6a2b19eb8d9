// Checks that hold for all six multi-channel volumetric classes, each over a small random sample
// of the layout it renders.
#include "host/XHostClassTable.h"
#include "host/core/XClassRegistry.h"
#include "host/core/XStream.h"
#include "tests/scenes/XMultiChannelTestVolume.h"
#include "x-platform/volume/XMultiChannelVolumetricT.h"
#include "x-platform/volume/XVolumeClassTable.h"

#include <gtest/gtest.h>

#include <random>

namespace
{
constexpr std::uint32_t kWidth = 13;
constexpr std::uint32_t kHeight = 11;
constexpr std::uint32_t kDepth = 10;

template <class T>
struct XLayout;

template <>
struct XLayout<X1ChannelVolumetric>
{
    static constexpr std::uint32_t kChannels = 1;
    static constexpr bool kColour = false;
    static constexpr const char* kName = "X1ChannelVolumetric";
};
template <>
struct XLayout<X2ChannelVolumetric>
{
    static constexpr std::uint32_t kChannels = 2;
    static constexpr bool kColour = false;
    static constexpr const char* kName = "X2ChannelVolumetric";
};
template <>
struct XLayout<X3ChannelVolumetric>
{
    static constexpr std::uint32_t kChannels = 3;
    static constexpr bool kColour = false;
    static constexpr const char* kName = "X3ChannelVolumetric";
};
template <>
struct XLayout<XNScalarChannelVolumetric>
{
    static constexpr std::uint32_t kChannels = 4;
    static constexpr bool kColour = false;
    static constexpr const char* kName = "XNScalarChannelVolumetric";
};
template <>
struct XLayout<XNMixedChannelVolumetric>
{
    static constexpr std::uint32_t kChannels = 2;
    static constexpr bool kColour = true;
    static constexpr const char* kName = "XNMixedChannelVolumetric";
};
template <>
struct XLayout<X1ColourChannelVolumetric>
{
    static constexpr std::uint32_t kChannels = 1;
    static constexpr bool kColour = true;
    static constexpr const char* kName = "X1ColourChannelVolumetric";
};

template <class T>
class XMultiChannelVolumetricContractTest : public testing::Test
{
protected:
    using XTraits = XLayout<T>;

    void SetUp() override
    {
        XRegisterHostClasses();
        XRegisterVolumeClasses();
        const std::uint32_t components = XTraits::kChannels * (XTraits::kColour ? 3 : 1);
        // Random spots, but only the dark floor from x = 8 on, so that the cells beyond x = 8
        // are empty.
        const auto spots = XRandomSpotBytes(101 + components, kWidth, kHeight, kDepth, components);
        const auto bytes =
            [spots](std::uint32_t inChannel, std::int32_t inX, std::int32_t inY, std::int32_t inZ)
        {
            const std::uint8_t byte = spots(inChannel, inX, inY, inZ);
            return inX >= 8 ? static_cast<std::uint8_t>(byte & 15) : byte;
        };
        std::uint32_t sample = 0;
        if (XTraits::kColour)
        {
            sample = XAddColourSample(
                XTraits::kChannels, kWidth, kHeight, kDepth,
                [&](std::uint32_t inChannel, std::int32_t inX, std::int32_t inY, std::int32_t inZ)
                {
                    const std::uint32_t first = 3 * (inChannel - 1) + 1;
                    return XARGB32Colour{255, bytes(first, inX, inY, inZ),
                                         bytes(first + 1, inX, inY, inZ),
                                         bytes(first + 2, inX, inY, inZ)};
                });
        }
        else
        {
            sample = XAddGrey8Sample(XTraits::kChannels, kWidth, kHeight, kDepth, bytes);
        }
        std::vector<std::uint32_t> shown(XTraits::kChannels);
        for (std::uint32_t channel = 1; channel <= XTraits::kChannels; ++channel)
        {
            shown[channel - 1] = channel;
        }
        itsVolumetric =
            XMakeRef<T>(XMakeChannelSpecifications(XTraits::kChannels, XTraits::kColour, shown,
                                                   {.threshold = 0.06f, .opacity = 0.4f}),
                        sample, 0);
        itsVolumetric->Prepare();
        ASSERT_TRUE(itsVolumetric->IsPrepared());
    }

    std::vector<XMathVectorF3> Points(std::uint32_t inSeed, std::size_t inCount) const
    {
        std::mt19937 engine(inSeed);
        std::uniform_real_distribution<float> x(0.0f, kWidth - 1.0f);
        std::uniform_real_distribution<float> y(0.0f, kHeight - 1.0f);
        std::uniform_real_distribution<float> z(0.0f, kDepth - 1.0f);
        std::vector<XMathVectorF3> points;
        for (std::size_t index = 0; index < inCount; ++index)
        {
            points.emplace_back(x(engine), y(engine), z(engine));
        }
        return points;
    }

    XRef<T> itsVolumetric;
};

using XClasses =
    testing::Types<X1ChannelVolumetric, X2ChannelVolumetric, X3ChannelVolumetric,
                   XNScalarChannelVolumetric, XNMixedChannelVolumetric, X1ColourChannelVolumetric>;
TYPED_TEST_SUITE(XMultiChannelVolumetricContractTest, XClasses);
} // namespace

TYPED_TEST(XMultiChannelVolumetricContractTest, IsRegisteredWithTheBaseAndItsOwnIdentifier)
{
    const TypeParam& volumetric = *this->itsVolumetric;
    EXPECT_EQ(XClassRegistry::Get().GetName(volumetric.GetClassID()), TestFixture::XTraits::kName);
    bool found = false;
    for (const XClassRegistry::XEntry& entry : XClassRegistry::Get().GetEntries())
    {
        if (entry.classId == volumetric.GetClassID())
        {
            EXPECT_EQ(entry.baseClassId, 14922u);
            found = true;
        }
    }
    EXPECT_TRUE(found);
    EXPECT_EQ(volumetric.GetStepSize(), 0.75f);
    EXPECT_EQ(volumetric.GetVolumeBounds(),
              XBoundingBox(XMathVectorF3(0, 0, 0),
                           XMathVectorF3(kWidth - 1.0f, kHeight - 1.0f, kDepth - 1.0f)));
}

TYPED_TEST(XMultiChannelVolumetricContractTest, ShadingOpacityIsTheDensityAndInterpolatesCorners)
{
    const TypeParam& volumetric = *this->itsVolumetric;
    std::size_t opaque = 0;
    for (const XMathVectorF3& point : this->Points(1, 3000))
    {
        float opacity = -5.0f;
        XRGBSpectrum colour;
        volumetric.Shade(point, XMathVectorF3(1, 0, 0), opacity, colour);
        ASSERT_EQ(opacity, volumetric.GetDensity(point));
        EXPECT_GE(opacity, 0.0f);
        EXPECT_LE(opacity, 1.0f);
        EXPECT_GE(colour.r, 0.0f);
        opaque += opacity > 0;

        // Along x between lattice points the density is the linear mix of the two ends.
        const XMathVectorF3 lower(std::floor(point.x), std::floor(point.y), std::floor(point.z));
        const XMathVectorF3 upper = lower + XMathVectorF3(1, 0, 0);
        const XMathVectorF3 between = lower + XMathVectorF3(0.25f, 0, 0);
        EXPECT_NEAR(volumetric.GetDensity(between),
                    0.75f * volumetric.GetDensity(lower) + 0.25f * volumetric.GetDensity(upper),
                    1e-6f);
    }
    EXPECT_GT(opaque, 300u);
    // Nothing outside the data bounds.
    EXPECT_EQ(volumetric.GetDensity(XMathVectorF3(-0.5f, 1, 1)), 0.0f);
    EXPECT_EQ(volumetric.GetDensity(XMathVectorF3(1, 1, kDepth - 0.5f)), 0.0f);
}

TYPED_TEST(XMultiChannelVolumetricContractTest, EmptySpaceHoldsNoOpacityAnywhere)
{
    const TypeParam& volumetric = *this->itsVolumetric;
    const XEmptySpaceGrid* grid = volumetric.GetEmptySpaceGrid();
    ASSERT_NE(grid, nullptr);
    ASSERT_EQ(static_cast<const XVolumetric&>(volumetric).GetEmptySpaceGrid(), grid);
    // 13 x 11 x 10 voxels: 2 x 2 x 2 cells.
    EXPECT_EQ(grid->GetCellCounts(), (std::array<std::uint32_t, 3>{2, 2, 2}));
    // Cells with x index 1 read the voxels 8..12 only, all dark.
    for (std::int32_t cell = 0; cell < 4; ++cell)
    {
        EXPECT_FALSE(grid->IsCellEmpty(0, cell & 1, cell >> 1));
        EXPECT_TRUE(grid->IsCellEmpty(1, cell & 1, cell >> 1));
    }
    std::size_t empty = 0;
    std::size_t opaque = 0;
    for (const XMathVectorF3& point : this->Points(2, 20000))
    {
        opaque += volumetric.GetDensity(point) > 0.0f;
        if (grid->IsEmptyAt(point))
        {
            float opacity = -1.0f;
            XRGBSpectrum colour(1, 1, 1);
            volumetric.Shade(point, XMathVectorF3(0, 1, 0), opacity, colour);
            ASSERT_EQ(opacity, 0.0f);
            ASSERT_EQ(volumetric.GetDensity(point), 0.0f);
            ++empty;
        }
    }
    EXPECT_GT(empty, 5000u);
    EXPECT_GT(opaque, 1000u);
}

TYPED_TEST(XMultiChannelVolumetricContractTest, ClonesAndStreamedCopiesSampleIdentically)
{
    const TypeParam& volumetric = *this->itsVolumetric;
    const auto clone = XClone(volumetric);
    XMemoryStream stream;
    stream.WriteObject(&volumetric);
    const std::unique_ptr<TypeParam> read = stream.ReadObjectAs<TypeParam>();
    ASSERT_NE(read, nullptr);
    for (const XMathVectorF3& point : this->Points(3, 1000))
    {
        float opacity[3] = {};
        XRGBSpectrum colour[3];
        volumetric.Shade(point, XMathVectorF3(0, 0, 1), opacity[0], colour[0]);
        clone->Shade(point, XMathVectorF3(0, 0, 1), opacity[1], colour[1]);
        read->Shade(point, XMathVectorF3(0, 0, 1), opacity[2], colour[2]);
        ASSERT_EQ(opacity[1], opacity[0]);
        ASSERT_EQ(opacity[2], opacity[0]);
        ASSERT_EQ(colour[1], colour[0]);
        ASSERT_EQ(colour[2], colour[0]);
    }
}
