#include "qvGeom/spatial/GeomSampling.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>

#include "qvGeom/foundation/linear/Convert.h"

namespace qvGeom {

using qvLinear::narrow;
using qvLinear::Vector;
using qvLinear::VectorFlt;
using qvLinear::widen;

namespace {

constexpr float kTwoPi = 6.2831855F; // as a float: results are floats all the same

/// The digit permutation of a base; null when there is none.
const int* digitPermutation(int base) {
    static constexpr int kBase3[] = {0, 1, 2};
    static constexpr int kBase5[] = {0, 3, 2, 1, 4};
    static constexpr int kBase7[] = {0, 2, 5, 3, 1, 4, 6};
    switch (base) {
    case 3:
        return kBase3;
    case 5:
        return kBase5;
    case 7:
        return kBase7;
    default:
        return nullptr;
    }
}

/// A point of the unit sphere.
VectorFlt onSphere(float s, double radius, double height) {
    const double phi = widen(kTwoPi) * widen(s);
    return {narrow(std::cos(phi) * radius), narrow(std::sin(phi) * radius), narrow(height)};
}

} // namespace

void randomUnitVector(Vector& v) {
    const auto draw = [] { return 2.0 * drand48() - 1.0; };
    double length2 = 0.0;
    do { // z first: a seed is to give the same vectors for ever
        v.z = draw();
        v.y = draw();
        v.x = draw();
        length2 = v.length2();
    } while (!(length2 >= 0.01 && length2 < 1.0));
    v /= std::sqrt(length2);
}

void computeHemisphereVectors(const Vector& axis, std::vector<Vector>& out) {
    for (Vector& v : out) {
        randomUnitVector(v);
        if (dot(v, axis) < 0.0)
            v.reverse();
    }
}

void mapSphericalToUniformCartesian(float s, float t, VectorFlt& out) {
    const double theta = std::acos(2.0 * widen(t) - 1.0);
    out = onSphere(s, std::sin(theta), std::cos(theta));
}

void mapSphericalCapToUniformCartesian(float s, float t, float cap, VectorFlt& out) {
    const double depth = widen(t) * widen(cap);
    out = onSphere(s, std::sqrt((2.0 - depth) * depth), 1.0 - depth);
}

void mapUniformCartesianToSpherical(const VectorFlt& v, float& s, float& t) {
    const double theta = std::acos(std::clamp(widen(v.z), -1.0, 1.0)); // rounding may exceed 1
    const double sine = std::sin(theta);
    s = 0.0F;
    if (std::abs(sine) >= 0.001) {
        s = narrow(std::atan2(widen(v.y) / sine, widen(v.x) / sine));
        if (s < 0.0F)
            s += 1.0F; // kept: not a full turn
    }
    t = narrow((1.0 + std::cos(theta)) * 0.5);
}

void HammersleyPermutation2::calculate(int bits) {
    Array<int> numbers(bits >= 0 && bits <= 30 ? 1 << bits : 0);
    const auto count = static_cast<std::uint16_t>(numbers.size()); // 0 from 16 bits on
    for (std::uint16_t i = 0; i < count; ++i) {
        for (int bit = 0; bit < bits; ++bit)
            numbers[i] |= (i >> bit & 1) << (bits - 1 - bit);
    }
    numbers_.swap(numbers);
}

void ScrambledHammersleySequence::calculate(int base, int count) {
    const int* const permutation = digitPermutation(base);
    Array<float> numbers(permutation ? count : 0);
    for (int i = 1; i < numbers.size(); ++i) {
        double sum = 0.0;
        double weight = 1.0;
        for (int rest = i; rest > 0; rest /= base) {
            weight /= base;
            sum += permutation[rest % base] * weight;
        }
        numbers[i] = narrow(sum);
    }
    numbers_.swap(numbers);
    base_ = base;
}

} // namespace qvGeom
