/// \file
/// What can be said of texture coordinates.
#pragma once

#include "qvmesh/Report.h"

namespace qvGeom {
class CompactMesh;
}

namespace qvmesh {

/// The area of a triangle in the plane of the UVs, below 0 when it runs clockwise.
double areaInLayout(const qvGeom::CompactMesh& mesh, int triangle);
double areaOnSurface(const qvGeom::CompactMesh& mesh, int triangle);

/// How well a surface has been laid out in the plane.
struct LayoutFacts {
    double coverage = 0;         // of the unit square by all triangles
    int numFlippedTriangles = 0; // that run the other way than most
    double meanAngleError = 0;   // of all corners, in degrees
    double largestAngleError = 0;

    /// The mesh has UVs. Angles of triangles without area on the surface do not count.
    explicit LayoutFacts(const qvGeom::CompactMesh& mesh);
};

Facts describe(const LayoutFacts& layout);

} // namespace qvmesh
