#include "qvGeom/spatial/GeomIntersect.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <optional>
#include <tuple>
#include <vector>

#include "qvGeom/foundation/base/Diagnostics.h"
#include "qvGeom/foundation/base/StopWatch.h"
#include "qvGeom/foundation/base/ThreadPool.h"
#include "qvGeom/foundation/base/ThreadedAlg.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/Octree.h"
#include "qvGeom/foundation/geometry/OctreeTris.h"
#include "qvGeom/foundation/linear/Linear.h"
#include "qvGeom/planar/GeomPlanarTests.h"
#include "qvGeom/spatial/GeomOctree.h"
#include "qvGeom/spatial/GeomOctreeIterators.h"
#include "qvGeom/spatial/detail/TriangleBlocks.h"
#include "qvGeom/spatial/detail/TriangleTree.h"
#include "qvGeom/spatial/detail/VoxelPairing.h"

namespace qvGeom {

using detail::BoxBlock;
using detail::BoxComparison;
using detail::PlacedMesh;
using detail::TriangleBlock;
using detail::TriangleBlocks;
using detail::TriangleComparison;
using detail::TriangleTree;
using detail::VoxelPair;
using detail::VoxelPairing;
using qvLinear::AffineMatrix;
using qvLinear::ParamLine;
using qvLinear::Plane;
using qvLinear::Point;
using qvLinear::Range1d;

namespace {

struct Corners {
    Point a, b, c;

    Plane plane() const { return {a, triNormal(a, b, c)}; }
};

/// One number for each corner of a triangle.
struct PerCorner {
    double a, b, c;
};

PerCorner heights(const Corners& corners, const Plane& plane) {
    const auto height = [&plane](const Point& p) {
        return dot(plane.normal, qvLinear::Vector{p.x, p.y, p.z}) + plane.d;
    };
    return {height(corners.a), height(corners.b), height(corners.c)};
}

bool onOneSide(const PerCorner& height) {
    return (height.a > 0 && height.b > 0 && height.c > 0) ||
           (height.a < 0 && height.b < 0 && height.c < 0);
}

/// Whether an edge with these heights at its ends meets the plane in one point.
bool isSplit(double x, double y) {
    return std::min(x, y) <= 0 && 0 <= std::max(x, y) && !(x == 0 && y == 0);
}

/// Where the edge from x to y, at tx and ty along the line, meets the other plane.
double crossingParam(double tx, double x, double ty, double y) {
    return tx + (ty - tx) * x / (x - y);
}

/// The part of the line within the triangle that has these heights over the other plane. Without
/// numbers for a triangle all in that plane, whose interval nothing tells.
Range1d intervalOnLine(const PerCorner& height, const Corners& corners, const ParamLine& line) {
    const auto param = [&line](const Point& p) { return dot(p - line.origin, line.direction); };
    const PerCorner t{param(corners.a), param(corners.b), param(corners.c)};
    const auto [a, b, c] = height;
    const bool splitAb = isSplit(a, b);
    const bool splitCa = isSplit(c, a);
    // With corner a in the plane both its edges end there, and the interval runs to edge bc.
    const bool passesThroughA = a == 0 && ((b < 0 && c > 0) || (b > 0 && c < 0));

    double end0 = 0, end1 = 0;
    if (splitAb && (!splitCa || passesThroughA)) {
        end0 = crossingParam(t.b, b, t.c, c);
        end1 = crossingParam(t.b, b, t.a, a);
    } else if (!splitAb && splitCa) {
        end0 = crossingParam(t.b, b, t.c, c);
        end1 = crossingParam(t.a, a, t.c, c);
    } else {
        end0 = crossingParam(t.a, a, t.b, b);
        end1 = crossingParam(t.a, a, t.c, c);
    }
    return {std::min(end0, end1), std::max(end0, end1)};
}

/// A triangle while it is tested with others.
class Subject {
public:
    explicit Subject(const Corners& corners) : corners_(corners) {}

    const Corners& corners() const { return corners_; }

    bool hasPlane() const { return plane_.has_value(); }

