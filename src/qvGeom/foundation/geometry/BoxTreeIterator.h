/// \file
/// A place in a tree of boxes.
#pragma once

#include "qvGeom/foundation/geometry/BoundingBox.h"
#include "qvGeom/foundation/geometry/TreeNode.h"

namespace qvGeom {

/// A node and its box, of a tree that cuts boxes along the first `Axes` axes; copied freely, valid
/// while the tree lives. Boxes are not stored: `descend` cuts the parent's, so that every way down
/// gives the same floats.
template <int Axes>
struct BoxTreeIterator {
    BoundingBox box;
    const TreeNode* node = &TreeNode::none; ///< never null

    /// An empty one: the invalid box, no leaf, no children.
    BoxTreeIterator() = default;

    BoxTreeIterator(const BoundingBox& nodeBox, const TreeNode* treeNode)
        : box(nodeBox),
          node(treeNode) {}

    bool isLeaf() const { return node->isLeaf(); }

    /// One of 0 to the number of voxels - 1; of a leaf only.
    int leafIndex() const { return node->leafIndex(); }

    /// Where the box is cut between lower and upper children.
    float middle(int axis) const { return box.middle(axis); }

    /// Moves to a child; bits 0, 1, 2 of its number say upper in x, y, z. Returns false, and stays,
    /// when it does not exist.
    bool descend(int child) {
        const TreeNode* const below = node->child(child);
        if (!below)
            return false;
        node = below;
        for (int axis = 0; axis < Axes; ++axis)
            (child >> axis & 1 ? box.min : box.max)[axis] = middle(axis);
        return true;
    }
};

} // namespace qvGeom
