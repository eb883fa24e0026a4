/// \file
/// Small questions about triangles, polygons and segments: where a point lies, what crosses what.
///
/// A polygon is a list of corners. Functions with a parameter `tol`, a length, count points within
/// it of each other as one.
#pragma once

#include <vector>

#include "qvGeom/Export.h"
#include "qvGeom/foundation/linear/Normal.h"
#include "qvGeom/foundation/linear/Point.h"
#include "qvGeom/foundation/linear/Point2.h"
#include "qvGeom/foundation/linear/Polyline2d.h"

namespace qvGeom {

class Frustum;

// NOLINTBEGIN(readability-identifier-naming): the established names

/// Where a point lies.
enum pointPolygonRelation : int { pointInside = 0, pointOnBoundary = 1, pointOutside = 2 };

/// How a segment lies to a polygon.
enum ELineSegmentPolygonIntersection : int {
    eSegmentUndetermined = 0, ///< None of the below.
    eSegmentOutside = 1,
    eSegmentInside = 2,
    eSegmentCrosses = 3,
    eSegmentTouchesFromOutside = 4, ///< With one of its ends.
    eSegmentOverlapsEdge = 5
};

/// How two polygons lie to each other.
enum EPolygonsIntersection : int {
    ePolygonsUndetermined = 0, ///< One has no area.
    ePolygonsDisjoint = 1,     ///< They have no area in common; their borders may touch.
    ePolygonsFirstInside = 2,
    ePolygonsSecondInside = 3,
    ePolygonsOverlap = 4, ///< Each has a part outside the other.
    ePolygonsEqual = 5
};

// NOLINTEND(readability-identifier-naming)

/// Returns the direction from which the corners are seen counter-clockwise, and (0, 0, 1) for a
/// triangle without area.
QVGEOM_API qvLinear::Normal triNormal(const qvLinear::Point& a, const qvLinear::Point& b,
                                      const qvLinear::Point& c);

/// Finds p = a + v (b - a) + u (c - a) in single precision and returns whether p is in the triangle
/// or on its border. A triangle that is degenerate within `epsilonTolFlt` gives false, and the
/// largest float for both.
QVGEOM_API bool isPointInTriangleDefinitive(const qvLinear::Point2Flt& p,
                                            const qvLinear::Point2Flt& a,
                                            const qvLinear::Point2Flt& b,
                                            const qvLinear::Point2Flt& c, float& u, float& v);

/// The same, but only a triangle without any area is degenerate; `u` and `v` are then not written.
QVGEOM_API bool isPointInTriangleInclusive(const qvLinear::Point2Flt& p,
                                           const qvLinear::Point2Flt& a,
                                           const qvLinear::Point2Flt& b,
                                           const qvLinear::Point2Flt& c, float& u, float& v);

/// Whether the projection of `p` to the plane of the triangle is in it, or outside by less than
/// 1e-5 of its area. How far `p` is from the plane does not matter while it is much less than the
/// size of the triangle. False for a triangle without area.
QVGEOM_API bool isPointInTriangleInclusive(const qvLinear::Point& p, const qvLinear::Point& a,
                                           const qvLinear::Point& b, const qvLinear::Point& c);

/// The same with the area vector (b - a) x (c - a) / 2 at hand.
QVGEOM_API bool isPointInTriangleInclusive(const qvLinear::Point& p, const qvLinear::Point& a,
                                           const qvLinear::Point& b, const qvLinear::Point& c,
                                           const qvLinear::Vector& area);

/// Whether `p` is on the segment from `a` to `b`.
QVGEOM_API bool isPointOnEdge(const qvLinear::Point2& a, const qvLinear::Point2& b,
                              const qvLinear::Point2& p, double tol);

/// Finds where `p` lies and returns whether it is not outside. The last corner repeats the first:
/// no edge is added. Fewer than two corners have only an outside.
QVGEOM_API bool isPointInPolygon(const qvLinear::Point2& p,
                                 const std::vector<qvLinear::Point2>& corners,
                                 pointPolygonRelation& rel, double tol);

/// The same, but an open polygon is closed first.
QVGEOM_API bool isPointPolygonIntersect(const qvLinear::Point2& p,
                                        const qvLinear::Polyline2d& polygon,
                                        pointPolygonRelation& rel, double tol);

/// Whether `p` is in the polygon, in single precision and without a tolerance. Reads n + 1 corners,
/// the last of which repeats the first. False for n < 3. Points on a horizontal edge are in, those
/// on the rest of the border may fall either way, as may those level with a corner to their right
/// at which the border turns back up or down.
QVGEOM_API bool pointPolygonIntersect2D(const float p[2], const float corners[][2], int n);

/// Finds how the segment from `a` to `b` lies to the polygon and returns whether it is not wholly
/// outside. `points` receives the points on the border, each once, and `params` where that is: the
/// number of the edge and a fraction of it. On overlap of an edge `points` is empty and `params`
/// holds where the overlap begins or ends. More than two points leave it undetermined, as does a
/// polygon that is not closed where the segment leaves through the missing edge: `a` and `b` are
/// tested against the closed polygon, but nothing crosses an edge that is not there.
QVGEOM_API bool isLineSegmentPolygonIntersect(const qvLinear::Point2& a, const qvLinear::Point2& b,
                                              const qvLinear::Polyline2d& polygon,
                                              ELineSegmentPolygonIntersection& result,
                                              std::vector<qvLinear::Point2>& points,
                                              std::vector<double>& params, double tol);

/// Finds how two polygons lie to each other and returns whether they have area in common. `overlap`
/// receives that area's border, closed and counter-clockwise; if it falls into several pieces, the
/// largest one; none without common area. Either may be open or closed and run either way, but must
/// not cross itself: the relation is then as undetermined as that of a polygon without area. Time
/// grows with the product of the numbers of corners.
QVGEOM_API bool isPolygonsIntersect(const qvLinear::Polyline2d& first,
                                    const qvLinear::Polyline2d& second,
                                    EPolygonsIntersection& result, qvLinear::Polyline2d& overlap,
                                    double tol);

/// Finds the segment in which the plane n . x + d = 0, given as n.x, n.y, n.z, d with n of any
/// length, meets a triangle; corners within `tol` of the plane are on it. `q` lies from `p` along
/// the cross product of n and the triangle's normal. Returns false, and writes nothing, where there
/// is no one segment: the triangle is beside the plane, touches it with a corner, or lies in it.
[[nodiscard]] QVGEOM_API bool intersect(const double* plane, const qvLinear::Point& a,
                                        const qvLinear::Point& b, const qvLinear::Point& c,
                                        double tol, qvLinear::Point& p, qvLinear::Point& q);

/// Whether `p` is in the volume, within `epsilonTol` of each face.
QVGEOM_API bool pointFrustumIntersect(const qvLinear::Point& p, const Frustum& f);

} // namespace qvGeom
