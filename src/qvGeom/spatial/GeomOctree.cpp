#include "qvGeom/spatial/GeomOctree.h"

#include <algorithm>
#include <cstddef>
#include <vector>

#include "qvGeom/foundation/base/Diagnostics.h"
#include "qvGeom/foundation/base/StopWatch.h"
#include "qvGeom/foundation/base/ThreadPool.h"
#include "qvGeom/foundation/base/ThreadedAlg.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/Frustum.h"
#include "qvGeom/foundation/geometry/Octree.h"
#include "qvGeom/foundation/geometry/OctreeLines.h"
#include "qvGeom/foundation/geometry/OctreeTris.h"
#include "qvGeom/foundation/geometry/Sphere.h"
#include "qvGeom/foundation/linear/Linear.h"
#include "qvGeom/spatial/detail/OctreeWalk.h"

namespace qvGeom {

using qvLinear::PointFlt;
using qvLinear::VectorFlt;

namespace {

PointFlt pointOf(const MeshVertex& v) { return {v.x, v.y, v.z}; }

float along(const VectorFlt& direction, const PointFlt& p) {
    // In the order of project, so that no point of a box projects outside the box's range.
    return p.x * direction.x + p.y * direction.y + p.z * direction.z;
}

/// Whether the ranges of the box and of some points along `direction` do not touch.
template <class... Points>
bool separates(const VectorFlt& direction, const BoundingBox& box, const Points&... points) {
    float lo = 0, hi = 0;
    project(box, direction, lo, hi);
    const float range[] = {along(direction, points)...};
    return *std::min_element(std::begin(range), std::end(range)) > hi ||
           lo > *std::max_element(std::begin(range), std::end(range));
}

/// Whether a cross product of `edge` with one of the axes of the box separates it from the points.
template <class... Points>
bool edgeSeparates(const VectorFlt& edge, const BoundingBox& box, const Points&... points) {
    return separates({0.0F, edge.z, -edge.y}, box, points...) ||
           separates({-edge.z, 0.0F, edge.x}, box, points...) ||
           separates({edge.y, -edge.x, 0.0F}, box, points...);
}

/// Whether the points lie all beyond the same face of the box.
template <class... Points>
bool allBeyondOneFace(const BoundingBox& box, const Points&... points) {
    return ((points.x < box.min[0]) && ...) || ((points.x > box.max[0]) && ...) ||
           ((points.y < box.min[1]) && ...) || ((points.y > box.max[1]) && ...) ||
           ((points.z < box.min[2]) && ...) || ((points.z > box.max[2]) && ...);
}

double height(const Frustum::Face& face, const qvLinear::Point& p) {
    return dot(p - face.point, face.outward);
}

/// The height over a face of the frustum of the corner of the box that is lowest above it.
double lowestHeight(const Frustum::Face& face, const BoundingBox& box) {
    const double point[3] = {face.point.x, face.point.y, face.point.z};
    double sum = 0.0;
    for (int axis = 0; axis < 3; ++axis) {
        const double atMin = (qvLinear::widen(box.min[axis]) - point[axis]) * face.outward[axis];
        const double atMax = (qvLinear::widen(box.max[axis]) - point[axis]) * face.outward[axis];
        sum += std::min(atMin, atMax);
    }
    return sum;
}

/// Whether the inside of `outer` holds all of `inner`; the invalid box is inside nothing.
bool holdsStrictly(const BoundingBox& outer, const BoundingBox& inner) {
    return outer.min[0] < inner.min[0] && inner.max[0] < outer.max[0] && //
           outer.min[1] < inner.min[1] && inner.max[1] < outer.max[1] && //
           outer.min[2] < inner.min[2] && inner.max[2] < outer.max[2];
}

/// The triangles of a mesh as the partition sees its elements.
class Triangles {
public:
    explicit Triangles(const CompactMesh& mesh)
        : vertices_(mesh.getVertices()),
          triangles_(mesh.getTriangles()),
          count_(mesh.getNumTriangles()) {}

    int count() const { return count_; }

