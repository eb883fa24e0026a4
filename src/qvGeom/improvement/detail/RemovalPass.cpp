#include "qvGeom/improvement/detail/RemovalPass.h"

#include <algorithm>

#include "qvGeom/editing/GeomConvertRep.h"
#include "qvGeom/foundation/base/ThreadPool.h"
#include "qvGeom/foundation/base/ThreadedAlg.h"
#include "qvGeom/foundation/geometry/BitVector.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/MeshAdjTris.h"
#include "qvGeom/foundation/geometry/Remap.h"

namespace qvGeom::detail {
namespace {

// So many vertices are decided at once before their removals are told: enough to pay for waking
// the threads, and few enough to stop soon.
constexpr int kBlockSize = 4096;

constexpr int kGone = -1; // first corner of a triangle that nothing replaces

} // namespace

/// Plans the removals of a block, each in the mesh as it was before the pass.
class RemovalPass::PlanAlg final : public qvUtil::ThreadedAlg {
public:
    PlanAlg(RemovalPass& pass, int first, int last) : pass_(pass), first_(first), last_(last) {}

    void initialize(int numThreads) override {
        while (static_cast<int>(pass_.workers_.size()) < numThreads)
            pass_.workers_.emplace_back(pass_.scene_);
    }

    void threadFunc(int thread, int numThreads) override {
        Worker& worker = pass_.workers_[thread];
        for (const int i : qvUtil::sliceOf(last_ - first_, thread, numThreads)) {
            const int place = first_ + i;
            const StarRemoval::Outcome outcome = worker.star.tryFirst(pass_.vertices_[place]);
            pass_.plans_[place] = worker.keep(outcome, thread);
        }
    }

private:
    RemovalPass& pass_;
    int first_;
    int last_;
};

/// Drops the triangles that are gone and renumbers the corners of the others.
class RemovalPass::CompactAlg final : public qvUtil::ThreadedAlg {
public:
    CompactAlg(const std::vector<MeshTriangle>& from, const Remap& remap, MeshTriangle* to)
        : from_(from),
          remap_(remap),
          to_(to) {}

    void threadFunc(int thread, int numThreads) override {
        const int* const map = remap_.getMap().data();
        const qvUtil::IndexRange slice =
            qvUtil::sliceOf(static_cast<int>(from_.size()), thread, numThreads);
        const auto isKept = [](const MeshTriangle& t) { return t[0] != kGone; };
        MeshTriangle* to = to_ + std::count_if(from_.begin(), from_.begin() + slice.first, isKept);
        for (const int t : slice) {
            if (isKept(from_[t]))
                *to++ = {{map[from_[t][0]], map[from_[t][1]], map[from_[t][2]]}};
        }
    }

private:
    const std::vector<MeshTriangle>& from_;
    const Remap& remap_;
    MeshTriangle* to_;
};

RemovalPass::Plan RemovalPass::Worker::keep(StarRemoval::Outcome outcome, int thread) {
    const Plan plan = {outcome, thread, static_cast<int>(triangles.size())};
    if (outcome == StarRemoval::Outcome::Removed)
        triangles.insert(triangles.end(), star.triangles().begin(), star.triangles().end());
    return plan;
}

int RemovalPass::run(const CompactMesh& mesh, const MeshAdjTris& adjTris,
                     const MeshAdjVertices& adjVertices, const RemovalTest* test, BitVector& chosen,
                     const OnRemoved& onRemoved) {
    scene_.test = test;
    scene_.vertices = mesh.getVertices();
    scene_.triangles = mesh.getTriangles();
    scene_.adjTris = &adjTris;
    scene_.adjVertices = &adjVertices;
    scene_.chosen = &chosen;
    vertices_.clear();
    removed_.clear();
    for (Worker& worker : workers_)
        worker.triangles.clear();
    for (int v = 0; v < chosen.size(); ++v) {
        if (chosen.test(v))
            vertices_.push_back(v);
    }

    const int count = static_cast<int>(vertices_.size());
    plans_.resize(count);
    AddedParts added;
    bool goesOn = true;
    int place = 0;
    for (int planned = 0; place < count && goesOn; ++place) {
        if (place == planned) {
            planned = std::min(count, planned + kBlockSize);
            planBlock(place, planned);
        }
        const int v = vertices_[place];
        if (plans_[place].outcome == StarRemoval::Outcome::Undecided)
            plans_[place] = workers_[0].keep(workers_[0].star.tryAfter(v, added), 0);
        if (plans_[place].outcome == StarRemoval::Outcome::Removed) {
            removed_.push_back(place);
            goesOn = onRemoved(v);
        } else {
            chosen.clear(v);
        }
    }
    for (; place < count; ++place)
        chosen.clear(vertices_[place]);
    return static_cast<int>(removed_.size());
}

void RemovalPass::planBlock(int first, int last) {
    PlanAlg planning(*this, first, last);
    qvUtil::ThreadPool::get().run(planning);
}

void RemovalPass::write(CompactMesh& mesh, Remap& remap) {
    const int numTriangles = mesh.getNumTriangles();
    replaced_.assign(mesh.getTriangles(), mesh.getTriangles() + numTriangles);
    for (const int place : removed_) {
        const Plan& plan = plans_[place];
        const int* slot = scene_.adjTris->begin(vertices_[place]);
        const int* const end = scene_.adjTris->end(vertices_[place]);
        const MeshTriangle* next = workers_[plan.thread].triangles.data() + plan.firstTriangle;
        for (; slot != end - 2; ++slot)
            replaced_[*slot] = *next++;
        replaced_[slot[0]][0] = replaced_[slot[1]][0] = kGone;
    }

    remap.setDeleteMap(*scene_.chosen);
    CompactMesh rebuilt;
    rebuilt.resizeTriangleArray(numTriangles - 2 * static_cast<int>(removed_.size()));
    CompactAlg compacting(replaced_, remap, rebuilt.getTriangles());
    qvUtil::ThreadPool::get().run(compacting);
    meshReplaceTriangles(mesh, remap, rebuilt);
}

} // namespace qvGeom::detail
