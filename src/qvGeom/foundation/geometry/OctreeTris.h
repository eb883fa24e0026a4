/// \file
/// The triangles in every voxel of an octree.
#pragma once

#include "qvGeom/Export.h"
#include "qvGeom/foundation/geometry/ArrayOfSets.h"

namespace qvGeom {

/// One set per voxel: the triangles that meet its box, ascending.
class QVGEOM_API OctreeTris : public ArrayOfSets {
public:
    OctreeTris() = default;
    /// Takes the contents of `takenOver`, which is empty afterwards.
    explicit OctreeTris(ArrayOfSets& takenOver);
};

} // namespace qvGeom
