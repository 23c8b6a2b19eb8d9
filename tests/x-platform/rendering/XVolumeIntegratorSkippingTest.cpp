#include "x-platform/rendering/XVolumeIntegrator.h"

#include "host/XHostClassTable.h"
#include "host/imaging/XCamera.h"
#include "tests/scenes/XMultiChannelTestVolume.h"
#include "tests/scenes/XTestSceneBuilder.h"
#include "x-platform/core/XRay.h"
#include "x-platform/image/XBoxFilter.h"
#include "x-platform/image/XFilm.h"
#include "x-platform/image/XImageSampler.h"
#include "x-platform/rendering/XTracer.h"
#include "x-platform/shading/XMatteMaterial.h"
#include "x-platform/shading/XRGBSolidTexture.h"
#include "x-platform/volume/XEmptySpaceGrid.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <random>
#include <vector>

// Skipping empty space must not change a single bit of any result: Li and Transmittance with
// skipping on and off are compared bit for bit over real stacks, on rays of every kind, and a
// whole film likewise; and skipping must leave out exactly the samples the grid rules out.
namespace
{
const std::filesystem::path kDataFolder = VOLTRACE_SAMPLE_DATA_DIR;
const std::filesystem::path kBenchFolder = VOLTRACE_BENCH_DATA_DIR;

// Hands every query to a prepared multi-channel volumetric (same placement, bounds, step and
// grid) and counts the sampling queries, and those at points where the grid rules out opacity.
class XCountingVolumetric final : public XVolumetric
{
public:
    explicit XCountingVolumetric(XRef<XMultiChannelVolumetric> inInner)
        : itsInner(std::move(inInner))
    {
        SetTransform(itsInner->GetObjectToWorld());
        SetVolumeTransform(itsInner->GetVolumeTransform());
    }
    XCountingVolumetric(const XCountingVolumetric& inOther)
        : XVolumetric(inOther), itsInner(inOther.itsInner)
    {
    }

    std::unique_ptr<XStorable> Clone() const override
    {
        return std::make_unique<XCountingVolumetric>(*this);
    }
    XBoundingBox GetVolumeBounds() const override { return itsInner->GetVolumeBounds(); }
    float GetStepSize() const override { return itsInner->GetStepSize(); }
    const XEmptySpaceGrid* GetEmptySpaceGrid() const override
    {
        return itsInner->GetEmptySpaceGrid();
    }
    float GetDensity(const XMathVectorF3& inVoxelPoint) const override
    {
        Count(inVoxelPoint);
        return itsInner->GetDensity(inVoxelPoint);
    }
    void Shade(const XMathVectorF3& inVoxelPoint, const XMathVectorF3& inDirection,
               float& ioOpacity, XRGBSpectrum& outColour) const override
    {
        Count(inVoxelPoint);
        itsInner->Shade(inVoxelPoint, inDirection, ioOpacity, outColour);
    }

    std::uint64_t GetQueries() const { return itsQueries.load(); }
    std::uint64_t GetQueriesWhereEmpty() const { return itsQueriesWhereEmpty.load(); }
    void ResetCounters()
    {
        itsQueries = 0;
        itsQueriesWhereEmpty = 0;
    }

private:
    void Count(const XMathVectorF3& inVoxelPoint) const
    {
        itsQueries.fetch_add(1, std::memory_order_relaxed);
        if (itsInner->GetEmptySpaceGrid()->IsSampleEmptyAt(inVoxelPoint))
        {
            itsQueriesWhereEmpty.fetch_add(1, std::memory_order_relaxed);
        }
    }

