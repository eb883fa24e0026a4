/// \file
/// Reduction: removing vertices from a mesh where it is flattest.
#pragma once

#include <vector>

#include "qvGeom/Export.h"

namespace qvUtil {
class Progress;
}

namespace qvLinear {
struct Point;
}

namespace qvGeom {

class CompactMesh;

/// Removes vertices until at most `fraction` of them are left, or until a round over the whole mesh
/// removes fewer than one in a hundred of those that remain. With a fraction of 1 or more, or NaN,
/// the mesh stays as it is. What holds of both reductions:
///
/// A vertex goes when a single fan of triangles, wound alike, closes around it; the hole is filled
/// with triangles between its neighbours. Boundaries, non-manifold places and unused vertices stay,
/// no vertex moves, and components, boundary loops and genus stay as they are. Vertices keep their
/// order; lines that lose a vertex, strips, fans and triangle normals are dropped. The selection is
/// dropped as soon as vertices are tried, even if all of them stay. One Topology notice at the end
/// carries the map of the vertices; none is sent when nothing was written back.
///
/// The position of every removed vertex is appended to `removed`, in order of removal. Vertices go
/// by tens of thousands at a time; where too many of a group refuse, the group is done again
/// without these, and the positions of its first go stay in the list: so some occur twice.
///
/// When cancelled, the mesh is as after the last group that was written back.
QVGEOM_API void meshReduceToFraction(CompactMesh& mesh, double fraction, qvUtil::Progress& progress,
                                     std::vector<qvLinear::Point>& removed);

/// Removes vertices as long as the surface stays within `tolerance` of the position of each that is
/// or was removed. Returns the largest distance from such a position to the surface that was
/// measured after any of the groups, 0 without one: at the end none is farther. With a tolerance of
/// 0 or less, or NaN, the mesh stays as it is. See `meshReduceToFraction` for all else.
QVGEOM_API double meshReduceWithTolerance(CompactMesh& mesh, double tolerance,
                                          qvUtil::Progress& progress,
                                          std::vector<qvLinear::Point>& removed);

} // namespace qvGeom
