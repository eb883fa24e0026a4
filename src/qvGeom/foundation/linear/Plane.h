/// \file
/// Planes given by a point and a normal.
#pragma once

#include "qvGeom/foundation/linear/Normal.h"
#include "qvGeom/foundation/linear/Point.h"

namespace qvLinear {

/// The points p with `dot(normal, p) + d == 0`. The side the normal points to
/// is above.
struct Plane {
    Point point;
    Normal normal;
    double d;

    /// A plane through the world origin without a normal: every point lies on it.
    Plane() : point{0.0, 0.0, 0.0}, d(0.0) {}

    Plane(const Point& through, const Normal& n) : point(through), normal(n) { calculateD(); }

    /// Renews `d` after a change of the point or the normal.
    void calculateD() { d = -dot(normal, Vector{point.x, point.y, point.z}); }

    /// Returns the signed height of `p` over the plane, measured from the
    /// plane's point: far from the world origin that keeps digits that `d` loses.
    double eval(const Point& p) const { return dot(p - point, normal); }
};

/// True when `p` lies more than `tol` over the plane.
inline bool isAbove(const Plane& plane, const Point& p, double tol) { return plane.eval(p) > tol; }

/// Returns the point of the plane closest to `p`.
inline Point project(const Point& p, const Plane& plane) {
    return p - plane.eval(p) * plane.normal;
}

} // namespace qvLinear
