#include "qvGeom/planar/GeomPlanarTests.h"

#include <cfloat>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <set>
#include <utility>
#include <vector>

#include "qvGeom/foundation/geometry/Frustum.h"
#include "qvGeom/foundation/linear/Linear.h"

namespace {

using qvGeom::ELineSegmentPolygonIntersection;
using qvGeom::EPolygonsIntersection;
using qvGeom::isPointInTriangleDefinitive;
using qvGeom::isPointInTriangleInclusive;
using qvGeom::pointPolygonRelation;
using enum qvGeom::ELineSegmentPolygonIntersection;
using enum qvGeom::EPolygonsIntersection;
using enum qvGeom::pointPolygonRelation;
using qvLinear::Normal;
using qvLinear::Point;
using qvLinear::Point2;
using qvLinear::Point2Flt;
using qvLinear::Polyline2d;
using Corners = std::vector<Point2>;

constexpr double kTol = 1e-9;
const double kNan = std::numeric_limits<double>::quiet_NaN();

/// Points of a small lattice, on which crossings and areas are exact.
struct Lattice {
    std::mt19937 random{1};

    short operator()() { return std::uniform_int_distribution<short>(-4, 4)(random); }
};

/// Twice the signed area, exactly.
int turn(const Point2Flt& a, const Point2Flt& b, const Point2Flt& c) {
    return static_cast<int>((b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x));
}

Point raised(const Point2Flt& p, double z) { return {p.x, p.y, z}; }

TEST(PlanarTests, triNormalTellsTheFrontSide) {
    EXPECT_EQ(qvGeom::triNormal({0, 0, 0}, {2, 0, 0}, {0, 3, 0}), Normal::z);
    EXPECT_EQ(qvGeom::triNormal({0, 0, 0}, {1e-9, 0, 0}, {0, 0, 1e-9}), -Normal::y);
    EXPECT_EQ(qvGeom::triNormal({1, 1, 1}, {2, 2, 2}, {3, 3, 3}), Normal::z);
}

// Against exact signs. Points on the border are in.
TEST(PlanarTests, pointInTriangle) {
    Lattice lattice;
    const auto any = [&] { return Point2Flt{1.0F * lattice(), 1.0F * lattice()}; };
    for (int round = 0; round < 20000; ++round) {
        const Point2Flt a = any(), b = any(), c = any(), p = any();
        const int area = turn(a, b, c);
        const int way = area < 0 ? -1 : 1;
        const bool inside = area != 0 && way * turn(p, b, c) >= 0 && way * turn(p, c, a) >= 0 &&
                            way * turn(p, a, b) >= 0;
        SCOPED_TRACE(testing::Message() << a.x << " " << a.y << ", " << b.x << " " << b.y << ", "
                                        << c.x << " " << c.y << ": " << p.x << " " << p.y);
        float u = 7, v = 7;
        // Rounding moves weights by an ulp or two, so points just on an edge are tested below.
        const bool onEdge = turn(p, b, c) * turn(p, c, a) * turn(p, a, b) == 0;
        const bool inclusive = isPointInTriangleInclusive(p, a, b, c, u, v);
        if (area == 0) {
            EXPECT_FALSE(inclusive);
            EXPECT_EQ(std::pair(u, v), std::pair(7.0F, 7.0F));
        } else {
            EXPECT_TRUE(onEdge || inclusive == inside);
            EXPECT_NEAR(u, 1.0 * turn(a, b, p) / area, 1e-5);
            EXPECT_NEAR(v, 1.0 * turn(a, p, c) / area, 1e-5);
        }
        float u2, v2;
        EXPECT_EQ(isPointInTriangleDefinitive(p, a, b, c, u2, v2), inclusive);
        EXPECT_EQ(std::pair(u2, v2), area == 0 ? std::pair(FLT_MAX, FLT_MAX) : std::pair(u, v));
        EXPECT_EQ(
            isPointInTriangleInclusive(raised(p, 0), raised(a, 0), raised(b, 0), raised(c, 0)),
            inside);
    }
    float u, v;
    for (const Point2Flt p : {Point2Flt{0, 0}, {4, 0}, {0, 4}, {2, 2}, {1, 3}, {2, 0}, {0, 3}}) {
        EXPECT_TRUE(isPointInTriangleDefinitive(p, {0, 0}, {4, 0}, {0, 4}, u, v));
        EXPECT_TRUE(isPointInTriangleInclusive(p, {0, 0}, {0, 4}, {4, 0}, u, v));
    }
    // Thinner than the tolerance, for one of the two.
    EXPECT_FALSE(isPointInTriangleDefinitive({0, 0}, {0, 0}, {1, 0}, {0, 1e-7F}, u, v));
    EXPECT_TRUE(isPointInTriangleInclusive({0, 0}, {0, 0}, {1, 0}, {0, 1e-7F}, u, v));
}

TEST(PlanarTests, pointInTriangleInSpace) {
    const Point a{0, 0, 5}, b{1, 0, 5}, c{0, 1, 5};
    const auto isIn = [&](const Point& p) { return isPointInTriangleInclusive(p, a, b, c); };
    EXPECT_TRUE(isIn({0.3, 0.3, 5.1})); // off the plane
    EXPECT_TRUE(isIn({0.5, -0.9e-5, 5}));
    EXPECT_FALSE(isIn({0.5, -1.1e-5, 5}));
    EXPECT_FALSE(isIn({kNan, 0, 5}));
    // The area vector given counts: against the other way round nothing is in.
    EXPECT_FALSE(isPointInTriangleInclusive({0.3, 0.3, 5}, a, b, c, {0, 0, -0.5}));
}

TEST(PlanarTests, pointOnEdge) {
    EXPECT_TRUE(qvGeom::isPointOnEdge({0, 0}, {3, 4}, {1.5, 2}, 1e-12));
    EXPECT_TRUE(qvGeom::isPointOnEdge({0, 0}, {4, 0}, {4.1, 0}, 0.1001));
    EXPECT_FALSE(qvGeom::isPointOnEdge({0, 0}, {4, 0}, {4.2, 0}, 0.1));
    EXPECT_FALSE(
        qvGeom::isPointOnEdge({0, 0}, {4, 0}, {2, 0.5}, 0.5)); // beside it, less is asked for
    EXPECT_TRUE(qvGeom::isPointOnEdge({1, 1}, {1, 1}, {1.5, 0.5}, 0.5));
    EXPECT_FALSE(qvGeom::isPointOnEdge({1, 1}, {1, 1}, {1.6, 1}, 0.5));
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
    Lattice lattice;
    for (int round = 0; round < 20000; ++round) {
        Corners corners;
        const int n = round % 7;
        for (int k = 0; k < n; ++k)
            corners.push_back({1.0 * lattice(), 1.0 * lattice()});
        const Polyline2d open{corners};
        if (n > 0)
            corners.push_back(corners[0]);
        const Point2 p{1.0 * lattice(), 1.0 * lattice()};
        const pointPolygonRelation expected = exactRelation(p, corners);
        pointPolygonRelation rel, relOpen;
        EXPECT_EQ(qvGeom::isPointInPolygon(p, corners, rel, kTol), expected != pointOutside);
        EXPECT_EQ(rel, expected);
        EXPECT_EQ(qvGeom::isPointPolygonIntersect(p, open, relOpen, kTol),
                  expected != pointOutside);
        EXPECT_EQ(relOpen, expected);
        // Off the border, and not level with a corner, the test in single precision agrees.
        float single[8][2];
        for (std::size_t k = 0; k < corners.size(); ++k) {
            single[k][0] = static_cast<float>(corners[k].x);
            single[k][1] = static_cast<float>(corners[k].y);
        }
        const float q[2]{static_cast<float>(p.x), static_cast<float>(p.y) + 0.5F};
        const pointPolygonRelation higher = exactRelation({p.x, p.y + 0.5}, corners);
        EXPECT_TRUE(higher == pointOnBoundary || qvGeom::pointPolygonIntersect2D(q, single, n) ==
                                                     (n >= 3 && higher == pointInside));
    }
}

TEST(PlanarTests, pointPolygonIntersect2DOnTheBorder) {
    const float square[][2] = {{0, 0}, {2, 0}, {2, 2}, {0, 2}, {0, 0}};
    const auto isIn = [&](float x, float y) {
        const float p[2]{x, y};
        return qvGeom::pointPolygonIntersect2D(p, square, 4);
    };
    EXPECT_TRUE(isIn(1, 0) && isIn(1, 2) && isIn(0, 0) && isIn(2, 2)); // horizontal edges
    EXPECT_TRUE(isIn(2, 1));  // a crossing at the point itself counts
    EXPECT_FALSE(isIn(0, 1)); // as do two
    EXPECT_FALSE(isIn(3, 0));
    const float tooth[][2] = {{0, 0}, {4, 0}, {4, 2}, {2, 1}, {0, 2}, {0, 0}};
    const float level[2]{1, 1}; // with a corner where the border turns back, counted once
    EXPECT_FALSE(qvGeom::pointPolygonIntersect2D(level, tooth, 5));
    const float p[2]{1, 1};
    EXPECT_FALSE(qvGeom::pointPolygonIntersect2D(p, square, 2));
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
        {{-1, 3},
         {7, 3},
         comb,
         eSegmentUndetermined,
         {{6, 3}, {4, 3}, {2, 3}, {0, 3}},
         {1.75, 3.5, 5.5, 7.25}},
        {{1, 1}, {-1, 1}, open, eSegmentUndetermined, {}, {}}, // through the missing edge
        {{1, 1}, {2, 2}, open, eSegmentInside, {}, {}},
        {{1, 1}, {2, 2}, {}, eSegmentOutside, {}, {}},
    };

