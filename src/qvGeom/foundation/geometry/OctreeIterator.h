/// \file
/// A place in an octree.
#pragma once

#include "qvGeom/foundation/geometry/BoxTreeIterator.h"

namespace qvGeom {

struct OctreeIterator : BoxTreeIterator<3> {
    using BoxTreeIterator::BoxTreeIterator;
};

} // namespace qvGeom
