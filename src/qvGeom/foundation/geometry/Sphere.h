/// \file
/// Spheres.
#pragma once

#include "qvGeom/foundation/linear/Point.h"

namespace qvGeom {

/// The points at most `radius` from `center`.
struct Sphere {
    qvLinear::Point center;
    double radius;
};

} // namespace qvGeom
