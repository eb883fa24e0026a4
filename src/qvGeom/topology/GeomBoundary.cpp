#include "qvGeom/topology/GeomBoundary.h"

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

#include "qvGeom/foundation/geometry/BitVector.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/MeshAdjTris.h"
#include "qvGeom/foundation/geometry/MeshAdjVertices.h"
#include "qvGeom/foundation/geometry/MeshBoundaries.h"

namespace qvGeom {
namespace {

/// A vertex in a single closed fan has as many neighbours as triangles, one in an open fan has one
/// neighbour more.
bool isInterior(int v, const MeshAdjTris& adjTris, const MeshAdjVertices& adjVertices) {
    return adjVertices.getCount(v) == adjTris.setSize(v);
}

/// The vertices that a boundary edge may leave. Such an edge leads to a vertex that is not
/// interior, so the neighbours of these are all: few, in most meshes. An edge from a vertex to
/// itself, in a degenerate triangle, is its own opposite and leads nowhere.
BitVector findPossibleStarts(const MeshAdjTris& adjTris, const MeshAdjVertices& adjVertices) {
    const int numVertices = adjVertices.numVertices();
    BitVector starts(numVertices);
    const int* const offsets = adjTris.offsets();
    int begin = 0;
    for (int v = 0; v < numVertices; ++v) {
        const int end = v + 1 < numVertices ? offsets[v + 1] : adjTris.numMembers();
        const int numTris = end - std::exchange(begin, end);
        if (adjVertices.getCount(v) != numTris) // not interior
            starts.setBits(adjVertices.getCount(v), adjVertices.getVertices(v));
    }
    return starts;
}

Array<int> arrayOf(const std::vector<int>& values) {
    Array<int> array(static_cast<int>(values.size()));
    std::copy(values.begin(), values.end(), array.begin());
    return array;
}

} // namespace

int Boundary::findEdge(int v, const int* triangle) {
    for (int corner = 0; corner < 3; ++corner) {
        if (triangle[corner] == v)
            return triangle[(corner + 1) % 3];
    }
    return -1;
}

bool Boundary::hasEdge(const CompactMesh& mesh, const MeshAdjTris& adjTris, int a, int b) {
    // A triangle with this edge is in the sets of both ends.
    const int fewer = adjTris.setSize(a) <= adjTris.setSize(b) ? a : b;
    return std::any_of(adjTris.begin(fewer), adjTris.end(fewer),
                       [&](int t) { return findEdge(a, mesh.getTriangles()[t].v) == b; });
}

bool Boundary::walkBoundary(int v, int& next, const CompactMesh& mesh, const MeshAdjTris& adjTris,
                            const MeshAdjVertices& adjVertices) {
    for (const int* tri = adjTris.begin(v); tri != adjTris.end(v); ++tri) {
        next = findEdge(v, mesh.getTriangles()[*tri].v);
        if (!isInterior(next, adjTris, adjVertices) && !hasEdge(mesh, adjTris, next, v))
            return true;
    }
    return false;
}

void meshComputeBoundary(const CompactMesh& mesh, const MeshAdjTris& adjTris,
                         const MeshAdjVertices& adjVertices, MeshBoundaries& result) {
    const BitVector possibleStarts = findPossibleStarts(adjTris, adjVertices);
    BitVector visited(mesh.getNumVertices());
    std::vector<int> vertices;
    std::vector<int> lengths;
    for (int start = 0; start < mesh.getNumVertices(); ++start) {
        if (!possibleStarts.test(start) || visited.test(start))
            continue;
        const std::size_t before = vertices.size();
        visited.set(start);
        int current = start;
        int next = -1;
        while (Boundary::walkBoundary(current, next, mesh, adjTris, adjVertices)) {
            vertices.push_back(current);
            if (visited.test(next))
                break;
            visited.set(next);
            current = next;
        }
        if (vertices.size() > before)
            lengths.push_back(static_cast<int>(vertices.size() - before));
    }

    Array<int> allVertices = arrayOf(vertices);
    Array<int> allLengths = arrayOf(lengths);
    MeshBoundaries built(allVertices, allLengths);
    result.swap(built);
}

} // namespace qvGeom
