/// \file
/// Filling the voxels of an octree with a mesh, and what meets a box.
///
/// All tests on boxes count touching as meeting. Those of triangles and segments are done in
/// floats; a NaN coordinate never separates.
#pragma once

#include "qvGeom/Export.h"
#include "qvGeom/foundation/geometry/Array.h"
#include "qvGeom/foundation/geometry/BoundingBox.h"

namespace qvGeom {

class CompactMesh;
class Frustum;
struct MeshTriangle;
struct MeshVertex;
class Octree;
class OctreeLines;
class OctreeTris;
struct Ray;
struct Sphere;

/// Replaces `result` by the triangles that meet each voxel, ascending. The octree is one over the
/// mesh's vertices that keeps empty children; one without voxels leaves the result as it was. A
/// triangle without any number on some axis meets none. Runs on the shared pool; the same result on
/// any number of threads.
QVGEOM_API void computeOctreeTris(const CompactMesh& mesh, const Octree& octree,
                                  OctreeTris& result);

/// The same for the lines of the mesh.
QVGEOM_API void meshOctreeLines(const CompactMesh& mesh, const Octree& octree, OctreeLines& result);

/// Replaces `box` by the extent of one triangle. NaN coordinates are passed over.
QVGEOM_API void meshTriBoundingBox(const MeshVertex* vertices, const MeshTriangle& triangle,
                                   BoundingBox& box);

/// Replaces `boxes` by that of every triangle. Runs on the shared pool.
QVGEOM_API void meshTriBoundingBoxes(const CompactMesh& mesh, Array<BoundingBox>& boxes);

/// Whether the box and the frustum may meet: false when all corners of one lie beyond one face of
/// the other. Near an edge of the frustum the result is true for some boxes outside.
QVGEOM_API bool intersects(const BoundingBox& box, const Frustum& frustum);

/// Rounds the centre of the sphere to floats first.
QVGEOM_API bool intersects(const BoundingBox& box, const Sphere& sphere);

/// Ignores the ray's maximum distance. A box that only touches the ray's origin from behind is not
/// met; one whose face the ray runs in is.
QVGEOM_API bool intersects(const BoundingBox& box, const Ray& ray);

/// The triangle test.
QVGEOM_API bool intersects(const BoundingBox& box, const qvLinear::PointFlt& p0,
                           const qvLinear::PointFlt& p1, const qvLinear::PointFlt& p2);

/// The segment test.
QVGEOM_API bool intersects(const BoundingBox& box, const qvLinear::PointFlt& p0,
                           const qvLinear::PointFlt& p1);

/// Whether the point is above no face of the frustum.
QVGEOM_API bool contains(const Frustum& frustum, const qvLinear::Point& point);

/// Whether the point is inside the box or on its surface.
QVGEOM_API bool contains(const BoundingBox& box, const qvLinear::PointFlt& point);

/// Computes the range of the dot products of `direction` with the points of the box.
QVGEOM_API void project(const BoundingBox& box, const qvLinear::VectorFlt& direction, float& lo,
                        float& hi);

} // namespace qvGeom
