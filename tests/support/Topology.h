/// \file
/// How a mesh hangs together.
#pragma once

#include <algorithm>
#include <array>
#include <set>
#include <vector>

#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/MeshAdjTris.h"
#include "qvGeom/topology/GeomAdjacency.h"
#include "qvGeom/topology/GeomComponents.h"

namespace test {

using Position = std::array<float, 3>;

inline Position positionOf(const qvGeom::CompactMesh& mesh, int v) {
    return {mesh.getVertices()[v].x, mesh.getVertices()[v].y, mesh.getVertices()[v].z};
}

/// Two triangles on the same corners show as edges that are used twice the same way, a degenerate
/// one as an edge from a vertex to itself; both are bad.
struct Topology {
    explicit Topology(const qvGeom::CompactMesh& mesh) {
        std::vector<std::array<int, 2>> sides;
        for (int t = 0; t < mesh.getNumTriangles(); ++t) {
            const auto& [a, b, c] = mesh.getTriangles()[t].v;
            sides.insert(sides.end(), {{a, b}, {b, c}, {c, a}});
        }
        std::sort(sides.begin(), sides.end());
        std::set<int> borderStarts;
        int numEdges = 0;
        for (std::size_t i = 0; i < sides.size(); ++i) {
            const auto& [a, b] = sides[i];
            const bool hasTwin = std::binary_search(sides.begin(), sides.end(), std::array{b, a});
            numBadEdges += a == b || (i > 0 && sides[i] == sides[i - 1]);
            numEdges += !hasTwin || a < b;
            if (!hasTwin) {
                boundary.insert({positionOf(mesh, a), positionOf(mesh, b)});
                isBoundarySimple &= borderStarts.insert(a).second;
            }
        }
        euler = mesh.getNumVertices() - numEdges + mesh.getNumTriangles();
        qvGeom::MeshAdjTris adjTris;
        meshAdjTris(mesh, adjTris);
        numComponents = meshComponents(mesh, adjTris, nullptr);
    }

    bool operator==(const Topology&) const = default;

    bool isDisk() const {
        return euler == 1 && numBadEdges == 0 && numComponents == 1 && isBoundarySimple &&
               !boundary.empty();
    }

    int euler = 0, numBadEdges = 0, numComponents = 0;
    bool isBoundarySimple = true; // one border edge starts at each of its vertices
    std::multiset<std::array<Position, 2>> boundary;
};

} // namespace test
