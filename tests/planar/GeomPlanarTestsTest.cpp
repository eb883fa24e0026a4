#include "qvGeom/planar/GeomPlanarTests.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <utility>
#include <vector>

#include "qvGeom/foundation/geometry/Frustum.h"
#include "qvGeom/foundation/linear/Linear.h"

#include "support/Random.h"

namespace qvGeom {
namespace {

using enum ELineSegmentPolygonIntersection;
using enum EPolygonsIntersection;
using enum pointPolygonRelation;
using qvLinear::Normal;
using qvLinear::Point;
using qvLinear::Point2;
using qvLinear::Point2Flt;
using qvLinear::Polyline2d;
using Corners = std::vector<Point2>;

constexpr double kTol = 1e-9;
const double kNan = std::numeric_limits<double>::quiet_NaN();

/// A point of a small lattice, on which crossings and areas are exact.
Point2 latticePoint(test::Random& random) { return {random.below(9) - 4.0, random.below(9) - 4.0}; }

/// Twice the signed area, exactly.
int turn(const Point2Flt& a, const Point2Flt& b, const Point2Flt& c) {
    return static_cast<int>((b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x));
}

// Against exact signs. Points on the border are in.
TEST(PlanarTests, pointInTriangle) {
    test::Random random;
    const auto any = [&] { return narrow(latticePoint(random)); };
    const auto inSpace = [](const Point2Flt& p) { return Point{p.x, p.y, 0}; };
    for (int round = 0; round < 20000; ++round) {
        const Point2Flt a = any(), b = any(), c = any(), p = any();
        const int area = turn(a, b, c);
        const int way = area < 0 ? -1 : 1;
        const bool inside = area != 0 && way * turn(p, b, c) >= 0 && way * turn(p, c, a) >= 0 &&
                            way * turn(p, a, b) >= 0;
        SCOPED_TRACE(round);
        float u = 7, v = 7;
        // Rounding may move weights of points on an edge.
        const bool onEdge = turn(p, b, c) * turn(p, c, a) * turn(p, a, b) == 0;
        const bool inclusive = isPointInTriangleInclusive(p, a, b, c, u, v);
        EXPECT_TRUE(onEdge || inclusive == inside);
        EXPECT_NEAR(u, area == 0 ? 7 : 1.0 * turn(a, b, p) / area, 1e-5);
        EXPECT_NEAR(v, area == 0 ? 7 : 1.0 * turn(a, p, c) / area, 1e-5);
        float u2, v2;
        EXPECT_EQ(isPointInTriangleDefinitive(p, a, b, c, u2, v2), inclusive);
        EXPECT_EQ(std::pair(u2, v2), area == 0 ? std::pair(FLT_MAX, FLT_MAX) : std::pair(u, v));
        EXPECT_EQ(isPointInTriangleInclusive(inSpace(p), inSpace(a), inSpace(b), inSpace(c)),
                  inside);
    }
    float u, v;
    for (const Point2Flt p : {Point2Flt{0, 0}, {4, 0}, {0, 4}, {2, 2}, {1, 3}, {2, 0}, {0, 3}}) {
        EXPECT_TRUE(isPointInTriangleDefinitive(p, {0, 0}, {4, 0}, {0, 4}, u, v));
        EXPECT_TRUE(isPointInTriangleInclusive(p, {0, 0}, {0, 4}, {4, 0}, u, v));
    }
}

TEST(PlanarTests, triangleInSpace) {
    const Point a{0, 0, 5}, b{1, 0, 5}, c{0, 1, 5};
    EXPECT_EQ(triNormal(a, b, c), Normal::z);
    EXPECT_EQ(triNormal({0, 0, 0}, {1e-9, 0, 0}, {0, 0, 1e-9}), -Normal::y);
    EXPECT_EQ(triNormal({1, 1, 1}, {2, 2, 2}, {3, 3, 3}), Normal::z);
    EXPECT_TRUE(isPointInTriangleInclusive({0.3, 0.3, 5.1}, a, b, c)); // off the plane
    EXPECT_TRUE(isPointInTriangleInclusive({0.5, -0.9e-5, 5}, a, b, c));
    EXPECT_FALSE(isPointInTriangleInclusive({0.5, -1.1e-5, 5}, a, b, c));
    EXPECT_FALSE(isPointInTriangleInclusive({kNan, 0, 5}, a, b, c));
    // The area vector given counts: against the other way round nothing is in.
    EXPECT_FALSE(isPointInTriangleInclusive({0.3, 0.3, 5}, a, b, c, {0, 0, -0.5}));
}

TEST(PlanarTests, pointOnEdge) {
    EXPECT_TRUE(isPointOnEdge({0, 0}, {3, 4}, {1.5, 2}, 1e-12));
    EXPECT_TRUE(isPointOnEdge({0, 0}, {4, 0}, {4.1, 0}, 0.1001));
    EXPECT_FALSE(isPointOnEdge({0, 0}, {4, 0}, {4.2, 0}, 0.1));
    EXPECT_FALSE(isPointOnEdge({0, 0}, {4, 0}, {2, 0.5}, 0.5)); // beside it, less is asked for
    EXPECT_TRUE(isPointOnEdge({1, 1}, {1, 1}, {1.5, 0.5}, 0.5));
    EXPECT_FALSE(isPointOnEdge({1, 1}, {1, 1}, {1.6, 1}, 0.5));
}

/// Where a lattice point lies, by exact crossings of the ray to the right.
pointPolygonRelation exactRelation(const Point2& p, const Corners& corners) {
    bool inside = false;
    for (std::size_t k = 1; k < corners.size(); ++k) {
        const Point2 &a = corners[k - 1], &b = corners[k];
        const double side = cross(b - a, p - a);
        if (side == 0 && dot(p - a, p - b) <= 0)
            return pointOnBoundary;
        if ((a.y > p.y) != (b.y > p.y))
            inside ^= (side > 0) == (b.y > a.y);
    }
    return inside ? pointInside : pointOutside;
}

TEST(PlanarTests, pointInPolygon) {
    test::Random random;
    for (int round = 0; round < 20000; ++round) {
        Corners corners;
        const int n = round % 7;
        for (int k = 0; k < n; ++k)
            corners.push_back(latticePoint(random));
        const Polyline2d open{corners};
        if (n > 0)
            corners.push_back(corners[0]);
        const Point2 p = latticePoint(random);
        const pointPolygonRelation expected = exactRelation(p, corners);
        pointPolygonRelation rel, relOpen;
        EXPECT_EQ(isPointInPolygon(p, corners, rel, kTol), expected != pointOutside);
        EXPECT_EQ(rel, expected);
        EXPECT_EQ(isPointPolygonIntersect(p, open, relOpen, kTol), expected != pointOutside);
        EXPECT_EQ(relOpen, expected);
        // Off the border, and not level with a corner, the test in single precision agrees.
        float single[8][2];
        for (std::size_t k = 0; k < corners.size(); ++k) {
            single[k][0] = qvLinear::narrow(corners[k].x);
            single[k][1] = qvLinear::narrow(corners[k].y);
        }
        const float q[2]{qvLinear::narrow(p.x), qvLinear::narrow(p.y + 0.5)};
        const pointPolygonRelation higher = exactRelation({p.x, p.y + 0.5}, corners);
        EXPECT_TRUE(higher == pointOnBoundary ||
                    pointPolygonIntersect2D(q, single, n) == (n >= 3 && higher == pointInside));
    }

    // On the border.
    const float tooth[][2] = {{0, 0}, {4, 0}, {4, 2}, {2, 1}, {0, 2}, {0, 0}};
    const auto isIn = [&](float x, float y) {
        const float p[2]{x, y};
        return pointPolygonIntersect2D(p, tooth, 5);
    };
    EXPECT_TRUE(isIn(1, 0) && isIn(4, 0)); // on a horizontal edge
    EXPECT_TRUE(isIn(4, 0.5F));            // a crossing at the point itself counts
    EXPECT_FALSE(isIn(1, 1)); // level with a corner where the border turns back, counted once
}

TEST(PlanarTests, segmentAndPolygon) {
    const Polyline2d square{{{0, 0}, {4, 0}, {4, 4}, {0, 4}, {0, 0}}};
    const Polyline2d open{{{0, 0}, {4, 0}, {4, 4}, {0, 4}}};
    const Polyline2d comb{{{0, 0}, {6, 0}, {6, 4}, {4, 4}, {4, 2}, {2, 2}, {2, 4}, {0, 4}, {0, 0}}};

    const struct {
        Point2 a, b;
        const Polyline2d& polygon;
        ELineSegmentPolygonIntersection result;
        Corners points;
        std::vector<double> params;
    } cases[] = {
        {{5, 1}, {6, 3}, square, eSegmentOutside, {}, {}},
        {{1, 1}, {2, 3}, square, eSegmentInside, {}, {}},
        {{1, 1}, {6, 1}, square, eSegmentCrosses, {{4, 1}}, {1.25}},
        {{-1, 1}, {6, 1}, square, eSegmentCrosses, {{4, 1}, {0, 1}}, {1.25, 3.75}},
        {{4, 1}, {6, 1}, square, eSegmentTouchesFromOutside, {{4, 1}}, {1.25}},
        {{4, 1}, {2, 1}, square, eSegmentCrosses, {{4, 1}}, {1.25}},
        {{4, 4}, {6, 6}, square, eSegmentTouchesFromOutside, {{4, 4}}, {2}}, // a corner, once
        {{3, 5}, {5, 3}, square, eSegmentUndetermined, {{4, 4}}, {2}},
        {{1, 0}, {3, 0}, square, eSegmentOverlapsEdge, {}, {0.25}},
        {{1, 3}, {7, 3}, comb, eSegmentUndetermined, {{6, 3}, {4, 3}, {2, 3}}, {1.75, 3.5, 5.5}},
        {{1, 1}, {-1, 1}, open, eSegmentUndetermined, {}, {}}, // through the missing edge
        {{1, 1}, {2, 2}, open, eSegmentInside, {}, {}},
        {{1, 1}, {2, 2}, {}, eSegmentOutside, {}, {}},
    };

    for (const auto& one : cases) {
        SCOPED_TRACE(&one - cases);
        ELineSegmentPolygonIntersection result;
        Corners points{{9, 9}};
        std::vector<double> params{9};
        EXPECT_EQ(
            isLineSegmentPolygonIntersect(one.a, one.b, one.polygon, result, points, params, kTol),
            one.result != eSegmentOutside);
        EXPECT_EQ(result, one.result);
        EXPECT_EQ(points, one.points);
        EXPECT_EQ(params, one.params);
    }
}

double areaOf(const Polyline2d& polygon) {
    double sum = 0;
    for (std::size_t k = 0; k < polygon.vertices.size(); ++k) {
        const Point2& next = polygon.vertices[(k + 1) % polygon.vertices.size()];
        sum += cross(polygon.vertices[k] - Point2{}, next - Point2{}) / 2;
    }
    return std::abs(sum);
}

/// Six bars of random heights from the line y = base up, or down for a negative sign.
Polyline2d randomBars(test::Random& random, double base, int sign, std::vector<double>& ends) {
    Polyline2d border{{{0, base}}};
    for (int x = 0; x < 6; ++x) {
        ends.push_back(base + sign * (1.0 + random.below(3)));
        border.vertices.insert(border.vertices.end(), {{1.0 * x, ends[x]}, {x + 1.0, ends[x]}});
    }
    border.vertices.push_back({6, base});
    return border;
}

// Bars on one line, or hanging down on those from below, share corners and parts of edges in every
// way. Where they overlap in several pieces, these are runs of columns.
TEST(PlanarTests, polygonsAgreeWithBars) {
    test::Random random;
    for (int round = 0; round < 3000; ++round) {
        std::vector<double> up, other;
        const bool hanging = round % 2 == 0;
        const Polyline2d first = randomBars(random, 0, 1, up);
        const Polyline2d second = hanging ? randomBars(random, 3 + round % 3, -1, other)
                                          : randomBars(random, 0, 1, other);
        double run = 0, largest = 0, lastLow = 9, lastHigh = 0;
        for (int x = 0; x < 6; ++x) {
            const double low = hanging ? other[x] : 0,
                         high = hanging ? up[x] : std::min(up[x], other[x]);
            const bool joined = std::max(low, lastLow) < std::min(high, lastHigh);
            run = (joined ? run : 0) + std::max(0.0, high - low);
            largest = std::max(largest, run);
            lastLow = low;
            lastHigh = high;
        }
        const bool firstIn = largest == areaOf(first), secondIn = largest == areaOf(second);
        EPolygonsIntersection result;
        Polyline2d overlap;
        EXPECT_EQ(isPolygonsIntersect(first, second, result, overlap, kTol), largest > 0);
        EXPECT_EQ(result, largest == 0          ? ePolygonsDisjoint
                          : firstIn && secondIn ? ePolygonsEqual
                          : firstIn             ? ePolygonsFirstInside
                          : secondIn            ? ePolygonsSecondInside
                                                : ePolygonsOverlap);
        EXPECT_NEAR(areaOf(overlap), largest, 1e-9) << "round " << round;
        for (const Polyline2d& flat : {Polyline2d{}, Polyline2d{{{0, 0}, {1, 1}, {2, 2}}},
                                       Polyline2d{{{0, 0}, {kNan, 1}, {2, 0}}}}) {
            EXPECT_FALSE(isPolygonsIntersect(first, flat, result, overlap, kTol));
            EXPECT_EQ(result, ePolygonsUndetermined);
        }
    }
}

TEST(PlanarTests, planeAndTriangle) {
    const double plane[4] = {0, 0, 2, -2}; // z = 1, not of unit length
    const Point low{0, 0, 0}, lower{2, 0, 0}, on{0, 2, 1}, onToo{4, 2, 1}, high{0, 2, 2};

    const struct {
        Point a, b, c, p, q; // equal where there is no segment
    } cases[] = {
        {low, lower, high, {0, 1, 1}, {1, 1, 1}}, // along n x the normal, which points to -y and z
        {low, high, lower, {1, 1, 1}, {0, 1, 1}},
        {low, onToo, on, on, onToo},
        {high, on, onToo, on, onToo},
        {lower, on, high, {1, 1, 1}, on},
        {low, lower, on, {}, {}}, // with a corner only
        {on, onToo, {1, 1, 1}, {}, {}},
        {low, lower, {0, 2, 1.05}, {}, {}}, // as good as on it
    };

    for (const auto& one : cases) {
        Point p{}, q{};
        EXPECT_EQ(intersect(plane, one.a, one.b, one.c, 0.1, p, q), !(one.p == one.q));
        EXPECT_EQ(p, one.p) << &one - cases;
        EXPECT_EQ(q, one.q) << &one - cases;
    }
}

TEST(PlanarTests, pointInFrustum) {
    const Frustum cube(qvLinear::ProjMatrix(qvLinear::AffineMatrix{}));
    EXPECT_TRUE(pointFrustumIntersect({1, -1, 1 + 0.5e-12}, cube));
    EXPECT_FALSE(pointFrustumIntersect({0, 0, -1 - 3e-12}, cube));
    for (int k = 0; k < 6; ++k) {
        double p[3] = {0, 0, 0};
        p[k / 2] = k % 2 ? 1.01 : -1.01;
        EXPECT_FALSE(pointFrustumIntersect({p[0], p[1], p[2]}, cube)) << k;
    }
}

} // namespace
} // namespace qvGeom
