#include "qvGeom/improvement/GeomReduce.h"

#include <algorithm>
#include <cmath>
#include <deque>
#include <limits>
#include <random>
#include <string>

#include "qvGeom/editing/GeomSelection.h"
#include "qvGeom/foundation/base/Diagnostics.h"
#include "qvGeom/foundation/base/Progress.h"
#include "qvGeom/foundation/base/SMPSort.h"
#include "qvGeom/foundation/base/StopWatch.h"
#include "qvGeom/foundation/base/ThreadPool.h"
#include "qvGeom/foundation/base/ThreadedAlg.h"
#include "qvGeom/foundation/cache/MeshCache.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/MeshCoord.h"
#include "qvGeom/foundation/geometry/MeshModification.h"
#include "qvGeom/foundation/geometry/MeshRemap.h"
#include "qvGeom/foundation/geometry/Remap.h"
#include "qvGeom/foundation/linear/Convert.h"
#include "qvGeom/foundation/linear/Plane.h"
#include "qvGeom/improvement/detail/RemovalPass.h"
#include "qvGeom/planar/GeomPlaneFit.h"
#include "qvGeom/spatial/GeomClosestPoint.h"

namespace qvGeom {

using qvLinear::Point;
using qvLinear::widen;

namespace {

constexpr int kChunkSize = 65536;
constexpr int kLargestChunk = 98304;
constexpr double kLeastRatio = 0.01; // of removed to remaining vertices, for another iteration
constexpr int kReportStride = 100;   // removals
constexpr int kProjectStride = 1000; // points
constexpr int kOctreeLeafSize = 64;

/// Lets `remap` lead on to where `next` leads.
void compose(Remap& remap, const Remap& next) {
    for (int v = 0; v < remap.getOldCount(); ++v) {
        if (remap[v] >= 0)
            remap.set(v, next[remap[v]]);
    }
    remap.setNewCount(next.getNewCount());
}

/// The triangle that has these corners, in this order; -1 without one or when a corner is negative.
int findTriangle(const CompactMesh& mesh, const MeshAdjTris& adjTris, const MeshTriangle& corners) {
    if (std::min({corners[0], corners[1], corners[2]}) < 0)
        return -1;
    const auto hasCorners = [&](int t) {
        return std::equal(corners.v, corners.v + 3, mesh.getTriangles()[t].v);
    };
    const int* const end = adjTris.end(corners[0]);
    const int* const found = std::find_if(adjTris.begin(corners[0]), end, hasCorners);
    return found != end ? *found : -1;
}

/// Puts vertices next to each other in `order` that are as flat as each other into a random order,
/// the same every time. Taken row by row, the vertices of a plane lattice would be cut out so
/// regularly that of those left most lie where two straight lines cross and cannot go.
void scatterTies(std::vector<int>& order, const double* flatness) {
    std::minstd_rand random;
    for (std::size_t first = 0, end = 0; first < order.size(); first = end) {
        for (end = first + 1; end < order.size(); ++end) {
            if (flatness[order[end]] != flatness[order[first]])
                break;
        }
        for (std::size_t last = end - 1; last > first; --last)
            std::swap(order[last], order[first + random() % (last - first + 1)]);
    }
}

/// Measures how far each vertex and its neighbours lie from their common plane.
class FlatnessAlg final : public qvUtil::ThreadedAlg {
public:
    FlatnessAlg(const CompactMesh& mesh, const MeshAdjVertices& adjVertices, double* flatness)
        : mesh_(mesh),
          adjVertices_(adjVertices),
          flatness_(flatness) {}

