#include "x-platform/rendering/XSurfaceIntegrator.h"
#include "tests/scenes/XTestSceneBuilder.h"
#include "x-platform/core/XRay.h"
#include "x-platform/image/XImageSampler.h"
#include "x-platform/rendering/XTracer.h"
#include "x-platform/shading/XGlassMaterial.h"
#include "x-platform/shading/XMatteMaterial.h"
#include "x-platform/shading/XPlasticMaterial.h"
#include "x-platform/shading/XRGBSolidTexture.h"

#include <gtest/gtest.h>

namespace
{
const XRGBSpectrum kBackground(0.25f, 0.5f, 1.0f);
const XRGBSpectrum kTexture(0.5f, 0.25f, 1.0f);
const XRGBSpectrum kWhite(1.0f, 1.0f, 1.0f);
const XRGBSpectrum kBlack;

// A matte material of the colour with kd = 1 and ka = 0 (so a black filter: opaque).
XRef<XMaterial> Matte(const XRGBSpectrum& inColour)
{
    return XMakeRef<XMatteMaterial>(std::make_unique<XRGBSolidTexture>(inColour), 0.0f, 1.0f);
}

// A mirror: specular colour inSpecular, no diffuse or ambient colour.
XRef<XMaterial> Mirror(float inSpecular)
{
    return XMakeRef<XPlasticMaterial>(kWhite, 1.0f, 0.0f, inSpecular, 0.0f, 1.0f);
}

// A pure filter: ambient colour inFilter, specular colour inSpecular, nothing else.
XRef<XMaterial> Filter(const XRGBSpectrum& inFilter, const XRGBSpectrum& inSpecular = kBlack)
{
    return XMakeRef<XGlassMaterial>(inFilter, kBlack, kBlack, inSpecular);
}

XRGBSpectrum SurfaceLi(const XTracer& inTracer, XRay& ioRay, std::uint32_t inDepth)
{
    return inTracer.GetSurfaceIntegrator().Li(ioRay, inDepth, ImageSample(), *inTracer.GetScene(),
                                              inTracer);
}

XRGBSpectrum SurfaceLi(const XTracer& inTracer, const XRay& inRay, std::uint32_t inDepth)
{
    XRay ray = inRay;
    return SurfaceLi(inTracer, ray, inDepth);
}

void ExpectClose(const XRGBSpectrum& inActual, const XRGBSpectrum& inExpected)
{
    EXPECT_FLOAT_EQ(inActual.r, inExpected.r);
    EXPECT_FLOAT_EQ(inActual.g, inExpected.g);
    EXPECT_FLOAT_EQ(inActual.b, inExpected.b);
}

// Straight along +z from z = -5: meets a unit sphere at the origin head on at (0, 0, -1).
const XRay kAxisRay(XMathVectorF3(0, 0, -5), XMathVectorF3(0, 0, 1), 0.0f, 100.0f);
} // namespace

TEST(XSurfaceIntegratorTest, AMissGivesExactlyTheBackground)
{
    XTracer tracer;
    tracer.SetScene(XTestSceneBuilder()
                        .AddSphere(XMathVectorF3(0, 0, 0), 1.0f, Matte(kTexture))
                        .AddLight(XMathVectorF3(0, 0, -5), XRGBSpectrum(1, 1, 1))
                        .SetBackground(kBackground)
                        .Build());
    XRay miss(XMathVectorF3(0, 0, -5), XMathVectorF3(0, 1, 0), 0.0f, 100.0f);
    EXPECT_EQ(SurfaceLi(tracer, miss, 4), kBackground);
    EXPECT_EQ(miss.tMax, 100.0f);
    EXPECT_EQ(tracer.GetSurfaceIntegrator().Transmittance(miss, *tracer.GetScene()), kWhite);
    EXPECT_EQ(tracer.Trace(miss, 4, ImageSample()), kBackground);
    EXPECT_EQ(tracer.ShadowTransmittance(miss), kWhite);

    // A scene without surfaces has no hierarchy: every ray misses.
    XTracer empty;
    empty.SetScene(XTestSceneBuilder().SetBackground(kBackground).Build());
    EXPECT_EQ(empty.Trace(kAxisRay, 4, ImageSample()), kBackground);
    EXPECT_EQ(empty.ShadowTransmittance(kAxisRay), kWhite);

    // A hit shortens the ray to the surface.
    XRay hit = kAxisRay;
    SurfaceLi(tracer, hit, 0);
    EXPECT_EQ(hit.tMax, 4.0f);
}

