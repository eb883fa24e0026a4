#include "qvGeom/planar/GeomPlaneFit.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "qvGeom/foundation/linear/Normal.h"
#include "qvGeom/foundation/linear/Vector.h"

namespace qvGeom {

using qvLinear::Normal;
using qvLinear::Plane;
using qvLinear::Point;
using qvLinear::Vector;

namespace {

/// A symmetric matrix.
struct Moments {
    double xx = 0.0, yy = 0.0, zz = 0.0, xy = 0.0, xz = 0.0, yz = 0.0;

    void add(const Vector& v) {
        xx += v.x * v.x;
        yy += v.y * v.y;
        zz += v.z * v.z;
        xy += v.x * v.y;
        xz += v.x * v.z;
        yz += v.y * v.z;
    }

    /// Makes the largest diagonal entry 1, which no other entry exceeds. False when nothing is left
    /// to scale: all entries are zero, or one is not a number.
    bool normalize() {
        const double scale = std::max({xx, yy, zz});
        if (!(scale > 0.0 && std::isfinite(xx + yy + zz)))
            return false;
        for (double* entry : {&xx, &yy, &zz, &xy, &xz, &yz})
            *entry /= scale;
        return true;
    }

    /// Returns the direction that the matrix scales by `eigenvalue`, which lies apart from the
    /// other two.
    Vector eigenvector(double eigenvalue) const {
        const Vector rowX{xx - eigenvalue, xy, xz}, rowY{xy, yy - eigenvalue, yz},
            rowZ{xz, yz, zz - eigenvalue};
        Vector best = cross(rowX, rowY);
        for (const Vector& other : {cross(rowY, rowZ), cross(rowZ, rowX)}) {
            if (other.length2() > best.length2())
                best = other;
        }
        return best.normalize() ? best : Vector{0.0, 0.0, 1.0};
    }
};

/// Returns the unit vector at right angles to `axis`, a unit vector too, in which the squares of
/// the points' distances from `origin` add up to the least; zero where they are no numbers. The
/// sums are made across the axis: far along it the moments have no digits left for what is beside.
Normal leastAcross(int n, const Point* points, const Point& origin, const Vector& axis) {
    const Vector u = axis.orthogonalVector(), v = cross(axis, u);
    double sxx = 0.0, syy = 0.0, sxy = 0.0;
    for (int i = 0; i < n; ++i) {
        const double x = dot(points[i] - origin, u), y = dot(points[i] - origin, v);
        sxx += x * x;
        syy += y * y;
        sxy += x * y;
    }
    const double angle = 0.5 * (std::atan2(2.0 * sxy, sxx - syy) + std::numbers::pi);
    return Normal(combine(std::cos(angle), u, std::sin(angle), v));
}

Point centroidOf(int n, const Point* points) {
    Vector sum{0.0, 0.0, 0.0};
    for (int i = 0; i < n; ++i)
        sum += points[i] - points[0]; // far from the world origin this keeps digits
    return points[0] + sum / n;
}

/// Returns the unit vector in which the squares of the points' distances from their centroid add up
/// to the least.
///
/// The characteristic polynomial gives one eigenvalue of the moments well: the one that lies
/// further from the middle one. If it is the largest, the rest is done across its direction.
Normal leastDirection(int n, const Point* points, const Point& centroid) {
    Moments m;
    for (int i = 0; i < n; ++i)
        m.add(points[i] - centroid);
    if (!m.normalize())
        return Normal::z;
    const double mean = (m.xx + m.yy + m.zz) / 3.0;
    const double x = m.xx - mean, y = m.yy - mean, z = m.zz - mean;
    const double beside = m.xy * m.xy + m.xz * m.xz + m.yz * m.yz;
    const double spread = std::sqrt((x * x + y * y + z * z + 2.0 * beside) / 6.0);
    if (!(spread > 0.0)) // the same in all directions
        return Normal::z;
    const double determinant = x * (y * z - m.yz * m.yz) - m.xy * (m.xy * z - m.yz * m.xz) +
                               m.xz * (m.xy * m.yz - y * m.xz);
    const double skew = std::clamp(determinant / (2.0 * spread * spread * spread), -1.0, 1.0);
    const double angle = std::acos(skew) / 3.0;
    constexpr double kThird = 2.0 * std::numbers::pi / 3.0;
    if (skew < 0.0)
        return Normal(m.eigenvector(mean + 2.0 * spread * std::cos(angle + kThird)));
    return leastAcross(n, points, centroid, m.eigenvector(mean + 2.0 * spread * std::cos(angle)));
}

} // namespace

bool fit(int n, const Point* points, Plane& plane) {
    plane = Plane();
    if (n < 3)
        return false;
    const Point centroid = centroidOf(n, points);
    plane = Plane(centroid, leastDirection(n, points, centroid));
    return true;
}

bool fitWithEndsOnPlane(int n, const Point* points, Plane& plane) {
    plane = Plane();
    if (n <= 2)
        return false;
    const Normal line(points[n - 1] - points[0]);
    if (line == Normal())
        return false;
    const Normal normal = leastAcross(n - 2, points + 1, points[0], line);
    if (normal == Normal())
        return false;
    plane = Plane(points[0], normal);
    return true;
}

} // namespace qvGeom
