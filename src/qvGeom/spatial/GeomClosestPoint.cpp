#include "qvGeom/spatial/GeomClosestPoint.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstring>
#include <limits>

#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/MeshCoord.h"
#include "qvGeom/foundation/geometry/Octree.h"
#include "qvGeom/foundation/geometry/OctreeTris.h"
#include "qvGeom/foundation/geometry/internal/Lanes.h"
#include "qvGeom/foundation/linear/Convert.h"

namespace qvGeom {

using qvLinear::Point;
using qvLinear::Vector;

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

constexpr int kBlockSize = 64;

// Points near the surface are done with fewer leaves, and never pay for tilted boxes.
constexpr int kLeavesInPassing = 16;

double square(double value) { return value * value; }

/// The squared distance along one axis from `p` to the range from `lo` to `hi`.
template <class Real>
Real axisDistance2(Real lo, Real hi, Real p) {
    const Real outside = std::max(std::max(lo - p, p - hi), Real(0));
    return outside * outside;
}

double largestCoordinate(const Point& p) { return maxNorm(p - Point{}); }

double largestCoordinate(const BoundingBox& box) {
    return std::max(largestCoordinate(widen(box.minPt())), largestCoordinate(widen(box.maxPt())));
}

} // namespace

/// The search for one point: first in the leaf it lies in, which most often settles the matter,
/// then in all nodes that may hold something closer, the nearest first.
class ClosestPointSearch {
public:
    ClosestPointSearch(MeshClosestPoint& closest, const Point& point)
        : vertices_(closest.mesh_->getVertices()),
          triangles_(closest.mesh_->getTriangles()),
          tris_(*closest.tris_),
          tiltedBoxes_(closest.tiltedBoxes_),
          nodes_(closest.nodes_),
          pending_(closest.pending_),
          point_(point),
          pointXy_{point.x, point.y} {
        nodes_.clear();
        pending_.clear();
        // Which triangles a voxel holds was decided in floats. Positions on triangles are computed
        // in doubles, and round more the farther the point is away.
        margin_ = 1e-6 * closest.meshScale_ + 1e-14 * largestCoordinate(point);
    }

    void run(const OctreeIterator& root) {
        OctreeIterator path[Octree::kMaxDepth + 1];
        OctreeIterator* node = path;
        *node = root;
        while (!node->isLeaf()) {
            OctreeIterator below = *node;
            if (!below.descend(childTowardsPoint(*node)))
                break;
            *++node = below;
        }
        if (node->isLeaf()) {
            visitLeaf(node->leafIndex());
            home_ = node->node;
        }
        while (node != path && !holdsAllNear(node->box))
            --node;
        visit(*node);
    }

    double distance() const { return std::sqrt(distance2_); }

    const MeshCoord& best() const { return best_; }

private:
    using TiltedBox = MeshClosestPoint::TiltedBox;
    using Pending = MeshClosestPoint::Pending;

    int childTowardsPoint(const OctreeIterator& node) const {
        const double p[3] = {point_.x, point_.y, point_.z};
        int child = 0;
        for (int axis = 0; axis < 3; ++axis) {
            // Of a flat node only the upper children exist.
            const bool upper = p[axis] >= qvLinear::widen(node.middle(axis)) ||
                               node.box.min[axis] == node.box.max[axis];
            child |= static_cast<int>(upper) << axis;
        }
        return child;
    }

    /// Whether nothing outside of the box can be closer than what is known.
    bool holdsAllNear(const BoundingBox& box) const {
        const double p[3] = {point_.x, point_.y, point_.z};
        const double reach = distance() + margin_;
        bool holds = true;
        for (int axis = 0; axis < 3; ++axis) {
            holds &= p[axis] - qvLinear::widen(box.min[axis]) > reach &&
                     qvLinear::widen(box.max[axis]) - p[axis] > reach;
        }
        return holds;
    }

    /// Looks at all that is below the node, the nearest first.
    void visit(const OctreeIterator& node) {
        if (node.isLeaf())
            return; // the home
        pushChildren(node);
        while (!pending_.empty() && !(pending_.front().distance2 > limit2_)) {
            Pending nearest = pending_.front();
            std::pop_heap(pending_.begin(), pending_.end());
            pending_.pop_back();
            if (!nearest.isLeaf()) {
                pushChildren(OctreeIterator(nodes_[nearest.place]));
            } else if (nearest.isTilted || ++numLeaves_ <= kLeavesInPassing) {
                visitLeaf(~nearest.place);
            } else {
                nearest.distance2 = std::max(nearest.distance2, tiltedDistance2(~nearest.place));
                nearest.isTilted = true;
                push(nearest);
            }
        }
    }

