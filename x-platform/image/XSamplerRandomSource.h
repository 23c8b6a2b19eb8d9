#pragma once

#include <cstdint>

// The one owner of the image samplers' module-wide randomness: the jitter generator (a single
// 64-bit multiplicative state shared by every sampler) and the C library's rand(), which the
// samplers use to shuffle. Tests call Reset to start both sequences from their known beginning.
class XSamplerRandomSource
{
public:
    static constexpr std::uint64_t kInitialState = 7564231;
    static constexpr std::uint64_t kMultiplier = 62089911;

    XSamplerRandomSource() = delete;

    // Sets the jitter state back to kInitialState and reseeds rand() with 1, its start-up seed.
    static void Reset();

    // One jitter draw: state = state * kMultiplier (wrapping modulo 2^64), then
    // (state mod 4294967295) / 4294967296 as a float. Lock-free and allocation-free; concurrent
    // draws each advance the one shared state.
    static float NextJitter();
    // The generator's state after the last draw.
    static std::uint64_t GetState();

    // rand() % inCount, the shuffle's choice of a partner index; inCount must not be 0.
    static std::uint32_t NextShuffleIndex(std::uint32_t inCount);
};
