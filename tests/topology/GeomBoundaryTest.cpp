#include "qvGeom/topology/GeomBoundary.h"

#include <gtest/gtest.h>
#include <set>
#include <utility>
#include <vector>

#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/MeshAdjTris.h"
#include "qvGeom/foundation/geometry/MeshAdjVertices.h"
#include "qvGeom/foundation/geometry/MeshBoundaries.h"
#include "qvGeom/topology/GeomAdjacency.h"

#include "support/MeshBuilders.h"

namespace {

using qvGeom::CompactMesh;
using Loops = std::vector<std::vector<int>>;

Loops loopsOf(const CompactMesh& mesh) {
    qvGeom::MeshAdjTris tris;
    qvGeom::MeshAdjVertices vertices;
    meshAdjTris(mesh, tris);
    meshAdjVertices(mesh, tris, vertices);
    qvGeom::MeshBoundaries boundaries;
    meshComputeBoundary(mesh, tris, vertices, boundaries);
    Loops loops;
    for (int i = 0; i < boundaries.size(); ++i)
        loops.emplace_back(boundaries.getStart(i), boundaries.getEnd(i));
    return loops;
}

/// The walk in its plainest form: every vertex is tried, on sets of edges and neighbours.
class PlainWalk {
public:
    explicit PlainWalk(const CompactMesh& mesh)
        : ends_(mesh.getNumVertices()),
          neighbours_(mesh.getNumVertices()),
          numTris_(mesh.getNumVertices()) {
        for (int t = 0; t < mesh.getNumTriangles(); ++t) {
            const int* const c = mesh.getTriangles()[t].v;
            for (int k = 0; k < 3; ++k) {
                // The first of equal corners speaks for the triangle, each time it is listed.
                const int first = c[0] == c[k] ? 0 : c[1] == c[k] ? 1 : 2;
                ends_[c[k]].push_back(c[(first + 1) % 3]);
                edges_.insert({c[k], c[(first + 1) % 3]});
                neighbours_[c[k]].insert({c[0], c[1], c[2]});
                ++numTris_[c[k]];
            }
        }
        for (int v = 0; v < mesh.getNumVertices(); ++v)
            neighbours_[v].erase(v);
    }

    bool step(int v, int& next) const {
        for (const int end : ends_[v]) {
            next = end;
            if (static_cast<int>(neighbours_[end].size()) != numTris_[end] &&
                !edges_.contains({end, v}))
                return true;
        }
        return false;
    }

    Loops loops() const {
        Loops loops;
        std::set<int> visited;
        for (int start = 0; start < static_cast<int>(ends_.size()); ++start) {
            std::vector<int> loop;
            int next = -1;
            int current = start;
            bool fresh = visited.insert(start).second;
            while (fresh && step(current, next)) {
                loop.push_back(current);
                current = next;
                fresh = visited.insert(next).second;
            }
            if (!loop.empty())
                loops.push_back(loop);
        }
        return loops;
    }

private:
    std::vector<std::vector<int>> ends_;
    std::vector<std::set<int>> neighbours_;
    std::vector<int> numTris_;
    std::set<std::pair<int, int>> edges_;
};

// Sparse random meshes have boundaries of all kinds, dense ones hardly any; most of their vertices
// are not manifold.
TEST(Boundary, agreesWithThePlainWalkOnAnyMesh) {
    for (int seed = 0; seed < 200; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        const CompactMesh mesh = test::randomMesh(seed, 3 + seed % 23, 1 + seed % 41);
        ASSERT_EQ(loopsOf(mesh), PlainWalk(mesh).loops());
    }
}

TEST(MeshComputeBoundary, givesLoopsFromTheirLowestVertex) {
    const std::vector<qvGeom::MeshVertex> vertices(4);
    const std::pair<CompactMesh, Loops> cases[] = {
        {CompactMesh(), {}},
        {test::meshOf(vertices, {{{2, 1, 0}}}), {{0, 2, 1}}},
        {test::meshOf(vertices, {{{0, 1, 2}}, {{0, 2, 3}}, {{0, 3, 1}}, {{1, 3, 2}}}), {}},
        {test::grid(2, 1), {{0, 1, 2, 5, 4, 3}}},
        {test::soupOf(test::grid(1, 1)), {{0, 1, 2}, {3, 4, 5}}},
        {test::closedFan(4), {{1, 2, 3, 4}}},
        {test::bowTie(), {{0, 1, 2}, {3, 4}}}, // the second meets the first and stays open
    };
    for (const auto& [mesh, loops] : cases)
        EXPECT_EQ(loopsOf(mesh), loops);
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
