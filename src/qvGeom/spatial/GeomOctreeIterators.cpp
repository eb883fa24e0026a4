#include "qvGeom/spatial/GeomOctreeIterators.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "qvGeom/foundation/base/Reference.h"
#include "qvGeom/foundation/geometry/Frustum.h"
#include "qvGeom/foundation/geometry/Octree.h"
#include "qvGeom/foundation/geometry/Quadtree.h"
#include "qvGeom/foundation/geometry/Ray.h"
#include "qvGeom/foundation/geometry/Sphere.h"
#include "qvGeom/foundation/linear/Linear.h"
#include "qvGeom/spatial/GeomOctree.h"
#include "qvGeom/spatial/detail/OctreeWalk.h"

namespace qvGeom {
namespace {

using qvLinear::Vector;

/// The direction along which a walk goes front to back.
Vector directionOf(const Frustum& frustum) { return frustum.getVector(); }

Vector directionOf(const Ray& ray) { return ray.direction; }

Vector directionOf(const BoundingBox&) { return qvLinear::Normal::x; }

Vector directionOf(const Sphere&) { return qvLinear::Normal::x; }

bool meets(const BoundingBox& box, const BoundingBox& query) { return box.intersects(query); }

bool meets(const BoundingBox& box, const Ray& ray) { return detail::meets(box, ray); }

template <class Query>
bool meets(const BoundingBox& box, const Query& query) {
    return intersects(box, query);
}

/// One bit for each child that exists and that the query meets, given that it meets the parent.
template <class Query>
unsigned childrenMeeting(const OctreeIterator& parent, const Query& query) {
    unsigned children = 0;
    for (int k = 0; k < 8; ++k) {
        OctreeIterator child = parent;
        if (child.descend(k) && meets(child.box, query))
            children |= 1U << k;
    }
    return children;
}

unsigned childrenMeeting(const OctreeIterator& parent, const BoundingBox& box) {
    return detail::childrenMeeting(parent, box);
}

unsigned childrenMeeting(const OctreeIterator& parent, const Ray& ray) {
    return detail::childrenMeeting(parent, ray);
}

} // namespace

template <class Query>
class OctreeIntersectBase : public detail::LeafWalk<OctreeIntersectBase<Query>> {
public:
    using detail::LeafWalk<OctreeIntersectBase>::LeafWalk;

    void reset(const Query& query) {
        query_ = &query;
        this->start(directionOf(query));
    }

    void reset(Query&& query) { reset(kept_.emplace(query)); }

    bool meetsBox(const BoundingBox& box) const { return meets(box, *query_); }

    unsigned childrenToVisit(const OctreeIterator& parent) const {
        return childrenMeeting(parent, *query_);
    }

private:
    std::optional<Query> kept_; // a temporary
    const Query* query_ = nullptr;
};

template <class Query>
OctreeQueryIt<Query>::OctreeQueryIt(const Octree& octree)
    : walk_(std::make_unique<OctreeIntersectBase<Query>>(octree)) {}

template <class Query>
OctreeQueryIt<Query>::OctreeQueryIt(const Octree& octree, const Query& query)
    : OctreeQueryIt(octree) {
    reset(query);
}

template <class Query>
OctreeQueryIt<Query>::OctreeQueryIt(const Octree& octree, Query&& query) : OctreeQueryIt(octree) {
    reset(std::move(query));
}

template <class Query>
OctreeQueryIt<Query>::~OctreeQueryIt() = default;

template <class Query>
void OctreeQueryIt<Query>::reset(const Query& query) {
    walk_->reset(query);
}

template <class Query>
void OctreeQueryIt<Query>::reset(Query&& query) {
    walk_->reset(std::move(query));
}

template <class Query>
bool OctreeQueryIt<Query>::valid() const {
    return walk_->valid();
}

template <class Query>
OctreeIterator OctreeQueryIt<Query>::get() const {
    return walk_->top();
}

template <class Query>
void OctreeQueryIt<Query>::next() {
    walk_->next();
}

template class OctreeQueryIt<Frustum>;
template class OctreeQueryIt<BoundingBox>;
template class OctreeQueryIt<Sphere>;
template class OctreeQueryIt<Ray>;

OctreeLeafIterator::OctreeLeafIterator(const Octree& octree) { reset(octree); }

void OctreeLeafIterator::reset(const Octree& octree) {
    stack_.clear();
    stack_.reserve(static_cast<std::size_t>(octree.getDepth()));
    stack_.push_back(octree.getRoot());
    if (!stack_.back().isLeaf())
        next();
}

void OctreeLeafIterator::next() {
    if (stack_.back().isLeaf())
        stack_.pop_back();
    while (!stack_.empty() && !stack_.back().isLeaf()) {
        const OctreeIterator parent = stack_.back();
        stack_.pop_back();
        for (int k = 0; k < 8; ++k) {
            OctreeIterator child = parent;
            if (child.descend(k))
                stack_.push_back(child);
        }
    }
}

namespace {

/// An entry of the best-first walk.
struct OctreeIteratorDistance {
    double distance2;
    OctreeIterator node;
};

/// Puts the nearest on top of a heap.
bool isFarther(const OctreeIteratorDistance& a, const OctreeIteratorDistance& b) {
    return a.distance2 > b.distance2;
}

} // namespace

/// A best-first walk: a heap of nodes met and not yet gone into. Between calls its top is a leaf.
class OctreeClosestIt::Impl final : public qv::ImplBase {
public:
    void reset(const Octree& octree, const qvLinear::Point& point) {
        point_ = qvLinear::narrow(point);
        heap_.clear();
        const OctreeIterator root = octree.getRoot();
        heap_.push_back({root.box.distance2(point_), root});
        findLeaf();
    }

