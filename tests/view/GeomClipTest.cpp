#include "qvGeom/view/GeomClip.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <vector>

#include "qvGeom/foundation/geometry/BoundingBox.h"
#include "qvGeom/foundation/geometry/Frustum.h"
#include "qvGeom/foundation/linear/Linear.h"

#include "support/MeshBuilders.h"
#include "support/Random.h"

namespace qvGeom {
namespace {

using qvLinear::HPoint;
using qvLinear::ProjMatrix;
using qvLinear::ProjMatrixFlt;

const ProjMatrixFlt kUnit(ProjMatrix(qvLinear::AffineMatrix{}));

// Positions on a triangle are carried along as attributes. In each of the boxes that fill space is
// a part of the triangle, and together they make up all of it.
TEST(Clip, trianglesLoseWhatIsOutside) {
    test::Random random;
    int results[3] = {};
    for (int round = 0; round < 300; ++round) {
        double cuts[3][4], area = 0;
        for (auto& cut : cuts) {
            cut[1] = -0.5 - std::abs(random.number(0.5));
            cut[2] = cut[1] + 1 + random.number(0.5);
            cut[3] = -(cut[0] = -1e9);
        }
        ClipPolygon whole{3, 15 | 48, {{}, {0, 0, 0, 0, 1}, {0, 0, 0, 0, 0, 1}}};
        for (int k = 0; k < 3; ++k) {
            for (int axis = 0; axis < 4; ++axis)
                whole.vertex[k][axis] =
                    random.number(round % 4 * 0.6 + 0.2) + (axis == 3 ? 2.3 : 0);
        }
        for (int box = 0; box < 27; ++box) {
            const double *x = cuts[0] + box % 3, *y = cuts[1] + box / 3 % 3, *z = cuts[2] + box / 9;
            ClipPolygon part = whole;
            ++results[clipTriangle(part, {x[0], x[1], y[0], y[1], z[0], z[1]})];
            for (int k = 0; k < part.count; ++k) {
                const double *a = part.vertex[k], *b = part.vertex[(k + 1) % part.count];
                area += (a[4] * b[5] - a[5] * b[4]) / 2;
                const double at[] = {x[0], x[1], y[0], y[1], z[0], z[1]};
                for (int n = 0; n < 6; ++n)
                    EXPECT_LT((n % 2 ? 1 : -1) * (a[n / 2] - at[n] * a[3]), 1e-9) << round;
                for (int n = 0; n < 4; ++n) {
                    EXPECT_NEAR((1 - a[4] - a[5]) * whole.vertex[0][n] + a[4] * whole.vertex[1][n] +
                                    a[5] * whole.vertex[2][n],
                                a[n], 1e-9);
                }
            }
        }
        EXPECT_NEAR(area, 0.5, 1e-9) << round;
    }
    EXPECT_GT(std::min({results[0], results[1], results[2]}), 20);

    ClipPolygon none;
    EXPECT_EQ(clipTriangle(none, {}), 2);
    ClipPolygon touching{3, 15, {{1, -1, 0, 1}, {1, 1, 0, 1}, {0, 0, 1, 1}}};
    EXPECT_EQ(clipTriangle(touching, {}), 2);
    ClipPolygon reaching{3, 15, {{0, 0, 0, 1}, {4, 0, 0, -1}, {0, 4, 0, -1}}}; // behind the eye
    EXPECT_EQ(clipTriangle(reaching, {}), 1);
    EXPECT_EQ(reaching.count, 4);
}

struct Received {
    std::vector<HPoint> points;
    std::size_t stopAfter = 1000;

