#include "tests/scenes/XConstantSlabVolumetric.h"
#include "tests/scenes/XTestSceneBuilder.h"
#include "x-platform/core/XRay.h"
#include "x-platform/image/XFilm.h"
#include "x-platform/image/XImageSampler.h"
#include "x-platform/rendering/XTracer.h"
#include "x-platform/shading/XCheckeredTexture.h"
#include "x-platform/shading/XGlassMaterial.h"
#include "x-platform/shading/XMatteMaterial.h"
#include "x-platform/shading/XPlasticMaterial.h"
#include "x-platform/shading/XRGBSolidTexture.h"

#include <gtest/gtest.h>

#include "tests/support/XAllocationCounter.h"

TEST(XTracerAllocationTest, TracingAndMarchingAllocateNothing)
{
    if (!kXCanCountAllocations)
    {
        GTEST_SKIP() << "allocation counting needs the plain allocator";
    }
    // Every kind of material and a lit, marched volume; mirrors and transmission on.
    XRenderOptions options;
    options.transmission = true;
    XTracer tracer(options);
    tracer.SetScene(
        XTestSceneBuilder()
            .AddSphere(XMathVectorF3(0, 0, 0), 1.0f,
                       XMakeRef<XMatteMaterial>(
                           std::make_unique<XRGBCheckeredTexture>(
                               std::make_unique<XRGBSolidTexture>(XRGBSpectrum(1, 0, 0)),
                               std::make_unique<XRGBSolidTexture>(XRGBSpectrum(0, 1, 0))),
                           0.2f, 1.0f))
            .AddSphere(
                XMathVectorF3(2, 0, 0), 1.0f,
                XMakeRef<XPlasticMaterial>(XRGBSpectrum(1, 1, 1), 20.0f, 0.6f, 0.4f, 0.0f, 1.0f))
            .AddDisk(XMatrix_4x4<float>::Translation(0, 0, -3), 3.0f, XMakeRef<XGlassMaterial>())
            .AddLight(XMathVectorF3(0, 5, -5), XRGBSpectrum(1, 1, 1))
            .AddLight(XMathVectorF3(5, 0, -5), XRGBSpectrum(1, 1, 1))
            .SetVolumetric(XMakeRef<XConstantSlabVolumetric>(XMathVectorF3(4, 4, 4), 0.1f,
                                                             XRGBSpectrum(1, 1, 1), 0.5f))
            .Build());
    XFilm film(16, 16, nullptr);
    const long traced = XCountAllocations(
        [&]
        {
            for (int i = 0; i < 64; ++i)
            {
                const float x = -2.0f + 0.0625f * static_cast<float>(i);
                const XRay ray(XMathVectorF3(x, 0.5f, -10), XMathVectorF3(0, 0, 1), 0.0f, 50.0f);
                tracer.Trace(ray, 4, ImageSample());
                tracer.ShadowTransmittance(ray);
            }
        });
    EXPECT_EQ(traced, 0);

    // A region render allocates its camera's and sampler's few blocks, however many samples.
    XFilm small(4, 4, nullptr);
    XFilm large(16, 16, nullptr);
    const long smallRegion = XCountAllocations([&] { tracer.RenderRegion(small, 0, 1); });
    const long largeRegion = XCountAllocations([&] { tracer.RenderRegion(large, 0, 1); });
    EXPECT_EQ(largeRegion, smallRegion);
    EXPECT_LE(largeRegion, 4);
}
