#include "qvGeom/spatial/GeomSampling.h"

#include <array>
#include <cmath>
#include <cstdlib>
#include <gtest/gtest.h>
#include <vector>

#include "qvGeom/foundation/linear/Vector.h"

namespace qvGeom {
namespace {

using qvLinear::Vector;
using qvLinear::VectorFlt;

TEST(RandomUnitVector, drawsZThenYThenXUntilInsideTheShell) {
    srand48(5);
    std::vector<Vector> vectors(1000);
    for (Vector& v : vectors)
        randomUnitVector(v);
    srand48(5);
    for (const Vector& v : vectors) {
        std::array<double, 3> draw{};
        double length2 = 0.0;
        do {
            length2 = 0.0;
            for (double& d : draw) {
                d = 2.0 * drand48() - 1.0;
                length2 += d * d;
            }
        } while (length2 < 0.01 || length2 >= 1.0);
        const double length = std::sqrt(length2);
        ASSERT_TRUE(equivalent(v, Vector{draw[2], draw[1], draw[0]} / length, 1e-14));
    }
}

TEST(ComputeHemisphereVectors, fillsTheSideOfTheAxis) {
    const Vector axis{1, -2, 0.5};
    std::vector<Vector> vectors(500, axis);
    computeHemisphereVectors(axis, vectors);
    ASSERT_EQ(vectors.size(), 500U);
    Vector sum{0, 0, 0};
    for (const Vector& v : vectors) {
        ASSERT_GE(dot(v, axis), 0.0);
        ASSERT_NEAR(v.length(), 1.0, 1e-12);
        sum += v;
    }
    // The mean of a hemisphere is half its axis.
    EXPECT_TRUE(equivalent(sum / 500.0, axis / axis.length() / 2.0, 0.1));
}

TEST(SphereMappings, coverTheSphereAndComeBack) {
    VectorFlt v{};
    mapSphericalToUniformCartesian(0.0F, 0.5F, v);
    EXPECT_TRUE(equivalent(Vector{v.x, v.y, v.z}, {1, 0, 0}, 1e-6));
    for (int i = 0; i < 16; ++i) {
        for (int j = 0; j <= 16; ++j) {
            const float s = static_cast<float>(i) / 16, t = static_cast<float>(j) / 16;
            mapSphericalToUniformCartesian(s, t, v);
            ASSERT_NEAR(v.z, 2 * t - 1, 1e-6); // a band's area is its height's
            if (j % 16 != 0) {
                const double turned = std::atan2(v.y, v.x) - 6.2831853 * s;
                ASSERT_NEAR(std::remainder(turned, 6.2831853), 0.0, 1e-5);
            }
            float angle = -1, height = -1;
            mapUniformCartesianToSpherical(v, angle, height);
            ASSERT_NEAR(height, t, 1e-6);
            const double expected = i <= 8 ? 6.2831853 * s : 6.2831853 * (s - 1.0) + 1.0;
            if (j % 16 == 0) {
                ASSERT_EQ(angle, 0.0F);
            } else if (i != 8) { // rounding decides between half a turn and minus that
                ASSERT_NEAR(angle, expected, 1e-5);
            }

            mapSphericalCapToUniformCartesian(s, t, 0.5F, v);
            ASSERT_NEAR(v.z, 1 - 0.5 * t, 1e-6);
            ASSERT_NEAR((Vector{v.x, v.y, v.z}.length2()), 1.0, 1e-6);
        }
    }
}

TEST(HammersleyPermutation2, reversesBitsBelowSixteen) {
    HammersleyPermutation2 permutation;
    for (const auto& [bits, size] :
         {std::pair{-1, 0}, {0, 1}, {3, 8}, {15, 32768}, {16, 65536}, {31, 0}}) {
        permutation.calculate(bits);
        ASSERT_EQ(permutation.size(), size);
        for (int i = 0; i < size; ++i) {
            int reversed = 0;
            for (int bit = 0; bit < bits; ++bit)
                reversed |= (i >> bit & 1) << (bits - 1 - bit);
            ASSERT_EQ(permutation[i], bits < 16 ? reversed : 0);
        }
    }
}

TEST(ScrambledHammersleySequence, permutesDigitsBehindThePoint) {
    ScrambledHammersleySequence sequence;

    const struct {
        int base, index;
        double expected;
    } cases[] = {{3, 1, 1 / 3.0}, {3, 5, 2 / 3.0 + 1 / 9.0},
                 {5, 1, 3 / 5.0}, {5, 8, 1 / 5.0 + 3 / 25.0},
                 {7, 6, 6 / 7.0}, {7, 11, 3 / 7.0 - 2 / 7.0 + 2 / 49.0},
                 {7, 0, 0.0}};

    for (const auto& c : cases) {
        sequence.calculate(c.base, 20);
        ASSERT_EQ(sequence.size(), 20);
        EXPECT_EQ(sequence[c.index], static_cast<float>(c.expected)) << c.base << ' ' << c.index;
    }
    sequence.calculate(2, 20);
    EXPECT_EQ(sequence.size(), 0);
}

} // namespace
} // namespace qvGeom
