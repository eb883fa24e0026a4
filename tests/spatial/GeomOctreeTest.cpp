#include "qvGeom/spatial/GeomOctree.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <regex>
#include <string>
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

constexpr float kInf = std::numeric_limits<float>::infinity();
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

Octree octreeOf(const CompactMesh& mesh, int maxVertices) {
    BoundingBox box;
    meshBoundingBox(mesh, box);
    return {mesh.getNumVertices(), mesh.getVerticesRaw(), box, true, maxVertices};
}

Point pointOf(const MeshVertex& v) { return {v.x, v.y, v.z}; }

double coordinate(const Point& p, int axis) { return axis == 0 ? p.x : axis == 1 ? p.y : p.z; }

/// Whether a convex polygon, cut with the six half-spaces of the box grown by `margin`, leaves
/// anything; in doubles.
bool survivesClipping(std::vector<Point> polygon, const BoundingBox& box, double margin) {
    for (int side = 0; side < 6; ++side) {
        const int axis = side / 2;
        const auto outside = [&](const Point& p) {
            return side % 2 ? coordinate(p, axis) - box.max[axis] - margin
                            : box.min[axis] - margin - coordinate(p, axis);
        };
        std::vector<Point> rest;
        for (std::size_t i = 0; i < polygon.size(); ++i) {
            const Point& a = polygon[i];
            const Point& b = polygon[(i + 1) % polygon.size()];
            const double heightA = outside(a), heightB = outside(b);
            if (heightA <= 0)
                rest.push_back(a);
            if ((heightA < 0 && heightB > 0) || (heightA > 0 && heightB < 0))
                rest.push_back(a + (b - a) * (heightA / (heightA - heightB)));
        }
        polygon.swap(rest);
    }
    return !polygon.empty();
}

/// Compares the sets with clipping: what is clearly in a box must be there, what is clearly not
/// must not, and nothing twice.
template <class PolygonOf>
void checkSets(const ArrayOfSets& sets, const Octree& octree, int count,
               const PolygonOf& polygonOf) {
    constexpr double kMargin = 1e-5;
    ASSERT_EQ(sets.numSets(), octree.getNumVoxels());
    for (OctreeLeafIterator it(octree); it.valid(); it.next()) {
        const int voxel = it.get().leafIndex();
        ASSERT_TRUE(std::is_sorted(sets.begin(voxel), sets.end(voxel), std::less_equal<>()));
        for (int e = 0; e < count; ++e) {
            const bool listed = std::binary_search(sets.begin(voxel), sets.end(voxel), e);
            const std::vector<Point> polygon = polygonOf(e);
            if (!listed) {
                ASSERT_FALSE(survivesClipping(polygon, it.get().box, -kMargin)) << e;
            } else {
                ASSERT_TRUE(survivesClipping(polygon, it.get().box, kMargin)) << e;
            }
        }
    }
}

TEST(OctreePartition, agreesWithClipping) {
    CompactMesh meshes[] = {test::randomMesh(1, 60, 300), test::wavySurface(800),
                            test::sphere(12, 16), test::grid(12, 9)};
    for (CompactMesh& mesh : meshes) {
        mesh.resizeLineArray(mesh.getNumTriangles());
        for (int i = 0; i < 2 * mesh.getNumLines(); ++i)
            mesh.getLines()[i] = mesh.getTriangles()[i / 2][i % 2 + i % 3 / 2];
        for (const int maxVertices : {2, 1000}) {
            const Octree octree = octreeOf(mesh, maxVertices);
            OctreeTris tris;
            OctreeLines lines;
            computeOctreeTris(mesh, octree, tris);
            meshOctreeLines(mesh, octree, lines);
            const MeshVertex* const v = mesh.getVertices();
            checkSets(tris, octree, mesh.getNumTriangles(), [&](int e) {
                const MeshTriangle& t = mesh.getTriangles()[e];
                return std::vector{pointOf(v[t[0]]), pointOf(v[t[1]]), pointOf(v[t[2]])};
            });
            checkSets(lines, octree, mesh.getNumLines(), [&](int e) {
                const int* const ends = mesh.getLines() + 2 * e;
                return std::vector{pointOf(v[ends[0]]), pointOf(v[ends[1]])};
            });
        }
    }
}

