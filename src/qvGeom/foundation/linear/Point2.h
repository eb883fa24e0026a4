/// \file
/// Positions, displacements and pairs in the plane.
#pragma once

#include <cmath>

#include "qvGeom/foundation/linear/Vector.h"

namespace qvLinear {

/// A displacement in the plane.
struct Vector2 {
    double x, y;

    double length() const { return std::sqrt(length2()); }

    double length2() const { return x * x + y * y; }

    /// Scales to unit length. Returns false, and changes nothing, when the
    /// length is zero or not finite.
    bool normalize() {
        Vector v{x, y, 0.0};
        if (!v.normalize())
            return false;
        *this = {v.x, v.y};
        return true;
    }

    void reverse() {
        x = -x;
        y = -y;
    }

    bool operator==(const Vector2&) const = default;
};

/// A position in the plane.
struct Point2 {
    double x, y;

    bool operator==(const Point2&) const = default;
};

/// Two numbers that need not be a position, such as a width and a height.
struct Tuple2 {
    double x, y;

    bool operator==(const Tuple2&) const = default;
};

/// A position in the plane as it is stored.
struct Point2Flt {
    float x, y;

    bool operator==(const Point2Flt&) const = default;
};

constexpr Vector2 operator+(const Vector2& a, const Vector2& b) { return {a.x + b.x, a.y + b.y}; }

constexpr Vector2 operator-(const Vector2& a, const Vector2& b) { return {a.x - b.x, a.y - b.y}; }

constexpr Vector2 operator-(const Vector2& v) { return {-v.x, -v.y}; }

constexpr Vector2 operator*(const Vector2& v, double s) { return {v.x * s, v.y * s}; }

constexpr Vector2 operator*(double s, const Vector2& v) { return v * s; }

constexpr Vector2 operator/(const Vector2& v, double s) { return {v.x / s, v.y / s}; }

constexpr Vector2 operator-(const Point2& a, const Point2& b) { return {a.x - b.x, a.y - b.y}; }

constexpr Point2 operator+(const Point2& p, const Vector2& v) { return {p.x + v.x, p.y + v.y}; }

constexpr Point2 operator-(const Point2& p, const Vector2& v) { return {p.x - v.x, p.y - v.y}; }

constexpr Tuple2 operator+(const Tuple2& a, const Tuple2& b) { return {a.x + b.x, a.y + b.y}; }

constexpr Tuple2 operator-(const Tuple2& a, const Tuple2& b) { return {a.x - b.x, a.y - b.y}; }

constexpr Tuple2 operator*(const Tuple2& t, double s) { return {t.x * s, t.y * s}; }

constexpr double dot(const Vector2& a, const Vector2& b) { return a.x * b.x + a.y * b.y; }

/// Returns the height of the product: positive when `b` lies to the left of `a`.
constexpr double cross(const Vector2& a, const Vector2& b) { return a.x * b.y - a.y * b.x; }

/// Returns the weighted sum of two points.
constexpr Point2 combine(double wa, const Point2& a, double wb, const Point2& b) {
    return {wa * a.x + wb * b.x, wa * a.y + wb * b.y};
}

/// Returns the weighted sum of two vectors.
constexpr Vector2 combine(double wa, const Vector2& a, double wb, const Vector2& b) {
    return {wa * a.x + wb * b.x, wa * a.y + wb * b.y};
}

inline double distance2(const Point2& a, const Point2& b) { return (a - b).length2(); }

inline double distance(const Point2& a, const Point2& b) { return (a - b).length(); }

/// True when both coordinates differ by at most `tol`.
inline bool equivalent(const Point2& a, const Point2& b, double tol) {
    return std::abs(a.x - b.x) <= tol && std::abs(a.y - b.y) <= tol;
}

inline bool equivalent(const Vector2& a, const Vector2& b, double tol) {
    return std::abs(a.x - b.x) <= tol && std::abs(a.y - b.y) <= tol;
}

inline bool equivalent(const Tuple2& a, const Tuple2& b, double tol) {
    return std::abs(a.x - b.x) <= tol && std::abs(a.y - b.y) <= tol;
}

} // namespace qvLinear