    void push(const Pending& pending) {
        if (pending.distance2 > limit2_)
            return;
        pending_.push_back(pending);
        std::push_heap(pending_.begin(), pending_.end());
    }

    void pushChildren(const OctreeIterator& node) {
        const double p[3] = {point_.x, point_.y, point_.z};
        double halves[3][2];
        for (int axis = 0; axis < 3; ++axis) {
            const double middle = qvLinear::widen(node.middle(axis));
            halves[axis][0] = axisDistance2(qvLinear::widen(node.box.min[axis]), middle, p[axis]);
            halves[axis][1] = axisDistance2(middle, qvLinear::widen(node.box.max[axis]), p[axis]);
        }
        for (int child = 0; child < 8; ++child) {
            const double distance2 =
                halves[0][child & 1] + halves[1][child >> 1 & 1] + halves[2][child >> 2];
            OctreeIterator below = node;
            if (distance2 > limit2_ || !below.descend(child) || below.node == home_)
                continue;
            if (below.isLeaf()) {
                if (tris_.setSize(below.leafIndex()) > 0)
                    push({distance2, ~below.leafIndex(), false});
            } else {
                nodes_.push_back(below);
                push({distance2, static_cast<int>(nodes_.size()) - 1, false});
            }
        }
    }

    /// The squared distance from the point to the tilted box of the leaf.
    double tiltedDistance2(int leaf) {
        if (tiltedBoxes_.size() == 0)
            tiltedBoxes_.resize(tris_.numSets());
        TiltedBox& box = tiltedBoxes_[leaf];
        if (box.normal.length2() == 0)
            box = tiltedBoxAround(leaf);
        const Vector heights = along(box, point_);
        return axisDistance2(qvLinear::widen(box.lo[0]), qvLinear::widen(box.hi[0]), heights.x) +
               axisDistance2(qvLinear::widen(box.lo[1]), qvLinear::widen(box.hi[1]), heights.y) +
               axisDistance2(qvLinear::widen(box.lo[2]), qvLinear::widen(box.hi[2]), heights.z);
    }

    static Vector along(const TiltedBox& box, const Point& p) {
        const Vector v = {p.x, p.y, p.z};
        return {dot(box.normal, v), dot(box.across, v), dot(cross(box.normal, box.across), v)};
    }

    /// Not made of numbers, so that it rules nothing out, where the triangles have no mean normal
    /// or a coordinate is not finite.
    TiltedBox tiltedBoxAround(int leaf) const {
        TiltedBox box{{0, 0, 0}, {0, 0, 0}, {}, {}};
        for (const int* t = tris_.begin(leaf); t != tris_.end(leaf); ++t) {
            const Point a = position(triangles_[*t][0]);
            box.normal += cross(position(triangles_[*t][1]) - a, position(triangles_[*t][2]) - a);
        }
        if (!box.normal.normalize())
            box.normal.x = std::numeric_limits<double>::quiet_NaN();
        box.across = box.normal.orthogonalVector();

        Vector lo{kInfinity, kInfinity, kInfinity};
        Vector hi = -lo;
        for (const int* t = tris_.begin(leaf); t != tris_.end(leaf); ++t) {
            for (const int corner : triangles_[*t].v) {
                const Vector heights = along(box, position(corner));
                lo = {std::min(lo.x, heights.x), std::min(lo.y, heights.y),
                      std::min(lo.z, heights.z)};
                hi = {std::max(hi.x, heights.x), std::max(hi.y, heights.y),
                      std::max(hi.z, heights.z)};
            }
        }
        const double ends[2][3] = {{lo.x, lo.y, lo.z}, {hi.x, hi.y, hi.z}};
        for (int axis = 0; axis < 3; ++axis) { // outwards
            box.lo[axis] = std::nextafter(qvLinear::narrow(ends[0][axis]), -HUGE_VALF);
            box.hi[axis] = std::nextafter(qvLinear::narrow(ends[1][axis]), HUGE_VALF);
        }
        return box;
    }

    void visitLeaf(int leaf) {
        const int* const end = tris_.end(leaf);
        for (const int* block = tris_.begin(leaf); block != end;) {
            const int count = static_cast<int>(std::min<std::ptrdiff_t>(end - block, kBlockSize));
            visitBlock(block, count);
            block += count;
        }
    }

    /// First looks at the boxes of all triangles, so that the one that comes first is a close one,
    /// and no branch stands in the way of loading them.
    void visitBlock(const int* triangles, int count) {
        double boxes[kBlockSize];
        double nearest = kInfinity;
        int first = 0;
        fetch(triangles, count);
        for (int i = 0; i < count; ++i) {
            boxes[i] = boxDistance2(triangles_[triangles[i]]);
            first = boxes[i] < nearest ? i : first;
            nearest = boxes[i] < nearest ? boxes[i] : nearest;
        }
        if (nearest > limit2_)
            return;
        consider(triangles[first]);
        for (int i = 0; i < count; ++i) {
            if (!(boxes[i] > limit2_) && i != first)
                consider(triangles[i]);
        }
    }

