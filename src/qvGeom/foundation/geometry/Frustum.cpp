#include "qvGeom/foundation/geometry/Frustum.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace qvGeom {

using qvLinear::HPoint;
using qvLinear::Line;
using qvLinear::Normal;
using qvLinear::Point;
using qvLinear::ProjMatrix;
using qvLinear::Vector;

namespace {

/// Beyond any model, and inside the range of float.
constexpr double kFarAway = 1e30;

Vector spanOf(const HPoint& h) { return {h.x, h.y, h.z}; }

/// Computes the corners: the images of the clip cube's corners.
void computeCorners(const ProjMatrix& clipToWorld, Point* corner) {
    Vector toInfinity[4];
    double longest = 0.0;
    for (int k = 0; k < 4; ++k) {
        const double x = k & 1 ? 1.0 : -1.0;
        const double y = k & 2 ? 1.0 : -1.0;
        const HPoint near = HPoint{x, y, -1.0, 1.0} * clipToWorld;
        const HPoint far = HPoint{x, y, 1.0, 1.0} * clipToWorld;
        corner[k] = toPoint(near);
        corner[k + 4] = toPoint(far);
        // Weights of opposite sign: the edge passes through infinity on its way.
        toInfinity[k] = near.w * far.w > 0.0 ? Vector{0.0, 0.0, 0.0}
                                             : spanOf(far) * near.w - spanOf(near) * far.w;
        longest = std::max(longest, toInfinity[k].length());
    }
    for (int k = 0; k < 4; ++k) {
        // One factor for all, so that the far corners stay in one plane.
        if (toInfinity[k].length2() > 0.0)
            corner[k + 4] = corner[k] + toInfinity[k] * (kFarAway / longest);
    }
}

/// Returns the face where w + sign * coordinate is 0. Read from the matrix, as
/// corners at infinity would lose it; its point is the closest to `reference`.
Frustum::Face clipFace(const ProjMatrix& m, int coordinate, double sign, const Point& reference) {
    double inward[4];
    for (int row = 0; row < 4; ++row)
        inward[row] = m.m[row][3] + sign * m.m[row][coordinate];
    const Vector gradient{inward[0], inward[1], inward[2]};
    const Normal outward(-gradient);
    if (outward == Normal())
        return {{0.0, 0.0, 0.0}, outward};
    const Vector toReference = reference - Point{0.0, 0.0, 0.0};
    const double height = -(dot(gradient, toReference) + inward[3]) / gradient.length();
    return {reference - outward * height, outward};
}

Point middle(const Point* four) {
    return combine(0.5, combine(0.5, four[0], 0.5, four[1]), 0.5,
                   combine(0.5, four[2], 0.5, four[3]));
}

bool isFinite(const Point& p) {
    return std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z);
}

} // namespace

Frustum::Frustum(const ProjMatrix& worldToClip) {
    ProjMatrix clipToWorld;
    if (worldToClip.invert(clipToWorld)) {
        computeCorners(clipToWorld, corner);
    } else {
        const double nan = std::numeric_limits<double>::quiet_NaN();
        std::fill(corner, corner + 8, Point{nan, nan, nan});
    }

    const Point nearMiddle = middle(corner);
    const Point reference = isFinite(nearMiddle) ? nearMiddle : Point{0.0, 0.0, 0.0};
    for (int k = 0; k < 6; ++k)
        face[k] = clipFace(worldToClip, k / 2, k % 2 == 0 ? 1.0 : -1.0, reference);
}

Vector Frustum::getVector() const {
    Vector direction = middle(corner + 4) - middle(corner);
    return direction.normalize() ? direction : Vector{0.0, 0.0, 0.0};
}

Line Frustum::getRay() const { return {middle(corner), getVector()}; }

} // namespace qvGeom
