/// \file
/// Octrees over meshes.
#pragma once

#include "qvGeom/foundation/geometry/BoundingBox.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/Octree.h"
#include "qvGeom/topology/GeomBoundingBox.h"

namespace test {

inline qvGeom::Octree octreeOf(const qvGeom::CompactMesh& mesh, int maxVerticesPerLeaf = 16,
                               bool keepEmptyChildren = true) {
    qvGeom::BoundingBox box;
    meshBoundingBox(mesh, box);
    return {mesh.getNumVertices(), mesh.getVerticesRaw(), box, keepEmptyChildren,
            maxVerticesPerLeaf};
}

} // namespace test
