#include "qvGeom/spatial/GeomIntersect.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
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

namespace qvGeom {

using detail::BlockComparison;
using detail::TriangleBlock;
using detail::TriangleBlocks;
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

/// The test of two triangles, given the plane of the first. Most pairs are told apart before the
/// plane of the second is needed.
bool findSegment(const Corners& first, const Plane& plane1, const Corners& second, Point& p,
                 Point& q) {
    const PerCorner heights2 = heights(second, plane1);
    if (onOneSide(heights2))
        return false;
    const Plane plane2 = second.plane();
    const PerCorner heights1 = heights(first, plane2);
    if (onOneSide(heights1))
        return false;

    if (equivalent(plane1.normal, plane2.normal, qvLinear::epsilonTol))
        return false;
    bool ok = false;
    const ParamLine line = qvLinear::intersect(plane1, plane2, ok);
    if (!ok)
        return false;

    const Range1d overlap =
        qvLinear::intersect(intervalOnLine(heights1, first, line),
                            intervalOnLine(heights2, second, line), qvLinear::epsilonTol);
    if (overlap.size() == 0)
        return false;
    p = line.at(overlap.lo);
    q = line.at(overlap.hi);
    return true;
}

Corners cornersOf(const CompactMesh& mesh, const MeshTriangle& triangle) {
    const auto corner = [&](int k) {
        const MeshVertex& v = mesh.getVertices()[triangle[k]];
        return Point{v.x, v.y, v.z};
    };
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

/// A triangle of the mesh while it is tested with others.
struct Subject {
    Corners corners;
    Plane plane;

    Subject(const CompactMesh& mesh, int index)
        : corners(cornersOf(mesh, mesh.getTriangles()[index])),
          plane(corners.plane()) {}
};

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
    SearchAlg(const CompactMesh& mesh, const Array<BoundingBox>& boxes, const ArrayOfSets& voxelsOf)
        : ThreadedChunkAlg(numChunksFor(mesh.getNumTriangles())),
          mesh_(mesh),
          boxes_(boxes),
          voxelsOf_(voxelsOf) {}

    void initialize(int numThreads) override { candidates_.resize(numThreads); }

protected:
    const CompactMesh& mesh_;
    const Array<BoundingBox>& boxes_;
    const ArrayOfSets& voxelsOf_;
    std::vector<Candidates> candidates_; // by thread
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
        : SearchAlg(mesh, boxes, voxelsOf),
          blocks_(blocks),
          found_(getNumChunks()) {}

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
        const BlockComparison comparison(i, boxes_[i], mesh_.getTriangles()[i]);
        const auto isPartner = [&](const TriangleBlock& block) {
            return comparison.meets(block) & comparison.follows(block) & ~comparison.touches(block);
        };
        for (const int* voxel = voxelsOf_.begin(i); voxel != voxelsOf_.end(i); ++voxel)
            candidates.collect(blocks_.begin(*voxel), blocks_.end(*voxel), i, isPartner);
        if (candidates.isEmpty())
            return;
        const Subject subject(mesh_, i);
        candidates.visitAll(i, [&](int j, const MeshTriangle& itsCorners) {
            Point p, q;
            if (findSegment(subject.corners, subject.plane, cornersOf(mesh_, itsCorners), p, q)) {
                found.push_back(segmentOn(mesh_, i, p, q));
                found.push_back(segmentOn(mesh_, j, p, q));
            }
        });
    }

    const TriangleBlocks& blocks_;
    Found found_;
};

/// The second mesh, and its place in the space of the first.
struct PlacedMesh {
    const CompactMesh& mesh;
    const Octree& octree;
    const OctreeTris& voxels;
    const AffineMatrix& toMesh1;

    BoundingBox place(BoundingBox box) const {
        box.transform(toMesh1);
        return box;
    }
};

