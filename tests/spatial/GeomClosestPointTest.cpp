#include "qvGeom/spatial/GeomClosestPoint.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>

#include "qvGeom/foundation/geometry/MeshCoord.h"
#include "qvGeom/foundation/linear/Linear.h"

#include "support/MeshBuilders.h"
#include "support/MeshFiles.h"
#include "support/Random.h"
#include "support/Trees.h"

namespace qvGeom {
namespace {

using qvLinear::Point;
using test::IndexedMesh;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

/// In and around the mesh, on its vertices, edges and faces and just off them, and far away.
Point somePoint(const IndexedMesh& subject, int i, test::Random& random) {
    const auto [a, b, c] = subject.corners(random.below(subject.mesh.getNumTriangles()));
    const BoundingBox& box = subject.octree.getRoot().box;
    const qvLinear::Vector offset = random.vector(box.diagonalLength());
    switch (i % 8) {
    case 0:
        return a;
    case 1:
        return combine(0.5, a, 0.5, b);
    case 2:
        return combine(0.2, a, 0.3, b, 0.5, c);
    case 3:
        return box.center() + 3 * offset;
    case 4:
        return i % 80 == 4 ? box.center() + 5e6 * offset : a + 1e-7 * random.vector();
    case 5:
        return box.center() + offset;
    default:
        return combine(0.4, a, 0.6, b) + 0.01 * offset;
    }
}

/// Looks at every triangle in turn. Of those equally far the first counts.
void expectAsSearchingAll(const IndexedMesh& subject, int numPoints) {
    test::Random random;
    MeshClosestPoint search(subject.mesh, subject.octree, subject.tris);
    for (int i = 0; i < numPoints; ++i) {
        const Point p = somePoint(subject, i, random);
        MeshCoord expected, found;
        double best2 = kInfinity;
        for (int t = 0; t < subject.mesh.getNumTriangles(); ++t) {
            const auto [a, b, c] = subject.corners(t);
            const auto coord = MeshCoord::projectBase(a, b, c, p);
            const double found2 = distance2(coord.evaluateBase(a, b, c), p);
            if (found2 < best2) {
                best2 = found2;
                expected = {coord, t};
            }
        }
        if (i % 50 == 0) // knows nothing of the mesh yet
            search = {subject.mesh, subject.octree, subject.tris};
        ASSERT_EQ(search.find(p, found), std::sqrt(best2)) << p.x << ' ' << p.y << ' ' << p.z;
        ASSERT_EQ(found.triangle, expected.triangle) << i;
        ASSERT_EQ(found.w[1], expected.w[1]) << i;
    }
}

TEST(MeshClosestPoint, findsWhatSearchingAllTrianglesFinds) {
    CompactMesh withNan = test::randomMesh(3, 60, 100), withInfinity = withNan;
    withNan.getVertices()[7].y = kNan;
    withInfinity.getVertices()[7].y = -std::numeric_limits<float>::infinity();
    CompactMesh sheared = test::wavySurface(500), huge = test::sphere(8, 16);
    for (int v = 0; v < sheared.getNumVertices(); ++v)
        sheared.getVertices()[v].x += 1e4F * sheared.getVertices()[v].y; // all slivers
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
        expectAsSearchingAll(IndexedMesh(mesh, 4), 6000);
        expectAsSearchingAll(IndexedMesh(mesh, 1), 1800);
    }
    for (const char* name : {"mannequin.mesh", "boeing.mesh", "patella.mesh", "terrain.mesh"}) {
        SCOPED_TRACE(name);
        const IndexedMesh subject(test::readMeshFile(name));
        ASSERT_GT(subject.mesh.getNumTriangles(), 0);
        expectAsSearchingAll(subject, 20000000 / subject.mesh.getNumTriangles());
    }
}

TEST(MeshClosestPoint, findsNothingWhereThereIsNothing) {
    const IndexedMesh sphere(test::sphere(5, 8)), empty{CompactMesh()},
        noTriangles(test::pointsAlongX(20)),
        onlyNan(test::meshOf({{kNan, 0, 0}, {1, kNan, 0}}, {{{0, 1, 1}}}));

    const struct {
        const IndexedMesh& subject;
        Point point;
    } cases[] = {{empty, {0, 0, 0}},     {noTriangles, {0, 0, 0}},     {onlyNan, {0, 0, 0}},
                 {sphere, {kNan, 0, 0}}, {sphere, {0, -kInfinity, 0}}, {sphere, {0, 0, 1e200}}};

    for (const auto& [subject, point] : cases) {
        MeshCoord found{{}, 5};
        EXPECT_EQ(MeshClosestPoint(subject.mesh, subject.octree, subject.tris).find(point, found),
                  kInfinity);
        EXPECT_EQ(found.triangle, -1);
    }
}

} // namespace
} // namespace qvGeom
