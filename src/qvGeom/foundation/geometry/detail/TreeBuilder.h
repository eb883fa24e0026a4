/// \file
/// The construction of octrees and quadtrees.
#pragma once

#include "qvGeom/foundation/geometry/TreeNode.h"

namespace qvGeom::detail {

enum class EmptyChildren { Keep, Omit };

struct TreeOptions {
    EmptyChildren emptyChildren;
    int maxPointsPerLeaf; ///< less than 1 means 1
};

/// Cuts `box`, whose infinite sides become the largest floats, along the first `Axes` axes over `n`
/// points of three floats. Runs on the shared pool; the same tree on any number of threads. Without
/// points or with an invalid box, the tree is a root that is neither a leaf nor a parent.
template <int Axes>
BoxTree buildTree(int n, const float* xyz, const BoundingBox& box, const TreeOptions& options);

extern template BoxTree buildTree<2>(int, const float*, const BoundingBox&, const TreeOptions&);
extern template BoxTree buildTree<3>(int, const float*, const BoundingBox&, const TreeOptions&);

} // namespace qvGeom::detail