    void threadFunc(int thread, int numThreads) override {
        std::vector<Point> points;
        for (const int v : qvUtil::sliceOf(mesh_.getNumVertices(), thread, numThreads))
            flatness_[v] = flatnessOf(v, points);
    }

private:
    double flatnessOf(int v, std::vector<Point>& points) const {
        const int count = adjVertices_.getCount(v);
        if (count < 3)
            return std::numeric_limits<double>::max();
        points.clear();
        const int* const neighbours = adjVertices_.getVertices(v);
        for (int i = 0; i < count; ++i)
            points.push_back(widen(mesh_.getVertices()[neighbours[i]]));
        points.push_back(widen(mesh_.getVertices()[v]));

        qvLinear::Plane plane;
        fit(count + 1, points.data(), plane);
        double largest = 0;
        for (const Point& point : points) {
            const double height = std::abs(plane.eval(point));
            if (height > largest || std::isnan(height)) // what is not a number stays
                largest = height;
        }
        return largest;
    }

    const CompactMesh& mesh_;
    const MeshAdjVertices& adjVertices_;
    double* flatness_;
};

/// Removes vertices in iterations, in each of them some of the flattest that are not neighbours,
/// chunk by chunk. What to remove and when to stop is left to the derived classes.
// NOLINTNEXTLINE(cppcoreguidelines-special-member-functions): never destroyed through a base
class MeshReduceBase : public detail::RemovalTest {
public:
    explicit MeshReduceBase(CompactMesh& mesh)
        : mesh_(mesh),
          initialCount_(mesh.getNumVertices()),
          flatness_(initialCount_) {}

    MeshReduceBase(const MeshReduceBase&) = delete;
    MeshReduceBase& operator=(const MeshReduceBase&) = delete;

    void reduce(qvUtil::Progress& progress);

    void appendRemovedTo(std::vector<Point>& removed) const {
        removed.reserve(removed.size() + removed_.size());
        removed.insert(removed.end(), removed_.begin(), removed_.end());
    }

    int numIterations() const { return iteration_; }

protected:
    // False ends the pass.
    virtual bool onVertexDeleted() { return true; }

    virtual void onIteration(int /*iteration*/, int /*candidates*/,
                             qvUtil::Progress& /*progress*/) {}

    virtual void onPostIteration() {}

    virtual void onPreDeleteChunk(int /*chunkCount*/, int /*iterationCount*/) {}

    virtual void onPostDeleteChunk() {}

    virtual bool shouldIterate(int vertexCount) const = 0;

    virtual bool shouldDeleteVertex(int /*v*/) const { return true; }

    bool
    shouldDeleteVertex(int /*v*/,
                       const std::vector<detail::PlannedTriangle>& /*triangles*/) const override {
        return true;
    }

    virtual void beforeDeletion() {}

    virtual void afterDeletion(const Array<int>& /*remap*/) {}

    /// Who is asked about the triangles of each removal; null for nobody.
    virtual const detail::RemovalTest* removalTest() const { return nullptr; }

    CompactMesh& mesh_;
    SimpleMeshCache cache_;
    const int initialCount_;
    Array<double> flatness_; // of the vertices the iteration began with
    std::deque<Point> removed_;

private:
    void computeFlatness();
    std::vector<int> verticesByFlatness();
    std::vector<int> selectCandidates();
    int removeCandidates(std::vector<int>& queue, const qvUtil::Progress& progress);
    int removeChunk(BitVector& chosen, Remap& remap, const qvUtil::Progress& progress);
    void selectRegion(const BitVector& chosen, const MeshAdjTris& adjTris);
    void writePass(Remap& remap);
    void announce();

