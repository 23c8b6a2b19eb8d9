#pragma once

// Counts the heap allocations of a test program while counting is switched on, so that a test can
// show that a hot path allocates nothing. Include this header in exactly one source file of a
// test program: it replaces the program's operator new and delete. Sanitizer builds keep their
// own allocator; there kXCanCountAllocations is false and the tests skip.

#include <atomic>
#include <cstdlib>
#include <functional>
#include <new>

#if defined(__SANITIZE_ADDRESS__)
inline constexpr bool kXCanCountAllocations = false;
#else
inline constexpr bool kXCanCountAllocations = true;
#endif

namespace XAllocationCounting
{
inline std::atomic<bool> gCounting{false};
inline std::atomic<long> gAllocations{0};

inline void Count()
{
    if (gCounting.load(std::memory_order_relaxed))
    {
        gAllocations.fetch_add(1, std::memory_order_relaxed);
    }
}
} // namespace XAllocationCounting

// The number of allocations that inWork makes on any thread.
inline long XCountAllocations(const std::function<void()>& inWork)
{
    XAllocationCounting::gAllocations = 0;
    XAllocationCounting::gCounting = true;
    inWork();
    XAllocationCounting::gCounting = false;
    return XAllocationCounting::gAllocations.load();
}

#if !defined(__SANITIZE_ADDRESS__)
// Not inlined, so that optimisers do not see free() meet a new-expression and warn.
[[gnu::noinline]] void* operator new(std::size_t inSize)
{
    XAllocationCounting::Count();
    if (void* memory = std::malloc(inSize == 0 ? 1 : inSize))
    {
        return memory;
    }
    throw std::bad_alloc();
}

// The library's nothrow form (std::stable_sort uses it) must come from the same heap.
[[gnu::noinline]] void* operator new(std::size_t inSize, const std::nothrow_t&) noexcept
{
    XAllocationCounting::Count();
    return std::malloc(inSize == 0 ? 1 : inSize);
}

[[gnu::noinline]] void operator delete(void* inMemory, const std::nothrow_t&) noexcept
{
    std::free(inMemory);
}

[[gnu::noinline]] void operator delete(void* inMemory) noexcept
{
    std::free(inMemory);
}

[[gnu::noinline]] void operator delete(void* inMemory, std::size_t) noexcept
{
    std::free(inMemory);
}
#endif
