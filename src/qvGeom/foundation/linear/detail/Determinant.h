/// \file
/// Determinants that know how much of them is rounding.
#pragma once

#include <cfloat>
#include <cmath>

#include "qvGeom/foundation/linear/Vector.h"

namespace qvLinear {

/// A determinant and the sum of the magnitudes of its terms, to which the
/// rounding error is proportional.
struct Determinant {
    double value, magnitude;

    /// True when the value may be rounding alone, or is no number. Relative to
    /// the terms, so that the scale of the matrix does not matter while its terms, third
    /// or fourth powers of the entries, stay in the range of double.
    bool isSingular() const { return !(std::abs(value) > 8.0 * DBL_EPSILON * magnitude); }
};

/// Returns the determinant of three rows.
inline Determinant determinant(const Vector& a, const Vector& b, const Vector& c) {
    const double magnitude = std::abs(a.x) * (std::abs(b.y * c.z) + std::abs(b.z * c.y)) +
                             std::abs(a.y) * (std::abs(b.z * c.x) + std::abs(b.x * c.z)) +
                             std::abs(a.z) * (std::abs(b.x * c.y) + std::abs(b.y * c.x));
    return {dot(a, cross(b, c)), magnitude};
}

/// True when every entry of a matrix is finite.
template <class Row, int NumRows>
bool allFinite(const Row (&m)[NumRows]) {
    for (const Row& row : m) {
        for (const double entry : row) {
            if (!std::isfinite(entry))
                return false;
        }
    }
    return true;
}

} // namespace qvLinear