    for (const auto& one : cases) {
        SCOPED_TRACE(testing::Message()
                     << one.a.x << " " << one.a.y << " to " << one.b.x << " " << one.b.y);
        ELineSegmentPolygonIntersection result;
        Corners points{{9, 9}};
        std::vector<double> params{9};
        EXPECT_EQ(qvGeom::isLineSegmentPolygonIntersect(one.a, one.b, one.polygon, result, points,
                                                        params, kTol),
                  one.result != eSegmentOutside);
        EXPECT_EQ(result, one.result);
        EXPECT_EQ(points, one.points);
        EXPECT_EQ(params, one.params);
    }
}

using Cells = std::set<std::pair<int, int>>;

/// A random union of unit squares whose border is one simple loop, and that border.
Cells randomCells(std::mt19937& random, Corners& border) {
    const int width = 1 + static_cast<int>(random() % 5);
    const int left = static_cast<int>(random() % 3), bottom = static_cast<int>(random() % 3);
    Cells cells;
    Corners top;
    border = {{left + 1.0 * width, 1.0 * bottom}, {1.0 * left, 1.0 * bottom}};
    if (random() % 2 == 0) // with corners in the middle of an edge
        border = {border[0], {left + 1.0, 1.0 * bottom}, border[1]};
    for (int x = left; x < left + width; ++x) {
        const int height = 1 + static_cast<int>(random() % 4);
        for (int y = bottom; y < bottom + height; ++y)
            cells.emplace(x, y);
        border.push_back({1.0 * x, 1.0 * (bottom + height)});
        border.push_back({x + 1.0, 1.0 * (bottom + height)});
    }
    if (random() % 2 == 0)
        return cells;
    Cells turned; // by a quarter
    for (const auto& [x, y] : cells)
        turned.emplace(-1 - y, x);
    for (Point2& p : border)
        p = {-p.y, p.x};
    return turned;
}

