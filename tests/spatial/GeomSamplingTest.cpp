#include "qvGeom/spatial/GeomSampling.h"

#include <cmath>
#include <cstdlib>
#include <gtest/gtest.h>
#include <numbers>
#include <utility>
#include <vector>

#include "qvGeom/foundation/linear/Linear.h"

namespace qvGeom {
namespace {

using qvLinear::narrow;
using qvLinear::Vector;
using qvLinear::VectorFlt;

TEST(RandomUnitVector, drawsZThenYThenXUntilInsideTheShell) {
    for (int seed = 0; seed < 1000; ++seed) {
        Vector v, drawn;
        srand48(seed);
        randomUnitVector(v);
        srand48(seed);
        do {
            for (double* d : {&drawn.z, &drawn.y, &drawn.x})
                *d = 2.0 * drand48() - 1.0;
        } while (drawn.length2() < 0.01 || drawn.length2() >= 1.0);
        ASSERT_TRUE(equivalent(v, drawn / drawn.length(), 1e-14));
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

// Equal areas, as a band of the sphere has that of its height.
TEST(SphereMappings, coverTheSphereAndComeBack) {
    for (int k = 0; k < 16 * 17; ++k) {
        const double s = (k % 16 + 0.5) / 16, t = k / 16 / 16.0, turn = 2 * std::numbers::pi;
        const auto at = [&](double z) {
            const double r = std::sqrt(1 - z * z);
            return Vector{r * std::cos(turn * s), r * std::sin(turn * s), z};
        };
        VectorFlt v{};
        float angle = -1, height = -1;
        mapSphericalToUniformCartesian(narrow(s), narrow(t), v);
        ASSERT_TRUE(equivalent(widen(v), at(2 * t - 1), 1e-6));
        mapUniformCartesianToSpherical(v, angle, height);
        ASSERT_NEAR(height, t, 1e-6);
        ASSERT_NEAR(angle, t == 0 || t == 1 ? 0 : s < 0.5 ? turn * s : turn * (s - 1) + 1, 1e-5);
        mapSphericalCapToUniformCartesian(narrow(s), narrow(t), 0.5F, v);
        ASSERT_TRUE(equivalent(widen(v), at(1 - 0.5 * t), 1e-6));
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
