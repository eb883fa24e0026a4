#include "qvGeom/spatial/GeomRayTrace.h"

#include <algorithm>
#include <bit>
#include <cfloat>
#include <cmath>

#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/Octree.h"
#include "qvGeom/foundation/geometry/OctreeTris.h"
#include "qvGeom/foundation/linear/Tolerances.h"
#include "qvGeom/spatial/detail/LeafTriangles.h"
#include "qvGeom/spatial/detail/QuadRayWalk.h"
#include "qvGeom/spatial/detail/RayTriangle.h"
#include "qvGeom/spatial/detail/RayWalk.h"

namespace qvGeom {

using qvLinear::PointFlt;
using qvLinear::Vector;
using qvLinear::VectorFlt;
using qvLinear::widen;

namespace {

constexpr double kNoHit = FLT_MAX;

double backfaceCullDistance = std::numeric_limits<double>::infinity();

bool isCulled(const detail::RayTriangleHit& hit) {
    return hit.backFace && hit.t <= backfaceCullDistance;
}

/// Whether an exact test of this triangle finds the ray; `hit` is set when it does.
bool meets(const PointFlt& o, const Vector& d, const MeshVertex& a, const MeshVertex& b,
           const MeshVertex& c, detail::RayTriangleHit& hit) {
    return detail::meets(widen(o), d, a, b, c, hit);
}

/// The tree's largest coordinate, times the share of it that rounding may take from a distance.
float slackOf(const Octree& octree) {
    const BoundingBox box = octree.getRoot().box;
    float largest = 0.0F;
    for (int axis = 0; axis < 3; ++axis)
        largest = std::max({largest, std::abs(box.min[axis]), std::abs(box.max[axis])});
    return 1e-6F * largest;
}

/// One ray and the leaves' triangles.
class LeafQuery {
public:
    LeafQuery(const Ray& ray, const detail::RayLanes& lanes)
        : ray_(ray),
          origin_{detail::splat(widen(ray.origin.x)), detail::splat(widen(ray.origin.y)),
                  detail::splat(widen(ray.origin.z))},
          direction_{detail::splat(ray.direction.x), detail::splat(ray.direction.y),
                     detail::splat(ray.direction.z)},
          backward_(lanes.flip) {}

    /// Calls `take(triangle, group, lane)` for triangles of the leaf that the ray's line meets, all
    /// of those up to the limit among them, until it returns true; returns whether it did.
    template <class Take>
    bool run(const detail::LeafTriangles::Range& leaf, const float& limit, const Take& take) const {
        for (const detail::TriangleBundle& bundle : leaf) {
            for (unsigned groups = groupsMet(bundle, limit); groups != 0; groups &= groups - 1) {
                const detail::TriangleGroup& group = bundle.group[std::countr_zero(groups)];
                unsigned met = detail::trianglesMeeting(group, origin_, direction_);
                for (; met != 0; met &= met - 1) {
                    if (take(group, std::countr_zero(met)))
                        return true;
                }
            }
        }
        return false;
    }

private:
    /// One bit for each group whose box the ray meets up to the limit.
    unsigned groupsMet(const detail::TriangleBundle& bundle, float limit) const {
        const float from[3] = {ray_.origin.x, ray_.origin.y, ray_.origin.z};
        detail::Float4 enter = detail::splat(-detail::kInfinity);
        detail::Float4 leave = detail::splat(detail::kInfinity);
        for (int axis = 0; axis < 3; ++axis) {
            const bool backward = backward_ >> axis & 1;
            const float* const first = backward ? bundle.max[axis] : bundle.min[axis];
            const float* const last = backward ? bundle.min[axis] : bundle.max[axis];
            const detail::Float4 origin = detail::splat(from[axis]);
            const detail::Float4 inverse = detail::splat(ray_.inverse[axis]);
            enter = detail::raise(enter, (detail::load(first) - origin) * inverse);
            leave = detail::lower(leave, (detail::load(last) - origin) * inverse);
        }
        // A margin for the rounding of distances; that of the boxes is in them.
        leave *= detail::splat(1.000001F);
        return detail::bitsOf((enter <= leave) & (leave >= detail::splat(0.0F)) &
                              (enter <= detail::splat(limit)));
    }

