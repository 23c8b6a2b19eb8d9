#include "host/core/XMutexLock.h"
#include "tests/scenes/XRandomSpheres.h"
#include "tests/scenes/XTestMaterial.h"
#include "x-platform/core/XRay.h"
#include "x-platform/geometry/XRayHit.h"
#include "x-platform/rendering/X3DScene.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>

// Counts the allocations of this program while counting is switched on, so that a test can show
// that a code path allocates nothing.
namespace
{
std::atomic<bool> gCounting{false};
std::atomic<long> gAllocations{0};
} // namespace

void* operator new(std::size_t inSize)
{
    if (gCounting.load(std::memory_order_relaxed))
    {
        gAllocations.fetch_add(1, std::memory_order_relaxed);
    }
    if (void* memory = std::malloc(inSize == 0 ? 1 : inSize))
    {
        return memory;
    }
    throw std::bad_alloc();
}

void operator delete(void* inMemory) noexcept
{
    std::free(inMemory);
}

void operator delete(void* inMemory, std::size_t) noexcept
{
    std::free(inMemory);
}

TEST(XTraversalAllocationTest, QueriesOfAPreparedSceneAllocateNothing)
{
    X3DScene scene;
    {
        const XMutexLock lock(scene.GetMutex());
        scene.EditSurfaces() = XMakeSphereSurfaces(XMakeRandomSpheres(2000, 4));
        const XRef<XMaterial> material = XMakeRef<XTestMaterial>();
        for (const auto& surface : scene.EditSurfaces())
        {
            surface->SetMaterial(material);
        }
    }
    scene.Prepare();
    const std::vector<XRay> rays = XMakePrimaryRays(64, 64);

    gAllocations = 0;
    gCounting = true;
    long hits = 0;
    for (const XRay& start : rays)
    {
        XRay ray = start;
        XRayHit hit;
        hits += scene.Intersect(ray, hit) ? 1 : 0;
        hits += scene.IntersectP(start) ? 1 : 0;
    }
    gCounting = false;
    EXPECT_EQ(gAllocations.load(), 0);
    EXPECT_GT(hits, 1000);
}
