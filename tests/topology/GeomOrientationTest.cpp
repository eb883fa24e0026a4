#include "qvGeom/topology/GeomOrientation.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <gtest/gtest.h>
#include <iterator>
#include <list>
#include <map>
#include <numeric>
#include <set>
#include <string>
#include <vector>

#include "qvGeom/editing/GeomVertexWeld.h"
#include "qvGeom/foundation/base/Progress.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/MeshAdjTris.h"
#include "qvGeom/foundation/geometry/MeshPlacement.h"
#include "qvGeom/foundation/geometry/Remap.h"
#include "qvGeom/io/GeomMeshText.h"
#include "qvGeom/topology/GeomAdjacency.h"

#include "support/CapturedOutput.h"
#include "support/HeardNotices.h"
#include "support/MeshBuilders.h"

namespace {

using qvGeom::CompactMesh;
using qvGeom::MeshAdjTris;
using qvGeom::MeshNormal;
using qvGeom::MeshOrient;
using qvGeom::MeshTriangle;
using Corners = std::array<int, 3>;

CompactMesh meshOf(const std::vector<MeshTriangle>& triangles) {
    return test::meshOf(std::vector<qvGeom::MeshVertex>(50), triangles);
}

std::vector<Corners> trianglesOf(const CompactMesh& mesh) {
    std::vector<Corners> triangles;
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
        triangles.push_back(std::to_array(mesh.getTriangles()[t].v));
    return triangles;
}

/// A triangle that begins with its lowest corner, wound the same way.
Corners rotated(Corners t) {
    std::rotate(t.begin(), std::min_element(t.begin(), t.end()), t.end());
    return t;
}

MeshAdjTris adjTrisOf(const CompactMesh& mesh) {
    MeshAdjTris adjTris;
    meshAdjTris(mesh, adjTris);
    return adjTris;
}

/// How many undirected edges more than one triangle runs in the same direction.
int numConflicts(const CompactMesh& mesh) {
    std::map<std::pair<int, int>, std::set<int>> users;
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        for (int k = 0; k < 3; ++k)
            users[{mesh.getTriangles()[t][k], mesh.getTriangles()[t][(k + 1) % 3]}].insert(t);
    }
    return static_cast<int>(std::count_if(users.begin(), users.end(),
                                          [](const auto& u) { return u.second.size() > 1; }));
}

TEST(MeshOrient, findsAnyConflict) {
    for (int seed = 0; seed < 400; ++seed) {
        const CompactMesh mesh = test::randomMesh(seed, 4 + seed / 8, 1 + seed / 20);
        EXPECT_EQ(meshOriented(mesh, adjTrisOf(mesh)), numConflicts(mesh) == 0) << seed;
    }
    EXPECT_TRUE(meshOriented(CompactMesh(), MeshAdjTris()));
    // Many triangles around one vertex, and vertices for several threads.
    for (CompactMesh mesh : {test::closedFan(60), test::grid(120, 100)}) {
        EXPECT_TRUE(meshOriented(mesh, adjTrisOf(mesh)));
        MeshTriangle& last = mesh.getTriangles()[mesh.getNumTriangles() - 1];
        std::swap(last[0], last[2]);
        EXPECT_FALSE(meshOriented(mesh, adjTrisOf(mesh)));
    }
}

struct OrientCase {
    std::vector<MeshTriangle> before;
    bool answer;
    std::vector<Corners> after;
    std::string notices;
};

