/// \file
/// The construction of octrees and quadtrees.
#pragma once

#include <vector>

#include "qvGeom/foundation/geometry/BoundingBox.h"
#include "qvGeom/foundation/geometry/TreeNode.h"

namespace qvGeom::detail {

enum class EmptyChildren { Keep, Omit };

struct TreeOptions {
    EmptyChildren emptyChildren;
    int maxPointsPerLeaf; ///< less than 1 means 1
    int maxDepth;
};

struct Tree {
    std::vector<TreeNode> nodes; ///< the root first
    int numLeaves = 0;
    int depth = 1;
};

/// Cuts `box` along the first `Axes` axes over `n` points of three floats. Runs on the shared pool;
/// the same tree on any number of threads. Without points or with an invalid box, the tree is a
/// root that is neither a leaf nor a parent.
template <int Axes>
Tree buildTree(int n, const float* xyz, const BoundingBox& box, const TreeOptions& options);

extern template Tree buildTree<2>(int, const float*, const BoundingBox&, const TreeOptions&);
extern template Tree buildTree<3>(int, const float*, const BoundingBox&, const TreeOptions&);

/// The box with infinite sides moved to the largest floats, where they have a middle.
BoundingBox boundedBox(const BoundingBox& box);

} // namespace qvGeom::detail
