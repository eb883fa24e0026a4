#include "qvGeom/planar/GeomPlaneFit.h"

#include <algorithm>
#include <cmath>

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
    /// to scale: all entries vanish, or one is not a number.
    bool normalize() {
        const double scale = std::max({xx, yy, zz});
        const double inverse = 1.0 / scale;
        if (!(std::isfinite(inverse) && std::isfinite(xx + yy + zz)))
            return false;
        for (double* entry : {&xx, &yy, &zz, &xy, &xz, &yz})
            *entry *= inverse;
        return true;
    }

    Vector times(const Vector& v) const {
        return {xx * v.x + xy * v.y + xz * v.z, xy * v.x + yy * v.y + yz * v.z,
                xz * v.x + yz * v.y + zz * v.z};
    }

    /// Returns the direction that the matrix scales by `eigenvalue`, which lies apart from the
    /// other two.
    Normal eigenvector(double eigenvalue) const {
        const Vector rowX{xx - eigenvalue, xy, xz};
        const Vector rowY{xy, yy - eigenvalue, yz};
        const Vector rowZ{xz, yz, zz - eigenvalue};
        const Vector first = cross(rowX, rowY), second = cross(rowY, rowZ);
        const Vector third = cross(rowZ, rowX);
        const Vector& longer = second.length2() > first.length2() ? second : first;
        const Normal best(third.length2() > longer.length2() ? third : longer);
        return best == Normal() ? Normal::z : best;
    }
};

/// Returns the unit vector, a mix of u and v, in which the moments with the entries `uu`, `vv` and
/// `uv` are least: at a right angle to half the angle of (uu - vv, 2 uv).
Normal leastBetween(const Vector& u, const Vector& v, double uu, double vv, double uv) {
    const double cosine = uu - vv;
    const double sine = 2.0 * uv;
    const double length = std::sqrt(cosine * cosine + sine * sine);
    if (!(length > 0.0))
        return Normal(v);
    // Of the sine and the cosine of the half, the larger comes from a sum and has all its digits.
    const double larger = std::sqrt(0.5 + 0.5 * std::abs(cosine) / length);
    const double smaller = 0.5 * (sine / length) / larger;
    return Normal(cosine > 0.0 ? combine(-smaller, u, larger, v) : combine(-larger, u, smaller, v));
}

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
    return leastBetween(u, v, sxx, syy, sxy);
}

/// The same from moments that have the digits.
Normal leastAcross(const Moments& moments, const Vector& axis) {
    const Vector u = axis.orthogonalVector(), v = cross(axis, u);
    const Vector mu = moments.times(u);
    return leastBetween(u, v, dot(u, mu), dot(v, moments.times(v)), dot(v, mu));
}

/// Returns twice the cosine of a third of the angle that has this cosine, from 0 to 1: the root of
/// x^3 - 3x = 2 cosine between the square root of 3 and 2.
double twiceCosineOfThird(double cosine) {
    // A cubic with the root's values and slopes at both ends; each step cubes what it is off.
    double x = 1.7320508075688772 +
               cosine * (0.33333333333333331 + cosine * (-0.0850412 + cosine * 0.0196571));
    for (int step = 0; step < 2; ++step) {
        const double value = x * (x * x - 3.0) - 2.0 * cosine;
        const double slope = 3.0 * (x * x - 1.0);
        x -= value * slope / (slope * slope - 3.0 * x * value);
    }
    return x;
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
    const double spread2 = (x * x + y * y + z * z + 2.0 * beside) / 6.0;
    if (!(spread2 > 0.0)) // the same in all directions
        return Normal::z;
    const double determinant = x * (y * z - m.yz * m.yz) - m.xy * (m.xy * z - m.yz * m.xz) +
                               m.xz * (m.xy * m.yz - y * m.xz);
    const double spread = std::sqrt(spread2);
    const double skew = determinant / (2.0 * spread2 * spread);
    const double apart = spread * twiceCosineOfThird(std::min(std::abs(skew), 1.0));
    if (skew < 0.0)
        return m.eigenvector(mean - apart);
    constexpr double kNarrow = 1e-3; // of the moments along the axis, those across it
    const Normal axis = m.eigenvector(mean + apart);
    return 2.0 * mean - apart > kNarrow ? leastAcross(m, axis)
                                        : leastAcross(n, points, centroid, axis);
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
