/// \file
/// The lines in every voxel of an octree.
#pragma once

#include "qvGeom/Export.h"
#include "qvGeom/foundation/geometry/ArrayOfSets.h"

namespace qvGeom {

/// One set per voxel: the lines that meet its box, ascending.
class QVGEOM_API OctreeLines : public ArrayOfSets {
public:
    OctreeLines() = default;
    /// Takes the contents of `takenOver`, which is empty afterwards.
    explicit OctreeLines(ArrayOfSets& takenOver);
};

} // namespace qvGeom
