/// \file
/// Our meshes as CGAL's.
#pragma once

#include "qvGeom/foundation/geometry/CompactMesh.h"

namespace bench {

/// Gives an empty `CGAL::Surface_mesh` the vertices and triangles of `mesh`. False when it refuses
/// one, as it does a triangle that runs an edge like another.
template <class CgalMesh>
bool fillCgalMesh(CgalMesh& filled, const qvGeom::CompactMesh& mesh) {
    using Index = typename CgalMesh::size_type;
    using Vertex = typename CgalMesh::Vertex_index;
    const auto numVertices = static_cast<Index>(mesh.getNumVertices());
    const auto numFaces = static_cast<Index>(mesh.getNumTriangles());
    filled.reserve(numVertices, numVertices + numFaces + 1, numFaces); // edges by Euler's formula
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        const qvGeom::MeshVertex& p = mesh.getVertices()[v];
        filled.add_vertex(typename CgalMesh::Point(p.x, p.y, p.z));
    }
    bool hasAll = true;
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        const qvGeom::MeshTriangle& tri = mesh.getTriangles()[t];
        hasAll &=
            filled.add_face(Vertex(static_cast<Index>(tri[0])), Vertex(static_cast<Index>(tri[1])),
                            Vertex(static_cast<Index>(tri[2]))) != CgalMesh::null_face();
    }
    return hasAll;
}

} // namespace bench
