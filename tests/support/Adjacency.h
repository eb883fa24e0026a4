/// \file
/// Tables of the triangles around vertices.
#pragma once

#include "qvGeom/foundation/geometry/MeshAdjTris.h"
#include "qvGeom/topology/GeomAdjacency.h"

#include "support/MeshBuilders.h"

namespace test {

inline qvGeom::MeshAdjTris adjTrisOf(const qvGeom::CompactMesh& mesh) {
    qvGeom::MeshAdjTris adjTris;
    meshAdjTris(mesh, adjTris);
    return adjTris;
}

} // namespace test