    /// Computed when first it is asked for: most pairs are told apart before both are needed.
    const Plane& plane() {
        if (!plane_)
            plane_ = corners_.plane();
        return *plane_;
    }

private:
    Corners corners_;
    std::optional<Plane> plane_;
};

/// Whether all of a triangle lies on one side of the plane of the other.
bool isBeside(const Subject& triangle, Subject& other, PerCorner& height) {
    height = heights(triangle.corners(), other.plane());
    return onOneSide(height);
}

/// The test of two triangles.
bool findSegment(Subject& first, Subject& second, Point& p, Point& q) {
    PerCorner heights1{}, heights2{};
    const bool areApart =
        second.hasPlane() ? isBeside(first, second, heights1) || isBeside(second, first, heights2)
                          : isBeside(second, first, heights2) || isBeside(first, second, heights1);
    if (areApart)
        return false;

    if (equivalent(first.plane().normal, second.plane().normal, qvLinear::epsilonTol))
        return false;
    bool ok = false;
    const ParamLine line = qvLinear::intersect(first.plane(), second.plane(), ok);
    if (!ok)
        return false;

    const Range1d overlap =
        qvLinear::intersect(intervalOnLine(heights1, first.corners(), line),
                            intervalOnLine(heights2, second.corners(), line), qvLinear::epsilonTol);
    if (overlap.size() == 0)
        return false;
    p = line.at(overlap.lo);
    q = line.at(overlap.hi);
    return true;
}

Corners cornersOf(const CompactMesh& mesh, const MeshTriangle& triangle) {
    const auto corner = [&](int k) { return qvLinear::widen(mesh.getVertices()[triangle[k]]); };
    return {corner(0), corner(1), corner(2)};
}

Corners placed(const Corners& corners, const AffineMatrix& matrix) {
    return {corners.a * matrix, corners.b * matrix, corners.c * matrix};
}

MeshIntersectPair segmentOn(const CompactMesh& mesh, int triangle, const Point& p, const Point& q) {
    MeshIntersectPair segment;
    segment.first.setFromPoint(triangle, mesh.getVertices(), mesh.getTriangles(), p);
    segment.second.setFromPoint(triangle, mesh.getVertices(), mesh.getTriangles(), q);
    return segment;
}

/// What one thread reuses from triangle to triangle.
class Candidates {
public:
    void resize(int numTriangles) { lastSeenBy_.assign(numTriangles, -1); }

    bool isSized() const { return !lastSeenBy_.empty(); }

    bool isEmpty() const { return count_ == 0; }

    /// Notes the triangles below `limit` that `compare` finds in the blocks.
    template <class Compare>
    void collect(const TriangleBlock* block, const TriangleBlock* last, int limit,
                 const Compare& compare) {
        const std::size_t room = met_.size() - count_;
        if (room < static_cast<std::size_t>(last - block))
            met_.resize(2 * met_.size() + (last - block));
        std::size_t count = count_;
        for (; block != last && block->triangle[0] < limit; ++block) {
            const unsigned lanes = bitsOf(compare(*block));
            met_[count] = {block, lanes};
            count += lanes != 0; // which cannot be foretold
        }
        count_ = count;
    }

    /// Calls `visit` with the number and the corners of each triangle that was noted, in the order
    /// they were noted in and once each, and forgets them.
    template <class Visit>
    void visitAll(int subject, const Visit& visit) {
        for (std::size_t m = 0; m < count_; ++m) {
            const TriangleBlock& block = *met_[m].block;
            for (unsigned lanes = met_[m].lanes; lanes != 0; lanes &= lanes - 1) {
                const int lane = std::countr_zero(lanes);
                const int other = block.triangle[lane];
                if (lastSeenBy_[other] != subject) {
                    lastSeenBy_[other] = subject;
                    visit(other, block.cornersOf(lane));
                }
            }
        }
        count_ = 0;
    }

private:
    struct Met {
        const TriangleBlock* block;
        unsigned lanes;
    };

