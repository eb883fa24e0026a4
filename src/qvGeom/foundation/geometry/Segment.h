/// \file
/// Straight segments as they are stored.
#pragma once

#include "qvGeom/foundation/linear/Convert.h"

namespace qvGeom {

/// The straight line between two points in single precision.
struct Segment {
    qvLinear::PointFlt start;
    qvLinear::PointFlt end;

    Segment(const qvLinear::PointFlt& a, const qvLinear::PointFlt& b) : start(a), end(b) {}

    /// Narrows both points.
    Segment(const qvLinear::Point& a, const qvLinear::Point& b)
        : start(qvLinear::narrow(a)),
          end(qvLinear::narrow(b)) {}

    /// Takes two x, y, z triples.
    Segment(const float* a, const float* b) : start{a[0], a[1], a[2]}, end{b[0], b[1], b[2]} {}

    /// Takes two x, y, z triples and narrows them.
    Segment(const double* a, const double* b)
        : Segment(qvLinear::Point{a[0], a[1], a[2]}, qvLinear::Point{b[0], b[1], b[2]}) {}

    bool operator==(const Segment&) const = default;
};

} // namespace qvGeom
