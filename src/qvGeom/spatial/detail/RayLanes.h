/// \file
/// The test of one ray, or of four that run alike, against eight boxes.
#pragma once

#include <algorithm>

#include "qvGeom/foundation/geometry/Ray.h"
#include "qvGeom/foundation/geometry/internal/Lanes.h"

namespace qvGeom::detail {

/// The sides of eight boxes, as a box has them: the three least, then the three largest. Lanes
/// without a box have the empty one.
struct alignas(16) EightBoxes {
    float side[6][8];

    EightBoxes();

    /// A box that is not valid becomes the empty one.
    void set(int lane, const BoundingBox& box);

    /// The box around all.
    BoundingBox extent() const;
};

/// By how much an exit may be too early by the rounding of it and of the entry, relative.
inline constexpr float kExitSlack = 1.000002F;

/// One bit for each box met between 0 and `limit`; sets where it is entered. `at` gives the
/// distances of four sides; NaN, for a ray in a side, is passed over.
template <class At>
unsigned boxesMet(const EightBoxes& boxes, const int near[3], const int far[3], float limit,
                  float enter[8], const At& at) {
    unsigned met = 0;
    for (int half = 0; half < 8; half += 4) {
        Float4 in = splat(0.0F);
        Float4 out = splat(limit);
        for (int axis = 0; axis < 3; ++axis) {
            in = raise(in, at.nearest(load(boxes.side[near[axis]] + half), axis));
            out = lower(out, at.farthest(load(boxes.side[far[axis]] + half), axis));
        }
        store(enter + half, in);
        met |= bitsOf(in <= out * splat(kExitSlack)) << half;
    }
    return met;
}

/// What the lanes need of a ray.
struct RayLanes {
    Float4 origin[3];
    Float4 inverse[3];
    int near[3];
    int far[3];

    explicit RayLanes(const Ray& ray)
        : origin{splat(ray.origin.x), splat(ray.origin.y), splat(ray.origin.z)},
          inverse{splat(ray.inverse[0]), splat(ray.inverse[1]), splat(ray.inverse[2])} {
        for (int axis = 0; axis < 3; ++axis) {
            near[axis] = ray.near[axis];
            far[axis] = ray.far[axis];
        }
    }

    Float4 nearest(Float4 side, int axis) const { return (side - origin[axis]) * inverse[axis]; }

    Float4 farthest(Float4 side, int axis) const { return (side - origin[axis]) * inverse[axis]; }

    unsigned boxesMet(const EightBoxes& boxes, float limit, float enter[8]) const {
        return detail::boxesMet(boxes, near, far, limit, enter, *this);
    }
};

/// What they need of four rays with one origin whose directions have the same signs and no zeros:
/// the ray of all entries that come first and all exits that come last.
struct PacketLanes {
    Float4 origin[3];
    Float4 least[3]; // inverses
    Float4 largest[3];
    Float4 inverse[3]; // a ray a lane
    int near[3];
    int far[3];

    PacketLanes(const Ray& a, const Ray& b, const Ray& c, const Ray& d)
        : origin{splat(a.origin.x), splat(a.origin.y), splat(a.origin.z)} {
        for (int axis = 0; axis < 3; ++axis) {
            inverse[axis] =
                Float4{a.inverse[axis], b.inverse[axis], c.inverse[axis], d.inverse[axis]};
            const auto [low, high] =
                std::minmax({a.inverse[axis], b.inverse[axis], c.inverse[axis], d.inverse[axis]});
            least[axis] = splat(low);
            largest[axis] = splat(high);
            near[axis] = a.near[axis];
            far[axis] = a.far[axis];
        }
    }

    Float4 nearest(Float4 side, int axis) const {
        const Float4 from = side - origin[axis];
        return lower(from * least[axis], from * largest[axis]);
    }

    Float4 farthest(Float4 side, int axis) const {
        const Float4 from = side - origin[axis];
        return raise(from * least[axis], from * largest[axis]);
    }

    unsigned boxesMet(const EightBoxes& boxes, float limit, float enter[8]) const {
        return detail::boxesMet(boxes, near, far, limit, enter, *this);
    }

    /// One bit for each ray that meets the box up to its limit.
    unsigned raysMeeting(const EightBoxes& boxes, int lane, Float4 limits) const {
        Float4 in = splat(0.0F);
        Float4 out = limits;
        for (int axis = 0; axis < 3; ++axis) {
            const auto at = [&](int side) {
                return (splat(boxes.side[side][lane]) - origin[axis]) * inverse[axis];
            };
            in = raise(in, at(near[axis]));
            out = lower(out, at(far[axis]));
        }
        return bitsOf(in <= out * splat(kExitSlack));
    }
};

} // namespace qvGeom::detail
