/// \file
/// A mesh with the tree that spatial queries walk.
#pragma once

#include <cmath>
#include <cstdint>

#include "qvGeom/foundation/geometry/CompactMesh.h"

#include "support/MeshBuilders.h"
#include "support/Trees.h"

namespace bench {

using test::IndexedMesh;

/// A unit sphere of about so many triangles.
inline qvGeom::CompactMesh sphereOf(std::int64_t triangles) {
    const int rings = static_cast<int>(std::lround(std::sqrt(static_cast<double>(triangles) / 4)));
    return test::sphere(rings, 2 * rings);
}

struct IndexedSphere : IndexedMesh {
    explicit IndexedSphere(std::int64_t triangles) : IndexedMesh(sphereOf(triangles)) {}
};

} // namespace bench
