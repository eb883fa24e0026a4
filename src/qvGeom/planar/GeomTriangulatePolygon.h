/// \file
/// Triangulation of a closed loop of points in space.
#pragma once

#include <vector>

#include "qvGeom/Export.h"
#include "qvGeom/foundation/linear/Point.h"

namespace qvUtil {
class Progress;
}

namespace qvGeom {

class BitVector;

/// Replaces `triangles` by three positions in `loop` for each of the n - 2 triangles that fill it,
/// wound as the loop is. Of all triangulations it takes the flattest and of equally flat ones the
/// smallest: flatness is the smallest cosine between the normals of neighbours, and across the loop
/// itself, where nothing is known, it is 0. Part polygons are settled before what contains them, so
/// on a folded loop the result need not be the flattest of all. Triangles without area are used
/// where nothing better is left.
///
/// Bit a * n + b of `forbiddenEdges`, n * n bits, marks the edge from a to b; triangles
/// that run along it are the worst there are, but used where nothing else is left. Null or no bits
/// at all forbid nothing. A loop of fewer than three points gives no triangles.
///
/// Returns false, with `triangles` empty, when cancelled. Runs on the shared pool; time grows with
/// the cube of n (a fraction of a second for 1000 points) and memory with its square, 20 n * n
/// bytes.
QVGEOM_API bool triangulatePolygon(const std::vector<qvLinear::Point>& loop,
                                   std::vector<int>& triangles, BitVector* forbiddenEdges,
                                   qvUtil::Progress* progress);

} // namespace qvGeom
