#include "qvGeom/spatial/GeomRayTrace.h"

#include <algorithm>
#include <bit>
#include <cfloat>
#include <cmath>

#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/Octree.h"
#include "qvGeom/foundation/geometry/OctreeTris.h"
#include "qvGeom/foundation/linear/Tolerances.h"
#include "qvGeom/spatial/GeomOctreeIterators.h"
#include "qvGeom/spatial/detail/OctreeWalk.h"
#include "qvGeom/spatial/detail/QuadRayWalk.h"
#include "qvGeom/spatial/detail/RayTree.h"
#include "qvGeom/spatial/detail/WideLanes.h"

namespace qvGeom {

using qvLinear::PointFlt;
using qvLinear::Vector;
using qvLinear::VectorFlt;
using qvLinear::widen;

namespace {

constexpr double kNoHit = FLT_MAX;

double backfaceCullDistance = std::numeric_limits<double>::infinity();

bool isCulled(const detail::RayHit& hit) { return hit.backFace && hit.t <= backfaceCullDistance; }

/// Whether an exact test of this triangle finds the ray; `hit` is set when it does.
bool meets(const PointFlt& o, const Vector& d, const MeshVertex& a, const MeshVertex& b,
           const MeshVertex& c, detail::RayTriangleHit& hit) {
    return detail::meets(widen(o), d, a, b, c, hit);
}

/// Always true.
bool report(const detail::RayTriangleHit& hit, double& t, double& u, double& v) {
    t = hit.t;
    u = hit.u;
    v = hit.v;
    return true;
}

/// A ray and all that its tests need.
struct TracedRay {
    Ray ray;
    qvLinear::Point origin;

    TracedRay(const PointFlt& o, const Vector& d) : ray(o, d), origin(widen(o)) {}

    /// How far a walk has to go to find all that may be nearer than `t`, in boxes with a margin.
    float limitFor(double t, float margin) const {
        const float* const inverse = ray.inverse;
        const float perLength =
            std::min({std::abs(inverse[0]), std::abs(inverse[1]), std::abs(inverse[2])});
        return qvLinear::narrow(
            std::min(t * (1.0 + 1e-5) + widen(margin) * widen(perLength), kNoHit));
    }
};

/// Calls `take(triangle, hit)` for what the line of a ray meets of a leaf, all hits up to the limit
/// among them, until it returns true; returns whether it did.
template <class Kernel, class Take>
bool testLeaf(const detail::RayTree& tree, const detail::RayBundle& leaf, const TracedRay& ray,
              const typename Kernel::Lanes& lanes, const float& limit, const Take& take) {
    for (const detail::RayBundle* bundle = &leaf;; ++bundle) {
        alignas(32) float enter[8];
        unsigned groups = lanes.boxesMet(bundle->boxes, limit, enter);
        for (; groups != 0; groups &= groups - 1) {
            const int g = std::countr_zero(groups);
            if (enter[g] > limit)
                continue;
            const auto& group = tree.groups(*bundle)[g];
            detail::GroupHits hits;
            unsigned met =
                typename Kernel::Triangles(group, ray.origin).meeting(ray.ray.direction, hits);
            for (; met != 0; met &= met - 1) {
                const int lane = std::countr_zero(met);
                if (take(group.triangle[lane], hits.of(lane)))
                    return true;
            }
        }
        if (bundle->isLast)
            return false;
    }
}

/// The same, for four rays, the limits a ray a lane: `take(ray, triangle, hit)`.
template <class Kernel, class Take>
void testLeaf(const detail::RayTree& tree, const detail::RayBundle& leaf,
              const typename Kernel::Packet& packet, const TracedRay rays[4], const Float4& limits,
              const float& limit, const Take& take) {
    for (const detail::RayBundle* bundle = &leaf;; ++bundle) {
        alignas(32) float enter[8];
        unsigned groups = packet.boxesMet(bundle->boxes, limit, enter);
        for (; groups != 0; groups &= groups - 1) {
            const int g = std::countr_zero(groups);
            unsigned which = packet.raysMeeting(bundle->boxes, g, limits);
            if (which == 0)
                continue;
            const auto& group = tree.groups(*bundle)[g];
            const typename Kernel::Triangles triangles(group, rays[0].origin);
            for (; which != 0; which &= which - 1) {
                const int r = std::countr_zero(which);
                detail::GroupHits hits;
                unsigned met = triangles.meeting(rays[r].ray.direction, hits);
                for (; met != 0; met &= met - 1) {
                    const int lane = std::countr_zero(met);
                    take(r, group.triangle[lane], hits.of(lane));
                }
            }
        }
        if (bundle->isLast)
            return;
    }
}

MeshVertex cornerOf(const CompactMesh& mesh, int triangle, int corner) {
    return mesh.getVertices()[mesh.getTriangles()[triangle][corner]];
}

/// Calls `take(triangle, hit)` for what the line of the ray meets of a leaf's triangles until it
/// returns true; returns whether it did.
template <class Take>
bool testAll(const CompactMesh& mesh, const OctreeTris& tris, int leaf, const Ray& ray,
             const Take& take) {
    if (leaf >= tris.numSets())
        return false;
    return std::any_of(tris.begin(leaf), tris.end(leaf), [&](int t) {
        detail::RayTriangleHit hit{};
        return meets(ray.origin, ray.direction, cornerOf(mesh, t, 0), cornerOf(mesh, t, 1),
                     cornerOf(mesh, t, 2), hit) &&
               take(t, hit);
    });
}

} // namespace

bool intersectRayTriangle(const PointFlt& o, const Vector& d, const MeshVertex& a,
                          const MeshVertex& b, const MeshVertex& c, double& t, double& u,
                          double& v) {
    detail::RayTriangleHit hit{};
    return meets(o, d, a, b, c, hit) && report(hit, t, u, v);
}

bool intersectRayTriangleCull(const PointFlt& o, const Vector& d, const MeshVertex& a,
                              const MeshVertex& b, const MeshVertex& c, double& t, double& u,
                              double& v) {
    detail::RayTriangleHit hit{};
    return meets(o, d, a, b, c, hit) && !isCulled(hit) && report(hit, t, u, v);
}

void setBackfaceCullDistance(double distance) { backfaceCullDistance = distance; }

class RayTracer::Impl {
public:
    Impl(const Octree& octree, const OctreeTris& tris, const CompactMesh& mesh)
        : octree_(octree),
          tris_(tris),
          mesh_(mesh),
          tree_(octree, tris, mesh) {}

