#include "qvGeom/topology/GeomBoundingBox.h"

#include <cmath>
#include <gtest/gtest.h>
#include <utility>

#include "qvGeom/foundation/geometry/BoundingBox.h"
#include "qvGeom/foundation/geometry/MeshPlacement.h"

#include "support/CapturedOutput.h"
#include "support/MeshBuilders.h"
#include "support/ScopedThreadCount.h"

namespace qvGeom {
namespace {

BoundingBox boxFromTo(float a, float b) { return {{a, 0, 0}, {b, 0, 0}}; }

BoundingBox boxOf(const CompactMesh& mesh, const BitVector* selection = nullptr) {
    BoundingBox box = boxFromTo(-99, 99);
    meshBoundingBox(mesh, selection, box);
    return box;
}

// Catches a slice that drops its last vertices and an idle thread's slot leaking into the result.
TEST(MeshBoundingBox, honoursSelectionOnAnyNumberOfThreads) {
    const std::pair<BitVector, BoundingBox> cases[] = {
        {test::selectionOf(9, {2, 6}), boxFromTo(2, 6)},
        {BitVector(), boxFromTo(0, 8)},
        {BitVector(9), BoundingBox::invalid()},
    };
    for (const int threads : {1, 2, 3, 8}) {
        const test::ScopedThreadCount pool(threads);
        for (int count = 0; count < 70; ++count) {
            SCOPED_TRACE(testing::Message() << count << " points on " << threads << " threads");
            const CompactMesh mesh = test::randomMesh(count, count, 0);
            BoundingBox expected;
            for (int v = 0; v < count; ++v)
                expected.extend(mesh.getVertices()[v]);
            EXPECT_EQ(boxOf(mesh), expected);
        }
        for (const auto& [selection, expected] : cases)
            EXPECT_EQ(boxOf(test::pointsAlongX(9), &selection), expected);
    }
}

TEST(MeshBoundingBox, passesOverNaNAndKeepsTheFirstZero) {
    for (const int threads : {1, 2, 3, 8}) {
        const test::ScopedThreadCount pool(threads);
        for (int odd = 0; odd < 30; ++odd) {
            SCOPED_TRACE(testing::Message() << "vertex " << odd << " on " << threads << " threads");
            CompactMesh mesh = test::pointsAlongX(30);
            for (int v = 0; v < 30; ++v)
                mesh.getVertices()[v].y = v < odd ? 1.0F : v == odd ? -0.0F : 0.0F;
            mesh.getVertices()[odd].z = NAN;
            EXPECT_EQ(boxOf(mesh), BoundingBox({0, 0, 0}, {29, odd > 0 ? 1.0F : 0.0F, 0}));
            EXPECT_TRUE(std::signbit(boxOf(mesh).min[1]));
            EXPECT_EQ(std::signbit(boxOf(mesh).max[1]), odd == 0);
            mesh.getVertices()[odd].x = -INFINITY;
            EXPECT_EQ(boxOf(mesh).min[0], -INFINITY);
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
