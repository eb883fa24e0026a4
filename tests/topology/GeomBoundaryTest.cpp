#include "qvGeom/topology/GeomBoundary.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <set>
#include <utility>
#include <vector>

#include "qvGeom/foundation/geometry/MeshAdjVertices.h"
#include "qvGeom/foundation/geometry/MeshBoundaries.h"

#include "support/Adjacency.h"

namespace {

using qvGeom::CompactMesh;
using Loops = std::vector<std::vector<int>>;

Loops loopsOf(const CompactMesh& mesh) {
    const qvGeom::MeshAdjTris tris = test::adjTrisOf(mesh);
    qvGeom::MeshAdjVertices vertices;
    qvGeom::MeshBoundaries boundaries;
    meshAdjVertices(mesh, tris, vertices);
    meshComputeBoundary(mesh, tris, vertices, boundaries);
    Loops loops;
    for (int i = 0; i < boundaries.size(); ++i)
        loops.emplace_back(boundaries.getStart(i), boundaries.getEnd(i));
    return loops;
}

/// The walk in its plainest form: every vertex is tried, on sets of edges and corners.
Loops plainLoopsOf(const CompactMesh& mesh) {
    const int numVertices = mesh.getNumVertices();
    std::vector<std::vector<int>> ends(numVertices); // one for each triangle around
    std::vector<std::set<int>> corners(numVertices); // of these triangles, the vertex among them
    std::set<std::pair<int, int>> edges;
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        const int* const c = mesh.getTriangles()[t].v;
        for (int k = 0; k < 3; ++k) {
            // The first of equal corners speaks for the triangle, each time it is listed.
            const int first = c[0] == c[k] ? 0 : c[1] == c[k] ? 1 : 2;
            ends[c[k]].push_back(c[(first + 1) % 3]);
            edges.insert({c[k], c[(first + 1) % 3]});
            corners[c[k]].insert(c, c + 3);
        }
    }

    Loops loops;
    std::set<int> visited;
    for (int start = 0; start < numVertices; ++start) {
        std::vector<int> loop;
        for (int v = start; visited.insert(v).second;) {
            const auto end = std::find_if(ends[v].begin(), ends[v].end(), [&](int w) {
                return corners[w].size() != ends[w].size() + 1 && !edges.contains({w, v});
            });
            if (end == ends[v].end())
                break;
            loop.push_back(v);
            v = *end;
        }
        if (!loop.empty())
            loops.push_back(loop);
    }
    return loops;
}

// Sparse random meshes have boundaries of all kinds, dense ones hardly any; most of their vertices
// are not manifold.
TEST(Boundary, agreesWithThePlainWalkOnAnyMesh) {
    for (int seed = 0; seed < 200; ++seed) {
        SCOPED_TRACE(seed);
        const CompactMesh mesh = test::randomMesh(seed, 3 + seed % 23, 1 + seed % 41);
        ASSERT_EQ(loopsOf(mesh), plainLoopsOf(mesh));
    }
}

TEST(MeshComputeBoundary, givesLoopsFromTheirLowestVertex) {
    EXPECT_EQ(loopsOf(test::grid(2, 1)), (Loops{{0, 1, 2, 5, 4, 3}}));
    EXPECT_EQ(loopsOf(test::bowTie()), (Loops{{0, 1, 2}, {3, 4}})); // which meets the first
}

// Every edge at the hub of a fan asks for its opposite: searching the hub's triangles each time
// would take minutes.
TEST(MeshComputeBoundary, isQuickAroundAHub) {
    const int triangles = 500000;
    const Loops loops = loopsOf(test::openFan(triangles));
    ASSERT_EQ(loops.size(), 1U);
    EXPECT_EQ(loops[0].size(), triangles + 2U);
}

} // namespace
