#include "qvGeom/spatial/detail/TriangleBlocks.h"

#include <algorithm>

#include "qvGeom/foundation/base/ThreadPool.h"
#include "qvGeom/foundation/base/ThreadedAlg.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/OctreeTris.h"

namespace qvGeom::detail {
namespace {

constexpr int kLanes = TriangleBlock::kLanes;
constexpr int kMaxChunks = 64;

class FillBlocksAlg final : public qvUtil::ThreadedChunkAlg {
public:
    FillBlocksAlg(const CompactMesh& mesh, const Array<BoundingBox>& boxes,
                  const OctreeTris& voxels, const Array<int>& firstBlock, TriangleBlock* blocks)
        : ThreadedChunkAlg(std::clamp(voxels.numSets(), 1, kMaxChunks)),
          triangles_(mesh.getTriangles()),
          boxes_(boxes.data()),
          voxels_(voxels),
          firstBlock_(firstBlock),
          blocks_(blocks) {}

    void threadFunc(int chunk, int /*thread*/, int chunks) override {
        for (const int voxel : qvUtil::sliceOf(voxels_.numSets(), chunk, chunks)) {
            const int* triangle = voxels_.begin(voxel);
            const int* const last = voxels_.end(voxel) - 1;
            for (int b = firstBlock_[voxel]; b < firstBlock_[voxel + 1]; ++b, triangle += kLanes) {
                for (int lane = 0; lane < kLanes; ++lane)
                    fill(blocks_[b], lane, triangle + lane < last ? triangle[lane] : *last);
            }
        }
    }

private:
    void fill(TriangleBlock& block, int lane, int triangle) const {
        block.triangle[lane] = triangle;
        for (int k = 0; k < 3; ++k) {
            block.min[k][lane] = boxes_[triangle].min[k];
            block.max[k][lane] = boxes_[triangle].max[k];
            block.corner[k][lane] = triangles_[triangle][k];
        }
    }

    const MeshTriangle* triangles_;
    const BoundingBox* boxes_;
    const OctreeTris& voxels_;
    const Array<int>& firstBlock_;
    TriangleBlock* blocks_;
};

} // namespace

void TriangleBlocks::assign(const CompactMesh& mesh, const Array<BoundingBox>& boxes,
                            const OctreeTris& voxels, const char* isUsed) {
    Array<int> first(voxels.numSets() + 1);
    for (int voxel = 0; voxel < voxels.numSets(); ++voxel) {
        const int triangles = !isUsed || isUsed[voxel] ? voxels.setSize(voxel) : 0;
        first[voxel + 1] = first[voxel] + (triangles + kLanes - 1) / kLanes;
    }
    Array<TriangleBlock> blocks(first[voxels.numSets()]);
    FillBlocksAlg alg(mesh, boxes, voxels, first, blocks.data());
    qvUtil::ThreadPool::get().run(alg);
    first_.swap(first);
    blocks_.swap(blocks);
}

} // namespace qvGeom::detail
