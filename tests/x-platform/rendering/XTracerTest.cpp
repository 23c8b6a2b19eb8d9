#include "x-platform/rendering/XTracer.h"
#include "host/core/XCancellationScope.h"
#include "host/core/XException.h"
#include "host/core/XInternalError.h"
#include "host/core/XThreadCancelled.h"
#include "tests/scenes/XConstantSlabVolumetric.h"
#include "tests/scenes/XLitMatteSphereScene.h"
#include "tests/scenes/XTestMaterial.h"
#include "tests/scenes/XTestSceneBuilder.h"
#include "x-platform/core/XRay.h"
#include "x-platform/image/XFilm.h"
#include "x-platform/image/XImageSampler.h"
#include "x-platform/rendering/XPerspectiveCamera.h"
#include "x-platform/rendering/XRenderProgressHook.h"
#include "x-platform/shading/XGlassMaterial.h"
#include "x-platform/shading/XPlasticMaterial.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace
{
// The tracer's camera for a film, built independently here: hither 1e-6, yon 50, lens
// parameters 1, 40 degrees, the screen window (-a, -1) to (a, 1), a = x / y resolution.
XPerspectiveCamera MakeCamera(const XFilm& inFilm, const X3DScene& inScene)
{
    const float a = inFilm.GetResolutionX() / inFilm.GetResolutionY();
    return XPerspectiveCamera(inScene.GetCamera().GetCameraToWorld(), XRectF(-a, -1.0f, a, 1.0f),
                              1.0e-6f, 50.0f, 1.0f, 1.0f, 40.0f, inFilm);
}

// The colour the tracer gives the centre of pixel (x, y) at inDepth.
XRGBSpectrum TraceCentre(const XTracer& inTracer, const XFilm& inFilm, int inX, int inY,
                         std::uint32_t inDepth)
{
    ImageSample sample;
    sample.imageX = static_cast<float>(inX) + 0.5f;
    sample.imageY = static_cast<float>(inY) + 0.5f;
    XRay ray;
    MakeCamera(inFilm, *inTracer.GetScene()).GenerateRay(sample, ray);
    return inTracer.Trace(ray, inDepth, sample);
}

XRGBSpectrum ColourOf(const XFilm::XSamplePixel& inPixel)
{
    return XRGBSpectrum(inPixel.r, inPixel.g, inPixel.b);
}

void ExpectSameFilms(const XFilm& inActual, const XFilm& inExpected)
{
    const XRect& rect = inExpected.GetSampleRect();
    ASSERT_EQ(inActual.GetSampleRect(), rect);
    for (int y = rect.top; y < rect.bottom; ++y)
    {
        for (int x = rect.left; x < rect.right; ++x)
        {
            const XFilm::XSamplePixel actual = inActual.GetPixel(x, y);
            const XFilm::XSamplePixel expected = inExpected.GetPixel(x, y);
            EXPECT_EQ(ColourOf(actual), ColourOf(expected)) << x << ", " << y;
            EXPECT_EQ(actual.weight, expected.weight) << x << ", " << y;
            EXPECT_EQ(actual.a, expected.a) << x << ", " << y;
        }
    }
}

class XCountingHook final : public XRenderProgressHook
{
public:
    void Begin() override { ++begins; }
    void End() override { ++ends; }

    int begins = 0;
    int ends = 0;
};

// A test material that asks the current render to stop while the given diffuse-colour query
// (one per camera ray in a scene of one light and no reflections) is answered.
class XCancellingMaterial final : public XTestMaterial
{
public:
    XCancellingMaterial(std::atomic<bool>& ioFlag, int inCancelAt)
        : XTestMaterial(XRGBSpectrum(0.5f, 0.25f, 1.0f)), itsFlag(ioFlag), itsCancelAt(inCancelAt)
    {
    }
    void GetDiffuseColour(XRGBSpectrum& outColour, const XRayHit& inHit) const override
    {
        if (itsCalls.fetch_add(1) + 1 == itsCancelAt)
        {
            itsFlag = true;
        }
        XTestMaterial::GetDiffuseColour(outColour, inHit);
    }

private:
    std::atomic<bool>& itsFlag;
    const int itsCancelAt;
    mutable std::atomic<int> itsCalls{0};
};

const XConstantSlabVolumetric& SlabOf(const XTracer& inTracer)
{
    return dynamic_cast<const XConstantSlabVolumetric&>(*inTracer.GetScene()->GetVolumetric());
}

// A slab far out of view, only to count the scene's render notifications.
XRef<XConstantSlabVolumetric> MakeWitnessSlab()
{
    auto slab = XMakeRef<XConstantSlabVolumetric>(XMathVectorF3(1, 1, 1), 0.5f,
                                                  XRGBSpectrum(1, 1, 1), 0.5f);
    slab->SetVolumeTransform(XMatrix_4x4<float>::Translation(100, 100, 100));
    return slab;
}
} // namespace

