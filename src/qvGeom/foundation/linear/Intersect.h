/// \file
/// Where lines, planes and segments meet.
#pragma once

#include "qvGeom/Export.h"
#include "qvGeom/foundation/linear/Line.h"
#include "qvGeom/foundation/linear/Plane.h"
#include "qvGeom/foundation/linear/Point2.h"
#include "qvGeom/foundation/linear/Range.h"

namespace qvLinear {

/// Finds the point of a line on a plane. Returns false, and writes nothing,
/// when the sine of the angle between the two is at most `epsilonTol`.
[[nodiscard]] QVGEOM_API bool intersect(const Plane& plane, const Line& line, Point& out);

/// The same as the line's parameter.
[[nodiscard]] QVGEOM_API bool intersect(const Plane& plane, const ParamLine& line, double& t);

/// Finds the points of two lines that are closest to each other: one and the
/// same, up to rounding, where the lines cross. Returns false, and writes
/// nothing, when the sine of their angle is below `parallelTol`.
[[nodiscard]] QVGEOM_API bool intersect(const Line& a, const Line& b, Point& onA, Point& onB);

/// Returns the line that two planes share, with a unit direction along the
/// cross product of the normals. Clears `ok` when the sine of the planes' angle
/// is below `parallelTol`; the direction is then zero.
QVGEOM_API ParamLine intersect(const Plane& a, const Plane& b, bool& ok);

/// How two segments of the plane lie to each other.
enum class SegmentRelation {
    Apart,
    Crossing,   ///< They share one point, an end point perhaps.
    Overlapping ///< They lie on one line and share more than a point.
};

/// Compares the segment a0 a1 with the segment b0 b1; points within `tol` of
/// each other count as one. `at` receives the shared point, or an end of the
/// shared part of an overlap, and `ta` and `tb` its parameters in [0, 1] on the
/// two. Nothing is written for segments apart.
QVGEOM_API SegmentRelation doLineSegmentsIntersect(const Point2& a0, const Point2& a1,
                                                   const Point2& b0, const Point2& b1, Point2& at,
                                                   double& ta, double& tb, double tol);

} // namespace qvLinear
