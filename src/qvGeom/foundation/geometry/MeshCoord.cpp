#include "qvGeom/foundation/geometry/MeshCoord.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <limits>

#include "qvGeom/foundation/geometry/MeshTriangle.h"
#include "qvGeom/foundation/geometry/MeshVertex.h"
#include "qvGeom/foundation/linear/Tolerances.h"

namespace qvGeom {

using qvLinear::Point;
using qvLinear::Vector;

namespace {

struct PlaneProjection {
    MeshCoordBase coord; // not numbers when the triangle has no plane
    double thinness2;    // square of height over length; not a number for a collapsed triangle
};

/// Projects onto the plane of the triangle, all seen from its first corner. A projected corner gets
/// the weights 1, 0, 0 exactly.
PlaneProjection projectOntoPlane(const Vector& ab, const Vector& ac, const Vector& ap) {
    const Vector normal = cross(ab, ac);
    const double normal2 = normal.length2();
    // In a thin triangle the first weight found is inaccurate. Taking the second from what the
    // first leaves makes up for it along the triangle's length, so that the position is right all
    // the same.
    const double wc = dot(cross(ab, ap), normal) / normal2;
    const double wb = dot(ap - wc * ac, ab) / ab.length2();
    const double length2 = std::max(ab.length2(), ac.length2());
    return {{1 - wb - wc, wb, wc}, normal2 / (length2 * length2)};
}

bool isInside(const MeshCoordBase& coord) {
    return coord.w[0] >= 0 && coord.w[1] >= 0 && coord.w[2] >= 0;
}

/// Where along a segment, from 0 to 1, it is closest to a point, both seen from its start.
double closestParam(const Vector& segment, const Vector& point) {
    const double length2 = segment.length2();
    return length2 > 0 ? std::clamp(dot(point, segment) / length2, 0.0, 1.0) : 0;
}

/// Keeps the best of several positions. Without one at a finite distance it is the first corner.
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
    const MeshVertex& vertex = vertices[triangle[corner]];
    return {vertex.x, vertex.y, vertex.z};
}

} // namespace

MeshCoordBase MeshCoordBase::projectBase(const Point& a, const Point& b, const Point& c,
                                         const Point& p) {
    const Vector ab = b - a;
    const Vector ac = c - a;
    const Vector ap = p - a;
    const auto [onPlane, thinness2] = projectOntoPlane(ab, ac, ap);

    // In a thin triangle the signs of the weights do not tell for sure which edges lie towards p.
    const bool thin = !(thinness2 > qvLinear::parallelTol * qvLinear::parallelTol);
    const bool inside = isInside(onPlane);
    if (inside && !thin)
        return onPlane;

    ClosestCandidate closest(ab, ac, ap);
    if (inside)
        closest.consider(onPlane);
    if (thin || onPlane.w[2] < 0) {
        const double t = closestParam(ab, ap);
        closest.consider({{1 - t, t, 0}});
    }
    if (thin || onPlane.w[1] < 0) {
        const double t = closestParam(ac, ap);
        closest.consider({{1 - t, 0, t}});
    }
    if (thin || onPlane.w[0] < 0) {
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
    const auto [onPlane, thinness2] = projectOntoPlane(b - a, c - a, p - a);
    const bool isPlane = thinness2 > qvLinear::epsilon2Tol && std::isfinite(onPlane.w[0]);

    static_cast<MeshCoordBase&>(*this) = isPlane ? onPlane : projectBase(a, b, c, p);
    triangle = triangleIndex;
}

Point MeshCoord::evaluate(const MeshVertex* vertices, const MeshTriangle* triangles) const {
    assert(triangle >= 0);
    const MeshTriangle& corners = triangles[triangle];
    return evaluateBase(cornerPosition(vertices, corners, 0), cornerPosition(vertices, corners, 1),
                        cornerPosition(vertices, corners, 2));
}

} // namespace qvGeom
