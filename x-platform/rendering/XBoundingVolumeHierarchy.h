#pragma once

#include "host/core/XException.h"
#include "host/core/XInternalError.h"
#include "host/imaging/XBoundingBox.h"
#include "host/imaging/XMathVectorF3.h"
#include "x-platform/core/XRay.h"
#include "x-platform/geometry/XRayHit.h"

#include <cmath>
#include <concepts>
#include <cstdint>
#include <limits>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// What the hierarchy asks of a primitive: its world bounds, a nearest-hit test that shortens the
// ray's tMax on a hit, and an occlusion test that leaves the ray alone.
template <class T>
concept XHierarchyPrimitive = requires(const T& inPrimitive, XRay& ioRay, const XRay& inRay,
                                       XRayHit& outHit)
{
    {
        inPrimitive.GetBoundingBox()
        } -> std::convertible_to<XBoundingBox>;
    {
        inPrimitive.Intersect(ioRay, outHit)
        } -> std::same_as<bool>;
    {
        inPrimitive.IntersectP(inRay)
        } -> std::same_as<bool>;
};

// A flattened binary tree of boxes over primitives that the caller owns, traversed without a
// stack. Nodes stand in depth-first pre-order, so a hit box continues at the next node, and each
// node's jump link skips its whole subtree when its box is missed: a left child jumps to its
// right sibling, a right child to where its parent jumps (the root's right child to the terminal
// node), the root nowhere. Every leaf holds one primitive, and the array ends with a terminal
// node whose box can never be hit.
//
// The tree splits each node at the midpoint of its box on axis depth mod 3; a split that leaves
// one side empty halves the list in its present order instead. No cost is estimated.
//
// Links are array indices (0, the root's place, stands for none) and a leaf names its primitive
// by index, so that a node takes 32 bytes and two share a cache line.
template <XHierarchyPrimitive TPrimitive>
class XBoundingVolumeHierarchy
{
public:
    static constexpr std::uint32_t kNoPrimitive = std::numeric_limits<std::uint32_t>::max();

    struct alignas(32) XNode
    {
        XBoundingBox box;
        std::uint32_t jumpIndex = 0;                 // where traversal goes when the box is missed
        std::uint32_t primitiveIndex = kNoPrimitive; // a leaf's primitive, see GetPrimitive
    };

    // A node as stored: its box, the array index of its jump target (0 when none) and its
    // primitive (null when none).
    struct XIndexedNode
    {
        XBoundingBox box;
        std::uint32_t jumpIndex = 0;
        const TPrimitive* primitive = nullptr;
    };

    // Builds over a non-empty list; the order of the list decides the tree where centroids tie.
    explicit XBoundingVolumeHierarchy(std::vector<const TPrimitive*> inPrimitives);
    // Restores a stored hierarchy; throws XException (malformed stream) unless the links only
    // point forward inside the array and the array ends with a terminal node.
    XBoundingVolumeHierarchy(const XBoundingBox& inBounds,
                             const std::vector<XIndexedNode>& inNodes);

    XBoundingVolumeHierarchy(const XBoundingVolumeHierarchy&) = delete;
    XBoundingVolumeHierarchy& operator=(const XBoundingVolumeHierarchy&) = delete;

    // The nearest hit: sets outHit.t to the ray's tMax, then shortens tMax to every hit found.
    // Allocates nothing and takes no lock.
    bool Intersect(XRay& ioRay, XRayHit& outHit) const;
    // Whether any primitive's occlusion test succeeds; the ray is not changed.
    bool IntersectP(const XRay& inRay) const;

    const std::vector<XNode>& GetNodes() const { return itsNodes; }
    // A leaf's primitive; null for other nodes.
    const TPrimitive* GetPrimitive(const XNode& inNode) const
    {
        return inNode.primitiveIndex == kNoPrimitive ? nullptr
                                                     : itsPrimitives[inNode.primitiveIndex];
    }
    // The union of all primitives' world bounds.
    const XBoundingBox& GetBounds() const { return itsBounds; }

