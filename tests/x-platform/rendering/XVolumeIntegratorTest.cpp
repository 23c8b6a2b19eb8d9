#include "x-platform/rendering/XVolumeIntegrator.h"
#include "tests/scenes/XBoxTestVolumetric.h"
#include "tests/scenes/XConstantSlabVolumetric.h"
#include "tests/scenes/XTestSceneBuilder.h"
#include "x-platform/core/XRay.h"
#include "x-platform/image/XImageSampler.h"
#include "x-platform/rendering/XTracer.h"
#include "x-platform/shading/XGlassMaterial.h"
#include "x-platform/shading/XMatteMaterial.h"
#include "x-platform/shading/XRGBSolidTexture.h"

#include <gtest/gtest.h>

#include <cmath>

namespace
{
const XRGBSpectrum kColour(1.0f, 0.5f, 0.25f);
const XRGBSpectrum kWhite(1, 1, 1);
const XRGBSpectrum kBlack;

// A slab filling the voxel box [0, 4]^3 with density 0.5, marched in steps of 0.5.
XRef<XConstantSlabVolumetric> MakeSlab(float inDensity = 0.5f, float inStep = 0.5f)
{
    return XMakeRef<XConstantSlabVolumetric>(XMathVectorF3(4, 4, 4), inDensity, kColour, inStep);
}

// Along +z through the slab from 2 units in front of it: the volume interval is [2, 6], and the
// samples lie at t = 2, 2.5, ..., 5.5 (z = 0, 0.5, ..., 3.5), eight of them.
const XRay kSlabRay(XMathVectorF3(0.5f, 0.5f, -2), XMathVectorF3(0, 0, 1), 0.0f, 100.0f);

XRGBSpectrum VolumeLi(const XTracer& inTracer, const XRay& inRay)
{
    return inTracer.GetVolumeIntegrator().Li(inRay, 4, ImageSample(), *inTracer.GetScene(),
                                             inTracer);
}

XRGBSpectrum VolumeTr(const XTracer& inTracer, const XRay& inRay)
{
    return inTracer.GetVolumeIntegrator().Transmittance(inRay, *inTracer.GetScene());
}

XRGBSpectrum Grey(float inValue)
{
    return XRGBSpectrum(inValue, inValue, inValue);
}

XRef<XMaterial> Opaque()
{
    return XMakeRef<XMatteMaterial>(std::make_unique<XRGBSolidTexture>(kWhite), 0.0f, 1.0f);
}
} // namespace

TEST(XVolumeIntegratorTest, WithoutAVolumetricItGivesBlackAndFullTransmittance)
{
    XTracer tracer;
    tracer.SetScene(XTestSceneBuilder().SetAmbientFraction(1.0f).Build());
    EXPECT_EQ(VolumeLi(tracer, kSlabRay), kBlack);
    EXPECT_EQ(VolumeTr(tracer, kSlabRay), kWhite);

    // A ray that passes beside the slab.
    const XRef<XConstantSlabVolumetric> slab = MakeSlab();
    tracer.SetScene(XTestSceneBuilder().SetVolumetric(slab).SetAmbientFraction(1.0f).Build());
    const XRay beside(XMathVectorF3(5, 0.5f, -2), XMathVectorF3(0, 0, 1), 0.0f, 100.0f);
    EXPECT_EQ(VolumeLi(tracer, beside), kBlack);
    EXPECT_EQ(VolumeTr(tracer, beside), kWhite);
    EXPECT_EQ(slab->GetShadeCalls() + slab->GetDensityCalls(), 0);

    // A disabled volumetric is left out although the ray passes through it.
    XRef<XBoxTestVolumetric> box = XMakeRef<XBoxTestVolumetric>(5.0f, 0.5f, kColour);
    box->enabled = false;
    tracer.SetScene(XTestSceneBuilder().SetVolumetric(box).SetAmbientFraction(1.0f).Build());
    EXPECT_EQ(VolumeLi(tracer, kSlabRay), kBlack);
    EXPECT_EQ(VolumeTr(tracer, kSlabRay), kWhite);
}