    std::vector<int> lastSeenBy_; // by triangle, the subject
    std::vector<Met> met_;
    std::size_t count_ = 0;
};

/// Chunks by the size of the mesh alone, so that what a cancelled search has found does not depend
/// on the number of threads more than it must.
int numChunksFor(int numTriangles) { return std::clamp(numTriangles / 256, 1, 256); }

/// The frame of both searches: the triangles of the mesh, chunk by chunk.
class SearchAlg : public qvUtil::ThreadedChunkAlg {
public:
    SearchAlg(const CompactMesh& mesh, const Array<BoundingBox>& boxes)
        : ThreadedChunkAlg(numChunksFor(mesh.getNumTriangles())),
          mesh_(mesh),
          boxes_(boxes) {}

protected:
    const CompactMesh& mesh_;
    const Array<BoundingBox>& boxes_;
};

/// Segments on one mesh, by chunk.
using Found = std::vector<std::vector<MeshIntersectPair>>;

void copyIntersections(const Found& found, std::deque<MeshIntersectPair>& out) {
    std::deque<MeshIntersectPair> joined;
    for (const std::vector<MeshIntersectPair>& segments : found)
        joined.insert(joined.end(), segments.begin(), segments.end());
    out.swap(joined);
}

class SelfIntersectAlg final : public SearchAlg {
public:
    SelfIntersectAlg(const CompactMesh& mesh, const Array<BoundingBox>& boxes,
                     const ArrayOfSets& voxelsOf, const TriangleBlocks& blocks)
        : SearchAlg(mesh, boxes),
          voxelsOf_(voxelsOf),
          blocks_(blocks),
          found_(getNumChunks()) {}

    void initialize(int numThreads) override { candidates_.resize(numThreads); }

    void threadFunc(int chunk, int thread, int chunks) override {
        if (cancelled(thread))
            return;
        Candidates& candidates = candidates_[thread];
        if (!candidates.isSized())
            candidates.resize(mesh_.getNumTriangles());
        for (const int i : qvUtil::sliceOf(mesh_.getNumTriangles(), chunk, chunks))
            search(i, candidates, found_[chunk]);
        updateProgress(thread, 1);
    }

    const Found& found() const { return found_; }

private:
    void search(int i, Candidates& candidates, std::vector<MeshIntersectPair>& found) const {
        const BoxComparison box(boxes_[i]);
        const TriangleComparison triangle(i, mesh_.getTriangles()[i]);
        const auto isPartner = [&](const TriangleBlock& block) {
            return box.meets(block) & triangle.follows(block) & ~triangle.touches(block);
        };
        for (const int* voxel = voxelsOf_.begin(i); voxel != voxelsOf_.end(i); ++voxel)
            candidates.collect(blocks_.begin(*voxel), blocks_.end(*voxel), i, isPartner);
        if (candidates.isEmpty())
            return;
        Subject subject(cornersOf(mesh_, mesh_.getTriangles()[i]));
        candidates.visitAll(i, [&](int j, const MeshTriangle& itsCorners) {
            Subject other(cornersOf(mesh_, itsCorners));
            Point p, q;
            if (findSegment(subject, other, p, q)) {
                found.push_back(segmentOn(mesh_, i, p, q));
                found.push_back(segmentOn(mesh_, j, p, q));
            }
        });
    }

    const ArrayOfSets& voxelsOf_;
    const TriangleBlocks& blocks_;
    std::vector<Candidates> candidates_; // by thread
    Found found_;
};

/// Computes the placed boxes of some triangles.
class PlacedBoxesAlg final : public qvUtil::ThreadedAlg {
public:
    PlacedBoxesAlg(const PlacedMesh& second, const std::vector<int>& triangles,
                   Array<BoundingBox>& boxes)
        : second_(second),
          triangles_(triangles),
          boxes_(boxes) {}

