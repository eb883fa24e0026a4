#include "qvGeom/planar/GeomPlaneFit.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <numbers>
#include <random>
#include <vector>

#include "qvGeom/foundation/linear/Linear.h"

namespace {

using qvGeom::fit;
using qvGeom::fitWithEndsOnPlane;
using qvLinear::Normal;
using qvLinear::Plane;
using qvLinear::Point;
using qvLinear::Vector;
using Points = std::vector<Point>;

double squaresFrom(const Points& points, const Point& through, const Vector& normal) {
    double sum = 0;
    for (const Point& p : points)
        sum += dot(p - through, normal) * dot(p - through, normal);
    return sum;
}

/// Points about `center`, that far along three directions at right angles to each other.
Points cloud(std::mt19937& random, const Point& center, const Vector& extent) {
    std::uniform_real_distribution<double> unit(-1, 1);
    const Normal x(unit(random), unit(random), unit(random));
    const Normal y(static_cast<const Vector&>(x).orthogonalVector()), z(cross(x, y));
    Points points;
    for (int k = 0; k < 20; ++k)
        points.push_back(center + x * (extent.x * unit(random)) + y * (extent.y * unit(random)) +
                         z * (extent.z * unit(random)));
    return points;
}

void expectUnit(const Plane& plane) {
    EXPECT_NEAR(static_cast<const Vector&>(plane.normal).length(), 1, 1e-14);
}

// No plane turned a little from the best one, whichever way, may be better. Catches the wrong
// eigenvalue, and one that has lost its digits where two of them are close or one is tiny.
TEST(PlaneFit, findsTheLeastSquares) {
    std::mt19937 random(1);
    for (const Vector extent : {Vector{1, 1, 1},
                                {1, 0.9, 1e-3},
                                {1, 1e-3, 1e-3},
                                {1, 1e-3, 1e-6},
                                {1, 1e-4, 1e-9},
                                {1, 1, 1e-9},
                                {1e-7, 1e-7, 1e-8},
                                {1e30, 1e30, 1e29},
                                {1, 1e-12, 0}}) {
        for (int round = 0; round < 50; ++round) {
            const double scale = extent.x;
            const Points points = cloud(random, {3 * scale, -2 * scale, scale}, extent);
            Plane plane;
            ASSERT_TRUE(fit(20, points.data(), plane));
            expectUnit(plane);
            const Vector u = static_cast<const Vector&>(plane.normal).orthogonalVector();
            const Vector v = cross(plane.normal, u);
            const double least = squaresFrom(points, plane.point, plane.normal);
            const double noise = 1e-28 * scale * scale; // of points a few units from the origin
            for (int way = 0; way < 12; ++way) {
                const double angle = way * std::numbers::pi / 6;
                for (const double turn : {1e-4, 1e-2, 1.0}) {
                    const Vector side = combine(std::cos(angle), u, std::sin(angle), v);
                    const Normal other(plane.normal + turn * side);
                    EXPECT_LE(least, squaresFrom(points, plane.point, other) * (1 + 1e-9) + noise)
                        << extent.y << " " << extent.z << " round " << round;
                }
            }
            Point moved = plane.point + 0.01 * extent.z * plane.normal;
            EXPECT_LE(least, squaresFrom(points, moved, plane.normal) + noise);
        }
    }
}

TEST(PlaneFit, answersForDegeneratePoints) {
    Plane plane({1, 2, 3}, Normal::x);
    EXPECT_FALSE(fit(2, Points(2).data(), plane));
    EXPECT_EQ(plane.normal, Normal());
    EXPECT_EQ(plane.point, Point{});
    EXPECT_EQ(plane.d, 0);
    const double nan = std::numeric_limits<double>::quiet_NaN();
    for (const Points& points :
         {Points(3, {5, 6, 7}), Points{{1, 1, 1}, {2, 2, 2}, {4, 4, 4}},
          Points{{1, 0, 0}, {0, 1, 0}, {nan, 0, 1}},
          Points{{1, 0, 0}, {-1, 0, 0}, {0, 1, 0}, {0, -1, 0}, {0, 0, 1}, {0, 0, -1}}}) {
        EXPECT_TRUE(fit(static_cast<int>(points.size()), points.data(), plane));
        expectUnit(plane);
    }
}

TEST(PlaneFit, holdsTheEnds) {
    std::mt19937 random(2);
    for (const Vector extent : {Vector{1, 1, 1}, {1, 0.5, 0.01}, {1, 1e-6, 1e-9}}) {
        for (int round = 0; round < 50; ++round) {
            const Points points = cloud(random, {1, 2, 3}, extent);
            Plane plane;
            ASSERT_TRUE(fitWithEndsOnPlane(20, points.data(), plane));
            expectUnit(plane);
            EXPECT_NEAR(plane.eval(points.front()), 0, 1e-15);
            EXPECT_NEAR(plane.eval(points.back()), 0, 1e-15);
            const Normal line(points.back() - points.front());
            const Vector across = cross(line, plane.normal);
            const double least = squaresFrom(points, points[0], plane.normal);
            for (int way = 1; way < 90; ++way) {
                const double angle = way * std::numbers::pi / 90;
                const Vector other =
                    combine(std::cos(angle), plane.normal, std::sin(angle), across);
                EXPECT_LE(least, squaresFrom(points, points[0], other) * (1 + 1e-9) + 1e-29);
            }
        }
    }

    Plane plane;
    const Points square{{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 0, 0}};
    EXPECT_FALSE(fitWithEndsOnPlane(4, square.data(), plane)); // the ends coincide
    EXPECT_FALSE(fitWithEndsOnPlane(2, square.data(), plane));
    EXPECT_EQ(plane.normal, Normal());
    EXPECT_TRUE(fitWithEndsOnPlane(3, square.data(), plane));
    EXPECT_NEAR(std::abs(plane.normal[2]), 1, 1e-15);
}

} // namespace
