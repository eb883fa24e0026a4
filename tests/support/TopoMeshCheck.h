/// \file
/// Whether the records of a half-edge mesh agree with each other.
#pragma once

#include <string>

#include "qvGeom/foundation/geometry/TopoMesh.h"

namespace test {

/// Says which link of the mesh is wrong first; empty when every ring of a face, every pair of twins
/// and every list of a vertex is whole, no link leads to a deleted element, and counts are those of
/// the walks. Never loops on a broken mesh.
std::string faultOf(const qvGeom::TopoMesh& mesh);

} // namespace test
