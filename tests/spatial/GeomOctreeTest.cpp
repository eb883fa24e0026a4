#include "qvGeom/spatial/GeomOctree.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <regex>
#include <vector>

#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/Frustum.h"
#include "qvGeom/foundation/geometry/Octree.h"
#include "qvGeom/foundation/geometry/OctreeLines.h"
#include "qvGeom/foundation/geometry/OctreeTris.h"
#include "qvGeom/foundation/geometry/Ray.h"
#include "qvGeom/foundation/geometry/Sphere.h"
#include "qvGeom/foundation/linear/Linear.h"
#include "qvGeom/spatial/GeomOctreeIterators.h"
#include "qvGeom/topology/GeomBoundingBox.h"

#include "support/CapturedOutput.h"
#include "support/MeshBuilders.h"
#include "support/ScopedThreadCount.h"

namespace qvGeom {
namespace {

using qvLinear::Point;
using qvLinear::PointFlt;
using qvLinear::Vector;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

Octree octreeOf(const CompactMesh& mesh, int maxVertices) {
    BoundingBox box;
    meshBoundingBox(mesh, box);
    return {mesh.getNumVertices(), mesh.getVerticesRaw(), box, true, maxVertices};
}

Point pointOf(const MeshVertex& v) { return {v.x, v.y, v.z}; }

double coordinate(const Point& p, int axis) { return axis == 0 ? p.x : axis == 1 ? p.y : p.z; }

/// How far `p` lies beyond one of the six sides of the box.
double beyond(const BoundingBox& box, int side, const Point& p) {
    const double c = coordinate(p, side / 2);
    return side % 2 ? c - box.max[side / 2] : box.min[side / 2] - c;
}

/// Whether a convex polygon, cut with the six half-spaces of the box grown by `margin`, leaves
/// anything; in doubles.
bool survivesClipping(std::vector<Point> polygon, const BoundingBox& box, double margin) {
    for (int side = 0; side < 6; ++side) {
        std::vector<Point> rest;
        for (std::size_t i = 0; i < polygon.size(); ++i) {
            const Point& a = polygon[i];
            const Point& b = polygon[(i + 1) % polygon.size()];
            const double heightA = beyond(box, side, a) - margin;
            const double heightB = beyond(box, side, b) - margin;
            if (heightA <= 0)
                rest.push_back(a);
            if (heightA * heightB < 0)
                rest.push_back(a + (b - a) * (heightA / (heightA - heightB)));
        }
        polygon.swap(rest);
    }
    return !polygon.empty();
}

/// Random points, many of them on the sides of the box from 0 to 1.
struct RandomPoints {
    std::mt19937 random{3};

