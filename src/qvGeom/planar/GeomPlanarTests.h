/// \file
/// Small questions about triangles in their planes.
#pragma once

#include "qvGeom/Export.h"
#include "qvGeom/foundation/linear/Normal.h"
#include "qvGeom/foundation/linear/Point.h"

namespace qvGeom {

/// Returns the direction from which the corners are seen counter-clockwise, and (0, 0, 1) for a
/// triangle without area.
QVGEOM_API qvLinear::Normal triNormal(const qvLinear::Point& a, const qvLinear::Point& b,
                                      const qvLinear::Point& c);

} // namespace qvGeom
