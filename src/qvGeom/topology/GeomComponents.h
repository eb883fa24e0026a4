/// \file
/// The connected components of a mesh.
#pragma once

#include "qvGeom/Export.h"

namespace qvGeom {

template <class T>
class Array;
class CompactMesh;
class MeshAdjTris;
class TopoMesh;

/// Returns the number of components; triangles that share a vertex are in the same one. Fills
/// `vertexComponent`, unless it is null, with the component of every vertex, numbered in the order
/// of their lowest triangles; a vertex that no triangle uses gets -1.
QVGEOM_API int meshComponents(const CompactMesh& mesh, const MeshAdjTris& adjTris,
                              Array<int>* vertexComponent);

/// Returns the number of components of the faces; faces that share a vertex are in the same one.
[[nodiscard]] QVGEOM_API int meshComponents(TopoMesh& mesh);

} // namespace qvGeom
