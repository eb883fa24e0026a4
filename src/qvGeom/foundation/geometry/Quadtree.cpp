#include "qvGeom/foundation/geometry/Quadtree.h"

#include "qvGeom/foundation/geometry/detail/TreeBuilder.h"

namespace qvGeom {

Quadtree::Quadtree(int n, const float* xyz, const BoundingBox& box, int maxPerLeaf)
    : tree_(detail::buildTree<2>(n, xyz, box, {detail::EmptyChildren::Keep, maxPerLeaf})) {}

} // namespace qvGeom
