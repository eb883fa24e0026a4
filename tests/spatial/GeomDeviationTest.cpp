#include "qvGeom/spatial/GeomDeviation.h"

#include <cfloat>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <vector>

#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/Octree.h"
#include "qvGeom/foundation/geometry/OctreeTris.h"
#include "qvGeom/spatial/GeomOctree.h"

#include "support/CancelAfter.h"
#include "support/CapturedOutput.h"
#include "support/MeshBuilders.h"
#include "support/ScopedThreadCount.h"
#include "support/Trees.h"

namespace {

using qvGeom::Array;
using qvGeom::CompactMesh;

void deviate(const CompactMesh& mesh, const CompactMesh& other, qvUtil::Progress& progress,
             Array<float>& out) {
    const qvGeom::Octree octree = test::octreeOf(other);
    qvGeom::OctreeTris tris;
    computeOctreeTris(other, octree, tris);
    const test::CapturedOutput output;
    meshDeviation(mesh, other, octree, tris, progress, out);
    EXPECT_EQ(output.debugWithoutSeconds(), "   meshDeviation: S s\n");
}

std::vector<float> deviationOf(const CompactMesh& mesh, const CompactMesh& other) {
    qvUtil::Progress progress;
    Array<float> out(3);
    deviate(mesh, other, progress, out);
    return {out.data(), out.data() + out.size()};
}

// The vertices of a row stand over the unit squares of a grid and beyond its end.
TEST(MeshDeviation, givesDistancesOfSelectedVertices) {
    CompactMesh row = test::pointsAlongX(5);
    for (int v = 0; v < 5; ++v)
        row.getVertices()[v].z = 0.5F;
    const CompactMesh other = test::grid(2, 1);
    const auto beyond = [](float x) { return std::sqrt(x * x + 0.25F); };
    for (const int threads : {1, 2, 3, 8}) {
        SCOPED_TRACE(threads);
        const test::ScopedThreadCount pool(threads);
        row.getSelectedVertices().resize(0);
        EXPECT_EQ(deviationOf(row, other),
                  (std::vector<float>{0.5F, 0.5F, 0.5F, beyond(1), beyond(2)}));
        row.getSelectedVertices() = test::selectionOf(5, {1, 3});
        EXPECT_EQ(deviationOf(row, other),
                  (std::vector<float>{FLT_MAX, 0.5F, FLT_MAX, beyond(1), FLT_MAX}));
    }
}

TEST(MeshDeviation, isInfiniteFromNothing) {
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    EXPECT_EQ(deviationOf(test::pointsAlongX(2), CompactMesh()),
              (std::vector<float>{kInfinity, kInfinity}));
    EXPECT_TRUE(deviationOf(CompactMesh(), test::grid(1, 1)).empty());
}

TEST(MeshDeviation, reportsEvery200VerticesAndKeepsTheResultWhenCancelled) {
    const test::ScopedThreadCount pool(1);
    const CompactMesh mesh = test::pointsAlongX(1000);
    test::CancelAfter never(-1);
    Array<float> out;
    deviate(mesh, test::grid(1, 1), never.progress(), out);
    EXPECT_EQ(out.size(), 1000);
    ASSERT_GE(never.fractions().size(), 5U);
    for (int i = 0; i < 5; ++i)
        EXPECT_DOUBLE_EQ(never.fractions()[i], 0.2 * i);

    for (const int reports : {0, 2}) {
        test::CancelAfter cancelled(reports);
        Array<float> old(2);
        old[1] = 7;
        deviate(mesh, test::grid(1, 1), cancelled.progress(), old);
        ASSERT_EQ(old.size(), 2);
        EXPECT_EQ(old[1], 7);
    }
}

} // namespace
