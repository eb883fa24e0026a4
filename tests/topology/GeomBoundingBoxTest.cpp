#include "qvGeom/topology/GeomBoundingBox.h"

#include <cmath>
#include <cstring>
#include <gtest/gtest.h>

#include "qvGeom/foundation/geometry/BoundingBox.h"
#include "qvGeom/foundation/geometry/MeshPlacement.h"

#include "support/CapturedOutput.h"
#include "support/MeshBuilders.h"
#include "support/Random.h"
#include "support/ScopedThreadCount.h"

namespace qvGeom {
namespace {

BoundingBox boxOf(const CompactMesh& mesh, const BitVector* selection = nullptr) {
    BoundingBox box({-99, 0, 0}, {99, 0, 0});
    meshBoundingBox(mesh, selection, box);
    return box;
}

/// To the bit, as one zero is not as good as the other.
bool areSame(const BoundingBox& a, const BoundingBox& b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

// Catches a slice that drops its last vertices, an idle thread's slot leaking into the result and
// answers that NaN or signed zeros let depend on the threads.
TEST(MeshBoundingBox, isThatOfOneVertexAfterAnother) {
    const float values[] = {-1, -0.0F, 0.0F, 2, NAN, -INFINITY};
    test::Random random;
    for (const int threads : {1, 2, 3, 8}) {
        const test::ScopedThreadCount pool(threads);
        for (int count = 0; count < 100; ++count) {
            SCOPED_TRACE(testing::Message() << count << " points on " << threads << " threads");
            CompactMesh mesh = test::pointsAlongX(count);
            BitVector selection(count);
            BoundingBox ofAll, ofSelected;
            for (int v = 0; v < count; ++v) {
                mesh.getVertices()[v] = {values[random.below(3)], -values[random.below(3)],
                                         values[random.below(6)]};
                selection.set(v, random.below(3) == 0);
                ofAll.extend(mesh.getVertices()[v]);
                if (selection.test(v))
                    ofSelected.extend(mesh.getVertices()[v]);
            }
            EXPECT_TRUE(areSame(boxOf(mesh), ofAll));
            const BitVector none;
            EXPECT_TRUE(areSame(boxOf(mesh, &none), ofAll));
            EXPECT_TRUE(count == 0 || areSame(boxOf(mesh, &selection), ofSelected));
        }
    }
}

TEST(ArrangementBoundingBox, joinsTheMovedBoxesAndPrintsALineForEach) {
    const CompactMesh line = test::pointsAlongX(4);
    std::list<MeshPlacement> placements(3); // the first without a mesh
    auto placement = placements.begin();
    (++placement)->mesh = &line;
    (++placement)->mesh = &line;
    placement->transform.m[0][0] = -2;
    placement->transform.m[3][2] = 5;

    const test::CapturedOutput output;
    BoundingBox box;
    arrangementBoundingBox(placements, box);
    EXPECT_EQ(box, BoundingBox({-6, 0, 0}, {3, 0, 5}));
    double min[3], max[3];
    meshBoundingBox(line, min, max);
    EXPECT_TRUE(min[0] == 0 && max[0] == 3);
    EXPECT_EQ(output.debugWithoutSeconds(), "meshBoundingBox: 4 vertices  S s\n"
                                            "meshBoundingBox: 4 vertices  S s\n"
                                            "arrangementBoundingBox: 3 meshes  S s\n"
                                            "meshBoundingBox: 4 vertices  S s\n");
}

} // namespace
} // namespace qvGeom
