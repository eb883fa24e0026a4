#include <algorithm>
#include <bit>
#include <cstddef>
#include <map>
#include <numeric>
#include <optional>
#include <span>
#include <vector>

#include "qvGeom/foundation/base/Diagnostics.h"
#include "qvGeom/foundation/base/StopWatch.h"
#include "qvGeom/foundation/base/ThreadPool.h"
#include "qvGeom/foundation/base/ThreadedAlg.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/Octree.h"
#include "qvGeom/foundation/geometry/OctreeLines.h"
#include "qvGeom/foundation/geometry/OctreeTris.h"
#include "qvGeom/foundation/linear/Linear.h"
#include "qvGeom/spatial/GeomOctree.h"
#include "qvGeom/spatial/GeomOctreeIterators.h"
#include "qvGeom/spatial/detail/OctreeWalk.h"

namespace qvGeom {
namespace {

using qvLinear::PointFlt;

/// A tree is cut into about this many branches, never of the number of threads.
constexpr int kBranches = 64;
/// A branch of fewer voxels is not worth a chunk of its own.
constexpr int kMinBranchVoxels = 32;
/// Elements sent down the top of the tree at once: few enough to stay in the cache.
constexpr int kBlock = 4096;

/// Whether the inside of `outer` holds all of `inner`; the invalid box is inside nothing.
bool holdsStrictly(const BoundingBox& outer, const BoundingBox& inner) {
    return inner.isValid() && outer.min[0] < inner.min[0] && inner.max[0] < outer.max[0] && //
           outer.min[1] < inner.min[1] && inner.max[1] < outer.max[1] &&                    //
           outer.min[2] < inner.min[2] && inner.max[2] < outer.max[2];
}

bool holds(const BoundingBox& outer, const BoundingBox& inner) {
    return outer.contains(inner.minPt()) && outer.contains(inner.maxPt());
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
        for (const int v : triangles_[triangle].v)
            box.extend(vertices_[v]);
        return box;
    }

    bool meets(const BoundingBox& box, int triangle) const {
        const MeshTriangle& t = triangles_[triangle];
        const PointFlt p0 = vertices_[t[0]];
        const PointFlt p1 = vertices_[t[1]];
        const PointFlt p2 = vertices_[t[2]];
        // The test cannot come out otherwise with a corner inside, which is most often so.
        return box.contains(p0) || box.contains(p1) || box.contains(p2) ||
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
    PointFlt start(int line) const { return vertices_[ends_[2 * line]]; }

    PointFlt end(int line) const { return vertices_[ends_[2 * line + 1]]; }

    const MeshVertex* vertices_;
    const int* ends_;
    int count_;
};

/// An element on its way down the tree.
struct Item {
    BoundingBox box;
    int element = 0;
};

/// Sends items down a tree, all those at a node at once, in their order.
class Distributor {
public:
    /// Calls `arrive` with every node below `node` that items meet, and with these. Where it
    /// returns true they stay; where it returns false they go on to the children they meet. All
    /// items meet `node`.
    template <class Arrive>
    void distribute(const OctreeIterator& node, std::span<const Item> items, const Arrive& arrive,
                    std::size_t level = 0) {
        if (items.empty() || arrive(node, items))
            return;
        std::size_t starts[9];
        split(node, items, level, starts);
        for (int k = 0; k < 8; ++k) {
            OctreeIterator child = node;
            if (starts[k] < starts[k + 1] && child.descend(k)) {
                const Item* const below = lists_[level].data();
                distribute(child, {below + starts[k], below + starts[k + 1]}, arrive, level + 1);
            }
        }
    }

private:
    /// Writes the items of each child, one child's after the other's.
    void split(const OctreeIterator& node, std::span<const Item> items, std::size_t level,
               std::size_t* starts) {
        if (children_.size() < items.size())
            children_.resize(items.size());
        std::size_t counts[8] = {};
        for (std::size_t i = 0; i < items.size(); ++i) {
            const unsigned children = detail::childrenMeeting(node, items[i].box);
            children_[i] = static_cast<unsigned char>(children);
            for (unsigned rest = children; rest != 0; rest &= rest - 1)
                ++counts[std::countr_zero(rest)];
        }
        std::size_t next[8];
        starts[0] = 0;
        for (int k = 0; k < 8; ++k) {
            next[k] = starts[k];
            starts[k + 1] = starts[k] + counts[k];
        }
        if (lists_.size() <= level)
            lists_.resize(level + 1);
        if (lists_[level].size() < starts[8])
            lists_[level].resize(starts[8]);
        Item* const below = lists_[level].data();
        for (std::size_t i = 0; i < items.size(); ++i) {
            for (unsigned rest = children_[i]; rest != 0; rest &= rest - 1)
                below[next[std::countr_zero(rest)]++] = items[i];
        }
    }

