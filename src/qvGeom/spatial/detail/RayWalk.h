/// \file
/// The way of one ray through an octree, front to back.
#pragma once

#include <bit>
#include <cfloat>
#include <vector>

#include "qvGeom/foundation/geometry/Octree.h"
#include "qvGeom/foundation/geometry/Ray.h"
#include "qvGeom/spatial/detail/Lanes.h"
#include "qvGeom/spatial/detail/OctreeWalk.h"

namespace qvGeom::detail {

/// What the lanes need of a ray. In vectors of axes the fourth lane means nothing.
struct RayLanes {
    Float4 origin;
    Float4 inverse;
    Mask4 backward;    // axes along which the ray goes down
    unsigned flip = 0; // the same as bits of a child

    explicit RayLanes(const Ray& ray)
        : origin{ray.origin.x, ray.origin.y, ray.origin.z, 0.0F},
          inverse{ray.inverse[0], ray.inverse[1], ray.inverse[2], 0.0F},
          backward{0, 0, 0, 0} {
        for (int axis = 0; axis < 3; ++axis) {
            if (ray.near[axis] < 3)
                continue;
            backward[axis] = -1;
            flip |= 1U << axis;
        }
    }
};

/// Visits the leaves whose boxes meet a ray, by the test that all walks use, but for those that the
/// ray enters beyond a limit.
class RayWalk {
public:
    explicit RayWalk(const Octree& octree)
        : octree_(octree),
          stack_(static_cast<std::size_t>(8 * octree.getDepth())) {}

    /// Calls `visit` with the index of each leaf until it returns true. It may lower `limit`.
    template <class Visit>
    void run(const Ray& ray, const RayLanes& lanes, const float& limit, const Visit& visit) {
        const OctreeIterator root = octree_.getRoot();
        if (!meets(root.box, ray))
            return;
        stack_[0] = {Float4{root.box.min[0], root.box.min[1], root.box.min[2], 0.0F},
                     Float4{root.box.max[0], root.box.max[1], root.box.max[2], 0.0F}, root.node,
                     -kInfinity};
        for (int size = 1; size > 0;) {
            const Entry entry = stack_[--size];
            if (entry.enter > limit)
                continue;
            if (!entry.node->isLeaf())
                size = pushChildren(entry, lanes, limit, size);
            else if (visit(entry.node->leafIndex()))
                return;
        }
    }

private:
    struct Entry {
        Float4 min, max;
        const TreeNode* node;
        float enter;
    };

    /// Children are numbered from the ray here, bit by bit 0 for the nearer: ascending is front to
    /// back.
    int pushChildren(const Entry& entry, const RayLanes& ray, float limit, int size) {
        const Float4 middle = splat(0.5F) * (entry.min + entry.max);
        const Float4 atMin = (entry.min - ray.origin) * ray.inverse;
        const Float4 atMiddle = (middle - ray.origin) * ray.inverse;
        const Float4 atMax = (entry.max - ray.origin) * ray.inverse;
        const Float4 first = select(ray.backward, atMax, atMin);
        const Float4 last = select(ray.backward, atMin, atMax);

        const auto ofChildren = [](Float4 nearer, Float4 farther, Float4 known, const auto& keep) {
            return keep(keep(known, Float4{nearer[0], farther[0], nearer[0], farther[0]}),
                        Float4{nearer[1], nearer[1], farther[1], farther[1]});
        };
        const Float4 enter = ofChildren(first, atMiddle, splat(-kInfinity), raise);
        const Float4 leave = ofChildren(atMiddle, last, splat(kInfinity), lower);
        alignas(16) float enters[8];
        unsigned met = 0;
        const auto addHalf = [&](int half, float zEnter, float zLeave) {
            const Float4 in = raise(enter, splat(zEnter));
            const Float4 out = lower(leave, splat(zLeave));
            met |= bitsOf((in <= out) & (in < splat(FLT_MAX)) & (out > splat(0.0F)) &
                          (in <= splat(limit)))
                   << (4 * half);
            std::memcpy(enters + 4 * half, &in, sizeof in);
        };
        addHalf(0, first[2], atMiddle[2]);
        addHalf(1, atMiddle[2], last[2]);

        while (met != 0) { // the nearest is to end on top
            const unsigned nearness = 31U - static_cast<unsigned>(std::countl_zero(met));
            met ^= 1U << nearness;
            const unsigned child = nearness ^ ray.flip;
            const TreeNode* const node = entry.node->child(static_cast<int>(child));
            if (!node)
                continue;
            const Mask4 upper = upperSides(child);
            stack_[size++] = {select(upper, middle, entry.min), select(upper, entry.max, middle),
                              node, enters[nearness]};
        }
        return size;
    }

    static Mask4 upperSides(unsigned child) {
        const auto bit = [child](unsigned axis) {
            return -static_cast<std::int32_t>(child >> axis & 1U);
        };
        return Mask4{bit(0), bit(1), bit(2), 0};
    }

    const Octree& octree_;
    std::vector<Entry> stack_;
};

} // namespace qvGeom::detail