    XRef<XMultiChannelVolumetric> itsInner;
    mutable std::atomic<std::uint64_t> itsQueries{0};
    mutable std::atomic<std::uint64_t> itsQueriesWhereEmpty{0};
};

bool SameBits(const XRGBSpectrum& inA, const XRGBSpectrum& inB)
{
    static_assert(sizeof(XRGBSpectrum) == 3 * sizeof(float));
    return std::memcmp(&inA, &inB, sizeof(XRGBSpectrum)) == 0;
}

// A point of the box at fractions inF of its extent.
XMathVectorF3 At(const XBoundingBox& inBox, const XMathVectorF3& inF)
{
    XMathVectorF3 point;
    for (int axis = 0; axis < 3; ++axis)
    {
        point[axis] =
            inBox.GetMin()[axis] + inF[axis] * (inBox.GetMax()[axis] - inBox.GetMin()[axis]);
    }
    return point;
}

// inPerKind world rays of each kind through the volumetric's world box: crossing it from
// outside, starting inside it, ending inside it (as at a surface there), grazing its faces,
// running along voxel lines and planes (where sample points lie on voxel boundaries), and
// crossing it with a long, non-unit direction.
std::vector<XRay> MakeRays(const XVolumetric& inVolumetric, std::uint32_t inSeed, int inPerKind)
{
    const XBoundingBox box = inVolumetric.GetBoundingBox();
    const XMathVectorF3 extent = box.GetMax() - box.GetMin();
    const float radius = extent.Length();
    std::mt19937 engine(inSeed);
    std::uniform_real_distribution<float> unit(0.0f, 1.0f);
    std::normal_distribution<float> normal(0.0f, 1.0f);
    const auto random = [&] { return XMathVectorF3(unit(engine), unit(engine), unit(engine)); };
    const auto direction = [&]
    { return XMathVectorF3(normal(engine), normal(engine), normal(engine)).Normalized(); };
    const XMathVectorF3 centre = box.GetCentroid();
    std::vector<XRay> rays;
    for (int index = 0; index < inPerKind; ++index)
    {
        // Crossing: from a sphere around the box toward a point inside.
        const XMathVectorF3 origin = centre + direction() * (1.5f * radius);
        const XMathVectorF3 target = At(box, random());
        rays.emplace_back(origin, (target - origin).Normalized());
        // Ending inside at the target, as a ray cut short by a surface.
        const float distance = (target - origin).Length();
        rays.emplace_back(origin, (target - origin) / distance, 0.0f, distance);
        // Starting inside, anywhere after a few units.
        rays.emplace_back(At(box, random()), direction(), unit(engine) * 0.01f * radius);
        // Grazing: along a face, inside its plane or a hair off it, nearly parallel to it.
        const int axis = index % 3;
        XMathVectorF3 start = At(box, random());
        start[axis] = (index / 3) % 2 == 0 ? box.GetMin()[axis] : box.GetMax()[axis];
        XMathVectorF3 along = direction();
        along[axis] = (index % 5 == 0 ? 0.0f : 1.0e-4f * normal(engine));
        along = along.Normalized();
        rays.emplace_back(start - along * radius, along);
        // Along a voxel line (two integer voxel coordinates) or plane (one), across the box.
        const XBoundingBox voxels = inVolumetric.GetVolumeBounds();
        XMathVectorF3 voxel = At(voxels, random());
        voxel[(axis + 1) % 3] = std::floor(voxel[(axis + 1) % 3]);
        if (index % 2 == 0)
        {
            voxel[(axis + 2) % 3] = std::floor(voxel[(axis + 2) % 3]);
        }
        XMathVectorF3 line;
        line[axis] = index % 4 < 2 ? 1.0f : -1.0f;
        if (index % 2 != 0)
        {
            line[(axis + 2) % 3] = 0.3f;
        }
        const XMatrix_4x4<float>& toWorld = inVolumetric.GetVoxelToWorld();
        const XMathVectorF3 worldVoxel = toWorld.TransformPoint(voxel);
        const XMathVectorF3 worldLine = toWorld.TransformVector(line).Normalized();
        rays.emplace_back(worldVoxel - worldLine * radius, worldLine);
        // A non-unit direction (the integrator normalises in voxel space).
        rays.emplace_back(origin, (target - origin) * 3.0f);
    }
    return rays;
}

// Tracers over one scene, with skipping on and off.
struct XTracerPair
{
    XTracer on;
    XTracer off;

