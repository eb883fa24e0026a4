/// \file
/// The real meshes that tests work on.
#pragma once

#include <string>

#include "qvGeom/foundation/geometry/CompactMesh.h"

namespace test {

/// Reads a file of the folder of meshes as it is stored: ours by the library, binary STL and OBJ
/// here. Empty when there is no such file.
qvGeom::CompactMesh readMeshFile(const std::string& name);

} // namespace test
