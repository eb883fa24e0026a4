/// \file
/// The way of four rays with one origin through an octree.
#pragma once

#include <cfloat>

#include "qvGeom/foundation/geometry/Ray.h"
#include "qvGeom/foundation/geometry/internal/Lanes.h"
#include "qvGeom/spatial/GeomRayTrace.h"
#include "qvGeom/spatial/detail/OctreeWalk.h"

namespace qvGeom::detail {

/// Goes to what any of the rays meets.
class QuadRayWalk : public LeafWalk<QuadRayWalk> {
public:
    using LeafWalk::LeafWalk;

    void reset(const QuadRay& quad) {
        setRays(quad);
        start(qvLinear::widen(quad.getMeanDirection()));
    }

    bool meetsBox(const BoundingBox& box) const {
        Slabs slabs[3];
        for (int axis = 0; axis < 3; ++axis)
            slabs[axis] = between(axis, at(axis, box.min[axis]), at(axis, box.max[axis]));
        return meetsAny(slabs[0], slabs[1], slabs[2]);
    }

    unsigned childrenToVisit(const OctreeIterator& parent) const {
        Slabs slabs[3][2]; // of the lower and the upper children
        for (int axis = 0; axis < 3; ++axis) {
            const Float4 atMin = at(axis, parent.box.min[axis]);
            const Float4 atMiddle = at(axis, parent.middle(axis));
            const Float4 atMax = at(axis, parent.box.max[axis]);
            slabs[axis][0] = between(axis, atMin, atMiddle);
            slabs[axis][1] = between(axis, atMiddle, atMax);
        }
        unsigned children = 0;
        for (int k = 0; k < 8; ++k) {
            const bool met = meetsAny(slabs[0][k & 1], slabs[1][k >> 1 & 1], slabs[2][k >> 2]);
            children |= static_cast<unsigned>(met) << k;
        }
        return children;
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

    static bool meetsAny(const Slabs& x, const Slabs& y, const Slabs& z) {
        const Float4 in = raise(raise(raise(splat(-kInfinity), x.enter), y.enter), z.enter);
        const Float4 out = lower(lower(lower(splat(kInfinity), x.leave), y.leave), z.leave);
        return bitsOf((in <= out) & (in < splat(FLT_MAX)) & (out > splat(0.0F))) != 0;
    }

    float origin_[3];
    Float4 inverse_[3];
    Mask4 backward_[3];
};

} // namespace qvGeom::detail