TEST(XVolumeIntegratorTest, TransmittanceIsTheProductOverTheSamplesOfOneMinusDensityTimesStep)
{
    const XRef<XConstantSlabVolumetric> slab = MakeSlab();
    XTracer tracer;
    tracer.SetScene(XTestSceneBuilder().SetVolumetric(slab).Build());

    // Eight samples of (1 - 0.5 * 0.5): 0.75^8 = 6561 / 65536.
    const XSlabMarch march = XComputeSlabMarch(2, 6, 0.5f);
    ASSERT_EQ(march.count, 8u);
    ASSERT_EQ(march.step, 0.5f);
    ASSERT_EQ(march.firstT, 2.0f);
    EXPECT_EQ(XSlabTransmittance(march, 0.5f), 6561.0f / 65536.0f);
    EXPECT_EQ(VolumeTr(tracer, kSlabRay), Grey(6561.0f / 65536.0f));
    EXPECT_EQ(slab->GetDensityCalls(), 8);

    // Stopped by a surface at z = 1.5 (tMax 3.5): the interval [2, 3.5] gives n = ceil(1.5) /
    // 0.5 = 4, step 0.375, the first sample at ceil(2 / 0.375) * 0.375 = 2.25 and four samples:
    // 0.8125^4 = 28561 / 65536.
    XRay shortened = kSlabRay;
    shortened.tMax = 3.5f;
    EXPECT_EQ(XSlabTransmittance(XComputeSlabMarch(2, 3.5f, 0.5f), 0.5f), 28561.0f / 65536.0f);
    EXPECT_EQ(VolumeTr(tracer, shortened), Grey(28561.0f / 65536.0f));

    // Distances are voxel distances: a direction of length 2, or voxels twice as long in z,
    // leave the samples where they were.
    const XRay fast(XMathVectorF3(0.5f, 0.5f, -2), XMathVectorF3(0, 0, 2), 0.0f, 100.0f);
    EXPECT_EQ(VolumeTr(tracer, fast), Grey(6561.0f / 65536.0f));
    const XRef<XConstantSlabVolumetric> stretched = MakeSlab();
    stretched->SetVolumeTransform(XMatrix_4x4<float>::Scale(1, 1, 2));
    tracer.SetScene(XTestSceneBuilder().SetVolumetric(stretched).Build());
    const XRay stretchedRay(XMathVectorF3(0.5f, 0.5f, -4), XMathVectorF3(0, 0, 1), 0.0f, 100.0f);
    EXPECT_EQ(VolumeTr(tracer, stretchedRay), Grey(6561.0f / 65536.0f));

    // The renderer's fine step: 0.01 voxel through the box test volumetric ([0, 3]^3), by the
    // same rules in float32.
    const float density = 0.25f;
    tracer.SetScene(XTestSceneBuilder()
                        .SetVolumetric(XMakeRef<XBoxTestVolumetric>(4.0f, density, kColour))
                        .Build());
    const XSlabMarch fine = XComputeSlabMarch(2, 5, 0.01f);
    EXPECT_EQ(fine.count, 300u);
    const XRGBSpectrum fineTr = VolumeTr(tracer, kSlabRay);
    EXPECT_EQ(fineTr.r, XSlabTransmittance(fine, density));
    EXPECT_NEAR(fineTr.r, std::pow(1.0 - 0.0025, 300.0), 1e-4);

    // An interval shorter than one step: n = 0, an infinite step and no sample.
    const XRef<XConstantSlabVolumetric> coarse = MakeSlab(0.5f, 2.0f);
    tracer.SetScene(XTestSceneBuilder().SetVolumetric(coarse).SetAmbientFraction(1.0f).Build());
    XRay sliver = kSlabRay;
    sliver.tMax = 2.5f;
    EXPECT_EQ(VolumeTr(tracer, sliver), kWhite);
    EXPECT_EQ(VolumeLi(tracer, sliver), kBlack);
    EXPECT_EQ(coarse->GetDensityCalls() + coarse->GetShadeCalls(), 0);
}

