#include "qvGeom/topology/GeomAdjacency.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <set>

#include "qvGeom/foundation/geometry/MeshAdjVertices.h"

#include "support/Adjacency.h"
#include "support/CapturedOutput.h"
#include "support/ScopedThreadCount.h"

namespace qvGeom {
namespace {

/// Both tables against lists that grow triangle by triangle.
void expectTablesOf(const CompactMesh& mesh) {
    const int numVertices = mesh.getNumVertices();
    std::vector<std::vector<int>> tris(numVertices);
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        for (const int c : mesh.getTriangles()[t].v)
            tris[c].push_back(t);
    }
    const MeshAdjTris adjTris = test::adjTrisOf(mesh);
    MeshAdjVertices adjVertices;
    meshAdjVertices(mesh, adjTris, adjVertices);
    ASSERT_EQ(adjTris.numSets(), numVertices);
    ASSERT_EQ(adjTris.numMembers(), 3 * mesh.getNumTriangles());
    ASSERT_EQ(adjVertices.numVertices(), numVertices);
    int maxValence = 0;
    for (int v = 0; v < numVertices; ++v) {
        ASSERT_EQ((std::vector<int>{adjTris.begin(v), adjTris.end(v)}), tris[v]) << "around " << v;
        std::vector<int> neighbours;
        std::set<int> known{v};
        for (const int t : tris[v]) {
            for (const int c : mesh.getTriangles()[t].v) {
                if (known.insert(c).second)
                    neighbours.push_back(c);
            }
        }
        const int* const found = adjVertices.getVertices(v);
        ASSERT_EQ((std::vector<int>{found, found + adjVertices.getCount(v)}), neighbours)
            << "around " << v;
        ASSERT_TRUE(v == 0 ||
                    found == adjVertices.getVertices(v - 1) + adjVertices.getCount(v - 1) + 1);
        maxValence = std::max(maxValence, adjVertices.getCount(v));
    }
    EXPECT_EQ(adjVertices.getMaxValence(), maxValence);
}

// The larger meshes are split over the threads, also where a part has nothing to do; the fan has
// one vertex that is everybody's neighbour.
TEST(Adjacency, matchesGrowingListsForEveryThreadCount) {
    const CompactMesh meshes[] = {CompactMesh(),
                                  test::pointsAlongX(5),
                                  test::randomMesh(1, 1, 4),
                                  test::randomMesh(2, 8, 5),
                                  test::randomMesh(3, 40, 300),
                                  test::randomMesh(4, 12000, 20001),
                                  test::randomMesh(5, 7, 15000),
                                  test::randomMesh(6, 30000, 9),
                                  test::closedFan(12000)};
    for (const int threads : {1, 2, 3, 8, 20}) {
        const test::ScopedThreadCount pool(threads);
        for (const CompactMesh& mesh : meshes) {
            SCOPED_TRACE(testing::Message() << &mesh - meshes << " on " << threads << " threads");
            expectTablesOf(mesh);
        }
    }
}

TEST(Adjacency, printsOneLineEach) {
    const test::CapturedOutput output;
    expectTablesOf(test::bowTie());
    EXPECT_EQ(output.debugWithoutSeconds(), "MeshAdjTris: 5 vertices 2 triangles S\n"
                                            "MeshAdjVertices: 5 vertices, 2 triangles: S s\n");
}

TEST(SortAdjTris, walksFromTheFirstTriangleAsFarAsTheFanGoes) {
    const auto sortedOf = [](const CompactMesh& mesh, const std::vector<int>& tris) {
        std::vector<int> sorted{7, 7, 7};
        sortAdjTris(0, static_cast<int>(tris.size()), tris.data(), mesh.getTriangles(), sorted);
        return sorted;
    };
    const CompactMesh open = test::openFan(6);
    EXPECT_EQ(sortedOf(test::closedFan(6), {2, 0, 5, 1, 4, 3}), (std::vector{2, 3, 4, 5, 0, 1}));
    EXPECT_EQ(sortedOf(open, {0, 3, 5, 1, 4, 2}), (std::vector{0, 1, 2, 3, 4, 5}));
    EXPECT_EQ(sortedOf(open, {4, 0, 3, 1, 5, 2}), (std::vector{4, 5, 3, 1, 2, 0}))
        << "goes on with what stands there after 5";
    EXPECT_EQ(sortedOf(open, {}), std::vector<int>());
}

// Few vertices and many triangles make sets of all sizes, and every kind of degenerate and
// non-manifold edge.
TEST(GetSharedEdgeAdjacentTriangle, findsTheLowestOtherTriangle) {
    for (const int triangles : {3, 20, 150}) {
        const CompactMesh mesh = test::randomMesh(triangles, 9, triangles);
        const MeshTriangle* const tris = mesh.getTriangles();
        const MeshAdjTris adjTris = test::adjTrisOf(mesh);
        for (int edge = 0; edge < 3 * triangles; ++edge) {
            const int t = edge / 3;
            const int a = tris[t][edge % 3];
            const int b = tris[t][(edge + 1) % 3];
            int expected = -1;
            for (int u = triangles - 1; u >= 0; --u) {
                const std::set<int> corners(tris[u].v, tris[u].v + 3);
                if (u != t && corners.contains(a) && corners.contains(b))
                    expected = u;
            }
            int other = t; // the very object that names the triangle
            int corner = 7;
            const bool found =
                getSharedEdgeAdjacentTriangle(other, edge % 3, tris, adjTris, other, corner);
            ASSERT_EQ(found, expected >= 0) << "edge " << edge;
            ASSERT_EQ(other, found ? expected : t) << "edge " << edge;
            const int* const corners = tris[other].v;
            ASSERT_EQ(corner, found ? std::find(corners, corners + 3, b) - corners : -1);
        }
    }
}

} // namespace
} // namespace qvGeom
