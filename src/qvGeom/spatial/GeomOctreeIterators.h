/// \file
/// Walks over the leaves of octrees and quadtrees.
///
/// All are used alike, and again after another `reset`:
///
///     for (OctreeBBoxIntersectIt it(octree, box); it.valid(); it.next())
///         use(it.get());
///
/// Trees and queries are borrowed, but a temporary query is kept. `get` and `next` are for valid
/// iterators only. Any number of iterators may walk one tree at the same time.
#pragma once

#include <memory>
#include <vector>

#include "qvGeom/Export.h"
#include "qvGeom/foundation/geometry/OctreeIterator.h"
#include "qvGeom/foundation/geometry/QuadtreeIterator.h"

namespace qvLinear {
struct Point;
}

namespace qvGeom {

class Frustum;
class Octree;
class Quadtree;
struct Ray;
struct Sphere;

template <class Query>
class OctreeIntersectBase;

/// Meets the leaves whose boxes the query meets, touching included. They come depth first, front
/// to back: along the view of a frustum, along a ray, along x for a box and a sphere. A box that a
/// frustum only passes by near one of its edges may count as met; a ray has no end.
template <class Query>
class QVGEOM_API OctreeQueryIt {
public:
    /// Allocates all it will ever need; the iterator is to be reset before use.
    explicit OctreeQueryIt(const Octree& octree);
    OctreeQueryIt(const Octree& octree, const Query& query);
    OctreeQueryIt(const Octree& octree, Query&& query);
    OctreeQueryIt(const OctreeQueryIt&) = delete;
    OctreeQueryIt& operator=(const OctreeQueryIt&) = delete;
    ~OctreeQueryIt();

    void reset(const Query& query);
    void reset(Query&& query);
    bool valid() const;
    OctreeIterator get() const;
    void next();

private:
    std::unique_ptr<OctreeIntersectBase<Query>> walk_;
};

using OctreeIntersectIt = OctreeQueryIt<Frustum>;
using OctreeBBoxIntersectIt = OctreeQueryIt<BoundingBox>;
using OctreeSphereIntersectIt = OctreeQueryIt<Sphere>;
using OctreeRayIntersectIt = OctreeQueryIt<Ray>;

extern template class QVGEOM_API OctreeQueryIt<Frustum>;
extern template class QVGEOM_API OctreeQueryIt<BoundingBox>;
extern template class QVGEOM_API OctreeQueryIt<Sphere>;
extern template class QVGEOM_API OctreeQueryIt<Ray>;

/// Meets all leaves, the last child of every node first.
class QVGEOM_API OctreeLeafIterator {
public:
    explicit OctreeLeafIterator(const Octree& octree);

    void reset(const Octree& octree);

    bool valid() const { return !stack_.empty(); }

    OctreeIterator get() const { return stack_.back(); }

    void next();

private:
    std::vector<OctreeIterator> stack_;
};

/// Meets all leaves by the distance of their boxes from a point, the nearest first; the point is
/// rounded to floats. Leaves at the same distance come in any order.
class QVGEOM_API OctreeClosestIt {
public:
    /// The iterator is to be reset before any other use.
    OctreeClosestIt();
    OctreeClosestIt(const Octree& octree, const qvLinear::Point& point);
    OctreeClosestIt(const OctreeClosestIt&) = delete;
    OctreeClosestIt& operator=(const OctreeClosestIt&) = delete;
    ~OctreeClosestIt();

    void reset(const Octree& octree, const qvLinear::Point& point);
    bool valid() const;
    OctreeIterator get() const;
    /// The squared distance from the point to the leaf's box, 0 inside.
    double getDistance2() const;
    void next();

private:
    class Impl;
    std::unique_ptr<Impl> impl_; // from the first reset on
};

/// Meets the leaves of a quadtree whose boxes meet a box in x and y, depth first, children in
/// order.
class QVGEOM_API QuadtreeIntersectIt {
public:
    /// An invalid one.
    QuadtreeIntersectIt();
    QuadtreeIntersectIt(const Quadtree& quadtree, const BoundingBox& box);
    QuadtreeIntersectIt(const Quadtree& quadtree, BoundingBox&& box);
    QuadtreeIntersectIt(const QuadtreeIntersectIt&) = delete;
    QuadtreeIntersectIt& operator=(const QuadtreeIntersectIt&) = delete;
    ~QuadtreeIntersectIt();

    void reset(const Quadtree& quadtree, const BoundingBox& box);
    void reset(const Quadtree& quadtree, BoundingBox&& box);

    bool valid() const { return level_ >= 0; }

    QuadtreeIterator get() const;
    void next();

private:
    /// A node on the way to the current leaf, and the child gone into.
    struct Frame {
        QuadtreeIterator node;
        int child = -1;
    };

    BoundingBox kept_; // a temporary
    const BoundingBox* box_ = nullptr;
    std::vector<Frame> frames_; // one per level of the tree
    int level_ = -1;            // of the current leaf
};

} // namespace qvGeom
