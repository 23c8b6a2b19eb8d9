#include "host/XHostClassTable.h"
#include "host/data/XDataVolumeSequence.h"
#include "host/data/XSampleDB.h"
#include "host/imaging/XCamera.h"
#include "host/imaging/XRect.h"
#include "tests/scenes/XMultiChannelTestVolume.h"
#include "tests/scenes/XTestSceneBuilder.h"
#include "x-platform/core/XRay.h"
#include "x-platform/image/XBoxFilter.h"
#include "x-platform/image/XFilm.h"
#include "x-platform/image/XImageSampler.h"
#include "x-platform/rendering/XPerspectiveCamera.h"
#include "x-platform/rendering/XTracer.h"
#include "x-platform/volume/XMultiChannelVolumetricFactory.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <vector>

// Volume marching throughput on one thread, with and without empty-space skipping (argument 1
// and 0). A workload is a stack, its channel looks and a camera as a scene file gives them, with
// the automatic render scale; the rays are every fourth pixel of a 512 x 512 picture in both
// directions (128 x 128 primary rays). "samples" counts the rays' marching positions inside the
// volume's bounds (early termination aside), so samples/s compare across both settings; in the
// lit workloads a shaded sample also casts a shadow ray toward the light (with skipping, only a
// sample with opacity does). Workloads: the two-channel blobs and tubes stack as its scene files
// show it, unlit and lit; the two-channel mouse brain crop (the largest multi-channel stack) with
// the same thresholds, where tissue fills nearly everything, and with a look that keeps the
// cells, unlit and lit.
namespace
{
const std::filesystem::path kBenchFolder = VOLTRACE_BENCH_DATA_DIR;
const std::filesystem::path kDataFolder = VOLTRACE_SAMPLE_DATA_DIR;

constexpr int kImageSide = 512;
constexpr int kRayStride = 4;

struct XChannelSetting
{
    std::uint32_t channel = 1;
    std::uint32_t colour = 0;
    float threshold = 0;
    float opacity = 0;
    std::optional<std::pair<double, double>> range = std::nullopt;
};

struct XWorkload
{
    std::filesystem::path file;
    std::vector<XChannelSetting> channels;
    XMathVectorF3 position;
    XMathVectorF3 lookAt;
    std::optional<XMathVectorF3> light = std::nullopt;
    float ambient = 0.2f;
};

struct XPreparedWorkload
{
    XSharedHandle<X3DScene> scene;
    std::vector<XRay> rays;
    std::uint64_t samples = 0;
};

// The scene file's render scale "auto": 1 when every corner of the volume's world box lies within
// 10 units of the camera, else 10 / the largest distance.
float AutomaticRenderScale(const XMathVectorF3& inCamera, const XMathVectorF3& inHigh)
{
    double largest = 0;
    for (int corner = 0; corner < 8; ++corner)
    {
        const double x = (corner & 1) ? inHigh.x : 0.0;
        const double y = (corner & 2) ? inHigh.y : 0.0;
        const double z = (corner & 4) ? inHigh.z : 0.0;
        largest = std::max(largest, std::hypot(x - inCamera.x, y - inCamera.y, z - inCamera.z));
    }
    return largest <= 10.0 ? 1.0f : static_cast<float>(10.0 / largest);
}

XPreparedWorkload Prepare(const XWorkload& inWorkload)
{
    if (!std::filesystem::exists(inWorkload.file))
    {
        throw std::runtime_error(inWorkload.file.string() + " is not there");
    }
    XRegisterHostClasses();
    const std::uint32_t sampleID = XSampleDB::GetDB().OpenFile(inWorkload.file);
    const XDataVolumeSequence* sequence = XDBGetSample<XDataVolumeSequence>(sampleID);
    std::vector<std::uint32_t> shown;
    for (const XChannelSetting& setting : inWorkload.channels)
    {
        shown.push_back(setting.channel);
    }
    std::vector<XChannelShadeSpecification> specifications =
        XMakeChannelSpecifications(sequence->GetChannelCount(), sequence->IsColour(), shown);
    for (const XChannelSetting& setting : inWorkload.channels)
    {
        XChannelShadeSpecification& shade = specifications[setting.channel - 1];
        shade.SetColour(setting.colour);
        shade.SetProperty(XChannelShadeSpecification::kThresholdProperty, setting.threshold);
        shade.SetProperty(XChannelShadeSpecification::kOpacityProperty, setting.opacity);
    }
    XRef<XMultiChannelVolumetric> volumetric =
        XMultiChannelVolumetricFactory::Create(std::move(specifications), sampleID, 0);
    for (const XChannelSetting& setting : inWorkload.channels)
    {
        if (setting.range)
        {
            volumetric->SetDisplayRange(setting.channel, setting.range->first,
                                        setting.range->second);
        }
    }
    volumetric->Prepare();
    const XMathVectorF3 voxelSize = volumetric->GetVoxelSize();
    const XMathVectorF3 last = volumetric->GetVolumeBounds().GetMax();
    const XMathVectorF3 high(last.x * voxelSize.x, last.y * voxelSize.y, last.z * voxelSize.z);
    const float scale = AutomaticRenderScale(inWorkload.position, high);
    volumetric->SetVoxelSize(voxelSize * scale);

    XTestSceneBuilder builder;
    builder.SetVolumetric(volumetric)
        .SetAmbientFraction(inWorkload.ambient)
        .SetCamera(XCamera(inWorkload.position * scale, inWorkload.lookAt * scale,
                           XMathVectorF3(0, 1, 0)));
    if (inWorkload.light)
    {
        builder.AddLight(*inWorkload.light * scale, XRGBSpectrum(1, 1, 1));
    }
    XPreparedWorkload prepared;
    prepared.scene = builder.Build();

    // The tracer's fixed camera.
    const XFilm film(kImageSide, kImageSide, std::make_unique<XBoxFilter>());
    const XPerspectiveCamera camera(prepared.scene->GetCamera().GetCameraToWorld(),
                                    XRectF(-1.0f, -1.0f, 1.0f, 1.0f), 1.0e-6f, 50.0f, 1.0f, 1.0f,
                                    40.0f, film);
    for (int y = 0; y < kImageSide; y += kRayStride)
    {
        for (int x = 0; x < kImageSide; x += kRayStride)
        {
            ImageSample sample;
            sample.imageX = static_cast<float>(x) + 0.5f;
            sample.imageY = static_cast<float>(y) + 0.5f;
            XRay ray;
            camera.GenerateRay(sample, ray);
            prepared.samples += XVolumeIntegrator::CountSamples(ray, *prepared.scene);
            prepared.rays.push_back(ray);
        }
    }
    return prepared;
}

// The two-channel blobs and tubes stack as its scene files show it, with or without the light.
XWorkload BlobsTubes(bool inLit)
{
    XWorkload workload;
    workload.file = kBenchFolder / "blobs_tubes_2ch_zcyx_u8.tif";
    workload.channels = {
        {1, XChannelShadeSpecification::MakeColour(0x33, 0xFF, 0x66), 0.0784f, 0.45f},
        {2, XChannelShadeSpecification::MakeColour(0xFF, 0x33, 0xCC), 0.0784f, 0.45f}};
    workload.position = XMathVectorF3(261.1f, 309.8f, 430.7f);
    workload.lookAt = XMathVectorF3(127.5f, 127.5f, 63.5f);
    if (inLit)
    {
        workload.light = XMathVectorF3(40, 420, 300);
        workload.ambient = 0.3f;
    }
    return workload;
}

// The two-channel mouse brain crop (667 x 510 x 30 voxels of 2 x 2 x 5 um), windowed near the
// 99.9th percentiles and seen from the direction of the blobs. With the blobs' thresholds the
// tissue fills the crop; the "cells" look keeps the cell bodies and the brightest tissue.
XWorkload MouseBrain(bool inCells, bool inLit)
{
    XWorkload workload;
    workload.file = kDataFolder / "mouse_brain_stp_crop_2ch_zcyx_u16.ome.tif";
    workload.channels = {{1, XChannelShadeSpecification::MakeColour(0x33, 0xFF, 0x66),
                          inCells ? 0.3f : 0.0784f, 0.45f, std::pair<double, double>(0, 1700)},
                         {2, XChannelShadeSpecification::MakeColour(0xFF, 0x33, 0xCC),
                          inCells ? 0.5f : 0.0784f, 0.45f, std::pair<double, double>(0, 800)}};
    const XMathVectorF3 centre(666.0f, 509.0f, 72.5f);
    const float scale = 1500.0f / 431.3f;
    workload.lookAt = centre;
    workload.position = centre + XMathVectorF3(133.6f, 182.3f, 367.2f) * scale;
    if (inLit)
    {
        // Where the blobs' light stands relative to their centre.
        workload.light = centre + XMathVectorF3(-87.5f, 292.5f, 236.5f) * scale;
        workload.ambient = 0.3f;
    }
    return workload;
}

enum XWorkloadID
{
    kBlobsTubes,
    kBlobsTubesLit,
    kMouseBrain,
    kMouseBrainCells,
    kMouseBrainCellsLit
};

enum class XKind
{
    kLi,
    kTransmittance
};

// Prepared once per workload for all the benchmarks of this program.
const XPreparedWorkload& GetWorkload(int inWhich)
{
    static std::map<int, XPreparedWorkload> workloads;
    auto found = workloads.find(inWhich);
    if (found == workloads.end())
    {
        const XWorkload workload =
            inWhich == kBlobsTubes || inWhich == kBlobsTubesLit
                ? BlobsTubes(inWhich == kBlobsTubesLit)
                : MouseBrain(inWhich != kMouseBrain, inWhich == kMouseBrainCellsLit);
        found = workloads.emplace(inWhich, Prepare(workload)).first;
    }
    return found->second;
}

void RunMarch(benchmark::State& state, int inWhich, XKind inKind)
{
    const XPreparedWorkload* workload = nullptr;
    try
    {
        workload = &GetWorkload(inWhich);
    }
    catch (const std::exception& inError)
    {
        state.SkipWithError(inError.what());
        return;
    }
    XTracer tracer;
    tracer.SetScene(workload->scene);
    tracer.SetEmptySpaceSkipping(state.range(0) != 0);
    const XVolumeIntegrator& integrator = tracer.GetVolumeIntegrator();
    const X3DScene& scene = *workload->scene;
    const ImageSample sample;
    for (auto _ : state)
    {
        XRGBSpectrum sum;
        for (const XRay& ray : workload->rays)
        {
            sum += inKind == XKind::kLi ? integrator.Li(ray, 0, sample, scene, tracer)
                                        : integrator.Transmittance(ray, scene);
        }
        benchmark::DoNotOptimize(sum);
    }
    state.counters["samples/s"] = benchmark::Counter(static_cast<double>(workload->samples) *
                                                         static_cast<double>(state.iterations()),
                                                     benchmark::Counter::kIsRate);
    state.counters["rays"] = static_cast<double>(workload->rays.size());
    state.counters["samples/ray"] =
        static_cast<double>(workload->samples) / static_cast<double>(workload->rays.size());
}
} // namespace

