#include "qvGeom/improvement/detail/SwapCriteria.h"

#include <numbers>

#include "qvGeom/foundation/linear/Angle.h"

namespace qvGeom::detail {

using qvLinear::Point;
using qvLinear::Vector;

namespace {

/// The angle at `apex` between the directions to `a` and `b`.
double angleAt(const Point& apex, const Point& a, const Point& b) {
    return qvLinear::angle(qvLinear::Normal(a - apex), qvLinear::Normal(b - apex));
}

} // namespace

bool foldsOverByAngle(const Vector& n1, const Vector& n2) {
    Vector unit1 = n1;
    Vector unit2 = n2;
    return !unit1.normalize() || !unit2.normalize() || angle(unit1, unit2) > std::numbers::pi / 2;
}

bool lowersOppositeAnglesByAngle(const Point& a, const Point& b, const Point& c, const Point& d) {
    const double before = angleAt(c, a, b) + angleAt(d, a, b);
    const double after = angleAt(a, c, d) + angleAt(b, c, d);
    return !(after >= before);
}

} // namespace qvGeom::detail
