#include "qvGeom/planar/GeomPlanarTests.h"

namespace qvGeom {

using qvLinear::Normal;
using qvLinear::Point;

Normal triNormal(const Point& a, const Point& b, const Point& c) {
    const Normal normal(cross(c - b, a - b));
    return normal == Normal() ? Normal::z : normal;
}

} // namespace qvGeom
