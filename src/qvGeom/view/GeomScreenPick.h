/// \file
/// What of a mesh is under the pointer.
#pragma once

#include "qvGeom/Export.h"
#include "qvGeom/foundation/geometry/MeshCoord.h"

namespace qvLinear {
struct Line;
struct ProjMatrixFlt;
} // namespace qvLinear

namespace qvGeom {

class CompactMesh;

/// Returns where the ray first meets a triangle, of either side, that may be within `radius` of the
/// point (x, y) of the screen; triangle -1 when it meets none. `m` maps the mesh to the units of x
/// and y. A triangle is passed over when all of it is to one side of the square around the point;
/// the ray itself decides about the others, and should go through the point. It starts at its
/// origin, rounded to floats, and may have any length. Of triangles met equally far away the first
/// one counts.
QVGEOM_API MeshCoord meshRayIntersectScreen(const CompactMesh& mesh,
                                            const qvLinear::ProjMatrixFlt& m, int x, int y,
                                            int radius, const qvLinear::Line& ray);

/// The same for triangles that may be seen at all: `m` maps what is seen to [-1, 1] x [-1, 1].
QVGEOM_API MeshCoord meshRayIntersectScreen(const CompactMesh& mesh,
                                            const qvLinear::ProjMatrixFlt& m,
                                            const qvLinear::Line& ray);

} // namespace qvGeom
