/// \file
/// The position of one vertex.
#pragma once

#include "qvGeom/foundation/linear/Point.h"

namespace qvGeom {

/// Three floats back to back, so that an array of them reads as a flat float array.
struct MeshVertex {
    float x, y, z;

    constexpr operator qvLinear::PointFlt() const { return {x, y, z}; }
};

} // namespace qvGeom
