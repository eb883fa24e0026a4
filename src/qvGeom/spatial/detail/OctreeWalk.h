/// \file
/// Which children of an octree's node a query meets: the inner loops of every walk.
///
/// They use what is known of the children's boxes, which share sides with each other and with their
/// parent's, and give the same answers as tests of one box after the other.
#pragma once

#include <cassert>
#include <cfloat>
#include <limits>
#include <vector>

#include "qvGeom/foundation/geometry/Octree.h"
#include "qvGeom/foundation/geometry/Ray.h"

namespace qvGeom::detail {

inline constexpr float kInfinity = std::numeric_limits<float>::infinity();

/// The children on the lower side of each axis, one bit each; the others are on the upper one.
inline constexpr unsigned kLowerChildren[3] = {0x55, 0x33, 0x0f};

/// Of the children of a node that `query` meets, one bit for each that it meets as well; some of
/// them may not exist.
inline unsigned childrenMeeting(const OctreeIterator& parent, const BoundingBox& query) {
    unsigned children = 0xff;
    for (int axis = 0; axis < 3; ++axis) {
        const float middle = parent.middle(axis);
        const unsigned lower = kLowerChildren[axis];
        children &= (query.min[axis] <= middle ? lower : 0U) |
                    (query.max[axis] >= middle ? 0xffU ^ lower : 0U);
    }
    return children;
}

/// Where a ray enters and leaves the space between two sides of a box, in units of its direction.
/// A ray that runs in a side gives NaN, which is passed over.
struct Slab {
    float enter;
    float leave;
};

inline bool meetsSlabs(const Slab& x, const Slab& y, const Slab& z) {
    float enter = -kInfinity;
    float leave = kInfinity;
    if (x.enter > enter)
        enter = x.enter;
    if (x.leave < leave)
        leave = x.leave;
    if (enter > y.leave || y.enter > leave)
        return false;
    if (y.enter > enter)
        enter = y.enter;
    if (y.leave < leave)
        leave = y.leave;
    if (enter > z.leave || z.enter > leave)
        return false;
    if (z.enter > enter)
        enter = z.enter;
    if (z.leave < leave)
        leave = z.leave;
    return enter < FLT_MAX && leave > 0.0F;
}

inline bool meets(const BoundingBox& box, const Ray& ray) {
    const auto* const sides = reinterpret_cast<const float*>(&box); // it is six of them
    const auto slab = [&](int axis, float from) {
        return Slab{(sides[ray.near[axis]] - from) * ray.inverse[axis],
                    (sides[ray.far[axis]] - from) * ray.inverse[axis]};
    };
    return meetsSlabs(slab(0, ray.origin.x), slab(1, ray.origin.y), slab(2, ray.origin.z));
}

inline unsigned childrenMeeting(const OctreeIterator& parent, const Ray& ray) {
    const float origin[3] = {ray.origin.x, ray.origin.y, ray.origin.z};
    Slab slabs[3][2]; // of the lower and the upper children
    for (int axis = 0; axis < 3; ++axis) {
        const auto at = [&](float side) { return (side - origin[axis]) * ray.inverse[axis]; };
        const float min = at(parent.box.min[axis]);
        const float middle = at(parent.middle(axis));
        const float max = at(parent.box.max[axis]);
        const bool forward = ray.near[axis] < 3;
        slabs[axis][0] = forward ? Slab{min, middle} : Slab{middle, min};
        slabs[axis][1] = forward ? Slab{middle, max} : Slab{max, middle};
    }
    unsigned children = 0;
    for (int child = 0; child < 8; ++child) {
        const bool met =
            meetsSlabs(slabs[0][child & 1], slabs[1][child >> 1 & 1], slabs[2][child >> 2]);
        children |= static_cast<unsigned>(met) << child;
    }
    return children;
}

/// A depth-first walk with a stack of its own: the nodes met and not yet gone into, the next on
/// top. Between calls the top is a leaf. A derived walk has
///  - bool meetsBox(const BoundingBox&) const, asked of the root;
///  - unsigned childrenToVisit(const OctreeIterator&) const: one bit for each child of a node that
///    it goes to; some of them may not exist.
template <class Walk>
class LeafWalk {
public:
    explicit LeafWalk(const Octree& octree)
        : octree_(octree),
          stack_(static_cast<std::size_t>(8 * octree.getDepth())) {}

    bool valid() const { return size_ > 0; }

    const OctreeIterator& top() const { return stack_[size_ - 1]; }

    void next() {
        --size_;
        findLeaf();
    }

protected:
    /// Goes to the first leaf along `direction`.
    void start(const qvLinear::Vector& direction) {
        octree_.getNodeOrdering(direction, order_);
        size_ = 0;
        const OctreeIterator root = octree_.getRoot();
        if (walk().meetsBox(root.box))
            stack_[size_++] = root;
        findLeaf();
    }

private:
    const Walk& walk() const { return static_cast<const Walk&>(*this); }

    void findLeaf() {
        while (size_ > 0 && !top().isLeaf()) {
            const OctreeIterator parent = stack_[--size_];
            const unsigned children = walk().childrenToVisit(parent);
            for (int i = 7; i >= 0; --i) { // the first is to end on top
                if (!(children >> order_[i] & 1))
                    continue;
                assert(size_ < static_cast<int>(stack_.size()));
                stack_[size_] = parent;
                size_ += static_cast<int>(stack_[size_].descend(order_[i]));
            }
        }
    }

    const Octree& octree_;
    std::vector<OctreeIterator> stack_; // eight entries a level
    int size_ = 0;
    int order_[8];
};

} // namespace qvGeom::detail