/// Finds the voxels of the second mesh that each voxel of the first one meets. Empty ones pair with
/// none.
class VoxelPairing {
public:
    VoxelPairing(const Octree& octree, const OctreeTris& voxels, const PlacedMesh& second)
        : root_(octree.getRoot()),
          voxels_(voxels),
          second_(second),
          met_(octree) {
        // Placed boxes of children may reach beyond their parent's by roundings.
        const BoundingBox all = second.place(second.octree.getRoot().box);
        float largest = 0;
        for (int axis = 0; axis < 3; ++axis)
            largest = std::max({largest, std::abs(all.min[axis]), std::abs(all.max[axis])});
        margin_ = 1e-6F * largest;
        pairBelow(second.octree.getRoot());
    }

    void assignTo(ArrayOfSets& paired) const {
        paired.assignFromPairs(voxels_.numSets(), static_cast<int>(pairs_.size() / 2),
                               pairs_.data());
    }

private:
    void pairBelow(const OctreeIterator& node) {
        BoundingBox box = second_.place(node.box);
        if (node.isLeaf()) {
            if (second_.voxels.setSize(node.leafIndex()) > 0 && box.intersects(root_.box))
                pairVoxel(node.leafIndex(), box);
            return;
        }
        box.extend(margin_);
        if (!box.intersects(root_.box))
            return;
        for (int child = 7; child >= 0; --child) {
            OctreeIterator below = node;
            if (below.descend(child))
                pairBelow(below);
        }
    }

    void pairVoxel(int voxel2, const BoundingBox& box) {
        for (met_.reset(box); met_.valid(); met_.next()) {
            const int voxel = met_.get().leafIndex();
            if (voxels_.setSize(voxel) > 0) {
                pairs_.push_back(voxel);
                pairs_.push_back(voxel2);
            }
        }
    }

    OctreeIterator root_;
    const OctreeTris& voxels_;
    const PlacedMesh& second_;
    OctreeBBoxIntersectIt met_;
    float margin_ = 0;
    std::vector<int> pairs_; // of the first mesh, then of the second
};

/// Computes the placed boxes of the triangles in the voxels that are used.
class PlacedBoxesAlg final : public qvUtil::ThreadedAlg {
public:
    PlacedBoxesAlg(const PlacedMesh& second, const std::vector<char>& isVoxelUsed,
                   Array<BoundingBox>& boxes)
        : second_(second),
          boxes_(boxes),
          isUsed_(boxes.size()) {
        for (int voxel = 0; voxel < second.voxels.numSets(); ++voxel) {
            if (isVoxelUsed[voxel])
                std::for_each(second.voxels.begin(voxel), second.voxels.end(voxel),
                              [this](int triangle) { isUsed_[triangle] = 1; });
        }
    }

    void threadFunc(int thread, int numThreads) override {
        const CompactMesh& mesh = second_.mesh;
        for (const int t : qvUtil::sliceOf(boxes_.size(), thread, numThreads)) {
            if (isUsed_[t]) {
                meshTriBoundingBox(mesh.getVertices(), mesh.getTriangles()[t], boxes_[t]);
                boxes_[t].transform(second_.toMesh1);
            }
        }
    }

private:
    const PlacedMesh& second_;
    Array<BoundingBox>& boxes_;
    std::vector<char> isUsed_; // by triangle
};

/// Lays out the triangles in the voxels that are paired, by where they are placed.
void assignPlaced(TriangleBlocks& blocks, const PlacedMesh& second, const ArrayOfSets& paired) {
    std::vector<char> isVoxelUsed(second.voxels.numSets());
    for (int m = 0; m < paired.numMembers(); ++m)
        isVoxelUsed[paired.list()[m]] = 1;
    Array<BoundingBox> boxes(second.mesh.getNumTriangles());
    PlacedBoxesAlg boxesAlg(second, isVoxelUsed, boxes);
    qvUtil::ThreadPool::get().run(boxesAlg);
    blocks.assign(second.mesh, boxes, second.voxels, isVoxelUsed.data());
}

