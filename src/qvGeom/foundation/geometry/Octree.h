/// \file
/// The division of space that spatial queries walk.
#pragma once

#include "qvGeom/Export.h"
#include "qvGeom/foundation/base/Reference.h"
#include "qvGeom/foundation/geometry/OctreeIterator.h"

namespace qvLinear {
struct Vector;
}

namespace qvGeom {

/// A box, cut at the middle of every axis into eight, and these again, until no leaf (voxel) holds
/// too many of the points it is built over. The points themselves are not kept. Leaves are numbered
/// depth first, children in order.
///
/// An axis of no extent is not cut, which would give each child a twin with the same box: only the
/// upper ones exist. Boxes that cannot be cut any more, and those of the last of 24 levels, stay
/// leaves however many points they hold. Without points or with an invalid box there are 0 voxels,
/// and the root is neither a leaf nor a parent.
class QVGEOM_API Octree : public qv::ReferenceCount {
public:
    static constexpr int kMaxDepth = BoxTree::kMaxDepth;

    /// Builds the tree over `n` points of three floats each, on the shared pool; the same tree on
    /// any number of threads. With `keepEmptyChildren`, which all queries for triangles need, a
    /// split node has all its children, those without points as leaves; otherwise these do not
    /// exist. A leaf holds at most `maxVerticesPerLeaf` points, where less than 1 means 1. A point
    /// outside the box falls to the child nearest to it, and a NaN coordinate to the upper one.
    /// Infinite sides of the box become the largest floats.
    Octree(int n, const float* xyz, const BoundingBox& box, bool keepEmptyChildren,
           int maxVerticesPerLeaf);

    OctreeIterator getRoot() const { return {tree_.box, tree_.nodes.data()}; }

    /// The number of leaves.
    int getNumVoxels() const { return tree_.numLeaves; }

    /// The number of levels, at least 1.
    int getDepth() const { return tree_.depth; }

    /// Fills `order` with the children by the distance of their centres along `direction`, the
    /// nearest first. None stands before one that hides it.
    void getNodeOrdering(const qvLinear::Vector& direction, int order[8]) const;

private:
    BoxTree tree_;
};

} // namespace qvGeom
