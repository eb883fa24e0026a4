#include "qvGeom/editing/GeomSelection.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <gtest/gtest.h>
#include <set>

#include "qvGeom/foundation/geometry/MeshCoord.h"
#include "qvGeom/foundation/linear/Convert.h"
#include "qvGeom/foundation/linear/ProjMatrix.h"

#include "support/Adjacency.h"
#include "support/CapturedOutput.h"
#include "support/Random.h"

namespace qvGeom {
namespace {

struct Subject {
    CompactMesh mesh;
    MeshAdjTris adjTris = test::adjTrisOf(mesh);

    std::set<int> cornersOf(const std::set<int>& triangles) const {
        std::set<int> corners;
        for (const int t : triangles)
            corners.insert(mesh.getTriangles()[t].v, mesh.getTriangles()[t].v + 3);
        return corners;
    }

    std::set<int> trianglesWith(const std::set<int>& corners, int minCount) const {
        std::set<int> triangles;
        for (int t = 0; t < mesh.getNumTriangles(); ++t) {
            const auto& v = mesh.getTriangles()[t].v;
            if (std::count_if(v, v + 3, [&](int c) { return corners.contains(c); }) >= minCount)
                triangles.insert(t);
        }
        return triangles;
    }
};

std::set<int> bitsOf(const BitVector& bits) {
    std::set<int> set;
    for (int i = 0; i < bits.size(); ++i) {
        if (bits.test(i))
            set.insert(i);
    }
    EXPECT_EQ(bits.numSetBits(), static_cast<int>(set.size()));
    return set;
}

TEST(MeshSelect, agreesWithSetsOfIndices) {
    for (int seed = 0; seed < 60; ++seed) {
        SCOPED_TRACE(seed);
        Subject s{test::randomMesh(seed, 5 + seed, 3 + seed / 2)};
        BitVector ownVertices(1000), ownTriangles; // both of the wrong size
        ownVertices.setBits(2, std::array{seed % 5, 3}.data());
        MeshSelect select(s.mesh, s.adjTris, ownTriangles, ownVertices);
        const std::set<int> vertices = bitsOf(select.getSelectedVertices());
        for (int minCount = -1; minCount <= 4; ++minCount) {
            select.selectTrianglesFromVertices(minCount);
            EXPECT_EQ(bitsOf(ownTriangles), s.trianglesWith(vertices, minCount));
        }
        select.selectAllTrianglesFromVertices();
        std::set<int> grown = s.trianglesWith(vertices, 1);
        EXPECT_EQ(bitsOf(ownTriangles), grown);

        BitVector around;
        select.selectTrisAdjacentToVert(3, around);
        select.selectTrisAdjacentToVert(seed % 5, around);
        EXPECT_EQ(around, ownTriangles);

        select.selectTrianglesRecursive(true);
        grown = s.trianglesWith(s.cornersOf(grown), 1);
        EXPECT_EQ(bitsOf(ownTriangles), grown);
        for (std::size_t before = 0; before != grown.size();) {
            before = grown.size();
            grown = s.trianglesWith(s.cornersOf(grown), 1);
        }
        select.selectTrianglesRecursive(false);
        EXPECT_EQ(bitsOf(ownTriangles), grown);
        select.selectVerticesFromTriangles();
        EXPECT_EQ(bitsOf(ownVertices), s.cornersOf(grown));

        select.invertTriangleSelection();
        std::set<int> rest = s.trianglesWith({}, 0);
        std::erase_if(rest, [&](int t) { return grown.contains(t); });
        EXPECT_EQ(bitsOf(ownTriangles), rest);
    }
}

// The mesh's first vertex is put behind the eye, where its projection is mirrored into the lasso.
TEST(MeshSelect, lassoAddsWhatProjectsInside) {
    Subject s{test::grid(119, 99)}; // enough vertices for several threads
    s.mesh.getVertices()[0] = {-10.25F, -15, -2};
    qvLinear::ProjMatrix halvedByDepth;
    halvedByDepth.m[0][0] = halvedByDepth.m[1][1] = 1;
    halvedByDepth.m[2][3] = 1.5; // w of the plane z = 0 is 2
    halvedByDepth.m[3][3] = 2;
    MeshSelect select(s.mesh, s.adjTris);
    select.getSelectedVertices().set(11999);
    const std::vector<qvLinear::Point> nook{{5.1, 5.2, 9},   {40.1, 5.2, 0},  {40.1, 30.2, 1},
                                            {25.1, 30.2, 0}, {25.1, 20.2, 0}, {5.1, 20.2, 0}};
    select.selectVertices(halvedByDepth, {nook.begin(), nook.begin() + 2});
    EXPECT_EQ(bitsOf(s.mesh.getSelectedVertices()), std::set{11999});
    select.selectVertices(halvedByDepth, nook);
    for (int v = 1; v < 11999; ++v) {
        const double x = s.mesh.getVertices()[v].x / 2, y = s.mesh.getVertices()[v].y / 2;
        EXPECT_EQ(s.mesh.getSelectedVertices().test(v),
                  x > 5.1 && x < 40.1 && y > 5.2 && y < (x > 25.1 ? 30.2 : 20.2));
    }
    EXPECT_TRUE(s.mesh.getSelectedVertices().test(0)) << "behind the eye";
    EXPECT_TRUE(s.mesh.getSelectedVertices().test(11999)) << "selected before";
}

// In the plane a chain of near triangles leads to all that are near, in a soup to none.
TEST(MeshSelect, affectedTrianglesAreNearAndReached) {
    Subject s{test::grid(9, 9)}, soup{test::soupOf(s.mesh)};
    MeshSelect select(s.mesh, s.adjTris), selectInSoup(soup.mesh, soup.adjTris);
    test::Random random;
    for (int round = 0; round < 200; ++round) {
        const double tolerance = std::array{-1.0, double{NAN}, 0.3, 0.8, 1.7, 100.0}[round % 6];
        std::deque<MeshCoord> coords(1); // without a triangle
        std::set<int> homes, near;
        for (int i = random.below(4); i > 0; --i) {
            const double x = std::abs(random.number()), y = (1 - x) * std::abs(random.number());
            MeshCoord& coord = coords.emplace_back();
            coord = {{x, y, 1 - x - y}, random.below(162)};
            homes.insert(coord.triangle);
            const auto p = coord.evaluate(s.mesh.getVertices(), s.mesh.getTriangles());
            for (int t = 0; t < 162; ++t) {
                const auto corner = [&](int k) {
                    return qvLinear::widen(soup.mesh.getVertices()[3 * t + k]);
                };
                const auto closest = MeshCoordBase::projectBase(corner(0), corner(1), corner(2), p)
                                         .evaluateBase(corner(0), corner(1), corner(2));
                if (distance(p, closest) <= tolerance)
                    near.insert(t);
            }
        }
        select.selectAffectedTriangles(coords, tolerance);
        near.insert(homes.begin(), homes.end());
        EXPECT_EQ(bitsOf(s.mesh.getSelectedTriangles()), near) << round;
        selectInSoup.selectAffectedTriangles(coords, tolerance);
        EXPECT_EQ(bitsOf(soup.mesh.getSelectedTriangles()), homes) << round;
    }
}

TEST(MeshSelect, printsItsLines) {
    Subject s{test::bowTie()};
    MeshSelect select(s.mesh, s.adjTris);
    const test::CapturedOutput output;
    select.selectTrianglesFromVertices(0);
    select.selectAllTrianglesFromVertices();
    select.invertTriangleSelection();
    select.selectVerticesFromTriangles();
    select.selectTrianglesRecursive(true);
    select.selectVertices({}, {});
    select.selectAffectedTriangles({}, 0);
    EXPECT_EQ(output.debugWithoutSeconds(), "MeshSelect::selectedTrianglesFromVertices()\n"
                                            "  selected triangles(2): S s\n"
                                            "MeshSelect::selectAllTrianglesFromVertices()\n"
                                            "  selected triangles(0): S s\n"
                                            "MeshSelect::selectVerticesFromTriangles()\n"
                                            "  selected vertices(5): S s\n"
                                            "MeshSelect::selectTrianglesRecursive()\n"
                                            "   S s\n"
                                            "MeshSelect::selectVertices: vertices(5) triangles(2)\n"
                                            "  selected vertices(5): S s\n"
                                            "MeshSelect::selectAffectedTriangles()\n"
                                            "  selected triangles(0): S s\n");
}

TEST(MeshSubset, takesSelectionsAsFilters) {
    CompactMesh mesh = test::grid(2, 1); // 6 vertices, 4 triangles
    mesh.getSelectedTriangles() = test::selectionOf(9, {1, 3, 7});
    const MeshSubset own = meshSubsetFromSelection(mesh);
    EXPECT_EQ(own.mesh, &mesh);
    EXPECT_EQ(own.vertices, test::selectionOf(6, {0, 1, 2, 3, 4, 5}));
    EXPECT_EQ(own.triangles, test::selectionOf(4, {1, 3}));
    EXPECT_EQ(meshSubsetFromSelection(mesh, BitVector(6), BitVector()).vertices, BitVector(6));
}

} // namespace
} // namespace qvGeom
