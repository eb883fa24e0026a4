// From a soup, whose triangles share no vertices, to a tenth of the vertices, and how far that is
// from where it was. Returns 0 when the result is small and close, on a model of length 1.
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <numeric>
#include <vector>

#include "qvGeom/editing/GeomVertexWeld.h"
#include "qvGeom/foundation/base/Progress.h"
#include "qvGeom/foundation/cache/MeshCache.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/Octree.h"
#include "qvGeom/foundation/geometry/OctreeTris.h"
#include "qvGeom/improvement/GeomReduce.h"
#include "qvGeom/io/GeomMeshText.h"
#include "qvGeom/spatial/GeomDeviation.h"

// The mesh as an STL file would have it.
static qvGeom::CompactMesh soupOf(const qvGeom::CompactMesh& mesh) {
    std::vector<int> indices(3 * static_cast<std::size_t>(mesh.getNumTriangles()));
    std::iota(indices.begin(), indices.end(), 0);
    std::vector<qvGeom::MeshVertex> corners(indices.size());
    for (const int i : indices)
        corners[i] = mesh.getVertices()[mesh.getTrianglesRaw()[i]];
    qvGeom::CompactMesh soup(static_cast<int>(corners.size()), corners.data(), {}, {}, {});
    soup.copyTriangles(mesh.getNumTriangles(), indices.data());
    return soup;
}

int main() {
    qvGeom::CompactMesh elephant;
    qvGeom::meshRead(elephant, "data/elephant.mesh");
    qvGeom::CompactMesh mesh = soupOf(elephant);
    std::printf("%d vertices in the soup\n", mesh.getNumVertices());

    // Vertices at the same place become one, so that the surface hangs together.
    qvUtil::Progress welding, reducing, measuring; // could be shown, and cancelled from any thread
    qvGeom::meshCompact(mesh, welding);
    const qvGeom::CompactMesh welded = mesh;
    std::vector<qvLinear::Point> removed;
    qvGeom::meshReduceToFraction(mesh, 0.1, reducing, removed);
    std::printf("%d when welded, %d when reduced\n", welded.getNumVertices(),
                mesh.getNumVertices());

    // The distance of every vertex that there was from the surface that is left.
    qvGeom::SimpleMeshCache cache;
    qvGeom::Array<float> distances;
    qvGeom::meshDeviation(welded, mesh, *cache.getOctree(mesh, 16), *cache.getOctreeTris(mesh),
                          measuring, distances);
    double largest = 0.0, squares = 0.0;
    for (const double distance : distances) {
        largest = std::fmax(largest, distance);
        squares += distance * distance;
    }
    const double rms = std::sqrt(squares / distances.size());
    std::printf("root mean square distance %g, largest %g\n", rms, largest);
    const bool isSmall = mesh.getNumVertices() <= elephant.getNumVertices() / 10;
    return welded.getNumVertices() == elephant.getNumVertices() && isSmall && rms < 1e-3 ? 0 : 1;
}
