#include "qvGeom/spatial/GeomRayTrace.h"

#include <algorithm>
#include <array>
#include <cfloat>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <optional>
#include <random>
#include <utility>
#include <vector>

#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/Octree.h"
#include "qvGeom/foundation/geometry/OctreeTris.h"
#include "qvGeom/foundation/geometry/Ray.h"
#include "qvGeom/spatial/GeomOctree.h"
#include "qvGeom/spatial/GeomOctreeIterators.h"
#include "qvGeom/topology/GeomBoundingBox.h"

#include "support/MeshBuilders.h"
#include "support/MeshFiles.h"

namespace {

using qvGeom::CompactMesh;
using qvGeom::MeshVertex;
using qvGeom::Octree;
using qvGeom::QuadRay;
using qvLinear::PointFlt;
using qvLinear::Vector;
using qvLinear::VectorFlt;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

struct Subject {
    CompactMesh mesh;
    qvGeom::BoundingBox box;
    std::optional<Octree> octree;
    qvGeom::OctreeTris tris;

    explicit Subject(const CompactMesh& from, int verticesPerLeaf = 16) : mesh(from) {
        meshBoundingBox(mesh, box);
        octree.emplace(mesh.getNumVertices(), mesh.getVerticesRaw(), box, true, verticesPerLeaf);
        computeOctreeTris(mesh, *octree, tris);
    }
};

struct Query {
    PointFlt origin;
    VectorFlt direction;
};

/// The same by solving for the weights and the distance with Cramer's rule, in long double.
/// `margin` is how far inside the triangle and how far from a determinant too small the hit is.
double crossing(const CompactMesh& mesh, int triangle, const Query& ray, double& margin) {
    using Real = long double;
    const auto& t = mesh.getTriangles()[triangle];
    const MeshVertex *a = mesh.getVertices() + t[0], *b = mesh.getVertices() + t[1],
                     *c = mesh.getVertices() + t[2];
    const Real m[4][3] = {
        {Real(b->x) - a->x, Real(b->y) - a->y, Real(b->z) - a->z},
        {Real(c->x) - a->x, Real(c->y) - a->y, Real(c->z) - a->z},
        {-Real(ray.direction.x), -Real(ray.direction.y), -Real(ray.direction.z)},
        {Real(ray.origin.x) - a->x, Real(ray.origin.y) - a->y, Real(ray.origin.z) - a->z}};
    const auto det = [&m](int i, int j, int k) {
        return m[i][0] * (m[j][1] * m[k][2] - m[j][2] * m[k][1]) -
               m[i][1] * (m[j][0] * m[k][2] - m[j][2] * m[k][0]) +
               m[i][2] * (m[j][0] * m[k][1] - m[j][1] * m[k][0]);
    };
    const Real whole = det(0, 1, 2);
    const Real u = det(3, 1, 2) / whole, v = det(0, 3, 2) / whole, distance = det(0, 1, 3) / whole;
    const Real inside = std::min({u, v, 1 - u - v});
    margin = std::abs(whole) < 1e-6L ? -1.0 : static_cast<double>(inside);
    return static_cast<double>(distance);
}

/// The nearest hit over all triangles with more than `margin` to spare.
double nearestOf(const CompactMesh& mesh, const Query& ray, double margin) {
    double best = FLT_MAX;
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        double inside = -1.0;
        const double distance = crossing(mesh, t, ray, inside);
        if (inside > margin && distance > 1e-6 * (1.0 + margin))
            best = std::min(best, distance);
    }
    return best;
}

Vector widened(const VectorFlt& v) { return {v.x, v.y, v.z}; }

/// The nearest hit beyond `from` of all triangles in the leaves of a walk: what tracers must find.
template <class Walk>
QuadRay::Hit nearestIn(const Subject& subject, Walk& walk, PointFlt o, const Vector& d,
                       double from) {
    QuadRay::Hit best{false, FLT_MAX, -1};
    for (; walk.valid(); walk.next()) {
        const int leaf = walk.get().leafIndex();
        for (const int* t = subject.tris.begin(leaf); t < subject.tris.end(leaf); ++t) {
            const auto& tri = subject.mesh.getTriangles()[*t];
            const MeshVertex* const v = subject.mesh.getVertices();
            double at = 0, u = 0, w = 0;
            if (intersectRayTriangle(o, d, v[tri[0]], v[tri[1]], v[tri[2]], at, u, w) &&
                at > from && std::pair(at, *t) < std::pair(best.t, best.hit ? best.triangle : *t))
                best = {true, at, *t};
        }
    }
    return best;
}

