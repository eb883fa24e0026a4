/// \file
/// Planes laid through points.
#pragma once

#include "qvGeom/Export.h"
#include "qvGeom/foundation/linear/Plane.h"
#include "qvGeom/foundation/linear/Point.h"

namespace qvGeom {

/// Lays `plane` through the centroid of the points so that the sum of their squared distances is
/// least. The normal is a unit vector, its sign of no meaning, also where several planes are as
/// good: through points on a line, or all in one place. Fewer than three points give false and the
/// plane at the world origin without a normal.
QVGEOM_API bool fit(int n, const qvLinear::Point* points, qvLinear::Plane& plane);

/// The same among the planes that contain the first and the last point; the distances are those of
/// the points between. Gives false and the plane at the world origin without a normal, too, where
/// these two coincide and where a coordinate is not finite.
QVGEOM_API bool fitWithEndsOnPlane(int n, const qvLinear::Point* points, qvLinear::Plane& plane);

} // namespace qvGeom
