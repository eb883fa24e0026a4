/// \file
/// Which coordinates of a mesh are meant.
#pragma once

namespace qvGeom {

/// The coordinates that an area is measured in: positions in space or a pair per vertex in a
/// texture. Other values are legal and name no channel.
enum MeshChannel : int { Positions = 0, UVs = 2, STs = 3 };

} // namespace qvGeom
