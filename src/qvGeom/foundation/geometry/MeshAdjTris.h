/// \file
/// The triangles around every vertex of a mesh.
#pragma once

#include "qvGeom/Export.h"
#include "qvGeom/foundation/geometry/ArrayOfSets.h"

namespace qvGeom {

/// One set per vertex: the triangles that have it as a corner, ascending. A triangle that has a
/// vertex at two corners stands twice in its set, so members are three times the triangles.
class QVGEOM_API MeshAdjTris : public ArrayOfSets {
public:
    MeshAdjTris() = default;
    /// Takes the contents of `takenOver`, which is empty afterwards.
    explicit MeshAdjTris(ArrayOfSets& takenOver);

    /// Writes the triangles of `vertex` to `out`, each replaced by its entry in `map` when that is
    /// not null. `out` has room for setSize(vertex) of them.
    void copyTriangles(int vertex, int* out, const int* map) const;
};

} // namespace qvGeom