    std::vector<unsigned char> children_;  // of the node being split, for each item
    std::vector<std::vector<Item>> lists_; // of the children of the node on each level
};

/// A subtree whose voxels one chunk fills.
struct Branch {
    OctreeIterator node;
    qvUtil::IndexRange voxels;
    std::vector<int> members; // of all its voxels, one's after the other's
};

/// The subtrees that make up a tree, depth first.
class Branches {
public:
    explicit Branches(const Octree& octree)
        : maxVoxels_(std::max(octree.getNumVoxels() / kBranches, kMinBranchVoxels)) {
        add(octree.getRoot());
    }

    int size() const { return static_cast<int>(branches_.size()); }

    Branch& operator[](int branch) { return branches_[branch]; }

    /// Which branch begins at the node, or -1.
    int find(const OctreeIterator& node) const {
        const auto found = indices_.find(node.node);
        return found == indices_.end() ? -1 : found->second;
    }

private:
    static qvUtil::IndexRange voxelsOf(const OctreeIterator& node) {
        OctreeIterator first = node;
        while (!first.isLeaf()) {
            for (int k = 0; !first.descend(k);)
                ++k;
        }
        OctreeIterator last = node;
        while (!last.isLeaf()) {
            for (int k = 7; !last.descend(k);)
                --k;
        }
        return {.first = first.leafIndex(), .last = last.leafIndex() + 1};
    }

    void add(const OctreeIterator& node) {
        const qvUtil::IndexRange voxels = voxelsOf(node);
        if (voxels.size() <= maxVoxels_) {
            indices_.emplace(node.node, size());
            branches_.push_back({node, voxels, {}});
            return;
        }
        for (int k = 0; k < 8; ++k) {
            OctreeIterator child = node;
            if (child.descend(k))
                add(child);
        }
    }

    int maxVoxels_;
    std::vector<Branch> branches_;
    std::map<const TreeNode*, int> indices_;
};

/// Finds the branches that each element meets, block by block.
template <class Elements>
class GatherAlg final : public qvUtil::ThreadedAlg {
public:
    GatherAlg(const Octree& octree, const Elements& elements, const Branches& branches)
        : root_(octree.getRoot()),
          elements_(elements),
          branches_(branches) {}

    void initialize(int numThreads) override { found_.resize(numThreads); }

    void threadFunc(int thread, int numThreads) override {
        std::vector<std::vector<int>> found(branches_.size());
        const auto arrive = [&](const OctreeIterator& node, std::span<const Item> items) {
            const int branch = branches_.find(node);
            if (branch < 0)
                return false;
            for (const Item& item : items)
                found[branch].push_back(item.element);
            return true;
        };
        const qvUtil::IndexRange slice = qvUtil::sliceOf(elements_.count(), thread, numThreads);
        Distributor distributor;
        std::vector<Item> block;
        for (int first = slice.first; first < slice.last; first += kBlock) {
            block.clear();
            for (int e = first; e < std::min(first + kBlock, slice.last); ++e) {
                const BoundingBox box = elements_.boxOf(e);
                if (root_.box.intersects(box))
                    block.push_back({box, e});
            }
            distributor.distribute(root_, block, arrive);
        }
        found_[thread].swap(found);
    }

    /// Moves the elements that meet a branch to `items`, in their order.
    void take(int branch, std::vector<Item>& items) {
        for (std::vector<std::vector<int>>& ofThread : found_) {
            for (const int e : ofThread[branch])
                items.push_back({elements_.boxOf(e), e});
            std::vector<int>().swap(ofThread[branch]);
        }
    }

private:
    OctreeIterator root_;
    const Elements& elements_;
    const Branches& branches_;
    std::vector<std::vector<std::vector<int>>> found_; // by thread and branch
};

/// Fills the voxels of each branch, and writes how much each holds to `sizes`.
template <class Elements>
class FillAlg final : public qvUtil::ThreadedChunkAlg {
public:
    FillAlg(GatherAlg<Elements>& gathered, const Elements& elements, Branches& branches, int* sizes)
        : ThreadedChunkAlg(branches.size()),
          gathered_(gathered),
          elements_(elements),
          branches_(branches),
          sizes_(sizes) {}

    void threadFunc(int chunk, int, int) override {
        std::vector<Item> items;
        gathered_.take(chunk, items);
        std::vector<int>& members = branches_[chunk].members;
        members.reserve(2 * items.size());
        const auto arrive = [&](const OctreeIterator& node, std::span<const Item> atNode) {
            if (!node.isLeaf())
                return false;
            const std::size_t before = members.size();
            for (const Item& item : atNode) {
                // The exact test cannot come out otherwise for what is inside, as most is.
                if (holds(node.box, item.box) || elements_.meets(node.box, item.element))
                    members.push_back(item.element);
            }
            sizes_[node.leafIndex()] = static_cast<int>(members.size() - before);
            return true;
        };
        Distributor().distribute(branches_[chunk].node, items, arrive);
    }

private:
    GatherAlg<Elements>& gathered_;
    const Elements& elements_;
    Branches& branches_;
    int* sizes_;
};

/// Puts the members of all branches into one list.
class JoinAlg final : public qvUtil::ThreadedChunkAlg {
public:
    JoinAlg(Branches& branches, ArrayOfSets& sets)
        : ThreadedChunkAlg(branches.size()),
          branches_(branches),
          sets_(sets) {}