TEST(MeshOrient, flipsPiecesInOrder) {
    const std::string flipped = "Topology uvsValid stsValid coloursValid;";
    const std::vector<OrientCase> cases{
        {{{0, 1, 2}, {1, 2, 3}}, true, {{0, 1, 2}, {1, 3, 2}}, flipped},
        {{{0, 1, 2}, {2, 1, 3}}, true, {{0, 1, 2}, {2, 1, 3}}, ""},
        // Triangles that only touch at a vertex are two pieces.
        {{{0, 1, 2}, {0, 3, 4}, {3, 4, 5}}, true, {{0, 1, 2}, {0, 3, 4}, {3, 5, 4}}, flipped},
        // A duplicate is flipped, and then agrees.
        {{{0, 1, 2}, {0, 1, 2}}, true, {{0, 1, 2}, {0, 2, 1}}, flipped},
        // Three on one edge cannot agree: the first walk flips the third, and the second walk, from
        // there, the second.
        {{{0, 1, 2}, {1, 0, 3}, {0, 1, 4}}, false, {{0, 1, 2}, {1, 3, 0}, {0, 4, 1}}, flipped},
        // A Moebius strip of five, after a piece that can be oriented and before one left alone.
        {{{10, 11, 12},
          {11, 12, 13},
          {0, 1, 2},
          {1, 2, 3},
          {2, 3, 4},
          {3, 4, 0},
          {4, 0, 1},
          {20, 21, 22},
          {21, 22, 23}},
         false,
         {{10, 11, 12},
          {11, 13, 12},
          {0, 1, 2},
          {1, 3, 2},
          {2, 3, 4},
          {3, 0, 4},
          {4, 0, 1},
          {20, 21, 22},
          {21, 22, 23}},
         flipped}};
    for (const OrientCase& c : cases) {
        SCOPED_TRACE(&c - cases.data());
        CompactMesh mesh = meshOf(c.before);
        const MeshAdjTris adjTris = adjTrisOf(mesh);
        test::HeardNotices notices(mesh);
        EXPECT_EQ(meshMakeOriented(mesh, adjTris), c.answer);
        EXPECT_EQ(trianglesOf(mesh), c.after);
        EXPECT_EQ(notices.take(), c.notices);
        // Asked again, the same object walks all pieces again.
        MeshOrient orient(mesh, adjTris);
        for (int time = 0; time < 2; ++time) {
            orient.orient();
            EXPECT_EQ(orient.isOriented(), c.answer);
            EXPECT_EQ(orient.isComputed(), c.answer);
        }
        EXPECT_EQ(orient.getConflictTriangle() < 0, c.answer);
    }
}

TEST(MeshOrient, orientsARealMesh) {
    CompactMesh mesh;
    meshRead(mesh, std::string(QVGEOM_TEST_DATA) + "/boeing.mesh");
    qvUtil::Progress progress;
    qvGeom::Remap remap;
    meshCompact(mesh, progress, remap);
    EXPECT_EQ(numConflicts(mesh), 978);
    EXPECT_TRUE(meshMakeOriented(mesh, adjTrisOf(mesh)));
    EXPECT_EQ(numConflicts(mesh), 0);
}

/// The triangles that the strips and fans of a mesh stand for.
std::multiset<Corners> trianglesOfRuns(const CompactMesh& mesh) {
    std::multiset<Corners> triangles;
    const int* p = mesh.getTriStripPoints();
    for (int s = 0; s < mesh.getNumTriStrips(); p += mesh.getTriStripLengths()[s++]) {
        for (int i = 0; i + 2 < mesh.getTriStripLengths()[s]; ++i)
            triangles.insert(rotated(i % 2 == 0 ? Corners{p[i], p[i + 1], p[i + 2]}
                                                : Corners{p[i + 1], p[i], p[i + 2]}));
    }
    p = mesh.getTriFanPoints();
    for (int f = 0; f < mesh.getNumTriFans(); p += mesh.getTriFanLengths()[f++]) {
        for (int i = 1; i + 1 < mesh.getTriFanLengths()[f]; ++i)
            triangles.insert(rotated({p[0], p[i], p[i + 1]}));
    }
    return triangles;
}

std::multiset<Corners> turned(const std::multiset<Corners>& triangles) {
    std::multiset<Corners> result;
    for (const Corners& t : triangles)
        result.insert({t[0], t[2], t[1]});
    return result;
}

CompactMesh meshWithRuns(const std::vector<int>& strips, const std::vector<int>& fans) {
    CompactMesh mesh = test::strip(2);
    const auto total = [](const std::vector<int>& l) {
        return std::accumulate(l.begin(), l.end(), 0);
    };
    mesh.resizeTriStripArrays(static_cast<int>(strips.size()), total(strips));
    mesh.resizeTriFanArrays(static_cast<int>(fans.size()), total(fans));
    std::copy(strips.begin(), strips.end(), mesh.getTriStripLengths());
    std::copy(fans.begin(), fans.end(), mesh.getTriFanLengths());
    std::iota(mesh.getTriStripPoints(), mesh.getTriStripPoints() + total(strips), 0);
    std::iota(mesh.getTriFanPoints(), mesh.getTriFanPoints() + total(fans), 100);
    return mesh;
}

