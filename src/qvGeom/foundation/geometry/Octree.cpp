#include "qvGeom/foundation/geometry/Octree.h"

#include <cmath>
#include <utility>

#include "qvGeom/foundation/geometry/detail/TreeBuilder.h"
#include "qvGeom/foundation/linear/Vector.h"

namespace qvGeom {

Octree::Octree(int n, const float* xyz, const BoundingBox& box, bool keepEmptyChildren,
               int maxVerticesPerLeaf)
    : tree_(detail::buildTree<3>(
          n, xyz, box,
          {keepEmptyChildren ? detail::EmptyChildren::Keep : detail::EmptyChildren::Omit,
           maxVerticesPerLeaf})) {}

void Octree::getNodeOrdering(const qvLinear::Vector& direction, int order[8]) const {
    // Going from a lower child to its upper neighbour leads this far along the direction.
    const double along[3] = {direction.x, direction.y, direction.z};
    double steps[3];
    int nearest = 0;
    for (int axis = 0; axis < 3; ++axis) {
        const double extent =
            qvLinear::widen(tree_.box.max[axis]) - qvLinear::widen(tree_.box.min[axis]);
        steps[axis] = std::abs(along[axis]) * extent;
        nearest |= static_cast<int>(along[axis] < 0.0) << axis;
    }

    int small = 0, medium = 1, large = 2;
    if (steps[small] > steps[medium])
        std::swap(small, medium);
    if (steps[medium] > steps[large])
        std::swap(medium, large);
    if (steps[small] > steps[medium])
        std::swap(small, medium);

    // Only the fourth and the fifth depend on more than the order of the steps.
    const int s = 1 << small, m = 1 << medium, l = 1 << large;
    const bool twoStepsFirst = steps[small] + steps[medium] <= steps[large];
    const int byDistance[8] = {
        0, s, m, twoStepsFirst ? s | m : l, twoStepsFirst ? l : s | m, s | l, m | l, 7};
    for (int i = 0; i < 8; ++i)
        order[i] = byDistance[i] ^ nearest;
}

} // namespace qvGeom
