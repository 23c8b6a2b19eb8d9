#include "host/core/XMutexLock.h"
#include "tests/scenes/XRandomSpheres.h"
#include "tests/scenes/XTestMaterial.h"
#include "x-platform/core/XRay.h"
#include "x-platform/geometry/XRayHit.h"
#include "x-platform/rendering/X3DScene.h"

#include <gtest/gtest.h>

#include "tests/support/XAllocationCounter.h"

TEST(XTraversalAllocationTest, QueriesOfAPreparedSceneAllocateNothing)
{
    if (!kXCanCountAllocations)
    {
        GTEST_SKIP() << "allocation counting needs the plain allocator";
    }
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

    long hits = 0;
    const long allocations = XCountAllocations(
        [&]
        {
            for (const XRay& start : rays)
            {
                XRay ray = start;
                XRayHit hit;
                hits += scene.Intersect(ray, hit) ? 1 : 0;
                hits += scene.IntersectP(start) ? 1 : 0;
            }
        });
    EXPECT_EQ(allocations, 0);
    EXPECT_GT(hits, 1000);
}