TEST(XSurfaceIntegratorTest, ALightBehindTheSurfaceGivesOnlyItsAmbientShare)
{
    const XRGBSpectrum intensity(2, 4, 8);
    XTracer tracer;
    tracer.SetScene(XTestSceneBuilder()
                        .AddSphere(XMathVectorF3(0, 0, 0), 1.0f, Matte(kTexture))
                        .AddLight(XMathVectorF3(0, 0, 5), intensity)
                        .SetAmbientFraction(0.25f)
                        .Build());
    // kd T I a with kd = 1: (0.5 * 2, 0.25 * 4, 1 * 8) * 0.25.
    EXPECT_EQ(SurfaceLi(tracer, kAxisRay, 4), XRGBSpectrum(0.25f, 0.25f, 2.0f));
}

TEST(XSurfaceIntegratorTest, TheAmbientFractionSplitsEveryLight)
{
    // The light sits at (0, 4, -4): from the hit (0, 0, -1) the vector to it is (0, 4, -3),
    // distance 5, so the cosine with the normal (0, 0, -1) is 0.6.
    const XRGBSpectrum intensity(2, 4, 8);
    const XMathVectorF3 lightPosition(0, 4, -4);
    const auto build = [&](float inAmbient, bool inOccluded)
    {
        XTestSceneBuilder builder;
        builder.AddSphere(XMathVectorF3(0, 0, 0), 1.0f, Matte(kTexture))
            .AddLight(lightPosition, intensity)
            .SetAmbientFraction(inAmbient);
        if (inOccluded)
        {
            // An opaque ball halfway to the light (black ambient colour: a full shadow).
            builder.AddSphere(XMathVectorF3(0, 2, -2.5f), 0.5f, Matte(kTexture));
        }
        return builder.Build();
    };
    const XMathVectorF3 wi = XMathVectorF3(0, 4, -3) / 5.0f;
    const float cosine = Dot(wi, XMathVectorF3(0, 0, -1));
    ASSERT_NEAR(cosine, 0.6f, 1e-7f);
    const XRGBSpectrum reflected = kTexture * cosine * 1.0f; // T (n . L) kd
    const XRGBSpectrum direct = reflected * intensity * cosine;

    XTracer tracer;
    for (const float a : {0.0f, 0.5f, 1.0f})
    {
        SCOPED_TRACE(a);
        tracer.SetScene(build(a, false));
        ExpectClose(SurfaceLi(tracer, kAxisRay, 4), direct * (1.0f - a) + kTexture * intensity * a);
        // Shadowed: only the ambient share is left.
        tracer.SetScene(build(a, true));
        ExpectClose(SurfaceLi(tracer, kAxisRay, 4), kTexture * intensity * a);
    }
    // a = 0: no ambient term at all; a = 1: no shadows and no cosine.
    tracer.SetScene(build(0.0f, true));
    EXPECT_EQ(SurfaceLi(tracer, kAxisRay, 4), kBlack);
    tracer.SetScene(build(1.0f, true));
    EXPECT_EQ(SurfaceLi(tracer, kAxisRay, 4), XRGBSpectrum(1, 1, 8));
}

TEST(XSurfaceIntegratorTest, AShadowRayStopsJustShortOfTheLight)
{
    // Ball A (unit, at the origin) is seen from (0, 0, -1.5) head on at (0, 0, -1). Ball B (unit,
    // at (0, 0, -3)) lies behind the eye; its nearest point to A is (0, 0, -2).
    const XRGBSpectrum intensity(2, 4, 8);
    const XRay ray(XMathVectorF3(0, 0, -1.5f), XMathVectorF3(0, 0, 1), 0.0f, 100.0f);
    const auto shade = [&](const XMathVectorF3& inLight, XRef<XMaterial> inMaterialOfB)
    {
        XTracer tracer;
        tracer.SetScene(XTestSceneBuilder()
                            .AddSphere(XMathVectorF3(0, 0, 0), 1.0f, Matte(kTexture))
                            .AddSphere(XMathVectorF3(0, 0, -3), 1.0f, std::move(inMaterialOfB))
                            .AddLight(inLight, intensity)
                            .SetAmbientFraction(0.0f)
                            .Build());
        return SurfaceLi(tracer, ray, 0);
    };
    const XRGBSpectrum lit = kTexture * intensity; // cosine 1, nothing in the way
    // A light lying on B's surface: the shadow ray ends 1e-5 before it and B casts no shadow.
    EXPECT_EQ(shade(XMathVectorF3(0, 0, -2), Matte(kWhite)), lit);
    // A light inside B: B's black ambient colour casts a full shadow...
    EXPECT_EQ(shade(XMathVectorF3(0, 0, -2.5f), Matte(kWhite)), kBlack);
    // ...and a glass B filters the light with its ambient colour.
    EXPECT_EQ(shade(XMathVectorF3(0, 0, -2.5f), Filter(XRGBSpectrum(0.5f, 0.25f, 0.125f))),
              lit * XRGBSpectrum(0.5f, 0.25f, 0.125f));
}

