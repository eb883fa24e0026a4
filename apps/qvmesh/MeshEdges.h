/// \file
/// The edges of a mesh.
#pragma once

#include <vector>

namespace qvGeom {
class CompactMesh;
}

namespace qvmesh {

struct MeshEdge {
    int from, to;         // from the lower to the higher vertex
    bool isBorder = true; // of one triangle
};

/// Every edge once. Triangles with one vertex at two corners have none.
std::vector<MeshEdge> edgesOf(const qvGeom::CompactMesh& mesh);

} // namespace qvmesh
