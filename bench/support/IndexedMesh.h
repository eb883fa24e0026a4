/// \file
/// A mesh with the tree that spatial queries walk.
#pragma once

#include <cmath>
#include <cstdint>
#include <utility>

#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/Octree.h"
#include "qvGeom/foundation/geometry/OctreeTris.h"
#include "qvGeom/spatial/GeomOctree.h"

#include "support/MeshBuilders.h"
#include "support/Trees.h"

namespace bench {

/// Stays where it is made: what searches in it points to its members.
struct IndexedMesh {
    qvGeom::CompactMesh mesh;
    qvGeom::Octree octree;
    qvGeom::OctreeTris tris;

    explicit IndexedMesh(qvGeom::CompactMesh source)
        : mesh(std::move(source)),
          octree(test::octreeOf(mesh)) {
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
