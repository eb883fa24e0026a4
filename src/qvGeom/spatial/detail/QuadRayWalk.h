/// \file
/// The way of four rays with one origin through an octree.
#pragma once

#include <cassert>
#include <cfloat>
#include <vector>

#include "qvGeom/foundation/geometry/Lanes.h"
#include "qvGeom/foundation/geometry/Octree.h"
#include "qvGeom/foundation/geometry/Ray.h"
#include "qvGeom/spatial/GeomRayTrace.h"
#include "qvGeom/spatial/detail/OctreeWalk.h"

namespace qvGeom::detail {

/// A depth-first walk with a stack of its own: the nodes met and not yet gone into, the next on
/// top. Between calls the top is a leaf.
class QuadRayWalk {
public:
    explicit QuadRayWalk(const Octree& octree)
        : octree_(octree),
          stack_(static_cast<std::size_t>(8 * octree.getDepth())) {}

    void reset(const QuadRay& quad) {
        setRays(quad);
        octree_.getNodeOrdering(qvLinear::widen(quad.getMeanDirection()), order_);
        const OctreeIterator root = octree_.getRoot();
        size_ = 0;
        Slabs slabs[3];
        for (int axis = 0; axis < 3; ++axis)
            slabs[axis] = between(axis, at(axis, root.box.min[axis]), at(axis, root.box.max[axis]));
        push(root, slabs[0], slabs[1], slabs[2]);
        findLeaf();
    }

    bool valid() const { return size_ > 0; }

    const OctreeIterator& top() const { return stack_[size_ - 1]; }

    void next() {
        --size_;
        findLeaf();
    }

private:
    /// Where each ray enters and leaves the space between two sides of a box.
    struct Slabs {
        Float4 enter, leave;
    };

    void setRays(const QuadRay& quad) {
        origin_[0] = quad.getOrigin().x;
        origin_[1] = quad.getOrigin().y;
        origin_[2] = quad.getOrigin().z;
        for (int r = 0; r < 4; ++r) {
            const Ray ray(quad.getOrigin(), quad.getDirection(r));
            for (int axis = 0; axis < 3; ++axis) {
                inverse_[axis][r] = ray.inverse[axis];
                backward_[axis][r] = ray.near[axis] < 3 ? 0 : -1;
            }
        }
    }

    Float4 at(int axis, float side) const { return splat(side - origin_[axis]) * inverse_[axis]; }

    Slabs between(int axis, Float4 atMin, Float4 atMax) const {
        return {select(backward_[axis], atMax, atMin), select(backward_[axis], atMin, atMax)};
    }

    void push(const OctreeIterator& node, const Slabs& x, const Slabs& y, const Slabs& z) {
        const Float4 in = raise(raise(raise(splat(-kInfinity), x.enter), y.enter), z.enter);
        const Float4 out = lower(lower(lower(splat(kInfinity), x.leave), y.leave), z.leave);
        const Mask4 met = (in <= out) & (in < splat(FLT_MAX)) & (out > splat(0.0F));
        if (bitsOf(met) == 0)
            return;
        assert(size_ < static_cast<int>(stack_.size()));
        stack_[size_++] = node;
    }

    void findLeaf() {
        while (size_ > 0 && !top().isLeaf()) {
            const OctreeIterator parent = stack_[--size_];
            pushChildren(parent);
        }
    }

    void pushChildren(const OctreeIterator& parent) {
        Slabs slabs[3][2]; // of the lower and the upper children
        for (int axis = 0; axis < 3; ++axis) {
            const Float4 atMin = at(axis, parent.box.min[axis]);
            const Float4 atMiddle = at(axis, parent.middle(axis));
            const Float4 atMax = at(axis, parent.box.max[axis]);
            slabs[axis][0] = between(axis, atMin, atMiddle);
            slabs[axis][1] = between(axis, atMiddle, atMax);
        }
        for (int i = 7; i >= 0; --i) { // the first is to end on top
            const int k = order_[i];
            OctreeIterator child = parent;
            if (child.descend(k))
                push(child, slabs[0][k & 1], slabs[1][k >> 1 & 1], slabs[2][k >> 2]);
        }
    }

    const Octree& octree_;
    std::vector<OctreeIterator> stack_; // eight entries a level
    int size_ = 0;
    int order_[8];
    float origin_[3];
    Float4 inverse_[3];
    Mask4 backward_[3];
};

} // namespace qvGeom::detail
