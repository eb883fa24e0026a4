#include "qvGeom/spatial/detail/TriangleTree.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <span>

#include "qvGeom/foundation/base/ThreadPool.h"
#include "qvGeom/foundation/base/ThreadedAlg.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"

namespace qvGeom::detail {
namespace {

constexpr int kLanes = BoxBlock::kLanes;

/// A triangle and the middle of its box.
struct Item {
    float middle[3];
    int triangle;
};

Item itemOf(int triangle, const BoundingBox& box) {
    Item item{{}, triangle};
    for (int axis = 0; axis < 3; ++axis) {
        const float middle = 0.5F * box.min[axis] + 0.5F * box.max[axis];
        item.middle[axis] = std::isnan(middle) ? 0 : middle; // infinite boxes have no middle
    }
    return item;
}

int longestAxis(std::span<const Item> items) {
    BoundingBox all;
    for (const Item& item : items)
        all.extend({item.middle[0], item.middle[1], item.middle[2]});
    const float length[3] = {all.max[0] - all.min[0], all.max[1] - all.min[1],
                             all.max[2] - all.min[2]};
    return static_cast<int>(std::max_element(length, length + 3) - length);
}

/// Parts the items across their longest axis, and returns how many are in the first part: all that
/// its nodes have room for.
std::size_t part(std::span<Item> items) {
    const int axis = longestAxis(items);
    const std::size_t count = std::bit_floor(items.size() - 1);
    std::nth_element(
        items.begin(), items.begin() + static_cast<std::ptrdiff_t>(count), items.end(),
        [axis](const Item& a, const Item& b) { return a.middle[axis] < b.middle[axis]; });
    return count;
}

/// Parts the items until none of the `pieces`, which follow each other, has more than `most`.
void partInto(std::vector<std::span<Item>>& pieces, std::span<Item> items, std::size_t most) {
    while (items.size() > most) {
        const std::size_t count = part(items);
        partInto(pieces, items.first(count), most);
        items = items.subspan(count);
    }
    pieces.push_back(items);
}

/// Orders the items of each piece so that those of a block lie close together, and those of the
/// blocks of a node, and so on. However unevenly they are spread, no part has more than its share.
class OrderAlg final : public qvUtil::ThreadedChunkAlg {
public:
    explicit OrderAlg(const std::vector<std::span<Item>>& pieces)
        : ThreadedChunkAlg(static_cast<int>(pieces.size())),
          pieces_(pieces) {}

    void threadFunc(int chunk, int /*thread*/, int /*chunks*/) override {
        std::vector<std::span<Item>> blocks;
        partInto(blocks, pieces_[chunk], kLanes);
    }

private:
    const std::vector<std::span<Item>>& pieces_;
};

/// Orders triangles by where their boxes are.
void order(std::vector<int>& triangles, const Array<BoundingBox>& boxes) {
    constexpr std::size_t kNumPieces = 16;
    std::vector<Item> items(triangles.size());
    std::transform(triangles.begin(), triangles.end(), items.begin(),
                   [&boxes](int t) { return itemOf(t, boxes[t]); });
    std::vector<std::span<Item>> pieces;
    partInto(pieces, items, std::max<std::size_t>(kLanes, items.size() / kNumPieces));
    OrderAlg alg(pieces);
    qvUtil::ThreadPool::get().run(alg);
    std::transform(items.begin(), items.end(), triangles.begin(),
                   [](const Item& item) { return item.triangle; });
}

/// Sets of as many triangles as a block has, in the order of the list.
ArrayOfSets inBlocks(const std::vector<int>& triangles) {
    const int count = static_cast<int>(triangles.size());
    ArrayOfSets sets((count + kLanes - 1) / kLanes, count);
    for (int set = 0; set < sets.numSets(); ++set)
        sets.offsets()[set] = kLanes * set;
    std::copy(triangles.begin(), triangles.end(), sets.list());
    return sets;
}

/// The nodes above `count` blocks or nodes.
template <class Block>
std::vector<BoxBlock> levelAbove(const Block* blocks, int count) {
    std::vector<BoxBlock> level((count + kLanes - 1) / kLanes, BoxBlock::ofNone());
    for (int k = 0; k < count; ++k)
        level[k / kLanes].set(k % kLanes, blocks[k].around());
    return level;
}

} // namespace

TriangleTree::TriangleTree(const CompactMesh& mesh, std::vector<int> triangles,
                           const Array<BoundingBox>& boxes) {
    if (triangles.empty())
        return;
    order(triangles, boxes);
    const ArrayOfSets sets = inBlocks(triangles);
    blocks_.assign(mesh, boxes, sets);
    levels_.push_back(levelAbove(blocks_.begin(0), sets.numSets()));
    while (levels_.back().size() > 1) {
        const std::vector<BoxBlock>& below = levels_.back();
        levels_.push_back(levelAbove(below.data(), static_cast<int>(below.size())));
    }
}

void TriangleTree::collect(const BoundingBox& box, std::vector<int>& blocks) const {
    blocks.clear();
    if (levels_.empty())
        return;

    struct Place {
        int level, node;
    };

    const BoxComparison comparison(box);
    Place pending[kLanes * kMaxLevels];
    Place* top = pending;
    *top++ = {static_cast<int>(levels_.size()) - 1, 0};
    while (top != pending) {
        const auto [level, node] = *--top;
        unsigned met = bitsOf(comparison.meets(levels_[level][node]));
        for (; met != 0; met &= met - 1) {
            const int child = kLanes * node + std::countr_zero(met);
            if (level > 0)
                *top++ = {level - 1, child};
            else
                blocks.push_back(child);
        }
    }
}

} // namespace qvGeom::detail
