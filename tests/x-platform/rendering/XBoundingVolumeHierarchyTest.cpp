#include "x-platform/rendering/XBoundingVolumeHierarchy.h"
#include "host/core/XInternalError.h"
#include "host/imaging/XMathVectorS2.h"
#include "tests/scenes/XRandomSpheres.h"
#include "x-platform/core/XRay.h"
#include "x-platform/geometry/XRayHit.h"
#include "x-platform/geometry/XSphere.h"
#include "x-platform/geometry/XSurface.h"

#include <gtest/gtest.h>

#include <map>
#include <set>

namespace
{
using XHierarchy = XBoundingVolumeHierarchy<XSurface>;
using XNode = XHierarchy::XNode;

std::vector<const XSurface*> Pointers(const std::vector<std::unique_ptr<XSurface>>& inSurfaces)
{
    std::vector<const XSurface*> pointers;
    for (const auto& surface : inSurfaces)
    {
        pointers.push_back(surface.get());
    }
    return pointers;
}

double Centroid(const XBoundingBox& inBox, int inAxis)
{
    return (static_cast<double>(inBox.GetMin()[inAxis]) +
            static_cast<double>(inBox.GetMax()[inAxis])) *
           0.5;
}

// Walks the subtree at inIndex and checks the layout invariants; returns its node count and
// appends its primitives in pre-order.
std::size_t CheckSubtree(const XHierarchy& inHierarchy, std::size_t inIndex, int inDepth,
                         std::vector<const XSurface*>& outPrimitives)
{
    const std::vector<XNode>& nodes = inHierarchy.GetNodes();
    const XNode& node = nodes[inIndex];
    if (const XSurface* primitive = inHierarchy.GetPrimitive(node))
    {
        // A leaf: one primitive, its own bounds.
        EXPECT_EQ(node.box, primitive->GetBoundingBox());
        outPrimitives.push_back(primitive);
        return 1;
    }
    const std::size_t leftIndex = inIndex + 1;
    std::vector<const XSurface*> leftPrimitives;
    const std::size_t leftSize = CheckSubtree(inHierarchy, leftIndex, inDepth + 1, leftPrimitives);
    const std::size_t rightIndex = leftIndex + leftSize;
    std::vector<const XSurface*> rightPrimitives;
    const std::size_t rightSize =
        CheckSubtree(inHierarchy, rightIndex, inDepth + 1, rightPrimitives);
    // Skip links: the left child jumps to its sibling, the right child where its parent jumps
    // (the root's right child to the terminal node).
    EXPECT_EQ(nodes[leftIndex].jumpIndex, rightIndex);
    EXPECT_EQ(nodes[rightIndex].jumpIndex, inIndex == 0 ? nodes.size() - 1 : node.jumpIndex);
    // The box is the union of the children's boxes.
    EXPECT_EQ(node.box,
              XBoundingBox::MakeSurroundingBox(nodes[leftIndex].box, nodes[rightIndex].box));
    // The split: at the midpoint on axis depth mod 3, or, when every centroid lies on one side,
    // the list halved.
    const int axis = inDepth % 3;
    const float split = (node.box.GetMin()[axis] + node.box.GetMax()[axis]) / 2.0f;
    bool midpoint = true;
    for (const XSurface* primitive : leftPrimitives)
    {
        midpoint = midpoint && Centroid(primitive->GetBoundingBox(), axis) < split;
    }
    for (const XSurface* primitive : rightPrimitives)
    {
        midpoint = midpoint && !(Centroid(primitive->GetBoundingBox(), axis) < split);
    }
    if (!midpoint)
    {
        const std::size_t count = leftPrimitives.size() + rightPrimitives.size();
        EXPECT_EQ(leftPrimitives.size(), count / 2);
        bool allBelow = true;
        bool allAbove = true;
        for (const auto* list : {&leftPrimitives, &rightPrimitives})
        {
            for (const XSurface* primitive : *list)
            {
                const bool below = Centroid(primitive->GetBoundingBox(), axis) < split;
                allBelow = allBelow && below;
                allAbove = allAbove && !below;
            }
        }
        EXPECT_TRUE(allBelow || allAbove) << "node " << inIndex;
    }
    outPrimitives.insert(outPrimitives.end(), leftPrimitives.begin(), leftPrimitives.end());
    outPrimitives.insert(outPrimitives.end(), rightPrimitives.begin(), rightPrimitives.end());
    return 1 + leftSize + rightSize;
}

void CheckInvariants(const XHierarchy& inHierarchy,
                     const std::vector<std::unique_ptr<XSurface>>& inSurfaces)
{
    const std::vector<XNode>& nodes = inHierarchy.GetNodes();
    ASSERT_EQ(nodes.size(), 2 * inSurfaces.size());
    // The terminal node.
    const XNode& terminal = nodes.back();
    EXPECT_EQ(inHierarchy.GetPrimitive(terminal), nullptr);
    EXPECT_EQ(terminal.jumpIndex, 0u);
    EXPECT_EQ(terminal.box, XHierarchy::MakeTerminalBox());
    // The root: the overall bounds, no jump (a lone leaf jumps to the terminal node).
    XBoundingBox bounds = inSurfaces.front()->GetBoundingBox();
    for (const auto& surface : inSurfaces)
    {
        bounds = XBoundingBox::MakeSurroundingBox(bounds, surface->GetBoundingBox());
    }
    EXPECT_EQ(inHierarchy.GetBounds(), bounds);
    EXPECT_EQ(nodes.front().box, bounds);
    if (inSurfaces.size() == 1)
    {
        EXPECT_EQ(inHierarchy.GetPrimitive(nodes.front()), inSurfaces.front().get());
        EXPECT_EQ(nodes.front().jumpIndex, 1u);
        return;
    }
    EXPECT_EQ(nodes.front().jumpIndex, 0u);
    EXPECT_EQ(inHierarchy.GetPrimitive(nodes.front()), nullptr);
    // Pre-order tree over all nodes but the terminal one.
    std::vector<const XSurface*> primitives;
    EXPECT_EQ(CheckSubtree(inHierarchy, 0, 0, primitives), nodes.size() - 1);
    // Every primitive exactly once.
    const std::vector<const XSurface*> all = Pointers(inSurfaces);
    EXPECT_EQ(std::set<const XSurface*>(primitives.begin(), primitives.end()),
              std::set<const XSurface*>(all.begin(), all.end()));
    EXPECT_EQ(primitives.size(), inSurfaces.size());
}

// The nearest hit by trying every surface with a fresh copy of the ray.
bool BruteForce(const std::vector<std::unique_ptr<XSurface>>& inSurfaces, const XRay& inRay,
                XRayHit& outHit)
{
    bool found = false;
    for (const auto& surface : inSurfaces)
    {
        XRay ray = inRay;
        XRayHit hit;
        if (surface->Intersect(ray, hit) && (!found || hit.t < outHit.t))
        {
            found = true;
            outHit = hit;
        }
    }
    return found;
}
} // namespace

