/// \file
/// A mesh with the tree that spatial queries walk.
#pragma once

#include <cmath>
#include <cstdint>
#include <utility>

#include "qvGeom/foundation/geometry/BoundingBox.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/Octree.h"
#include "qvGeom/foundation/geometry/OctreeTris.h"
#include "qvGeom/spatial/GeomOctree.h"
#include "qvGeom/topology/GeomBoundingBox.h"

#include "support/MeshBuilders.h"

namespace bench {

inline qvGeom::Octree octreeOf(const qvGeom::CompactMesh& mesh) {
    qvGeom::BoundingBox box;
    meshBoundingBox(mesh, box);
    return {mesh.getNumVertices(), mesh.getVerticesRaw(), box, true, 16};
}

/// Stays where it is made: what searches in it points to its members.
struct IndexedMesh {
    qvGeom::CompactMesh mesh;
    qvGeom::Octree octree;
    qvGeom::OctreeTris tris;

    explicit IndexedMesh(qvGeom::CompactMesh source)
        : mesh(std::move(source)),
          octree(octreeOf(mesh)) {
        computeOctreeTris(mesh, octree, tris);
    }

    IndexedMesh(const IndexedMesh&) = delete;
    IndexedMesh& operator=(const IndexedMesh&) = delete;
};

/// A unit sphere of about so many triangles.
inline qvGeom::CompactMesh sphereOf(std::int64_t triangles) {
    const int rings = static_cast<int>(std::lround(std::sqrt(static_cast<double>(triangles) / 4)));
    return test::sphere(rings, 2 * rings);
}

struct IndexedSphere : IndexedMesh {
    explicit IndexedSphere(std::int64_t triangles) : IndexedMesh(sphereOf(triangles)) {}
};

} // namespace bench