    // The box of the terminal node: both corners at minus infinity.
    static XBoundingBox MakeTerminalBox()
    {
        constexpr float kLow = -std::numeric_limits<float>::infinity();
        return XBoundingBox(XMathVectorF3(kLow, kLow, kLow), XMathVectorF3(kLow, kLow, kLow));
    }

    // The box test of the walks: whether the ray meets the box (boundaries included) for some t
    // in [tMin, tMax]. For every box with min <= max (and the terminal box) it accepts exactly
    // what XBoundingBox::FastIntersect accepts.
    static bool IntersectsBox(const XBoundingBox& inBox, const XRay& inRay)
    {
        return XRaySetup(inRay).Overlaps(inBox, inRay.tMin, inRay.tMax);
    }

private:
    // Internal-error reports of this header name this source.
    static constexpr std::string_view kSourceName = "x-platform/XBoundingVolumeHierarchy";

    struct XBuildItem
    {
        const TPrimitive* primitive;
        XBoundingBox box;
    };

    // Per-ray set-up of the box test: the origin, the reciprocal direction and, per axis, which
    // corner is met first.
    struct XRaySetup
    {
        float origin[3];
        float inverse[3];
        int nearCorner[3]; // 0: the minimum, 1: the maximum

        explicit XRaySetup(const XRay& inRay)
        {
            for (int axis = 0; axis < 3; ++axis)
            {
                origin[axis] = inRay.origin[axis];
                inverse[axis] = 1.0f / inRay.direction[axis];
                // By the reciprocal's sign, so that a -0 component (reciprocal -infinity) meets
                // the maximum first.
                nearCorner[axis] = std::signbit(inverse[axis]) ? 1 : 0;
            }
        }

        bool Overlaps(const XBoundingBox& inBox, float inTMin, float inTMax) const
        {
            float tMin = inTMin;
            float tMax = inTMax;
            for (int axis = 0; axis < 3; ++axis)
            {
                const float t0 = (inBox[nearCorner[axis]][axis] - origin[axis]) * inverse[axis];
                const float t1 = (inBox[1 - nearCorner[axis]][axis] - origin[axis]) * inverse[axis];
                // A NaN comes only from a ray parallel to the slab with its origin on one of its
                // planes, inside the inclusive slab for every t: it loses both comparisons and
                // leaves the interval as it is.
                tMin = t0 > tMin ? t0 : tMin;
                tMax = t1 < tMax ? t1 : tMax;
            }
            // An infinite bound can only come from a ray parallel to a slab and outside it.
            constexpr float kInfinity = std::numeric_limits<float>::infinity();
            return tMin <= tMax && tMin != kInfinity && tMax != -kInfinity;
        }
    };

    static XBoundingBox MakeUnion(std::span<const XBuildItem> inItems);
    // Partitions in place at the midpoint of inBox on inAxis; returns the size of the left part.
    static std::size_t Split(std::span<XBuildItem> ioItems, const XBoundingBox& inBox, int inAxis);
    // Emits the subtree of the part children, whose first item is at inFirst in the build list,
    // at its pre-order place inNode (2 * size - 1 nodes), jumping to jumpTarget when missed.
    void BuildPart(std::span<XBuildItem> children, std::size_t inFirst, int inAxis,
                   std::uint32_t jumpTarget, std::uint32_t inNode);

    std::vector<XNode> itsNodes;
    std::vector<const TPrimitive*> itsPrimitives; // leaves' primitives in pre-order
    XBoundingBox itsBounds;
};

