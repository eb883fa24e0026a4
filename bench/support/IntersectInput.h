/// \file
/// Meshes that cross, themselves or each other, for our own benchmarks and those of peers.
#pragma once

#include <cmath>
#include <cstdint>

#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/linear/AffineMatrix.h"

#include "support/IndexedMesh.h"
#include "support/MeshBuilders.h"

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

/// A lattice of unit cells with waves of about twenty: the larger it is, the flatter, and the more
/// of the voxels that become as flat a triangle lies in.
inline qvGeom::CompactMesh flatSheet(std::int64_t triangles) {
    const int side = static_cast<int>(std::lround(std::sqrt(static_cast<double>(triangles) / 2)));
    qvGeom::CompactMesh mesh = test::grid(side, side);
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        qvGeom::MeshVertex& p = mesh.getVertices()[v];
        p.z = static_cast<float>(std::sin(0.3 * p.x) * std::cos(0.24 * p.y));
    }
    return mesh;
}

/// Moves such a sheet so that it crosses another one all over.
inline qvLinear::AffineMatrix slightlyAside() {
    qvLinear::AffineMatrix placement;
    placement.setFrame({0.37, 0.21, 0.05}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1});
    return placement;
}

/// Moves and turns a unit sphere so that it crosses another.
inline qvLinear::AffineMatrix aside() {
    qvLinear::AffineMatrix placement;
    placement.setFrame({0.51, 0.23, 0.37}, {1, 0, 0}, {0, 0.8, 0.6}, {0, -0.6, 0.8});
    return placement;
}

} // namespace bench
