/// \file
/// Lines and parametric planes.
#pragma once

#include "qvGeom/foundation/linear/Point.h"

namespace qvLinear {

/// An endless line; the direction may have any length.
struct Line {
    Point origin;
    Vector direction;

    bool operator==(const Line&) const = default;
};

/// A line whose points are numbered: 0 at the origin, 1 one direction away.
struct ParamLine {
    Point origin;
    Vector direction;

    Point at(double t) const { return origin + direction * t; }

    /// Returns the number of the point of the line closest to `p`; 0 when the
    /// direction is zero.
    double projectParam(const Point& p) const {
        const double length2 = direction.length2();
        return length2 > 0.0 ? dot(p - origin, direction) / length2 : 0.0;
    }

    bool operator==(const ParamLine&) const = default;
};

/// A plane whose points are numbered along the two spans.
struct ParamPlane {
    Point origin;
    Vector u, v;

    Point at(double s, double t) const { return origin + u * s + v * t; }

    bool operator==(const ParamPlane&) const = default;
};

/// Returns the point of the line closest to `p`.
inline Point project(const Point& p, const ParamLine& line) {
    return line.at(line.projectParam(p));
}

inline Point project(const Point& p, const Line& line) {
    return project(p, ParamLine{line.origin, line.direction});
}

inline double distance(const Point& p, const Line& line) { return distance(p, project(p, line)); }

} // namespace qvLinear
