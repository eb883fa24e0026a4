#include "qvGeom/foundation/geometry/detail/TreeBuilder.h"

#include <algorithm>
#include <cfloat>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>

#include "qvGeom/foundation/base/ThreadPool.h"
#include "qvGeom/foundation/base/ThreadedAlg.h"

namespace qvGeom::detail {
namespace {

/// Subtrees over fewer points than this are not worth a chunk of their own.
constexpr int kMinChunkPoints = 4096;
/// The tree is cut into about this many chunks: enough to even out any number of threads, and
/// never of their number, on which the tree must not depend.
constexpr int kChunks = 64;

/// A node to be built: its box, and the points in it.
struct Cell {
    BoundingBox box;
    int count;
    int level; // the root's is 1
    const float* points;
    // Two stretches as long as the points, to move them to and fro. The points lie in the second,
    // or still in the caller's array.
    float* spare;
    float* other;
    std::uint8_t* codes;
};

/// The subtree over one cell. Node 0 stands for the cell itself.
template <int Axes>
class Subtree {
public:
    static constexpr int kChildren = 1 << Axes;

    explicit Subtree(const TreeOptions& options)
        : options_(options),
          maxPoints_(std::max(options.maxPointsPerLeaf, 1)) {
        tree_.nodes.resize(1);
    }

    /// Grows the whole subtree below node `at`.
    void grow(int at, const Cell& cell) {
        growUntil(at, cell, [](int, const Cell&) { return false; });
    }

    /// The same, but leaves out what lies below the cells that `takesOver` returns true for.
    template <class TakesOver>
    void growUntil(int at, const Cell& cell, const TakesOver& takesOver) {
        tree_.depth = std::max(tree_.depth, cell.level);
        if (takesOver(at, cell))
            return;
        if (isLeaf(cell)) {
            tree_.nodes[at].link = ~tree_.numLeaves++;
            return;
        }
        Cell children[kChildren];
        split(cell, children);
        const int first = static_cast<int>(tree_.nodes.size());
        tree_.nodes.resize(tree_.nodes.size() + kChildren);
        tree_.nodes[at].link = first - at;
        for (int child = 0; child < kChildren; ++child) {
            if (exists(cell.box, child, children[child].count))
                growUntil(first + child, children[child], takesOver);
        }
    }

    bool isLeaf(const Cell& cell) const {
        return cell.count <= maxPoints_ || cell.level >= BoxTree::kMaxDepth || !canBeCut(cell.box);
    }

    const BoxTree& tree() const { return tree_; }

    BoxTree& tree() { return tree_; }

private:
    static bool isFlat(const BoundingBox& box, int axis) { return box.min[axis] == box.max[axis]; }

    /// Not without extent, nor so far out that a middle is infinite.
    static bool canBeCut(const BoundingBox& box) {
        bool hasExtent = false;
        for (int axis = 0; axis < Axes; ++axis) {
            const float middle = box.middle(axis);
            if (middle < box.min[axis] || middle > box.max[axis])
                return false;
            hasExtent = hasExtent || !isFlat(box, axis);
        }
        return hasExtent;
    }

    bool exists(const BoundingBox& box, int child, int count) const {
        for (int axis = 0; axis < Axes; ++axis) {
            if (!(child >> axis & 1) && isFlat(box, axis))
                return false; // the upper child has the same box
        }
        return count > 0 || options_.emptyChildren == EmptyChildren::Keep;
    }

    /// Writes which child each point belongs to, and counts the points of each.
    static void classify(const Cell& cell, int* counts) {
        float middle[Axes];
        for (int axis = 0; axis < Axes; ++axis) {
            middle[axis] = isFlat(cell.box, axis) ? -std::numeric_limits<float>::infinity()
                                                  : cell.box.middle(axis);
        }
        const float* point = cell.points;
        for (int i = 0; i < cell.count; ++i, point += 3) {
            int code = 0;
            for (int axis = 0; axis < Axes; ++axis) // not below, so that NaN is above
                code |= static_cast<int>(!(point[axis] < middle[axis])) << axis;
            cell.codes[i] = static_cast<std::uint8_t>(code);
            ++counts[code];
        }
    }

    /// Fills `children` with the cells of all children, those that do not exist included.
    static void split(const Cell& cell, Cell* children) {
        int counts[kChildren] = {};
        classify(cell, counts);
        const bool moves = *std::max_element(counts, counts + kChildren) < cell.count;
        const float* const points = moves ? cell.spare : cell.points;

        std::ptrdiff_t start = 0;
        float* next[kChildren];
        for (int child = 0; child < kChildren; ++child) {
            next[child] = cell.spare + 3 * start;
            children[child] = {.box = cell.box,
                               .count = counts[child],
                               .level = cell.level + 1,
                               .points = points + 3 * start,
                               .spare = (moves ? cell.other : cell.spare) + 3 * start,
                               .other = (moves ? cell.spare : cell.other) + 3 * start,
                               .codes = cell.codes + start};
            for (int axis = 0; axis < Axes; ++axis) {
                BoundingBox& box = children[child].box;
                (child >> axis & 1 ? box.min : box.max)[axis] = cell.box.middle(axis);
            }
            start += counts[child];
        }
        if (!moves)
            return;
        const float* point = cell.points;
        for (int i = 0; i < cell.count; ++i, point += 3) {
            float*& to = next[cell.codes[i]];
            std::copy_n(point, 3, to);
            to += 3;
        }
    }

