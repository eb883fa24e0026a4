#include "qvGeom/spatial/detail/TriangleBlocks.h"

#include <algorithm>

#include "qvGeom/foundation/base/ThreadPool.h"
#include "qvGeom/foundation/base/ThreadedAlg.h"
#include "qvGeom/foundation/geometry/ArrayOfSets.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"

namespace qvGeom::detail {
namespace {

constexpr int kLanes = TriangleBlock::kLanes;
constexpr int kMaxChunks = 64;

class FillBlocksAlg final : public qvUtil::ThreadedChunkAlg {
public:
    FillBlocksAlg(const CompactMesh& mesh, const Array<BoundingBox>& boxes, const ArrayOfSets& sets,
                  const Array<int>& firstBlock, TriangleBlock* blocks)
        : ThreadedChunkAlg(std::clamp(sets.numSets(), 1, kMaxChunks)),
          triangles_(mesh.getTriangles()),
          boxes_(boxes.data()),
          sets_(sets),
          firstBlock_(firstBlock),
          blocks_(blocks) {}

    void threadFunc(int chunk, int /*thread*/, int chunks) override {
        for (const int set : qvUtil::sliceOf(sets_.numSets(), chunk, chunks)) {
            const int* triangle = sets_.begin(set);
            const int* const last = sets_.end(set) - 1;
            for (int b = firstBlock_[set]; b < firstBlock_[set + 1]; ++b, triangle += kLanes) {
                for (int lane = 0; lane < kLanes; ++lane)
                    fill(blocks_[b], lane, triangle + lane, last);
            }
        }
    }

private:
    void fill(TriangleBlock& block, int lane, const int* place, const int* last) const {
        const int triangle = *std::min(place, last);
        block.triangle[lane] = triangle;
        if (place <= last)
            block.set(lane, boxes_[triangle]);
        else
            block.clear(lane);
        for (int k = 0; k < 3; ++k)
            block.corner[k][lane] = triangles_[triangle][k];
    }

    const MeshTriangle* triangles_;
    const BoundingBox* boxes_;
    const ArrayOfSets& sets_;
    const Array<int>& firstBlock_;
    TriangleBlock* blocks_;
};

} // namespace

BoundingBox BoxBlock::around() const {
    BoundingBox all;
    for (int lane = 0; lane < kLanes; ++lane)
        all.extend(box(lane));
    return all;
}

void TriangleBlocks::assign(const CompactMesh& mesh, const Array<BoundingBox>& boxes,
                            const ArrayOfSets& sets) {
    Array<int> first(sets.numSets() + 1);
    for (int set = 0; set < sets.numSets(); ++set)
        first[set + 1] = first[set] + (sets.setSize(set) + kLanes - 1) / kLanes;
    Array<TriangleBlock> blocks(first[sets.numSets()]);
    FillBlocksAlg alg(mesh, boxes, sets, first, blocks.data());
    qvUtil::ThreadPool::get().run(alg);
    first_.swap(first);
    blocks_.swap(blocks);
}

} // namespace qvGeom::detail
