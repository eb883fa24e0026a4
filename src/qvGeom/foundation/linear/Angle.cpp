#include "qvGeom/foundation/linear/Angle.h"

#include <cmath>

namespace qvLinear {

// Out of line, so that no caller's compiler options can fuse a product with a
// sum and break the symmetry.
double angle(const Vector& a, const Vector& b) {
    return std::atan2(cross(a, b).length(), dot(a, b));
}

Vector rotate(const Vector& v, const Normal& axis, double radians) {
    const Vector across = cross(axis, v);
    const double sineOfHalf = std::sin(0.5 * radians); // 1 - cos without its cancellation
    return v + across * std::sin(radians) + cross(axis, across) * (2.0 * sineOfHalf * sineOfHalf);
}

Point rotate(const Point& p, const Line& axis, double radians) {
    return axis.origin + rotate(p - axis.origin, Normal(axis.direction), radians);
}

} // namespace qvLinear