TEST(XVolumeIntegratorTest, AmbientShareOfEverySampleBehindTheOpacityInFrontOfIt)
{
    // Li uses the shading opacity (0.5) unscaled: the k-th sample is seen through 0.5^k and
    // adds c 0.5 0.5^k a; the eight samples add c (1 - 2^-8) a.
    const XRef<XConstantSlabVolumetric> slab = MakeSlab();
    XTracer tracer;
    for (const float a : {1.0f, 0.25f, 0.0f})
    {
        SCOPED_TRACE(a);
        tracer.SetScene(XTestSceneBuilder().SetVolumetric(slab).SetAmbientFraction(a).Build());
        slab->ResetCounters();
        EXPECT_EQ(VolumeLi(tracer, kSlabRay), kColour * (255.0f / 256.0f) * a);
        EXPECT_EQ(slab->GetShadeCalls(), 8);
    }
    // Up to a surface at z = 1.5 only the four samples in front of it count.
    tracer.SetScene(XTestSceneBuilder().SetVolumetric(slab).SetAmbientFraction(1.0f).Build());
    XRay shortened = kSlabRay;
    shortened.tMax = 3.5f;
    EXPECT_EQ(VolumeLi(tracer, shortened), kColour * (15.0f / 16.0f));
}

TEST(XVolumeIntegratorTest, MarchingEndsEarlyBehindAnOpaqueSample)
{
    // A fully opaque first sample still gives its own colour; the next one is cut off.
    const XRef<XConstantSlabVolumetric> opaque = MakeSlab(1.0f);
    XTracer tracer;
    tracer.SetScene(XTestSceneBuilder().SetVolumetric(opaque).SetAmbientFraction(1.0f).Build());
    EXPECT_EQ(VolumeLi(tracer, kSlabRay), kColour);
    EXPECT_EQ(opaque->GetShadeCalls(), 1);

    // Opacity 0.99999: the transmittance is 1e-5 at the second sample and 1e-10 (below 1e-8) at
    // the third, which is not shaded.
    const XRef<XConstantSlabVolumetric> dense = MakeSlab(0.99999f);
    tracer.SetScene(XTestSceneBuilder().SetVolumetric(dense).SetAmbientFraction(1.0f).Build());
    const XRGBSpectrum li = VolumeLi(tracer, kSlabRay);
    EXPECT_EQ(dense->GetShadeCalls(), 2);
    EXPECT_FLOAT_EQ(li.r, 0.99999f + 0.99999f * (1.0f - 0.99999f));

    // Transmittance stops once the mean of its channels is below 1e-8: with density x step = 1
    // the first sample ends it.
    const XRef<XConstantSlabVolumetric> wall = MakeSlab(1.0f, 1.0f);
    tracer.SetScene(XTestSceneBuilder().SetVolumetric(wall).Build());
    EXPECT_EQ(VolumeTr(tracer, kSlabRay), kBlack);
    EXPECT_EQ(wall->GetDensityCalls(), 1);
}

