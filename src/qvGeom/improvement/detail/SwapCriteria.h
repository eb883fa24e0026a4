/// \file
/// Whether the edge A-B between the triangles (A, B, C) and (B, A, D) may become C-D.
#pragma once

#include <cmath>

#include "qvGeom/foundation/linear/Point.h"

namespace qvGeom::detail {

/// The exact answers of the two questions below, by angles.
bool foldsOverByAngle(const qvLinear::Vector& n1, const qvLinear::Vector& n2);
bool lowersOppositeAnglesByAngle(const qvLinear::Point& a, const qvLinear::Point& b,
                                 const qvLinear::Point& c, const qvLinear::Point& d);

/// How close to a tie, relative to what is compared, the shortcuts leave the answer to the angles:
/// far more than either rounds.
inline constexpr double kTie = 1e-11;

/// Whether the square of this length can be computed with, four times over.
inline bool isOrdinaryArea2(double length2) {
    constexpr double kLeast = 1e-60;
    constexpr double kGreatest = 1e60;
    return length2 > kLeast && length2 < kGreatest;
}

/// Whether the swapped triangles face away from each other, their normals more than a right angle
/// apart, or one of them has no normal.
inline bool foldsOver(const qvLinear::Point& a, const qvLinear::Point& b, const qvLinear::Point& c,
                      const qvLinear::Point& d) {
    const qvLinear::Vector n1 = cross(b - d, c - d);
    const qvLinear::Vector n2 = cross(c - d, a - d);
    const double length1 = n1.length2();
    const double length2 = n2.length2();
    const double product = dot(n1, n2);
    const bool decided = isOrdinaryArea2(length1) && isOrdinaryArea2(length2) &&
                         product * product > kTie * kTie * length1 * length2;
    return decided ? product < 0 : foldsOverByAngle(n1, n2);
}

/// Whether the angles opposite the edge add up to less after the swap, that is at A and B, than
/// before it, at C and D. The order of the ends, and that of the apexes, makes no difference.
inline bool lowersOppositeAngles(const qvLinear::Point& a, const qvLinear::Point& b,
                                 const qvLinear::Point& c, const qvLinear::Point& d) {
    const qvLinear::Vector ca = a - c;
    const qvLinear::Vector cb = b - c;
    const qvLinear::Vector da = a - d;
    const qvLinear::Vector db = b - d;
    // Each angle is that of a complex number of cosine and sine, up to a positive factor, and the
    // sum of two that of their product.
    const auto sumOfAngles = [](const qvLinear::Vector& u1, const qvLinear::Vector& v1,
                                const qvLinear::Vector& u2, const qvLinear::Vector& v2) {
        struct Complex {
            double re, im;
        };
        const Complex z1 = {dot(u1, v1), cross(u1, v1).length()};
        const Complex z2 = {dot(u2, v2), cross(u2, v2).length()};
        return Complex{z1.re * z2.re - z1.im * z2.im, z1.re * z2.im + z1.im * z2.re};
    };
    const auto before = sumOfAngles(ca, cb, da, db); // at C and D
    const auto after = sumOfAngles(ca, da, cb, db);  // at A and B
    const double size2 =
        ca.length2() * cb.length2() * da.length2() * db.length2(); // of either product
    const double turn = after.re * before.im - after.im * before.re;
    const double limit = kTie * size2;
    const double size = std::sqrt(size2);
    const bool apart = std::abs(turn) > limit && std::abs(before.im) > kTie * size &&
                       std::abs(after.im) > kTie * size;
    if (!apart || !isOrdinaryArea2(size))
        return lowersOppositeAnglesByAngle(a, b, c, d);
    // Sums are between 0 and two right angles where the sine is positive, beyond where it is not.
    if ((before.im < 0) != (after.im < 0))
        return before.im < 0;
    return turn > 0;
}

} // namespace qvGeom::detail
