// Which point of a mesh is under the mouse: sends a ray through the mannequin of this project and
// looks for what it hits first. Returns 0 when the triangle next to the hit is the one found.
#include <cmath>
#include <cstdio>

#include "qvGeom/foundation/cache/MeshCache.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/MeshCoord.h"
#include "qvGeom/foundation/geometry/Octree.h"
#include "qvGeom/foundation/geometry/OctreeTris.h"
#include "qvGeom/foundation/linear/Linear.h"
#include "qvGeom/io/GeomMeshText.h"
#include "qvGeom/spatial/GeomClosestPoint.h"
#include "qvGeom/spatial/GeomRayTrace.h"

int main() {
    qvGeom::CompactMesh mesh;
    qvGeom::meshRead(mesh, "data/mannequin.mesh");

    // The cache builds the trees when they are first asked for, and drops them when the mesh says
    // that it changed.
    qvGeom::SimpleMeshCache cache;
    const qv::Reference<qvGeom::Octree> octree = cache.getOctree(mesh, 16);
    const qv::Reference<qvGeom::OctreeTris> tris = cache.getOctreeTris(mesh);

    // From above the middle of the box, straight down.
    qvLinear::Range3d box;
    mesh.getBoundingBox(box);
    const qvLinear::PointFlt eye{static_cast<float>((box.min.x + box.max.x) / 2),
                                 static_cast<float>((box.min.y + box.max.y) / 2),
                                 static_cast<float>(box.max.z + 1.0)};
    const qvLinear::Vector down{0.0, 0.0, -1.0};
    qvGeom::RayTracer tracer(*octree, *tris, &mesh);
    tracer.setFindNearestHit(true);
    if (!tracer.intersect(eye, down)) {
        std::puts("nothing there");
        return 1;
    }
    const double distance = tracer.intersectionDist();
    const qvLinear::Point hit{eye.x, eye.y, eye.z - distance};

    // The triangle it belongs to, and where in it the point lies.
    qvGeom::MeshCoord coord;
    qvGeom::MeshClosestPoint closest(mesh, *octree, *tris);
    const double away = closest.find(hit, coord);
    std::printf("hit at distance %g: triangle %d, weights %.3f %.3f %.3f\n", distance,
                coord.triangle, coord.w[0], coord.w[1], coord.w[2]);
    return away < 1e-5 * (box.max.z - box.min.z) ? 0 : 1;
}
