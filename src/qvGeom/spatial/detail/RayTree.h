/// \file
/// An octree and the triangles of its leaves, laid out for rays.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

#include "qvGeom/foundation/geometry/Array.h"
#include "qvGeom/foundation/geometry/OctreeIterator.h"
#include "qvGeom/spatial/detail/RayLanes.h"
#include "qvGeom/spatial/detail/RayTriangle.h"

namespace qvGeom {

class CompactMesh;
class Octree;
class OctreeTris;
struct MeshTriangle;

namespace detail {

/// Up to eight groups of triangles of a leaf and boxes around them. Those of one leaf follow each
/// other.
struct RayBundle {
    EightBoxes boxes;
    BoundingBox leaf; // the octree's box
    int firstGroup;
    int isLast;
};

/// Memory as arrays have it: random rays touch all of it, and the fewer pages the better.
template <class T>
struct ArrayAllocator {
    using value_type = T;

    T* allocate(std::size_t count) {
        return static_cast<T*>(qvGeom::detail::allocateZeroed(count * sizeof(T)));
    }

    void deallocate(T* block, std::size_t count) {
        qvGeom::detail::freeZeroed(block, count * sizeof(T));
    }

    bool operator==(const ArrayAllocator&) const = default;
};

template <class T>
using LargeVector = std::vector<T, ArrayAllocator<T>>;

/// Boxes wide enough and yet narrower than the octree's, made where rays come, up to eight a node.
/// They enclose what any ray may hit, so a walk by them misses nothing; but it may come to leaves
/// that the octree's own walk does not yield, so that a hit counts only after a test of the leaf's
/// box.
///
/// Where a ray hits a triangle by the formula of the test, in doubles, is off by rounding: the less
/// so, the smaller the triangle and the direction. As long as that is below the margin of the
/// boxes, they are those of the triangles, cut at the leaf's. Leaves with larger triangles are
/// *wide*: their boxes are the leaf's own for the leaf, and unbounded for the triangles.
class RayTree {
public:
    RayTree(const Octree& octree, const OctreeTris& tris, const CompactMesh& mesh);

    /// Whether the boxes are good for rays from `origin` along `direction`; makes them so where it
    /// takes to start anew. Not for numbers of a size that no margin covers, nor for meshes that
    /// reach out of the tree.
    bool prepare(const qvLinear::PointFlt& origin, const qvLinear::Vector& direction);

    /// The share of a distance and of the largest coordinate that hits may be off.
    float margin() const { return margin_; }

    /// Calls `visit` with the first bundle of each leaf that `rays` meets up to `limit`, front to
    /// back, until it returns true. It may lower the limit.
    template <class Rays, class Visit>
    void walk(const Rays& rays, const float& limit, const Visit& visit);

    const TriangleGroup* groups(const RayBundle& bundle) const {
        return groups_.data() + bundle.firstGroup;
    }

private:
    static constexpr int kUnopened = std::numeric_limits<int>::max();

    struct Node {
        EightBoxes boxes;
        int child[8]; // a node, a bundle with all bits turned over, or not yet known
    };

    /// Where a node hangs, and where its children lie in the octree.
    struct NodePlace {
        int slot;
        OctreeIterator children[8];
    };

    struct PlacedTriangle {
        int triangle;
        float place[3]; // three times its middle
    };

    struct Entry {
        int slot; // eight times the parent, plus the child
        float enter;
    };

    /// Puts the children of a node that are met on the stack, the nearest on top; returns its size.
    static int pushSorted(Entry* stack, int size, int first, unsigned met, const float enter[8]);

    void restart();
    int open(int slot);
    int openNode(const OctreeIterator& place, int slot);
    int addChildren(const OctreeIterator& place, OctreeIterator* children) const;
    int copyLeaf(const OctreeIterator& place, int slot);
    void setBox(int slot, const BoundingBox& box);
    PlacedTriangle placed(int triangle) const;
    static void sortByPlace(PlacedTriangle* begin, PlacedTriangle* end);
    void fillGroup(TriangleGroup& group, std::size_t first, BoundingBox& box) const;
    bool holdsTriangles(const TreeNode* node) const;

    const Octree& octree_;
    const OctreeTris& tris_;
    const MeshVertex* vertices_;
    const MeshTriangle* triangles_;
    double largest_; // coordinate; infinite for boxes that are no good
    float margin_;
    double reach_;    // length of directions, in units of the tree's size, that boxes are good for
    double wideEdge_; // squared
    LargeVector<Node> nodes_;       // the first has the root for its only child
    std::vector<NodePlace> places_; // of the nodes
    LargeVector<RayBundle> bundles_;
    LargeVector<TriangleGroup> groups_;
    std::vector<Entry> stack_;           // eight entries a level
    std::vector<PlacedTriangle> sorted_; // of one leaf
};

inline int RayTree::pushSorted(Entry* stack, int size, int first, unsigned met,
                               const float enter[8]) {
    const int begin = size;
    for (; met != 0; met &= met - 1) {
        const int lane = std::countr_zero(met);
        const Entry entry{first | lane, enter[lane]};
        int at = size++;
        for (; at > begin && stack[at - 1].enter < entry.enter; --at)
            stack[at] = stack[at - 1];
        stack[at] = entry;
    }
    return size;
}

template <class Rays, class Visit>
void RayTree::walk(const Rays& rays, const float& limit, const Visit& visit) {
    alignas(32) float enter[8];
    if (!(rays.boxesMet(nodes_[0].boxes, limit, enter) & 1))
        return;
    Entry* const stack = stack_.data();
    int slot = 0; // the one to go into, nearer than all on the stack
    int size = 0;
    while (true) {
        int child = nodes_[slot >> 3].child[slot & 7];
        if (child == kUnopened)
            child = open(slot);
        unsigned met = 0;
        if (child >= 0)
            met = rays.boxesMet(nodes_[child].boxes, limit, enter);
        else if (visit(bundles_[~child]))
            return;

        if (met != 0) {
            const int first = child << 3;
            slot = first | std::countr_zero(met);
            if ((met & (met - 1)) != 0) {
                size = pushSorted(stack, size, first, met, enter);
                slot = stack[--size].slot;
            }
            continue;
        }
        do {
            if (size == 0)
                return;
            slot = stack[--size].slot;
        } while (stack[size].enter > limit);
    }
}

} // namespace detail
} // namespace qvGeom