// Larger than one block and than one branch; each pair against the exact test on every voxel.
TEST(OctreePartition, isTheSameOnAnyNumberOfThreads) {
    CompactMesh mesh = test::shuffled(test::wavySurface(30000), 3);
    mesh.getVertices()[7] = {kNaN, kNaN, kNaN};
    mesh.getVertices()[8].x = kNaN;
    mesh.getVertices()[9] = {0, kInf, 0};
    mesh.resizeTriangleArray(mesh.getNumTriangles() + 1);
    mesh.getTriangles()[mesh.getNumTriangles() - 1] = {7, 7, 7}; // in no voxel
    const Octree octree = octreeOf(test::wavySurface(20000), 8);
    const MeshVertex* const vertices = mesh.getVertices();
    const auto corner = [&](int t, int k) {
        return narrow(pointOf(vertices[mesh.getTriangles()[t][k]]));
    };
    Array<BoundingBox> boxes;
    meshTriBoundingBoxes(mesh, boxes);
    std::vector<std::vector<int>> expected(octree.getNumVoxels());
    OctreeBBoxIntersectIt it(octree);
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        for (it.reset(boxes[t]); it.valid(); it.next()) {
            if (intersects(it.get().box, corner(t, 0), corner(t, 1), corner(t, 2)))
                expected[it.get().leafIndex()].push_back(t);
        }
    }
    for (const int threads : {1, 2, 3, 8}) {
        const test::ScopedThreadCount pool(threads);
        OctreeTris tris;
        computeOctreeTris(mesh, octree, tris);
        for (int voxel = 0; voxel < octree.getNumVoxels(); ++voxel)
            ASSERT_EQ(std::vector<int>(tris.begin(voxel), tris.end(voxel)), expected[voxel]);
    }
}

std::string withoutTimes(const std::string& text) {
    return std::regex_replace(text, std::regex(R"(in \d+\.\d{3} sec|\d+ tri/sec)"), "T");
}

TEST(OctreePartition, printsCoherence) {
    const test::ScopedThreadCount pool(1);
    // One voxel, 0 to 4. Nothing is coherent with the first; the third touches a face of the voxel.
    CompactMesh mesh = test::meshOf({{0, 0, 0}, {4, 4, 4}, {1, 1, 1}, {2, 1, 1}, {1, 2, 1}},
                                    {{2, 3, 4}, {4, 3, 2}, {0, 3, 4}, {3, 2, 4}});
    mesh.resizeLineArray(2);
    std::copy_n(std::vector{2, 3, 3, 4}.begin(), 4, mesh.getLines());
    OctreeTris tris;
    OctreeLines lines;
    const Octree octree = octreeOf(mesh, 9);
    const test::CapturedOutput output;
    computeOctreeTris(mesh, octree, tris);
    meshOctreeLines(mesh, octree, lines);
    EXPECT_EQ(withoutTimes(output.debug()),
              "OctreeTris:  Partitioned 4 triangles into 1 voxels Tonds.\n"
              "             (0.50 coherence, 1.00 voxels/tri, T)\n"
              "OctreeLines:  Partitioned 2 lines into 1 voxels Tonds.\n"
              "             (0.50 coherence, 1.00 duplication, T)\n");
}

TEST(OctreePartition, withoutElementsOrVoxels) {
    const CompactMesh mesh = test::grid(4, 4);
    const CompactMesh points = test::pointsAlongX(50);
    OctreeTris tris;
    computeOctreeTris(mesh, octreeOf(mesh, 4), tris);
    const int numSets = tris.numSets();
    const Octree empty = octreeOf(CompactMesh(), 4);
    const Octree octree = octreeOf(points, 4);
    const test::CapturedOutput output;
    computeOctreeTris(mesh, empty, tris);
    EXPECT_EQ(tris.numSets(), numSets);
    EXPECT_EQ(output.debug(), "");

    computeOctreeTris(points, octree, tris);
    EXPECT_EQ(tris.numSets(), octree.getNumVoxels());
    EXPECT_EQ(tris.numMembers(), 0);
    EXPECT_NE(output.debug().find("nan voxels/tri"), std::string::npos) << output.debug();
}