    explicit XTracerPair(const XSharedHandle<X3DScene>& inScene)
    {
        on.SetScene(inScene);
        off.SetScene(inScene);
        off.SetEmptySpaceSkipping(false);
    }
};

// What comparing a set of rays found.
struct XComparison
{
    int rays = 0;
    int mismatches = 0;
    int withLight = 0;           // rays whose Li is not black
    int attenuated = 0;          // rays whose transmittance is below 1
    std::uint64_t queriesOn = 0; // the volumetric's sampling queries with skipping on
    std::uint64_t queriesOff = 0;
    std::uint64_t queriesWhereEmptyOn = 0;
    std::uint64_t queriesWhereEmptyOff = 0;
};

// Compares Li and Transmittance on and off for every ray, bit for bit.
XComparison CompareRays(const XTracerPair& inTracers, XCountingVolumetric& inVolumetric,
                        const std::vector<XRay>& inRays, bool inLi)
{
    XComparison result;
    const X3DScene& scene = *inTracers.on.GetScene();
    const ImageSample sample;
    for (const XRay& ray : inRays)
    {
        ++result.rays;
        const std::uint64_t before = inVolumetric.GetQueries();
        const std::uint64_t beforeEmpty = inVolumetric.GetQueriesWhereEmpty();
        const XRGBSpectrum trOn = inTracers.on.GetVolumeIntegrator().Transmittance(ray, scene);
        const XRGBSpectrum liOn =
            inLi ? inTracers.on.GetVolumeIntegrator().Li(ray, 0, sample, scene, inTracers.on)
                 : XRGBSpectrum();
        const std::uint64_t middle = inVolumetric.GetQueries();
        const std::uint64_t middleEmpty = inVolumetric.GetQueriesWhereEmpty();
        const XRGBSpectrum trOff = inTracers.off.GetVolumeIntegrator().Transmittance(ray, scene);
        const XRGBSpectrum liOff =
            inLi ? inTracers.off.GetVolumeIntegrator().Li(ray, 0, sample, scene, inTracers.off)
                 : XRGBSpectrum();
        result.queriesOn += middle - before;
        result.queriesWhereEmptyOn += middleEmpty - beforeEmpty;
        result.queriesOff += inVolumetric.GetQueries() - middle;
        result.queriesWhereEmptyOff += inVolumetric.GetQueriesWhereEmpty() - middleEmpty;
        if (!SameBits(trOn, trOff) || !SameBits(liOn, liOff))
        {
            if (++result.mismatches <= 5)
            {
                ADD_FAILURE() << "ray from " << ray.origin.x << " " << ray.origin.y << " "
                              << ray.origin.z << " along " << ray.direction.x << " "
                              << ray.direction.y << " " << ray.direction.z << " [" << ray.tMin
                              << ", " << ray.tMax << "]: Li " << liOn.r << " " << liOn.g << " "
                              << liOn.b << " vs " << liOff.r << " " << liOff.g << " " << liOff.b
                              << ", Tr " << trOn.r << " vs " << trOff.r;
            }
        }
        result.withLight += liOff.r + liOff.g + liOff.b > 0.0f ? 1 : 0;
        result.attenuated += trOff.r < 1.0f ? 1 : 0;
    }
    return result;
}

// The volumetric of a stack, wrapped to count, or null (and a skip) when the stack is missing.
XRef<XCountingVolumetric> LoadStack(const std::filesystem::path& inPath, const XChannelLook& inLook,
                                    float inScale)
{
    if (!std::filesystem::exists(inPath))
    {
        return nullptr;
    }
    XRegisterHostClasses();
    XRef<XMultiChannelVolumetric> volumetric = XMakeStackVolumetric(inPath, {1, 2}, 0, inLook);
    volumetric->SetVoxelSize(volumetric->GetVoxelSize() * inScale);
    return XMakeRef<XCountingVolumetric>(std::move(volumetric));
}

// Checks one stack: unlit Li and Transmittance on many rays, lit Li on fewer (every sample of
// a lit march casts a shadow ray through the volume).
void CheckStack(const XRef<XCountingVolumetric>& inVolumetric, std::uint32_t inSeed)
{
    XCountingVolumetric& volumetric = *inVolumetric;
    const XTracerPair unlit(
        XTestSceneBuilder().SetVolumetric(inVolumetric).SetAmbientFraction(0.3f).Build());
    const XComparison plain =
        CompareRays(unlit, volumetric, MakeRays(volumetric, inSeed, 50), true);
    EXPECT_EQ(plain.mismatches, 0) << "of " << plain.rays;
    // The rays see the data: many cross something opaque.
    EXPECT_GT(plain.withLight, plain.rays / 8);
    EXPECT_GT(plain.attenuated, plain.rays / 8);
    // Skipping asks only where the grid allows opacity; without it every sample is asked.
    EXPECT_EQ(plain.queriesWhereEmptyOn, 0u);
    EXPECT_GT(plain.queriesWhereEmptyOff, plain.queriesOff / 10);
    EXPECT_EQ(plain.queriesOn + plain.queriesWhereEmptyOff, plain.queriesOff);

    // A light off one corner of the box: shadow rays go through Transmittance too.
    const XBoundingBox box = volumetric.GetBoundingBox();
    const XMathVectorF3 light = box.GetMax() + (box.GetMax() - box.GetMin()) * 0.25f;
    const XTracerPair lit(XTestSceneBuilder()
                              .SetVolumetric(inVolumetric)
                              .SetAmbientFraction(0.3f)
                              .AddLight(light, XRGBSpectrum(1, 1, 1))
                              .Build());
    const XComparison shadowed =
        CompareRays(lit, volumetric, MakeRays(volumetric, inSeed + 1, 8), true);
    EXPECT_EQ(shadowed.mismatches, 0) << "of " << shadowed.rays;
    EXPECT_GT(shadowed.withLight, shadowed.rays / 8);
    EXPECT_EQ(shadowed.queriesWhereEmptyOn, 0u);
    // Transparent samples cast no shadow rays, so the saving is larger than the samples left out.
    EXPECT_LT(shadowed.queriesOn * 2, shadowed.queriesOff - shadowed.queriesWhereEmptyOff);
}
} // namespace

