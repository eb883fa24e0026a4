/// \file
/// The division of the plane that two-dimensional queries walk.
#pragma once

#include "qvGeom/Export.h"
#include "qvGeom/foundation/base/Reference.h"
#include "qvGeom/foundation/geometry/QuadtreeIterator.h"

namespace qvGeom {

/// What `Octree` is in space, over x and y: a split node has four children, those without points
/// among them, and a leaf at most `maxPerLeaf` points. z is left alone.
class QVGEOM_API Quadtree : public qv::ReferenceCount {
public:
    static constexpr int kMaxDepth = BoxTree::kMaxDepth;

    Quadtree(int n, const float* xyz, const BoundingBox& box, int maxPerLeaf);

    QuadtreeIterator getRoot() const { return {tree_.box, tree_.nodes.data()}; }

    /// The number of leaves.
    int getNumVoxels() const { return tree_.numLeaves; }

    /// The number of levels, at least 1.
    int getDepth() const { return tree_.depth; }

private:
    BoxTree tree_;
};

} // namespace qvGeom
