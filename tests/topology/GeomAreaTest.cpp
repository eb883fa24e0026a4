#include "qvGeom/topology/GeomArea.h"

#include <cmath>
#include <gtest/gtest.h>

#include "qvGeom/foundation/geometry/MeshPlacement.h"
#include "qvGeom/foundation/linear/Convert.h"

#include "support/MeshBuilders.h"
#include "support/ScopedThreadCount.h"

namespace qvGeom {
namespace {

CompactMesh unitTriangle() {
    return test::meshOf({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {{{0, 1, 2}}});
}

MeshPlacement placed(const CompactMesh& mesh, float scale = 1) {
    MeshPlacement placement;
    placement.mesh = &mesh;
    for (int axis = 0; axis < 3; ++axis) {
        placement.transform.m[axis][axis] = scale;
        placement.transform.m[3][axis] = 1e6F; // to no effect
    }
    return placement;
}

TEST(MeshArea, measuresTheChannelAskedFor) {
    CompactMesh mesh = unitTriangle();
    EXPECT_EQ(meshArea(placed(mesh, 2), Positions), 2.0F);
    EXPECT_EQ(meshArea(placed(mesh), UVs), 0.0F);
    EXPECT_EQ(meshArea(MeshPlacement(), Positions), 0.0F);
    CompactMesh endless = unitTriangle();
    endless.getVertices()[1].x = INFINITY;
    EXPECT_TRUE(std::isnan(meshArea(placed(endless), Positions))); // the matrix has zeros

    mesh.allocUVArray()[1] = {0, 4}; // the image lies the other way round
    mesh.getUVs()[2] = {3, 0};
    mesh.allocSTArray()[1] = {1, 0};
    mesh.getSTs()[2] = {5, 1};
    EXPECT_EQ(meshArea(placed(mesh, 2), UVs), 6.0F);
    EXPECT_EQ(meshArea(placed(mesh, 2), STs), 0.5F);
}

TEST(MeshArea, addsTheSlicesOfAllThreads) {
    const CompactMesh mesh = test::randomMesh(1, 50, 1000);
    MeshPlacement placement = placed(mesh, 3);
    placement.transform.m[0][1] = 0.7F;
    placement.transform.m[2][0] = -0.3F;
    const qvLinear::AffineMatrix transform(placement.transform);
    const auto at = [&](int v) { return qvLinear::widen(mesh.getVertices()[v]); };
    double expected = 0;
    for (int t = 0; t < 1000; ++t) {
        const auto [a, b, c] = mesh.getTriangles()[t].v;
        expected += cross((at(b) - at(a)) * transform, (at(c) - at(a)) * transform).length() / 2;
    }
    for (const int threads : {1, 2, 3, 8}) {
        const test::ScopedThreadCount pool(threads);
        EXPECT_FLOAT_EQ(meshArea(placement, Positions), static_cast<float>(expected)) << threads;
        EXPECT_EQ(meshArea(placed(unitTriangle()), Positions), 0.5F);
    }
}

TEST(MeshArea, sharesOutTheTotal) {
    const CompactMesh mesh = unitTriangle();
    std::vector<float> fractions{9};
    const std::list<MeshPlacement> three{placed(mesh), MeshPlacement(), placed(mesh, 2)};
    EXPECT_EQ(meshArea(three, Positions, fractions), 2.5F);
    EXPECT_EQ(fractions, (std::vector{0.5F * (1 / 2.5F), 0.0F, 2.0F * (1 / 2.5F)}));

    const std::list<MeshPlacement> tiny{placed(mesh, 1e-3F), placed(mesh, 1e-4F)};
    const float first = meshArea(tiny.front(), Positions);
    EXPECT_EQ(meshArea(tiny, Positions, fractions), 0.0F);
    EXPECT_EQ(fractions, (std::vector{first, meshArea(tiny.back(), Positions)}));
    EXPECT_GT(first, 4e-7F);

    EXPECT_EQ(meshArea(three, static_cast<MeshChannel>(1), fractions), 0.0F);
    EXPECT_TRUE(fractions.empty());
}

} // namespace
} // namespace qvGeom
