#include "qvGeom/foundation/linear/Intersect.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "qvGeom/foundation/linear/Tolerances.h"

namespace qvLinear {
namespace {

struct Segment2 {
    Point2 start, end;

    Vector2 span() const { return end - start; }

    Point2 at(double t) const { return start + span() * t; }

    /// Returns the parameter of the point closest to `p`.
    double closest(const Point2& p) const {
        const double length2 = span().length2();
        return length2 > 0.0 ? std::clamp(dot(p - start, span()) / length2, 0.0, 1.0) : 0.0;
    }
};

/// Parameters of one shared point on two segments.
struct Shared {
    double first, second;
};

/// Finds an end of what the two share when both lie along the line of `base`.
bool findOverlap(const Segment2& base, const Segment2& other, double tol, Shared& shared) {
    Vector2 along = base.span();
    const double length = along.length();
    if (!along.normalize())
        return false;
    const Vector2 toStart = other.start - base.start;
    const Vector2 toEnd = other.end - base.start;
    if (!(std::abs(cross(along, toStart)) <= tol && std::abs(cross(along, toEnd)) <= tol))
        return false;

    const double start = dot(along, toStart), end = dot(along, toEnd);
    const double lo = std::max(std::min(start, end), 0.0);
    const double hi = std::min(std::max(start, end), length);
    if (!(hi - lo > tol))
        return false;
    shared = {lo / length, std::clamp((lo - start) / (end - start), 0.0, 1.0)};
    return true;
}

/// Finds the one point inside or at an end of both.
bool findCrossing(const Segment2& a, const Segment2& b, Shared& shared) {
    const double den = cross(a.span(), b.span());
    const Vector2 between = b.start - a.start;
    const double ta = cross(between, b.span()) / den;
    const double tb = cross(between, a.span()) / den;
    if (!(ta >= 0.0 && ta <= 1.0 && tb >= 0.0 && tb <= 1.0)) // NaN where parallel
        return false;
    shared = {ta, tb};
    return true;
}

/// Finds an end of one segment that lies within `tol` of the other.
bool findTouch(const Segment2& a, const Segment2& b, double tol, Shared& shared) {
    for (const double end : {0.0, 1.0}) {
        const double ta = a.closest(b.at(end));
        if (distance(a.at(ta), b.at(end)) <= tol) {
            shared = {ta, end};
            return true;
        }
        const double tb = b.closest(a.at(end));
        if (distance(b.at(tb), a.at(end)) <= tol) {
            shared = {end, tb};
            return true;
        }
    }
    return false;
}

} // namespace

bool intersect(const Plane& plane, const Line& line, Point& out) {
    const ParamLine numbered{line.origin, line.direction};
    double t;
    if (!intersect(plane, numbered, t))
        return false;
    out = numbered.at(t);
    return true;
}

bool intersect(const Plane& plane, const ParamLine& line, double& t) {
    const double approach = dot(plane.normal, line.direction);
    if (!(std::abs(approach) > epsilonTol * line.direction.length()))
        return false;
    t = -plane.eval(line.origin) / approach;
    return true;
}

bool intersect(const Line& a, const Line& b, Point& onA, Point& onB) {
    const Vector across = cross(a.direction, b.direction);
    const double scale = a.direction.length() * b.direction.length();
    if (!(scale > 0.0 && across.length() >= parallelTol * scale))
        return false;
    const Vector between = b.origin - a.origin;
    onA = a.origin + a.direction * (dot(cross(between, b.direction), across) / across.length2());
    onB = b.origin + b.direction * (dot(cross(between, a.direction), across) / across.length2());
    return true;
}

ParamLine intersect(const Plane& a, const Plane& b, bool& ok) {
    Vector direction = cross(a.normal, b.normal);
    const double sine = direction.length();
    ok = sine >= parallelTol;
    if (!ok)
        return {a.point, {0.0, 0.0, 0.0}};
    direction /= sine;
    // From a's own point straight to b, along a: near the planes' points, however
    // far these are from the world origin.
    const Vector toB = cross(direction, a.normal);
    return {a.point - toB * (b.eval(a.point) / sine), direction};
}

SegmentRelation doLineSegmentsIntersect(const Point2& a0, const Point2& a1, const Point2& b0,
                                        const Point2& b1, Point2& at, double& ta, double& tb,
                                        double tol) {
    const Segment2 a{a0, a1}, b{b0, b1};
    Shared shared{0.0, 0.0};
    // Against the longer one's line: the shorter one's may aim badly.
    const bool baseIsA = a.span().length2() >= b.span().length2();
    const bool overlap = baseIsA ? findOverlap(a, b, tol, shared) : findOverlap(b, a, tol, shared);
    if (overlap && !baseIsA)
        std::swap(shared.first, shared.second);
    if (!overlap && !findCrossing(a, b, shared) && !findTouch(a, b, tol, shared))
        return SegmentRelation::Apart;
    ta = shared.first;
    tb = shared.second;
    at = a.at(ta);
    return overlap ? SegmentRelation::Overlapping : SegmentRelation::Crossing;
}

} // namespace qvLinear
