/// \file
/// A place in a quadtree.
#pragma once

#include "qvGeom/foundation/geometry/BoxTreeIterator.h"

namespace qvGeom {

/// The z of its box is that of the whole tree.
struct QuadtreeIterator : BoxTreeIterator<2> {
    using BoxTreeIterator::BoxTreeIterator;
};

} // namespace qvGeom
