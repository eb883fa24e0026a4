#include "qvGeom/foundation/geometry/Quadtree.h"

#include <utility>

#include "qvGeom/foundation/geometry/detail/TreeBuilder.h"

namespace qvGeom {

Quadtree::Quadtree(int n, const float* xyz, const BoundingBox& box, int maxPerLeaf)
    : box_(detail::boundedBox(box)) {
    detail::Tree tree = detail::buildTree<2>(n, xyz, box_,
                                             {.emptyChildren = detail::EmptyChildren::Keep,
                                              .maxPointsPerLeaf = maxPerLeaf,
                                              .maxDepth = kMaxDepth});
    nodes_ = std::move(tree.nodes);
    numVoxels_ = tree.numLeaves;
    depth_ = tree.depth;
}

} // namespace qvGeom