TEST(XVolumeIntegratorTest, LightsReachSamplesThroughTheShadowTransmittance)
{
    // A light to the side at (10, 0.5, 2); its intensity does not enter the volume's term.
    const XMathVectorF3 light(10, 0.5f, 2);
    const float a = 0.25f;
    const XRef<XConstantSlabVolumetric> slab = MakeSlab();
    const auto build = [&](const XRGBSpectrum& inIntensity, bool inBlocked)
    {
        XTestSceneBuilder builder;
        builder.SetVolumetric(slab).AddLight(light, inIntensity).SetAmbientFraction(a);
        if (inBlocked)
        {
            // An opaque wall in the plane x = 6, between the slab and the light.
            builder.AddDisk(XMatrix_4x4<float>::Translation(6, 0, 0) *
                                XMatrix_4x4<float>::Rotation(XMathVectorF3(0, 1, 0), 90.0f),
                            1000.0f, Opaque());
        }
        return builder.Build();
    };

    // Shadowed: every sample keeps only its ambient share.
    XTracer tracer;
    tracer.SetScene(build(XRGBSpectrum(3, 3, 3), true));
    EXPECT_EQ(VolumeLi(tracer, kSlabRay), kColour * (255.0f / 256.0f) * a);

    // Lit: each sample adds S c T (1 - a) alpha with S the shadow transmittance toward the
    // light, through the slab itself.
    tracer.SetScene(build(XRGBSpectrum(3, 3, 3), false));
    XRGBSpectrum expected;
    float transmittance = 1.0f;
    const float alpha = 0.5f;
    for (int k = 0; k < 8; ++k)
    {
        const XMathVectorF3 p(0.5f, 0.5f, 0.5f * static_cast<float>(k));
        const XMathVectorF3 toLight = light - p;
        const float distance = toLight.Length();
        const XRay shadowRay(p, toLight / distance, 0.001f, distance - 0.001f);
        const XRGBSpectrum shadow = tracer.ShadowTransmittance(shadowRay);
        EXPECT_GT(shadow.r, 0.0f);
        EXPECT_LT(shadow.r, 1.0f);
        expected += kColour * alpha * transmittance * a;
        expected += shadow * kColour * transmittance * (1.0f - a) * alpha;
        transmittance *= 1.0f - alpha;
    }
    const XRGBSpectrum lit = VolumeLi(tracer, kSlabRay);
    EXPECT_EQ(lit, expected);
    EXPECT_GT(lit.r, (kColour * (255.0f / 256.0f) * a).r);

    XTracer bright;
    bright.SetScene(build(XRGBSpectrum(100, 100, 100), false));
    EXPECT_EQ(VolumeLi(bright, kSlabRay), lit);
}

TEST(XVolumeIntegratorTest, TheTracerAddsTheVolumeUpToTheNearestSurface)
{
    const XRGBSpectrum background(0.125f, 0.25f, 0.5f);
    const XRef<XConstantSlabVolumetric> slab = MakeSlab();
    XTracer tracer;
    // No surface: L = background Tr + Lv.
    tracer.SetScene(XTestSceneBuilder()
                        .SetVolumetric(slab)
                        .SetBackground(background)
                        .SetAmbientFraction(1.0f)
                        .Build());
    EXPECT_EQ(tracer.Trace(kSlabRay, 4, ImageSample()),
              background * Grey(6561.0f / 65536.0f) + kColour * (255.0f / 256.0f));

    // A dark opaque wall at z = 1.5 inside the slab (no lights: it sends nothing): the volume is
    // marched only up to it, four samples. Depth 0, so that no mirror ray marches the slab too.
    tracer.SetScene(XTestSceneBuilder()
                        .SetVolumetric(slab)
                        .AddDisk(XMatrix_4x4<float>::Translation(0, 0, 1.5f), 100.0f, Opaque())
                        .SetBackground(background)
                        .SetAmbientFraction(1.0f)
                        .Build());
    slab->ResetCounters();
    EXPECT_EQ(tracer.Trace(kSlabRay, 0, ImageSample()), kColour * (15.0f / 16.0f));
    EXPECT_EQ(slab->GetShadeCalls(), 4);
    EXPECT_EQ(slab->GetDensityCalls(), 4);

    // A shadow ray through a glass wall is filtered by the wall and attenuated by the volume in
    // front of it only.
    const XRGBSpectrum filter(0.5f, 0.25f, 1.0f);
    tracer.SetScene(XTestSceneBuilder()
                        .SetVolumetric(slab)
                        .AddDisk(XMatrix_4x4<float>::Translation(0, 0, 1.5f), 100.0f,
                                 XMakeRef<XGlassMaterial>(filter, kBlack, kBlack, kBlack))
                        .Build());
    EXPECT_EQ(tracer.ShadowTransmittance(kSlabRay), filter * Grey(28561.0f / 65536.0f));
}
