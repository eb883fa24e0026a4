/// \file
/// Welding: merging the vertices of a mesh that have equal keys.
#pragma once

#include "qvGeom/Export.h"

namespace qvUtil {
class Progress;
}

namespace qvGeom {

class CompactMesh;
class Remap;

/// Merges vertices whose keys are equal, component by component by `==`: -0 meets +0, and a key
/// with a NaN meets nothing. The key is the position; normals that came with the data join it,
/// and with them UVs. Where vertices merge, new numbers follow the lexicographic order of the
/// keys (NaN last), triangles, strips and fans are renumbered, and one Topology notice with the
/// vertex remap is sent; of each channel in the key, and of UVs in any case, the value of the
/// highest old index stays. Lines, line strips, STs, colours, computed normals, attributes and
/// selections keep their old numbering, and triangles that collapse or coincide stay.
///
/// The notice says that triangle normals are valid, and that normals in the key, UVs, strips and
/// fans were modified where there are any.
///
/// `remap` becomes the old-to-new map of all vertices. Without two equal keys it is the identity,
/// the mesh stays as it is and nothing is sent. `progress` gives shares of 0.8 and 0.2 away and
/// stands at 0.8 at the end; it is not polled, and its callback is not called. A mesh without
/// vertices leaves it as it is.
///
/// Costs linear time in the vertices, and sorting time in the distinct keys.
QVGEOM_API void meshCompact(CompactMesh& mesh, qvUtil::Progress& progress, Remap& remap);

/// The same for callers that need no map.
QVGEOM_API void meshCompact(CompactMesh& mesh, qvUtil::Progress& progress);

} // namespace qvGeom
