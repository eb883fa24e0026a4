/// \file
/// Normals of vertices, computed from the triangles around them.
#pragma once

#include "qvGeom/Export.h"

namespace qvGeom {

class CompactMesh;
class MeshAdjTris;

/// Gives every vertex the mean direction of its triangles, each weighted by its area, as its unit
/// normal, and marks the normals as computed. It is zero where there is no triangle, where they
/// cancel out, and where a corner is not finite. Announces it as a change of attributes, but for a
/// mesh without vertices does nothing. Runs on the shared pool.
QVGEOM_API void meshComputeNormals(CompactMesh& mesh, const MeshAdjTris& adjTris);

} // namespace qvGeom