    detail::RemovalPass pass_;
    int iteration_ = 0;
    Remap composed_; // of the vertices the reduction began with
    bool written_ = false;
};

void MeshReduceBase::reduce(qvUtil::Progress& progress) {
    qvOS::StopWatch watch;
    watch.start();
    while (shouldIterate(mesh_.getNumVertices())) {
        computeFlatness();
        std::vector<int> queue = selectCandidates();
        if (queue.empty())
            break;
        onIteration(iteration_++, static_cast<int>(queue.size()), progress);
        const double numRemoved = removeCandidates(queue, progress);
        onPostIteration();
        if (progress.cancelled() || numRemoved / mesh_.getNumVertices() < kLeastRatio)
            break;
    }
    if (written_)
        announce();
    debugChannel().print("MeshReduce: reduced from %d vertices to %d vertices: %f s\n",
                         initialCount_, mesh_.getNumVertices(), watch.clear());
}

void MeshReduceBase::computeFlatness() {
    qvOS::StopWatch watch;
    watch.start();
    const qv::Reference<MeshAdjVertices> adjVertices = cache_.getAdjVertices(mesh_);
    FlatnessAlg measuring(mesh_, *adjVertices, flatness_.data());
    qvUtil::ThreadPool::get().run(measuring);
    debugChannel().print("MeshReduce: flatness computed in %f s\n", watch.clear());
}

/// The vertices that may be removed at all, the flattest first.
std::vector<int> MeshReduceBase::verticesByFlatness() {
    const qv::Reference<MeshAdjTris> adjTris = cache_.getAdjTris(mesh_);
    const qv::Reference<MeshAdjVertices> adjVertices = cache_.getAdjVertices(mesh_);
    std::vector<int> order;
    for (int v = 0; v < mesh_.getNumVertices(); ++v) {
        const int numNeighbours = adjVertices->getCount(v);
        if (numNeighbours >= 3 && adjTris->setSize(v) == numNeighbours && shouldDeleteVertex(v))
            order.push_back(v);
    }
    const double* const flatness = flatness_.data();
    qvUtil::SMPSort(order.data(), order.data() + order.size(),
                    qvUtil::Ordering::IndexedLessThan(flatness));
    scatterTies(order, flatness);
    return order;
}

std::vector<int> MeshReduceBase::selectCandidates() {
    const qv::Reference<MeshAdjVertices> adjVertices = cache_.getAdjVertices(mesh_);
    BitVector blocked(mesh_.getNumVertices());
    int remaining = mesh_.getNumVertices();
    std::vector<int> queue;
    for (const int v : verticesByFlatness()) {
        if (blocked.test(v))
            continue;
        queue.push_back(v);
        blocked.setBits(adjVertices->getCount(v), adjVertices->getVertices(v));
        if (!shouldIterate(--remaining))
            break;
    }
    return queue;
}

/// Removes the queued vertices chunk by chunk and returns how many.
int MeshReduceBase::removeCandidates(std::vector<int>& queue, const qvUtil::Progress& progress) {
    const int total = static_cast<int>(queue.size());
    int numRemoved = 0;
    for (int first = 0; first < total;) {
        const int last = total - first <= kLargestChunk ? total : first + kChunkSize;
        BitVector chosen(mesh_.getNumVertices());
        chosen.setBits(last - first, queue.data() + first);

        onPreDeleteChunk(last - first, total);
        Remap remap;
        numRemoved += removeChunk(chosen, remap, progress);
        mesh_.clearSelection();
        onPostDeleteChunk();
        if (progress.cancelled())
            break;
        if (remap.getOldCount() > 0)
            remap(queue.data() + last, total - last);
        first = last;
    }
    return numRemoved;
}

/// Makes passes over the chunk until one is written back, or removes nothing, and returns the
/// removals of the last. The map stays empty when nothing is written.
int MeshReduceBase::removeChunk(BitVector& chosen, Remap& remap, const qvUtil::Progress& progress) {
    const qv::Reference<MeshAdjTris> adjTris = cache_.getAdjTris(mesh_);
    const qv::Reference<MeshAdjVertices> adjVertices = cache_.getAdjVertices(mesh_);
    const auto onRemoved = [this](int v) {
        removed_.push_back(widen(mesh_.getVertices()[v]));
        return onVertexDeleted();
    };
    for (;;) {
        selectRegion(chosen, *adjTris);
        const int numAttempted = chosen.numSetBits();
        const int numRemoved =
            pass_.run(mesh_, *adjTris, *adjVertices, removalTest(), chosen, onRemoved);
        if (numRemoved == 0)
            return 0;
        if (numAttempted <= 3 * numRemoved / 2) {
            writePass(remap);
            return numRemoved;
        }
        if (progress.cancelled()) // what is left of the chunk was not tried whole
            return 0;
        mesh_.clearSelection();
    }
}

/// Selects two rings around the chosen vertices. Only the debug channel hears of it: a removal
/// stays inside the first ring, whatever is selected.
void MeshReduceBase::selectRegion(const BitVector& chosen, const MeshAdjTris& adjTris) {
    if (!debugChannel().enabled())
        return;
    mesh_.getSelectedVertices() = chosen;
    MeshSelect select(mesh_, adjTris);
    for (int ring = 0; ring < 2; ++ring) {
        select.selectAllTrianglesFromVertices();
        select.selectVerticesFromTriangles();
    }
}

void MeshReduceBase::writePass(Remap& remap) {
    beforeDeletion();
    pass_.write(mesh_, remap);
    cache_.clear();
    if (!written_)
        composed_ = remap;
    else
        compose(composed_, remap);
    written_ = true;
    afterDeletion(remap.getMap());
}

void MeshReduceBase::announce() {
    MeshRemap remap(&composed_, nullptr);
    MeshModification modification(&mesh_, MeshModification::Topology, &remap);
    mesh_.modified(modification);
}

/// Stops at a number of vertices.
class MeshReduceFraction final : public MeshReduceBase {
public:
    MeshReduceFraction(CompactMesh& mesh, double fraction)
        : MeshReduceBase(mesh),
          target_(targetOf(fraction * initialCount_)) {}

protected:
    bool onVertexDeleted() override {
        const int numRemoved = static_cast<int>(removed_.size());
        if (numRemoved % kReportStride != 0)
            return true;
        if (progress_->cancelled())
            return false;
        const double done = static_cast<double>(numRemoved) / (initialCount_ - target_);
        if (done <= 1.0)
            progress_->set(done);
        return true;
    }

