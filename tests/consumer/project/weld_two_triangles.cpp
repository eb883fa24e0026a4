// Welds a square that comes as two loose triangles. Returns 0 when the result is right.
#include <cstdio>

#include "qvGeom/editing/GeomVertexWeld.h"
#include "qvGeom/foundation/base/Progress.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"

int main() {
    const qvGeom::MeshVertex corners[6] = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0},
                                           {0, 0, 0}, {1, 1, 0}, {0, 1, 0}};
    const int triangles[6] = {0, 1, 2, 3, 4, 5};
    qvGeom::CompactMesh mesh(6, corners, nullptr, nullptr, nullptr);
    mesh.copyTriangles(2, triangles);

    qvUtil::Progress progress;
    qvGeom::meshCompact(mesh, progress);

    const qvGeom::MeshTriangle* tris = mesh.getTriangles();
    std::printf("%d vertices, %d triangles\n", mesh.getNumVertices(), mesh.getNumTriangles());
    const bool shareDiagonal = tris[0][0] == tris[1][0] && tris[0][2] == tris[1][1];
    return mesh.getNumVertices() == 4 && mesh.getNumTriangles() == 2 && shareDiagonal ? 0 : 1;
}
