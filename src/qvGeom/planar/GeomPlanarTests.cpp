#include "qvGeom/planar/GeomPlanarTests.h"

#include <algorithm>
#include <array>
#include <cfloat>
#include <cmath>
#include <utility>

#include "qvGeom/foundation/geometry/Frustum.h"
#include "qvGeom/foundation/linear/Intersect.h"
#include "qvGeom/foundation/linear/Plane.h"
#include "qvGeom/foundation/linear/Tolerances.h"

namespace qvGeom {

using qvLinear::Normal;
using qvLinear::Plane;
using qvLinear::Point;
using qvLinear::Point2;
using qvLinear::Point2Flt;
using qvLinear::Polyline2d;
using qvLinear::SegmentRelation;
using qvLinear::Vector;
using qvLinear::Vector2;

namespace {

enum class Solved { No, Yes };

/// Solves p = a + v (b - a) + u (c - a), dividing by nothing that `isZero`.
template <class IsZero>
Solved solveBarycentric(const Point2Flt& p, const Point2Flt& a, const Point2Flt& b,
                        const Point2Flt& c, const IsZero& isZero, float& u, float& v) {
    const Point2Flt e1{b.x - a.x, b.y - a.y}, e2{c.x - a.x, c.y - a.y}, d{p.x - a.x, p.y - a.y};
    if (isZero(e1.x)) {
        if (isZero(e2.x) || isZero(e1.y))
            return Solved::No;
        u = d.x / e2.x;
        v = (d.y - u * e2.y) / e1.y;
        return Solved::Yes;
    }
    const float den = e2.y * e1.x - e1.y * e2.x;
    if (isZero(den))
        return Solved::No;
    u = (d.y * e1.x - e1.y * d.x) / den;
    v = (d.x - u * e2.x) / e1.x;
    return Solved::Yes;
}

bool isInUnitTriangle(float u, float v) { return u >= 0 && u <= 1 && v >= 0 && u + v <= 1; }

Vector areaVector(const Point& a, const Point& b, const Point& c) {
    return cross(b - a, c - a) / 2.0;
}

/// Whether `p` is in the box around the segment, widened by `tol`.
bool isInBox(const Point2& a, const Point2& b, const Point2& p, double tol) {
    return p.x >= std::min(a.x, b.x) - tol && p.x <= std::max(a.x, b.x) + tol &&
           p.y >= std::min(a.y, b.y) - tol && p.y <= std::max(a.y, b.y) + tol;
}

bool contains(const std::vector<Point2>& points, const Point2& p) {
    return std::any_of(points.begin(), points.end(), [&p](const Point2& known) {
        return equivalent(known, p, qvLinear::epsilonTol);
    });
}

ELineSegmentPolygonIntersection classify(std::size_t numPoints, pointPolygonRelation a,
                                         pointPolygonRelation b) {
    const auto isAnEnd = [&](pointPolygonRelation rel) { return a == rel || b == rel; };
    if (numPoints == 0 && a == b && a != pointOnBoundary)
        return a == pointInside ? eSegmentInside : eSegmentOutside;
    if (numPoints == 1 && isAnEnd(pointInside))
        return eSegmentCrosses;
    if (numPoints == 1 && isAnEnd(pointOnBoundary) && isAnEnd(pointOutside))
        return eSegmentTouchesFromOutside;
    return numPoints == 2 ? eSegmentCrosses : eSegmentUndetermined;
}

} // namespace

Normal triNormal(const Point& a, const Point& b, const Point& c) {
    const Normal normal(cross(c - b, a - b));
    return normal == Normal() ? Normal::z : normal;
}

bool isPointInTriangleDefinitive(const Point2Flt& p, const Point2Flt& a, const Point2Flt& b,
                                 const Point2Flt& c, float& u, float& v) {
    const auto isZero = [](float x) { return std::abs(x) < qvLinear::epsilonTolFlt; };
    if (solveBarycentric(p, a, b, c, isZero, u, v) == Solved::No) {
        u = v = FLT_MAX;
        return false;
    }
    return isInUnitTriangle(u, v);
}

bool isPointInTriangleInclusive(const Point2Flt& p, const Point2Flt& a, const Point2Flt& b,
                                const Point2Flt& c, float& u, float& v) {
    const auto isZero = [](float x) { return x == 0.0F; };
    return solveBarycentric(p, a, b, c, isZero, u, v) == Solved::Yes && isInUnitTriangle(u, v);
}

bool isPointInTriangleInclusive(const Point& p, const Point& a, const Point& b, const Point& c) {
    return isPointInTriangleInclusive(p, a, b, c, areaVector(a, b, c));
}

bool isPointInTriangleInclusive(const Point& p, const Point& a, const Point& b, const Point& c,
                                const Vector& area) {
    constexpr double kPart = 1e-5; // of the area: as much may lie outside
    const Normal normal(area);
    const auto isBeyondEdge = [&](const Point& from, const Point& to) {
        const Vector part = areaVector(p, from, to);
        return !(dot(part, normal) > 0.0) && !(part.length() / area.length() < kPart);
    };
    return !isBeyondEdge(b, c) && !isBeyondEdge(c, a) && !isBeyondEdge(a, b);
}

bool isPointOnEdge(const Point2& a, const Point2& b, const Point2& p, double tol) {
    Vector2 along = b - a;
    const double length = along.length();
    if (!along.normalize())
        return equivalent(p, a, tol);
    const Vector2 across{along.y, -along.x};
    const double t = dot(along, p - a);
    return std::abs(dot(across, p - a)) < tol && t >= -tol && t <= length + tol;
}

bool isPointInPolygon(const Point2& p, const std::vector<Point2>& corners,
                      pointPolygonRelation& rel, double tol) {
    bool inside = false;
    for (std::size_t k = 1; k < corners.size(); ++k) {
        const Point2 &a = corners[k - 1], &b = corners[k];
        if ((a.y > p.y) == (b.y > p.y))
            continue;
        const double x = a.x + (b.x - a.x) * (p.y - a.y) / (b.y - a.y);
        if (std::abs(x - p.x) < tol) {
            rel = pointOnBoundary;
            return true;
        }
        inside ^= x > p.x;
    }
    for (std::size_t k = 1; k < corners.size(); ++k) {
        const Point2 &a = corners[k - 1], &b = corners[k];
        if (isInBox(a, b, p, tol) && isPointOnEdge(a, b, p, tol)) {
            rel = pointOnBoundary;
            return true;
        }
    }
    rel = inside ? pointInside : pointOutside;
    return inside;
}

bool isPointPolygonIntersect(const Point2& p, const Polyline2d& polygon, pointPolygonRelation& rel,
                             double tol) {
    if (polygon.isClosed() || polygon.vertices.empty())
        return isPointInPolygon(p, polygon.vertices, rel, tol);
    std::vector<Point2> corners = polygon.vertices;
    corners.push_back(corners.front());
    return isPointInPolygon(p, corners, rel, tol);
}

bool pointPolygonIntersect2D(const float p[2], const float corners[][2], int n) {
    if (n < 3)
        return false;
    const float px = p[0], py = p[1];
    bool inside = false;
    for (int k = 1; k <= n; ++k) {
        const auto [x0, y0] = corners[k - 1];
        const auto [x1, y1] = corners[k];
        if ((y0 > py && y1 > py) || (y0 < py && y1 < py) || (x0 < px && x1 < px))
            continue;
        if (y0 == y1) {
            if (std::min(x0, x1) <= px && px <= std::max(x0, x1))
                return true;
            continue;
        }
        const float t = (py - y0) / (y1 - y0);
        if (t >= 0 && t < 1 && x0 + (x1 - x0) * t >= px)
            inside = !inside;
    }
    return inside;
}

bool isLineSegmentPolygonIntersect(const Point2& a, const Point2& b, const Polyline2d& polygon,
                                   ELineSegmentPolygonIntersection& result,
                                   std::vector<Point2>& points, std::vector<double>& params,
                                   double tol) {
    points.clear();
    params.clear();
    for (std::size_t k = 0; k + 1 < polygon.vertices.size(); ++k) {
        Point2 at;
        double onSegment, onEdge;
        const SegmentRelation relation = doLineSegmentsIntersect(
            a, b, polygon.vertices[k], polygon.vertices[k + 1], at, onSegment, onEdge, tol);
        if (relation == SegmentRelation::Apart)
            continue;
        const double param = static_cast<double>(k) + onEdge;
        if (relation == SegmentRelation::Overlapping) {
            points.clear();
            params.assign(1, param);
            result = eSegmentOverlapsEdge;
            return true;
        }
        if (!contains(points, at)) {
            points.push_back(at);
            params.push_back(param);
        }
    }

    pointPolygonRelation relA, relB;
    isPointPolygonIntersect(a, polygon, relA, tol);
    isPointPolygonIntersect(b, polygon, relB, tol);
    result = classify(points.size(), relA, relB);
    return result != eSegmentOutside;
}

bool intersect(const double* plane, const Point& a, const Point& b, const Point& c, double tol,
               Point& p, Point& q) {
    const Vector n{plane[0], plane[1], plane[2]};
    const std::array<Point, 3> corners{a, b, c};
    std::array<double, 3> height;
    for (int k = 0; k < 3; ++k) {
        const Point& corner = corners[k];
        height[k] = (dot(n, Vector{corner.x, corner.y, corner.z}) + plane[3]) / n.length();
        if (std::abs(height[k]) <= tol)
            height[k] = 0.0;
    }

    std::array<Point, 3> ends;
    int numEnds = 0;
    for (int k = 0; k < 3; ++k) {
        const int next = (k + 1) % 3;
        if (height[k] == 0.0)
            ends[numEnds++] = corners[k];
        else if ((height[k] < 0.0 && height[next] > 0.0) || (height[k] > 0.0 && height[next] < 0.0))
            ends[numEnds++] = corners[k] + (corners[next] - corners[k]) *
                                               (height[k] / (height[k] - height[next]));
    }
    if (numEnds != 2)
        return false;
    const bool ahead = dot(cross(n, cross(b - a, c - a)), ends[1] - ends[0]) >= 0.0;
    p = ends[ahead ? 0 : 1];
    q = ends[ahead ? 1 : 0];
    return true;
}

bool pointFrustumIntersect(const Point& p, const Frustum& f) {
    return std::none_of(std::begin(f.face), std::end(f.face), [&p](const Frustum::Face& face) {
        return isAbove(Plane(face.point, face.outward), p, qvLinear::epsilonTol);
    });
}

} // namespace qvGeom
