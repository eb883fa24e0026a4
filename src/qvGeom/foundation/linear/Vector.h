/// \file
/// Directions with a length, in double and in single precision.
#pragma once

#include <algorithm>
#include <cmath>

#include "qvGeom/Export.h"

namespace qvLinear {

struct Vector;

/// `Vector::normalize` where the square of the length leaves the range of double.
QVGEOM_API bool normalizeExtreme(Vector& v);

/// Whether the square of a length has all its digits.
inline bool isOrdinarySquare(double length2) {
    constexpr double kLeast = 1e-290;
    constexpr double kGreatest = 1e300;
    return length2 > kLeast && length2 < kGreatest;
}

/// A displacement.
struct Vector {
    double x, y, z;

    double length() const { return std::sqrt(length2()); }

    double length2() const { return x * x + y * y + z * z; }

    /// Scales to unit length. Returns false, and changes nothing, when the
    /// length is zero or not finite; there is no other threshold, so that the
    /// smallest triangle keeps its direction.
    bool normalize() {
        const double len2 = length2();
        if (!isOrdinarySquare(len2))
            return normalizeExtreme(*this);
        const double len = std::sqrt(len2);
        x /= len;
        y /= len;
        z /= len;
        return true;
    }

    void reverse() {
        x = -x;
        y = -y;
        z = -z;
    }

    /// Returns a unit vector at right angles to this one; the x axis when this
    /// one has no direction.
    Vector orthogonalVector() const;

    Vector& operator+=(const Vector& v) {
        x += v.x;
        y += v.y;
        z += v.z;
        return *this;
    }

    Vector& operator-=(const Vector& v) {
        x -= v.x;
        y -= v.y;
        z -= v.z;
        return *this;
    }

    Vector& operator*=(double s) {
        x *= s;
        y *= s;
        z *= s;
        return *this;
    }

    Vector& operator/=(double s) {
        x /= s;
        y /= s;
        z /= s;
        return *this;
    }

    bool operator==(const Vector&) const = default;
};

/// A displacement as it is stored.
struct VectorFlt {
    float x, y, z;

    bool operator==(const VectorFlt&) const = default;
};

constexpr Vector operator+(const Vector& a, const Vector& b) {
    return {a.x + b.x, a.y + b.y, a.z + b.z};
}

constexpr Vector operator-(const Vector& a, const Vector& b) {
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}

constexpr Vector operator-(const Vector& v) { return {-v.x, -v.y, -v.z}; }

constexpr Vector operator*(const Vector& v, double s) { return {v.x * s, v.y * s, v.z * s}; }

constexpr Vector operator*(double s, const Vector& v) { return v * s; }

constexpr Vector operator/(const Vector& v, double s) { return {v.x / s, v.y / s, v.z / s}; }

constexpr VectorFlt operator+(const VectorFlt& a, const VectorFlt& b) {
    return {a.x + b.x, a.y + b.y, a.z + b.z};
}

constexpr VectorFlt operator-(const VectorFlt& a, const VectorFlt& b) {
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}

constexpr VectorFlt operator*(const VectorFlt& v, float s) { return {v.x * s, v.y * s, v.z * s}; }

constexpr double dot(const Vector& a, const Vector& b) { return a.x * b.x + a.y * b.y + a.z * b.z; }

constexpr float dot(const VectorFlt& a, const VectorFlt& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}

constexpr Vector cross(const Vector& a, const Vector& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

constexpr VectorFlt cross(const VectorFlt& a, const VectorFlt& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

/// Returns the weighted sum of two vectors.
constexpr Vector combine(double wa, const Vector& a, double wb, const Vector& b) {
    return {wa * a.x + wb * b.x, wa * a.y + wb * b.y, wa * a.z + wb * b.z};
}

/// Returns the weighted sum of three vectors.
constexpr Vector combine(double wa, const Vector& a, double wb, const Vector& b, double wc,
                         const Vector& c) {
    return {wa * a.x + wb * b.x + wc * c.x, wa * a.y + wb * b.y + wc * c.y,
            wa * a.z + wb * b.z + wc * c.z};
}

/// The size of the largest coordinate.
inline double maxNorm(const Vector& v) {
    return std::max({std::abs(v.x), std::abs(v.y), std::abs(v.z)});
}

/// Returns the part of `v` along `onto`; zero when `onto` is zero.
constexpr Vector project(const Vector& v, const Vector& onto) {
    const double length2 = dot(onto, onto);
    return length2 > 0.0 ? onto * (dot(v, onto) / length2) : Vector{0.0, 0.0, 0.0};
}

/// True when every component differs by at most `tol`.
inline bool equivalent(const Vector& a, const Vector& b, double tol) {
    return std::abs(a.x - b.x) <= tol && std::abs(a.y - b.y) <= tol && std::abs(a.z - b.z) <= tol;
}

/// True when the sine of the angle between the two, whichever way each points,
/// is at most `tol`. A zero vector is parallel to every vector.
inline bool isParallel(const Vector& a, const Vector& b, double tol) {
    return cross(a, b).length() <= tol * a.length() * b.length();
}

inline Vector Vector::orthogonalVector() const {
    // The axis most unlike this vector gives the best conditioned product.
    const double ax = std::abs(x), ay = std::abs(y), az = std::abs(z);
    Vector result = ax <= ay && ax <= az ? Vector{0.0, z, -y}
                    : ay <= az           ? Vector{-z, 0.0, x}
                                         : Vector{y, -x, 0.0};
    return result.normalize() ? result : Vector{1.0, 0.0, 0.0};
}

} // namespace qvLinear
