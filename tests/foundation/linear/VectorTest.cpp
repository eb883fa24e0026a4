#include "qvGeom/foundation/linear/Vector.h"

#include <cmath>
#include <gtest/gtest.h>

#include "qvGeom/foundation/linear/Angle.h"

#include "support/Random.h"

namespace qvLinear {
namespace {

constexpr double kPi = std::numbers::pi;

// Catches a threshold that would take the direction of a small triangle.
TEST(Vector, normalizeFailsOnlyForZeroAndNonFinite) {
    for (const double scale : {1e-120, 1e-30, 1e-13, 1.0, 1e30, 1e120}) {
        Vector v{3.0 * scale, 0.0, -4.0 * scale};
        ASSERT_TRUE(v.normalize() && equivalent(v, {0.6, 0.0, -0.8}, 1e-15)) << scale;
    }
    for (const double bad : {0.0, -0.0, HUGE_VAL, -HUGE_VAL, std::nan("")}) {
        Vector v{0.0, bad, 0.0};
        EXPECT_FALSE(v.normalize()) << bad;
        EXPECT_EQ(v.x, 0.0) << bad;
        EXPECT_EQ(Normal(v), Normal()) << bad;
    }
}

// Near 0 and near pi the arc cosine of a dot product would lose half its digits.
TEST(Angle, isExactAtBothEndsAndSymmetricToTheBit) {
    for (const double wanted : {1e-9, 1e-3, 0.5 * kPi, 3.0}) {
        const Vector turned{std::cos(wanted), std::sin(wanted), 0.0};
        EXPECT_NEAR(angle(Normal::x, turned * 5.0), wanted, 1e-15 * (1.0 + wanted));
        EXPECT_NEAR(angle(-Normal::x, turned), kPi - wanted, 1e-15 * (1.0 + kPi));
    }
    test::Random random;
    for (int k = 0; k < 200; ++k) {
        const Vector a = random.vector(), b = random.vector();
        EXPECT_EQ(angle(a, b), angle(b, a));
    }
    EXPECT_EQ(angle({0, 0, 0}, Normal::x), 0.0);
    EXPECT_DOUBLE_EQ(toDegrees(kPi), 180.0);
}

TEST(Rotate, turnsAnticlockwiseAboutTheAxis) {
    EXPECT_TRUE(equivalent(rotate(Normal::x, Normal::z, kPi / 2), Normal::y, 1e-15));
    const Line axis{{1, 1, 5}, {0, 0, 9}};
    EXPECT_TRUE(equivalent(rotate(Point{2, 1, 7}, axis, kPi / 2), {1, 2, 7}, 1e-15));
    const Normal about(1, -2, 3);
    test::Random random;
    for (int k = 0; k < 20; ++k) { // a turn keeps lengths and the part along the axis
        const Vector v = random.vector(), turned = rotate(v, about, 0.7);
        EXPECT_NEAR(turned.length(), v.length(), 1e-15);
        EXPECT_NEAR(dot(turned, about), dot(v, about), 1e-15);
    }
}

TEST(Tolerance, countsWhatItIsItselfAndKnowsNoSizes) {
    EXPECT_TRUE(equivalent(Vector{0, 0, -0.25}, {0, 0, 0}, 0.25));
    EXPECT_TRUE(isParallel({2, 0, 0}, {-1e-60, 0.9e-65, 0}, 1e-5));
    EXPECT_FALSE(isParallel({2, 0, 0}, {-1e-60, 1.1e-65, 0}, 1e-5));
}

} // namespace
} // namespace qvLinear