void checkRays(const Subject& subject, const std::vector<Query>& rays) {
    qvGeom::RayTracer any(*subject.octree, subject.tris, &subject.mesh);
    qvGeom::RayTracer nearest(*subject.octree, subject.tris, &subject.mesh);
    qvGeom::QuadRayTracer four(*subject.octree, subject.tris, &subject.mesh);
    qvGeom::OctreeRayIntersectIt walk(*subject.octree);
    qvGeom::OctreeQuadRayIntersectIt walkOfFour(*subject.octree);
    nearest.setFindNearestHit(true);
    for (std::size_t i = 0; i < rays.size(); ++i) {
        const auto& [o, e] = rays[i];
        const Vector d = widened(e);
        SCOPED_TRACE(testing::Message() << "from " << o.x << ' ' << o.y << ' ' << o.z << " along "
                                        << d.x << ' ' << d.y << ' ' << d.z);
        const qvGeom::Ray ray(o, d);
        walk.reset(ray);
        const QuadRay::Hit expected = nearestIn(subject, walk, o, d, double{1e-6F});
        ASSERT_EQ(nearest.intersect(o, d), expected.hit);
        ASSERT_EQ(nearest.intersectionDist(), expected.t);
        ASSERT_EQ(any.intersect(o, d), expected.hit);
        ASSERT_EQ(any.intersectionDist(), 3.4028234663852886e38);
        if (i % 50 == 0) { // no hit is behind the nearest sure one nor before any possible one
            const double sure = nearestOf(subject.mesh, rays[i], 1e-9);
            const double possible = nearestOf(subject.mesh, rays[i], -1e-9);
            ASSERT_LE(expected.t, sure + 1e-9 * std::abs(sure));
            ASSERT_GE(expected.t, possible - 1e-9 * std::abs(possible));
        }
        if (i % 4 != 0)
            continue;
        // Every other packet runs together, the others apart.
        const VectorFlt other =
            i % 8 ? VectorFlt{-e.y, e.z, e.x} : VectorFlt{e.x, e.y, 1.01F * e.z};
        QuadRay quad(o, e, {1.02F * e.x, e.y, e.z}, {e.x, 0.97F * e.y, e.z}, other);
        four.intersect(quad);
        for (int r = 0; r < 4; ++r) {
            walkOfFour.reset(quad);
            const auto hit = nearestIn(subject, walkOfFour, o, quad.getDirection(r), 1e-12);
            ASSERT_EQ(quad.getHit(r).t, hit.t);
            ASSERT_EQ(quad.getHit(r).triangle, hit.triangle);
        }
    }
}

