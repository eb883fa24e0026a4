#include "qvGeom/topology/GeomArea.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <list>
#include <vector>

#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/MeshPlacement.h"
#include "qvGeom/foundation/linear/AffineMatrix.h"

#include "support/MeshBuilders.h"
#include "support/ScopedThreadCount.h"

namespace {

using qvGeom::CompactMesh;
using qvGeom::MeshChannel;
using qvGeom::MeshPlacement;

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
    EXPECT_EQ(meshArea(placed(mesh, 2), qvGeom::Positions), 2.0F);
    EXPECT_EQ(meshArea(placed(mesh), qvGeom::UVs), 0.0F);
    EXPECT_EQ(meshArea(MeshPlacement(), qvGeom::Positions), 0.0F);
    CompactMesh endless = unitTriangle();
    endless.getVertices()[1].x = std::numeric_limits<float>::infinity();
    EXPECT_TRUE(std::isnan(meshArea(placed(endless), qvGeom::Positions))); // the matrix has zeros

    mesh.allocUVArray()[1] = {0, 4}; // the image lies the other way round
    mesh.getUVs()[2] = {3, 0};
    mesh.allocSTArray()[1] = {1, 0};
    mesh.getSTs()[2] = {5, 1};
    EXPECT_EQ(meshArea(placed(mesh, 2), qvGeom::UVs), 6.0F);
    EXPECT_EQ(meshArea(placed(mesh, 2), qvGeom::STs), 0.5F);
}

/// Twice the area of every placed triangle, one after the other.
std::vector<double> doubleAreas(const MeshPlacement& placement) {
    const qvLinear::AffineMatrix transform(placement.transform);
    const auto position = [&](int v) {
        const qvGeom::MeshVertex& p = placement.mesh->getVertices()[v];
        return qvLinear::Vector{p.x, p.y, p.z};
    };
    std::vector<double> areas;
    for (int t = 0; t < placement.mesh->getNumTriangles(); ++t) {
        const qvGeom::MeshTriangle& tri = placement.mesh->getTriangles()[t];
        const qvLinear::Vector ab = (position(tri[1]) - position(tri[0])) * transform;
        const qvLinear::Vector ac = (position(tri[2]) - position(tri[0])) * transform;
        areas.push_back(cross(ab, ac).length());
    }
    return areas;
}

// The rounding is fixed: sums of the slices of all threads, halved, then added in order.
TEST(MeshArea, addsSliceBySlice) {
    const CompactMesh mesh = test::randomMesh(1, 50, 1000);
    MeshPlacement placement = placed(mesh, 3);
    placement.transform.m[0][1] = 0.7F;
    placement.transform.m[2][0] = -0.3F;
    const std::vector<double> areas = doubleAreas(placement);
    for (const int threads : {1, 2, 3, 8}) {
        SCOPED_TRACE(testing::Message() << threads << " threads");
        const test::ScopedThreadCount pool(threads);
        double total = 0;
        auto area = areas.begin();
        for (int thread = 0; thread < threads; ++thread) {
            double sum = 0;
            for (int n = 1000 / threads + (thread < 1000 % threads); n > 0; --n)
                sum += *area++;
            total += sum / 2;
        }
        EXPECT_EQ(meshArea(placement, qvGeom::Positions), static_cast<float>(total));
        EXPECT_EQ(meshArea(placed(unitTriangle()), qvGeom::Positions), 0.5F);
    }
}

TEST(MeshArea, sharesOutTheTotal) {
    const CompactMesh mesh = unitTriangle();
    std::vector<float> fractions{9};
    const std::list<MeshPlacement> three{placed(mesh), MeshPlacement(), placed(mesh, 2)};
    EXPECT_EQ(meshArea(three, qvGeom::Positions, fractions), 2.5F);
    EXPECT_EQ(fractions, (std::vector{0.5F * (1 / 2.5F), 0.0F, 2.0F * (1 / 2.5F)}));

    const std::list<MeshPlacement> tiny{placed(mesh, 1e-3F), placed(mesh, 1e-4F)};
    const float first = meshArea(tiny.front(), qvGeom::Positions);
    EXPECT_EQ(meshArea(tiny, qvGeom::Positions, fractions), 0.0F);
    EXPECT_EQ(fractions, (std::vector{first, meshArea(tiny.back(), qvGeom::Positions)}));
    EXPECT_GT(first, 4e-7F);

    EXPECT_EQ(meshArea(three, static_cast<MeshChannel>(1), fractions), 0.0F);
    EXPECT_TRUE(fractions.empty());
}

} // namespace