    PointFlt operator()() {
        const auto c = [this] { return static_cast<float>(random() % 4001) / 1000.0F - 1.5F; };
        PointFlt p{c(), c(), c()};
        if (random() % 4 == 0)
            p.x = static_cast<float>(random() % 2);
        return p;
    }
};

TEST(BoxPredicates, trianglesAndSegmentsAgreeWithClipping) {
    const BoundingBox box({0, 0, 0}, {1, 1, 1});
    RandomPoints point;
    for (int i = 0; i < 30000; ++i) {
        const PointFlt a = point(), b = point(), c = i % 20 == 0 ? b : point();
        for (const bool isTriangle : {true, false}) {
            const bool meets = isTriangle ? intersects(box, a, b, c) : intersects(box, a, b);
            std::vector<Point> polygon{widen(a), widen(b)};
            if (isTriangle)
                polygon.push_back(widen(c));
            const double margin = meets ? 1e-5 : -1e-5; // for rounding
            ASSERT_EQ(meets, survivesClipping(polygon, box, margin)) << i;
        }
    }
    // Touching meets, at a corner and at edges; NaN separates nothing.
    EXPECT_TRUE(intersects(box, {3, 0, 0}, {0, 3, 0}, {0, 0, 3}));
    EXPECT_TRUE(intersects(box, {2, 0, 0.5F}, {0, 2, 0.5F}));
    EXPECT_TRUE(intersects(box, {kNaN, kNaN, kNaN}, {0, 0, 0}, {1, 1, 1}));
}

TEST(BoxPredicates, spheresPointsAndRanges) {
    const BoundingBox box({0, 0, 0}, {1, 1, 1});
    EXPECT_TRUE(intersects(box, Sphere{{4, 5, 1}, 5}));
    EXPECT_FALSE(intersects(box, Sphere{{4, 5, 1}, std::nextafter(5.0, 0.0)}));
    EXPECT_TRUE(intersects(box, Sphere{{1 + 1e-12, 0, 0}, 0})); // its centre as floats is inside
    EXPECT_TRUE(contains(box, PointFlt{1, 0, 1}));
    EXPECT_FALSE(contains(box, PointFlt{1, -1e-9F, 1}));
    float lo = 0, hi = 0;
    project({{-1, 2, 3}, {1, 4, 7}}, {2, -1, 0.5F}, lo, hi);
    EXPECT_EQ(lo, -2 - 4 + 1.5F);
    EXPECT_EQ(hi, 2 - 2 + 3.5F);
}

TEST(BoxPredicates, frusta) {
    qvLinear::ProjMatrix m; // shows -1 <= z <= 1 at w = 2 - z, and |x|, |y| <= w
    m.identity();
    m.m[2][3] = -1;
    m.m[3][3] = 2;
    m.m[2][2] = 2;
    m.m[3][2] = -1;
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

TEST(BoxPredicates, rays) {
    const BoundingBox box({0, 0, 0}, {1, 1, 1});

    const struct {
        PointFlt origin;
        Vector direction;
        bool meets;
    } cases[] = {
        {{-1, 0.5F, 0.5F}, {1e-3, -0.0, -0.0}, true},
        {{-1, 0.5F, 0.5F}, {-1, 0, 0}, false},
        {{0.5F, 0.5F, 0.5F}, {0, -1, 0}, true},
        {{1, 0.5F, 0.5F}, {1, 0, 0}, false}, // ends where the ray begins
        {{-1, 1.5F, 0.5F}, {1, 0, 0}, false},
        {{-1, -1, -1}, {1, 1, 1}, true},
        {{-1, -1, 1}, {1, 1, 1}, false},
    };

    for (const auto& c : cases)
        EXPECT_EQ(intersects(box, Ray(c.origin, c.direction)), c.meets) << &c - cases;
    // In the plane of a face, where a zero component gives 0 times infinity.
    for (int i = 0; i < 12; ++i) {
        float o[3] = {-1, -1, -1};
        double d[3] = {1, 1, 1};
        o[i / 4] = static_cast<float>(i % 2);
        d[i / 4] = i % 4 < 2 ? 0.0 : -0.0;
        const PointFlt origin{o[0], o[1], o[2]};
        const Vector direction{d[0], d[1], d[2]};
        EXPECT_TRUE(intersects(box, Ray(origin, direction))) << i;
    }
}

std::vector<std::vector<int>> contentsOf(const ArrayOfSets& sets) {
    std::vector<std::vector<int>> contents;
    contents.reserve(sets.numSets());
    for (int i = 0; i < sets.numSets(); ++i)
        contents.emplace_back(sets.begin(i), sets.end(i));
    return contents;
}

// More than one block and one branch, more in the tree than in its box, and what is not finite.
TEST(OctreePartition, isWhatTestsOneByOneGive) {
    CompactMesh mesh = test::shuffled(test::wavySurface(30000), 3);
    mesh.getVertices()[7] = {kNaN, kNaN, kNaN};
    mesh.getVertices()[8].x = kNaN;
    mesh.getVertices()[9].y = std::numeric_limits<float>::infinity();
    mesh.getTriangles()[0] = {7, 7, 7}; // in no voxel
    mesh.resizeLineArray(mesh.getNumTriangles());
    Array<BoundingBox> boxes;
    meshTriBoundingBoxes(mesh, boxes);
    for (const Octree& octree : {octreeOf(test::wavySurface(20000), 8), octreeOf(mesh, 99999)}) {
        std::vector<std::vector<int>> inTris(octree.getNumVoxels()), inLines = inTris;
        OctreeBBoxIntersectIt it(octree);
        for (int e = 0; e < mesh.getNumTriangles(); ++e) {
            PointFlt p[3];
            for (int k = 0; k < 3; ++k) {
                const int v = mesh.getTriangles()[e][k];
                p[k] = narrow(pointOf(mesh.getVertices()[v]));
                mesh.getLines()[2 * e + k % 2] = v;
            }
            for (it.reset(boxes[e]); it.valid(); it.next()) {
                const OctreeIterator leaf = it.get();
                if (intersects(leaf.box, p[0], p[1], p[2]))
                    inTris[leaf.leafIndex()].push_back(e);
                BoundingBox ofLine;
                ofLine.extend(p[2]);
                ofLine.extend(p[1]);
                if (leaf.box.intersects(ofLine) && intersects(leaf.box, p[2], p[1]))
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
    // voxel, what touches a side of it, and what lies in both, though not what then follows.
    CompactMesh mesh = test::meshOf(
        {{0, 0, 0},
         {4, 4, 4},
         {1, 1, 1},
         {1.5F, 1, 1},
         {1, 1.5F, 1},
         {3, 1, 1},
         {3.5F, 1, 1},
         {3, 1.5F, 1},
         {0, 1, 1}},
        {{2, 3, 4}, {4, 3, 2}, {8, 3, 4}, {5, 6, 7}, {7, 6, 5}, {2, 4, 3}, {2, 5, 3}, {5, 7, 6}});
    mesh.resizeLineArray(2);
    std::copy_n(std::vector{2, 3, 3, 4}.begin(), 4, mesh.getLines());
    const CompactMesh points = test::pointsAlongX(50);
    const Octree octree = octreeOf(mesh, 5), none = octreeOf(CompactMesh(), 4);
    OctreeTris tris;
    OctreeLines lines;
    const test::CapturedOutput output;
    computeOctreeTris(mesh, octree, tris);
    computeOctreeTris(mesh, none, tris); // prints nothing and leaves the result alone
    EXPECT_EQ(tris.setSize(0), 5);
    meshOctreeLines(mesh, octree, lines);
    computeOctreeTris(points, octree, tris); // no triangles
    EXPECT_EQ(contentsOf(tris), std::vector<std::vector<int>>(8));
    const std::regex timing(R"(in \d+\.\d{3} s|-?(nan|\d+) tri/sec|-(?=nan))");
    EXPECT_EQ(std::regex_replace(output.debug(), timing, ""),
              "OctreeTris:  Partitioned 8 triangles into 8 voxels econds.\n"
              "             (0.38 coherence, 1.12 voxels/tri, )\n"
              "OctreeLines:  Partitioned 2 lines into 8 voxels econds.\n"
              "             (0.50 coherence, 1.00 duplication, )\n"
              "OctreeTris:  Partitioned 0 triangles into 8 voxels econds.\n"
              "             (nan coherence, nan voxels/tri, )\n");
}

} // namespace
} // namespace qvGeom