TEST(XBoundingVolumeHierarchyTest, InvariantsOnGeneratedScenes)
{
    for (const std::size_t count : {1u, 2u, 3u, 5u, 17u, 100u, 1000u, 10000u})
    {
        SCOPED_TRACE(count);
        const auto surfaces = XMakeSphereSurfaces(XMakeRandomSpheres(count, 7 + count));
        const XHierarchy hierarchy(Pointers(surfaces));
        CheckInvariants(hierarchy, surfaces);
    }
    // Larger spheres in a small cube overlap a lot; the layout rules still hold.
    const auto crowded = XMakeSphereSurfaces(XMakeRandomSpheres(500, 3, 0.05f, 0.2f));
    CheckInvariants(XHierarchy(Pointers(crowded)), crowded);
}

TEST(XBoundingVolumeHierarchyTest, ExactLayoutOfASmallScene)
{
    // Three spheres on the x axis: the root splits at x = 1.5 (centroid 0 left, 2 and 3 right);
    // the right part has equal y centroids and is halved in list order.
    const auto surfaces = XMakeSphereSurfaces({{XMathVectorF3(0, 0, 0), 0.5f},
                                               {XMathVectorF3(2, 0, 0), 0.5f},
                                               {XMathVectorF3(3, 0, 0), 0.5f}});
    const XHierarchy hierarchy(Pointers(surfaces));
    const std::vector<XNode>& nodes = hierarchy.GetNodes();
    ASSERT_EQ(nodes.size(), 6u);
    const auto primitive = [&](std::size_t inIndex)
    { return hierarchy.GetPrimitive(nodes[inIndex]); };
    const auto jump = [&](std::size_t inIndex) { return nodes[inIndex].jumpIndex; };
    EXPECT_EQ(primitive(0), nullptr);
    EXPECT_EQ(jump(0), 0u);
    EXPECT_EQ(primitive(1), surfaces[0].get());
    EXPECT_EQ(jump(1), 2u);
    EXPECT_EQ(primitive(2), nullptr);
    EXPECT_EQ(jump(2), 5u);
    EXPECT_EQ(nodes[2].box,
              XBoundingBox(XMathVectorF3(1.5f, -0.5f, -0.5f), XMathVectorF3(3.5f, 0.5f, 0.5f)));
    EXPECT_EQ(primitive(3), surfaces[1].get());
    EXPECT_EQ(jump(3), 4u);
    EXPECT_EQ(primitive(4), surfaces[2].get());
    EXPECT_EQ(jump(4), 5u);
    EXPECT_EQ(primitive(5), nullptr);
    EXPECT_EQ(jump(5), 0u);
}

