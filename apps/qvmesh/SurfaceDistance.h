/// \file
/// How far one mesh lies from another.
#pragma once

#include "qvGeom/foundation/geometry/Array.h"

#include "qvmesh/Report.h"

namespace qvGeom {
class CompactMesh;
}

namespace qvmesh {

class Job;

/// The distances of the vertices of one mesh from the surface of another.
struct SurfaceDistance {
    qvGeom::Array<float> ofVertex;
    double largest = 0;
    double mean = 0;
    double rootMeanSquare = 0;

    /// Measures them, as stages of `job` that take `share` of the whole.
    SurfaceDistance(const qvGeom::CompactMesh& mesh, const qvGeom::CompactMesh& surface, Job& job,
                    double share);
};

Facts describe(const SurfaceDistance& distance);

} // namespace qvmesh
