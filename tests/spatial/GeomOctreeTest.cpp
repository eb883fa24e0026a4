#include "qvGeom/spatial/GeomOctree.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <regex>
#include <vector>

#include "qvGeom/foundation/geometry/Frustum.h"
#include "qvGeom/foundation/geometry/OctreeLines.h"
#include "qvGeom/foundation/geometry/OctreeTris.h"
#include "qvGeom/foundation/geometry/Ray.h"
#include "qvGeom/foundation/geometry/Sphere.h"
#include "qvGeom/spatial/GeomOctreeIterators.h"

#include "support/CapturedOutput.h"
#include "support/MeshBuilders.h"
#include "support/Random.h"
#include "support/ScopedThreadCount.h"
#include "support/Trees.h"

namespace qvGeom {
namespace {

using qvLinear::Point;
using qvLinear::PointFlt;
using qvLinear::Vector;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

const BoundingBox kUnit({0, 0, 0}, {1, 1, 1});

/// Whether a convex polygon, cut with the six half-spaces of the unit box grown by `margin`, leaves
/// anything; in doubles.
bool survivesClipping(std::vector<Point> polygon, double margin) {
    for (int side = 0; side < 6; ++side) {
        const auto heightOf = [&](const Point& p) {
            const double c = side / 2 == 0 ? p.x : side / 2 == 1 ? p.y : p.z;
            return (side % 2 ? c - 1 : -c) - margin;
        };
        std::vector<Point> rest;
        for (std::size_t i = 0; i < polygon.size(); ++i) {
            const Point &a = polygon[i], &b = polygon[(i + 1) % polygon.size()];
            const double heightA = heightOf(a), heightB = heightOf(b);
            if (heightA <= 0)
                rest.push_back(a);
            if (heightA * heightB < 0)
                rest.push_back(a + (b - a) * (heightA / (heightA - heightB)));
        }
        polygon.swap(rest);
    }
    return !polygon.empty();
}

TEST(BoxPredicates, trianglesSegmentsAndRaysAgreeWithClipping) {
    test::Random random(3);
    const auto point = [&random] {
        PointFlt p = narrow(random.point(2) + Vector{0.5, 0.5, 0.5});
        if (random.below(4) == 0) // on a side
            p.x = static_cast<float>(random.below(2));
        return p;
    };
    for (int i = 0; i < 30000; ++i) {
        const PointFlt a = point(), b = point(), c = i % 20 == 0 ? b : point();
        const Vector d = widen(b - a);
        const bool isMet = intersects(kUnit, Ray(a, d));
        ASSERT_EQ(isMet, survivesClipping({widen(a), widen(a) + 1e3 * d}, isMet ? 1e-4 : -1e-4));
        for (const bool isTriangle : {true, false}) {
            const bool meets = isTriangle ? intersects(kUnit, a, b, c) : intersects(kUnit, a, b);
            std::vector<Point> polygon{widen(a), widen(b)};
            if (isTriangle)
                polygon.push_back(widen(c));
            ASSERT_EQ(meets, survivesClipping(polygon, meets ? 1e-5 : -1e-5)) << i; // for rounding
        }
    }
    // Touching meets, at a corner and at edges; NaN separates nothing, whichever corner it is in.
    EXPECT_TRUE(intersects(kUnit, {3, 0, 0}, {0, 3, 0}, {0, 0, 3}));
    EXPECT_TRUE(intersects(kUnit, {2, 0, 0.5F}, {0, 2, 0.5F}));
    PointFlt corners[] = {{0, 3, 0.5F}, {3, 0, 0.5F}, {3, 3, kNaN}};
    EXPECT_FALSE(intersects(kUnit, corners[0], corners[1], {3, 3, 0.5F}));
    for (int k = 0; k < 3; ++k, std::rotate(corners, corners + 1, corners + 3))
        EXPECT_TRUE(intersects(kUnit, corners[0], corners[1], corners[2])) << k;
}

TEST(BoxPredicates, spheresPointsRangesAndRays) {
    EXPECT_TRUE(intersects(kUnit, Sphere{{4, 5, 1}, 5}));
    EXPECT_FALSE(intersects(kUnit, Sphere{{4, 5, 1}, std::nextafter(5.0, 0.0)}));
    EXPECT_TRUE(intersects(kUnit, Sphere{{1 + 1e-12, 0, 0}, 0})); // its centre as floats is inside
    EXPECT_TRUE(contains(kUnit, PointFlt{1, 0, 1}));
    EXPECT_FALSE(contains(kUnit, PointFlt{1, -1e-9F, 1}));
    float lo = 0, hi = 0;
    project({{-1, 2, 3}, {1, 4, 7}}, {2, -1, 0.5F}, lo, hi);
    EXPECT_EQ(lo, -2 - 4 + 1.5F);
    EXPECT_EQ(hi, 2 - 2 + 3.5F);

    const PointFlt onSide{1, 0.5F, 0.5F};
    EXPECT_TRUE(intersects(kUnit, Ray(onSide, {-1e-3, -0.0, 0})));
    EXPECT_FALSE(intersects(kUnit, Ray(onSide, {1, 0, -0.0}))); // ends where the ray begins
    // In the plane of a face, where a zero component gives 0 times infinity.
    for (int i = 0; i < 12; ++i) {
        float o[3] = {-1, -1, -1};
        double d[3] = {1, 1, 1};
        o[i / 4] = static_cast<float>(i % 2);
        d[i / 4] = i % 4 < 2 ? 0.0 : -0.0;
        EXPECT_TRUE(intersects(kUnit, Ray({o[0], o[1], o[2]}, {d[0], d[1], d[2]}))) << i;
    }
}

TEST(BoxPredicates, frusta) {
    qvLinear::ProjMatrix m; // shows -1 <= z <= 1 at w = 2 - z, and |x|, |y| <= w
    m.identity();
    m.m[2][3] = m.m[3][2] = -1;
    m.m[3][3] = m.m[2][2] = 2;
    const Frustum frustum(m);
    const auto meets = [&](const PointFlt& min, const PointFlt& max) {
        return intersects(BoundingBox(min, max), frustum);
    };
    EXPECT_TRUE(contains(frustum, {0, 0, 1}) && contains(frustum, {2.9, -2.9, -0.95}));
    EXPECT_FALSE(contains(frustum, {1.1, 0, 1}) || contains(frustum, {0, 0, -1.1}));
    EXPECT_TRUE(meets({-9, -9, -9}, {9, 9, 9}));
    EXPECT_TRUE(meets({2.99F, 2.99F, -2}, {4, 4, -0.99F})); // a corner in it
    EXPECT_FALSE(meets({3.01F, 3, -2}, {4, 4, -1}));        // all of the frustum before one face
    EXPECT_FALSE(meets({2, -1, 0.1F}, {3, 1, 1}));          // all of the box above one plane
    EXPECT_TRUE(meets({1.9F, 1.9F, -0.9F}, {2.9F, 9, 9}));  // only near an edge, but not rejected
}

using Contents = std::vector<std::vector<int>>;

Contents contentsOf(const ArrayOfSets& sets) {
    Contents contents;
    for (int i = 0; i < sets.numSets(); ++i)
        contents.emplace_back(sets.begin(i), sets.end(i));
    return contents;
}

// More than one block and one branch, more in the tree than in its box, and what is not finite.
TEST(OctreePartition, isWhatTestsOneByOneGive) {
    CompactMesh mesh = test::shuffled(test::wavySurface(30000), 3);
    mesh.getVertices()[7] = {kNaN, kNaN, kNaN};
    mesh.getVertices()[8].x = kNaN;
    mesh.getVertices()[9].y = HUGE_VALF;
    mesh.getTriangles()[0] = {7, 7, 7}; // in no voxel
    mesh.resizeLineArray(mesh.getNumTriangles());
    for (int e = 0; e < mesh.getNumTriangles(); ++e)
        std::copy_n(mesh.getTriangles()[e].v, 2, mesh.getLines() + 2 * e);
    Array<BoundingBox> boxes;
    meshTriBoundingBoxes(mesh, boxes);
    for (const Octree& octree :
         {test::octreeOf(test::wavySurface(20000), 8), test::octreeOf(mesh, 99999)}) {
        Contents inTris(octree.getNumVoxels()), inLines = inTris;
        OctreeBBoxIntersectIt it(octree);
        for (int e = 0; e < mesh.getNumTriangles(); ++e) {
            const auto at = [&](int k) {
                const auto [x, y, z] = mesh.getVertices()[mesh.getTriangles()[e][k]];
                return PointFlt{x, y, z};
            };
            BoundingBox ofLine;
            ofLine.extend(at(0));
            ofLine.extend(at(1));
            for (it.reset(boxes[e]); it.valid(); it.next()) {
                const OctreeIterator leaf = it.get();
                if (intersects(leaf.box, at(0), at(1), at(2)))
                    inTris[leaf.leafIndex()].push_back(e);
                if (leaf.box.intersects(ofLine) && intersects(leaf.box, at(0), at(1)))
                    inLines[leaf.leafIndex()].push_back(e);
            }
        }
        for (const int threads : {1, 2, 3, 8}) {
            const test::ScopedThreadCount pool(threads);
            OctreeTris tris;
            OctreeLines lines;
            computeOctreeTris(mesh, octree, tris);
            meshOctreeLines(mesh, octree, lines);
            ASSERT_TRUE(contentsOf(tris) == inTris) << threads;
            ASSERT_TRUE(contentsOf(lines) == inLines) << threads;
        }
    }
}

TEST(OctreePartition, printsCoherence) {
    const test::ScopedThreadCount pool(1);
    // Eight voxels, of which the first two hold triangles. Not coherent: what comes first in a
    // voxel, what touches a side of it, what lies in both, though not what then follows, and what
    // is nowhere.
    const float ends[][2] = {{1, 1.5F}, {1, 1.5F}, {kNaN, kNaN}, {0, 0.5F}, {3, 3.5F},
                             {3, 3.5F}, {1, 1.5F}, {1, 3},       {3, 3.5F}};
    std::vector<MeshVertex> vertices{{0, 0, 0}, {4, 4, 4}};
    std::vector<MeshTriangle> triangles;
    for (const auto& [low, high] : ends) {
        const int first = static_cast<int>(vertices.size());
        vertices.insert(vertices.end(), {{low, 1, 1}, {high, 1, 1}, {low, 1.5F, 1}});
        triangles.push_back({{first, first + 1, first + 2}});
    }
    CompactMesh mesh = test::meshOf(vertices, triangles);
    mesh.resizeLineArray(2);
    std::copy_n(std::vector{2, 3, 3, 4}.begin(), 4, mesh.getLines());
    const Octree octree = test::octreeOf(mesh, 20), none = test::octreeOf(CompactMesh());
    OctreeTris tris;
    OctreeLines lines;
    const test::CapturedOutput output;
    computeOctreeTris(mesh, octree, tris);
    computeOctreeTris(mesh, none, tris); // prints nothing and leaves the result alone
    EXPECT_EQ(tris.setSize(0), 5);
    meshOctreeLines(mesh, octree, lines);
    computeOctreeTris(test::pointsAlongX(5), octree, tris); // no triangles
    EXPECT_EQ(contentsOf(tris), Contents(8));
    const std::regex timing(R"(in \d+\.\d{3} s|-?(nan|\d+) tri/sec|-(?=nan))");
    EXPECT_EQ(std::regex_replace(output.debug(), timing, ""),
              "OctreeTris:  Partitioned 9 triangles into 8 voxels econds.\n"
              "             (0.33 coherence, 1.00 voxels/tri, )\n"
              "OctreeLines:  Partitioned 2 lines into 8 voxels econds.\n"
              "             (0.50 coherence, 1.00 duplication, )\n"
              "OctreeTris:  Partitioned 0 triangles into 8 voxels econds.\n"
              "             (nan coherence, nan voxels/tri, )\n");
}

} // namespace
} // namespace qvGeom