TEST(XBoundingVolumeHierarchyTest, ACentroidOnTheSplitGoesRight)
{
    // Root box [-0.5, 2.5] on x: the split is at 1, where the middle sphere's centroid lies; only
    // a centroid strictly below the split goes left.
    const auto surfaces = XMakeSphereSurfaces({{XMathVectorF3(0, 0, 0), 0.5f},
                                               {XMathVectorF3(1, 0, 0), 0.5f},
                                               {XMathVectorF3(2, 0, 0), 0.5f}});
    const XHierarchy hierarchy(Pointers(surfaces));
    const std::vector<XNode>& nodes = hierarchy.GetNodes();
    ASSERT_EQ(nodes.size(), 6u);
    EXPECT_EQ(hierarchy.GetPrimitive(nodes[1]), surfaces[0].get());
    EXPECT_EQ(nodes[1].jumpIndex, 2u);
    EXPECT_EQ(hierarchy.GetPrimitive(nodes[2]), nullptr);
    EXPECT_EQ(hierarchy.GetPrimitive(nodes[3]), surfaces[1].get());
    EXPECT_EQ(hierarchy.GetPrimitive(nodes[4]), surfaces[2].get());
}

TEST(XBoundingVolumeHierarchyTest, SameCentroidsGiveABalancedTreeInListOrder)
{
    std::vector<XSphereSpec> spheres;
    for (int i = 0; i < 8; ++i)
    {
        spheres.push_back({XMathVectorF3(1, 2, 3), 0.5f + 0.125f * static_cast<float>(i)});
    }
    const auto surfaces = XMakeSphereSurfaces(spheres);
    const XHierarchy hierarchy(Pointers(surfaces));
    CheckInvariants(hierarchy, surfaces);
    // Leaves at depth 3, met in list order: nodes 3, 4, 6, 7, 10, 11, 13, 14.
    const std::vector<XNode>& nodes = hierarchy.GetNodes();
    const std::size_t leaves[8] = {3, 4, 6, 7, 10, 11, 13, 14};
    for (int i = 0; i < 8; ++i)
    {
        EXPECT_EQ(hierarchy.GetPrimitive(nodes[leaves[i]]), surfaces[i].get()) << i;
    }
}

TEST(XBoundingVolumeHierarchyTest, NearestHitEqualsBruteForceWhereBoxesDoNotOverlap)
{
    for (const std::size_t count : {1u, 10u, 300u, 4000u})
    {
        SCOPED_TRACE(count);
        const auto surfaces = XMakeSphereSurfaces(XMakeSeparatedSpheres(count, 11));
        const XHierarchy hierarchy(Pointers(surfaces));
        XUniformSource random(5);
        std::vector<XRay> rays = XMakePrimaryRays(48, 48);
        for (int i = 0; i < 2000; ++i)
        {
            // Random rays between random points in and around the cube, some axis-aligned.
            const XMathVectorF3 from(random.Next(-0.5f, 1.5f), random.Next(-0.5f, 1.5f),
                                     random.Next(-0.5f, 1.5f));
            XMathVectorF3 to(random.Next(), random.Next(), random.Next());
            if (i % 10 == 0)
            {
                to = XMathVectorF3(from.x, from.y, to.z); // zero x and y components
            }
            if (to == from)
            {
                continue;
            }
            rays.emplace_back(from, (to - from).Normalized(), 0.0f, 10.0f);
        }
        int hits = 0;
        for (const XRay& start : rays)
        {
            XRay ray = start;
            XRayHit hit;
            XRayHit expected;
            const bool found = hierarchy.Intersect(ray, hit);
            ASSERT_EQ(found, BruteForce(surfaces, start, expected));
            if (found)
            {
                ++hits;
                EXPECT_EQ(hit.t, expected.t);
                EXPECT_EQ(ray.tMax, expected.t);
                EXPECT_EQ(hit.point, expected.point);
                EXPECT_EQ(hit.normal, expected.normal);
            }
            else
            {
                EXPECT_EQ(ray.tMax, start.tMax);
                EXPECT_EQ(hit.t, start.tMax);
            }
            EXPECT_EQ(hierarchy.IntersectP(start), found);
        }
        EXPECT_GT(hits, 100);
    }
}

