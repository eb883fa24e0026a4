/// \file
/// Where rays hit a mesh: one by one, or four from the same origin.
///
/// Distances are in units of the length of the ray's direction, which may be any.
#pragma once

#include <memory>

#include "qvGeom/Export.h"
#include "qvGeom/foundation/geometry/OctreeIterator.h"
#include "qvGeom/foundation/linear/Convert.h"

namespace qvGeom {

class CompactMesh;
struct MeshVertex;
class Octree;
class OctreeTris;

/// Computes where the line of a ray meets a triangle, at `o + t * d`, also behind the origin: the
/// distance `t`, and the weights `u` of `b` and `v` of `c`. Sides and corners belong to the
/// triangle. Returns false, and leaves the results, when they do not meet or when the product of
/// the direction with the triangle's normal, twice its area long, is below 1e-6.
[[nodiscard]] QVGEOM_API bool intersectRayTriangle(const qvLinear::PointFlt& o,
                                                   const qvLinear::Vector& d, const MeshVertex& a,
                                                   const MeshVertex& b, const MeshVertex& c,
                                                   double& t, double& u, double& v);

/// The same, but a triangle turned away from the ray is met only beyond the back-face cull
/// distance.
[[nodiscard]] QVGEOM_API bool intersectRayTriangleCull(const qvLinear::PointFlt& o,
                                                       const qvLinear::Vector& d,
                                                       const MeshVertex& a, const MeshVertex& b,
                                                       const MeshVertex& c, double& t, double& u,
                                                       double& v);

/// Sets up to what distance culling rays pass through back faces: at first, all the way. One for
/// the whole process; not while rays are traced.
QVGEOM_API void setBackfaceCullDistance(double distance);

/// Traces rays through one mesh, one thread at a time. Tree, partition and mesh are borrowed and
/// must not change: what the tracer needs of a leaf it copies the first time a ray comes there, so
/// that it is quick to make and gets quicker with use.
class QVGEOM_API RayTracer {
public:
    RayTracer(const Octree& octree, const OctreeTris& tris, const CompactMesh* mesh);
    RayTracer(const RayTracer&) = delete;
    RayTracer& operator=(const RayTracer&) = delete;
    ~RayTracer();

    /// Whether queries look for the nearest hit, or for any; any at first.
    void setFindNearestHit(bool nearest);

    /// Returns whether the ray hits a triangle, from either side, further than 1e-6 away. A
    /// direction that is 0 or NaN hits none.
    bool intersect(const qvLinear::PointFlt& origin, const qvLinear::Vector& direction);

    /// The distance of the last query's nearest hit; the largest float, 3.4028234663852886e38,
    /// without one and after a query for any hit.
    double intersectionDist() const;

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

/// Four rays from one origin, and what they hit.
class QVGEOM_API QuadRay {
public:
    struct Hit {
        bool hit;     ///< the rest is as if nothing was tried, when false
        double t;     ///< of the nearest; else the largest float
        int triangle; ///< of the nearest, of those equally near any; else -1
    };

    /// With `cullBackfaces` the rays pass through triangles turned away from them, up to the
    /// back-face cull distance.
    QuadRay(const qvLinear::PointFlt& origin, const qvLinear::VectorFlt& d0,
            const qvLinear::VectorFlt& d1, const qvLinear::VectorFlt& d2,
            const qvLinear::VectorFlt& d3, bool cullBackfaces = false);

    /// The same as the function of that name.
    static void setBackfaceCullDistance(float distance);

    const qvLinear::PointFlt& getOrigin() const { return origin_; }

    const qvLinear::Vector& getDirection(int ray) const { return directions_[ray]; }

    /// The average of the directions.
    const qvLinear::VectorFlt& getMeanDirection() const { return mean_; }

    bool cullsBackfaces() const { return cullBackfaces_; }

    const Hit& getHit(int ray) const { return hits_[ray]; }

    void setHit(int ray, const Hit& hit) { hits_[ray] = hit; }

private:
    qvLinear::PointFlt origin_;
    qvLinear::VectorFlt mean_;
    qvLinear::Vector directions_[4];
    bool cullBackfaces_;
    Hit hits_[4];
};

/// Meets the leaves that any of four rays meets, depth first, front to back along their mean
/// direction. Used like the other walks over leaves; tree and rays are borrowed.
class QVGEOM_API OctreeQuadRayIntersectIt {
public:
    /// The iterator is to be reset before use.
    explicit OctreeQuadRayIntersectIt(const Octree& octree);
    OctreeQuadRayIntersectIt(const Octree& octree, const QuadRay& quad);
    OctreeQuadRayIntersectIt(const OctreeQuadRayIntersectIt&) = delete;
    OctreeQuadRayIntersectIt& operator=(const OctreeQuadRayIntersectIt&) = delete;
    ~OctreeQuadRayIntersectIt();

    void reset(const QuadRay& quad);
    bool valid() const;
    OctreeIterator get() const;
    void next();

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

/// Finds the nearest hit of each of four rays in one walk, as RayTracer does of one, but from 1e-12
/// away on.
class QVGEOM_API QuadRayTracer {
public:
    QuadRayTracer(const Octree& octree, const OctreeTris& tris, const CompactMesh* mesh);
    QuadRayTracer(const QuadRayTracer&) = delete;
    QuadRayTracer& operator=(const QuadRayTracer&) = delete;
    ~QuadRayTracer();

    /// Replaces the hits of `quad`.
    void intersect(QuadRay& quad);

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace qvGeom