    TreeOptions options_;
    int maxPoints_;
    BoxTree tree_;
};

/// A cell at the lower end of the tree's top, and the subtree over it.
template <int Axes>
struct Branch {
    int node;
    Cell cell;
    Subtree<Axes> subtree;
    int firstNode = 0; // where its nodes but the first go
    int firstLeaf = 0;
};

template <int Axes>
class GrowAlg final : public qvUtil::ThreadedChunkAlg {
public:
    explicit GrowAlg(std::vector<Branch<Axes>>& branches)
        : ThreadedChunkAlg(static_cast<int>(branches.size())),
          branches_(branches) {}

    void threadFunc(int chunk, int, int) override {
        branches_[chunk].subtree.grow(0, branches_[chunk].cell);
    }

private:
    std::vector<Branch<Axes>>& branches_;
};

/// Copies the subtrees into the tree.
template <int Axes>
class JoinAlg final : public qvUtil::ThreadedChunkAlg {
public:
    JoinAlg(const std::vector<Branch<Axes>>& branches, BoxTree& tree)
        : ThreadedChunkAlg(static_cast<int>(branches.size())),
          branches_(branches),
          tree_(tree) {}

    void threadFunc(int chunk, int, int) override {
        const Branch<Axes>& branch = branches_[chunk];
        const std::vector<TreeNode>& nodes = branch.subtree.tree().nodes;
        const auto moved = [&branch](TreeNode node) {
            return node.isLeaf() ? TreeNode{~(node.leafIndex() + branch.firstLeaf)} : node;
        };
        TreeNode& root = tree_.nodes[branch.node];
        root = nodes[0].isLeaf() ? moved(nodes[0]) : TreeNode{branch.firstNode - branch.node};
        std::transform(nodes.begin() + 1, nodes.end(), tree_.nodes.begin() + branch.firstNode,
                       moved);
    }

private:
    const std::vector<Branch<Axes>>& branches_;
    BoxTree& tree_;
};

/// Makes room for the subtrees behind the top of the tree, in their order, and counts leaves.
template <int Axes>
void layOut(std::vector<Branch<Axes>>& branches, BoxTree& tree) {
    std::size_t numNodes = tree.nodes.size();
    for (Branch<Axes>& branch : branches) {
        const BoxTree& subtree = branch.subtree.tree();
        branch.firstNode = static_cast<int>(numNodes);
        branch.firstLeaf = tree.numLeaves;
        numNodes += subtree.nodes.size() - 1;
        tree.numLeaves += subtree.numLeaves;
        tree.depth = std::max(tree.depth, subtree.depth);
    }
    tree.nodes.resize(numNodes);
}

/// Moves infinite sides to the largest floats, where the box has a middle.
BoundingBox boundedBox(const BoundingBox& box) {
    BoundingBox bounded = box;
    for (int axis = 0; axis < 3; ++axis) {
        bounded.min[axis] = std::clamp(box.min[axis], -FLT_MAX, FLT_MAX);
        bounded.max[axis] = std::clamp(box.max[axis], -FLT_MAX, FLT_MAX);
    }
    return bounded;
}

} // namespace

template <int Axes>
BoxTree buildTree(int n, const float* xyz, const BoundingBox& box, const TreeOptions& options) {
    Subtree<Axes> top(options);
    top.tree().box = boundedBox(box);
    if (n <= 0 || !box.isValid())
        return std::move(top.tree());

    // Not std::vector, which would write them all first.
    const auto numFloats = 3 * static_cast<std::size_t>(n);
    const std::unique_ptr<float[]> spare(new float[numFloats]);
    const std::unique_ptr<float[]> other(new float[numFloats]);
    const std::unique_ptr<std::uint8_t[]> codes(new std::uint8_t[static_cast<std::size_t>(n)]);

    std::vector<Branch<Axes>> branches;
    const int maxChunkPoints = std::max(n / kChunks, kMinChunkPoints);
    const Cell root{top.tree().box, n, 1, xyz, spare.get(), other.get(), codes.get()};
    top.growUntil(0, root, [&](int at, const Cell& cell) {
        const bool isBranch = cell.count <= maxChunkPoints || top.isLeaf(cell);
        if (isBranch)
            branches.push_back({at, cell, Subtree<Axes>(options)});
        return isBranch;
    });

    qvUtil::ThreadPool& pool = branches.size() > 1 ? qvUtil::ThreadPool::get()
                                                   : qvUtil::ThreadPool::getSingleThreadedPool();
    GrowAlg<Axes> grow(branches);
    pool.run(grow);
    layOut(branches, top.tree());
    JoinAlg<Axes> join(branches, top.tree());
    pool.run(join);
    return std::move(top.tree());
}

template BoxTree buildTree<2>(int, const float*, const BoundingBox&, const TreeOptions&);
template BoxTree buildTree<3>(int, const float*, const BoundingBox&, const TreeOptions&);

} // namespace qvGeom::detail
