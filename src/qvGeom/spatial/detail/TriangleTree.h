/// \file
/// Triangles of a mesh, each in one place, to be found by their boxes.
#pragma once

#include <vector>

#include "qvGeom/foundation/geometry/ArrayOfSets.h"
#include "qvGeom/spatial/detail/TriangleBlocks.h"

namespace qvGeom::detail {

/// Blocks of triangles that lie close together, four of them to a node, four nodes to one of the
/// next level, and so on up to the root. However thin the voxels are that a triangle lies in, it is
/// met once.
class TriangleTree {
public:
    /// Orders `triangles`, different ones of `mesh`, by their `boxes`, on the shared pool.
    TriangleTree(const CompactMesh& mesh, std::vector<int> triangles,
                 const Array<BoundingBox>& boxes);

    /// Replaces `blocks` by those that have triangles whose boxes `box` may meet.
    void collect(const BoundingBox& box, std::vector<int>& blocks) const;

    const TriangleBlock& block(int index) const { return blocks_.begin(0)[index]; }

private:
    static constexpr int kLanes = BoxBlock::kLanes;
    static constexpr int kMaxLevels = 16; // of blocks as many as there are ints

    TriangleBlocks blocks_;
    std::vector<std::vector<BoxBlock>> levels_; // the root last
};

} // namespace qvGeom::detail
