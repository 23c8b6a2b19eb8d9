#include "XBenchScratchFolder.h"

#include "apps/demo/XDemoScene.h"
#include "host/core/XException.h"
#include "host/core/XLocalNetJobQueueBackend.h"
#include "x-platform/distributed/XDistributedRenderer.h"
#include "x-platform/image/XFilm.h"
#include "x-platform/module/XRayTracerRenderer.h"
#include "x-platform/module/XStorableClassTable.h"
#include "x-platform/module/XVolumeRayTracerTool.h"

#include <benchmark/benchmark.h>
#include <nlohmann/json.hpp>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <system_error>

// Whole frames through the scene-file renderer, as `voltrace render` makes them: 512 x 512, one
// sample per pixel side, on two threads and on one. The scenes are the demo (generated once),
// the example scenes (pointed at the sample data folder) and the benchmark workloads. The scene
// is read and prepared once; every iteration renders into a fresh film.
namespace
{
constexpr std::uint32_t kFrameSide = 512;

namespace fs = std::filesystem;

const fs::path& GetScratchFolder()
{
    static const XBenchScratchFolder folder("voltrace-bench-frame");
    return folder.GetPath();
}

void RequireFile(const fs::path& inFile)
{
    if (!fs::is_regular_file(inFile))
    {
        throw XException(XException::kIOError, "missing " + inFile.string());
    }
}

// Where a scene comes from; each kind resolves to a scene file ready to render.
enum class XSceneKind
{
    kDemo,
    kExample,
    kWorkload
};

fs::path DemoScene()
{
    static const fs::path scene = XDemoScene::WriteDemo(GetScratchFolder() / "demo").scene;
    return scene;
}

// An example scene names its stack relative to the checkout; the copy written here names the
// stack of that name in the sample data folder instead, so the examples render wherever the
// folder is configured.
fs::path ExampleScene(const std::string& inName)
{
    const fs::path source = fs::path(VOLTRACE_EXAMPLES_DIR) / inName;
    RequireFile(source);
    nlohmann::json root;
    {
        std::ifstream input(source);
        root = nlohmann::json::parse(input);
    }
    nlohmann::json& file = root.at("volume").at("file");
    const fs::path stack =
        fs::path(VOLTRACE_SAMPLE_DATA_DIR) / fs::path(file.get<std::string>()).filename();
    RequireFile(stack);
    file = stack.string();

    const fs::path folder = GetScratchFolder() / "examples";
    fs::create_directories(folder);
    const fs::path scene = folder / inName;
    std::ofstream output(scene);
    output << root.dump(2) << '\n';
    if (!output)
    {
        throw XException(XException::kIOError, "cannot write " + scene.string());
    }
    return scene;
}

fs::path WorkloadScene(const std::string& inName)
{
    const fs::path scene = fs::path(VOLTRACE_BENCH_DATA_DIR) / inName;
    RequireFile(scene);
    return scene;
}

fs::path ResolveScene(XSceneKind inKind, const std::string& inName)
{
    switch (inKind)
    {
    case XSceneKind::kDemo:
        return DemoScene();
    case XSceneKind::kExample:
        return ExampleScene(inName);
    case XSceneKind::kWorkload:
        return WorkloadScene(inName);
    }
    throw XException(XException::kInvalidArgument, "unknown scene kind");
}

// The renderer of the most recently benchmarked scene. The runs of one scene (both thread
// counts, every repetition) follow each other, so each scene is read and prepared once and only
// one stack is held at a time.
XRayTracerRenderer& GetRenderer(XSceneKind inKind, const std::string& inName)
{
    static std::string key;
    static std::unique_ptr<XRayTracerRenderer> renderer;
    const std::string wanted = std::to_string(static_cast<int>(inKind)) + '/' + inName;
    if (!renderer || key != wanted)
    {
        XRegisterStorableClasses(); // tiled frames may send the scene through streams
        renderer.reset();
        auto created = std::make_unique<XRayTracerRenderer>(ResolveScene(inKind, inName));
        created->SetResolution(kFrameSide, kFrameSide);
        created->SetSamplesPerPixelSide(1);
        created->GetScene();
        renderer = std::move(created);
        key = wanted;
    }
    return *renderer;
}

// The renderer of the scene, or null after marking the benchmark skipped with the reason.
XRayTracerRenderer* FindRenderer(benchmark::State& state, XSceneKind inKind,
                                 const std::string& inName)
{
    try
    {
        return &GetRenderer(inKind, inName);
    }
    catch (const std::exception& error)
    {
        state.SkipWithError(error.what());
        return nullptr;
    }
}

// One frame per iteration on state.range(0) threads.
void BM_Frame(benchmark::State& state, XSceneKind inKind, const std::string& inName)
{
    XRayTracerRenderer* renderer = FindRenderer(state, inKind, inName);
    if (renderer == nullptr)
    {
        return;
    }
    const auto threads = static_cast<std::uint32_t>(state.range(0));
    const XSharedHandle<X3DScene>& scene = renderer->GetScene();
    for (auto _ : state)
    {
        state.PauseTiming();
        const std::unique_ptr<XFilm> film = renderer->CreateFilm();
        state.ResumeTiming();
        try
        {
            XVolumeRayTracerTool::RenderFilm(scene, renderer->GetRenderOptions(), *film, threads);
        }
        catch (const std::exception& error)
        {
            state.SkipWithError(error.what());
            break;
        }
        benchmark::ClobberMemory();
    }
}

// The same frame as BM_Frame, cut into tiles and passes and rendered as jobs of the job queue on
// a pool of state.range(0) workers (state.range(1) = 1: every job, result and the scene go
// through the stream format), merged as the results arrive. Compare with BM_Frame: the ratio is
// the cost of tiling, queueing and merging.
void BM_TiledFrame(benchmark::State& state, XSceneKind inKind, const std::string& inName)
{
    XRayTracerRenderer* renderer = FindRenderer(state, inKind, inName);
    if (renderer == nullptr)
    {
        return;
    }
    XDistributedRenderer tiled(std::make_unique<XLocalNetJobQueueBackend>(
        static_cast<std::uint32_t>(state.range(0)), state.range(1) != 0));
    tiled.SetRenderOptions(renderer->GetRenderOptions());
    for (auto _ : state)
    {
        state.PauseTiming();
        std::unique_ptr<XFilm> film = renderer->CreateFilm();
        state.ResumeTiming();
        const std::uint32_t frame = tiled.RenderFrame(renderer->GetScene(), std::move(film));
        tiled.WaitForFrame(frame);
        if (!tiled.GetFailures(frame).empty())
        {
            state.SkipWithError(tiled.GetFailures(frame).front().c_str());
            break;
        }
        state.PauseTiming();
        tiled.ReleaseFrame(frame);
        state.ResumeTiming();
    }
}

// Frames take from a fraction of a second to minutes, so a few timed frames per repetition and
// the median of three repetitions.
void FrameRuns(benchmark::internal::Benchmark* inBenchmark)
{
    inBenchmark->ArgName("threads")
        ->Arg(2)
        ->Arg(1)
        ->UseRealTime()
        ->Unit(benchmark::kMillisecond)
        ->Repetitions(3)
        ->ReportAggregatesOnly(true);
}

void FastFrames(benchmark::internal::Benchmark* inBenchmark)
{
    FrameRuns(inBenchmark);
    inBenchmark->Iterations(3);
}

void TiledFrames(benchmark::internal::Benchmark* inBenchmark)
{
    inBenchmark->ArgNames({"threads", "streams"})
        ->Args({2, 0})
        ->Args({1, 0})
        ->Args({2, 1})
        ->UseRealTime()
        ->Unit(benchmark::kMillisecond)
        ->Repetitions(3)
        ->ReportAggregatesOnly(true)
        ->Iterations(3);
}

// Lit frames cast a shadow ray from every sample and take far longer: one frame per repetition.
void SlowFrames(benchmark::internal::Benchmark* inBenchmark)
{
    FrameRuns(inBenchmark);
    inBenchmark->Iterations(1);
}
} // namespace

