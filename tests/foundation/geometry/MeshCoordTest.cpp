#include "qvGeom/foundation/geometry/MeshCoord.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <gtest/gtest.h>

#include "qvGeom/foundation/geometry/MeshTriangle.h"
#include "qvGeom/foundation/geometry/MeshVertex.h"

#include "support/Random.h"

namespace qvGeom {
namespace {

using qvLinear::Point;

constexpr MeshTriangle kFirstThree = {{0, 1, 2}};

/// In a convex set q is closest to p exactly if no point of it lies ahead of q towards p; for a
/// triangle the corners decide.
void expectClosest(const Point& a, const Point& b, const Point& c, const Point& p, double size) {
    const MeshCoordBase coord = MeshCoordBase::projectBase(a, b, c, p);
    const auto& w = coord.w;
    ASSERT_TRUE(w[0] >= 0 && w[1] >= 0 && w[2] >= 0) << w[0] << ' ' << w[1] << ' ' << w[2];
    ASSERT_NEAR(w[0] + w[1] + w[2], 1, 1e-15);
    const Point q = coord.evaluateBase(a, b, c);
    for (const Point& corner : {a, b, c})
        EXPECT_LE(dot(p - q, corner - q), 1e-14 * size * size);
}

TEST(ProjectBase, findsTheClosestPoint) {
    test::Random random;
    for (int i = 0; i < 50000; ++i) {
        SCOPED_TRACE(i);
        const double size = std::pow(10, i % 13 - 6);
        const Point a = random.point(size);
        const Point b = i % 11 == 0 ? a : random.point(size);
        const Point onLine = a + random.number() * 2 * (b - a);
        // From plump to collapsed: the third corner nears the line of the others.
        const double height = i % 17 == 0 ? 0 : std::pow(10, -(i % 19));
        const Point c = i % 23 == 0 ? a : onLine + height * (random.point(size) - onLine);
        expectClosest(a, b, c, random.point(size * (i % 5)), 5 * size);
        expectClosest(a, b, c, combine(0.3, a, 0.3, b, 0.4, c), 5 * size);
    }
}

TEST(MeshCoord, staysOnThePlaneUnclamped) {
    const MeshVertex vertices[] = {{9, 9, 9}, {0, 0, 1}, {2, 0, 1}, {0, 4, 1}};
    const MeshTriangle triangles[] = {{{0, 1, 2}}, {{1, 2, 3}}};

    for (const auto& [p, w] :
         {std::pair<Point, std::array<double, 3>>{{0.5, 1, 7}, {0.5, 0.25, 0.25}},
          {{-2, 0, -3}, {2, -1, 0}},
          {{0, -8, 0}, {3, 0, -2}}}) {
        MeshCoord coord;
        coord.setFromPoint(1, vertices, triangles, p);
        EXPECT_EQ(coord.triangle, 1);
        EXPECT_TRUE(std::equal(w.begin(), w.end(), coord.w)) << p.x << ' ' << p.y;
        EXPECT_EQ(coord.evaluate(vertices, triangles), (Point{p.x, p.y, 1}));
    }
}

TEST(MeshCoord, fallsBackToTheClosestPointWithoutAPlane) {
    const MeshVertex segment[] = {{0, 0, 0}, {1, 1, 1}, {3, 3, 3}};
    MeshCoord coord;
    coord.setFromPoint(0, segment, &kFirstThree, {2.5, 2, 1.5});
    EXPECT_NEAR(distance(coord.evaluate(segment, &kFirstThree), Point{2, 2, 2}), 0, 1e-15);
    const MeshVertex thin[] = {{0, 0, 0}, {1e10f, 0, 0}, {5e9f, 1e-3f, 0}};
    coord.setFromPoint(0, thin, &kFirstThree, {5e9, 3e9, 1});
    EXPECT_EQ(coord.w[2], 1);
}

// Catches overflow, underflow and 0 / 0 in the products.
TEST(MeshCoord, isFiniteForEveryFiniteInput) {
    const float extremes[] = {0, 1, -1, 1e-45f, 1e-20f, 3.4e38f, -3.4e38f};
    const double far[] = {0, 0.5, 1e-300, 1e38, -1.7e308};
    test::Random random(4);
    const auto pick = [&random](const auto& values) {
        return values[random.below(static_cast<int>(std::size(values)))];
    };
    for (int i = 0; i < 50000; ++i) {
        MeshVertex vertices[3];
        for (MeshVertex& v : vertices)
            v = {pick(extremes), pick(extremes), pick(extremes)};
        const Point p = {pick(far), pick(far), pick(far)};
        MeshCoord coord;
        coord.setFromPoint(0, vertices, &kFirstThree, p);
        for (const double w : coord.w)
            ASSERT_TRUE(std::isfinite(w)) << i;
    }
}

} // namespace
} // namespace qvGeom