    const Ray& ray_;
    detail::Double2x3 origin_;
    detail::Double2x3 direction_;
    unsigned backward_; // a bit an axis
};

MeshVertex cornerOf(const detail::TriangleGroup& group, int corner, int lane) {
    return {group.corner[corner][0][lane], group.corner[corner][1][lane],
            group.corner[corner][2][lane]};
}

/// The test again, of one triangle and for its distance.
bool meets(const Ray& ray, const detail::TriangleGroup& group, int lane,
           detail::RayTriangleHit& hit) {
    return meets(ray.origin, ray.direction, cornerOf(group, 0, lane), cornerOf(group, 1, lane),
                 cornerOf(group, 2, lane), hit);
}

/// How far a walk has to go to find all that may be nearer than `t`: the floats by which boxes are
/// entered, and by which triangles were sorted into them, are rounded.
float limitFor(double t, const Ray& ray, float slack) {
    const float* const inverse = ray.inverse;
    const float perLength =
        std::min({std::abs(inverse[0]), std::abs(inverse[1]), std::abs(inverse[2])});
    return qvLinear::narrow(std::min(t * (1.0 + 1e-5) + widen(slack) * widen(perLength), kNoHit));
}

} // namespace

bool intersectRayTriangle(const PointFlt& o, const Vector& d, const MeshVertex& a,
                          const MeshVertex& b, const MeshVertex& c, double& t, double& u,
                          double& v) {
    detail::RayTriangleHit hit{};
    if (!meets(o, d, a, b, c, hit))
        return false;
    t = hit.t;
    u = hit.u;
    v = hit.v;
    return true;
}

bool intersectRayTriangleCull(const PointFlt& o, const Vector& d, const MeshVertex& a,
                              const MeshVertex& b, const MeshVertex& c, double& t, double& u,
                              double& v) {
    detail::RayTriangleHit hit{};
    if (!meets(o, d, a, b, c, hit) || isCulled(hit))
        return false;
    t = hit.t;
    u = hit.u;
    v = hit.v;
    return true;
}

void setBackfaceCullDistance(double distance) { backfaceCullDistance = distance; }

class RayTracer::Impl {
public:
    Impl(const Octree& octree, const OctreeTris& tris, const CompactMesh& mesh)
        : walk_(octree),
          leaves_(octree, tris, mesh),
          slack_(slackOf(octree)) {}

    bool intersect(const PointFlt& origin, const Vector& direction) {
        const Ray ray(origin, direction);
        const detail::RayLanes lanes(ray);
        const LeafQuery query(ray, lanes);
        distance = kNoHit;
        bool found = false;
        float limit = detail::kInfinity;
        const auto take = [&](const detail::TriangleGroup& group, int lane) {
            detail::RayTriangleHit hit{};
            if (!meets(ray, group, lane, hit) || !(hit.t > widen(qvLinear::epsilonTolFlt)))
                return false;
            found = true;
            if (nearest && hit.t < distance) {
                distance = hit.t;
                limit = limitFor(hit.t, ray, slack_);
            }
            return !nearest;
        };
        walk_.run(ray, lanes, limit,
                  [&](int leaf) { return query.run(leaves_.of(leaf), limit, take); });
        return found;
    }

