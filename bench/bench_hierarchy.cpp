#include "host/core/XMutexLock.h"
#include "tests/scenes/XRandomSpheres.h"
#include "x-platform/core/XRay.h"
#include "x-platform/geometry/XRayHit.h"
#include "x-platform/rendering/X3DScene.h"
#include "x-platform/rendering/XBoundingVolumeHierarchy.h"

#include <benchmark/benchmark.h>

#include <map>
#include <memory>
#include <vector>

// The surface workload: random spheres (radii 0.003 to 0.012) in the unit cube, seen by
// 512 x 512 primary rays from a pinhole in front of the cube, one thread.
namespace
{
constexpr std::uint32_t kSeed = 2024;
constexpr int kImageSide = 512;

// One prepared scene per sphere count, built once for all benchmarks of this program.
const X3DScene& GetScene(std::size_t inCount)
{
    static std::map<std::size_t, std::unique_ptr<X3DScene>> scenes;
    std::unique_ptr<X3DScene>& scene = scenes[inCount];
    if (!scene)
    {
        scene = std::make_unique<X3DScene>();
        {
            const XMutexLock lock(scene->GetMutex());
            scene->EditSurfaces() = XMakeSphereSurfaces(XMakeRandomSpheres(inCount, kSeed));
        }
        scene->Prepare();
    }
    return *scene;
}

const std::vector<XRay>& GetPrimaryRays()
{
    static const std::vector<XRay> rays = XMakePrimaryRays(kImageSide, kImageSide);
    return rays;
}
} // namespace

// Building the hierarchy over the scene's surfaces.
static void BM_HierarchyBuild(benchmark::State& state)
{
    const X3DScene& scene = GetScene(static_cast<std::size_t>(state.range(0)));
    std::vector<const XSurface*> surfaces;
    for (const auto& surface : scene.GetSurfaces())
    {
        surfaces.push_back(surface.get());
    }
    for (auto _ : state)
    {
        const XBoundingVolumeHierarchy<XSurface> hierarchy(surfaces);
        benchmark::DoNotOptimize(hierarchy.GetNodes().data());
    }
    state.counters["primitives"] = static_cast<double>(surfaces.size());
}
BENCHMARK(BM_HierarchyBuild)->Arg(1000)->Arg(100000)->Unit(benchmark::kMillisecond);

// Nearest hits of all primary rays of one frame; the rate counter is rays per second.
static void BM_NearestHit(benchmark::State& state)
{
    const X3DScene& scene = GetScene(static_cast<std::size_t>(state.range(0)));
    const std::vector<XRay>& rays = GetPrimaryRays();
    std::int64_t hits = 0;
    for (auto _ : state)
    {
        for (const XRay& start : rays)
        {
            XRay ray = start;
            XRayHit hit;
            hits += scene.Intersect(ray, hit) ? 1 : 0;
            benchmark::DoNotOptimize(hit.t);
        }
    }
    const double rayCount =
        static_cast<double>(state.iterations()) * static_cast<double>(rays.size());
    state.counters["rays_per_second"] = benchmark::Counter(rayCount, benchmark::Counter::kIsRate);
    state.counters["hit_share"] = static_cast<double>(hits) / rayCount;
}
BENCHMARK(BM_NearestHit)->Arg(1000)->Arg(100000)->Unit(benchmark::kMillisecond);

// Occlusion of the same rays.
static void BM_Occlusion(benchmark::State& state)
{
    const X3DScene& scene = GetScene(static_cast<std::size_t>(state.range(0)));
    const std::vector<XRay>& rays = GetPrimaryRays();
    for (auto _ : state)
    {
        std::int64_t blocked = 0;
        for (const XRay& ray : rays)
        {
            blocked += scene.IntersectP(ray) ? 1 : 0;
        }
        benchmark::DoNotOptimize(blocked);
    }
    const double rayCount =
        static_cast<double>(state.iterations()) * static_cast<double>(rays.size());
    state.counters["rays_per_second"] = benchmark::Counter(rayCount, benchmark::Counter::kIsRate);
}
BENCHMARK(BM_Occlusion)->Arg(1000)->Arg(100000)->Unit(benchmark::kMillisecond);
