#include "qvmesh/MeshEdges.h"

#include <algorithm>

#include "qvGeom/foundation/geometry/CompactMesh.h"

#include "qvmesh/MeshFacts.h"

namespace qvmesh {

std::vector<MeshEdge> edgesOf(const qvGeom::CompactMesh& mesh) {
    std::vector<MeshEdge> edges;
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        const qvGeom::MeshTriangle& triangle = mesh.getTriangles()[t];
        for (int k = 0; k < 3 && hasDistinctCorners(triangle); ++k) {
            const auto [from, to] = std::minmax({triangle[k], triangle[(k + 1) % 3]});
            edges.push_back({from, to});
        }
    }
    const auto ends = [](const MeshEdge& edge) { return std::pair(edge.from, edge.to); };
    std::sort(edges.begin(), edges.end(),
              [&](const MeshEdge& a, const MeshEdge& b) { return ends(a) < ends(b); });
    std::size_t count = 0;
    for (const MeshEdge& edge : edges) {
        if (count > 0 && ends(edges[count - 1]) == ends(edge))
            edges[count - 1].isBorder = false;
        else
            edges[count++] = edge;
    }
    edges.resize(count);
    return edges;
}

} // namespace qvmesh