    bool intersect(const PointFlt& origin, const Vector& direction) {
        if (!tree_.prepare(origin, direction))
            return intersectAll(origin, direction);
        const TracedRay ray(origin, direction);
        bool found = false;
        bool sure = false;
        detail::runWithLanes([&](auto kernel) { sure = trace<decltype(kernel)>(ray, found); });
        return sure ? found : intersectAll(origin, direction);
    }

    bool nearest = false;
    double distance = kNoHit;

private:
    static bool counts(const detail::RayHit& hit) { return hit.t > widen(qvLinear::epsilonTolFlt); }

    /// Returns false when a hit in a leaf that does not count may count in another.
    template <class Kernel>
    bool trace(const TracedRay& ray, bool& found) {
        const typename Kernel::Lanes lanes(ray.ray);
        distance = kNoHit;
        double doubtful = kNoHit;
        float limit = detail::kInfinity;
        tree_.walk(lanes, limit, [&](const detail::RayBundle& leaf) {
            const auto take = [&](int, const detail::RayHit& hit) {
                if (!counts(hit) || hit.t >= distance)
                    return false;
                if (!detail::meets(leaf.leaf, ray.ray)) {
                    doubtful = std::min(doubtful, hit.t);
                    return false;
                }
                found = true;
                if (nearest) {
                    distance = hit.t;
                    limit = ray.limitFor(hit.t, tree_.margin());
                }
                return !nearest;
            };
            return testLeaf<Kernel>(tree_, leaf, ray, lanes, limit, take);
        });
        return nearest ? doubtful >= distance : found || doubtful >= kNoHit;
    }

    /// Tests all triangles of the leaves that the ray meets.
    bool intersectAll(const PointFlt& origin, const Vector& direction) {
        const Ray ray(origin, direction);
        distance = kNoHit;
        bool found = false;
        for (OctreeRayIntersectIt it(octree_, ray); it.valid(); it.next()) {
            const bool done = testAll(mesh_, tris_, it.get().leafIndex(), ray,
                                      [&](int, const detail::RayTriangleHit& hit) {
                                          if (!counts(hit))
                                              return false;
                                          found = true;
                                          if (nearest)
                                              distance = std::min(distance, hit.t);
                                          return !nearest;
                                      });
            if (done)
                break;
        }
        return found;
    }

    const Octree& octree_;
    const OctreeTris& tris_;
    const CompactMesh& mesh_;
    detail::RayTree tree_;
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
        : mesh_(mesh),
          tris_(tris),
          walk_(octree),
          tree_(octree, tris, mesh) {}

    void intersect(QuadRay& quad) {
        bool fit = true;
        for (int r = 0; r < 4; ++r)
            fit = tree_.prepare(quad.getOrigin(), quad.getDirection(r)) && fit;
        const PointFlt& o = quad.getOrigin();
        const TracedRay rays[4] = {{o, quad.getDirection(0)},
                                   {o, quad.getDirection(1)},
                                   {o, quad.getDirection(2)},
                                   {o, quad.getDirection(3)}};
        Outcome outcome;
        if (fit && areAlike(rays))
            detail::runWithLanes([&](auto kernel) {
                traceTogether<decltype(kernel)>(rays, quad.cullsBackfaces(), outcome);
            });
        else if (fit)
            detail::runWithLanes([&](auto kernel) {
                traceApart<decltype(kernel)>(rays, quad.cullsBackfaces(), outcome);
            });
        if (!fit || outcome.isInDoubt())
            traceAll(quad, rays, outcome);
        for (int r = 0; r < 4; ++r)
            quad.setHit(r, outcome.best[r]);
    }

private:
    struct Outcome {
        QuadRay::Hit best[4];
        double doubtful[4]; // the nearest hit in a leaf that does not count