    BoundingBox boxOf(int triangle) const {
        BoundingBox box;
        meshTriBoundingBox(vertices_, triangles_[triangle], box);
        return box;
    }

    bool meets(const BoundingBox& box, int triangle) const {
        const MeshTriangle& t = triangles_[triangle];
        const PointFlt p0 = pointOf(vertices_[t[0]]);
        const PointFlt p1 = pointOf(vertices_[t[1]]);
        const PointFlt p2 = pointOf(vertices_[t[2]]);
        // The test cannot come out otherwise with a corner inside, which is most often so.
        return contains(box, p0) || contains(box, p1) || contains(box, p2) ||
               intersects(box, p0, p1, p2);
    }

private:
    const MeshVertex* vertices_;
    const MeshTriangle* triangles_;
    int count_;
};

/// The lines of a mesh, likewise.
class Lines {
public:
    explicit Lines(const CompactMesh& mesh)
        : vertices_(mesh.getVertices()),
          ends_(mesh.getLines()),
          count_(mesh.getNumLines()) {}

    int count() const { return count_; }

    BoundingBox boxOf(int line) const {
        BoundingBox box;
        box.extend(start(line));
        box.extend(end(line));
        return box;
    }

    bool meets(const BoundingBox& box, int line) const {
        return intersects(box, start(line), end(line));
    }

private:
    PointFlt start(int line) const { return pointOf(vertices_[ends_[2 * line]]); }

    PointFlt end(int line) const { return pointOf(vertices_[ends_[2 * line + 1]]); }

    const MeshVertex* vertices_;
    const int* ends_;
    int count_;
};

struct PartitionPair {
    int voxel;
    int element;
};

/// What one thread found.
struct PartitionRecord {
    std::vector<PartitionPair> pairs;
    int numCoherent = 0; // elements that were inside the last voxel looked at
};

/// Finds the voxels of every element.
template <class Elements>
class PartitionAlg final : public qvUtil::ThreadedAlg {
public:
    PartitionAlg(const Octree& octree, const Elements& elements)
        : octree_(octree),
          elements_(elements) {
        octree.getNodeOrdering(qvLinear::Normal::x, order_);
    }

    void initialize(int numThreads) override { records_.resize(numThreads); }

    void threadFunc(int thread, int numThreads) override {
        PartitionRecord record; // stored at the end: threads keep off each other's cache lines
        record.pairs.reserve(2 * static_cast<std::size_t>(elements_.count()) / numThreads);
        const OctreeIterator root = octree_.getRoot();
        OctreeIterator last;
        for (const int e : qvUtil::sliceOf(elements_.count(), thread, numThreads)) {
            const BoundingBox box = elements_.boxOf(e);
            if (holdsStrictly(last.box, box) && box.isValid()) {
                record.pairs.push_back({last.leafIndex(), e});
                ++record.numCoherent;
            } else if (root.box.intersects(box)) {
                detail::forEachLeafMeeting(root, box, order_, [&](const OctreeIterator& leaf) {
                    last = leaf;
                    if (elements_.meets(leaf.box, e))
                        record.pairs.push_back({leaf.leafIndex(), e});
                });
            }
        }
        records_[thread] = std::move(record);
    }

    const std::vector<PartitionRecord>& records() const { return records_; }

private:
    const Octree& octree_;
    const Elements& elements_;
    int order_[8];
    std::vector<PartitionRecord> records_;
};

/// Sorts pairs by voxel, stably: each thread counts and then places those of its slice of the
/// voxels.
class CollectAlg final : public qvUtil::ThreadedAlg {
public:
    enum class Step { Count, Place };

    CollectAlg(const std::vector<PartitionRecord>& records, ArrayOfSets& sets)
        : records_(records),
          sets_(sets) {}

    void setStep(Step step) { step_ = step; }

    void threadFunc(int thread, int numThreads) override {
        const qvUtil::IndexRange voxels = qvUtil::sliceOf(sets_.numSets(), thread, numThreads);
        if (step_ == Step::Count)
            count(voxels);
        else
            place(voxels);
    }

