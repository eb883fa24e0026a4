#include "qvGeom/spatial/GeomDeviation.h"

#include <cfloat>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <vector>

#include "support/CancelAfter.h"
#include "support/CapturedOutput.h"
#include "support/MeshBuilders.h"
#include "support/ScopedThreadCount.h"
#include "support/Trees.h"

namespace {

using qvGeom::CompactMesh;
using Distances = std::vector<float>;

/// What becomes of an old result of two sevens.
Distances deviationOf(const CompactMesh& mesh, const CompactMesh& other,
                      qvUtil::Progress* progress = nullptr) {
    const test::IndexedMesh to(other);
    qvGeom::Array<float> out(2);
    out[0] = out[1] = 7;
    qvUtil::Progress none;
    const test::CapturedOutput output;
    meshDeviation(mesh, to.mesh, to.octree, to.tris, progress ? *progress : none, out);
    EXPECT_EQ(output.debugWithoutSeconds(), "   meshDeviation: S s\n");
    return {out.data(), out.data() + out.size()};
}

// The vertices of a row stand over the unit squares of a grid and beyond its end.
TEST(MeshDeviation, givesDistancesOfSelectedVertices) {
    CompactMesh row = test::pointsAlongX(5);
    for (int v = 0; v < 5; ++v)
        row.getVertices()[v].z = 0.5F;
    const CompactMesh other = test::grid(2, 1);
    const float beyond1 = std::sqrt(1.25F), beyond2 = std::sqrt(4.25F);
    for (const int threads : {1, 2, 3, 8}) {
        SCOPED_TRACE(threads);
        const test::ScopedThreadCount pool(threads);
        row.getSelectedVertices().resize(0);
        EXPECT_EQ(deviationOf(row, other), (Distances{0.5F, 0.5F, 0.5F, beyond1, beyond2}));
        row.getSelectedVertices() = test::selectionOf(5, {1, 3});
        EXPECT_EQ(deviationOf(row, other), (Distances{FLT_MAX, 0.5F, FLT_MAX, beyond1, FLT_MAX}));
    }
    EXPECT_EQ(deviationOf(test::pointsAlongX(1), CompactMesh()),
              Distances{std::numeric_limits<float>::infinity()});
    EXPECT_EQ(deviationOf(CompactMesh(), other), Distances());
}

TEST(MeshDeviation, reportsEvery200VerticesAndKeepsTheResultWhenCancelled) {
    const test::ScopedThreadCount pool(1);
    const CompactMesh mesh = test::pointsAlongX(1000), other = test::grid(1, 1);
    test::CancelAfter never(-1);
    EXPECT_EQ(deviationOf(mesh, other, &never.progress()).size(), 1000U);
    ASSERT_GE(never.fractions().size(), 5U);
    for (int i = 0; i < 5; ++i)
        EXPECT_DOUBLE_EQ(never.fractions()[i], 0.2 * i);
    for (const int reports : {0, 2}) {
        test::CancelAfter cancel(reports);
        EXPECT_EQ(deviationOf(mesh, other, &cancel.progress()), (Distances{7, 7}));
    }
}

} // namespace
