#include "qvGeom/topology/GeomOrientation.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <gtest/gtest.h>
#include <iterator>
#include <map>
#include <numeric>
#include <set>

#include "qvGeom/foundation/geometry/MeshPlacement.h"

#include "support/Adjacency.h"
#include "support/CapturedOutput.h"
#include "support/HeardNotices.h"

namespace qvGeom {
namespace {

using test::adjTrisOf;
using Ints = std::vector<int>;
using Corners = std::array<int, 3>;

CompactMesh meshOf(const Ints& corners) {
    CompactMesh mesh;
    mesh.resizeVertexArray(50);
    mesh.copyTriangles(static_cast<int>(corners.size()) / 3, corners.data());
    return mesh;
}

Ints cornersOf(const CompactMesh& mesh) {
    return {mesh.getTrianglesRaw(), mesh.getTrianglesRaw() + 3 * mesh.getNumTriangles()};
}

/// Whether no two triangles run an edge in the same direction.
bool isOriented(const CompactMesh& mesh) {
    std::map<std::pair<int, int>, int> users;
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        const MeshTriangle& corners = mesh.getTriangles()[t];
        for (int k = 0; k < 3; ++k) {
            if (users.try_emplace({corners[k], corners[(k + 1) % 3]}, t).first->second != t)
                return false;
        }
    }
    return true;
}

TEST(MeshOrient, findsAnyConflict) {
    for (int seed = 0; seed < 400; ++seed) {
        const CompactMesh mesh = test::randomMesh(seed, 4 + seed / 8, 1 + seed / 20);
        EXPECT_EQ(meshOriented(mesh, adjTrisOf(mesh)), isOriented(mesh)) << seed;
    }
    CompactMesh mesh = test::grid(120, 100); // with vertices for several threads
    EXPECT_TRUE(meshOriented(mesh, adjTrisOf(mesh)));
    std::swap(mesh.getTriangles()[23999][0], mesh.getTriangles()[23999][2]);
    EXPECT_FALSE(meshOriented(mesh, adjTrisOf(mesh)));
}

TEST(MeshOrient, flipsPiecesInOrder) {
    const struct {
        Ints before;
        bool answer;
        Ints after;
    } cases[] = {
        {{0, 1, 2, 1, 2, 3}, true, {0, 1, 2, 1, 3, 2}},
        // Triangles that only touch at a vertex are two pieces.
        {{0, 1, 2, 0, 3, 4, 3, 4, 5}, true, {0, 1, 2, 0, 3, 4, 3, 5, 4}},
        // A duplicate is flipped, and then agrees.
        {{0, 1, 2, 0, 1, 2}, true, {0, 1, 2, 0, 2, 1}},
        // Three on one edge cannot agree: the first walk flips the third, and the second walk, from
        // there, the second.
        {{0, 1, 2, 1, 0, 3, 0, 1, 4}, false, {0, 1, 2, 1, 3, 0, 0, 4, 1}},
        // A Moebius strip of five, after a piece that can be oriented and before one left alone.
        {{10, 11, 12, 11, 12, 13, 0, 1,  2,  1,  2,  3,  2, 3,
          4,  3,  4,  0,  4,  0,  1, 20, 21, 22, 21, 22, 23},
         false,
         {10, 11, 12, 11, 13, 12, 0, 1,  2,  1,  3,  2,  2, 3,
          4,  3,  0,  4,  4,  0,  1, 20, 21, 22, 21, 22, 23}},
    };

    for (const auto& [before, answer, after] : cases) {
        SCOPED_TRACE(testing::PrintToString(before));
        CompactMesh mesh = meshOf(before);
        const MeshAdjTris adjTris = adjTrisOf(mesh);
        test::HeardNotices notices(mesh);
        EXPECT_EQ(meshMakeOriented(mesh, adjTris), answer);
        EXPECT_EQ(cornersOf(mesh), after);
        EXPECT_EQ(notices.take(),
                  before == after ? "" : "Topology uvsValid stsValid coloursValid;");
        // Asked again, the same object walks all pieces again.
        MeshOrient orient(mesh, adjTris);
        for (int time = 0; time < 2; ++time) {
            orient.orient();
            EXPECT_TRUE(orient.isOriented() == answer && orient.isComputed() == answer);
        }
        EXPECT_EQ(orient.getConflictTriangle() < 0, answer);
    }
}

/// The triangles that the strips and fans of a mesh stand for, each from its lowest corner on.
std::multiset<Corners> trianglesOfRuns(const CompactMesh& mesh, bool areTurned = false) {
    std::multiset<Corners> triangles;
    const auto add = [&](int a, int b, int c, bool isTurned) {
        Corners t = isTurned == areTurned ? Corners{a, b, c} : Corners{b, a, c};
        std::rotate(t.begin(), std::min_element(t.begin(), t.end()), t.end());
        triangles.insert(t);
    };
    const int* p = mesh.getTriStripPoints();
    for (int s = 0; s < mesh.getNumTriStrips(); p += mesh.getTriStripLengths()[s++]) {
        for (int i = 0; i + 2 < mesh.getTriStripLengths()[s]; ++i)
            add(p[i], p[i + 1], p[i + 2], i % 2 == 1);
    }
    p = mesh.getTriFanPoints();
    for (int f = 0; f < mesh.getNumTriFans(); p += mesh.getTriFanLengths()[f++]) {
        for (int i = 1; i + 1 < mesh.getTriFanLengths()[f]; ++i)
            add(p[0], p[i], p[i + 1], false);
    }
    return triangles;
}

/// Strips of these lengths, and fans of all kinds.
CompactMesh meshWithRuns(const Ints& strips) {
    CompactMesh mesh = test::strip(2);
    const int inStrips = std::accumulate(strips.begin(), strips.end(), 0);
    mesh.resizeTriStripArrays(static_cast<int>(strips.size()), inStrips);
    std::ranges::copy(strips, mesh.getTriStripLengths());
    mesh.resizeTriFanArrays(5, 12);
    std::ranges::copy(Ints{0, 1, 2, 3, 6}, mesh.getTriFanLengths());
    std::iota(mesh.getTriStripPoints(), mesh.getTriStripPoints() + inStrips, 0);
    std::iota(mesh.getTriFanPoints(), mesh.getTriFanPoints() + 12, 100);
    return mesh;
}

TEST(MeshReverseWinding, turnsStripsAndFans) {
    for (const auto& [strips, lengths] : {std::pair<Ints, Ints>{},
                                          {{4, 3, 0, 1, 2, 5, 7, 4}, {4, 3, 0, 1, 2, 5, 7, 4}},
                                          {{2, 3, 4, 5, 6, 7, 8}, {2, 3, 4, 5, 3, 5, 7, 3, 7}},
                                          {{6}, {3, 5}}}) {
        CompactMesh mesh = meshWithRuns(strips);
        const std::multiset<Corners> turned = trianglesOfRuns(mesh, true);
        meshReverseWinding(mesh, false);
        EXPECT_EQ(
            Ints(mesh.getTriStripLengths(), mesh.getTriStripLengths() + mesh.getNumTriStrips()),
            lengths);
        EXPECT_EQ(trianglesOfRuns(mesh), turned);
        EXPECT_EQ(cornersOf(mesh), (Ints{1, 0, 2, 1, 2, 3}));
    }
    CompactMesh four = meshWithRuns({4});
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
    CompactMesh mesh = test::grid(3, 1); // vertices 0..3 below 4..7
    test::HeardNotices notices(mesh);
    meshReverseSelectedWinding(mesh);
    mesh.allocTriangleNormalArray();
    meshReverseWinding(mesh, true);
    mesh.allocNormalArray();
    meshReverseWinding(mesh, false);
    EXPECT_EQ(notices.take(),
              "Topology normalsModified triangleNormalsModified uvsValid;"
              "Topology normalsModified triangleNormalsModified stripsAndFansModified uvsValid;"
              "Topology triangleNormalsModified stripsAndFansModified normalsValid uvsValid;");
    EXPECT_EQ(numNegative(mesh.getTriangleNormals(), 6), 0); // twice
    EXPECT_EQ(numNegative(mesh.getNormals(), 8), 0);
    meshReverseWinding(mesh, true);
    EXPECT_EQ(numNegative(mesh.getNormals(), 8), 8);

    Ints expected = cornersOf(mesh);
    std::swap(expected[0], expected[1]);
    std::swap(expected[3], expected[4]);
    mesh.getSelectedTriangles() = test::selectionOf(40, {0, 1, 39});
    const test::CapturedOutput output;
    meshReverseSelectedWinding(mesh);
    EXPECT_EQ(cornersOf(mesh), expected);
    EXPECT_EQ(numNegative(mesh.getNormals(), 8), 4);
    EXPECT_EQ(numNegative(mesh.getTriangleNormals(), 6), 4);
    meshReverseWinding(mesh, false);
    EXPECT_EQ(output.debugWithoutSeconds(), "meshReverseSelectedWinding: 40 triangles\n"
                                            "  mesh reverse selected winding: S s\n"
                                            "meshReverseWinding: 6 triangles\n"
                                            "  remapped triangle indices: S s\n");
}

TEST(MeshReverseWinding, reversesThePieceOfATriangle) {
    CompactMesh mesh = meshOf({0, 1, 2, 3, 4, 5, 2, 6, 7, 8, 9, 10});
    mesh.getSelectedTriangles() = test::selectionOf(2, {1});
    meshReverseWinding(mesh, adjTrisOf(mesh), 2);
    EXPECT_EQ(cornersOf(mesh), (Ints{1, 0, 2, 4, 3, 5, 6, 2, 7, 8, 9, 10}));
    EXPECT_EQ(mesh.getSelectedTriangles(), test::selectionOf(4, {0, 1, 2}));
}

TEST(TestDeterminants, tellsMirroringPlacements) {
    std::list<MeshPlacement> placements(3);
    placements.front().transform.m[0][0] = -2;
    placements.back().transform.m[0][0] = 0;
    std::vector<bool> mirrored{true};
    testDeterminants(placements, mirrored);
    EXPECT_EQ(mirrored, (std::vector<bool>{true, false, false}));
}

} // namespace
} // namespace qvGeom
