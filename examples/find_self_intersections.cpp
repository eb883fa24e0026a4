// Where a mesh passes through itself: find_self_intersections [file]. Without a file, reads the
// mannequin of this project, and returns 0 when it finds the 1581 crossings that it has.
#include <cstdio>
#include <deque>

#include "qvGeom/foundation/base/Progress.h"
#include "qvGeom/foundation/cache/MeshCache.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/Octree.h"
#include "qvGeom/foundation/geometry/OctreeTris.h"
#include "qvGeom/foundation/linear/Linear.h"
#include "qvGeom/io/GeomMeshText.h"
#include "qvGeom/spatial/GeomIntersect.h"

int main(int argc, char** argv) {
    const char* const file = argc > 1 ? argv[1] : "data/mannequin.mesh";
    qvGeom::CompactMesh mesh;
    qvGeom::meshRead(mesh, file); // a damaged file is reported, and leaves the mesh empty
    if (mesh.getNumTriangles() == 0) {
        std::fprintf(stderr, "no triangles in %s\n", file);
        return 2;
    }

    qvGeom::SimpleMeshCache cache;
    const qv::Reference<qvGeom::Octree> octree = cache.getOctree(mesh, 16);
    const qv::Reference<qvGeom::OctreeTris> tris = cache.getOctreeTris(mesh);

    // Each crossing gives two records: the segment on the one triangle and on the other.
    qvUtil::Progress progress;
    std::deque<qvGeom::MeshIntersectPair> records;
    qvGeom::MeshIntersect(mesh, *octree, *tris).selfIntersect(progress, records);

    double length = 0.0;
    for (std::size_t i = 0; i < records.size(); i += 2) {
        const auto from = records[i].first.evaluate(mesh.getVertices(), mesh.getTriangles());
        const auto to = records[i].second.evaluate(mesh.getVertices(), mesh.getTriangles());
        if (i < 6)
            std::printf("triangle %d crosses %d near (%g, %g, %g)\n", records[i].first.triangle,
                        records[i + 1].first.triangle, from.x, from.y, from.z);
        length += distance(from, to);
    }
    std::printf("%zu crossings, %g long in all\n", records.size() / 2, length);
    return argc > 1 || records.size() / 2 == 1581 ? 0 : 1;
}