    void onIteration(int /*iteration*/, int /*candidates*/, qvUtil::Progress& progress) override {
        progress_ = &progress;
    }

    void onPostIteration() override { progress_ = nullptr; }

    bool shouldIterate(int vertexCount) const override { return vertexCount > target_; }

private:
    /// Truncates; what is out of range stops at all vertices or at none.
    int targetOf(double count) const {
        return count <= 0 ? 0 : count < initialCount_ ? static_cast<int>(count) : initialCount_;
    }

    const int target_;
    qvUtil::Progress* progress_ = nullptr; // during an iteration
};

/// Finds the triangle closest to each of many points, and the largest distance.
class TriangleToVertices final : public qvUtil::ThreadedAlg {
public:
    /// `points` indexes `positions`.
    TriangleToVertices(const CompactMesh& mesh, const Octree& octree, const OctreeTris& tris,
                       const std::deque<Point>& positions, const std::vector<int>& points)
        : mesh_(mesh),
          octree_(octree),
          tris_(tris),
          positions_(positions),
          points_(points),
          triangles_(points.size(), -1) {}

    void initialize(int numThreads) override {
        maxima_.resize(maxima_.size() + static_cast<std::size_t>(numThreads), 0.0);
    }

    void threadFunc(int thread, int numThreads) override {
        const int count = static_cast<int>(points_.size());
        const qvUtil::IndexRange block = qvUtil::sliceOf(count, thread, numThreads);
        MeshClosestPoint closest(mesh_, octree_, tris_);
        double maximum = 0;
        for (const int i : block) {
            if ((i - block.first) % kProjectStride == 0) {
                if (cancelled(thread))
                    break;
                updateProgress(thread, static_cast<double>(i - block.first) / block.size());
            }
            MeshCoord coord;
            const double distance = closest.find(positions_[points_[i]], coord);
            triangles_[i] = coord.triangle;
            maximum = std::max(maximum, distance);
        }
        maxima_[thread] = maximum;
    }

    double largestDistance() const { return *std::max_element(maxima_.begin(), maxima_.end()); }

