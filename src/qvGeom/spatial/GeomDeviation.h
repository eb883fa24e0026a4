/// \file
/// How far one mesh lies from another.
#pragma once

#include "qvGeom/Export.h"
#include "qvGeom/foundation/geometry/Array.h"

namespace qvUtil {
class Progress;
}

namespace qvGeom {

class CompactMesh;
class Octree;
class OctreeTris;

/// Replaces `out` by the distance of every selected vertex of `mesh` to the surface of `other`, of
/// which `otherOctree` and `otherTris` are the vertices and the triangles; vertices that are not
/// selected get 3.4028235e38. Distances are infinite when `other` has no triangles, and for
/// vertices with a coordinate that is not finite. A cancelled run leaves `out` as it was. Runs on
/// the shared pool; the same result on any number of threads.
QVGEOM_API void meshDeviation(const CompactMesh& mesh, const CompactMesh& other,
                              const Octree& otherOctree, const OctreeTris& otherTris,
                              qvUtil::Progress& progress, Array<float>& out);

} // namespace qvGeom