TEST(XVolumeIntegratorSkippingTest, SkippingKeepsEveryBitOnTheSparseBenchmarkStack)
{
    // Voxel size 1, scaled down as a scene file's automatic render scale does.
    const XRef<XCountingVolumetric> volumetric =
        LoadStack(kBenchFolder / "blobs_tubes_2ch_zcyx_u8.tif",
                  {.threshold = 0.0784f, .opacity = 0.45f}, 10.0f / 440.0f);
    if (!volumetric)
    {
        GTEST_SKIP() << "the benchmark stack is not there";
    }
    CheckStack(volumetric, 1);
}

TEST(XVolumeIntegratorSkippingTest, SkippingKeepsEveryBitOnTheNucleusStack)
{
    // Anisotropic voxels (0.5119 x 0.5119 x 0.4994 um), in micrometres.
    const XRef<XCountingVolumetric> volumetric =
        LoadStack(kDataFolder / "nucleus_hoechst_confocal_widefield_zcyx_u16.tif",
                  {.threshold = 0.25f}, 1.0f);
    if (!volumetric)
    {
        GTEST_SKIP() << "the nucleus stack is not there";
    }
    CheckStack(volumetric, 2);
}

TEST(XVolumeIntegratorSkippingTest, ALitFilmIsTheSameWithAndWithoutSkipping)
{
    const XRef<XCountingVolumetric> volumetric =
        LoadStack(kDataFolder / "nucleus_hoechst_confocal_widefield_zcyx_u16.tif",
                  {.threshold = 0.25f}, 0.1f);
    if (!volumetric)
    {
        GTEST_SKIP() << "the nucleus stack is not there";
    }
    // An opaque sphere inside the volume, a light above it, the camera looking at the centre.
    const XBoundingBox box = volumetric->GetBoundingBox();
    const XMathVectorF3 centre = box.GetCentroid();
    const XMathVectorF3 extent = box.GetMax() - box.GetMin();
    XRef<XMaterial> matte = XMakeRef<XMatteMaterial>(
        std::make_unique<XRGBSolidTexture>(XRGBSpectrum(0.8f, 0.7f, 0.6f)), 0.0f, 1.0f);
    const XSharedHandle<X3DScene> scene =
        XTestSceneBuilder()
            .SetVolumetric(volumetric)
            .AddSphere(centre + extent * 0.15f, 0.12f * extent.x, matte)
            .AddLight(centre + XMathVectorF3(0.3f, 0.8f, 0.9f) * extent.Length(),
                      XRGBSpectrum(1, 1, 1))
            .SetBackground(XRGBSpectrum(0.05f, 0.05f, 0.1f))
            .SetAmbientFraction(0.3f)
            .SetCamera(XCamera(centre + XMathVectorF3(0.4f, 0.5f, 1.0f) * (0.8f * extent.Length()),
                               centre, XMathVectorF3(0, 1, 0)))
            .Build();
    XTracerPair tracers(scene);
    XFilm on(48, 48, std::make_unique<XBoxFilter>());
    XFilm off(48, 48, std::make_unique<XBoxFilter>());
    volumetric->ResetCounters();
    tracers.on.RenderRegion(on, 0, 1);
    const std::uint64_t queriesOn = volumetric->GetQueries();
    EXPECT_EQ(volumetric->GetQueriesWhereEmpty(), 0u);
    tracers.off.RenderRegion(off, 0, 1);
    EXPECT_LT(queriesOn * 2, volumetric->GetQueries() - queriesOn);

    int mismatches = 0;
    int lit = 0;
    for (int y = 0; y < 48; ++y)
    {
        for (int x = 0; x < 48; ++x)
        {
            const XFilm::XSamplePixel a = on.GetPixel(x, y);
            const XFilm::XSamplePixel b = off.GetPixel(x, y);
            static_assert(sizeof(XFilm::XSamplePixel) == 5 * sizeof(float));
            if (std::memcmp(&a, &b, sizeof(a)) != 0 && ++mismatches <= 5)
            {
                ADD_FAILURE() << "pixel " << x << " " << y << ": " << a.r << " " << a.g << " "
                              << a.b << " vs " << b.r << " " << b.g << " " << b.b;
            }
            EXPECT_EQ(b.weight, 1.0f);
            lit += std::abs(b.r - 0.05f) + std::abs(b.g - 0.05f) + std::abs(b.b - 0.1f) > 0.01f;
        }
    }
    EXPECT_EQ(mismatches, 0);
    // The nucleus and the sphere fill a good part of the picture.
    EXPECT_GT(lit, 48 * 48 / 20);
}

TEST(XVolumeIntegratorSkippingTest, TheSwitchIsOnByDefault)
{
    XVolumeIntegrator integrator;
    EXPECT_TRUE(integrator.SkipsEmptySpace());
    integrator.SetEmptySpaceSkipping(false);
    EXPECT_FALSE(integrator.SkipsEmptySpace());
    XTracer tracer;
    EXPECT_TRUE(tracer.GetVolumeIntegrator().SkipsEmptySpace());
    tracer.SetEmptySpaceSkipping(false);
    EXPECT_FALSE(tracer.GetVolumeIntegrator().SkipsEmptySpace());
}
