/// \file
/// Meshes that cross, themselves or each other, for our own benchmarks and those of peers.
#pragma once

#include <cstdint>

#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/linear/AffineMatrix.h"

#include "support/IndexedMesh.h"

namespace bench {

/// One mesh of two spheres: the second is the first one once more, moved aside, so that they cross.
inline qvGeom::CompactMesh crossingSpheres(std::int64_t triangles) {
    qvGeom::CompactMesh mesh = sphereOf(triangles / 2);
    const int vertices = mesh.getNumVertices();
    const int corners = 3 * mesh.getNumTriangles();
    mesh.resizeVertexArray(2 * vertices);
    mesh.resizeTriangleArray(2 * mesh.getNumTriangles());
    for (int v = 0; v < vertices; ++v) {
        const qvGeom::MeshVertex& p = mesh.getVertices()[v];
        mesh.getVertices()[vertices + v] = {p.x + 0.51F, p.y + 0.23F, p.z + 0.37F};
    }
    for (int c = 0; c < corners; ++c)
        mesh.getTrianglesRaw()[corners + c] = mesh.getTrianglesRaw()[c] + vertices;
    return mesh;
}

/// Moves and turns a unit sphere so that it crosses another.
inline qvLinear::AffineMatrix aside() {
    qvLinear::AffineMatrix placement;
    placement.setFrame({0.51, 0.23, 0.37}, {1, 0, 0}, {0, 0.8, 0.6}, {0, -0.6, 0.8});
    return placement;
}

} // namespace bench
