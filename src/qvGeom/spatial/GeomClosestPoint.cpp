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
#include "qvGeom/foundation/linear/Convert.h"

namespace qvGeom {

using qvLinear::Point;

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

constexpr int kBlockSize = 64;

double square(double value) { return value * value; }

/// The squared distance along one axis from `p` to the range from `lo` to `hi`.
template <class Real>
Real axisDistance2(Real lo, Real hi, Real p) {
    const Real outside = std::max(std::max(lo - p, p - hi), Real(0));
    return outside * outside;
}

double largestCoordinate(const Point& p) {
    return std::max({std::abs(p.x), std::abs(p.y), std::abs(p.z)});
}

double largestCoordinate(const BoundingBox& box) {
    return std::max(largestCoordinate(widen(box.minPt())), largestCoordinate(widen(box.maxPt())));
}

/// The search for one point: first in the leaf it lies in, which most often settles the matter,
/// then depth first in all nodes that may hold something closer, the nearest first.
class ClosestPointSearch {
    using Float4 = float __attribute__((vector_size(16)));
    using Double2 = double __attribute__((vector_size(16)));

public:
    ClosestPointSearch(const CompactMesh& mesh, const OctreeTris& tris, double meshScale,
                       const Point& point)
        : vertices_(mesh.getVertices()),
          triangles_(mesh.getTriangles()),
          tris_(tris),
          point_(point),
          pointXy_{point.x, point.y} {
        const double pointScale = largestCoordinate(point);
        // Which triangles a voxel holds was decided in floats. Positions on triangles are computed
        // in doubles, and round more the farther the point is away.
        margin_ = 1e-6 * meshScale + 1e-14 * pointScale;
    }

    void run(const OctreeIterator& root) {
        OctreeIterator home = root;
        while (!home.isLeaf() && home.descend(childTowardsPoint(home))) {
        }
        if (home.isLeaf()) {
            visitLeaf(home.leafIndex());
            home_ = home.node;
        }
        visit(root);
    }

    double distance() const { return std::sqrt(distance2_); }

    const MeshCoord& best() const { return best_; }

private:
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

    void visit(const OctreeIterator& node) {
        if (node.isLeaf()) {
            if (node.node != home_)
                visitLeaf(node.leafIndex());
            return;
        }
        NearChild children[8];
        const int count = nearChildren(node, children);
        for (int i = 0; i < count && !(children[i].distance2 > limit2_); ++i) {
            OctreeIterator child = node;
            child.descend(children[i].child);
            visit(child);
        }
    }

    struct NearChild {
        double distance2;
        int child;
    };

    /// Fills `children` with those that may hold something closer, the nearest first.
    int nearChildren(const OctreeIterator& node, NearChild children[8]) const {
        const double p[3] = {point_.x, point_.y, point_.z};
        double halves[3][2];
        for (int axis = 0; axis < 3; ++axis) {
            const double middle = qvLinear::widen(node.middle(axis));
            halves[axis][0] = axisDistance2(qvLinear::widen(node.box.min[axis]), middle, p[axis]);
            halves[axis][1] = axisDistance2(middle, qvLinear::widen(node.box.max[axis]), p[axis]);
        }
        int count = 0;
        for (int child = 0; child < 8; ++child) {
            const double distance2 =
                halves[0][child & 1] + halves[1][child >> 1 & 1] + halves[2][child >> 2];
            if (distance2 > limit2_ || !node.node->child(child))
                continue;
            int place = count++;
            for (; place > 0 && children[place - 1].distance2 > distance2; --place)
                children[place] = children[place - 1];
            children[place] = {distance2, child};
        }
        return count;
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
        const MeshCoordBase coord = MeshCoordBase::projectBase(a, b, c, point_);
        const double found2 = distance2(coord.evaluateBase(a, b, c), point_);
        if (!(found2 < distance2_ || (found2 == distance2_ && triangle < best_.triangle)))
            return;
        distance2_ = found2;
        static_cast<MeshCoordBase&>(best_) = coord;
        best_.triangle = triangle;
        limit2_ = square(distance() + margin_);
    }

    Point position(int vertex) const {
        return {vertices_[vertex].x, vertices_[vertex].y, vertices_[vertex].z};
    }

    const MeshVertex* vertices_;
    const MeshTriangle* triangles_;
    const OctreeTris& tris_;
    Point point_;
    Double2 pointXy_;
    double margin_;
    const TreeNode* home_ = nullptr; // the leaf looked at first

    MeshCoord best_;
    double distance2_ = kInfinity;
    // What is farther away than these cannot hold anything closer.
    double limit2_ = kInfinity;
};

} // namespace

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
    ClosestPointSearch search(*mesh_, *tris_, meshScale_, point);
    search.run(octree_->getRoot());
    out = search.best();
    return search.distance();
}

} // namespace qvGeom