        Outcome() {
            std::fill_n(best, 4, QuadRay::Hit{false, kNoHit, -1});
            std::fill_n(doubtful, 4, kNoHit);
        }

        bool isInDoubt() const {
            for (int r = 0; r < 4; ++r) {
                if (doubtful[r] < kNoHit && doubtful[r] <= best[r].t)
                    return true;
            }
            return false;
        }
    };

    static bool counts(const detail::RayHit& hit, bool cull) {
        return hit.t > qvLinear::epsilonTol && !(cull && isCulled(hit));
    }

    static bool isBetter(const detail::RayHit& hit, int triangle, const QuadRay::Hit& best) {
        return hit.t < best.t || (hit.t == best.t && triangle < best.triangle);
    }

    /// Whether one walk serves all: they go almost the same way, to the same side on each axis.
    static bool areAlike(const TracedRay rays[4]) {
        constexpr double kMostSpread = 0.05; // of the direction's length
        const Vector& first = rays[0].ray.direction;
        const double limit2 = kMostSpread * kMostSpread * first.length2();
        bool alike = true;
        for (int r = 0; r < 4; ++r) {
            alike &= (rays[r].ray.direction - first).length2() <= limit2;
            for (int axis = 0; axis < 3; ++axis) {
                const float sides = rays[r].ray.inverse[axis] * rays[0].ray.inverse[axis];
                alike &= sides > 0.0F && sides < detail::kInfinity;
            }
        }
        return alike;
    }

    /// Takes a hit; returns whether it is the nearest now.
    static bool take(const TracedRay rays[4], int r, const detail::RayBundle& leaf, int triangle,
                     const detail::RayHit& hit, bool cull, Outcome& outcome) {
        if (!counts(hit, cull) || !isBetter(hit, triangle, outcome.best[r]))
            return false;
        const bool yielded = std::any_of(rays, rays + 4, [&](const TracedRay& ray) {
            return detail::meets(leaf.leaf, ray.ray);
        });
        if (yielded)
            outcome.best[r] = {true, hit.t, triangle};
        else
            outcome.doubtful[r] = std::min(outcome.doubtful[r], hit.t);
        return yielded;
    }

    template <class Kernel>
    void traceTogether(const TracedRay rays[4], bool cull, Outcome& outcome) {
        const typename Kernel::Packet packet(rays[0].ray, rays[1].ray, rays[2].ray, rays[3].ray);
        Float4 limits = splat(detail::kInfinity);
        float limit = detail::kInfinity;
        tree_.walk(packet, limit, [&](const detail::RayBundle& leaf) {
            const auto takeFor = [&](int r, int triangle, const detail::RayHit& hit) {
                if (!take(rays, r, leaf, triangle, hit, cull, outcome))
                    return;
                limits[r] = rays[r].limitFor(outcome.best[r].t, tree_.margin());
                limit = std::max({limits[0], limits[1], limits[2], limits[3]});
            };
            testLeaf<Kernel>(tree_, leaf, packet, rays, limits, limit, takeFor);
            return false;
        });
    }

    template <class Kernel>
    void traceApart(const TracedRay rays[4], bool cull, Outcome& outcome) {
        for (int r = 0; r < 4; ++r) {
            const typename Kernel::Lanes lanes(rays[r].ray);
            float limit = detail::kInfinity;
            tree_.walk(lanes, limit, [&](const detail::RayBundle& leaf) {
                const auto takeHit = [&](int triangle, const detail::RayHit& hit) {
                    if (take(rays, r, leaf, triangle, hit, cull, outcome))
                        limit = rays[r].limitFor(outcome.best[r].t, tree_.margin());
                    return false;
                };
                return testLeaf<Kernel>(tree_, leaf, rays[r], lanes, limit, takeHit);
            });
        }
    }

    /// Tests all triangles of the leaves that any of the rays meets.
    void traceAll(const QuadRay& quad, const TracedRay rays[4], Outcome& outcome) {
        outcome = Outcome();
        for (walk_.reset(quad); walk_.valid(); walk_.next()) {
            const int leaf = walk_.top().leafIndex();
            for (int r = 0; r < 4; ++r) {
                testAll(mesh_, tris_, leaf, rays[r].ray,
                        [&](int triangle, const detail::RayTriangleHit& hit) {
                            if (counts(hit, quad.cullsBackfaces()) &&
                                isBetter(hit, triangle, outcome.best[r]))
                                outcome.best[r] = {true, hit.t, triangle};
                            return false;
                        });
            }
        }
    }

    const CompactMesh& mesh_;
    const OctreeTris& tris_;
    detail::QuadRayWalk walk_;
    detail::RayTree tree_;
};

QuadRayTracer::QuadRayTracer(const Octree& octree, const OctreeTris& tris, const CompactMesh* mesh)
    : impl_(std::make_unique<Impl>(octree, tris, *mesh)) {}

QuadRayTracer::~QuadRayTracer() = default;

void QuadRayTracer::intersect(QuadRay& quad) { impl_->intersect(quad); }

} // namespace qvGeom
