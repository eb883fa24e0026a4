#include "qvGeom/topology/GeomComponents.h"

#include <algorithm>

#include "qvGeom/foundation/base/Diagnostics.h"
#include "qvGeom/foundation/base/StopWatch.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/DisjointSets.h"
#include "qvGeom/foundation/geometry/MeshAdjTris.h"
#include "qvGeom/foundation/geometry/TopoMesh.h"

namespace qvGeom {
namespace {

/// Unites the corners of every triangle and leaves the sets flat.
void uniteByTriangles(const CompactMesh& mesh, DisjointSets& sets) {
    const MeshTriangle* const triangles = mesh.getTriangles();
    const int numTriangles = mesh.getNumTriangles();
    // Half of the triangles join nearly all there is to join. Once their trees are flat, the
    // other half has little left to do but look.
    for (const int first : {0, 1}) {
        for (int t = first; t < numTriangles; t += 2)
            sets.unite(triangles[t][0], triangles[t][1], triangles[t][2]);
        sets.flatten();
    }
}

/// Numbers the components by their lowest triangle; the trees of unused vertices get -1.
void numberComponents(const CompactMesh& mesh, const DisjointSets& sets, int numComponents,
                      Array<int>& vertexComponent) {
    const int numVertices = mesh.getNumVertices();
    Array<int> rootArray(numVertices);
    int* const numberOfRoot = rootArray.data();
    std::fill_n(numberOfRoot, numVertices, -1);
    for (int t = 0, numbered = 0; numbered < numComponents; ++t) {
        int& number = numberOfRoot[sets.parentOf(mesh.getTriangles()[t][0])];
        if (number < 0)
            number = numbered++;
    }

    vertexComponent.resize(numVertices);
    int* const component = vertexComponent.data();
    for (int v = 0; v < numVertices; ++v)
        component[v] = numberOfRoot[sets.parentOf(v)];
}

} // namespace

int meshComponents(const CompactMesh& mesh, const MeshAdjTris& adjTris,
                   Array<int>* vertexComponent) {
    const int numVertices = mesh.getNumVertices();
    const int numTriangles = mesh.getNumTriangles();
    debugChannel().print("meshComponents(): %d triangles\n", numTriangles);
    qvOS::StopWatch watch;
    watch.start();

    DisjointSets sets(numVertices);
    uniteByTriangles(mesh, sets);
    int numComponents = 0;
    for (int v = 0; v < numVertices; ++v)
        numComponents += sets.isRoot(v) && adjTris.setSize(v) > 0;
    if (vertexComponent)
        numberComponents(mesh, sets, numComponents, *vertexComponent);

    debugChannel().print("   %d components: %f s\n", numComponents, watch.clear());
    return numComponents;
}

int meshComponents(TopoMesh& mesh) {
    DisjointSets sets(mesh.vertexIdLimit());
    for (int e = mesh.nextEdge(-1); e >= 0; e = mesh.nextEdge(e))
        sets.unite(mesh.edgeVertex(e), mesh.edgeEndVertex(e));

    // A set is a component when it has a face, which then has an edge that starts at the root.
    int numComponents = 0;
    for (int v = mesh.nextVertex(-1); v >= 0; v = mesh.nextVertex(v))
        numComponents += mesh.vertexEdge(v) >= 0 && sets.rootOf(v) == v;
    return numComponents;
}

} // namespace qvGeom