    static bool take(void* data, const HPoint& a, const HPoint& b, const HPoint& c) {
        auto* const to = static_cast<Received*>(data);
        to->points.insert(to->points.end(), {a, b, c});
        return to->points.size() < 3 * to->stopAfter;
    }
};

TEST(Clip, trianglesOfAMeshComeAsFans) {
    // Inside and counter-clockwise; across the right side and clockwise; outside.
    CompactMesh mesh =
        test::meshOf({{0, 0, 0}, {0.5F, 0, 0}, {0, 0.5F, 0}, {2, 0, 0}, {3, 0, 0}, {3, 1, 0}},
                     {{0, 1, 2}, {0, 2, 3}, {3, 4, 5}});
    const std::vector<HPoint> first{{0, 0, 0, 1}, {0.5, 0, 0, 1}, {0, 0.5, 0, 1}},
        second{{1, 0, 0, 1}, {0, 0, 0, 1},   {0, 0.5, 0, 1},
               {1, 0, 0, 1}, {0, 0.5, 0, 1}, {1, 0.25, 0, 1}};
    std::vector<HPoint> both = first;
    both.insert(both.end(), second.begin(), second.end());
    const auto expect = [&](const std::vector<HPoint>& points, auto&& prepare) {
        Clip::TriangleAlgorithm clip;
        Received received;
        clip.setTriangleFunc(Received::take, &received);
        prepare(clip, received);
        EXPECT_EQ(clip.evaluateMesh(mesh, kUnit), !points.empty());
        EXPECT_EQ(received.points, points);
    };
    expect(both, [](auto&, auto&) {});
    expect(first, [](auto&, auto& received) { received.stopAfter = 1; });
    expect(first, [](auto& clip, auto&) { clip.setCullFaces(false, true); });
    expect(second, [](auto& clip, auto&) { clip.setCullFaces(true, false); });
    expect({}, [](auto& clip, auto&) { clip.setCullFaces(true, true); });
    expect(first, [](auto& clip, auto&) {
        clip.setClockwiseFront(true);
        clip.setCullFaces(true, false);
    });
    const auto selectedOnly = [](auto& clip, auto&) { clip.setSelectedTrianglesOnly(true); };
    expect(both, selectedOnly);                              // of size 0
    mesh.getSelectedTriangles() = test::selectionOf(2, {1}); // shorter than the mesh
    expect(second, selectedOnly);
    Clip::TriangleAlgorithm backOnly;
    backOnly.setCullFaces(true, false);
    EXPECT_TRUE(backOnly.cullFace({}, {}, {})); // without area it is a front
    EXPECT_TRUE(Clip::TriangleAlgorithm().evaluateMesh(mesh, kUnit));
    EXPECT_FALSE(Clip::TriangleAlgorithm().evaluateMesh(test::pointsAlongX(2), kUnit));
}

TEST(Clip, verticesAreClassified) {
    const float points[] = {2, -3, 4, -2, 3, -4, 1, -1, 1, NAN, NAN, NAN, 0, 0, 1.5F};
    std::vector<Clip::Vertex> out(99);
    EXPECT_EQ(Clip::projectVertices(points, 5, kUnit, out, false), 2);
    const int codes[] = {2 | 4 | 32, 1 | 8 | 16, 0, 0, 32};
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(out[i].outcode, codes[i]) << i;
    EXPECT_EQ(Clip::projectVertices(points, 2, kUnit, out, true), 1);
    EXPECT_EQ(out.size(), 2);
    EXPECT_EQ(Clip::projectVertices(points, 3, kUnit, out, true), 2);
    EXPECT_TRUE(out.empty());
    EXPECT_EQ(Clip::clipVertices(points + 12, 1, kUnit), 0);
    EXPECT_EQ(Clip::clipVertices(points, 0, kUnit), 0);
    ProjMatrixFlt behind; // w = -1: beyond both sides, of which one is told
    behind.m[3][3] = -1;
    EXPECT_EQ(Clip::projectVertices(points, 1, behind, out, false), 0);
    EXPECT_EQ(out[0].outcode, 1 | 4 | 16);
}

// Against points all along; segments that pass close by an edge may go either way.
TEST(Clip, segmentsAreSeen) {
    test::Random random;
    int wrong = 0, seen = 0;
    constexpr int kRounds = 5000;
    for (int round = 0; round < kRounds; ++round) {
        float p[6];
        for (float& x : p)
            x = qvLinear::narrow(random.number(3));
        bool expected = false;
        for (float t = 0; t <= 1 && !expected; t += 0x1p-8F) {
            const auto at = [&](int k) { return std::abs(p[k] * (1 - t) + p[k + 3] * t); };
            expected = std::max({at(0), at(1), at(2)}) <= 1;
        }
        Clip::LineAlgorithm lines;
        const bool result = lines.evaluateStrip(p, 2, kUnit);
        EXPECT_EQ(lines.evaluateSegments(p, 2, kUnit), result);
        wrong += result != expected;
        seen += result;
    }
    EXPECT_LT(wrong, kRounds * 2 / 100);
    EXPECT_GT(seen, kRounds / 10);

    Clip::LineAlgorithm lines;
    const float through[] = {-2, 0.5F, 0.5F, 2, 0.9F, 0.9F, 9, 9, 9};
    EXPECT_TRUE(lines.evaluateSegments(through, 3, kUnit));
    EXPECT_FALSE(lines.evaluateSegments(through, 1, kUnit));
    EXPECT_FALSE(lines.evaluateStrip(through + 3, 2, kUnit));
    // Through the near side: found from the edge of y and z, and not from that of x and z.
    const float overYZ[] = {0, -1.5F, -2, 0, 2, 1.5F}, overXZ[] = {-1.5F, 0, -2, 2, 0, 1.5F};
    EXPECT_TRUE(lines.evaluateStrip(overYZ, 2, kUnit));
    EXPECT_FALSE(lines.evaluateStrip(overXZ, 2, kUnit));
    EXPECT_TRUE(
        lines.evaluateMesh(test::meshOf({{9, 9, 9}, {-2, 0, 0}, {2, 0, 0}}, {{0, 1, 2}}), kUnit));
}

// A box is outside when all its corners are beyond one side, rounding near it apart.
TEST(Clip, boxes) {
    test::Random random;
    for (int round = 0; round < 20000; ++round) {
        ProjMatrixFlt m;
        for (int k = 0; k < 16; ++k)
            m.m[k / 4][k % 4] = qvLinear::narrow(random.number() + (k == 15));
        BoundingBox box;
        for (int k = 0; k < 2; ++k)
            box.extend(narrow(random.point(round % 2 ? 2 : 1)));
        const qvLinear::Range2d region{-1, -0.5, 0.2, 0.9};
        double closest = 1;
        int common = 63;
        for (int k = 0; k < 8; ++k) {
            const auto [x, y, z, w] =
                HPoint{(k & 1 ? box.max : box.min)[0], (k & 2 ? box.max : box.min)[1],
                       (k & 4 ? box.max : box.min)[2], 1} *
                widen(m);
            const double over[6] = {-1 * w - x,  x - 0.2 * w, -0.5 * w - y,
                                    y - 0.9 * w, -w - z,      z - w};
            for (int side = 0; side < 6; ++side) { // beyond both, when w < 0, the lower one counts
                closest = std::min(closest, std::abs(over[side]));
                if (over[side] <= 0 || (side % 2 && over[side - 1] > 0))
                    common &= ~(1 << side);
            }
        }
        EXPECT_TRUE(closest < 1e-5 || bboxClipTest(box, m, region) == (common == 0)) << round;
        EXPECT_EQ(bboxClipTest(box, m), bboxClipTest(box, m, {-1, -1, 1, 1})) << round;
    }
    EXPECT_FALSE(bboxClipTest(BoundingBox(), kUnit));
    const CompactMesh points = test::pointsAlongX(3);
    qvLinear::AffineMatrix move;
    const Frustum frustum(ProjMatrix{move});
    EXPECT_TRUE(intersectBoxFrustum(move, points, frustum));
    move.m[3][0] = 1.5;
    EXPECT_FALSE(intersectBoxFrustum(move, points, frustum));
}

} // namespace
} // namespace qvGeom