    void threadFunc(int chunk, int, int) override {
        const Branch& branch = branches_[chunk];
        std::copy(branch.members.begin(), branch.members.end(),
                  sets_.list() + sets_.offsets()[branch.voxels.first]);
    }

private:
    Branches& branches_;
    ArrayOfSets& sets_;
};

/// Replaces `sets` by the elements in every voxel, ascending.
template <class Elements>
void partition(const Octree& octree, const Elements& elements, ArrayOfSets& sets) {
    qvUtil::ThreadPool& pool = qvUtil::ThreadPool::get();
    Branches branches(octree);
    GatherAlg<Elements> gather(octree, elements, branches);
    pool.run(gather);
    std::vector<int> sizes(octree.getNumVoxels());
    FillAlg<Elements> fill(gather, elements, branches, sizes.data());
    pool.run(fill);

    ArrayOfSets built(octree.getNumVoxels(), std::accumulate(sizes.begin(), sizes.end(), 0));
    std::exclusive_scan(sizes.begin(), sizes.end(), built.offsets(), 0);
    JoinAlg join(branches, built);
    pool.run(join);
    sets.swap(built);
}

/// Counts the elements that lie inside the voxel which a walk over the elements, one after the
/// other, has looked at last: how well their order follows space.
template <class Elements>
class CoherenceAlg final : public qvUtil::ThreadedAlg {
public:
    CoherenceAlg(const Octree& octree, const Elements& elements)
        : octree_(octree),
          elements_(elements) {}

    void initialize(int numThreads) override { counts_.resize(numThreads); }

    void threadFunc(int thread, int numThreads) override {
        OctreeBBoxIntersectIt walk(octree_);
        OctreeIterator last;
        int count = 0;
        for (const int e : qvUtil::sliceOf(elements_.count(), thread, numThreads)) {
            const BoundingBox box = elements_.boxOf(e);
            if (holdsStrictly(last.box, box)) {
                ++count;
            } else {
                for (walk.reset(box); walk.valid(); walk.next())
                    last = walk.get();
            }
        }
        counts_[thread] = count;
    }

    int total() const { return std::accumulate(counts_.begin(), counts_.end(), 0); }

private:
    const Octree& octree_;
    const Elements& elements_;
    std::vector<int> counts_; // by thread
};

/// In single precision, printed as it is.
double ratio(double a, double b) {
    return qvLinear::widen(qvLinear::narrow(a) / qvLinear::narrow(b));
}

/// What is printed of a partition, in the order of the text.
struct Report {
    int numElements;
    int numVoxels;
    double seconds;
    double coherence;
    double duplication;
    double rate;
};

/// Made on demand: the coherence takes as long as the partition.
template <class Elements>
Report reportOn(const Octree& octree, const Elements& elements, const ArrayOfSets& sets,
                double seconds) {
    CoherenceAlg<Elements> coherence(octree, elements);
    qvUtil::ThreadPool::get().run(coherence);
    return {.numElements = elements.count(),
            .numVoxels = octree.getNumVoxels(),
            .seconds = seconds,
            .coherence = ratio(coherence.total(), elements.count()),
            .duplication = ratio(sets.numMembers(), elements.count()),
            .rate = ratio(elements.count(), seconds)};
}

/// Replaces `result` by the elements in every voxel; leaves it where there is none. Gives what
/// there is to print, where somebody listens.
template <class Elements, class Table>
std::optional<Report> partitionAll(const Octree& octree, const Elements& elements, Table& result) {
    qvOS::StopWatch watch;
    watch.start();
    if (octree.getNumVoxels() < 1)
        return std::nullopt;

    ArrayOfSets sets;
    partition(octree, elements, sets);
    Table(sets).swap(result);

    if (!debugChannel().enabled())
        return std::nullopt;
    return reportOn(octree, elements, result, watch.stop());
}

} // namespace

void computeOctreeTris(const CompactMesh& mesh, const Octree& octree, OctreeTris& result) {
    if (const std::optional<Report> r = partitionAll(octree, Triangles(mesh), result)) {
        debugChannel().print(
            "OctreeTris:  Partitioned %d triangles into %d voxels in %.3f seconds.\n"
            "             (%.2f coherence, %.2f voxels/tri, %.0f tri/sec)\n",
            r->numElements, r->numVoxels, r->seconds, r->coherence, r->duplication, r->rate);
    }
}

void meshOctreeLines(const CompactMesh& mesh, const Octree& octree, OctreeLines& result) {
    if (const std::optional<Report> r = partitionAll(octree, Lines(mesh), result)) {
        // Kept: the rate is that of lines.
        debugChannel().print("OctreeLines:  Partitioned %d lines into %d voxels in %.3f seconds.\n"
                             "             (%.2f coherence, %.2f duplication, %.0f tri/sec)\n",
                             r->numElements, r->numVoxels, r->seconds, r->coherence, r->duplication,
                             r->rate);
    }
}

} // namespace qvGeom