TEST(XTracerTest, KeepsItsRenderSettings)
{
    const XTracer defaults;
    EXPECT_EQ(defaults.GetOptions(), XRenderOptions());
    EXPECT_FALSE(defaults.GetScene());
    EXPECT_FALSE(defaults.GetTimer().IsRunning());
    XRenderOptions options;
    options.firstFlag = true;
    options.transmission = true;
    options.samplesPerPixelSide = 3;
    options.maxDepth = 7;
    options.secondCount = 11;
    const XTracer tracer(options);
    EXPECT_EQ(tracer.GetOptions(), options);
}

TEST(XTracerTest, TheLitMatteSphereHasItsAnalyticValueHeadOn)
{
    const XLitMatteSphereScene sphere;
    XTracer tracer;
    tracer.SetScene(sphere.Build());
    // From the eye straight at the centre: kd T I (1 - a) + kd T I a, exactly.
    const XRay axis(XMathVectorF3(0, 0, -10), XMathVectorF3(0, 0, 1), 0.0f, 50.0f);
    const XRGBSpectrum expected = sphere.ExpectedHeadOn();
    EXPECT_EQ(tracer.Trace(axis, 4, ImageSample()), expected);
    // By hand: kd = 0.75 * 2 = 1.5, T = (0.75, 0.5, 0.25), I = (2, 1, 4): kd T I = (2.25, 0.75,
    // 1.5), and the two shares add up to it.
    EXPECT_FLOAT_EQ(expected.r, 2.25f);
    EXPECT_FLOAT_EQ(expected.g, 0.75f);
    EXPECT_FLOAT_EQ(expected.b, 1.5f);

    // A 5 x 5 film: the centre pixel looks along the axis, the corners miss the sphere, and
    // every pixel holds one sample: the trace of its centre's camera ray.
    XFilm film(5, 5, nullptr);
    tracer.RenderRegion(film, 0, 1);
    const XFilm::XSamplePixel centre = film.GetPixel(2, 2);
    EXPECT_NEAR(centre.r, expected.r, 1e-5f);
    EXPECT_NEAR(centre.g, expected.g, 1e-5f);
    EXPECT_NEAR(centre.b, expected.b, 1e-5f);
    EXPECT_EQ(ColourOf(film.GetPixel(0, 0)), sphere.background);
    EXPECT_EQ(ColourOf(film.GetPixel(4, 4)), sphere.background);
    for (int y = 0; y < 5; ++y)
    {
        for (int x = 0; x < 5; ++x)
        {
            const XFilm::XSamplePixel pixel = film.GetPixel(x, y);
            EXPECT_EQ(pixel.weight, 1.0f);
            EXPECT_EQ(pixel.a, 1.0f);
            EXPECT_EQ(ColourOf(pixel), TraceCentre(tracer, film, x, y, 4)) << x << ", " << y;
        }
    }
    EXPECT_FALSE(tracer.GetTimer().IsRunning());
    EXPECT_GT(tracer.GetTimer().GetStartTime(), 0);
}

