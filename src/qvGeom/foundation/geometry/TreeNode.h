/// \file
/// What octrees and quadtrees are made of.
#pragma once

#include <vector>

#include "qvGeom/foundation/geometry/BoundingBox.h"

namespace qvGeom {

/// A node of an octree or a quadtree: one int, so that the children of a node lie in one cache
/// line. Nodes stand in one array, the children of a node side by side in it; the distances between
/// them hold wherever the array is.
struct TreeNode {
    /// Where the node is split: how far behind it its first child stands, more than 0. For a leaf:
    /// its index with all bits turned over, less than 0. No node, or the root of an empty tree: 0.
    int link = 0;

    bool isLeaf() const { return link < 0; }

    int leafIndex() const { return ~link; }

    /// Null when that child does not exist, as for every child of a leaf.
    const TreeNode* child(int index) const {
        return link > 0 && this[link + index].link != 0 ? this + link + index : nullptr;
    }

    /// Stands for no node: neither a leaf nor a parent.
    static const TreeNode none;
};

inline constexpr TreeNode TreeNode::none{};

/// A box and how it is cut.
struct BoxTree {
    static constexpr int kMaxDepth = 24;

    BoundingBox box;
    std::vector<TreeNode> nodes; ///< the root first
    int numLeaves = 0;
    int depth = 1; ///< in levels
};

} // namespace qvGeom
