/// \file
/// Positions on a surface: a triangle and one weight for each of its corners.
#pragma once

#include "qvGeom/Export.h"
#include "qvGeom/foundation/linear/Point.h"

namespace qvGeom {

struct MeshTriangle;
struct MeshVertex;

/// The weights of a triangle's corners, which add up to 1; the position is the weighted sum.
struct QVGEOM_API MeshCoordBase {
    double w[3] = {0, 0, 0};

    /// Returns the weights of the point of the triangle that is closest to `p`; none is negative. A
    /// triangle collapsed to a segment or a point is taken as that. Whatever the coordinates, the
    /// weights are those of a point of the triangle, but not the closest when they are not finite
    /// or lengths leave the range from 1e-75 to 1e75.
    static MeshCoordBase projectBase(const qvLinear::Point& a, const qvLinear::Point& b,
                                     const qvLinear::Point& c, const qvLinear::Point& p);

    /// Returns the position in the triangle (a, b, c).
    qvLinear::Point evaluateBase(const qvLinear::Point& a, const qvLinear::Point& b,
                                 const qvLinear::Point& c) const;
};

/// A position on a mesh; the triangle is -1 when there is none.
struct QVGEOM_API MeshCoord : MeshCoordBase {
    int triangle = -1;

    /// Takes the point of the triangle's plane that is closest to `p`, inside the triangle or not:
    /// weights are negative beyond an edge. In a triangle too thin to have a plane, its height
    /// below 1e-12 of its length, this is the closest point of the triangle itself.
    void setFromPoint(int triangleIndex, const MeshVertex* vertices, const MeshTriangle* triangles,
                      const qvLinear::Point& p);

    /// Returns the position; the triangle must not be -1.
    qvLinear::Point evaluate(const MeshVertex* vertices, const MeshTriangle* triangles) const;
};

} // namespace qvGeom
