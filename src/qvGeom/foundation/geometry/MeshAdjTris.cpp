#include "qvGeom/foundation/geometry/MeshAdjTris.h"

namespace qvGeom {

MeshAdjTris::MeshAdjTris(ArrayOfSets& takenOver) { swap(takenOver); }

void MeshAdjTris::copyTriangles(int vertex, int* out, const int* map) const {
    for (const int* tri = begin(vertex); tri != end(vertex); ++tri)
        *out++ = map ? map[*tri] : *tri;
}

} // namespace qvGeom
