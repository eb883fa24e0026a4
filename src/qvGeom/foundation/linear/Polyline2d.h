/// \file
/// Chains of straight edges in the plane.
#pragma once

#include <vector>

#include "qvGeom/foundation/linear/Point2.h"

namespace qvLinear {

/// Vertices joined in order.
struct Polyline2d {
    std::vector<Point2> vertices;

    /// True when the last vertex repeats the first.
    bool isClosed() const { return vertices.size() > 1 && vertices.front() == vertices.back(); }
};

} // namespace qvLinear
