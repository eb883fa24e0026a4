/// \file
/// Octrees over meshes.
#pragma once

#include <array>
#include <utility>

#include "qvGeom/foundation/geometry/BoundingBox.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/Octree.h"
#include "qvGeom/foundation/geometry/OctreeTris.h"
#include "qvGeom/foundation/linear/Point.h"
#include "qvGeom/spatial/GeomOctree.h"
#include "qvGeom/topology/GeomBoundingBox.h"

namespace test {

inline qvGeom::Octree octreeOf(const qvGeom::CompactMesh& mesh, int maxVerticesPerLeaf = 16,
                               bool keepEmptyChildren = true) {
    qvGeom::BoundingBox box;
    meshBoundingBox(mesh, box);
    return {mesh.getNumVertices(), mesh.getVerticesRaw(), box, keepEmptyChildren,
            maxVerticesPerLeaf};
}

/// A mesh with the tree that spatial queries walk. Stays where it is made: what searches in it
/// points to its members.
struct IndexedMesh {
    qvGeom::CompactMesh mesh;
    qvGeom::Octree octree;
    qvGeom::OctreeTris tris;

    explicit IndexedMesh(qvGeom::CompactMesh source, int maxVerticesPerLeaf = 16)
        : mesh(std::move(source)),
          octree(octreeOf(mesh, maxVerticesPerLeaf)) {
        computeOctreeTris(mesh, octree, tris);
    }

    IndexedMesh(const IndexedMesh&) = delete;
    IndexedMesh& operator=(const IndexedMesh&) = delete;

    std::array<qvLinear::Point, 3> corners(int triangle) const {
        const qvGeom::MeshTriangle& t = mesh.getTriangles()[triangle];
        const auto at = [&](int v) {
            const auto [x, y, z] = mesh.getVertices()[v];
            return qvLinear::Point{x, y, z};
        };
        return {at(t[0]), at(t[1]), at(t[2])};
    }
};

} // namespace test
