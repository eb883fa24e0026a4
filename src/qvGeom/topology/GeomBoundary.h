/// \file
/// The boundary loops of a mesh, and the directed edges they are made of.
#pragma once

#include "qvGeom/Export.h"

namespace qvGeom {

class CompactMesh;
class MeshAdjTris;
class MeshAdjVertices;
class MeshBoundaries;

namespace Boundary {

/// Returns the corner that follows the first one holding `v`, or -1 when none does.
QVGEOM_API int findEdge(int v, const int* triangle);

/// Returns whether a triangle runs from `a` to `b`, as `findEdge` sees it. Costs the smaller number
/// of triangles at both.
QVGEOM_API bool hasEdge(const CompactMesh& mesh, const MeshAdjTris& adjTris, int a, int b);

/// Finds the first boundary edge that leaves `v`: one that no triangle runs the other way. `next`
/// becomes its other end, or, when there is none and the result is false, the last end looked at.
/// An end with as many neighbours as triangles counts as interior and is passed over; where
/// several fans meet that can hide a boundary edge.
[[nodiscard]] QVGEOM_API bool walkBoundary(int v, int& next, const CompactMesh& mesh,
                                           const MeshAdjTris& adjTris,
                                           const MeshAdjVertices& adjVertices);

} // namespace Boundary

/// Replaces `result` by the boundary loops, each in the direction of the triangles beside it and
/// from its lowest vertex on, in the order of these vertices. Every vertex is walked through once,
/// so that of two loops that touch the later ends at the common vertex.
QVGEOM_API void meshComputeBoundary(const CompactMesh& mesh, const MeshAdjTris& adjTris,
                                    const MeshAdjVertices& adjVertices, MeshBoundaries& result);

} // namespace qvGeom
