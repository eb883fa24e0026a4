#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>

#include "qvGeom/foundation/linear/Angle.h"
#include "qvGeom/foundation/linear/ProjMatrix.h"

#include "support/Random.h"

namespace qvLinear {
namespace {

template <class Matrix>
Matrix matrix(test::Random& random) {
    Matrix a;
    for (auto& row : a.m) {
        for (double& entry : row)
            entry = random.number(2);
    }
    return a;
}

/// False as well where an entry is not a number.
template <class Matrix>
bool areClose(const Matrix& a, const Matrix& b, double tol) {
    return std::equal(*a.m, *a.m + sizeof(a.m) / sizeof(double), *b.m,
                      [tol](double x, double y) { return std::abs(x - y) < tol; });
}

TEST(Matrix, mapsRowsAndAppliesTheFirstFactorFirst) {
    AffineMatrix frame;
    frame.setFrame({10, 20, 30}, {0, 1, 0}, {0, 0, 1}, {2, 0, 0});
    EXPECT_EQ((Point{1, 2, 3} * frame), (Point{16, 21, 32}));
    EXPECT_EQ((Point2{1, 2} * AffineMatrix2{{{0, 1}, {3, 0}, {10, 20}}}), (Point2{16, 21}));
    test::Random random(11);
    const auto a = matrix<AffineMatrix>(random), b = matrix<AffineMatrix>(random);
    const Point p{1, -2, 3};
    EXPECT_TRUE(equivalent(p * (a * b), p * a * b, 1e-13));
    EXPECT_TRUE(areClose(ProjMatrix(a) * ProjMatrix(b), ProjMatrix(a * b), 1e-14));
    const auto c = matrix<ProjMatrix>(random), d = matrix<ProjMatrix>(random);
    EXPECT_TRUE(equivalent(toPoint(toHPoint(p) * (c * d)), toPoint(toHPoint(p) * c * d), 1e-11));
}

TEST(Matrix, inverseUndoes) {
    test::Random random(11);
    ProjMatrix unit;
    unit.identity();
    for (int k = 0; k < 200; ++k) {
        const double scale = std::pow(10.0, k % 40 - 20);
        AffineMatrix a = matrix<AffineMatrix>(random) * AffineMatrix(scale), inverse;
        ASSERT_TRUE(a.invert(inverse));
        EXPECT_TRUE(areClose(a * inverse, AffineMatrix(), 1e-9));
        ASSERT_TRUE(a.invert(a)); // in place
        EXPECT_EQ(a, inverse);

        ProjMatrix p = matrix<ProjMatrix>(random), back;
        for (double& entry : p.m[k % 4]) // one row scaled unlike the others
            entry *= scale;
        ASSERT_TRUE(p.invert(back));
        EXPECT_TRUE(areClose(p * back, unit, 1e-9 * std::max(scale, 1.0 / scale)));
    }
}

// A rank defect rarely gives a determinant of exactly 0: the second case has one of 7e-18.
TEST(Matrix, inverseRefusesSingularAndNonFinite) {
    const double inf = INFINITY;
    const Vector rows[][3] = {{{1, 2, 3}, {4, 5, 6}, {7, 8, 9}},
                              {{0.1, 0.2, 0.3}, {0.4, 0.5, 0.6}, {0.7, 0.8, 0.9}},
                              {{inf, 0, 0}, {0, 1, 0}, {0, 0, 1}}};
    for (const auto& [x, y, z] : rows) {
        AffineMatrix a, untouched;
        ProjMatrix out;
        a.setFrame({1, 2, 3}, x, y, z);
        EXPECT_FALSE(a.invert(untouched) || ProjMatrix(a).invert(out));
        EXPECT_EQ(untouched, AffineMatrix());
    }
    AffineMatrix far, out;
    far.m[3][1] = inf;
    EXPECT_FALSE(far.invert(out));

    AffineMatrix sheared; // a tiny determinant without cancellation is no defect
    sheared.setFrame({0, 0, 0}, {1, 0, 0}, {1, 1e-16, 0}, {0, 0, 1});
    EXPECT_TRUE(sheared.invert(out));
}

// Nearly opposite normals catch a division by 1 + cos, opposite ones a lost axis.
TEST(AffineMatrix, rotateTakesOneNormalToTheOther) {
    test::Random random(11);
    for (int k = 0; k < 400; ++k) {
        const Normal from(random.vector());
        const double off = std::pow(10.0, -(k % 20));
        const Normal to =
            k % 2 ? Normal(off * random.vector() - from) : Normal(off * random.vector() + from);
        AffineMatrix a(1.0);
        a.rotate(from, to);
        EXPECT_TRUE(equivalent(from * a, to, 1e-14));
        EXPECT_NEAR(a.det3x3(), 1.0, 1e-14);
        const Vector axis = cross(from, to); // the shortest turn leaves its axis alone
        EXPECT_TRUE(equivalent(axis * a, axis, 1e-14));
    }
    AffineMatrix a;
    a.rotate(Normal(), Normal::y);
    a.rotate(Normal::y, Normal());
    EXPECT_EQ(a, AffineMatrix());
    a.rotate(-Normal::z, Normal::z);
    EXPECT_TRUE(equivalent(-Normal::z * a, Normal::z, 0.0));
    EXPECT_EQ(a.det3x3(), 1.0);
}

} // namespace
} // namespace qvLinear
