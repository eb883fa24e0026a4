#include "qvGeom/spatial/GeomRayTrace.h"

#include <array>
#include <cfloat>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <set>
#include <utility>
#include <vector>

#include "qvGeom/foundation/geometry/Ray.h"
#include "qvGeom/foundation/linear/Linear.h"
#include "qvGeom/spatial/GeomOctreeIterators.h"

#include "support/MeshBuilders.h"
#include "support/MeshFiles.h"
#include "support/Random.h"
#include "support/Trees.h"

namespace qvGeom {
namespace {

using qvLinear::Point;
using qvLinear::PointFlt;
using qvLinear::Vector;
using qvLinear::VectorFlt;
using test::IndexedMesh;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr VectorFlt kUp{0, 0, 1};

template <class Walk, class Query>
std::set<int> leavesOf(Walk& walk, const Query& query) {
    std::set<int> leaves;
    for (walk.reset(query); walk.valid(); walk.next())
        EXPECT_TRUE(leaves.insert(walk.get().leafIndex()).second);
    return leaves;
}

/// The nearest hit beyond `from` of all triangles in some leaves.
QuadRay::Hit nearestIn(const IndexedMesh& subject, const std::set<int>& leaves, const PointFlt& o,
                       const Vector& d, double from) {
    QuadRay::Hit best{false, FLT_MAX, -1};
    const MeshVertex* const v = subject.mesh.getVertices();
    for (const int leaf : leaves) {
        for (const int* t = subject.tris.begin(leaf); t < subject.tris.end(leaf); ++t) {
            const MeshTriangle& tri = subject.mesh.getTriangles()[*t];
            double at = 0, u = 0, w = 0;
            if (intersectRayTriangle(o, d, v[tri[0]], v[tri[1]], v[tri[2]], at, u, w) &&
                at > from && std::pair(at, *t) < std::pair(best.t, best.hit ? best.triangle : *t))
                best = {true, at, *t};
        }
    }
    return best;
}

/// Ray `i` of a mix with origins in and around the box, on vertices and in triangles; directions at
/// random, to vertices, edges and middles, and with components that are 0.
std::pair<PointFlt, VectorFlt> someRay(const IndexedMesh& subject, int i, test::Random& random) {
    const BoundingBox& box = subject.octree.getRoot().box;
    const auto place = [&] {
        const Vector d = 0.5 * widen(box.maxPt() - box.minPt()), share = random.vector(1.4);
        return narrow(box.center() + Vector{d.x * share.x, d.y * share.y, d.z * share.z});
    };
    const auto onMesh = [&](int corners) {
        const auto [a, b, c] = subject.corners(random.below(subject.mesh.getNumTriangles()));
        return narrow(corners == 1   ? a
                      : corners == 2 ? combine(0.5, a, 0.5, b)
                                     : combine(1 / 3.0, a, 1 / 3.0, b, 1 / 3.0, c));
    };
    const PointFlt from = i % 3 == 0 ? onMesh(1 + i % 2 * 2) : place();
    VectorFlt d = (i % 4 == 0 ? place() : onMesh(i % 4)) - from;
    if (i % 5 == 0)
        (i % 2 ? d.x : d.y) = 0.0F;
    if (i % 10 == 0)
        d.z = i % 20 ? -0.0F : 0.0F;
    if (i % 500 == 499) // many lengths of the mesh away
        d = d * 1000.0F;
    return {from, d};
}

/// Tracers find the nearest in the leaves that a walk meets, which is the nearest of all.
void checkRays(const IndexedMesh& subject, int count) {
    RayTracer any(subject.octree, subject.tris, &subject.mesh);
    RayTracer nearest(subject.octree, subject.tris, &subject.mesh);
    QuadRayTracer four(subject.octree, subject.tris, &subject.mesh);
    OctreeRayIntersectIt walk(subject.octree);
    OctreeQuadRayIntersectIt walkOfFour(subject.octree);
    nearest.setFindNearestHit(true);
    OctreeLeafIterator allLeaves(subject.octree);
    const std::set<int> all = leavesOf(allLeaves, subject.octree);
    test::Random random(7);
    for (int i = 0; i < count; ++i) {
        const auto [o, e] = someRay(subject, i, random);
        const Vector d = widen(e);
        SCOPED_TRACE(testing::Message() << "from " << o.x << ' ' << o.y << ' ' << o.z << " along "
                                        << d.x << ' ' << d.y << ' ' << d.z);
        const QuadRay::Hit expected =
            nearestIn(subject, leavesOf(walk, Ray(o, d)), o, d, double{1e-6F});
        ASSERT_EQ(nearest.intersect(o, d), expected.hit);
        ASSERT_EQ(nearest.intersectionDist(), expected.t);
        ASSERT_EQ(any.intersect(o, d), expected.hit);
        ASSERT_EQ(any.intersectionDist(), 3.4028234663852886e38);
        if (i % 23 == 0) {
            ASSERT_EQ(nearestIn(subject, all, o, d, double{1e-6F}).t, expected.t);
            const QuadRay spread(o, e, {e.y, e.z, -e.x}, {-e.x, e.y, 0}, {0, 0, e.z});
            std::set<int> ofEach;
            for (int r = 0; r < 4; ++r)
                ofEach.merge(leavesOf(walk, Ray(o, spread.getDirection(r))));
            ASSERT_EQ(leavesOf(walkOfFour, spread), ofEach);
        }
        if (i % 4 != 0)
            continue;
        // Every other packet runs together, the others apart.
        const VectorFlt other =
            i % 8 ? VectorFlt{-e.y, e.z, e.x} : VectorFlt{e.x, e.y, 1.01F * e.z};
        QuadRay quad(o, e, {1.02F * e.x, e.y, e.z}, {e.x, 0.97F * e.y, e.z}, other);
        four.intersect(quad);
        const std::set<int> leaves = leavesOf(walkOfFour, quad);
        for (int r = 0; r < 4; ++r) {
            const auto hit = nearestIn(subject, leaves, o, quad.getDirection(r), 1e-12);
            ASSERT_EQ(quad.getHit(r).t, hit.t);
            ASSERT_EQ(quad.getHit(r).triangle, hit.triangle);
        }
    }
}

CompactMesh scaled(CompactMesh mesh, float scale) {
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        MeshVertex& p = mesh.getVertices()[v];
        p = {scale * p.x, scale * (p.y + 0.1F * p.x), scale * (p.z + 0.2F * p.x)};
    }
    return mesh;
}

TEST(RayTracer, findsWhatAllTrianglesGive) {
#ifdef NDEBUG
    constexpr int kRays = 20000;
#else
    constexpr int kRays = 1000;
#endif
    checkRays(IndexedMesh(test::sphere(20, 30)), kRays);
    checkRays(IndexedMesh(test::grid(20, 20)), kRays); // boxes without height, vertices on sides
    checkRays(IndexedMesh(test::randomMesh(3, 300, 400), 4), kRays);
    checkRays(IndexedMesh(scaled(test::sphere(20, 30), 1e6F)), kRays); // rounding decides at edges
    checkRays(IndexedMesh(scaled(test::randomMesh(5, 60, 100), 1e17F), 4), kRays);
    for (const char* name : {"mannequin.mesh", "terrain.mesh", "patella.mesh"}) {
        SCOPED_TRACE(name);
        const CompactMesh mesh = test::readMeshFile(name);
        ASSERT_GT(mesh.getNumTriangles(), 0);
        checkRays(IndexedMesh(mesh), 240);
    }
}

/// Two large triangles at these heights, facing up.
CompactMesh floors(float low, float high) {
    return test::meshOf(
        {{-9, -9, low}, {9, -9, low}, {0, 9, low}, {-9, -9, high}, {9, -9, high}, {0, 9, high}},
        {{{0, 1, 2}}, {{3, 4, 5}}});
}

TEST(RayTracer, leavesTheTriangleItStartsOn) {
    const IndexedMesh subject(floors(0, 2));
    RayTracer tracer(subject.octree, subject.tris, &subject.mesh);
    tracer.setFindNearestHit(true);
    EXPECT_TRUE(tracer.intersect({0.5F, 0, 0}, {0, 0, 0.5}));
    EXPECT_EQ(tracer.intersectionDist(), 4.0); // in units of the direction
    // A packet takes hits from much nearer than a single ray.
    const PointFlt justBelow{0.5F, 0.1F, -5e-7F};
    EXPECT_TRUE(tracer.intersect(justBelow, {0, 0, 1}));
    EXPECT_GT(tracer.intersectionDist(), 1.0);
    QuadRay quad(justBelow, kUp, kUp, kUp, {0, 0, -1});
    QuadRayTracer(subject.octree, subject.tris, &subject.mesh).intersect(quad);
    EXPECT_NEAR(quad.getHit(0).t, 5e-7, 1e-12);
    EXPECT_FALSE(quad.getHit(3).hit);
}

TEST(RayTracer, endsWithoutHitOnNoNumbersAndEmptyMeshes) {
    for (const CompactMesh& mesh : {test::sphere(10, 10), CompactMesh()}) {
        const IndexedMesh subject(mesh);
        RayTracer tracer(subject.octree, subject.tris, &subject.mesh);
        QuadRayTracer four(subject.octree, subject.tris, &subject.mesh);
        for (const Vector& d : {Vector{kNaN, kNaN, kNaN}, {kNaN, 1, 0}, {0, 0, 0}}) {
            EXPECT_FALSE(tracer.intersect({0, 0, 0}, d));
            const VectorFlt f = narrow(d);
            QuadRay quad({0, 0, 0}, f, f, f, {1, 0.1F, 0.1F});
            four.intersect(quad);
            EXPECT_FALSE(quad.getHit(0).hit);
            EXPECT_EQ(quad.getHit(3).hit, mesh.getNumTriangles() > 0); // the others do not matter
        }
        EXPECT_FALSE(tracer.intersect({qvLinear::narrow(kNaN), 0, 0}, {1, 0, 0}));
    }
}

TEST(QuadRay, passesThroughBackFacesUpToTheCullDistance) {
    const IndexedMesh subject(floors(1, 3));
    QuadRayTracer tracer(subject.octree, subject.tris, &subject.mesh);
    const auto distance = [&](bool cull, float z, VectorFlt along) {
        QuadRay quad({0.5F, 0, z}, kUp, along, kUp, kUp, cull);
        tracer.intersect(quad);
        return quad.getHit(1).t;
    };
    EXPECT_EQ(distance(false, 0, kUp), 1.0);
    EXPECT_EQ(distance(true, 0, kUp), FLT_MAX);
    EXPECT_EQ(distance(true, 4, {0, 0, -1}), 1.0); // from above
    QuadRay::setBackfaceCullDistance(2.0F);
    EXPECT_EQ(distance(true, 0, kUp), 3.0);
    setBackfaceCullDistance(std::numeric_limits<double>::infinity());
    EXPECT_EQ(distance(true, 0, kUp), FLT_MAX);
}

// Triangles are laid around the point where they are to be met.
TEST(IntersectRayTriangle, givesDistanceAndWeights) {
    test::Random random;
    double t = 0, u = 0, v = 0;
    for (int round = 0; round < 20000; ++round) {
        const PointFlt o = narrow(random.point());
        const Vector d = random.vector(), ab = random.vector(), ac = random.vector();
        const double expected[] = {random.number(2), random.number(1.5), random.number(1.5)};
        const Point a = widen(o) + (expected[0] * d - expected[1] * ab - expected[2] * ac);
        const auto corner = [](const Point& p) {
            return MeshVertex{qvLinear::narrow(p.x), qvLinear::narrow(p.y), qvLinear::narrow(p.z)};
        };
        const double inside = std::min({expected[1], expected[2], 1 - expected[1] - expected[2]});
        if (std::abs(dot(d, cross(ab, ac))) < 0.05 || std::abs(inside) < 1e-4)
            continue;
        ASSERT_EQ(intersectRayTriangle(o, d, corner(a), corner(a + ab), corner(a + ac), t, u, v),
                  inside > 0);
        if (inside > 0) {
            ASSERT_NEAR(std::hypot(t - expected[0], u - expected[1], v - expected[2]), 0, 1e-4);
        }
    }
    const MeshVertex a{0, 0, 0}, b{1, 0, 0}, c{0, 1, 0};
    EXPECT_TRUE(intersectRayTriangle({0.5F, 0.5F, 1}, {0, 0, 1}, a, b, c, t, u, v)); // an edge
    EXPECT_EQ((std::array{t, u, v}), (std::array{-1.0, 0.5, 0.5}));
    EXPECT_FALSE(intersectRayTriangleCull({0.25F, 0.5F, -1}, {0, 0, 1}, a, b, c, t, u, v));
    EXPECT_FALSE(intersectRayTriangle({0.25F, 0.5F, 1}, {0, 0, -9e-7}, a, b, c, t, u, v));
    EXPECT_TRUE(intersectRayTriangle({0.25F, 0.5F, 1}, {0, 0, -2e-6}, a, b, c, t, u, v));
}

} // namespace
} // namespace qvGeom