/// Origins in and around the box, on vertices and in triangles; directions at random, to vertices,
/// edges and middles, and with components that are 0.
std::vector<Query> raysThrough(const Subject& subject, int count) {
    std::mt19937 random(7);
    std::uniform_real_distribution<float> unit(-0.2F, 1.2F);
    const auto& box = subject.box;
    const auto place = [&] {
        const auto at = [&](int axis) {
            return box.min[axis] + unit(random) * (box.max[axis] - box.min[axis]);
        };
        return PointFlt{at(0), at(1), at(2)};
    };
    const auto onMesh = [&](int corners) {
        const auto t = random() % static_cast<unsigned>(subject.mesh.getNumTriangles());
        PointFlt p{0, 0, 0};
        for (int k = 0; k < corners; ++k) {
            const MeshVertex& v = subject.mesh.getVertices()[subject.mesh.getTriangles()[t][k]];
            const float share = 1.0F / static_cast<float>(corners);
            p = {p.x + share * v.x, p.y + share * v.y, p.z + share * v.z};
        }
        return p;
    };
    std::vector<Query> rays;
    for (int i = 0; i < count; ++i) {
        const PointFlt from = i % 3 == 0 ? onMesh(1 + i % 2 * 2) : place();
        const PointFlt to = i % 4 == 0 ? place() : onMesh(i % 4);
        VectorFlt d = to - from;
        if (i % 5 == 0)
            (i % 2 ? d.x : d.y) = 0.0F;
        if (i % 10 == 0)
            d.z = i % 20 ? -0.0F : 0.0F;
        if (i % 500 == 499) // many lengths of the mesh away
            d = {1000 * d.x, 1000 * d.y, 1000 * d.z};
        rays.push_back({from, d});
    }
    return rays;
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
    const struct {
        CompactMesh mesh;
        int verticesPerLeaf;
    } cases[] = {{test::sphere(20, 30), 16},
                 {test::grid(20, 20), 16}, // boxes without height, vertices on their sides
                 {test::randomMesh(3, 300, 400), 4},
                 {scaled(test::sphere(20, 30), 1e6F), 16}, // rounding decides at some edges
                 {scaled(test::randomMesh(5, 60, 100), 1e17F), 4}};

    for (const auto& c : cases) {
        const Subject subject(c.mesh, c.verticesPerLeaf);
        SCOPED_TRACE(testing::Message() << "up to " << subject.box.max[0]);
        checkRays(subject, raysThrough(subject, kRays));
    }
    for (const char* name : {"mannequin.mesh", "terrain.mesh", "patella.mesh"}) {
        SCOPED_TRACE(name);
        const CompactMesh mesh = test::readMeshFile(name);
        ASSERT_GT(mesh.getNumTriangles(), 0);
        const Subject real(mesh);
        checkRays(real, raysThrough(real, 60));
    }
}

/// A square of 2 x 2 at each of the heights, facing up.
CompactMesh floors(const std::vector<float>& heights) {
    std::vector<MeshVertex> vertices;
    std::vector<qvGeom::MeshTriangle> triangles;
    for (const float z : heights) {
        const int v = static_cast<int>(vertices.size());
        for (const auto& [x, y] : {std::pair{-1.F, -1.F}, {1.F, -1.F}, {1.F, 1.F}, {-1.F, 1.F}})
            vertices.push_back({x, y, z});
        triangles.push_back({{v, v + 1, v + 2}});
        triangles.push_back({{v, v + 2, v + 3}});
    }
    return test::meshOf(vertices, triangles);
}

TEST(RayTracer, leavesTheTriangleItStartsOn) {
    const Subject subject(floors({0.0F, 2.0F}));
    qvGeom::RayTracer tracer(*subject.octree, subject.tris, &subject.mesh);
    tracer.setFindNearestHit(true);
    for (const double up : {1.0, 0.5}) { // distances are in units of the direction
        EXPECT_TRUE(tracer.intersect({0.5F, 0, 0}, {0, 0, up}));
        EXPECT_EQ(tracer.intersectionDist(), 2.0 / up);
    }
    // A packet takes hits from much nearer than a single ray.
    const PointFlt justBelow{0.5F, 0.1F, -5e-7F};
    EXPECT_TRUE(tracer.intersect(justBelow, {0, 0, 1}));
    EXPECT_GT(tracer.intersectionDist(), 1.0);
    const VectorFlt up{0, 0, 1};
    QuadRay quad(justBelow, up, up, up, {0, 0, -1});
    qvGeom::QuadRayTracer(*subject.octree, subject.tris, &subject.mesh).intersect(quad);
    EXPECT_NEAR(quad.getHit(0).t, 5e-7, 1e-12);
    EXPECT_FALSE(quad.getHit(3).hit);
    EXPECT_EQ(quad.getHit(3).triangle, -1);
}

