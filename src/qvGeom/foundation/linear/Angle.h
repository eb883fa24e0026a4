/// \file
/// Angles and turns.
#pragma once

#include <numbers>

#include "qvGeom/Export.h"
#include "qvGeom/foundation/linear/Line.h"
#include "qvGeom/foundation/linear/Normal.h"

namespace qvLinear {

constexpr double toRadians(double degrees) { return degrees * std::numbers::pi / 180.0; }

constexpr double toDegrees(double radians) { return radians * 180.0 / std::numbers::pi; }

/// Returns the angle between two vectors of any length, in [0, pi]. Swapping
/// them gives the same bits. A zero vector makes an angle of 0 with any other.
QVGEOM_API double angle(const Vector& a, const Vector& b);

/// Turns `v` about the axis, anticlockwise seen from the axis's tip. A zero
/// axis turns nothing.
QVGEOM_API Vector rotate(const Vector& v, const Normal& axis, double radians);

/// Turns `p` about the line in the same sense.
QVGEOM_API Point rotate(const Point& p, const Line& axis, double radians);

} // namespace qvLinear
