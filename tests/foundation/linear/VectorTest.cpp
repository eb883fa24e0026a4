#include "qvGeom/foundation/linear/Vector.h"

#include <gtest/gtest.h>
#include <limits>
#include <numbers>
#include <random>
#include <vector>

#include "qvGeom/foundation/linear/Angle.h"
#include "qvGeom/foundation/linear/Convert.h"
#include "qvGeom/foundation/linear/Plane.h"
#include "qvGeom/foundation/linear/Polyline2d.h"

namespace qvLinear {
namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kPi = std::numbers::pi;

std::vector<Vector> randomVectors(int count) {
    std::mt19937 random(7);
    std::uniform_real_distribution<double> part(-10.0, 10.0);
    std::vector<Vector> vectors(count);
    for (Vector& v : vectors)
        v = {part(random), part(random), part(random)};
    return vectors;
}

// Catches a threshold that would take the direction of a small triangle.
TEST(Vector, normalizeFailsOnlyForZeroAndNonFinite) {
    for (const double scale : {1e-120, 1e-30, 1e-13, 1.0, 1e30, 1e120}) {
        SCOPED_TRACE(scale);
        Vector v{3.0 * scale, 0.0, -4.0 * scale};
        ASSERT_TRUE(v.normalize());
        EXPECT_TRUE(equivalent(v, {0.6, 0.0, -0.8}, 1e-15));
    }
    for (const double bad : {0.0, -0.0, kInf, -kInf}) {
        SCOPED_TRACE(bad);
        Vector v{0.0, bad, 0.0};
        EXPECT_FALSE(v.normalize());
        EXPECT_EQ(v, (Vector{0.0, bad, 0.0}));
        EXPECT_EQ(Normal(v), Normal());
    }
    Vector v{1.0, kNaN, 2.0};
    EXPECT_FALSE(v.normalize());
    EXPECT_EQ(v.x, 1.0);
    EXPECT_EQ(Normal(v), Normal());
}

TEST(Vector, productsFollowTheRightHand) {
    EXPECT_EQ(cross(Normal::x, Normal::y), Normal::z);
    EXPECT_EQ(cross(Normal::y, Normal::z), Normal::x);
    EXPECT_EQ(cross(VectorFlt{0, 0, 1}, VectorFlt{1, 0, 0}), (VectorFlt{0, 1, 0}));
    EXPECT_EQ(cross(Vector2{1, 0}, Vector2{0, 1}), 1.0);
    EXPECT_EQ(Normal(0.0, 3.0, 4.0)[1], 0.6);
    EXPECT_EQ((-Normal::z)[2], -1.0);
}

TEST(Vector, orthogonalVectorIsUnitAndPerpendicular) {
    std::vector<Vector> vectors = randomVectors(100);
    vectors.insert(vectors.end(), {Normal::x, Normal::y, Normal::z, {0, -1e-9, 1e9}, {1, 1, 1}});
    for (const Vector& v : vectors) {
        const Vector o = v.orthogonalVector();
        EXPECT_NEAR(o.length(), 1.0, 1e-15);
        EXPECT_NEAR(dot(o, v), 0.0, 1e-15 * v.length());
    }
    EXPECT_EQ((Vector{0, 0, 0}.orthogonalVector().length()), 1.0);
    EXPECT_EQ((Vector{kNaN, 0, 0}.orthogonalVector().length()), 1.0);
}

TEST(Vector, isParallelMeasuresTheSine) {
    const Vector a{2.0, 0.0, 0.0};
    for (const double sign : {1.0, -1.0}) {
        EXPECT_TRUE(isParallel(a, {sign * 1e-60, 0.9e-65, 0.0}, 1e-5));
        EXPECT_FALSE(isParallel(a, {sign * 1e-60, 1.1e-65, 0.0}, 1e-5));
    }
    EXPECT_TRUE(isParallel(a, {0.0, 0.0, 0.0}, 0.0));
    EXPECT_FALSE(isParallel(a, {kNaN, 0.0, 0.0}, 1.0));
}

TEST(Equivalent, comparesEachComponentInclusively) {
    for (int k = 0; k < 3; ++k) {
        const auto moved = [k](double by) {
            return Vector{k == 0 ? by : 0.0, k == 1 ? by : 0.0, k == 2 ? by : 0.0};
        };
        for (const double by : {0.25, -0.25}) {
            EXPECT_TRUE(equivalent(moved(by), {0, 0, 0}, 0.25));
            EXPECT_FALSE(equivalent(moved(by), {0, 0, 0}, 0.2499));
            EXPECT_TRUE(equivalent(Point{1, 2, 3} + moved(by), Point{1, 2, 3}, 0.25));
            EXPECT_FALSE(equivalent(Point{1, 2, 3} + moved(by), Point{1, 2, 3}, 0.2499));
        }
        EXPECT_FALSE(equivalent(moved(kNaN), {0, 0, 0}, 1.0));
    }
    EXPECT_FALSE(equivalent(Tuple2{0, 1}, Tuple2{0, 0}, 0.5));
    EXPECT_FALSE(equivalent(Point2{1, 0}, Point2{0, 0}, 0.5));
}

// Near 0 and near pi the arc cosine of a dot product would lose half its digits.
TEST(Angle, isExactAtBothEndsAndSymmetricToTheBit) {
    for (const double wanted : {1e-9, 1e-3, 0.5 * kPi, 3.0}) {
        const Vector turned{std::cos(wanted), std::sin(wanted), 0.0};
        EXPECT_NEAR(angle(Normal::x, turned * 5.0), wanted, 1e-15 * (1.0 + wanted));
        EXPECT_NEAR(angle(-Normal::x, turned), kPi - wanted, 1e-15 * (1.0 + kPi));
    }
    const std::vector<Vector> vectors = randomVectors(200);
    for (size_t k = 1; k < vectors.size(); ++k)
        EXPECT_EQ(angle(vectors[k - 1], vectors[k]), angle(vectors[k], vectors[k - 1]));
    EXPECT_EQ(angle({0, 0, 0}, Normal::x), 0.0);
    EXPECT_EQ(toRadians(180.0), kPi);
    EXPECT_DOUBLE_EQ(toDegrees(toRadians(55.0)), 55.0);
}

TEST(Rotate, turnsAnticlockwiseAboutTheAxis) {
    EXPECT_TRUE(equivalent(rotate(Normal::x, Normal::z, kPi / 2), Normal::y, 1e-15));
    EXPECT_TRUE(equivalent(rotate(Normal::y, Normal::x, kPi / 2), Normal::z, 1e-15));
    const Line axis{{1, 1, 5}, {0, 0, 9}};
    EXPECT_TRUE(equivalent(rotate(Point{2, 1, 7}, axis, kPi / 2), {1, 2, 7}, 1e-15));
    EXPECT_EQ(rotate(Vector{1, 2, 3}, Normal(), 1.0), (Vector{1, 2, 3}));
    for (const Vector& v : randomVectors(20)) { // a turn keeps lengths and the part along the axis
        const Normal about(1, -2, 3);
        const Vector turned = rotate(v, about, 0.7);
        EXPECT_NEAR(turned.length(), v.length(), 1e-14);
        EXPECT_NEAR(dot(turned, about), dot(v, about), 1e-14);
    }
}

TEST(Plane, measuresSignedHeights) {
    Plane plane({0, 0, 2}, Normal(0, 0, 7));
    EXPECT_EQ(plane.d, -2.0);
    EXPECT_EQ(plane.eval({5, 6, 7}), 5.0);
    EXPECT_EQ(project(Point{5, 6, 7}, plane), (Point{5, 6, 2}));
    EXPECT_TRUE(isAbove(plane, {0, 0, 2.5}, 0.4));
    EXPECT_FALSE(isAbove(plane, {0, 0, 2.5}, 0.5));
    EXPECT_FALSE(isAbove(plane, {0, 0, -9}, 0.5));
    EXPECT_FALSE(isAbove(Plane(), {1, 2, 3}, 0.0));
    plane.point = {0, 0, -1};
    plane.calculateD();
    EXPECT_EQ(plane.d, 1.0);
}

TEST(Project, dropsPerpendicularsOntoLines) {
    const ParamLine line{{1, 0, 0}, {0, 2, 0}};
    EXPECT_EQ(line.projectParam({9, 5, 9}), 2.5);
    EXPECT_EQ(project(Point{9, 5, 9}, Line{{1, 0, 0}, {0, 2, 0}}), (Point{1, 5, 0}));
    EXPECT_EQ(distance(Point{1, 5, -9}, Line{{1, 0, 0}, {0, 2, 0}}), 9.0);
    EXPECT_EQ((ParamLine{{1, 2, 3}, {0, 0, 0}}.projectParam({9, 9, 9})), 0.0);
    EXPECT_EQ(project(Vector{3, 4, 5}, {0, 0.5, 0}), (Vector{0, 4, 0}));
    EXPECT_EQ(combine(0.5, Point{2, 0, 0}, 0.25, Point{0, 4, 0}, 2.0, Point{0, 0, 1}),
              (Point{1, 1, 2}));
}

TEST(Narrow, roundsToNearestAndWidensBack) {
    const Point third{1.0 / 3.0, -1e-50, 1.0 + 1e-12};
    EXPECT_EQ(narrow(third), (PointFlt{1.0f / 3.0f, -0.0f, 1.0f}));
    EXPECT_EQ(widen(PointFlt{0.1f, 1e-45f, 3e38f}), (Point{double{0.1f}, double{1e-45f}, 3e38f}));
    AffineMatrix frame;
    frame.setFrame({0.1, 2, 3}, {4, 5, 6}, {7, 8, 9}, {10, 11, 12});
    EXPECT_EQ(widen(narrow(frame)).m[3][0], double{0.1f});
    EXPECT_EQ(widen(narrow(frame)).m[2][1], 11.0);
    EXPECT_EQ(widen(narrow(ProjMatrix(frame))), ProjMatrix(widen(narrow(frame))));
}

TEST(Polyline2d, isClosedWhenTheLastVertexRepeatsTheFirst) {
    EXPECT_FALSE((Polyline2d{}.isClosed()));
    EXPECT_FALSE((Polyline2d{{{1, 1}}}.isClosed()));
    EXPECT_FALSE((Polyline2d{{{1, 1}, {2, 1}, {1, 2}}}.isClosed()));
    EXPECT_TRUE((Polyline2d{{{1, 1}, {2, 1}, {1, 2}, {1, 1}}}.isClosed()));
}

} // namespace
} // namespace qvLinear
