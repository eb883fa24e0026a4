/// \file
/// Smoothing: one pass that moves the selected vertices of a mesh.
#pragma once

#include "qvGeom/Export.h"

namespace qvUtil {
class Progress;
}

namespace qvGeom {

class CompactMesh;
class MeshAdjVertices;

// Both move the selected vertices, all when the selection has size 0, from where their neighbours
// are before the pass. Vertices of a boundary are not treated apart: to keep one in place, leave it
// unselected. At every thousandth selected vertex they look for cancellation, which leaves the mesh
// as it was, and otherwise announce changed geometry at the end, also when nothing moved. A mesh
// without vertices is not announced. Channels stay as they are.

/// Moves each vertex to the mean of its neighbours, computed in single precision. One without
/// neighbours becomes NaN.
QVGEOM_API void meshSmoothLaplacian(CompactMesh& mesh, const MeshAdjVertices& adjVertices,
                                    qvUtil::Progress& progress);

/// Moves each vertex along its normal to the weighted mean of the heights over its tangent plane of
/// all vertices that paths within the distance `sigma` of it lead to. Weights fall with distance,
/// `sigma` being their standard deviation, and with height, by the variance of the heights, which
/// keeps features. A vertex stays that has none so close, all in its plane, or a normal of length
/// zero. Does nothing, and announces nothing, without vertex normals. Takes time by the number of
/// vertices within `sigma`, and 16 bytes a vertex for each thread.
QVGEOM_API void meshSmoothBilateral(CompactMesh& mesh, const MeshAdjVertices& adjVertices,
                                    double sigma, qvUtil::Progress& progress);

} // namespace qvGeom
