#include "qvGeom/spatial/GeomClosestPoint.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <random>

#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/MeshCoord.h"
#include "qvGeom/foundation/geometry/Octree.h"
#include "qvGeom/foundation/geometry/OctreeTris.h"
#include "qvGeom/foundation/linear/Linear.h"
#include "qvGeom/spatial/GeomOctree.h"

#include "support/MeshBuilders.h"
#include "support/MeshFiles.h"
#include "support/Trees.h"

namespace {

using qvGeom::BoundingBox;
using qvGeom::CompactMesh;
using qvGeom::MeshCoord;
using qvLinear::Point;
using qvLinear::Vector;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

Point vertexAt(const CompactMesh& mesh, int v) {
    const qvGeom::MeshVertex& vertex = mesh.getVertices()[v];
    return {vertex.x, vertex.y, vertex.z};
}

class Subject {
public:
    explicit Subject(const CompactMesh& mesh, int perLeaf = 4)
        : mesh_(mesh),
          octree_(test::octreeOf(mesh, perLeaf)) {
        computeOctreeTris(mesh_, octree_, tris_);
    }

    double find(const Point& p, MeshCoord& out) const {
        return qvGeom::MeshClosestPoint(mesh_, octree_, tris_).find(p, out);
    }

    const CompactMesh& mesh() const { return mesh_; }

    BoundingBox box() const { return octree_.getRoot().box; }

    /// Looks at every triangle in turn.
    double findBySearchingAll(const Point& p, MeshCoord& out) const {
        double best2 = kInfinity;
        out = {};
        for (int t = 0; t < mesh_.getNumTriangles(); ++t) {
            const qvGeom::MeshTriangle& corners = mesh_.getTriangles()[t];
            const Point a = vertexAt(mesh_, corners[0]);
            const Point b = vertexAt(mesh_, corners[1]);
            const Point c = vertexAt(mesh_, corners[2]);
            const auto coord = MeshCoord::projectBase(a, b, c, p);
            const double found2 = distance2(coord.evaluateBase(a, b, c), p);
            if (found2 < best2) {
                best2 = found2;
                static_cast<qvGeom::MeshCoordBase&>(out) = coord;
                out.triangle = t;
            }
        }
        return std::sqrt(best2);
    }

private:
    CompactMesh mesh_;
    qvGeom::Octree octree_;
    qvGeom::OctreeTris tris_;
};

/// Points in and around the mesh, on its vertices, edges and faces and just off them, and far away.
class PointMix {
public:
    explicit PointMix(const Subject& subject)
        : mesh_(subject.mesh()),
          center_(subject.box().center()),
          size_(subject.box().diagonalLength()) {}

    Point operator()(int i) {
        const qvGeom::MeshTriangle& corners =
            mesh_.getTriangles()[static_cast<int>(random_() % mesh_.getNumTriangles())];
        const Point a = vertexAt(mesh_, corners[0]);
        const Point b = vertexAt(mesh_, corners[1]);
        switch (i % 8) {
        case 0:
            return a;
        case 1:
            return combine(0.5, a, 0.5, b);
        case 2:
            return combine(0.2, a, 0.3, b, 0.5, vertexAt(mesh_, corners[2]));
        case 3:
            return center_ + 3 * offset();
        case 4:
            return i % 80 == 4 ? center_ + 5e6 * offset() : a + 1e-7 * offset();
        case 5:
            return center_ + offset();
        default:
            return combine(0.4, a, 0.6, b) + 0.01 * offset();
        }
    }

private:
    Vector offset() {
        return size_ * Vector{uniform_(random_), uniform_(random_), uniform_(random_)};
    }