TEST(MeshReverseWinding, turnsStripsAndFans) {
    const std::vector<int> fans{0, 1, 2, 3, 6};
    for (const auto& [strips, lengths] : std::map<std::vector<int>, std::vector<int>>{
             {{}, {}},
             {{4, 3, 0, 1, 2, 5, 7, 4}, {4, 3, 0, 1, 2, 5, 7, 4}},
             {{2, 3, 4, 5, 6, 7, 8}, {2, 3, 4, 5, 3, 5, 7, 3, 7}},
             {{6}, {3, 5}}}) {
        CompactMesh mesh = meshWithRuns(strips, fans);
        const std::multiset<Corners> before = trianglesOfRuns(mesh);
        meshReverseWinding(mesh, false);
        EXPECT_EQ(std::vector<int>(mesh.getTriStripLengths(),
                                   mesh.getTriStripLengths() + mesh.getNumTriStrips()),
                  lengths);
        EXPECT_EQ(trianglesOfRuns(mesh), turned(before));
        EXPECT_EQ(trianglesOf(mesh), (std::vector<Corners>{{1, 0, 2}, {1, 2, 3}}));
        meshReverseWinding(mesh, true);
        EXPECT_EQ(trianglesOfRuns(mesh), before);
        EXPECT_EQ(trianglesOf(mesh), trianglesOf(test::strip(2)));
    }
    CompactMesh four = meshWithRuns({4}, {});
    meshReverseWinding(four, false);
    EXPECT_EQ(four.getTriStripPoints()[1], 2); // (a, c, b, d), not (d, c, b, a)
}

int numNegative(const MeshNormal* normals, int count) {
    return static_cast<int>(std::count_if(normals, normals + count, [](const MeshNormal& n) {
        EXPECT_EQ(std::signbit(n.x), std::signbit(n.y)); // zeros have a sign as well
        return std::signbit(n.z);
    }));
}

TEST(MeshReverseWinding, negatesNormalsOnce) {
    const test::CapturedOutput output;
    CompactMesh mesh = test::grid(3, 1); // vertices 0..3 below 4..7
    test::HeardNotices notices(mesh);
    meshReverseSelectedWinding(mesh);
    EXPECT_EQ(notices.take(), "Topology normalsModified triangleNormalsModified uvsValid;");
    mesh.allocTriangleNormalArray();
    meshReverseWinding(mesh, true);
    EXPECT_EQ(notices.take(),
              "Topology normalsModified triangleNormalsModified stripsAndFansModified uvsValid;");
    mesh.allocNormalArray();
    meshReverseWinding(mesh, false);
    EXPECT_EQ(notices.take(), "Topology triangleNormalsModified stripsAndFansModified normalsValid "
                              "uvsValid;");
    EXPECT_EQ(numNegative(mesh.getTriangleNormals(), 6), 0); // twice
    EXPECT_EQ(numNegative(mesh.getNormals(), 8), 0);
    meshReverseWinding(mesh, true);
    EXPECT_EQ(numNegative(mesh.getNormals(), 8), 8);

    const std::vector<Corners> before = trianglesOf(mesh);
    mesh.getSelectedTriangles() = test::selectionOf(40, {0, 1, 39});
    meshReverseSelectedWinding(mesh);
    EXPECT_EQ(numNegative(mesh.getNormals(), 8), 4);
    EXPECT_EQ(numNegative(mesh.getTriangleNormals(), 6), 4);
    for (int t = 0; t < 6; ++t)
        EXPECT_EQ(trianglesOf(mesh)[t],
                  t < 2 ? (Corners{before[t][1], before[t][0], before[t][2]}) : before[t]);
    EXPECT_NE(output.debugWithoutSeconds().find("meshReverseSelectedWinding: 40 triangles\n"
                                                "  mesh reverse selected winding: S s\n"),
              std::string::npos);
    EXPECT_EQ(output.debugWithoutSeconds().find("meshReverseSelectedWinding: 0 triangles\n"), 0U);
    EXPECT_NE(output.debugWithoutSeconds().find("meshReverseWinding: 6 triangles\n"
                                                "  remapped triangle indices: S s\n"),
              std::string::npos);
}

TEST(MeshReverseWinding, reversesThePieceOfATriangle) {
    CompactMesh mesh = meshOf({{0, 1, 2}, {3, 4, 5}, {2, 6, 7}, {8, 9, 10}});
    mesh.getSelectedTriangles() = test::selectionOf(2, {1});
    meshReverseWinding(mesh, adjTrisOf(mesh), 2);
    EXPECT_EQ(trianglesOf(mesh),
              (std::vector<Corners>{{1, 0, 2}, {4, 3, 5}, {6, 2, 7}, {8, 9, 10}}));
    EXPECT_EQ(mesh.getSelectedTriangles(), test::selectionOf(4, {0, 1, 2}));
}

TEST(TestDeterminants, tellsMirroringPlacements) {
    std::list<qvGeom::MeshPlacement> placements(4);
    std::vector<bool> mirrored{true};
    qvGeom::testDeterminants({}, mirrored);
    EXPECT_TRUE(mirrored.empty());
    std::next(placements.begin(), 1)->transform.m[0][0] = -2;
    std::next(placements.begin(), 2)->transform.m[0][0] = 0;
    std::next(placements.begin(), 3)->transform.m[3][0] = -9;
    testDeterminants(placements, mirrored);
    EXPECT_EQ(mirrored, (std::vector<bool>{false, true, false, false}));
}

} // namespace