    void threadFunc(int thread, int numThreads) override {
        const CompactMesh& mesh = second_.mesh;
        const int count = static_cast<int>(triangles_.size());
        for (const int k : qvUtil::sliceOf(count, thread, numThreads)) {
            BoundingBox& box = boxes_[triangles_[k]];
            meshTriBoundingBox(mesh.getVertices(), mesh.getTriangles()[triangles_[k]], box);
            box.transform(second_.toMesh1);
        }
    }

private:
    const PlacedMesh& second_;
    const std::vector<int>& triangles_;
    Array<BoundingBox>& boxes_; // by triangle
};

/// Triangles of the second mesh, where they are placed.
TriangleTree placedTree(const PlacedMesh& second, const std::vector<int>& triangles) {
    Array<BoundingBox> boxes(second.mesh.getNumTriangles());
    PlacedBoxesAlg alg(second, triangles, boxes);
    qvUtil::ThreadPool::get().run(alg);
    return {second.mesh, triangles, boxes};
}

/// A crossing of a triangle of each mesh.
struct Crossing {
    int triangle1, triangle2;
    VoxelPair voxels; // in which the triangles are
    Point p, q;

    bool operator<(const Crossing& other) const {
        return std::tie(triangle1, voxels, triangle2) <
               std::tie(other.triangle1, other.voxels, other.triangle2);
    }
};

using Crossings = std::vector<std::vector<Crossing>>; // by chunk

/// Triangles of the second mesh near some of the first, and what their tests have in common.
class Partners {
public:
    Partners(const PlacedMesh& second, const TriangleTree& triangles)
        : second_(second),
          triangles_(triangles),
          recent_(kNumRecent) {}

    bool isEmpty() const { return near_.empty(); }

    /// Replaces them by those that `box` may meet.
    void collect(const BoundingBox& box) { triangles_.collect(box, near_); }

    /// Calls `visit` with each triangle whose box `box` meets.
    template <class Visit>
    void visitMet(const BoundingBox& box, const Visit& visit) {
        const BoxComparison comparison(box);
        for (const int b : near_) {
            const TriangleBlock& block = triangles_.block(b);
            for (unsigned met = bitsOf(comparison.meets(block)); met != 0; met &= met - 1) {
                const int lane = std::countr_zero(met);
                Recent& recent = recent_[(BoxBlock::kLanes * b + lane) % kNumRecent];
                if (recent.triangle != block.triangle[lane])
                    recent = {block.triangle[lane],
                              Subject(placed(cornersOf(second_.mesh, block.cornersOf(lane)),
                                             second_.toMesh1))};
                visit(recent.triangle, *recent.subject);
            }
        }
    }

private:
    static constexpr int kNumRecent = 4096;

    struct Recent {
        int triangle = -1;
        std::optional<Subject> subject;
    };

    const PlacedMesh& second_;
    const TriangleTree& triangles_;
    std::vector<int> near_;      // blocks
    std::vector<Recent> recent_; // by place in the tree, as far as there is room
};

class IntersectAlg final : public SearchAlg {
public:
    IntersectAlg(const CompactMesh& mesh, const Array<BoundingBox>& boxes, const PlacedMesh& second,
                 const TriangleTree& triangles2)
        : SearchAlg(mesh, boxes),
          second_(second),
          triangles2_(triangles2),
          found_(getNumChunks()) {}

    void initialize(int numThreads) override {
        partners_ = std::vector<Partners>(numThreads, Partners(second_, triangles2_));
    }

    void threadFunc(int chunk, int thread, int chunks) override {
        if (cancelled(thread))
            return;
        Partners& partners = partners_[thread];
        const qvUtil::IndexRange slice = qvUtil::sliceOf(mesh_.getNumTriangles(), chunk, chunks);
        for (int first = slice.first; first < slice.last;) {
            const Run run = runFrom(first, slice.last);
            partners.collect(run.box);
            for (int i = first; i < run.last && !partners.isEmpty(); ++i)
                search(i, partners, found_[chunk]);
            first = run.last;
        }
        updateProgress(thread, 1);
    }

    /// Within a chunk in no order.
    Crossings& found() { return found_; }

private:
    /// Triangles that follow each other, up to `last`, and the box around them.
    struct Run {
        int last;
        BoundingBox box;
    };