    bool nearest = false;
    double distance = kNoHit;

private:
    detail::RayWalk walk_;
    detail::LeafTriangles leaves_;
    float slack_;
};

RayTracer::RayTracer(const Octree& octree, const OctreeTris& tris, const CompactMesh* mesh)
    : impl_(std::make_unique<Impl>(octree, tris, *mesh)) {}

RayTracer::~RayTracer() = default;

void RayTracer::setFindNearestHit(bool nearest) { impl_->nearest = nearest; }

bool RayTracer::intersect(const PointFlt& origin, const Vector& direction) {
    return impl_->intersect(origin, direction);
}

double RayTracer::intersectionDist() const { return impl_->distance; }

QuadRay::QuadRay(const PointFlt& origin, const VectorFlt& d0, const VectorFlt& d1,
                 const VectorFlt& d2, const VectorFlt& d3, bool cullBackfaces)
    : origin_(origin),
      mean_((d0 + d1 + d2 + d3) * 0.25F),
      directions_{widen(d0), widen(d1), widen(d2), widen(d3)},
      cullBackfaces_(cullBackfaces) {
    std::fill_n(hits_, 4, Hit{false, kNoHit, -1});
}

void QuadRay::setBackfaceCullDistance(float distance) {
    qvGeom::setBackfaceCullDistance(widen(distance));
}

class OctreeQuadRayIntersectIt::Impl : public detail::QuadRayWalk {
    using QuadRayWalk::QuadRayWalk;
};

OctreeQuadRayIntersectIt::OctreeQuadRayIntersectIt(const Octree& octree)
    : impl_(std::make_unique<Impl>(octree)) {}

OctreeQuadRayIntersectIt::OctreeQuadRayIntersectIt(const Octree& octree, const QuadRay& quad)
    : OctreeQuadRayIntersectIt(octree) {
    reset(quad);
}

OctreeQuadRayIntersectIt::~OctreeQuadRayIntersectIt() = default;

void OctreeQuadRayIntersectIt::reset(const QuadRay& quad) { impl_->reset(quad); }

bool OctreeQuadRayIntersectIt::valid() const { return impl_->valid(); }

OctreeIterator OctreeQuadRayIntersectIt::get() const { return impl_->top(); }

void OctreeQuadRayIntersectIt::next() { impl_->next(); }

class QuadRayTracer::Impl {
public:
    Impl(const Octree& octree, const OctreeTris& tris, const CompactMesh& mesh)
        : walk_(octree),
          leaves_(octree, tris, mesh),
          slack_(slackOf(octree)) {}

    void intersect(QuadRay& quad) {
        const PointFlt& o = quad.getOrigin();
        const Ray rays[4] = {{o, quad.getDirection(0)},
                             {o, quad.getDirection(1)},
                             {o, quad.getDirection(2)},
                             {o, quad.getDirection(3)}};
        const detail::RayLanes lanes[4] = {detail::RayLanes(rays[0]), detail::RayLanes(rays[1]),
                                           detail::RayLanes(rays[2]), detail::RayLanes(rays[3])};
        const LeafQuery queries[4] = {
            {rays[0], lanes[0]}, {rays[1], lanes[1]}, {rays[2], lanes[2]}, {rays[3], lanes[3]}};
        QuadRay::Hit hits[4];
        std::fill_n(hits, 4, QuadRay::Hit{false, kNoHit, -1});

        for (walk_.reset(quad); walk_.valid(); walk_.next()) {
            const detail::LeafTriangles::Range leaf = leaves_.of(walk_.top().leafIndex());
            for (int r = 0; r < 4; ++r)
                walk_.limit[r] = trace(rays[r], queries[r], leaf, quad.cullsBackfaces(), hits[r],
                                       walk_.limit[r]);
        }
        for (int r = 0; r < 4; ++r)
            quad.setHit(r, hits[r]);
    }

private:
    /// Betters the hit of one ray by a leaf; returns the limit from then on.
    float trace(const Ray& ray, const LeafQuery& query, const detail::LeafTriangles::Range& leaf,
                bool cull, QuadRay::Hit& best, float limit) const {
        query.run(leaf, limit, [&](const detail::TriangleGroup& group, int lane) {
            detail::RayTriangleHit hit{};
            if (!meets(ray, group, lane, hit) || !(hit.t > qvLinear::epsilonTol))
                return false;
            if (cull && isCulled(hit))
                return false;
            const int triangle = group.triangle[lane];
            if (hit.t < best.t || (hit.t == best.t && triangle < best.triangle)) {
                best = {true, hit.t, triangle};
                limit = limitFor(hit.t, ray, slack_);
            }
            return false;
        });
        return limit;
    }

    detail::QuadRayWalk walk_;
    detail::LeafTriangles leaves_;
    float slack_;
};

QuadRayTracer::QuadRayTracer(const Octree& octree, const OctreeTris& tris, const CompactMesh* mesh)
    : impl_(std::make_unique<Impl>(octree, tris, *mesh)) {}

QuadRayTracer::~QuadRayTracer() = default;

void QuadRayTracer::intersect(QuadRay& quad) { impl_->intersect(quad); }

} // namespace qvGeom