TEST(XBoundingVolumeHierarchyTest, OverlappingSpheresAndTheKeptAcceptanceRule)
{
    // Overlapping spheres on the ray: the nearest wins in either list order.
    for (const bool reversed : {false, true})
    {
        std::vector<XSphereSpec> spheres = {{XMathVectorF3(0, 0, 0), 1},
                                            {XMathVectorF3(0, 0, 1.5f), 1}};
        if (reversed)
        {
            std::swap(spheres[0], spheres[1]);
        }
        const auto surfaces = XMakeSphereSurfaces(spheres);
        const XHierarchy hierarchy(Pointers(surfaces));
        XRay ray(XMathVectorF3(0, 0, -10), XMathVectorF3(0, 0, 1), 0, 100);
        XRayHit hit;
        ASSERT_TRUE(hierarchy.Intersect(ray, hit));
        EXPECT_EQ(hit.t, 9);
        EXPECT_EQ(ray.tMax, 9);
    }

    // Disjoint spheres whose boxes overlap: B's box is entered before A's surface is hit, and
    // the sphere test accepts B's root beyond the shortened tMax. Visited after A (A first in
    // the list), B's farther hit is reported: the tree's order decides, as pictures expect.
    const XSphereSpec a{XMathVectorF3(0, 0, 0), 1};
    const XSphereSpec b{XMathVectorF3(0.3f, 1.48f, 0), 0.5f};
    const XRay start(XMathVectorF3(-5, 0.99f, 0), XMathVectorF3(1, 0, 0), 0, 100);
    const float tA = 5 - std::sqrt(1 - 0.99f * 0.99f);
    const float tB = 5.3f - std::sqrt(0.25f - 0.49f * 0.49f);
    {
        const auto surfaces = XMakeSphereSurfaces({a, b});
        XRay ray = start;
        XRayHit hit;
        ASSERT_TRUE(XHierarchy(Pointers(surfaces)).Intersect(ray, hit));
        EXPECT_NEAR(hit.t, tB, 1e-4);
    }
    {
        const auto surfaces = XMakeSphereSurfaces({b, a});
        XRay ray = start;
        XRayHit hit;
        ASSERT_TRUE(XHierarchy(Pointers(surfaces)).Intersect(ray, hit));
        EXPECT_NEAR(hit.t, tA, 1e-4);
    }
}

TEST(XBoundingVolumeHierarchyTest, OneSurfaceAndOcclusion)
{
    const auto surfaces = XMakeSphereSurfaces({{XMathVectorF3(0, 0, 10), 1}});
    const XHierarchy hierarchy(Pointers(surfaces));
    ASSERT_EQ(hierarchy.GetNodes().size(), 2u);
    XRay ray(XMathVectorF3(0, 0, 0), XMathVectorF3(0, 0, 1), 0, 100);
    XRayHit hit;
    ASSERT_TRUE(hierarchy.Intersect(ray, hit));
    EXPECT_EQ(hit.t, 9);

    const XRay blocked(XMathVectorF3(0, 0, 0), XMathVectorF3(0, 0, 1), 0, 100);
    EXPECT_TRUE(hierarchy.IntersectP(blocked));
    EXPECT_EQ(blocked.tMax, 100);
    // The box lies beyond a short ray: no occlusion.
    EXPECT_FALSE(hierarchy.IntersectP(XRay(XMathVectorF3(0, 0, 0), XMathVectorF3(0, 0, 1), 0, 5)));
    EXPECT_FALSE(hierarchy.IntersectP(XRay(XMathVectorF3(0, 0, 0), XMathVectorF3(0, 0, -1))));
}

TEST(XBoundingVolumeHierarchyTest, EmptyListIsReportedAndAnswersNothing)
{
    XInternalErrorCapture capture;
    const XHierarchy hierarchy(std::vector<const XSurface*>{});
    EXPECT_EQ(capture.GetConditions(), std::vector<std::string>{"!children.empty()"});
    EXPECT_TRUE(hierarchy.GetNodes().empty());
    XRay ray(XMathVectorF3(0, 0, 0), XMathVectorF3(0, 0, 1), 0, 100);
    XRayHit hit;
    EXPECT_FALSE(hierarchy.Intersect(ray, hit));
    EXPECT_FALSE(hierarchy.IntersectP(ray));
}

