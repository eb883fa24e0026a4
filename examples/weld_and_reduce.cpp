// From a soup of triangles to a tenth of its vertices, and how far that is from where it was.
// Returns 0 when the result is as small as asked for, and close.
#include <cmath>
#include <cstdio>
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

int main() {
    qvGeom::CompactMesh mesh;
    qvGeom::meshRead(mesh, "data/elephant.mesh");

    // Vertices at the same place become one, so that the surface hangs together.
    qvUtil::Progress welding;
    qvGeom::meshCompact(mesh, welding);
    const qvGeom::CompactMesh original = mesh;

    // A progress could be shown, and cancelled from any thread.
    qvUtil::Progress reducing;
    std::vector<qvLinear::Point> removed;
    qvGeom::meshReduceToFraction(mesh, 0.1, reducing, removed);
    std::printf("%d of %d vertices left\n", mesh.getNumVertices(), original.getNumVertices());

    // The distance of every vertex that there was from the surface that is left.
    qvGeom::SimpleMeshCache cache;
    qvUtil::Progress measuring;
    qvGeom::Array<float> distances;
    qvGeom::meshDeviation(original, mesh, *cache.getOctree(mesh, 16), *cache.getOctreeTris(mesh),
                          measuring, distances);
    double largest = 0.0;
    double squares = 0.0;
    for (const float distance : distances) {
        largest = std::fmax(largest, distance);
        squares += static_cast<double>(distance) * distance;
    }
    const double rms = std::sqrt(squares / distances.size());
    std::printf("root mean square distance %g, largest %g\n", rms, largest);
    return mesh.getNumVertices() <= 0.1 * original.getNumVertices() + 1 && rms < largest / 4 ? 0
                                                                                             : 1;
}