    void finalize() override {
        if (step_ != Step::Count)
            return;
        int total = 0;
        for (int voxel = 0; voxel < sets_.numSets(); ++voxel) {
            const int size = sets_.offsets()[voxel];
            sets_.offsets()[voxel] = total;
            total += size;
        }
    }

private:
    template <class Take>
    void forEachPairIn(const qvUtil::IndexRange& voxels, const Take& take) const {
        const auto numVoxels = static_cast<unsigned>(voxels.size());
        for (const PartitionRecord& record : records_) {
            for (const PartitionPair& pair : record.pairs) {
                if (static_cast<unsigned>(pair.voxel - voxels.first) < numVoxels)
                    take(pair);
            }
        }
    }

    void count(const qvUtil::IndexRange& voxels) {
        int* const sizes = sets_.offsets();
        forEachPairIn(voxels, [sizes](const PartitionPair& pair) { ++sizes[pair.voxel]; });
    }

    void place(const qvUtil::IndexRange& voxels) {
        const int* const offsets = sets_.offsets();
        std::vector<int> next(offsets + voxels.first, offsets + voxels.last);
        int* const list = sets_.list();
        forEachPairIn(voxels, [&](const PartitionPair& pair) {
            list[next[pair.voxel - voxels.first]++] = pair.element;
        });
    }

    const std::vector<PartitionRecord>& records_;
    ArrayOfSets& sets_;
    Step step_ = Step::Count;
};

struct PartitionCounts {
    int numPairs = 0;
    int numCoherent = 0;
};

/// Replaces `sets` by the elements in every voxel.
template <class Elements>
PartitionCounts partition(const Octree& octree, const Elements& elements, ArrayOfSets& sets) {
    qvUtil::ThreadPool& pool = qvUtil::ThreadPool::get();
    PartitionAlg<Elements> alg(octree, elements);
    pool.run(alg);

    PartitionCounts counts;
    for (const PartitionRecord& record : alg.records()) {
        counts.numPairs += static_cast<int>(record.pairs.size());
        counts.numCoherent += record.numCoherent;
    }
    ArrayOfSets built(octree.getNumVoxels(), counts.numPairs);
    CollectAlg collect(alg.records(), built);
    pool.run(collect);
    collect.setStep(CollectAlg::Step::Place);
    pool.run(collect);
    sets.swap(built);
    return counts;
}

/// In single precision, printed as it is.
double ratio(double a, double b) {
    return qvLinear::widen(qvLinear::narrow(a) / qvLinear::narrow(b));
}

class TriBoxesAlg final : public qvUtil::ThreadedAlg {
public:
    TriBoxesAlg(const CompactMesh& mesh, Array<BoundingBox>& boxes) : mesh_(mesh), boxes_(boxes) {}

