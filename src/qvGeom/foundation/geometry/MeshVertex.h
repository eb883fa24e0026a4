/// \file
/// The position of one vertex.
#pragma once

namespace qvGeom {

/// Three floats back to back, so that an array of them reads as a flat float array.
struct MeshVertex {
    float x, y, z;
};

} // namespace qvGeom