template <XHierarchyPrimitive TPrimitive>
XBoundingVolumeHierarchy<TPrimitive>::XBoundingVolumeHierarchy(
    std::vector<const TPrimitive*> inPrimitives)
{
    if (inPrimitives.empty())
    {
        XReportInternalError("!children.empty()", kSourceName, __LINE__);
        return;
    }
    std::vector<XBuildItem> items;
    items.reserve(inPrimitives.size());
    for (const TPrimitive* primitive : inPrimitives)
    {
        items.push_back({primitive, primitive->GetBoundingBox()});
    }
    itsBounds = MakeUnion(items);

    // A part of n primitives takes 2n - 1 nodes; the terminal node follows the tree.
    const std::size_t count = items.size();
    itsNodes.resize(2 * count);
    const auto terminal = static_cast<std::uint32_t>(itsNodes.size() - 1);
    itsNodes[terminal].box = MakeTerminalBox();
    XNode& root = itsNodes.front();
    root.box = itsBounds;
    if (count == 1)
    {
        root.primitiveIndex = 0;
        root.jumpIndex = terminal;
    }
    else
    {
        const std::span<XBuildItem> all(items);
        const std::size_t leftCount = Split(all, itsBounds, 0);
        const auto rightRoot = static_cast<std::uint32_t>(2 * leftCount);
        BuildPart(all.subspan(leftCount), leftCount, 1, terminal, rightRoot);
        BuildPart(all.first(leftCount), 0, 1, rightRoot, 1);
    }
    // The partitions leave the list in the leaves' pre-order.
    itsPrimitives.reserve(count);
    for (const XBuildItem& item : items)
    {
        itsPrimitives.push_back(item.primitive);
    }
}

template <XHierarchyPrimitive TPrimitive>
XBoundingVolumeHierarchy<TPrimitive>::XBoundingVolumeHierarchy(
    const XBoundingBox& inBounds, const std::vector<XIndexedNode>& inNodes)
    : itsNodes(inNodes.size()), itsBounds(inBounds)
{
    const std::size_t count = inNodes.size();
    for (std::size_t i = 0; i < count; ++i)
    {
        const XIndexedNode& stored = inNodes[i];
        if (stored.jumpIndex != 0 && (stored.jumpIndex <= i || stored.jumpIndex >= count))
        {
            throw XException(XException::kMalformedStream,
                             "hierarchy node " + std::to_string(i) + " jumps to node " +
                                 std::to_string(stored.jumpIndex) + " of " + std::to_string(count));
        }
        itsNodes[i].box = stored.box;
        itsNodes[i].jumpIndex = stored.jumpIndex;
        if (stored.primitive != nullptr)
        {
            itsNodes[i].primitiveIndex = static_cast<std::uint32_t>(itsPrimitives.size());
            itsPrimitives.push_back(stored.primitive);
        }
    }
    // Without a terminal node that can never be hit, the occlusion walk would leave the array.
    if (count != 0 &&
        (itsNodes.back().primitiveIndex != kNoPrimitive || itsNodes.back().jumpIndex != 0 ||
         !(itsNodes.back().box == MakeTerminalBox())))
    {
        throw XException(XException::kMalformedStream,
                         "hierarchy of " + std::to_string(count) +
                             " nodes does not end with a terminal node");
    }
}

template <XHierarchyPrimitive TPrimitive>
XBoundingBox XBoundingVolumeHierarchy<TPrimitive>::MakeUnion(std::span<const XBuildItem> inItems)
{
    XBoundingBox bounds = inItems.front().box;
    for (std::size_t i = 1; i < inItems.size(); ++i)
    {
        bounds = XBoundingBox::MakeSurroundingBox(bounds, inItems[i].box);
    }
    return bounds;
}

template <XHierarchyPrimitive TPrimitive>
std::size_t XBoundingVolumeHierarchy<TPrimitive>::Split(std::span<XBuildItem> ioItems,
                                                        const XBoundingBox& inBox, int inAxis)
{
    const float split = (inBox.GetMin()[inAxis] + inBox.GetMax()[inAxis]) / 2.0f;
    std::size_t k = 0;
    for (std::size_t i = 0; i < ioItems.size(); ++i)
    {
        const XBoundingBox& box = ioItems[i].box;
        const double centroid = (static_cast<double>(box.GetMin()[inAxis]) +
                                 static_cast<double>(box.GetMax()[inAxis])) *
                                0.5;
        if (centroid < split)
        {
            std::swap(ioItems[i], ioItems[k]);
            ++k;
        }
    }
    if (k == 0 || k == ioItems.size())
    {
        // All centroids on one side: halve the list as it stands.
        k = static_cast<std::size_t>(static_cast<double>(ioItems.size()) * 0.5);
    }
    return k;
}

