#include "qvGeom/view/GeomSelectVisible.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "qvGeom/foundation/geometry/BitVector.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/MeshAdjVertices.h"
#include "qvGeom/foundation/linear/AffineMatrix.h"
#include "qvGeom/foundation/linear/ProjMatrix.h"
#include "qvGeom/view/GeomDepthMap.h"
#include "qvGeom/view/GeomProjection.h"

namespace qvGeom {

using qvLinear::AffineMatrix;
using qvLinear::ProjMatrix;

namespace {

constexpr int kLongSide = 1024;
constexpr int kNone = -1; // no component

/// The sides of a map of the aspect, in pixels; 0 where the aspect makes none.
int sideFor(double ratioToOther) {
    if (ratioToOther >= 1.0)
        return kLongSide;
    return ratioToOther > 0.0 ? static_cast<int>(kLongSide * ratioToOther) : 0;
}

/// Numbers the connected pieces of the candidates; `components` receives one number per vertex.
int findComponents(const BitVector& candidates, const MeshAdjVertices& adjacency,
                   std::vector<int>& components) {
    const int numCandidates = std::min(candidates.size(), static_cast<int>(components.size()));
    const auto isNew = [&](int v) {
        return v < numCandidates && candidates.test(v) && components[v] == kNone;
    };
    int numComponents = 0;
    std::vector<int> stack;
    for (int seed = 0; seed < numCandidates; ++seed) {
        if (!isNew(seed))
            continue;
        components[seed] = numComponents;
        stack.push_back(seed);
        while (!stack.empty()) {
            const int v = stack.back();
            stack.pop_back();
            const int* const neighbours = adjacency.getVertices(v);
            for (int k = 0; k < adjacency.getCount(v); ++k) {
                if (isNew(neighbours[k])) {
                    components[neighbours[k]] = numComponents;
                    stack.push_back(neighbours[k]);
                }
            }
        }
        ++numComponents;
    }
    return numComponents;
}

} // namespace

class MeshSelectVisible::Impl {
public:
    Impl(const ProjMatrix& proj, BitVector& result, BitVector& candidates, double aspect)
        : proj_(proj),
          result_(result),
          candidates_(candidates),
          map_(sideFor(aspect), sideFor(1.0 / aspect)) {
        map_.setWriting(true);
        map_.getClip().setSelectedTrianglesOnly(true);
    }

    void process(const CompactMesh& mesh, const MeshAdjVertices& adjacency,
                 const AffineMatrix& model) {
        const int numComponents = buildComponents(mesh, adjacency);
        if (numComponents > 1) {
            const ProjMatrix m = ProjMatrix(model) * proj_;
            drawComponents(m, mesh);
            countSamples(m, mesh, numComponents);
            selectTriangles();
        }
        triangleComponents_ = {};
        pixelComponents_ = {};
    }

private:
    struct SampleCount {
        std::int64_t visible = 0, hidden = 0;
    };

    int buildComponents(const CompactMesh& mesh, const MeshAdjVertices& adjacency) {
        std::vector<int> vertexComponents(mesh.getNumVertices(), kNone);
        const int numComponents = findComponents(candidates_, adjacency, vertexComponents);
        triangleComponents_.resize(mesh.getNumTriangles());
        std::transform(mesh.getTriangles(), mesh.getTriangles() + mesh.getNumTriangles(),
                       triangleComponents_.begin(),
                       [&](const MeshTriangle& t) { return vertexComponents[t[0]]; });
        return numComponents;
    }

    std::ptrdiff_t pixelAt(int x, int y) const {
        return static_cast<std::ptrdiff_t>(y) * map_.getWidth() + x;
    }

    bool isSeen(std::ptrdiff_t pixel, float depth) const {
        return map_.getDepthBuffer()[pixel] >= depth;
    }

    /// First pass: finds the depth of each pixel and whose it is.
    void drawComponents(const ProjMatrix& m, const CompactMesh& mesh) {
        const auto numPixels = pixelAt(0, map_.getHeight());
        std::fill_n(map_.getDepthBuffer(), numPixels, 1.0F);
        pixelComponents_.assign(numPixels, kNone);
        const auto buildMap = [](void* self, int x, int y, float depth,
                                 const MeshDepthMap::SampleTriInfo* info) {
            auto& impl = *static_cast<Impl*>(self);
            const auto pixel = impl.pixelAt(x, y);
            if (impl.isSeen(pixel, depth))
                impl.pixelComponents_[pixel] = impl.triangleComponents_[info->triangle];
        };
        map_.setDepthCB(buildMap, this, true);
        map_.rasterize(m, mesh, nullptr);
    }

    /// Second pass: compares every sample with what the first one left.
    void countSamples(const ProjMatrix& m, const CompactMesh& mesh, int numComponents) {
        counts_.assign(numComponents, {});
        const auto countVisibility = [](void* self, int x, int y, float depth,
                                        const MeshDepthMap::SampleTriInfo* info) {
            auto& impl = *static_cast<Impl*>(self);
            const int component = impl.triangleComponents_[info->triangle];
            if (component == kNone)
                return;
            const auto pixel = impl.pixelAt(x, y);
            if (impl.isSeen(pixel, depth))
                ++impl.counts_[component].visible;
            else if (impl.pixelComponents_[pixel] != component)
                ++impl.counts_[component].hidden;
        };
        map_.setDepthCB(countVisibility, this, true);
        map_.rasterize(m, mesh, nullptr);
    }

    void selectTriangles() {
        const auto numTriangles = static_cast<int>(triangleComponents_.size());
        BitVector selected(numTriangles);
        for (int t = 0; t < numTriangles; ++t) {
            const int c = triangleComponents_[t];
            if (c != kNone && counts_[c].visible > counts_[c].hidden)
                selected.set(t);
        }
        selected.swap(result_);
    }

    ProjMatrix proj_;
    BitVector& result_;
    const BitVector& candidates_;
    MeshDepthMap map_;
    std::vector<int> triangleComponents_, pixelComponents_;
    std::vector<SampleCount> counts_;
};

MeshSelectVisible::MeshSelectVisible(const ProjMatrix& proj, BitVector& result,
                                     BitVector& candidateVertices, double aspect)
    : impl_(std::make_unique<Impl>(proj, result, candidateVertices,
                                   aspect < 0.0 ? std::abs(getAspectRatio(proj)) : aspect)) {}

MeshSelectVisible::~MeshSelectVisible() = default;

void MeshSelectVisible::process(const CompactMesh& mesh, const MeshAdjVertices& adjacency,
                                const AffineMatrix& model) {
    impl_->process(mesh, adjacency, model);
}

} // namespace qvGeom