    bool valid() const { return !heap_.empty(); }

    const OctreeIteratorDistance& top() const { return heap_.front(); }

    void next() {
        pop();
        findLeaf();
    }

private:
    void findLeaf() {
        while (!heap_.empty() && !top().node.isLeaf()) {
            const OctreeIterator parent = top().node;
            pop();
            for (int k = 0; k < 8; ++k) {
                OctreeIterator child = parent;
                if (!child.descend(k))
                    continue;
                heap_.push_back({child.box.distance2(point_), child});
                std::push_heap(heap_.begin(), heap_.end(), isFarther);
            }
        }
    }

    void pop() {
        std::pop_heap(heap_.begin(), heap_.end(), isFarther);
        heap_.pop_back();
    }

    qvLinear::PointFlt point_{};
    std::vector<OctreeIteratorDistance> heap_;
};

OctreeClosestIt::OctreeClosestIt() = default;

OctreeClosestIt::OctreeClosestIt(const Octree& octree, const qvLinear::Point& point) {
    reset(octree, point);
}

OctreeClosestIt::~OctreeClosestIt() = default;

void OctreeClosestIt::reset(const Octree& octree, const qvLinear::Point& point) {
    if (!impl_)
        impl_ = std::make_unique<Impl>();
    impl_->reset(octree, point);
}

bool OctreeClosestIt::valid() const { return impl_->valid(); }

OctreeIterator OctreeClosestIt::get() const { return impl_->top().node; }

double OctreeClosestIt::getDistance2() const { return impl_->top().distance2; }

void OctreeClosestIt::next() { impl_->next(); }

QuadtreeIntersectIt::QuadtreeIntersectIt() = default;

QuadtreeIntersectIt::QuadtreeIntersectIt(const Quadtree& quadtree, const BoundingBox& box) {
    reset(quadtree, box);
}

QuadtreeIntersectIt::QuadtreeIntersectIt(const Quadtree& quadtree, BoundingBox&& box) : kept_(box) {
    reset(quadtree, kept_);
}

QuadtreeIntersectIt::~QuadtreeIntersectIt() = default;

void QuadtreeIntersectIt::reset(const Quadtree& quadtree, const BoundingBox& box) {
    box_ = &box;
    level_ = -1;
    const QuadtreeIterator root = quadtree.getRoot();
    if (!root.box.intersects2D(box))
        return;
    frames_.resize(static_cast<std::size_t>(quadtree.getDepth()));
    level_ = 0;
    frames_[0] = {.node = root, .child = -1};
    if (!root.isLeaf())
        next();
}

void QuadtreeIntersectIt::reset(const Quadtree& quadtree, BoundingBox&& box) {
    kept_ = box;
    reset(quadtree, kept_);
}

QuadtreeIterator QuadtreeIntersectIt::get() const { return frames_[level_].node; }

void QuadtreeIntersectIt::next() {
    while (level_ >= 0) {
        Frame& frame = frames_[level_];
        if (++frame.child == 4) {
            --level_;
            continue;
        }
        QuadtreeIterator child = frame.node;
        if (!child.descend(frame.child) || !child.box.intersects2D(*box_))
            continue;
        frames_[++level_] = {.node = child, .child = -1};
        if (child.isLeaf())
            return;
    }
}

} // namespace qvGeom