template <XHierarchyPrimitive TPrimitive>
void XBoundingVolumeHierarchy<TPrimitive>::BuildPart(std::span<XBuildItem> children,
                                                     std::size_t inFirst, int inAxis,
                                                     std::uint32_t jumpTarget, std::uint32_t inNode)
{
    if (children.empty())
    {
        XReportInternalError("!children.empty()", kSourceName, __LINE__);
        return;
    }
    if (jumpTarget == 0)
    {
        XReportInternalError("jumpTarget", kSourceName, __LINE__);
    }
    XNode& node = itsNodes[inNode];
    node.box = MakeUnion(children);
    node.jumpIndex = jumpTarget;
    if (children.size() == 1)
    {
        node.primitiveIndex = static_cast<std::uint32_t>(inFirst);
        return;
    }
    const std::size_t leftCount = Split(children, node.box, inAxis);
    const int nextAxis = (inAxis + 1) % 3;
    const auto right = static_cast<std::uint32_t>(inNode + 2 * leftCount);
    const std::uint32_t left = inNode + 1;
    BuildPart(children.subspan(leftCount), inFirst + leftCount, nextAxis, jumpTarget, right);
    BuildPart(children.first(leftCount), inFirst, nextAxis, right, left);
    if (itsNodes[right].jumpIndex == 0)
    {
        XReportInternalError("right->jumpPtr", kSourceName, __LINE__);
    }
    if (itsNodes[left].jumpIndex == 0)
    {
        XReportInternalError("left->jumpPtr", kSourceName, __LINE__);
    }
}

template <XHierarchyPrimitive TPrimitive>
bool XBoundingVolumeHierarchy<TPrimitive>::Intersect(XRay& ioRay, XRayHit& outHit) const
{
    if (itsNodes.empty())
    {
        return false;
    }
    const XRaySetup setup(ioRay);
    outHit.t = ioRay.tMax;
    const XNode* const nodes = itsNodes.data();
    const std::size_t last = itsNodes.size() - 1;
    std::size_t index = 0;
    bool found = false;
    for (;;)
    {
        const XNode& node = nodes[index];
        if (setup.Overlaps(node.box, ioRay.tMin, ioRay.tMax))
        {
            if (index == last)
            {
                break;
            }
            if (node.primitiveIndex != kNoPrimitive &&
                itsPrimitives[node.primitiveIndex]->Intersect(ioRay, outHit))
            {
                found = true;
                ioRay.tMax = outHit.t;
            }
            ++index;
        }
        else if (node.jumpIndex != 0)
        {
            index = node.jumpIndex;
        }
        else
        {
            break;
        }
    }
    return found;
}

template <XHierarchyPrimitive TPrimitive>
bool XBoundingVolumeHierarchy<TPrimitive>::IntersectP(const XRay& inRay) const
{
    if (itsNodes.empty())
    {
        return false;
    }
    const XRaySetup setup(inRay);
    const XNode* const nodes = itsNodes.data();
    std::size_t index = 0;
    for (;;)
    {
        const XNode& node = nodes[index];
        if (setup.Overlaps(node.box, inRay.tMin, inRay.tMax))
        {
            if (node.primitiveIndex != kNoPrimitive &&
                itsPrimitives[node.primitiveIndex]->IntersectP(inRay))
            {
                return true;
            }
            ++index;
        }
        else if (node.jumpIndex != 0)
        {
            index = node.jumpIndex;
        }
        else
        {
            return false;
        }
    }
}
