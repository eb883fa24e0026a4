// What is in sight: puts a bone into a head that is open at the neck, and looks at both from the
// front and from below. Returns 0 when the bone is seen through the neck alone.
#include <cstdio>

#include "qvGeom/foundation/geometry/BitVector.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/MeshAdjTris.h"
#include "qvGeom/foundation/geometry/MeshAdjVertices.h"
#include "qvGeom/foundation/linear/Linear.h"
#include "qvGeom/io/GeomMeshText.h"
#include "qvGeom/topology/GeomAdjacency.h"
#include "qvGeom/view/GeomProjection.h"
#include "qvGeom/view/GeomSelectVisible.h"

static void append(qvGeom::CompactMesh& mesh, const char* file, float scale) {
    qvGeom::CompactMesh other;
    qvGeom::meshRead(other, file);
    const int firstVertex = mesh.getNumVertices(), firstTriangle = mesh.getNumTriangles();
    mesh.resizeVertexArray(firstVertex + other.getNumVertices());
    for (int i = 0; i < 3 * other.getNumVertices(); ++i)
        mesh.getVerticesRaw()[3 * firstVertex + i] = scale * other.getVerticesRaw()[i];
    mesh.resizeTriangleArray(firstTriangle + other.getNumTriangles());
    for (int i = 0; i < 3 * other.getNumTriangles(); ++i)
        mesh.getTrianglesRaw()[3 * firstTriangle + i] = firstVertex + other.getTrianglesRaw()[i];
}

// A bit for each triangle of a piece that is mostly seen from far out in the direction `back`.
static qvGeom::BitVector seenFrom(const qvLinear::Vector& back, const qvGeom::CompactMesh& mesh) {
    const qvLinear::Vector right = back.orthogonalVector();
    qvLinear::AffineMatrix toEye;
    toEye.setFrame(qvLinear::Point{} + 70.0 * back, right, cross(back, right), back);
    toEye.invert(toEye);            // a frame takes the eye's coordinates to the world's
    const qvGeom::AngleAspect lens; // sees 55 degrees, and from 1 to 100 away
    qvLinear::ProjMatrix toClip;
    lens.getMatrix(toClip, false);

    qvGeom::MeshAdjTris adjTris;
    qvGeom::meshAdjTris(mesh, adjTris);
    qvGeom::MeshAdjVertices adjVertices;
    qvGeom::meshAdjVertices(mesh, adjTris, adjVertices);
    qvGeom::BitVector seen, candidates(mesh.getNumVertices());
    candidates.setAllBits();
    qvGeom::MeshSelectVisible view(toClip, seen, candidates, lens.getAspectRatio());
    view.process(mesh, adjVertices, toEye);
    return seen;
}

int main() {
    qvGeom::CompactMesh mesh;
    append(mesh, "data/mannequin.mesh", 1.0F);
    const int head = mesh.getNumTriangles();
    append(mesh, "data/patella.mesh", 200.0F); // metres; the head is 40 high
    const int all = mesh.getNumTriangles();

    const int fromFront = seenFrom({0, -1, 0}, mesh).numSetBits();
    const int fromBelow = seenFrom({0, 0, -1}, mesh).numSetBits();
    std::printf("%d triangles of a head, %d of a bone in it\n", head, all - head);
    std::printf("in sight from the front: %d, from below: %d\n", fromFront, fromBelow);
    return fromFront == head && fromBelow == all ? 0 : 1;
}
