#include "qvGeom/spatial/detail/RayTree.h"

#include <algorithm>
#include <cmath>

#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/Octree.h"
#include "qvGeom/foundation/geometry/OctreeTris.h"
#include "qvGeom/spatial/GeomOctree.h"
#include "qvGeom/spatial/detail/OctreeWalk.h"

namespace qvGeom::detail {
namespace {

using qvLinear::widen;

constexpr std::size_t kTrianglesPerGroup = 4;
constexpr std::size_t kGroupsPerBundle = 8;

/// Of the tree's largest coordinate. Covers the rounding of the partition and of the boxes.
constexpr double kMargin = 1e-4;

/// A hit is off by less than 1e-8 of the largest coordinate, times the direction's length, times
/// the square of the longest edge: that is what rounding makes of the smallest determinant, 1e-6.
constexpr double kMostReachTimesEdge = kMargin / 1e-8;

constexpr double kFirstReach = 16.0;

/// Beyond this and its inverse, floats may overflow or lose digits on the way.
constexpr double kLargestScale = 1e15;

/// Triangles that are no numbers lie at 0, so that there is an order.
float orZero(float value) { return std::isnan(value) ? 0.0F : value; }

int longestAxis(const BoundingBox& box) {
    int longest = 0;
    for (int axis = 1; axis < 3; ++axis) {
        if (box.max[axis] - box.min[axis] > box.max[longest] - box.min[longest])
            longest = axis;
    }
    return longest;
}

/// The square of the longest edge.
double edge2Of(const MeshVertex* vertices, const MeshTriangle& t) {
    double longest = 0.0;
    for (int k = 0; k < 3; ++k) {
        const auto edge = widen(vertices[t[(k + 1) % 3]]) - widen(vertices[t[k]]);
        longest = std::max(longest, edge.length2());
    }
    return longest;
}

/// The largest coordinate of a tree that boxes can be made for, or infinity.
double largestCoordinate(const Octree& octree, const CompactMesh& mesh) {
    const BoundingBox box = octree.getRoot().box;
    BoundingBox extent = box;
    for (int v = 0; v < mesh.getNumVertices(); ++v)
        extent.extend(mesh.getVertices()[v]);
    double largest = 0.0;
    for (int axis = 0; axis < 3; ++axis) {
        if (extent.min[axis] < box.min[axis] || extent.max[axis] > box.max[axis])
            return std::numeric_limits<double>::infinity();
        largest =
            std::max({largest, std::abs(widen(box.min[axis])), std::abs(widen(box.max[axis]))});
    }
    return largest;
}

BoundingBox grown(BoundingBox box, float margin) {
    for (int axis = 0; axis < 3; ++axis) {
        box.min[axis] -= margin;
        box.max[axis] += margin;
    }
    return box;
}

BoundingBox common(BoundingBox a, const BoundingBox& b) {
    for (int axis = 0; axis < 3; ++axis) {
        a.min[axis] = std::max(a.min[axis], b.min[axis]);
        a.max[axis] = std::min(a.max[axis], b.max[axis]);
    }
    return a;
}

} // namespace

EightBoxes::EightBoxes() {
    for (int axis = 0; axis < 3; ++axis) {
        std::fill_n(side[axis], 8, kInfinity);
        std::fill_n(side[axis + 3], 8, -kInfinity);
    }
}

void EightBoxes::set(int lane, const BoundingBox& box) {
    for (int axis = 0; axis < 3; ++axis) {
        side[axis][lane] = box.isValid() ? box.min[axis] : kInfinity;
        side[axis + 3][lane] = box.isValid() ? box.max[axis] : -kInfinity;
    }
}

BoundingBox EightBoxes::extent() const {
    BoundingBox box;
    for (int axis = 0; axis < 3; ++axis) {
        box.min[axis] = *std::min_element(side[axis], side[axis] + 8);
        box.max[axis] = *std::max_element(side[axis + 3], side[axis + 3] + 8);
    }
    return box;
}

RayTree::RayTree(const Octree& octree, const OctreeTris& tris, const CompactMesh& mesh)
    : octree_(octree),
      tris_(tris),
      vertices_(mesh.getVertices()),
      triangles_(mesh.getTriangles()),
      largest_(largestCoordinate(octree, mesh)),
      margin_(qvLinear::narrow(kMargin * std::min(largest_, kLargestScale))),
      reach_(kFirstReach),
      wideEdge_(kMostReachTimesEdge / kFirstReach),
      stack_(static_cast<std::size_t>(8 * octree.getDepth())) {
    restart();
}

void RayTree::restart() {
    nodes_.assign(1, Node{});
    nodes_[0].child[0] = kUnopened;
    const OctreeIterator root = octree_.getRoot();
    if (octree_.getNumVoxels() > 0 && holdsTriangles(root.node))
        nodes_[0].boxes.set(0, grown(root.box, margin_));
    places_.assign(1, NodePlace());
    places_[0].children[0] = root;
    bundles_.clear();
    groups_.clear();
}

bool RayTree::prepare(const qvLinear::PointFlt& origin, const qvLinear::Vector& direction) {
    const double length = maxNorm(direction);
    const double away = maxNorm(widen(origin) - qvLinear::Point{});
    if (!(length >= 1.0 / kLargestScale && length <= kLargestScale && away <= kLargestScale &&
          largest_ <= kLargestScale))
        return false;
    const double reach = 2.0 * length * std::max(largest_, away); // of a tree of size 1, but scaled
    if (reach > reach_ * largest_) {
        reach_ = 2.0 * reach / largest_;
        wideEdge_ = kMostReachTimesEdge / reach_;
        restart();
    }
    return true;
}

int RayTree::open(int slot) {
    const OctreeIterator place = places_[slot >> 3].children[slot & 7];
    const int child = place.isLeaf() ? ~copyLeaf(place, slot) : openNode(place, slot);
    nodes_[slot >> 3].child[slot & 7] = child;
    return child;
}

/// Sets the box of a child, and draws those of all nodes above around what is in them.
void RayTree::setBox(int slot, const BoundingBox& box) {
    nodes_[slot >> 3].boxes.set(slot & 7, box);
    for (int node = slot >> 3; node != 0; node = places_[node].slot >> 3) {
        const int above = places_[node].slot;
        nodes_[above >> 3].boxes.set(above & 7, nodes_[node].boxes.extent());
    }
}

/// Puts the children that hold triangles at `children` and returns their number.
int RayTree::addChildren(const OctreeIterator& place, OctreeIterator* children) const {
    int count = 0;
    for (int k = 0; k < 8; ++k) {
        OctreeIterator child = place;
        if (child.descend(k) && holdsTriangles(child.node))
            children[count++] = child;
    }
    return count;
}

/// A surface goes through four children or so of eight. Children are replaced by theirs while these
/// find room, the earliest first: they are the largest.
int RayTree::openNode(const OctreeIterator& place, int slot) {
    std::array<OctreeIterator, 16> children;
    int count = addChildren(place, children.data());
    for (int i = 0; i < count && count < 8;) {
        OctreeIterator below[8];
        const int more = children[i].isLeaf() ? 8 : addChildren(children[i], below);
        if (count + more - 1 <= 8) {
            std::copy(children.begin() + i + 1, children.begin() + count, children.begin() + i);
            std::copy_n(below, more, children.begin() + count - 1);
            count += more - 1;
        } else {
            ++i;
        }
    }
    Node node{};
    BoundingBox extent;
    for (int k = 0; k < count; ++k) {
        const BoundingBox box = grown(children[k].box, margin_);
        node.child[k] = kUnopened;
        node.boxes.set(k, box);
        extent.extend(box);
    }
    const std::size_t index = nodes_.size();
    places_.resize(index + 1); // before, so that running out of memory leaves no node without
    places_[index].slot = slot;
    std::copy_n(children.begin(), count, places_[index].children);
    nodes_.push_back(node);
    setBox(slot, extent);
    return static_cast<int>(index);
}

/// The leaves of a node have numbers in a row.
bool RayTree::holdsTriangles(const TreeNode* node) const {
    const TreeNode* first = node;
    const TreeNode* last = node;
    while (!first->isLeaf()) {
        int k = 0;
        while (!first->child(k))
            ++k;
        first = first->child(k);
    }
    while (!last->isLeaf()) {
        int k = 7;
        while (!last->child(k))
            --k;
        last = last->child(k);
    }
    const int end = std::min(last->leafIndex() + 1, tris_.numSets());
    return first->leafIndex() < end && tris_.begin(first->leafIndex()) < tris_.end(end - 1);
}

int RayTree::copyLeaf(const OctreeIterator& place, int slot) {
    const int index = place.node->leafIndex();
    const int* const begin = tris_.begin(index);
    const int* const end = tris_.end(index);
    sorted_.clear();
    for (const int* t = begin; t < end; ++t)
        sorted_.push_back(placed(*t));
    sortByPlace(sorted_.data(), sorted_.data() + sorted_.size());
    const bool wide = !std::all_of(
        begin, end, [this](int t) { return edge2Of(vertices_, triangles_[t]) <= wideEdge_; });
    const BoundingBox cut = grown(place.box, margin_);
    BoundingBox extent;
    const int firstBundle = static_cast<int>(bundles_.size());
    for (std::size_t i = 0; i < sorted_.size(); i += kTrianglesPerGroup) {
        const std::size_t lane = i / kTrianglesPerGroup % kGroupsPerBundle;
        if (lane == 0)
            bundles_.push_back({EightBoxes(), place.box, static_cast<int>(groups_.size()), 0});
        BoundingBox box;
        fillGroup(groups_.emplace_back(), i, box);
        box = common(grown(box, margin_), cut);
        if (wide)
            box = grown(cut, kInfinity);
        else if (box.isValid())
            extent.extend(box);
        bundles_.back().boxes.set(static_cast<int>(lane), box);
    }
    setBox(slot, wide ? cut : extent);
    bundles_.back().isLast = 1;
    return firstBundle;
}

RayTree::PlacedTriangle RayTree::placed(int triangle) const {
    PlacedTriangle result{triangle, {}};
    for (const int v : triangles_[triangle].v) {
        result.place[0] += vertices_[v].x;
        result.place[1] += vertices_[v].y;
        result.place[2] += vertices_[v].z;
    }
    std::transform(result.place, result.place + 3, result.place, orZero);
    return result;
}

/// Cuts the triangles in two across the longest side of the box around their places, and the
/// halves again, until each is a group.
void RayTree::sortByPlace(PlacedTriangle* begin, PlacedTriangle* end) {
    const auto count = static_cast<std::size_t>(end - begin);
    if (count <= kTrianglesPerGroup)
        return;
    BoundingBox range;
    for (const PlacedTriangle* t = begin; t < end; ++t)
        range.extend({t->place[0], t->place[1], t->place[2]});
    const int axis = longestAxis(range);
    // All but the last are to be full: groups, and bundles where there are several.
    const std::size_t unit = count > kTrianglesPerGroup * kGroupsPerBundle
                                 ? kTrianglesPerGroup * kGroupsPerBundle
                                 : kTrianglesPerGroup;
    const std::size_t half = (count / 2 + unit - 1) / unit * unit;
    PlacedTriangle* const middle = begin + half;
    std::nth_element(begin, middle, end, [axis](const PlacedTriangle& a, const PlacedTriangle& b) {
        return a.place[axis] < b.place[axis];
    });
    sortByPlace(begin, middle);
    sortByPlace(middle, end);
}

void RayTree::fillGroup(TriangleGroup& group, std::size_t first, BoundingBox& box) const {
    for (std::size_t lane = 0; lane < kTrianglesPerGroup; ++lane) {
        const std::size_t i = first + lane;
        group.triangle[lane] = i < sorted_.size() ? sorted_[i].triangle : -1;
        for (int corner = 0; corner < 3; ++corner) {
            MeshVertex v{0.0F, 0.0F, 0.0F};
            if (i < sorted_.size()) {
                v = vertices_[triangles_[sorted_[i].triangle][corner]];
                box.extend(v);
            }
            group.corner[corner][0][lane] = v.x;
            group.corner[corner][1][lane] = v.y;
            group.corner[corner][2][lane] = v.z;
        }
    }
}

} // namespace qvGeom::detail