TEST(RayTracer, endsWithoutHitOnNoNumbersAndEmptyMeshes) {
    for (const CompactMesh& mesh : {test::sphere(10, 10), CompactMesh()}) {
        const Subject subject(mesh);
        qvGeom::RayTracer tracer(*subject.octree, subject.tris, &subject.mesh);
        qvGeom::QuadRayTracer four(*subject.octree, subject.tris, &subject.mesh);
        for (const Vector& d : {Vector{kNaN, kNaN, kNaN}, {kNaN, 1, 0}, {0, 0, 0}}) {
            EXPECT_FALSE(tracer.intersect({0, 0, 0}, d));
            const VectorFlt f{static_cast<float>(d.x), static_cast<float>(d.y), 0};
            QuadRay quad({0, 0, 0}, f, f, f, {1, 0.1F, 0.1F});
            four.intersect(quad);
            EXPECT_FALSE(quad.getHit(0).hit);
            EXPECT_EQ(quad.getHit(3).hit, mesh.getNumTriangles() > 0); // the others do not matter
        }
        EXPECT_FALSE(tracer.intersect({static_cast<float>(kNaN), 0, 0}, {1, 0, 0}));
    }
}

TEST(QuadRay, passesThroughBackFacesUpToTheCullDistance) {
    const Subject subject(floors({1.0F, 3.0F}));
    qvGeom::QuadRayTracer tracer(*subject.octree, subject.tris, &subject.mesh);
    const VectorFlt up{0, 0, 1};
    const auto distance = [&](bool cull, float z, VectorFlt along) {
        QuadRay quad({0.5F, 0, z}, up, along, up, up, cull);
        tracer.intersect(quad);
        return quad.getHit(1).t;
    };
    EXPECT_EQ(distance(false, 0, up), 1.0);
    EXPECT_EQ(distance(true, 0, up), FLT_MAX);
    EXPECT_EQ(distance(true, 4, {0, 0, -1}), 1.0); // from above
    QuadRay::setBackfaceCullDistance(2.0F);
    EXPECT_EQ(distance(true, 0, up), 3.0);
    qvGeom::setBackfaceCullDistance(std::numeric_limits<double>::infinity());
    EXPECT_EQ(distance(true, 0, up), FLT_MAX);
}

TEST(IntersectRayTriangle, givesDistanceAndWeights) {
    const MeshVertex a{0, 0, 0}, b{1, 0, 0}, c{0, 1, 0};
    double t = 7, u = 7, v = 7;
    ASSERT_TRUE(intersectRayTriangle({0.25F, 0.5F, 1}, {0, 0, -2}, a, b, c, t, u, v));
    EXPECT_EQ((std::array{t, u, v}), (std::array{0.5, 0.25, 0.5}));
    ASSERT_TRUE(intersectRayTriangle({0.5F, 0.5F, 1}, {0, 0, 1}, a, b, c, t, u, v)); // an edge
    EXPECT_EQ(t, -1.0);
    EXPECT_FALSE(intersectRayTriangleCull({0.25F, 0.5F, -1}, {0, 0, 1}, a, b, c, t, u, v));
    EXPECT_FALSE(intersectRayTriangle({0.75F, 0.5F, 1}, {0, 0, -1}, a, b, c, t, u, v));
    EXPECT_FALSE(intersectRayTriangle({0.25F, 0.5F, 1}, {0, 0, -9e-7}, a, b, c, t, u, v));
    EXPECT_TRUE(intersectRayTriangle({0.25F, 0.5F, 1}, {0, 0, -2e-6}, a, b, c, t, u, v));
}

TEST(OctreeQuadRayIntersectIt, meetsTheLeavesOfAllItsRays) {
    const Subject subject(test::sphere(20, 30));
    qvGeom::OctreeQuadRayIntersectIt four(*subject.octree);
    qvGeom::OctreeRayIntersectIt one(*subject.octree);
    for (const Query& q : raysThrough(subject, 300)) {
        const VectorFlt e = q.direction;
        const QuadRay quad(q.origin, e, {e.y, e.z, -e.x}, {-e.x, e.y, 0}, {0, 0, e.z});
        std::vector<int> expected(static_cast<std::size_t>(subject.octree->getNumVoxels()));
        std::vector<int> found(expected.size());
        for (int r = 0; r < 4; ++r) {
            const qvGeom::Ray ray(quad.getOrigin(), quad.getDirection(r));
            for (one.reset(ray); one.valid(); one.next())
                expected[one.get().leafIndex()] = 1;
        }
        for (four.reset(quad); four.valid(); four.next())
            ++found[four.get().leafIndex()];
        ASSERT_EQ(found, expected);
    }
}

} // namespace
