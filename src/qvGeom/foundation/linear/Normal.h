/// \file
/// Unit directions.
#pragma once

#include "qvGeom/foundation/linear/Vector.h"

namespace qvLinear {

/// A direction: of unit length, or zero where there is none. Reads as a
/// `Vector` everywhere.
class Normal {
public:
    /// The zero normal.
    constexpr Normal() : vector_{0.0, 0.0, 0.0} {}

    /// The direction of `v`; zero when `v.normalize()` would fail.
    explicit Normal(const Vector& v) : vector_(v) {
        if (!vector_.normalize())
            vector_ = {0.0, 0.0, 0.0};
    }

    Normal(double nx, double ny, double nz) : Normal(Vector{nx, ny, nz}) {}

    constexpr double operator[](int axis) const {
        return axis == 0 ? vector_.x : axis == 1 ? vector_.y : vector_.z;
    }

    constexpr operator const Vector&() const { return vector_; }

    constexpr void reverse() { vector_ = -vector_; }

    bool operator==(const Normal&) const = default;

    /// The axes.
    static const Normal x, y, z;

private:
    struct Axis {
        double x, y, z;
    };

    constexpr explicit Normal(const Axis& a) : vector_{a.x, a.y, a.z} {}

    Vector vector_;
};

inline constexpr Normal Normal::x{Normal::Axis{1.0, 0.0, 0.0}};
inline constexpr Normal Normal::y{Normal::Axis{0.0, 1.0, 0.0}};
inline constexpr Normal Normal::z{Normal::Axis{0.0, 0.0, 1.0}};

constexpr Normal operator-(Normal n) {
    n.reverse();
    return n;
}

} // namespace qvLinear