class IntersectAlg final : public SearchAlg {
public:
    IntersectAlg(const CompactMesh& mesh, const Array<BoundingBox>& boxes,
                 const ArrayOfSets& voxelsOf, const PlacedMesh& second, const ArrayOfSets& paired,
                 const TriangleBlocks& placedBlocks)
        : SearchAlg(mesh, boxes, voxelsOf),
          second_(second),
          paired_(paired),
          placedBlocks_(placedBlocks),
          hasInverse_(second.toMesh1.invert(toMesh2_)),
          found1_(getNumChunks()),
          found2_(getNumChunks()) {}

    void threadFunc(int chunk, int thread, int chunks) override {
        if (cancelled(thread))
            return;
        Candidates& candidates = candidates_[thread];
        if (!candidates.isSized())
            candidates.resize(second_.mesh.getNumTriangles());
        for (const int i : qvUtil::sliceOf(mesh_.getNumTriangles(), chunk, chunks)) {
            const int* const voxels = voxelsOf_.begin(i);
            const int* const end = voxelsOf_.end(i);
            if (std::any_of(voxels, end, [this](int voxel) { return paired_.setSize(voxel) > 0; }))
                search(i, candidates, chunk);
        }
        updateProgress(thread, 1);
    }

    const Found& found1() const { return found1_; }

    const Found& found2() const { return found2_; }

private:
    void search(int i, Candidates& candidates, int chunk) {
        const Subject subject(mesh_, i);
        const BlockComparison comparison(i, boxes_[i], mesh_.getTriangles()[i]);
        const auto meets = [&](const TriangleBlock& block) { return comparison.meets(block); };
        const auto test = [&](int j, const MeshTriangle& itsCorners) {
            const Corners corners = placed(cornersOf(second_.mesh, itsCorners), second_.toMesh1);
            Point p, q;
            if (findSegment(subject.corners, subject.plane, corners, p, q)) {
                found1_[chunk].push_back(segmentOn(mesh_, i, p, q));
                found2_[chunk].push_back(segmentOnSecond(j, corners, p, q));
            }
        };
        for (const int* voxel = voxelsOf_.begin(i); voxel != voxelsOf_.end(i); ++voxel) {
            std::for_each(paired_.begin(*voxel), paired_.end(*voxel), [&](int voxel2) {
                candidates.collect(placedBlocks_.begin(voxel2), placedBlocks_.end(voxel2),
                                   second_.mesh.getNumTriangles(), meets);
                // At once: the same voxels may come many times.
                candidates.visitAll(i, test);
            });
        }
    }

    MeshIntersectPair segmentOnSecond(int triangle, const Corners& corners, const Point& p,
                                      const Point& q) const {
        if (hasInverse_)
            return segmentOn(second_.mesh, triangle, p * toMesh2_, q * toMesh2_);
        const auto coordOf = [&](const Point& point) {
            return MeshCoord{MeshCoordBase::projectBase(corners.a, corners.b, corners.c, point),
                             triangle};
        };
        return {coordOf(p), coordOf(q)};
    }

    const PlacedMesh& second_;
    const ArrayOfSets& paired_;
    const TriangleBlocks& placedBlocks_;
    AffineMatrix toMesh2_;
    bool hasInverse_; // not of a placement that flattens the mesh
    Found found1_, found2_;
};

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

        const ArrayOfSets& voxelsOf = voxelsOfTriangles();
        ArrayOfSets paired;
        VoxelPairing(octree_, voxels_, second).assignTo(paired);
        TriangleBlocks placedBlocks;
        assignPlaced(placedBlocks, second, paired);

        IntersectAlg alg(mesh_, boxes_, voxelsOf, second, paired, placedBlocks);
        alg.setProgress(&progress);
        qvUtil::ThreadPool::get().run(alg);
        copyIntersections(alg.found1(), out1);
        copyIntersections(alg.found2(), out2);

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
    ArrayOfSets voxelsOf_;     // from the first search on
    TriangleBlocks blocks_;    // from the first search of this mesh alone on
};

bool intersect(const Point& a1, const Point& b1, const Point& c1, const Point& a2, const Point& b2,
               const Point& c2, Point& p, Point& q) {
    const Corners first{a1, b1, c1};
    return findSegment(first, first.plane(), {a2, b2, c2}, p, q);
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
