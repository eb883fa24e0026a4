/// \file
/// Where the corners of a triangle are, and the area between them.
#pragma once

#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/linear/Linear.h"

namespace qvmesh {

inline qvLinear::Point cornerOf(const qvGeom::CompactMesh& mesh, int triangle, int corner) {
    return qvLinear::widen(mesh.getVertices()[mesh.getTriangles()[triangle][corner]]);
}

/// As long as twice the area, at right angles to the triangle with its corners where `place` says.
template <class Place>
qvLinear::Vector areaVector(const qvGeom::CompactMesh& mesh, int triangle, const Place& place) {
    const qvLinear::Point origin = place(mesh, triangle, 0);
    return cross(place(mesh, triangle, 1) - origin, place(mesh, triangle, 2) - origin);
}

inline qvLinear::Vector areaVector(const qvGeom::CompactMesh& mesh, int triangle) {
    return areaVector(mesh, triangle, cornerOf);
}

} // namespace qvmesh
