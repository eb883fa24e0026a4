/// \file
/// Positions in space, in double and in single precision, and homogeneous.
#pragma once

#include "qvGeom/foundation/linear/Vector.h"

namespace qvLinear {

/// A position.
struct Point {
    double x, y, z;

    Point& operator+=(const Vector& v) {
        x += v.x;
        y += v.y;
        z += v.z;
        return *this;
    }

    Point& operator-=(const Vector& v) {
        x -= v.x;
        y -= v.y;
        z -= v.z;
        return *this;
    }

    bool operator==(const Point&) const = default;
};

/// A position as it is stored.
struct PointFlt {
    float x, y, z;

    bool operator==(const PointFlt&) const = default;
};

/// A position before the perspective divide.
struct HPoint {
    double x, y, z, w;

    bool operator==(const HPoint&) const = default;
};

constexpr Vector operator-(const Point& a, const Point& b) {
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}

constexpr Point operator+(const Point& p, const Vector& v) {
    return {p.x + v.x, p.y + v.y, p.z + v.z};
}

constexpr Point operator-(const Point& p, const Vector& v) {
    return {p.x - v.x, p.y - v.y, p.z - v.z};
}

constexpr VectorFlt operator-(const PointFlt& a, const PointFlt& b) {
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}

constexpr PointFlt operator+(const PointFlt& p, const VectorFlt& v) {
    return {p.x + v.x, p.y + v.y, p.z + v.z};
}

/// Returns the weighted sum of two points.
constexpr Point combine(double wa, const Point& a, double wb, const Point& b) {
    return {wa * a.x + wb * b.x, wa * a.y + wb * b.y, wa * a.z + wb * b.z};
}

/// Returns the weighted sum of three points.
constexpr Point combine(double wa, const Point& a, double wb, const Point& b, double wc,
                        const Point& c) {
    return {wa * a.x + wb * b.x + wc * c.x, wa * a.y + wb * b.y + wc * c.y,
            wa * a.z + wb * b.z + wc * c.z};
}

inline double distance2(const Point& a, const Point& b) { return (a - b).length2(); }

inline double distance(const Point& a, const Point& b) { return (a - b).length(); }

/// True when every coordinate differs by at most `tol`.
inline bool equivalent(const Point& a, const Point& b, double tol) {
    return std::abs(a.x - b.x) <= tol && std::abs(a.y - b.y) <= tol && std::abs(a.z - b.z) <= tol;
}

/// Gives a point the weight 1.
constexpr HPoint toHPoint(const Point& p) { return {p.x, p.y, p.z, 1.0}; }

/// Divides by the weight; a zero weight gives infinities or NaN.
constexpr Point toPoint(const HPoint& h) { return {h.x / h.w, h.y / h.w, h.z / h.w}; }

} // namespace qvLinear
