#include "qvGeom/topology/GeomBoundingBox.h"

#include <algorithm>
#include <cfloat>
#include <cstddef>
#include <vector>

#include "qvGeom/foundation/base/Diagnostics.h"
#include "qvGeom/foundation/base/StopWatch.h"
#include "qvGeom/foundation/base/ThreadPool.h"
#include "qvGeom/foundation/base/ThreadedAlg.h"
#include "qvGeom/foundation/geometry/BitVector.h"
#include "qvGeom/foundation/geometry/BoundingBox.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/MeshPlacement.h"

namespace qvGeom {
namespace {

/// Several vertices are compared at once: this many floats are a whole number of vertices and of
/// vector registers.
constexpr int kLanes = 24;

/// Gives a side at zero the sign of the first vertex there, as one pass in order would. Zeros of
/// both signs compare equal, so that otherwise it would depend on the number of threads.
void keepFirstZero(float& side, const float* coordinate) {
    if (side != 0)
        return;
    while (*coordinate != 0)
        coordinate += 3;
    side = *coordinate;
}

/// The extent of `count` vertices of three coordinates each.
BoundingBox extentOf(const float* first, std::ptrdiff_t count) {
    float min[kLanes];
    float max[kLanes];
    std::fill_n(min, kLanes, FLT_MAX);
    std::fill_n(max, kLanes, -FLT_MAX);
    const float* xyz = first;
    const float* const end = first + 3 * count;
    for (; end - xyz >= kLanes; xyz += kLanes) {
        for (int i = 0; i < kLanes; ++i) {
            min[i] = xyz[i] < min[i] ? xyz[i] : min[i];
            max[i] = xyz[i] > max[i] ? xyz[i] : max[i];
        }
    }

    BoundingBox box;
    for (int i = 0; i < kLanes; i += 3)
        box.extend(BoundingBox({min[i], min[i + 1], min[i + 2]}, {max[i], max[i + 1], max[i + 2]}));
    for (; xyz != end; xyz += 3)
        box.extend({xyz[0], xyz[1], xyz[2]});
    for (int axis = 0; axis < 3; ++axis) {
        keepFirstZero(box.min[axis], first + axis);
        keepFirstZero(box.max[axis], first + axis);
    }
    return box;
}

/// Grows one box per thread over that thread's slice of the vertices.
class BoundingBoxAlg final : public qvUtil::ThreadedAlg {
public:
    BoundingBoxAlg(const PointMesh& mesh, const BitVector* selection)
        : mesh_(mesh),
          selection_(selection && selection->size() > 0 ? selection : nullptr) {}

    void initialize(int numThreads) override { slots_.resize(numThreads); }

    void threadFunc(int thread, int numThreads) override {
        const auto slice = qvUtil::sliceOf(mesh_.getNumVertices(), thread, numThreads);
        slots_[thread] =
            selection_
                ? extentOfSelected(slice)
                : extentOf(mesh_.getVerticesRaw() + 3 * std::ptrdiff_t{slice.first}, slice.size());
    }

    BoundingBox result() const {
        BoundingBox box = slots_.front();
        for (const BoundingBox& slot : slots_)
            box.extend(slot);
        return box;
    }

private:
    BoundingBox extentOfSelected(const qvUtil::IndexRange& slice) const {
        BoundingBox box;
        for (int v = slice.first; v < std::min(slice.last, selection_->size()); ++v) {
            if (selection_->test(v))
                box.extend(mesh_.getVertices()[v]);
        }
        return box;
    }

    const PointMesh& mesh_;
    const BitVector* selection_; // null: every vertex
    std::vector<BoundingBox> slots_;
};

} // namespace

void meshBoundingBox(const PointMesh& mesh, BoundingBox& box) {
    meshBoundingBox(mesh, nullptr, box);
}

void meshBoundingBox(const PointMesh& mesh, const BitVector* selection, BoundingBox& box) {
    qvOS::StopWatch watch;
    watch.start();

    BoundingBoxAlg alg(mesh, selection);
    qvUtil::ThreadPool::get().run(alg);
    box = alg.result();

    debugChannel().print("meshBoundingBox: %d vertices  %f s\n", mesh.getNumVertices(),
                         watch.clear());
}

void meshBoundingBox(const PointMesh& mesh, double* min, double* max) {
    BoundingBox box;
    meshBoundingBox(mesh, box);
    std::copy_n(box.min, 3, min);
    std::copy_n(box.max, 3, max);
}

void arrangementBoundingBox(const std::list<MeshPlacement>& placements, BoundingBox& box) {
    qvOS::StopWatch watch;
    watch.start();

    BoundingBox all;
    for (const MeshPlacement& placement : placements) {
        if (!placement.mesh)
            continue;
        BoundingBox one;
        meshBoundingBox(*placement.mesh, one);
        one.transform(placement.transform);
        all.extend(one);
    }
    box = all;

    debugChannel().print("arrangementBoundingBox: %d meshes  %f s\n",
                         static_cast<int>(placements.size()), watch.clear());
}

} // namespace qvGeom
