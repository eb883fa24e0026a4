/// \file
/// A mesh placed in a scene.
#pragma once

#include "qvGeom/foundation/linear/AffineMatrix.h"

namespace qvGeom {

class CompactMesh;

/// The map from the mesh's own space into the scene, the identity unless given, and the mesh, which
/// the caller keeps alive. A null mesh takes its place in an arrangement but adds nothing to it.
struct MeshPlacement {
    qvLinear::AffineMatrixFlt transform;
    const CompactMesh* mesh = nullptr;
};

} // namespace qvGeom
