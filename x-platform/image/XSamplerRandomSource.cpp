#include "x-platform/image/XSamplerRandomSource.h"

#include <atomic>
#include <cstdlib>

namespace
{
// The state is atomic only so that threads that jitter at the same time do not race; draws are
// not ordered between threads, as with any unsynchronised shared generator.
std::atomic<std::uint64_t> gJitterState{XSamplerRandomSource::kInitialState};
} // namespace

void XSamplerRandomSource::Reset()
{
    gJitterState.store(kInitialState, std::memory_order_relaxed);
    std::srand(1);
}

float XSamplerRandomSource::NextJitter()
{
    std::uint64_t state = gJitterState.load(std::memory_order_relaxed);
    std::uint64_t next = state * kMultiplier;
    while (!gJitterState.compare_exchange_weak(state, next, std::memory_order_relaxed))
    {
        next = state * kMultiplier;
    }
    const std::uint64_t reduced = next % 4294967295u;
    return static_cast<float>(static_cast<double>(reduced) / 4294967296.0);
}

std::uint64_t XSamplerRandomSource::GetState()
{
    return gJitterState.load(std::memory_order_relaxed);
}

std::uint32_t XSamplerRandomSource::NextShuffleIndex(std::uint32_t inCount)
{
    return static_cast<std::uint32_t>(std::rand()) % inCount;
}