TEST(BoxPredicates, trianglesAndSegments) {
    const BoundingBox box({0, 0, 0}, {1, 1, 1});

    struct Case {
        PointFlt a, b, c;
        bool meets;
    };

    const Case triangles[] = {
        {{1, 1, 1}, {2, 1, 1}, {1, 2, 1}, true},               // one corner at a corner
        {{1, 0, 0}, {1, 1, 0}, {1, 0, 1}, true},               // in a face
        {{1.01F, 0, 0}, {1.01F, 1, 0}, {1.01F, 0, 1}, false},  // beyond it
        {{-9, -9, 0.5F}, {9, -9, 0.5F}, {0, 20, 0.5F}, true},  // no corner and no edge inside
        {{3, 0, 0}, {0, 3, 0}, {0, 0, 3}, true},               // its plane through (1, 1, 1)
        {{3.1F, 0, 0}, {0, 3.1F, 0}, {0, 0, 3.1F}, false},     // only the normal separates
        {{1.5F, 0.4F, 2}, {0.4F, 1.9F, 2}, {2, 2, -9}, false}, // only products of edges do
        {{0.5F, 0.5F, 0.5F}, {0.5F, 0.5F, 0.5F}, {0.5F, 0.5F, 0.5F}, true},
        {{kNaN, kNaN, kNaN}, {0, 0, 0}, {1, 1, 1}, true},
    };
    for (const Case& c : triangles)
        EXPECT_EQ(intersects(box, c.a, c.b, c.c), c.meets) << c.a.x << ' ' << c.b.x << ' ' << c.c.x;
    const Case segments[] = {
        {{-1, 1, 0}, {2, 1, 0}, {}, true}, // along an edge
        {{-1, 1.01F, 0}, {2, 1.01F, 0}, {}, false},
        {{2, 0, 0.5F}, {0, 2, 0.5F}, {}, true}, // through an edge
        {{2.1F, 0, 0.5F}, {0, 2.1F, 0.5F}, {}, false},
        {{2, 2, 2}, {1, 1, 1}, {}, true},
        {{2, 2, 2}, {1.01F, 1.01F, 1.01F}, {}, false},
    };
    for (const Case& c : segments)
        EXPECT_EQ(intersects(box, c.a, c.b), c.meets) << c.a.x << ' ' << c.b.x;
    float lo = 0, hi = 0;
    project({{-1, 2, 3}, {1, 4, 7}}, {2, -1, 0.5F}, lo, hi);
    EXPECT_EQ(lo, -2 - 4 + 1.5F);
    EXPECT_EQ(hi, 2 - 2 + 3.5F);
}

TEST(BoxPredicates, spheresAndPoints) {
    const BoundingBox box({0, 0, 0}, {1, 1, 1});
    EXPECT_TRUE(intersects(box, Sphere{{4, 5, 1}, 5}));
    EXPECT_FALSE(intersects(box, Sphere{{4, 5, 1}, std::nextafter(5.0, 0.0)}));
    EXPECT_TRUE(intersects(box, Sphere{{1 + 1e-12, 0, 0}, 0})); // its centre as floats is inside
    EXPECT_TRUE(contains(box, PointFlt{1, 0, 1}));
    EXPECT_FALSE(contains(box, PointFlt{1, -1e-9F, 1}));
    EXPECT_FALSE(contains(box, PointFlt{kNaN, 0, 0}));
}

