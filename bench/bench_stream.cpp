#include "host/core/XStream.h"

#include <benchmark/benchmark.h>

#include <vector>

// Stream throughput for the voxel payload that every job carries: one buffer write and read.
static void BM_StreamBufferRoundTrip(benchmark::State& state)
{
    const std::vector<std::uint8_t> voxels(static_cast<std::size_t>(state.range(0)), 7);
    std::vector<std::uint8_t> target(voxels.size());
    for (auto _ : state)
    {
        XMemoryStream stream;
        stream.Write32(static_cast<std::uint32_t>(voxels.size()));
        stream.WriteBuffer8(voxels.data(), voxels.size());
        const std::uint32_t count = stream.ReadCount(1);
        stream.ReadBuffer8(target.data(), count);
        benchmark::DoNotOptimize(target.data());
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_StreamBufferRoundTrip)->Arg(1 << 20)->Arg(64 << 20);

// Many small primitives, as in a scene of many surfaces.
static void BM_StreamPrimitives(benchmark::State& state)
{
    for (auto _ : state)
    {
        XMemoryStream stream;
        for (int i = 0; i < 4096; ++i)
        {
            stream.WriteFloat32S(float(i));
            stream.Write32(std::uint32_t(i));
        }
        float sum = 0;
        for (int i = 0; i < 4096; ++i)
        {
            sum += stream.ReadFloat32S() + float(stream.Read32());
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * 8192);
}
BENCHMARK(BM_StreamPrimitives);