TEST(XTracerTest, EachPixelSideIsCutIntoStrata)
{
    XRenderOptions options;
    options.samplesPerPixelSide = 2;
    XTracer tracer(options);
    tracer.SetScene(XLitMatteSphereScene().Build());
    XFilm film(6, 4, nullptr);
    tracer.RenderRegion(film, 0, 1);
    // Four samples per pixel at the strata centres; the film files a sample at x + 0.25 under
    // pixel x - 1 (its half-pixel truncation), so the first column and row gain, the last lose.
    float total = 0;
    for (int y = 0; y < 4; ++y)
    {
        for (int x = 0; x < 6; ++x)
        {
            total += film.GetPixel(x, y).weight;
        }
    }
    EXPECT_EQ(total, 4.0f * 6 * 4);
    EXPECT_EQ(film.GetPixel(0, 0).weight, 9.0f);
    EXPECT_EQ(film.GetPixel(2, 1).weight, 4.0f);
    EXPECT_EQ(film.GetPixel(5, 3).weight, 1.0f);
    // The last pixel's only sample is its own stratum at (5.75, 3.75).
    ImageSample sample;
    sample.imageX = 5.75f;
    sample.imageY = 3.75f;
    XRay ray;
    MakeCamera(film, *tracer.GetScene()).GenerateRay(sample, ray);
    EXPECT_EQ(ColourOf(film.GetPixel(5, 3)), tracer.Trace(ray, 4, sample));
}

TEST(XTracerTest, WithoutReflectionsCameraRaysHaveDepthZeroButPassTransparentSurfaces)
{
    // A mirror ball of radius 2 at the origin sends the centre ray straight back out of the
    // scene; the corners miss it.
    const XRGBSpectrum background(0.25f, 0.5f, 1.0f);
    const auto mirrorScene = [&]
    {
        return XTestSceneBuilder()
            .AddSphere(
                XMathVectorF3(0, 0, 0), 2.0f,
                XMakeRef<XPlasticMaterial>(XRGBSpectrum(1, 1, 1), 1.0f, 0.0f, 0.5f, 0.0f, 1.0f))
            .SetBackground(background)
            .Build();
    };
    XRenderOptions options;
    options.maxDepth = 3;
    XTracer withReflections(options);
    withReflections.SetScene(mirrorScene());
    XFilm mirrored(5, 5, nullptr);
    withReflections.RenderRegion(mirrored, 0, 1);
    EXPECT_EQ(ColourOf(mirrored.GetPixel(2, 2)), background * 0.5f);
    EXPECT_EQ(ColourOf(mirrored.GetPixel(1, 2)), TraceCentre(withReflections, mirrored, 1, 2, 3));
    EXPECT_EQ(ColourOf(mirrored.GetPixel(1, 2)), background * 0.5f);
    EXPECT_EQ(ColourOf(mirrored.GetPixel(0, 0)), background);

    options.reflections = false;
    XTracer withoutReflections(options);
    withoutReflections.SetScene(mirrorScene());
    XFilm plain(5, 5, nullptr);
    withoutReflections.RenderRegion(plain, 0, 1);
    EXPECT_EQ(ColourOf(plain.GetPixel(2, 2)), XRGBSpectrum());
    EXPECT_EQ(ColourOf(plain.GetPixel(1, 2)), XRGBSpectrum());
    EXPECT_EQ(ColourOf(plain.GetPixel(0, 0)), background);

    // A filter across the view is passed at depth 0.
    const XRGBSpectrum filter(0.5f, 0.25f, 0.125f);
    options.transmission = true;
    XTracer throughGlass(options);
    throughGlass.SetScene(
        XTestSceneBuilder()
            .AddDisk(XMatrix_4x4<float>(), 100.0f,
                     XMakeRef<XGlassMaterial>(filter, XRGBSpectrum(), XRGBSpectrum(),
                                              XRGBSpectrum(1, 1, 1)))
            .SetBackground(background)
            .Build());
    XFilm glass(5, 5, nullptr);
    throughGlass.RenderRegion(glass, 0, 1);
    EXPECT_EQ(ColourOf(glass.GetPixel(2, 2)), filter * background);
    EXPECT_EQ(ColourOf(glass.GetPixel(4, 0)), filter * background);
}