TEST(XSurfaceIntegratorTest, MirrorRaysFollowTheSpecularColourUntilTheDepthIsUsedUp)
{
    // Ball A at the origin is met at 45 degrees and mirrors the ray to +y; ball B mirrors it on
    // to +z, out of the scene. Both mirror half the light; there are no lights.
    const float s = 0.70710678f;
    const XRay ray(XMathVectorF3(0, s, -5), XMathVectorF3(0, 0, 1), 0.0f, 100.0f);
    const auto build = [&]
    {
        return XTestSceneBuilder()
            .AddSphere(XMathVectorF3(0, 0, 0), 1.0f, Mirror(0.5f))
            .AddSphere(XMathVectorF3(0, 3, -2.0f * s), 1.0f, Mirror(0.5f))
            .SetBackground(kBackground)
            .Build();
    };
    XTracer tracer;
    tracer.SetScene(build());
    EXPECT_EQ(SurfaceLi(tracer, ray, 2), kBackground * 0.25f);
    EXPECT_EQ(SurfaceLi(tracer, ray, 4), kBackground * 0.25f);
    EXPECT_EQ(SurfaceLi(tracer, ray, 1), kBlack); // B is reached with depth 0
    EXPECT_EQ(SurfaceLi(tracer, ray, 0), kBlack);
    // Head on, A mirrors the ray straight back out of the scene.
    EXPECT_EQ(SurfaceLi(tracer, kAxisRay, 1), kBackground * 0.5f);

    XRenderOptions off;
    off.reflections = false;
    XTracer withoutReflections(off);
    withoutReflections.SetScene(build());
    EXPECT_EQ(SurfaceLi(withoutReflections, ray, 4), kBlack);
    EXPECT_EQ(SurfaceLi(withoutReflections, kAxisRay, 4), kBlack);
}

TEST(XSurfaceIntegratorTest, TransparentSurfacesArePassedEvenAtDepthZero)
{
    // Two filters across the axis at z = 0 and z = 1 that also mirror all light.
    const XRGBSpectrum first(0.5f, 0.25f, 1.0f);
    const XRGBSpectrum second(0.5f, 0.5f, 0.25f);
    const auto build = [&]
    {
        return XTestSceneBuilder()
            .AddDisk(XMatrix_4x4<float>(), 10.0f, Filter(first, kWhite))
            .AddDisk(XMatrix_4x4<float>::Translation(0, 0, 1), 10.0f, Filter(second, kWhite))
            .SetBackground(kBackground)
            .Build();
    };
    XRenderOptions options;
    options.transmission = true;
    XTracer tracer(options);
    tracer.SetScene(build());
    const XRGBSpectrum through = first * (second * kBackground);
    EXPECT_EQ(SurfaceLi(tracer, kAxisRay, 0), through);
    // With depth 1 the first filter also mirrors the background back (the mirror term is added
    // first), and the second is reached with depth 0: it mirrors nothing.
    EXPECT_EQ(SurfaceLi(tracer, kAxisRay, 1), kBackground + through);

    // Only the nearest surface filters a shadow ray, and the ray ends there.
    XRay shadow = kAxisRay;
    EXPECT_EQ(tracer.GetSurfaceIntegrator().Transmittance(shadow, *tracer.GetScene()), first);
    EXPECT_EQ(shadow.tMax, 5.0f);
    EXPECT_EQ(tracer.ShadowTransmittance(kAxisRay), first);

    // Without transmission nothing passes.
    XTracer opaque;
    opaque.SetScene(build());
    EXPECT_EQ(SurfaceLi(opaque, kAxisRay, 0), kBlack);
    EXPECT_EQ(SurfaceLi(opaque, kAxisRay, 1), kBackground);
}
