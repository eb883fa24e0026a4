#include "qvGeom/planar/GeomPlaneFit.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <numbers>
#include <vector>

#include "qvGeom/foundation/linear/Linear.h"

#include "support/Random.h"

namespace qvGeom {
namespace {

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

// No plane turned or moved a little from the best one may be better. Catches the wrong eigenvalue,
// and one that has lost its digits where two of them are close or one is tiny.
TEST(PlaneFit, findsTheLeastSquares) {
    test::Random random;
    for (const Vector extent : {Vector{1, 1, 1},
                                {1, 0.9, 1e-3},
                                {1, 1e-3, 1e-3},
                                {1, 1e-4, 1e-9},
                                {1, 1, 1e-9},
                                {1e-7, 1e-7, 1e-8},
                                {1e30, 1e30, 1e29}}) {
        const double noise = 1e-22 * extent.x * extent.x;
        for (int round = 0; round < 50; ++round) {
            const Normal x(random.vector());
            const Normal y(static_cast<const Vector&>(x).orthogonalVector()), z(cross(x, y));
            Points points;
            for (int k = 0; k < 20; ++k)
                points.push_back(Point{3 * extent.x, -extent.x, 0} + x * random.number(extent.x) +
                                 y * random.number(extent.y) + z * random.number(extent.z));
            Plane free, held;
            ASSERT_TRUE(fit(20, points.data(), free));
            ASSERT_TRUE(fitWithEndsOnPlane(20, points.data(), held));
            const Normal line(points.back() - points.front());
            EXPECT_NEAR(held.eval(points.back()), 0, 1e-14 * extent.x);
            for (int way = 0; way < 36; ++way) {
                const double angle = way * std::numbers::pi / 18, turn = way % 3 ? 0.01 : 1;
                const Vector u = static_cast<const Vector&>(free.normal).orthogonalVector(),
                             v = cross(free.normal, u);
                const Normal tilted(free.normal +
                                    turn * combine(std::cos(angle), u, std::sin(angle), v));
                EXPECT_LE(squaresFrom(points, free.point, free.normal),
                          squaresFrom(points,
                                      free.point + random.number(0.01 * extent.z) * free.normal,
                                      tilted) *
                                  (1 + 1e-9) +
                              noise);
                const Vector turned = combine(std::cos(angle), held.normal, std::sin(angle),
                                              cross(line, held.normal));
                EXPECT_LE(squaresFrom(points, points[0], held.normal),
                          squaresFrom(points, points[0], turned) * (1 + 1e-9) + noise);
            }
        }
    }
}

TEST(PlaneFit, answersForDegeneratePoints) {
    Plane plane({1, 2, 3}, Normal::x);
    for (const auto operation : {fit, fitWithEndsOnPlane}) {
        EXPECT_FALSE(operation(2, Points(2).data(), plane));
        EXPECT_EQ(plane.normal, Normal());
        EXPECT_EQ(plane.point, Point{});
    }
    EXPECT_FALSE(fitWithEndsOnPlane(3, Points{{1, 1, 1}, {2, 2, 0}, {1, 1, 1}}.data(), plane));
    const double nan = std::numeric_limits<double>::quiet_NaN();
    for (const Points& points : {Points(3, {5, 6, 7}), Points{{1, 1, 1}, {2, 2, 2}, {4, 4, 4}},
                                 Points{{1, 0, 0}, {0, 1, 0}, {nan, 0, 1}}}) {
        EXPECT_TRUE(fit(3, points.data(), plane));
        EXPECT_NEAR(static_cast<const Vector&>(plane.normal).length(), 1, 1e-14);
    }
}

} // namespace
} // namespace qvGeom
