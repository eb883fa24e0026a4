/// \file
/// A part of a mesh.
#pragma once

#include "qvGeom/foundation/geometry/BitVector.h"

namespace qvGeom {

class CompactMesh;

/// Some vertices and some triangles of one mesh, which the caller keeps alive. Each bit vector has
/// a bit for every element of its kind, set for those in the subset; the two are independent, so a
/// triangle may be in it without its corners. Editing the mesh makes the subset meaningless.
struct MeshSubset {
    const CompactMesh* mesh = nullptr;
    BitVector vertices;
    BitVector triangles;
};

} // namespace qvGeom