    void threadFunc(int thread, int numThreads) override {
        for (const int t : qvUtil::sliceOf(boxes_.size(), thread, numThreads))
            meshTriBoundingBox(mesh_.getVertices(), mesh_.getTriangles()[t], boxes_[t]);
    }

private:
    const CompactMesh& mesh_;
    Array<BoundingBox>& boxes_;
};

} // namespace

void computeOctreeTris(const CompactMesh& mesh, const Octree& octree, OctreeTris& result) {
    qvOS::StopWatch watch;
    watch.start();
    if (octree.getNumVoxels() < 1)
        return;

    const Triangles triangles(mesh);
    ArrayOfSets sets;
    const PartitionCounts counts = partition(octree, triangles, sets);
    OctreeTris(sets).swap(result);

    const int numTriangles = triangles.count();
    const double seconds = watch.stop();
    debugChannel().print("OctreeTris:  Partitioned %d triangles into %d voxels in %.3f seconds.\n"
                         "             (%.2f coherence, %.2f voxels/tri, %.0f tri/sec)\n",
                         numTriangles, octree.getNumVoxels(), seconds,
                         ratio(counts.numCoherent, numTriangles),
                         ratio(counts.numPairs, numTriangles), ratio(numTriangles, seconds));
}

void meshOctreeLines(const CompactMesh& mesh, const Octree& octree, OctreeLines& result) {
    qvOS::StopWatch watch;
    watch.start();
    if (octree.getNumVoxels() < 1)
        return;

    const Lines lines(mesh);
    ArrayOfSets sets;
    const PartitionCounts counts = partition(octree, lines, sets);
    OctreeLines(sets).swap(result);

    const int numLines = lines.count();
    const double seconds = watch.stop();
    // Lines are counted, the unit is that of triangles all the same.
    debugChannel().print("OctreeLines:  Partitioned %d lines into %d voxels in %.3f seconds.\n"
                         "             (%.2f coherence, %.2f duplication, %.0f tri/sec)\n",
                         numLines, octree.getNumVoxels(), seconds,
                         ratio(counts.numCoherent, numLines), ratio(counts.numPairs, numLines),
                         ratio(numLines, seconds));
}

void meshTriBoundingBox(const MeshVertex* vertices, const MeshTriangle& triangle,
                        BoundingBox& box) {
    box.setInvalid();
    for (const int v : triangle.v)
        box.extend(pointOf(vertices[v]));
}

void meshTriBoundingBoxes(const CompactMesh& mesh, Array<BoundingBox>& boxes) {
    Array<BoundingBox> built(mesh.getNumTriangles());
    TriBoxesAlg alg(mesh, built);
    qvUtil::ThreadPool::get().run(alg);
    boxes.swap(built);
}

bool intersects(const BoundingBox& box, const Frustum& frustum) {
    const auto& c = frustum.corner;
    if (allBeyondOneFace(box, c[0], c[1], c[2], c[3], c[4], c[5], c[6], c[7]))
        return false;
    return std::none_of(
        std::begin(frustum.face), std::end(frustum.face),
        [&box](const Frustum::Face& face) { return lowestHeight(face, box) > 0.0; });
}

bool intersects(const BoundingBox& box, const Sphere& sphere) {
    return sphere.radius >= box.distance(qvLinear::narrow(sphere.center));
}

bool intersects(const BoundingBox& box, const Ray& ray) { return detail::meets(box, ray); }

bool intersects(const BoundingBox& box, const PointFlt& p0, const PointFlt& p1,
                const PointFlt& p2) {
    if (allBeyondOneFace(box, p0, p1, p2))
        return false;
    const VectorFlt e0 = p1 - p0;
    const VectorFlt e1 = p2 - p1;
    const VectorFlt e2 = p0 - p2;
    return !separates(cross(e0, e1), box, p0, p1, p2) && !edgeSeparates(e0, box, p0, p1, p2) &&
           !edgeSeparates(e1, box, p0, p1, p2) && !edgeSeparates(e2, box, p0, p1, p2);
}

bool intersects(const BoundingBox& box, const PointFlt& p0, const PointFlt& p1) {
    return !allBeyondOneFace(box, p0, p1) && !edgeSeparates(p1 - p0, box, p0, p1);
}

bool contains(const Frustum& frustum, const qvLinear::Point& point) {
    return std::none_of(std::begin(frustum.face), std::end(frustum.face),
                        [&point](const Frustum::Face& face) { return height(face, point) > 0.0; });
}

bool contains(const BoundingBox& box, const PointFlt& point) {
    return box.min[0] <= point.x && point.x <= box.max[0] && //
           box.min[1] <= point.y && point.y <= box.max[1] && //
           box.min[2] <= point.z && point.z <= box.max[2];
}

void project(const BoundingBox& box, const VectorFlt& direction, float& lo, float& hi) {
    const float along[3] = {direction.x, direction.y, direction.z};
    lo = hi = 0.0F;
    for (int axis = 0; axis < 3; ++axis) {
        const float atMin = box.min[axis] * along[axis];
        const float atMax = box.max[axis] * along[axis];
        lo += std::min(atMin, atMax);
        hi += std::max(atMin, atMax);
    }
}

} // namespace qvGeom
