#include "qvGeom/foundation/linear/Intersect.h"

#include <cmath>
#include <gtest/gtest.h>

#include "qvGeom/foundation/linear/Tolerances.h"

namespace qvLinear {
namespace {

constexpr double kInf = INFINITY, kNaN = NAN;

TEST(Range, growsFromEmptyAndCollapsesSmallOverlapsToExactlyZero) {
    Range3d box;
    box.setEmpty();
    for (const double value : {kNaN, 3.0, 1.0, kNaN, 2.0})
        box.include({value, -value, kNaN});
    EXPECT_TRUE(box.min.x == 1.0 && box.max.y == -1.0);
    EXPECT_TRUE(box.isEmpty()); // nothing was seen along z

    const struct {
        Range1d a, b;
        double size;
    } cases[] = {{{0, 9}, {1, 3}, 2},    {{0, 1}, {2, 3}, 0},        {{0, 1.25}, {1, 2}, 0},
                 {{0, 1}, {kNaN, 2}, 0}, {{0, 1.26}, {1, 2}, 0.26},  {{0, 9}, {5, 1}, 0},
                 {{0, 2}, {1, 3}, 1},    {{kInf, -kInf}, {1, 3}, 0}, {{kInf, kInf}, {1, kInf}, 0}};

    for (const auto& [a, b, size] : cases) {
        EXPECT_DOUBLE_EQ(intersect(a, b, 0.25).size(), size) << a.lo << ' ' << a.hi;
        EXPECT_DOUBLE_EQ(intersect(b, a, 0.25).size(), size) << a.lo << ' ' << a.hi;
    }
}

TEST(Intersect, planesMeetInALineUnlessNearlyParallel) {
    // Far from the world origin, where offsets from it have lost eight digits.
    const Plane a({1e8, 1e8, 3}, Normal(1, 2, -1)), b({1e8 + 1, 1e8, 5}, Normal(-3, 1, 1));
    bool ok = false;
    const ParamLine line = intersect(a, b, ok);
    ASSERT_TRUE(ok);
    EXPECT_NEAR(line.direction.length(), 1.0, 1e-15);
    EXPECT_GT(dot(line.direction, cross(a.normal, b.normal)), 0.0);
    for (const double t : {-10.0, 0.0, 10.0}) {
        EXPECT_NEAR(a.eval(line.at(t)), 0.0, 1e-7);
        EXPECT_NEAR(b.eval(line.at(t)), 0.0, 1e-7);
    }
    const Plane ground({0, 0, 0}, Normal::z);
    for (const double side : {1.0, -1.0}) {
        for (const auto& [sine, wanted] : {std::pair{0.99, false}, {1.01, true}, {kNaN, false}}) {
            ok = !wanted;
            intersect(ground, Plane({0, 0, 1}, Normal(sine * parallelTol, 0.0, side)), ok);
            EXPECT_EQ(ok, wanted) << sine;
        }
    }
}

TEST(Intersect, linesMeetPlanesAndLines) {
    const Plane plane({0, 0, 2}, Normal::z);
    Point p, q;
    ASSERT_TRUE(intersect(plane, Line{{1, 1, 5}, {1, 0, -1}}, p));
    EXPECT_EQ(p, (Point{4, 1, 2}));
    EXPECT_FALSE(intersect(plane, Line{{0, 0, 5}, {1, 0, 1e-13}}, p));
    ASSERT_TRUE(intersect(Line{{5, 0, 0}, {2, 0, 0}}, Line{{1, 7, 3}, {0, -4, 0}}, p, q));
    EXPECT_TRUE(equivalent(p, {1, 0, 0}, 1e-15));
    EXPECT_TRUE(equivalent(q, {1, 0, 3}, 1e-15));
    EXPECT_FALSE(intersect(Line{{0, 0, 0}, {1, 0, 0}}, Line{{0, 1, 0}, {-1, 1e-6, 0}}, p, q));
}

/// Checks one pair of segments in all eight orders and directions.
void checkSegments(Point2 a0, Point2 a1, Point2 b0, Point2 b1, SegmentRelation wanted) {
    const double tol = 1e-6;
    for (int k = 0; k < 8; ++k) {
        Point2 at{};
        double ta = -1, tb = -1;
        ASSERT_EQ(doLineSegmentsIntersect(a0, a1, b0, b1, at, ta, tb, tol), wanted)
            << a0.x << ',' << a0.y << ' ' << b0.x << ',' << b0.y;
        if (wanted == SegmentRelation::Apart) {
            EXPECT_EQ(ta, -1.0);
        } else {
            EXPECT_TRUE(ta >= 0 && ta <= 1 && tb >= 0 && tb <= 1);
            EXPECT_LE(distance(a0 + (a1 - a0) * ta, b0 + (b1 - b0) * tb), tol);
            EXPECT_LE(distance(a0 + (a1 - a0) * ta, at), tol);
        }
        // Exchanging and reversing one comes back after four times.
        std::swap(a0, b0);
        std::swap(a1, b1);
        if (k != 3)
            std::swap(a0, a1);
    }
}

TEST(DoLineSegmentsIntersect, tellsCrossingFromOverlapAndApart) {
    using enum SegmentRelation;
    checkSegments({0, 0}, {2, 2}, {0, 2}, {2, 0}, Crossing);
    checkSegments({0, 0}, {2, 0}, {1, 0}, {1, 5}, Crossing);    // end on the middle
    checkSegments({0, 0}, {2, 0}, {1, 5e-7}, {1, 5}, Crossing); // end within the tolerance
    checkSegments({0, 0}, {2, 0}, {2 + 5e-7, 3}, {2 + 5e-7, -3}, Crossing);
    checkSegments({0, 0}, {2, 0}, {2, 0}, {5, 0}, Crossing); // end to end on one line
    checkSegments({0, 0}, {2, 0}, {1, 0}, {1, 0}, Crossing); // a point on it
    checkSegments({0, 0}, {9, 9}, {3, 3}, {4, 4}, Overlapping);
    checkSegments({0, 0}, {1e3, 0}, {3, 2e-7}, {4, -2e-7}, Overlapping); // one aims badly
    checkSegments({0, 0}, {2, 0}, {3, 0}, {5, 0}, Apart);
    checkSegments({0, 0}, {2, 0}, {0, 2e-6}, {2, 2e-6}, Apart);
    checkSegments({0, 0}, {2, 0}, {3, -1}, {3, 1}, Apart);
    checkSegments({0, 0}, {2, 0}, {1, 1e-5}, {1, 5}, Apart);
    checkSegments({0, 0}, {2, 0}, {kNaN, 0}, {1, 5}, Apart);
}

} // namespace
} // namespace qvLinear
