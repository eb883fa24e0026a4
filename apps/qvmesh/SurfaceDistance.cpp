#include "qvmesh/SurfaceDistance.h"

#include <algorithm>
#include <cmath>

#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/linear/Convert.h"
#include "qvGeom/spatial/GeomDeviation.h"

#include "qvmesh/Failure.h"
#include "qvmesh/Job.h"
#include "qvmesh/SearchTree.h"

namespace qvmesh {

SurfaceDistance::SurfaceDistance(const qvGeom::CompactMesh& mesh,
                                 const qvGeom::CompactMesh& surface, Job& job, double share) {
    const SearchTree tree(surface, job, 0.2 * share);
    job.stage("distances", 0.8 * share, [&](qvUtil::Progress& progress) {
        qvGeom::meshDeviation(mesh, surface, tree.octree(), tree.tris(), progress, ofVertex);
    });

    double sum = 0;
    double sumOfSquares = 0;
    for (int v = 0; v < ofVertex.size(); ++v) {
        const double distance = qvLinear::widen(ofVertex[v]);
        largest = std::max(largest, distance);
        sum += distance;
        sumOfSquares += distance * distance;
    }
    if (!std::isfinite(largest))
        throw Failure("the meshes are too far apart to tell how far");
    mean = sum / ofVertex.size();
    rootMeanSquare = std::sqrt(sumOfSquares / ofVertex.size());
}

Facts describe(const SurfaceDistance& distance) {
    return {countFact("points", "points", distance.ofVertex.size()),
            realFact("largest", "largest distance", distance.largest),
            realFact("mean", "mean distance", distance.mean),
            realFact("rootMeanSquare", "root mean square", distance.rootMeanSquare)};
}

} // namespace qvmesh
