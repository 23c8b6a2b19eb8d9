// Sampling a prepared multi-channel volumetric must not allocate: it runs for every marching
// step of every ray.
#include "host/XHostClassTable.h"
#include "tests/scenes/XMultiChannelTestVolume.h"
#include "x-platform/volume/XMultiChannelVolumetricT.h"

#include <gtest/gtest.h>

#include "tests/support/XAllocationCounter.h"

TEST(XSamplingAllocationTest, DensityShadingAndGridQueriesAllocateNothing)
{
    if (!kXCanCountAllocations)
    {
        GTEST_SKIP() << "allocation counting needs the plain allocator";
    }
    XRegisterHostClasses();
    const std::uint32_t sample = XAddGrey8Sample(4, 20, 18, 16, XRandomSpotBytes(5, 20, 18, 16, 4));
    const auto specifications = XMakeChannelSpecifications(4, false, {1, 2, 3, 4});
    std::vector<XRef<XMultiChannelVolumetric>> volumetrics = {
        XMakeRef<X1ChannelVolumetric>(XMakeChannelSpecifications(4, false, {2}), sample, 0),
        XMakeRef<X2ChannelVolumetric>(XMakeChannelSpecifications(4, false, {1, 3}), sample, 0),
        XMakeRef<X3ChannelVolumetric>(XMakeChannelSpecifications(4, false, {1, 2, 4}), sample, 0),
        XMakeRef<XNScalarChannelVolumetric>(specifications, sample, 0)};
    for (const XRef<XMultiChannelVolumetric>& volumetric : volumetrics)
    {
        volumetric->Prepare();
        ASSERT_TRUE(volumetric->IsPrepared());
    }

    float sum = 0.0f;
    const long allocations = XCountAllocations(
        [&]
        {
            for (const XRef<XMultiChannelVolumetric>& volumetric : volumetrics)
            {
                const XVolumetric& base = *volumetric;
                for (float t = 0.0f; t < 19.0f; t += 0.37f)
                {
                    const XMathVectorF3 point(t, t * 0.9f, t * 0.75f);
                    float opacity = 0.0f;
                    XRGBSpectrum colour;
                    base.Shade(point, XMathVectorF3(1, 0, 0), opacity, colour);
                    sum += opacity + colour.g + base.GetDensity(point);
                    sum += base.GetEmptySpaceGrid()->IsEmptyAt(point) ? 1.0f : 0.0f;
                }
            }
        });
    EXPECT_EQ(allocations, 0);
    EXPECT_GT(sum, 0.0f);
}
