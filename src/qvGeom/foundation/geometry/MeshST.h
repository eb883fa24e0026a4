/// \file
/// The second texture channel of one vertex.
#pragma once

namespace qvGeom {

struct MeshST {
    float s, t;
};

} // namespace qvGeom