    /// Triangles that lie side by side, as most that follow each other do, look for others at once.
    Run runFrom(int first, int end) const {
        constexpr int kMaxLength = 8;
        constexpr float kMaxGrowth = 4;
        const float maxSize = kMaxGrowth * sizeOf(boxes_[first]);
        end = std::min(end, first + kMaxLength);
        Run run{first + 1, boxes_[first]};
        while (run.last < end) {
            BoundingBox larger = run.box;
            larger.extend(boxes_[run.last]);
            if (!(sizeOf(larger) <= maxSize))
                break;
            run.box = larger;
            ++run.last;
        }
        return run;
    }

    static float sizeOf(const BoundingBox& box) {
        return box.max[0] - box.min[0] + (box.max[1] - box.min[1]) + (box.max[2] - box.min[2]);
    }

    void search(int i, Partners& partners, std::vector<Crossing>& found) const {
        std::optional<Subject> subject;
        partners.visitMet(boxes_[i], [&](int j, Subject& partner) {
            if (!subject)
                subject.emplace(cornersOf(mesh_, mesh_.getTriangles()[i]));
            Point p, q;
            if (findSegment(*subject, partner, p, q))
                found.push_back({i, j, {}, p, q});
        });
    }

    const PlacedMesh& second_;
    const TriangleTree& triangles2_;
    std::vector<Partners> partners_; // by thread
    Crossings found_;
};

/// Turns crossings of triangles in voxels that meet into records.
class RecordsAlg final : public qvUtil::ThreadedChunkAlg {
public:
    RecordsAlg(const CompactMesh& mesh, const PlacedMesh& second, const VoxelPairing& pairing,
               Crossings& crossings)
        : ThreadedChunkAlg(static_cast<int>(crossings.size())),
          mesh_(mesh),
          second_(second),
          pairing_(pairing),
          hasInverse_(second.toMesh1.invert(toMesh2_)),
          crossings_(crossings),
          found1_(crossings.size()),
          found2_(crossings.size()) {}

    void threadFunc(int chunk, int /*thread*/, int /*chunks*/) override {
        std::vector<Crossing> crossings;
        crossings.swap(crossings_[chunk]);
        for (Crossing& crossing : crossings)
            crossing.voxels = pairing_.first(crossing.triangle1, crossing.triangle2);
        std::sort(crossings.begin(), crossings.end());
        for (const Crossing& crossing : crossings) {
            if (!crossing.voxels.isFound())
                continue;
            found1_[chunk].push_back(segmentOn(mesh_, crossing.triangle1, crossing.p, crossing.q));
            found2_[chunk].push_back(segmentOnSecond(crossing));
        }
    }

    const Found& found1() const { return found1_; }

    const Found& found2() const { return found2_; }

private:
    MeshIntersectPair segmentOnSecond(const Crossing& crossing) const {
        const auto& [p, q] = std::tie(crossing.p, crossing.q);
        const CompactMesh& mesh = second_.mesh;
        if (hasInverse_)
            return segmentOn(mesh, crossing.triangle2, p * toMesh2_, q * toMesh2_);
        const auto [a, b, c] =
            placed(cornersOf(mesh, mesh.getTriangles()[crossing.triangle2]), second_.toMesh1);
        return {{MeshCoordBase::projectBase(a, b, c, p), crossing.triangle2},
                {MeshCoordBase::projectBase(a, b, c, q), crossing.triangle2}};
    }

    const CompactMesh& mesh_;
    const PlacedMesh& second_;
    const VoxelPairing& pairing_;
    AffineMatrix toMesh2_;
    bool hasInverse_; // not of a placement that flattens the mesh
    Crossings& crossings_;
    Found found1_, found2_;
};

/// Tells the order of the crossings by the voxels of the triangles that have some.
VoxelPairing pairVoxels(const Octree& octree, const OctreeTris& voxels, int numTriangles,
                        const PlacedMesh& second, const Crossings& crossings) {
    std::vector<char> crosses1(numTriangles), crosses2(second.mesh.getNumTriangles());
    for (const std::vector<Crossing>& chunk : crossings) {
        for (const Crossing& crossing : chunk)
            crosses1[crossing.triangle1] = crosses2[crossing.triangle2] = 1;
    }
    return {octree, voxels, crosses1, second, crosses2};
}

} // namespace

/// The mesh and what is derived from it once.
class MeshIntersectImpl {
public:
    MeshIntersectImpl(const CompactMesh& mesh, const Octree& octree, const OctreeTris& voxels)
        : mesh_(mesh),
          octree_(octree),
          voxels_(voxels) {
        meshTriBoundingBoxes(mesh, boxes_);
    }