    /// Has all that the triangles need brought into the cache at once.
    void fetch(const int* triangles, int count) const {
        for (int i = 0; i < count; ++i)
            __builtin_prefetch(triangles_ + triangles[i]);
        for (int i = 0; i < count; ++i) {
            for (const int corner : triangles_[triangles[i]].v)
                __builtin_prefetch(vertices_ + corner);
        }
    }

    /// The squared distance from the point to the box of the triangle.
    double boxDistance2(const MeshTriangle& triangle) const {
        const Float4 a = fourFloats(triangle[0]);
        const Float4 b = fourFloats(triangle[1]);
        const Float4 c = fourFloats(triangle[2]);
        const Float4 ab = a < b ? a : b;
        const Float4 lo = ab < c ? ab : c;
        const Float4 ba = a > b ? a : b;
        const Float4 hi = ba > c ? ba : c;
        const Double2 loXy = {lo[0], lo[1]};
        const Double2 hiXy = {hi[0], hi[1]};
        const Double2 below = loXy - pointXy_;
        const Double2 above = pointXy_ - hiXy;
        Double2 out = below > above ? below : above;
        out = out > Double2{0, 0} ? out : Double2{0, 0};
        out *= out;
        return out[0] + out[1] +
               axisDistance2(qvLinear::widen(lo[2]), qvLinear::widen(hi[2]), point_.z);
    }

    Float4 fourFloats(int vertex) const {
        Float4 loaded;
        std::memcpy(&loaded, vertices_ + vertex, sizeof loaded);
        return loaded;
    }

    void consider(int triangle) {
        const MeshTriangle& corners = triangles_[triangle];
        const Point a = position(corners[0]);
        const Point b = position(corners[1]);
        const Point c = position(corners[2]);
        if (isPlaneBeyondLimit(a, b, c))
            return;
        const MeshCoordBase coord = MeshCoordBase::projectBase(a, b, c, point_);
        const double found2 = distance2(coord.evaluateBase(a, b, c), point_);
        if (!(found2 < distance2_ || (found2 == distance2_ && triangle < best_.triangle)))
            return;
        distance2_ = found2;
        static_cast<MeshCoordBase&>(best_) = coord;
        best_.triangle = triangle;
        limit2_ = square(distance() + margin_);
    }

    /// Whether the plane of the triangle is farther away than it may be. A plane that roundings may
    /// have turned tells nothing.
    bool isPlaneBeyondLimit(const Point& a, const Point& b, const Point& c) const {
        const Vector ab = b - a;
        const Vector ac = c - a;
        const Vector normal = cross(ab, ac);
        const double length2 = normal.length2();
        return square(dot(normal, point_ - a)) > limit2_ * length2 &&
               length2 > 1e-12 * (ab.length2() * ac.length2());
    }

    Point position(int vertex) const { return qvLinear::widen(vertices_[vertex]); }

    const MeshVertex* vertices_;
    const MeshTriangle* triangles_;
    const OctreeTris& tris_;
    Array<TiltedBox>& tiltedBoxes_;
    std::vector<OctreeIterator>& nodes_;
    std::vector<Pending>& pending_;
    Point point_;
    Double2 pointXy_;
    double margin_;
    const TreeNode* home_ = nullptr; // the leaf looked at first
    int numLeaves_ = 0;

    MeshCoord best_;
    double distance2_ = kInfinity;
    // What is farther away than these cannot hold anything closer.
    double limit2_ = kInfinity;
};

MeshClosestPoint::MeshClosestPoint(const CompactMesh& mesh, const Octree& octree,
                                   const OctreeTris& tris)
    : mesh_(&mesh),
      octree_(&octree),
      tris_(&tris),
      meshScale_(largestCoordinate(octree.getRoot().box)) {
    assert(tris.numSets() == octree.getNumVoxels());
}

double MeshClosestPoint::find(const Point& point, MeshCoord& out) {
    constexpr double kLargest = 1e75;
    const bool inRange = std::abs(point.x) <= kLargest && std::abs(point.y) <= kLargest &&
                         std::abs(point.z) <= kLargest;
    if (!inRange || octree_->getNumVoxels() < 1) {
        out = {};
        return kInfinity;
    }
    ClosestPointSearch search(*this, point);
    search.run(octree_->getRoot());
    out = search.best();
    return search.distance();
}

} // namespace qvGeom
