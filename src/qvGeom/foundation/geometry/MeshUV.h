/// \file
/// The texture coordinates of one vertex.
#pragma once

namespace qvGeom {

struct MeshUV {
    float u, v;
};

} // namespace qvGeom
