#include "qvGeom/view/GeomClip.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <vector>

#include "qvGeom/foundation/geometry/BoundingBox.h"
#include "qvGeom/foundation/geometry/Frustum.h"
#include "qvGeom/foundation/linear/Linear.h"

#include "support/MeshBuilders.h"
#include "support/Random.h"

namespace {

using qvGeom::BoundingBox;
using qvGeom::Clip;
using qvGeom::ClipBox;
using qvGeom::ClipPolygon;
using qvLinear::HPoint;
using qvLinear::ProjMatrix;
using qvLinear::ProjMatrixFlt;
using Exact = long double;
using Inequality = std::array<Exact, 3>; // i[0] + i[1] u + i[2] v >= 0

const ProjMatrixFlt kUnit(ProjMatrix(qvLinear::AffineMatrix{}));

Exact valueAt(const Inequality& i, Exact u, Exact v) { return i[0] + i[1] * u + i[2] * v; }

/// The area of what satisfies all: its corners are where two borders meet inside of the others.
Exact areaOf(const std::vector<Inequality>& all) {
    std::vector<std::array<Exact, 3>> corners; // u, v, then the angle around the middle
    Exact middleU = 0, middleV = 0, area = 0;
    for (const Inequality& a : all) {
        for (const Inequality& b : all) {
            const Exact det = a[1] * b[2] - a[2] * b[1];
            const Exact u = (a[2] * b[0] - a[0] * b[2]) / det,
                        v = (a[0] * b[1] - a[1] * b[0]) / det;
            if (det != 0 && std::all_of(all.begin(), all.end(), [&](const Inequality& i) {
                    return valueAt(i, u, v) >= -1e-15L;
                }))
                corners.push_back({u, v, 0});
        }
    }
    for (const auto& c : corners) {
        middleU += c[0] / static_cast<Exact>(corners.size());
        middleV += c[1] / static_cast<Exact>(corners.size());
    }
    for (auto& c : corners)
        c[2] = std::atan2(c[1] - middleV, c[0] - middleU);
    std::sort(corners.begin(), corners.end(), [](auto& a, auto& b) { return a[2] < b[2]; });
    for (std::size_t k = 0; k < corners.size(); ++k) {
        const auto &a = corners[k], &b = corners[(k + 1) % corners.size()];
        area += (a[0] * b[1] - a[1] * b[0]) / 2;
    }
    return area;
}

// Positions on a triangle are carried along as attributes, to measure what is left of it.
TEST(Clip, trianglesLoseWhatIsOutside) {
    test::Random random;
    int results[3] = {};
    for (int round = 0; round < 3000; ++round) {
        const double size = 0.3 + 0.4 * (round % 5);
        const auto bound = [&] { return 0.5 + std::abs(random.number(0.5)); };
        const ClipBox box{-bound(), bound(), -bound(), bound(), -bound(), bound()};
        ClipPolygon polygon{3, 15 | 48, {}};
        for (int k = 0; k < 3; ++k) {
            const qvLinear::Vector p = random.vector(size);
            const double uv[2] = {k == 1 ? 1.0 : 0.0, k == 2 ? 1.0 : 0.0};
            const double vertex[7] = {p.x, p.y, p.z, 0.7 + random.number(), uv[0], uv[1], 7.0};
            std::copy_n(vertex, 7, polygon.vertex[k]);
        }
        const ClipPolygon before = polygon;
        std::vector<Inequality> inside{{0, 1, 0}, {0, 0, 1}, {1, -1, -1}};
        const double sides[6] = {box.minX, box.maxX, box.minY, box.maxY, box.minZ, box.maxZ};
        for (int side = 0; side < 6; ++side) {
            Exact over[3];
            for (int k = 0; k < 3; ++k)
                over[k] = (side & 1 ? -1 : 1) * (static_cast<Exact>(before.vertex[k][side / 2]) -
                                                 Exact{before.vertex[k][3]} * sides[side]);
            inside.push_back({over[0], over[1] - over[0], over[2] - over[0]});
        }
        const int result = clipTriangle(polygon, box);
        ++results[result];
        double area = 0;
        for (int k = 0; k < polygon.count; ++k) {
            const double *a = polygon.vertex[k], *b = polygon.vertex[(k + 1) % polygon.count];
            area += (a[4] * b[5] - a[5] * b[4]) / 2;
        }
        EXPECT_NEAR(area, static_cast<double>(areaOf(inside)), 1e-12) << round;
        EXPECT_TRUE(result != 2 || area == 0.5);
        EXPECT_LE(polygon.count, 9);
    }
    EXPECT_GT(std::min({results[0], results[1], results[2]}), 100);

    ClipPolygon none;
    EXPECT_EQ(clipTriangle(none, {}), 2);
    ClipPolygon touching{3, 15, {{1, -1, 0, 1}, {1, 1, 0, 1}, {0, 0, 1, 1}}};
    EXPECT_EQ(clipTriangle(touching, {}), 2);
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
    qvGeom::CompactMesh mesh =
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
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float points[] = {2, -3, 4, -2, 3, -4, 1, -1, 1, nan, nan, nan, 0, 0, 1.5F};
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

// Against exact clipping by parameter; segments that pass close by an edge may go either way.
TEST(Clip, segmentsAreSeen) {
    test::Random random;
    int wrong = 0, seen = 0;
    constexpr int kRounds = 20000;
    for (int round = 0; round < kRounds; ++round) {
        float p[6];
        for (float& x : p)
            x = qvLinear::narrow(random.number(3));
        double enter = 0, leave = 1;
        for (int side = 0; side < 6; ++side) {
            const double sign = side & 1 ? 1 : -1, a = sign * p[side / 2] - 1,
                         b = sign * p[side / 2 + 3] - 1;
            if (a > 0)
                enter = std::max(enter, b >= 0 ? 2 : a / (a - b));
            else if (b > 0)
                leave = std::min(leave, a / (a - b));
        }
        Clip::LineAlgorithm lines;
        const bool result = lines.evaluateStrip(p, 2, kUnit);
        EXPECT_EQ(lines.evaluateSegments(p, 2, kUnit), result);
        wrong += result != (enter <= leave);
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
        const qvLinear::Range2d region{-1, -0.5, 0.2, 0.9}, all{-1, -1, 1, 1};
        for (const bool whole : {true, false}) {
            const auto [minX, minY, maxX, maxY] = whole ? all : region;
            double nearest[6]; // the corner that is least beyond each side
            std::fill_n(nearest, 6, 1e9);
            for (int k = 0; k < 8; ++k) {
                const HPoint p =
                    HPoint{k & 1 ? box.max[0] : box.min[0], k & 2 ? box.max[1] : box.min[1],
                           k & 4 ? box.max[2] : box.min[2], 1} *
                    widen(m);
                // With w < 0 a corner may be beyond both sides of an axis: the lower one counts.
                const double over[6] = {minX * p.w - p.x, p.x - maxX * p.w, minY * p.w - p.y,
                                        p.y - maxY * p.w, -p.w - p.z,       p.z - p.w};
                for (int side = 0; side < 6; ++side)
                    nearest[side] =
                        std::min(nearest[side],
                                 side & 1 ? std::min(over[side], -over[side - 1]) : over[side]);
            }
            const double most = *std::max_element(nearest, nearest + 6);
            const bool seen = whole ? bboxClipTest(box, m) : bboxClipTest(box, m, region);
            EXPECT_TRUE(std::abs(most) < 1e-5 || seen == (most < 0)) << round << " " << most;
        }
    }
    EXPECT_FALSE(bboxClipTest(BoundingBox(), kUnit));
    const qvGeom::CompactMesh points = test::pointsAlongX(3);
    qvLinear::AffineMatrix move;
    const qvGeom::Frustum frustum(ProjMatrix{move});
    EXPECT_TRUE(intersectBoxFrustum(move, points, frustum));
    move.m[3][0] = 1.5;
    EXPECT_FALSE(intersectBoxFrustum(move, points, frustum));
}

} // namespace
