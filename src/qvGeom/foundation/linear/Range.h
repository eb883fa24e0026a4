/// \file
/// Closed ranges of one, two and three dimensions.
#pragma once

#include <cmath>
#include <limits>

#include "qvGeom/foundation/linear/Point.h"
#include "qvGeom/foundation/linear/Point2.h"

namespace qvLinear {

/// The numbers from `lo` to `hi`, both included; empty when `lo > hi`.
struct Range1d {
    double lo, hi;

    double size() const { return hi - lo; }

    bool isEmpty() const { return !(lo <= hi); }

    bool contains(double value) const { return lo <= value && value <= hi; }

    void set(double newLo, double newHi) {
        lo = newLo;
        hi = newHi;
    }

    /// Grows as far as `value`; NaN changes nothing.
    void include(double value) {
        if (value < lo)
            lo = value;
        if (value > hi)
            hi = value;
    }

    void setUnbounded() {
        hi = std::numeric_limits<double>::infinity();
        lo = -hi;
    }

    /// Makes the range hold nothing; the first `include` then sets both ends.
    void setEmpty() {
        lo = std::numeric_limits<double>::infinity();
        hi = -lo;
    }

    bool operator==(const Range1d&) const = default;
};

/// An axis-aligned rectangle; empty when a minimum lies above its maximum.
struct Range2d {
    double minX, minY, maxX, maxY;

    /// [0, 1] x [0, 1].
    static const Range2d unitSquare;

    double width() const { return maxX - minX; }

    double height() const { return maxY - minY; }

    Point2 center() const { return {0.5 * (minX + maxX), 0.5 * (minY + maxY)}; }

    bool isEmpty() const { return !(minX <= maxX && minY <= maxY); }

    bool contains(const Point2& p) const {
        return minX <= p.x && p.x <= maxX && minY <= p.y && p.y <= maxY;
    }

    void set(const Point2& newMin, const Point2& newMax) {
        *this = {newMin.x, newMin.y, newMax.x, newMax.y};
    }

    /// Grows as far as `p`; a NaN coordinate changes nothing.
    void include(const Point2& p) {
        if (p.x < minX)
            minX = p.x;
        if (p.x > maxX)
            maxX = p.x;
        if (p.y < minY)
            minY = p.y;
        if (p.y > maxY)
            maxY = p.y;
    }

    void setUnbounded() {
        maxX = maxY = std::numeric_limits<double>::infinity();
        minX = minY = -maxX;
    }

    /// Makes the rectangle hold nothing; the first `include` then sets its sides.
    void setEmpty() {
        minX = minY = std::numeric_limits<double>::infinity();
        maxX = maxY = -minX;
    }

    bool operator==(const Range2d&) const = default;
};

inline constexpr Range2d Range2d::unitSquare{0.0, 0.0, 1.0, 1.0};

/// An axis-aligned box in double precision; empty when a minimum lies above
/// its maximum.
struct Range3d {
    Point min, max;

    Vector size() const { return max - min; }

    Point center() const { return combine(0.5, min, 0.5, max); }

    bool isEmpty() const { return !(min.x <= max.x && min.y <= max.y && min.z <= max.z); }

    bool contains(const Point& p) const {
        return min.x <= p.x && p.x <= max.x && min.y <= p.y && p.y <= max.y && min.z <= p.z &&
               p.z <= max.z;
    }

    void set(const Point& newMin, const Point& newMax) {
        min = newMin;
        max = newMax;
    }

    /// Grows as far as `p`; a NaN coordinate changes nothing.
    void include(const Point& p) {
        if (p.x < min.x)
            min.x = p.x;
        if (p.x > max.x)
            max.x = p.x;
        if (p.y < min.y)
            min.y = p.y;
        if (p.y > max.y)
            max.y = p.y;
        if (p.z < min.z)
            min.z = p.z;
        if (p.z > max.z)
            max.z = p.z;
    }

    void setUnbounded() {
        const double far = std::numeric_limits<double>::infinity();
        set({-far, -far, -far}, {far, far, far});
    }

    /// Makes the box hold nothing; the first `include` then sets its sides.
    void setEmpty() {
        const double far = std::numeric_limits<double>::infinity();
        set({far, far, far}, {-far, -far, -far});
    }

    bool operator==(const Range3d&) const = default;
};

/// Returns what two ranges share. An overlap of at most `tol`, or none, gives
/// a range whose size is exactly 0, so that callers need no second tolerance;
/// so does an empty or NaN range.
inline Range1d intersect(const Range1d& a, const Range1d& b, double tol) {
    const double lo = a.lo < b.lo ? b.lo : a.lo;
    const double hi = b.hi < a.hi ? b.hi : a.hi;
    if (!a.isEmpty() && !b.isEmpty() && hi > lo && hi - lo > tol)
        return {lo, hi};
    const double at = std::isfinite(lo) ? lo : 0.0; // infinity minus itself is no 0
    return {at, at};
}

} // namespace qvLinear
