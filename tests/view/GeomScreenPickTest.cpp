#include "qvGeom/view/GeomScreenPick.h"

#include <algorithm>
#include <array>
#include <cfloat>
#include <gtest/gtest.h>

#include "qvGeom/foundation/linear/Linear.h"
#include "qvGeom/spatial/GeomRayTrace.h"

#include "support/MeshBuilders.h"
#include "support/Random.h"
#include "support/ScopedThreadCount.h"

namespace qvGeom {
namespace {

using qvLinear::narrow;

/// Whether all corners are beyond one side of [x - r, x + r] x [y - r, y + r].
bool isBeside(const std::array<MeshVertex, 3>& corners, const qvLinear::ProjMatrixFlt& m, float x,
              float y, float r) {
    std::array<int, 4> beyond{};
    for (const MeshVertex& p : corners) {
        const auto row = [&](int k) {
            return p.x * m.m[0][k] + p.y * m.m[1][k] + p.z * m.m[2][k] + m.m[3][k];
        };
        const float atX = row(0) / row(3), atY = row(1) / row(3);
        beyond[0] += atX < x - r;
        beyond[1] += atX > x + r;
        beyond[2] += atY < y - r;
        beyond[3] += atY > y + r;
    }
    return std::count(beyond.begin(), beyond.end(), 3) > 0;
}

TEST(MeshRayIntersectScreen, findsTheNearestUnderTheRectangle) {
    test::Random random;
    int hits = 0;
    for (int round = 0; round < 300; ++round) {
        SCOPED_TRACE(round);
        const test::ScopedThreadCount threads(1 + round % 4);
        const CompactMesh mesh =
            round % 20 ? test::randomMesh(round, 60, 20) : test::soupOf(test::sphere(60, 100));
        qvLinear::ProjMatrixFlt m;
        m.m[0][0] = m.m[1][1] = round % 2 ? 50.0F : 1.0F;
        m.m[2][3] = narrow(random.number(0.3));
        m.m[3][3] = 1.0F;
        const int x = random.below(60) - 30, y = random.below(60) - 30, radius = random.below(20);
        // Starts amid the mesh: some triangles are met behind.
        const qvLinear::Line ray{random.point(0.5), random.vector(3.0)};
        MeshCoord nearest;
        double nearestT = DBL_MAX;
        for (int tri = 0; tri < mesh.getNumTriangles(); ++tri) {
            const auto corner = [&](int k) {
                return mesh.getVertices()[mesh.getTriangles()[tri][k]];
            };
            const std::array corners{corner(0), corner(1), corner(2)};
            const bool beside = round % 2
                                    ? isBeside(corners, m, narrow(x), narrow(y), narrow(radius))
                                    : isBeside(corners, m, 0.0F, 0.0F, 1.0F);
            double t, u, v;
            if (!beside &&
                intersectRayTriangle(narrow(ray.origin), ray.direction, corners[0], corners[1],
                                     corners[2], t, u, v) &&
                t >= 0.0 && t < nearestT) {
                nearestT = t;
                nearest = {{1.0 - u - v, u, v}, tri};
            }
        }
        const MeshCoord found = round % 2 ? meshRayIntersectScreen(mesh, m, x, y, radius, ray)
                                          : meshRayIntersectScreen(mesh, m, ray);
        ASSERT_EQ(found.triangle, nearest.triangle);
        for (int k = 0; k < 3; ++k)
            ASSERT_EQ(found.w[k], nearest.w[k]);
        hits += found.triangle >= 0;
        if (found.triangle >= 0) { // on the ray
            EXPECT_LT(distance(found.evaluate(mesh.getVertices(), mesh.getTriangles()), ray), 1e-5);
        }
    }
    EXPECT_GT(hits, 50);
    EXPECT_LT(hits, 290);
}

} // namespace
} // namespace qvGeom
