/// \file
/// Axis-aligned extents of a mesh and of an arrangement of meshes.
#pragma once

#include <list>

#include "qvGeom/Export.h"

namespace qvGeom {

class BitVector;
struct BoundingBox;
struct MeshPlacement;
class PointMesh;

/// Replaces `box` by the extent of all vertices; without any, it becomes the invalid box. NaN
/// coordinates are passed over. Runs on the shared pool.
QVGEOM_API void meshBoundingBox(const PointMesh& mesh, BoundingBox& box);

/// The same over the vertices whose bit is set in `selection`. When that is null or of size 0,
/// every vertex counts; when no bit of it is set, none does.
QVGEOM_API void meshBoundingBox(const PointMesh& mesh, const BitVector* selection,
                                BoundingBox& box);

/// Writes the corners of the box over all vertices, three numbers each.
QVGEOM_API void meshBoundingBox(const PointMesh& mesh, double* min, double* max);

/// Replaces `box` by the extent of the meshes' boxes, each moved by its placement: it may exceed
/// that of the moved vertices. A placement without mesh adds nothing.
QVGEOM_API void arrangementBoundingBox(const std::list<MeshPlacement>& placements,
                                       BoundingBox& box);

} // namespace qvGeom