    void selfIntersect(qvUtil::Progress& progress, std::deque<MeshIntersectPair>& out) {
        qvOS::StopWatch watch;
        watch.start();

        if (blocks_.isEmpty())
            blocks_.assign(mesh_, boxes_, voxels_);
        SelfIntersectAlg alg(mesh_, boxes_, voxelsOfTriangles(), blocks_);
        alg.setProgress(&progress);
        qvUtil::ThreadPool::get().run(alg);
        copyIntersections(alg.found(), out);

        debugChannel().print(
            "qvGeom::meshSelfIntersect: %d triangles\n    %d tri/tri intersections\n    %f s\n",
            mesh_.getNumTriangles(), static_cast<int>(out.size()), watch.stop());
    }

    void intersect(const PlacedMesh& second, qvUtil::Progress& progress,
                   std::deque<MeshIntersectPair>& out1, std::deque<MeshIntersectPair>& out2) {
        if (!octree_.getRoot().box.intersects(second.place(second.octree.getRoot().box))) {
            debugChannel().print("qvGeom::meshIntersect: bboxes don't overlap\n");
            return;
        }
        qvOS::StopWatch watch;
        watch.start();

        const TriangleTree triangles2 =
            placedTree(second, trianglesWhereMeeting(octree_, voxels_, second));
        IntersectAlg search(mesh_, boxes_, second, triangles2);
        search.setProgress(&progress);
        qvUtil::ThreadPool::get().run(search);

        const VoxelPairing pairing =
            pairVoxels(octree_, voxels_, mesh_.getNumTriangles(), second, search.found());
        RecordsAlg records(mesh_, second, pairing, search.found());
        qvUtil::ThreadPool::get().run(records);
        copyIntersections(records.found1(), out1);
        copyIntersections(records.found2(), out2);

        debugChannel().print(
            "meshIntersect: triangles1(%d) triangles2(%d)\n    %d intersections, %f s\n",
            mesh_.getNumTriangles(), second.mesh.getNumTriangles(), static_cast<int>(out1.size()),
            watch.stop());
    }

private:
    /// The voxels that hold each triangle.
    const ArrayOfSets& voxelsOfTriangles() {
        if (voxelsOf_.numSets() == 0)
            voxelsOf_.assignInverse(mesh_.getNumTriangles(), voxels_);
        return voxelsOf_;
    }

    const CompactMesh& mesh_;
    const Octree& octree_;
    const OctreeTris& voxels_;
    Array<BoundingBox> boxes_; // by triangle
    ArrayOfSets voxelsOf_;     // from the first search of this mesh alone on
    TriangleBlocks blocks_;    // alike
};

bool intersect(const Point& a1, const Point& b1, const Point& c1, const Point& a2, const Point& b2,
               const Point& c2, Point& p, Point& q) {
    Subject first({a1, b1, c1}), second({a2, b2, c2});
    return findSegment(first, second, p, q);
}

MeshIntersect::MeshIntersect(const CompactMesh& mesh, const Octree& octree,
                             const OctreeTris& octreeTris)
    : impl_(std::make_unique<MeshIntersectImpl>(mesh, octree, octreeTris)) {}

MeshIntersect::~MeshIntersect() = default;

void MeshIntersect::selfIntersect(qvUtil::Progress& progress, std::deque<MeshIntersectPair>& out) {
    impl_->selfIntersect(progress, out);
}

void MeshIntersect::intersect(const CompactMesh& mesh2, const Octree& octree2,
                              const OctreeTris& octreeTris2, const AffineMatrix& toMesh1,
                              qvUtil::Progress& progress, std::deque<MeshIntersectPair>& out1,
                              std::deque<MeshIntersectPair>& out2) {
    impl_->intersect({mesh2, octree2, octreeTris2, toMesh1}, progress, out1, out2);
}

} // namespace qvGeom