    /// Appends the pair of triangle and point for each point that was reached, and the others to
    /// `unreached`.
    void appendTo(std::vector<int>& pairs, std::vector<int>& unreached) const {
        for (std::size_t i = 0; i < points_.size(); ++i) {
            if (triangles_[i] >= 0)
                pairs.insert(pairs.end(), {triangles_[i], points_[i]});
            else
                unreached.push_back(points_[i]);
        }
    }

private:
    const CompactMesh& mesh_;
    const Octree& octree_;
    const OctreeTris& tris_;
    const std::deque<Point>& positions_;
    const std::vector<int>& points_;
    std::vector<int> triangles_;
    std::vector<double> maxima_;
};

/// Stops where the surface would move too far. Every removed point is attached to the triangle of
/// the mesh that it is closest to, and asked when that is to go.
class MeshReduceTolerance final : public MeshReduceBase {
public:
    MeshReduceTolerance(CompactMesh& mesh, double tolerance)
        : MeshReduceBase(mesh),
          tolerance_(tolerance) {}

    double maxDeviation() const { return maxDeviation_; }

protected:
    void onIteration(int iteration, int candidates, qvUtil::Progress& progress) override;

    void onPostIteration() override {
        iterationProgress_.set(1.0);
        const std::string caption =
            "Reducing (" + std::to_string(mesh_.getNumVertices()) + " verts)";
        iterationProgress_.setCaption(caption.c_str());
    }

    void onPreDeleteChunk(int chunkCount, int iterationCount) override {
        iterationProgress_.subPhase(static_cast<double>(chunkCount) / iterationCount,
                                    chunkProgress_);
    }

    void onPostDeleteChunk() override { chunkProgress_.set(1.0); }

    bool shouldIterate(int /*vertexCount*/) const override { return true; }

    bool shouldDeleteVertex(int v) const override { return flatness_[v] < tolerance_; }

    bool shouldDeleteVertex(int v,
                            const std::vector<detail::PlannedTriangle>& triangles) const override;

    void beforeDeletion() override;
    void afterDeletion(const Array<int>& remap) override;

    const detail::RemovalTest* removalTest() const override { return this; }

private:
    bool passes(const Point& p, const std::vector<detail::PlannedTriangle>& triangles) const;
    void carryOver(const Array<int>& remap, std::vector<int>& pairs, std::vector<int>& loose);