TEST(XTracerTest, RenderingRegionByRegionGivesTheSameFilmAsAllAtOnce)
{
    // The lit sphere behind a slab of fog with voxels of half a unit.
    const XLitMatteSphereScene sphere;
    const auto build = [&]
    {
        auto fog = XMakeRef<XConstantSlabVolumetric>(XMathVectorF3(8, 8, 8), 0.05f,
                                                     XRGBSpectrum(0.5f, 0.5f, 1.0f), 0.25f);
        fog->SetVolumeTransform(XMatrix_4x4<float>::Translation(-2, -2, -4) *
                                XMatrix_4x4<float>::Scale(0.5f, 0.5f, 0.5f));
        return XTestSceneBuilder()
            .AddSphere(XMathVectorF3(0, 0, 0), 1.0f,
                       XMakeRef<XMatteMaterial>(std::make_unique<XRGBSolidTexture>(sphere.colour),
                                                0.25f, 2.0f))
            .AddLight(XMathVectorF3(0, 0, -10), sphere.intensity)
            .SetVolumetric(fog)
            .SetBackground(sphere.background)
            .Build();
    };
    XTracer tracer;
    tracer.SetScene(build());
    XFilm whole(12, 8, nullptr);
    tracer.RenderRegion(whole, 0, 1);
    // The fog was marched.
    EXPECT_GT(SlabOf(tracer).GetShadeCalls(), 0);

    // Interleaved columns: offsets 0, 1, 2 with step 3.
    XFilm columns(12, 8, nullptr);
    for (int offset = 0; offset < 3; ++offset)
    {
        tracer.RenderRegion(columns, offset, 3);
    }
    ExpectSameFilms(columns, whole);

    // Tiles rendered in films of their own and merged, as render jobs do.
    XFilm tiles(12, 8, nullptr);
    for (int top = 0; top < 8; top += 4)
    {
        for (int left = 0; left < 12; left += 4)
        {
            const std::unique_ptr<XFilm> tile =
                tiles.CreateSubFilm(XRect(left, top, left + 4, top + 4));
            tracer.RenderRegion(*tile, 0, 1);
            tiles.Merge(*tile);
        }
    }
    ExpectSameFilms(tiles, whole);

    // Two threads, each with its own tracer and scene copy, sharing one film: the film's lock
    // makes them take turns region by region.
    XFilm shared(12, 8, nullptr);
    std::vector<std::thread> threads;
    for (int offset = 0; offset < 2; ++offset)
    {
        threads.emplace_back(
            [&, offset]
            {
                XTracer own;
                own.SetScene(build());
                own.RenderRegion(shared, offset, 2);
            });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    ExpectSameFilms(shared, whole);
}

TEST(XTracerTest, ACancelledRegionKeepsTheSamplesAddedBeforeTheCancellation)
{
    // The camera sits inside a large ball, so that every camera ray hits it and asks its
    // material once for the diffuse colour; the fifth query cancels the render.
    std::atomic<bool> cancel{false};
    const auto build = [&](int inCancelAt)
    {
        return XTestSceneBuilder()
            .AddSphere(XMathVectorF3(0, 0, 0), 20.0f,
                       XMakeRef<XCancellingMaterial>(cancel, inCancelAt))
            .AddLight(XMathVectorF3(0, 0, 0), XRGBSpectrum(1, 1, 1))
            .SetVolumetric(MakeWitnessSlab())
            .Build();
    };
    XRenderOptions options;
    options.reflections = false;
    XTracer tracer(options);
    tracer.SetScene(build(5));
    XCountingHook hook;
    tracer.SetProgressHook(&hook);
    XFilm film(4, 3, nullptr);
    {
        const XCancellationScope scope(cancel);
        EXPECT_THROW(tracer.RenderRegion(film, 0, 1), XThreadCancelled);
    }
    // The film is unlocked, the begin hook and notification ran, the end ones did not.
    EXPECT_TRUE(film.TryLockFor(XLockMode::kWrite));
    film.UnlockFor(XLockMode::kWrite);
    EXPECT_EQ(hook.begins, 1);
    EXPECT_EQ(hook.ends, 0);
    EXPECT_EQ(SlabOf(tracer).GetRenderBegins(), 1);
    EXPECT_EQ(SlabOf(tracer).GetRenderEnds(), 0);

    // The first five pixels in the sampler's order (row by row) hold their samples, exactly as
    // a complete render gives them; the rest are untouched.
    XTracer complete(options);
    complete.SetScene(build(0));
    XFilm reference(4, 3, nullptr);
    complete.RenderRegion(reference, 0, 1);
    for (int y = 0; y < 3; ++y)
    {
        for (int x = 0; x < 4; ++x)
        {
            const XFilm::XSamplePixel pixel = film.GetPixel(x, y);
            if (y * 4 + x < 5)
            {
                EXPECT_EQ(pixel.weight, 1.0f) << x << ", " << y;
                EXPECT_EQ(ColourOf(pixel), ColourOf(reference.GetPixel(x, y)));
            }
            else
            {
                EXPECT_EQ(pixel.weight, 0.0f) << x << ", " << y;
                EXPECT_EQ(ColourOf(pixel), XRGBSpectrum());
            }
        }
    }
}

TEST(XTracerTest, ARegionWithoutSamplesStillRunsTheHooksAndNotifications)
{
    XTracer tracer;
    tracer.SetScene(XTestSceneBuilder()
                        .AddSphere(XMathVectorF3(0, 0, 0), 1.0f, XMakeRef<XTestMaterial>())
                        .SetVolumetric(MakeWitnessSlab())
                        .Build());
    XCountingHook hook;
    tracer.SetProgressHook(&hook);

    // A film without pixels.
    XFilm empty(0, 0, nullptr);
    tracer.RenderRegion(empty, 0, 1);
    EXPECT_EQ(hook.begins, 1);
    EXPECT_EQ(hook.ends, 1);
    EXPECT_EQ(SlabOf(tracer).GetRenderBegins(), 1);
    EXPECT_EQ(SlabOf(tracer).GetRenderEnds(), 1);

    // A column offset beyond the film: nothing lands in it.
    XFilm film(4, 3, nullptr);
    tracer.RenderRegion(film, 4, 8);
    for (int y = 0; y < 3; ++y)
    {
        for (int x = 0; x < 4; ++x)
        {
            EXPECT_EQ(film.GetPixel(x, y).weight, 0.0f);
        }
    }
    EXPECT_EQ(hook.begins, 2);
    EXPECT_EQ(hook.ends, 2);
    EXPECT_EQ(SlabOf(tracer).GetRenderEnds(), 2);
    EXPECT_FALSE(film.IsLocked());
}

TEST(XTracerTest, BadSettingsThrowBeforeAnythingRuns)
{
    XRenderOptions options;
    options.samplesPerPixelSide = 0;
    XTracer tracer(options);
    tracer.SetScene(XTestSceneBuilder().SetVolumetric(MakeWitnessSlab()).Build());
    XCountingHook hook;
    tracer.SetProgressHook(&hook);
    XFilm film(4, 4, nullptr);
    try
    {
        tracer.RenderRegion(film, 0, 1);
        ADD_FAILURE() << "no exception";
    }
    catch (const XException& error)
    {
        EXPECT_EQ(error.GetCode(), XException::kInvalidArgument);
    }
    XTracer stepless;
    stepless.SetScene(tracer.GetScene());
    EXPECT_THROW(stepless.RenderRegion(film, 0, 0), XException);
    EXPECT_EQ(hook.begins, 0);
    EXPECT_EQ(SlabOf(tracer).GetRenderBegins(), 0);
    EXPECT_FALSE(film.IsLocked());

    // Without a scene: reported, and nothing is rendered.
    XInternalErrorCapture capture;
    XTracer sceneless;
    sceneless.RenderRegion(film, 0, 1);
    EXPECT_EQ(sceneless.Trace(XRay(), 0, ImageSample()), XRGBSpectrum());
    EXPECT_EQ(sceneless.ShadowTransmittance(XRay()), XRGBSpectrum(1, 1, 1));
    EXPECT_EQ(capture.GetConditions(), std::vector<std::string>(3, "itsScene"));
    EXPECT_EQ(film.GetPixel(0, 0).weight, 0.0f);
}