static void BM_BlobsTubesLi(benchmark::State& state)
{
    RunMarch(state, kBlobsTubes, XKind::kLi);
}
static void BM_BlobsTubesTransmittance(benchmark::State& state)
{
    RunMarch(state, kBlobsTubes, XKind::kTransmittance);
}
static void BM_BlobsTubesLitLi(benchmark::State& state)
{
    RunMarch(state, kBlobsTubesLit, XKind::kLi);
}
static void BM_MouseBrainLi(benchmark::State& state)
{
    RunMarch(state, kMouseBrain, XKind::kLi);
}
static void BM_MouseBrainTransmittance(benchmark::State& state)
{
    RunMarch(state, kMouseBrain, XKind::kTransmittance);
}
static void BM_MouseBrainCellsLi(benchmark::State& state)
{
    RunMarch(state, kMouseBrainCells, XKind::kLi);
}
static void BM_MouseBrainCellsTransmittance(benchmark::State& state)
{
    RunMarch(state, kMouseBrainCells, XKind::kTransmittance);
}
static void BM_MouseBrainCellsLitLi(benchmark::State& state)
{
    RunMarch(state, kMouseBrainCellsLit, XKind::kLi);
}

// Argument: skipping off (0) or on (1).
BENCHMARK(BM_BlobsTubesLi)->ArgName("skip")->DenseRange(0, 1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_BlobsTubesTransmittance)
    ->ArgName("skip")
    ->DenseRange(0, 1)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_BlobsTubesLitLi)->ArgName("skip")->DenseRange(0, 1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MouseBrainLi)->ArgName("skip")->DenseRange(0, 1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MouseBrainTransmittance)
    ->ArgName("skip")
    ->DenseRange(0, 1)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MouseBrainCellsLi)->ArgName("skip")->DenseRange(0, 1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MouseBrainCellsTransmittance)
    ->ArgName("skip")
    ->DenseRange(0, 1)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MouseBrainCellsLitLi)
    ->ArgName("skip")
    ->DenseRange(0, 1)
    ->Unit(benchmark::kMillisecond);
