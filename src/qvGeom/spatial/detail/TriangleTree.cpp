#include "qvGeom/spatial/detail/TriangleTree.h"

#include <algorithm>
#include <bit>
#include <utility>

#include "qvGeom/foundation/base/SMPSort.h"
#include "qvGeom/foundation/base/ThreadPool.h"
#include "qvGeom/foundation/base/ThreadedAlg.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"

namespace qvGeom::detail {
namespace {

constexpr int kLanes = BoxBlock::kLanes;
constexpr float kCellsPerAxis = 1024;

/// Moves the ten bits of a number to every third place.
unsigned spread(unsigned bits) {
    bits = (bits | bits << 16) & 0x030000FFU;
    bits = (bits | bits << 8) & 0x0300F00FU;
    bits = (bits | bits << 4) & 0x030C30C3U;
    return (bits | bits << 2) & 0x09249249U;
}

/// Numbers the cells in which triangles have the middles of their boxes, along the curve that goes
/// through all eighths of a cube one by one. The cells are cubes, so that a flat mesh is cut across
/// its width and not along it.
class CellsAlg final : public qvUtil::ThreadedAlg {
public:
    CellsAlg(const std::vector<int>& triangles, const Array<BoundingBox>& boxes, Array<int>& cells)
        : triangles_(triangles),
          boxes_(boxes),
          cells_(cells) {
        for (const int t : triangles)
            all_.extend(boxes[t]);
        const float length = std::max(
            {all_.max[0] - all_.min[0], all_.max[1] - all_.min[1], all_.max[2] - all_.min[2]});
        cellsPerUnit_ = kCellsPerAxis / length;
    }

    void threadFunc(int thread, int numThreads) override {
        const int count = static_cast<int>(triangles_.size());
        for (const int k : qvUtil::sliceOf(count, thread, numThreads)) {
            const BoundingBox& box = boxes_[triangles_[k]];
            const unsigned cell =
                cellAlong(0, box) | cellAlong(1, box) << 1 | cellAlong(2, box) << 2;
            cells_[triangles_[k]] = static_cast<int>(cell);
        }
    }

private:
    unsigned cellAlong(int axis, const BoundingBox& box) const {
        const float middle = 0.5F * box.min[axis] + 0.5F * box.max[axis];
        const float cell = (middle - all_.min[axis]) * cellsPerUnit_;
        // Written so that what is not a number comes to 0.
        return spread(cell > 0 ? static_cast<unsigned>(std::min(cell, kCellsPerAxis - 1)) : 0);
    }

    const std::vector<int>& triangles_;
    const Array<BoundingBox>& boxes_;
    Array<int>& cells_; // by triangle
    BoundingBox all_;
    float cellsPerUnit_;
};

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
    Array<int> cells(boxes.size());
    CellsAlg cellsAlg(triangles, boxes, cells);
    qvUtil::ThreadPool::get().run(cellsAlg);
    qvUtil::sortIndicesByKey(triangles.data(), triangles.data() + triangles.size(), cells.data());

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
