/// \file
/// A place in a quadtree.
#pragma once

#include "qvGeom/foundation/geometry/BoundingBox.h"
#include "qvGeom/foundation/geometry/TreeNode.h"

namespace qvGeom {

/// A node and its box, whose z is that of the whole tree; copied freely, valid while the tree
/// lives.
struct QuadtreeIterator {
    BoundingBox box;
    const TreeNode* node = &TreeNode::none; ///< never null

    /// An empty one: the invalid box, no leaf, no children.
    QuadtreeIterator() = default;

    QuadtreeIterator(const BoundingBox& nodeBox, const TreeNode* treeNode)
        : box(nodeBox),
          node(treeNode) {}

    bool isLeaf() const { return node->isLeaf(); }

    /// One of 0 to the number of voxels - 1; of a leaf only.
    int leafIndex() const { return node->leafIndex(); }

    /// Moves to a child; bits 0 and 1 of its number say upper in x and y. Returns false, and stays,
    /// when it does not exist.
    bool descend(int child) {
        const TreeNode* const below = node->child(child);
        if (!below)
            return false;
        node = below;
        for (int axis = 0; axis < 2; ++axis) {
            const float middle = 0.5F * (box.min[axis] + box.max[axis]);
            (child >> axis & 1 ? box.min : box.max)[axis] = middle;
        }
        return true;
    }
};

} // namespace qvGeom