/// The literal reading: counts of corners beyond faces, and heights of all corners of the box.
bool frustumMeets(const BoundingBox& box, const Frustum& frustum) {
    for (int side = 0; side < 6; ++side) {
        const auto beyond = [&](const Point& p) {
            const double c = coordinate(p, side / 2);
            return side % 2 ? c > box.max[side / 2] : c < box.min[side / 2];
        };
        if (std::count_if(frustum.corner, frustum.corner + 8, beyond) == 8)
            return false;
    }
    for (const Frustum::Face& face : frustum.face) {
        int above = 0;
        for (int k = 0; k < 8; ++k) {
            const Point p{(k & 1 ? box.max : box.min)[0], (k & 2 ? box.max : box.min)[1],
                          (k & 4 ? box.max : box.min)[2]};
            above += static_cast<int>(dot(p - face.point, face.outward) > 0);
        }
        if (above == 8)
            return false;
    }
    return true;
}

TEST(BoxPredicates, frusta) {
    qvLinear::ProjMatrix m;
    m.m[0][0] = 1.5;
    m.m[1][1] = 2;
    m.m[2][2] = -11.0 / 9;
    m.m[2][3] = -1;
    m.m[3][2] = -20.0 / 9; // from 1 to 10 in front of the eye
    const Frustum frustum(m);
    std::mt19937 random(5);
    std::uniform_real_distribution<float> unit(-12, 12);
    int numMet = 0;
    for (int i = 0; i < 20000; ++i) {
        const PointFlt p{unit(random), unit(random), unit(random)};
        BoundingBox box(p, p);
        box.extend({p.x + 0.3F * unit(random), p.y + 2, p.z + 0.3F * unit(random)});
        ASSERT_EQ(intersects(box, frustum), frustumMeets(box, frustum));
        numMet += static_cast<int>(intersects(box, frustum));
        if (contains(frustum, widen(p))) {
            ASSERT_TRUE(intersects(box, frustum));
        }
        const bool inside =
            p.z <= -1 && p.z >= -10 && std::abs(p.x) * 1.5F <= -p.z && std::abs(p.y) * 2 <= -p.z;
        ASSERT_EQ(contains(frustum, widen(p)), inside) << p.x << ' ' << p.y << ' ' << p.z;
    }
    EXPECT_GT(numMet, 500);
    EXPECT_TRUE(contains(frustum, {0, 0, -1})); // on the near face
}

TEST(BoxPredicates, rays) {
    const BoundingBox box({0, 0, 0}, {1, 1, 1});

    struct Case {
        PointFlt origin;
        Vector direction;
        bool meets;
    };

    const Case cases[] = {
        {{-1, 0.5F, 0.5F}, {1, 0, 0}, true},
        {{-1, 0.5F, 0.5F}, {1e-3, -0.0, -0.0}, true},
        {{-1, 0.5F, 0.5F}, {-1, 0, 0}, false},
        {{0.5F, 0.5F, 0.5F}, {0, -1, 0}, true},
        {{1, 0.5F, 0.5F}, {1, 0, 0}, false}, // ends where the ray begins
        {{-1, 1.5F, 0.5F}, {1, 0, 0}, false},
        {{-1, -1, -1}, {1, 1, 1}, true},
        {{-1, -1, 1}, {1, 1, 1}, false},
        {{0.5F, 0.5F, 0.5F}, {0, 0, 0}, true}, // no way to leave
        {{0.5F, 1.5F, 0.5F}, {0, 0, 0}, false},
    };
    for (const Case& c : cases)
        EXPECT_EQ(intersects(box, Ray(c.origin, c.direction)), c.meets)
            << c.origin.x << ' ' << c.origin.y << "  " << c.direction.x << ' ' << c.direction.y;

    // In the plane of a face: the zero component gives 0 times infinity on its axis.
    for (int axis = 0; axis < 3; ++axis) {
        for (const float side : {0.0F, 1.0F}) {
            for (const double zero : {0.0, -0.0}) {
                float origin[3] = {-1, -1, -1};
                double direction[3] = {1, 1, 1};
                origin[axis] = side;
                direction[axis] = zero;
                const PointFlt o{origin[0], origin[1], origin[2]};
                const Vector d{direction[0], direction[1], direction[2]};
                EXPECT_TRUE(intersects(box, Ray(o, d))) << axis << ' ' << side << ' ' << zero;
            }
        }
    }
}

} // namespace
} // namespace qvGeom