/// The number of squares in the largest piece; taken out of `cells` piece by piece.
int largestPiece(Cells cells) {
    int largest = 0;
    while (!cells.empty()) {
        std::vector<std::pair<int, int>> open{*cells.begin()};
        cells.erase(cells.begin());
        int size = 0;
        for (; !open.empty(); ++size) {
            const auto [x, y] = open.back();
            open.pop_back();
            for (const auto& next : {std::pair{x + 1, y}, {x - 1, y}, {x, y + 1}, {x, y - 1}}) {
                if (cells.erase(next) > 0)
                    open.push_back(next);
            }
        }
        largest = std::max(largest, size);
    }
    return largest;
}

double areaOf(const Corners& corners) {
    double sum = 0;
    for (std::size_t k = 1; k < corners.size(); ++k)
        sum += cross(corners[k - 1] - Point2{}, corners[k] - Point2{}) / 2;
    return sum;
}

// Unions of unit squares, which share corners and parts of edges in every way.
TEST(PlanarTests, polygonsAgreeWithSetsOfSquares) {
    std::mt19937 random(3);
    for (int round = 0; round < 5000; ++round) {
        Polyline2d first, second, overlap;
        const Cells a = randomCells(random, first.vertices);
        const Cells b = randomCells(random, second.vertices);
        Cells common;
        for (const auto& cell : a) {
            if (b.contains(cell))
                common.insert(cell);
        }
        EPolygonsIntersection expected = common.empty() ? ePolygonsDisjoint
                                         : a == b       ? ePolygonsEqual
                                         : common == a  ? ePolygonsFirstInside
                                         : common == b  ? ePolygonsSecondInside
                                                        : ePolygonsOverlap;
        EPolygonsIntersection result;
        EXPECT_EQ(qvGeom::isPolygonsIntersect(first, second, result, overlap, kTol),
                  !common.empty());
        ASSERT_EQ(result, expected) << "round " << round;
        EXPECT_NEAR(areaOf(overlap.vertices), largestPiece(common), 1e-9) << "round " << round;
        EXPECT_EQ(overlap.isClosed(), !common.empty());
    }
}

