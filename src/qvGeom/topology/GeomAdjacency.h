/// \file
/// What surrounds a vertex: its triangles and its neighbours, and the triangle across an edge.
#pragma once

#include <vector>

#include "qvGeom/Export.h"

namespace qvGeom {

class CompactMesh;
class MeshAdjTris;
class MeshAdjVertices;
struct MeshTriangle;

/// Replaces `result` by the triangles around every vertex, ascending; the set of an unused vertex
/// is empty. Runs on the shared pool.
QVGEOM_API void meshAdjTris(const CompactMesh& mesh, MeshAdjTris& result);

/// Replaces `result` by the neighbours of every vertex in the order in which its triangles, corner
/// by corner, name them first. `adjTris` is that of the same mesh. Runs on the shared pool.
QVGEOM_API void meshAdjVertices(const CompactMesh& mesh, const MeshAdjTris& adjTris,
                                MeshAdjVertices& result);

/// Replaces `sorted` by the `count` triangles `tris` around `vertex` in the order of a fan. It
/// begins with the first of them; each is followed, if there is one, by a triangle that runs the
/// edge by which it comes in to `vertex` the other way, so the whole of an open fan appears only
/// when `tris` begins at the right end of it. Takes time quadratic in `count`.
QVGEOM_API void sortAdjTris(int vertex, int count, const int* tris, const MeshTriangle* triangles,
                            std::vector<int>& sorted);

/// Finds the lowest triangle beside `tri` that has both ends of its edge `edge`, whichever way it
/// runs between them. `otherCorner` is the first corner of it that holds the edge's end, corner
/// edge + 1 of `tri`. Returns false, with `otherCorner` -1 and `otherTri` as it was, when there is
/// none. `otherTri` may be the object `tri` refers to.
QVGEOM_API bool getSharedEdgeAdjacentTriangle(const int& tri, int edge,
                                              const MeshTriangle* triangles,
                                              const MeshAdjTris& adjTris, int& otherTri,
                                              int& otherCorner);

} // namespace qvGeom
