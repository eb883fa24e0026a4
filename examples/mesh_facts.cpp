// Reads a mesh and says what it is: mesh_facts [file]. Without a file, reads the elephant of this
// project, and returns 0 when it finds the closed surface of genus 3 that it is.
#include <cstdio>

#include "qvGeom/foundation/base/Strings.h"
#include "qvGeom/foundation/geometry/BoundingBox.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/MeshAdjTris.h"
#include "qvGeom/foundation/geometry/MeshAdjVertices.h"
#include "qvGeom/foundation/geometry/MeshBoundaries.h"
#include "qvGeom/foundation/geometry/MeshPlacement.h"
#include "qvGeom/io/GeomMeshText.h"
#include "qvGeom/topology/GeomAdjacency.h"
#include "qvGeom/topology/GeomArea.h"
#include "qvGeom/topology/GeomBoundary.h"
#include "qvGeom/topology/GeomBoundingBox.h"
#include "qvGeom/topology/GeomComponents.h"

int main(int argc, char** argv) {
    const char* const file = argc > 1 ? argv[1] : "data/elephant.mesh";
    qvGeom::CompactMesh mesh;
    qvGeom::meshRead(mesh, file); // a damaged file is reported, and leaves the mesh empty
    if (mesh.getNumTriangles() == 0) {
        std::fprintf(stderr, "no triangles in %s\n", file);
        return 2;
    }

    // Two tables answer most questions of connectivity. They hold until the mesh is edited.
    qvGeom::MeshAdjTris adjTris;
    qvGeom::meshAdjTris(mesh, adjTris);
    qvGeom::MeshAdjVertices adjVertices;
    qvGeom::meshAdjVertices(mesh, adjTris, adjVertices);

    qvGeom::MeshBoundaries boundaries;
    qvGeom::meshComputeBoundary(mesh, adjTris, adjVertices, boundaries);
    const int numComponents = qvGeom::meshComponents(mesh, adjTris, nullptr);
    int numEdgeEnds = 0;
    for (int v = 0; v < mesh.getNumVertices(); ++v)
        numEdgeEnds += adjVertices.getCount(v);
    const int euler = mesh.getNumVertices() - numEdgeEnds / 2 + mesh.getNumTriangles();

    qvGeom::BoundingBox box;
    qvGeom::meshBoundingBox(mesh, box);
    qvGeom::MeshPlacement placement; // where the mesh stands: here in its own space
    placement.mesh = &mesh;
    const float area = qvGeom::meshArea(placement, qvGeom::Positions);

    std::printf("%s: %d vertices, %d triangles\n", file, mesh.getNumVertices(),
                mesh.getNumTriangles());
    std::printf("components %d, boundary loops %d, Euler characteristic %d\n", numComponents,
                boundaries.size(), euler);
    std::printf("size %g x %g x %g, area %g\n", box.max[0] - box.min[0], box.max[1] - box.min[1],
                box.max[2] - box.min[2], area);
    const bool isElephant = numComponents == 1 && boundaries.size() == 0 && euler == -4;
    return argc > 1 || isElephant ? 0 : 1;
}