TEST(PlanarTests, polygonsAtAnyAngle) {
    const Polyline2d square{{{0, 0}, {2, 0}, {2, 2}, {0, 2}, {0, 0}}};
    const Polyline2d diamond{{{1, -1}, {-1, 1}, {1, 3}, {3, 1}}}; // touches all four corners
    const Polyline2d kite{{{1, 1}, {3, 0.5}, {4, 1}, {3, 1.5}}};
    EPolygonsIntersection result;
    Polyline2d overlap;
    EXPECT_TRUE(qvGeom::isPolygonsIntersect(diamond, square, result, overlap, kTol));
    EXPECT_EQ(result, ePolygonsSecondInside);
    EXPECT_TRUE(qvGeom::isPolygonsIntersect(square, kite, result, overlap, kTol));
    EXPECT_EQ(result, ePolygonsOverlap);
    EXPECT_EQ(overlap.vertices.size(), 4U);
    EXPECT_NEAR(areaOf(overlap.vertices), 0.25, 1e-12);
    for (const Polyline2d& flat :
         {Polyline2d{}, Polyline2d{{{0, 0}, {1, 1}}}, Polyline2d{{{0, 0}, {1, 1}, {2, 2}}},
          Polyline2d{{{0, 0}, {kNan, 1}, {2, 0}}}}) {
        EXPECT_FALSE(qvGeom::isPolygonsIntersect(square, flat, result, overlap, kTol));
        EXPECT_EQ(result, ePolygonsUndetermined);
        EXPECT_TRUE(overlap.vertices.empty());
    }
}

TEST(PlanarTests, planeAndTriangle) {
    const double plane[4] = {0, 0, 2, -2}; // z = 1, not of unit length
    const Point low{0, 0, 0}, lower{2, 0, 0}, on{0, 2, 1}, onToo{4, 2, 1}, high{0, 2, 2};
    Point p, q;
    ASSERT_TRUE(qvGeom::intersect(plane, low, lower, high, 0, p, q));
    EXPECT_EQ(p, (Point{0, 1, 1})); // along n x the normal, which points to -y and z
    EXPECT_EQ(q, (Point{1, 1, 1}));
    ASSERT_TRUE(qvGeom::intersect(plane, low, high, lower, 0, p, q)); // seen from behind
    EXPECT_EQ(p, (Point{1, 1, 1}));
    ASSERT_TRUE(qvGeom::intersect(plane, lower, on, high, 0, p, q)); // through a corner
    EXPECT_TRUE(p == on || q == on);
    ASSERT_TRUE(qvGeom::intersect(plane, on, low, onToo, 0, p, q)); // along an edge
    EXPECT_TRUE((p == on && q == onToo) || (q == on && p == onToo));
    EXPECT_FALSE(qvGeom::intersect(plane, low, lower, on, 0, p, q)); // with a corner only
    EXPECT_FALSE(qvGeom::intersect(plane, on, onToo, {1, 1, 1}, 0, p, q));
    EXPECT_FALSE(qvGeom::intersect(plane, low, lower, {0, 2, 0.5}, 0, p, q));
    EXPECT_FALSE(qvGeom::intersect(plane, low, lower, {0, 2, 1.05}, 0.1, p, q)); // as good as on it
    const double none[4] = {0, 0, 0, 0};
    EXPECT_FALSE(qvGeom::intersect(none, low, lower, high, 0, p, q));
}

TEST(PlanarTests, pointInFrustum) {
    qvLinear::ProjMatrix identity;
    for (int k = 0; k < 4; ++k)
        identity.m[k][k] = 1;
    const qvGeom::Frustum cube(identity);
    EXPECT_TRUE(qvGeom::pointFrustumIntersect({0, 0, 0}, cube));
    EXPECT_TRUE(qvGeom::pointFrustumIntersect({1, -1, 1 + 0.5e-12}, cube));
    for (const Point& p : {Point{1.01, 0, 0},
                           {-1.01, 0, 0},
                           {0, 1.01, 0},
                           {0, -1.01, 0},
                           {0, 0, 1.01},
                           {0, 0, -1.01},
                           {0, 0, 1 + 3e-12}})
        EXPECT_FALSE(qvGeom::pointFrustumIntersect(p, cube));
}

} // namespace
