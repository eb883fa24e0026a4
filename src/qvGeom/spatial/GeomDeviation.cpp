#include "qvGeom/spatial/GeomDeviation.h"

#include <cfloat>

#include "qvGeom/foundation/base/Diagnostics.h"
#include "qvGeom/foundation/base/Progress.h"
#include "qvGeom/foundation/base/StopWatch.h"
#include "qvGeom/foundation/base/ThreadPool.h"
#include "qvGeom/foundation/base/ThreadedAlg.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/MeshCoord.h"
#include "qvGeom/foundation/linear/Convert.h"
#include "qvGeom/spatial/GeomClosestPoint.h"

namespace qvGeom {
namespace {

class MeshDeviationImpl final : public qvUtil::ThreadedAlg {
public:
    MeshDeviationImpl(const CompactMesh& mesh, const MeshClosestPoint& closestPoint,
                      Array<float>& distances)
        : vertices_(mesh.getVertices()),
          selection_(mesh.getSelectedVertices()),
          closestPoint_(closestPoint),
          distances_(distances) {}

    void threadFunc(int thread, int numThreads) override {
        MeshClosestPoint closestPoint = closestPoint_;
        MeshCoord coord;
        const qvUtil::IndexRange slice = qvUtil::sliceOf(distances_.size(), thread, numThreads);
        for (const int v : slice) {
            if (!checkpoint(thread, slice, v))
                break;
            distances_[v] =
                isSelected(selection_, v)
                    ? qvLinear::narrow(closestPoint.find(qvLinear::widen(vertices_[v]), coord))
                    : FLT_MAX;
        }
    }

private:
    const MeshVertex* vertices_;
    const BitVector& selection_;
    const MeshClosestPoint& closestPoint_;
    Array<float>& distances_;
};

} // namespace

void meshDeviation(const CompactMesh& mesh, const CompactMesh& other, const Octree& otherOctree,
                   const OctreeTris& otherTris, qvUtil::Progress& progress, Array<float>& out) {
    qvOS::StopWatch watch;
    watch.start();

    const MeshClosestPoint closestPoint(other, otherOctree, otherTris);
    Array<float> distances(mesh.getNumVertices());
    MeshDeviationImpl alg(mesh, closestPoint, distances);
    alg.setProgress(&progress);
    qvUtil::ThreadPool::get().run(alg);
    if (!progress.cancelled())
        out.swap(distances);

    debugChannel().print("   meshDeviation: %f s\n", watch.stop());
}

} // namespace qvGeom