    const double tolerance_;
    double maxDeviation_ = 0;
    int previousCandidates_ = 0;
    int expectedIterations_ = 0;
    double accumulated_ = 0;
    qvUtil::Progress iterationProgress_;
    qvUtil::Progress chunkProgress_;
    qv::Reference<MeshAdjTris> adjTris_; // of the mesh as it stands
    ArrayOfSets attached_;               // per triangle, indices of removed points; empty at first
    Array<MeshTriangle> oldTriangles_;
    int numAttached_ = 0; // of the removed points, those before this index have been attached
    std::vector<int> unattached_; // but these, for which no triangle was found
};

/// The first iteration takes a tenth; from how many fewer candidates the second has, the number of
/// iterations is guessed, and the rest spread over them. Later ones take half of what was given.
void MeshReduceTolerance::onIteration(int iteration, int candidates, qvUtil::Progress& progress) {
    double share = 0.1;
    if (iteration == 1) {
        const double ratio = static_cast<double>(candidates) / previousCandidates_;
        const double expected = std::ceil(std::log(kLeastRatio) / std::log(ratio));
        expectedIterations_ = static_cast<int>(std::clamp(expected, 0.0, 1e9));
    }
    if (iteration > 0)
        share = iteration < expectedIterations_ ? 0.9 / expectedIterations_ : 0.5 * accumulated_;
    progress.subPhase(share, iterationProgress_);
    accumulated_ += share;
    previousCandidates_ = candidates;
}

bool MeshReduceTolerance::shouldDeleteVertex(
    int v, const std::vector<detail::PlannedTriangle>& triangles) const {
    if (!passes(widen(mesh_.getVertices()[v]), triangles))
        return false;
    if (attached_.numMembers() == 0)
        return true;
    const auto pointPasses = [&](int point) { return passes(removed_[point], triangles); };
    return std::all_of(adjTris_->begin(v), adjTris_->end(v), [&](int t) {
        return std::all_of(attached_.begin(t), attached_.end(t), pointPasses);
    });
}

bool MeshReduceTolerance::passes(const Point& p,
                                 const std::vector<detail::PlannedTriangle>& triangles) const {
    return std::any_of(triangles.begin(), triangles.end(), [&](const auto& triangle) {
        const auto& [a, b, c] = triangle.corner;
        const MeshCoordBase coord = MeshCoordBase::projectBase(a, b, c, p);
        return distance2(coord.evaluateBase(a, b, c), p) <= tolerance_ * tolerance_;
    });
}

void MeshReduceTolerance::beforeDeletion() {
    if (attached_.numMembers() == 0)
        return;
    oldTriangles_.resize(mesh_.getNumTriangles());
    std::copy_n(mesh_.getTriangles(), mesh_.getNumTriangles(), oldTriangles_.data());
}

/// Attaches every removed point to a triangle of the mesh as it now is.
void MeshReduceTolerance::afterDeletion(const Array<int>& remap) {
    std::vector<int> pairs;
    std::vector<int> loose;
    loose.swap(unattached_);
    carryOver(remap, pairs, loose);
    for (; numAttached_ < static_cast<int>(removed_.size()); ++numAttached_)
        loose.push_back(numAttached_);

    const qv::Reference<Octree> octree = cache_.getOctree(mesh_, kOctreeLeafSize);
    const qv::Reference<OctreeTris> octreeTris = cache_.getOctreeTris(mesh_);
    TriangleToVertices attaching(mesh_, *octree, *octreeTris, removed_, loose);
    attaching.setProgress(&chunkProgress_);
    qvUtil::ThreadPool::get().run(attaching);
    attaching.appendTo(pairs, unattached_);
    adjTris_ = cache_.getAdjTris(mesh_);
    attached_.assignFromPairs(mesh_.getNumTriangles(), static_cast<int>(pairs.size() / 2),
                              pairs.data());
    maxDeviation_ = std::max(maxDeviation_, attaching.largestDistance());
}

/// Keeps points attached to triangles that are still there, under whatever number, and collects
/// the others.
void MeshReduceTolerance::carryOver(const Array<int>& remap, std::vector<int>& pairs,
                                    std::vector<int>& loose) {
    if (attached_.numMembers() == 0)
        return;
    const qv::Reference<MeshAdjTris> adjTris = cache_.getAdjTris(mesh_);
    for (int old = 0; old < oldTriangles_.size(); ++old) {
        if (attached_.setSize(old) == 0)
            continue;
        MeshTriangle corners = oldTriangles_[old];
        for (int& corner : corners.v)
            corner = remap[corner];
        const int triangle = findTriangle(mesh_, *adjTris, corners);
        for (const int* point = attached_.begin(old); point != attached_.end(old); ++point) {
            if (triangle >= 0)
                pairs.insert(pairs.end(), {triangle, *point});
            else
                loose.push_back(*point);
        }
    }
}

} // namespace

double meshReduceWithTolerance(CompactMesh& mesh, double tolerance, qvUtil::Progress& progress,
                               std::vector<Point>& removed) {
    qvOS::StopWatch watch;
    watch.start();
    MeshReduceTolerance reducer(mesh, tolerance);
    reducer.reduce(progress);
    reducer.appendRemovedTo(removed);
    debugChannel().print("meshReduce: iterations(%d): %f s\n", reducer.numIterations(),
                         watch.clear());
    return reducer.maxDeviation();
}

void meshReduceToFraction(CompactMesh& mesh, double fraction, qvUtil::Progress& progress,
                          std::vector<Point>& removed) {
    MeshReduceFraction reducer(mesh, fraction);
    reducer.reduce(progress);
    reducer.appendRemovedTo(removed);
}

} // namespace qvGeom
