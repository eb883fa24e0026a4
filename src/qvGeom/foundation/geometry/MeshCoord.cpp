#include "qvGeom/foundation/geometry/MeshCoord.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <limits>

#include "qvGeom/foundation/geometry/MeshTriangle.h"
#include "qvGeom/foundation/geometry/MeshVertex.h"
#include "qvGeom/foundation/linear/Convert.h"
#include "qvGeom/foundation/linear/Tolerances.h"

namespace qvGeom {

using qvLinear::Point;
using qvLinear::Vector;

namespace {

/// Whether the corners, seen from the first one, span a plane that can be computed with.
bool hasPlane(const Vector& ab, const Vector& ac) {
    const double length2 = std::max(ab.length2(), ac.length2());
    return cross(ab, ac).length2() > qvLinear::epsilon2Tol * (length2 * length2);
}

/// Projects onto the plane of the triangle, all seen from its first corner; without a plane the
/// weights are not numbers. A projected corner gets the weights 1, 0, 0 exactly.
MeshCoordBase projectOntoPlane(const Vector& ab, const Vector& ac, const Vector& ap) {
    const Vector normal = cross(ab, ac);
    // In a thin triangle the first weight found is inaccurate. Taking the second from what the
    // first leaves makes up for it along the triangle's length, so that the position is right all
    // the same.
    const double wc = dot(cross(ab, ap), normal) / normal.length2();
    const double wb = dot(ap - wc * ac, ab) / ab.length2();
    return {{1 - wb - wc, wb, wc}};
}

/// Where along a segment, from 0 to 1, it is closest to a point, both seen from its start. Not a
/// number for a segment without length.
double closestParam(const Vector& segment, const Vector& point) {
    return std::clamp(dot(point, segment) / segment.length2(), 0.0, 1.0);
}

/// Keeps the best of several positions. Those that are not numbers do not count; without any other,
/// the best is the first corner.
class ClosestCandidate {
public:
    ClosestCandidate(const Vector& ab, const Vector& ac, const Vector& ap)
        : ab_(ab),
          ac_(ac),
          ap_(ap) {}

    void consider(const MeshCoordBase& coord) {
        const double candidate2 = (ap_ - coord.w[1] * ab_ - coord.w[2] * ac_).length2();
        if (candidate2 < distance2_) {
            distance2_ = candidate2;
            best_ = coord;
        }
    }

    const MeshCoordBase& best() const { return best_; }

private:
    Vector ab_, ac_, ap_;
    MeshCoordBase best_{{1, 0, 0}};
    double distance2_ = std::numeric_limits<double>::infinity();
};

Point cornerPosition(const MeshVertex* vertices, const MeshTriangle& triangle, int corner) {
    return qvLinear::widen(vertices[triangle[corner]]);
}

} // namespace

MeshCoordBase MeshCoordBase::projectBase(const Point& a, const Point& b, const Point& c,
                                         const Point& p) {
    const Vector ab = b - a;
    const Vector ac = c - a;
    const Vector ap = p - a;
    const MeshCoordBase onPlane = projectOntoPlane(ab, ac, ap);
    const bool beyondBc = !(onPlane.w[0] >= 0); // true as well for what is not a number
    const bool beyondAc = !(onPlane.w[1] >= 0);
    const bool beyondAb = !(onPlane.w[2] >= 0);
    if (!beyondBc && !beyondAc && !beyondAb)
        return onPlane;

    ClosestCandidate closest(ab, ac, ap);
    if (beyondAb) {
        const double t = closestParam(ab, ap);
        closest.consider({{1 - t, t, 0}});
    }
    if (beyondAc) {
        const double t = closestParam(ac, ap);
        closest.consider({{1 - t, 0, t}});
    }
    if (beyondBc) {
        const double t = closestParam(c - b, p - b);
        closest.consider({{0, 1 - t, t}});
    }
    return closest.best();
}

Point MeshCoordBase::evaluateBase(const Point& a, const Point& b, const Point& c) const {
    return combine(w[0], a, w[1], b, w[2], c);
}

void MeshCoord::setFromPoint(int triangleIndex, const MeshVertex* vertices,
                             const MeshTriangle* triangles, const Point& p) {
    const MeshTriangle& corners = triangles[triangleIndex];
    const Point a = cornerPosition(vertices, corners, 0);
    const Point b = cornerPosition(vertices, corners, 1);
    const Point c = cornerPosition(vertices, corners, 2);
    MeshCoordBase coord = projectOntoPlane(b - a, c - a, p - a);
    if (!hasPlane(b - a, c - a) || !std::isfinite(coord.w[0]))
        coord = projectBase(a, b, c, p);

    static_cast<MeshCoordBase&>(*this) = coord;
    triangle = triangleIndex;
}

Point MeshCoord::evaluate(const MeshVertex* vertices, const MeshTriangle* triangles) const {
    assert(triangle >= 0);
    const MeshTriangle& corners = triangles[triangle];
    return evaluateBase(cornerPosition(vertices, corners, 0), cornerPosition(vertices, corners, 1),
                        cornerPosition(vertices, corners, 2));
}

} // namespace qvGeom
