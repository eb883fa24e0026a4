#include "qvmesh/SearchTree.h"

#include "qvGeom/foundation/cache/MeshCache.h"

#include "qvmesh/Job.h"

namespace qvmesh {

SearchTree::SearchTree(const qvGeom::CompactMesh& mesh, Job& job, double share) {
    job.stage("octree", share, [&](qvUtil::Progress&) {
        qvGeom::SimpleMeshCache cache;
        tris_ = cache.getOctreeTris(mesh);
        octree_ = cache.getOctree(mesh, 0); // the one it built for the triangles
    });
}

} // namespace qvmesh