    const CompactMesh& mesh_;
    Point center_;
    double size_;
    std::mt19937 random_{1};
    std::uniform_real_distribution<double> uniform_{-1, 1};
};

void expectAsSearchingAll(const Subject& subject, int numPoints) {
    PointMix points(subject);
    for (int i = 0; i < numPoints; ++i) {
        const Point p = points(i);
        MeshCoord found;
        MeshCoord expected;
        const double distance = subject.find(p, found);
        ASSERT_EQ(distance, subject.findBySearchingAll(p, expected))
            << i << ": " << p.x << ' ' << p.y << ' ' << p.z;
        ASSERT_EQ(found.triangle, expected.triangle) << i;
        ASSERT_EQ(found.w[1], expected.w[1]) << i;
    }
}

TEST(MeshClosestPoint, findsWhatSearchingAllTrianglesFinds) {
    CompactMesh withNan = test::randomMesh(3, 60, 100);
    withNan.getVertices()[7].y = kNan;
    CompactMesh withInfinity = test::randomMesh(4, 60, 100);
    withInfinity.getVertices()[7].y = -std::numeric_limits<float>::infinity();
    CompactMesh sheared = test::wavySurface(500);
    for (int v = 0; v < sheared.getNumVertices(); ++v)
        sheared.getVertices()[v].x += 1e4F * sheared.getVertices()[v].y; // all slivers
    CompactMesh huge = test::sphere(8, 16);
    for (int i = 0; i < 3 * huge.getNumVertices(); ++i)
        huge.getVerticesRaw()[i] *= 1e30F;

    const CompactMesh meshes[] = {test::randomMesh(1, 30, 200),
                                  test::randomMesh(2, 500, 300),
                                  withNan,
                                  withInfinity,
                                  sheared,
                                  huge,
                                  test::grid(15, 10),
                                  test::soupOf(test::sphere(10, 20)),
                                  test::shuffled(test::wavySurface(400), 1),
                                  test::closedFan(300),
                                  test::meshOf({{1, 2, 3}}, {{{0, 0, 0}}, {{0, 0, 0}}})};
    for (const CompactMesh& mesh : meshes) {
        SCOPED_TRACE(&mesh - meshes);
        expectAsSearchingAll(Subject(mesh), 6000);
        expectAsSearchingAll(Subject(mesh, 1), 1800);
    }
}

TEST(MeshClosestPoint, findsWhatSearchingAllTrianglesFindsOnRealMeshes) {
    for (const char* name : {"mannequin.mesh", "boeing.mesh", "patella.mesh", "terrain.mesh"}) {
        SCOPED_TRACE(name);
        const Subject subject(test::readMeshFile(name), 16);
        ASSERT_GT(subject.mesh().getNumTriangles(), 0);
        expectAsSearchingAll(subject, 20000000 / subject.mesh().getNumTriangles());
    }
}

// Walking by a key in floats, without a margin, is 0.019 off at this distance.
TEST(MeshClosestPoint, isExactFarAway) {
    const Subject subject(test::sphere(60, 120));
    PointMix points(subject);
    for (int i = 0; i < 200; ++i) {
        const Point p = Point{0, 0, 0} + 5e6 * (points(3) - Point{0, 0, 0});
        double nearest = kInfinity;
        for (int v = 0; v < subject.mesh().getNumVertices(); ++v)
            nearest = std::min(nearest, distance(p, vertexAt(subject.mesh(), v)));
        MeshCoord found;
        EXPECT_NEAR(subject.find(p, found), nearest, 4e-8); // in convex solids it is a vertex
    }
}

TEST(MeshClosestPoint, takesTheLowestTriangleOfThoseEquallyFar) {
    const Subject subject(test::shuffled(test::soupOf(test::closedFan(50)), 1), 1);
    const Subject doubled(test::meshOf({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {5, 5, 5}},
                                       {{{3, 3, 3}}, {{0, 1, 2}}, {{0, 1, 2}}, {{1, 2, 0}}}),
                          1);
    MeshCoord found;
    EXPECT_EQ(subject.find({0, 0, 4}, found), 4); // all meet in the middle
    EXPECT_EQ(found.triangle, 0);
    EXPECT_EQ(doubled.find({0.25, 0.25, -2}, found), 2);
    EXPECT_EQ(found.triangle, 1);
}

TEST(MeshClosestPoint, findsNothingWhereThereIsNothing) {
    const Subject sphere(test::sphere(5, 8));
    const Subject empty{CompactMesh()};
    const Subject noTriangles(test::pointsAlongX(20));
    const Subject onlyNan(test::meshOf({{kNan, 0, 0}, {1, kNan, 0}}, {{{0, 1, 1}}}));

    const struct {
        const Subject& subject;
        Point point;
    } cases[] = {{empty, {0, 0, 0}},     {noTriangles, {0, 0, 0}},     {onlyNan, {0, 0, 0}},
                 {sphere, {kNan, 0, 0}}, {sphere, {0, -kInfinity, 0}}, {sphere, {0, 0, 1e200}}};

    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        MeshCoord found;
        found.triangle = 5;
        EXPECT_EQ(c.subject.find(c.point, found), kInfinity);
        EXPECT_EQ(found.triangle, -1);
    }
}

} // namespace