BENCHMARK_CAPTURE(BM_Frame, demo, XSceneKind::kDemo, std::string())->Apply(FastFrames);
BENCHMARK_CAPTURE(BM_TiledFrame, demo, XSceneKind::kDemo, std::string())->Apply(TiledFrames);

BENCHMARK_CAPTURE(BM_Frame, mouse_brain_crop_cells, XSceneKind::kExample,
                  std::string("mouse_brain_crop_cells.json"))
    ->Apply(FastFrames);
BENCHMARK_CAPTURE(BM_Frame, mouse_brain_whole, XSceneKind::kExample,
                  std::string("mouse_brain_whole.json"))
    ->Apply(FastFrames);
BENCHMARK_CAPTURE(BM_Frame, drosophila_epithelium_t0, XSceneKind::kExample,
                  std::string("drosophila_epithelium_t0.json"))
    ->Apply(FastFrames);
BENCHMARK_CAPTURE(BM_Frame, drosophila_epithelium_t4_oblique, XSceneKind::kExample,
                  std::string("drosophila_epithelium_t4_oblique.json"))
    ->Apply(FastFrames);
BENCHMARK_CAPTURE(BM_Frame, nucleus_confocal_widefield, XSceneKind::kExample,
                  std::string("nucleus_confocal_widefield.json"))
    ->Apply(FastFrames);

BENCHMARK_CAPTURE(BM_Frame, blobs_tubes_1ch, XSceneKind::kWorkload,
                  std::string("blobs_tubes_1ch.json"))
    ->Apply(FastFrames);
BENCHMARK_CAPTURE(BM_TiledFrame, blobs_tubes_1ch, XSceneKind::kWorkload,
                  std::string("blobs_tubes_1ch.json"))
    ->Apply(TiledFrames);
BENCHMARK_CAPTURE(BM_Frame, blobs_tubes_2ch, XSceneKind::kWorkload,
                  std::string("blobs_tubes_2ch.json"))
    ->Apply(FastFrames);
BENCHMARK_CAPTURE(BM_Frame, blobs_tubes_2ch_lit, XSceneKind::kWorkload,
                  std::string("blobs_tubes_2ch_lit.json"))
    ->Apply(SlowFrames);
