/// \file
/// The point of a mesh that is closest to a given one.
#pragma once

#include "qvGeom/Export.h"

namespace qvLinear {
struct Point;
}

namespace qvGeom {

class CompactMesh;
struct MeshCoord;
class Octree;
class OctreeTris;

/// Looks for closest points through an octree over the vertices of the mesh and its triangles. The
/// octree must keep empty children: parts of triangles in those that do not exist are not seen.
///
/// All three are borrowed and must not change. Threads may each have an object of their own on the
/// same mesh; it costs nothing to make one.
class QVGEOM_API MeshClosestPoint {
public:
    MeshClosestPoint(const CompactMesh& mesh, const Octree& octree, const OctreeTris& tris);

    /// Fills `out` with the point closest to `point` and returns the distance. Of triangles at the
    /// same distance the one with the lowest index is taken. Triangles with a coordinate that is
    /// not finite are passed over. When no triangle is left, or when `point` has such a coordinate
    /// or one beyond 1e75, `out.triangle` is -1 and the distance infinite.
    double find(const qvLinear::Point& point, MeshCoord& out);

private:
    const CompactMesh* mesh_;
    const Octree* octree_;
    const OctreeTris* tris_;
    double meshScale_; // no coordinate of the octree is larger
};

} // namespace qvGeom
