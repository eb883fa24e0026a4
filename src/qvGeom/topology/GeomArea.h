/// \file
/// The area of meshes in space and in their textures.
#pragma once

#include <list>
#include <vector>

#include "qvGeom/Export.h"
#include "qvGeom/foundation/geometry/MeshChannel.h"

namespace qvGeom {

struct MeshPlacement;

/// Returns the area of the placed mesh, or of its triangles in a texture channel, which the
/// placement does not change. It is 0 without a mesh or the channel. Runs on the shared pool; the
/// rounding of the sum depends on its number of threads.
[[nodiscard]] QVGEOM_API float meshArea(const MeshPlacement& placement, MeshChannel channel);

/// Returns the area of all placements and replaces `fractions` by what part of it each one has.
/// When that area is below `epsilonTolFlt`, returns 0 and `fractions` are the areas themselves;
/// for a value that names no channel, `fractions` are empty.
QVGEOM_API float meshArea(const std::list<MeshPlacement>& placements, MeshChannel channel,
                          std::vector<float>& fractions);

} // namespace qvGeom