TEST(XBoundingVolumeHierarchyTest, RestoringChecksTheLinks)
{
    const auto surfaces = XMakeSphereSurfaces(XMakeRandomSpheres(20, 1));
    const XHierarchy built(Pointers(surfaces));
    std::vector<XHierarchy::XIndexedNode> stored;
    for (const XNode& node : built.GetNodes())
    {
        stored.push_back({node.box, node.jumpIndex, built.GetPrimitive(node)});
    }
    const XHierarchy restored(built.GetBounds(), stored);
    ASSERT_EQ(restored.GetNodes().size(), built.GetNodes().size());
    for (std::size_t i = 0; i < stored.size(); ++i)
    {
        EXPECT_EQ(restored.GetNodes()[i].box, built.GetNodes()[i].box);
        EXPECT_EQ(restored.GetNodes()[i].jumpIndex, built.GetNodes()[i].jumpIndex);
        EXPECT_EQ(restored.GetPrimitive(restored.GetNodes()[i]),
                  built.GetPrimitive(built.GetNodes()[i]));
    }

    const auto expectMalformed = [&](std::vector<XHierarchy::XIndexedNode> inNodes)
    {
        try
        {
            XHierarchy(built.GetBounds(), inNodes);
            ADD_FAILURE() << "restored";
        }
        catch (const XException& error)
        {
            EXPECT_EQ(error.GetCode(), XException::kMalformedStream);
        }
    };
    auto backward = stored;
    backward[5].jumpIndex = 2; // would loop
    expectMalformed(backward);
    auto outside = stored;
    outside[1].jumpIndex = static_cast<std::uint32_t>(stored.size());
    expectMalformed(outside);
    auto noTerminal = stored;
    noTerminal.back().box = built.GetBounds();
    expectMalformed(noTerminal);
}

TEST(XBoundingVolumeHierarchyTest, BoxTestAcceptsExactlyWhatTheHostTestAccepts)
{
    // Random boxes (some flat) against rays with zero and negative-zero components, origins on
    // the boxes' planes, and intervals of every kind, infinite ends included.
    XUniformSource random(31);
    const float values[] = {-1, 0, 0.5f, 1, 2};
    const float ends[] = {-std::numeric_limits<float>::infinity(),
                          -1,
                          0,
                          0.25f,
                          1,
                          3,
                          std::numeric_limits<float>::max(),
                          std::numeric_limits<float>::infinity()};
    const float components[] = {0.0f, -0.0f, 1, -1, 0.3f, -2};
    int accepted = 0;
    int rejected = 0;
    for (int i = 0; i < 20000; ++i)
    {
        const auto pick = [&](const auto& inArray)
        {
            const std::size_t size = std::size(inArray);
            return inArray[std::min(size - 1, static_cast<std::size_t>(random.Next() * size))];
        };
        XMathVectorF3 low(pick(values), pick(values), pick(values));
        XMathVectorF3 high = low + XMathVectorF3(pick(values) + 1, pick(values) + 1, 0);
        if (i % 3 == 0)
        {
            high.z = low.z + 1;
        }
        const XBoundingBox box(low, high);
        const XMathVectorF3 origin(pick(values), pick(values), pick(values));
        const XMathVectorF3 direction(pick(components), pick(components), pick(components));
        float tMin = pick(ends);
        float tMax = pick(ends);
        if (tMin > tMax)
        {
            std::swap(tMin, tMax);
        }
        const XRay ray(origin, direction, tMin, tMax);
        const XMathVectorF3 inverse(1 / direction.x, 1 / direction.y, 1 / direction.z);
        XMathVectorS2 indices[3];
        for (int axis = 0; axis < 3; ++axis)
        {
            indices[axis] = direction[axis] >= 0 ? XMathVectorS2(0, 1) : XMathVectorS2(1, 0);
        }
        const bool host = box.FastIntersect(origin, inverse, indices, tMin, tMax);
        ASSERT_EQ(XHierarchy::IntersectsBox(box, ray), host)
            << "box (" << low.x << ", " << low.y << ", " << low.z << ")-(" << high.x << ", "
            << high.y << ", " << high.z << ") origin (" << origin.x << ", " << origin.y << ", "
            << origin.z << ") direction (" << direction.x << ", " << direction.y << ", "
            << direction.z << ") [" << tMin << ", " << tMax << "]";
        (host ? accepted : rejected) += 1;
    }
    EXPECT_GT(accepted, 1000);
    EXPECT_GT(rejected, 2000);
    // The terminal box is never met.
    EXPECT_FALSE(XHierarchy::IntersectsBox(XHierarchy::MakeTerminalBox(),
                                           XRay(XMathVectorF3(0, 0, 0), XMathVectorF3(0, 0, -1),
                                                -std::numeric_limits<float>::max(),
                                                std::numeric_limits<float>::max())));
}
