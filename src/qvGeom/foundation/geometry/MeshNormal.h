/// \file
/// The normal of one vertex or of one triangle.
#pragma once

namespace qvGeom {

/// Three floats back to back; of unit length by convention, never enforced.
struct MeshNormal {
    float x, y, z;
};

} // namespace qvGeom
