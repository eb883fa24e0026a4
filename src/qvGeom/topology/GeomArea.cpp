#include "qvGeom/topology/GeomArea.h"

#include <algorithm>
#include <cmath>

#include "qvGeom/foundation/base/ThreadPool.h"
#include "qvGeom/foundation/base/ThreadedAlg.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/MeshPlacement.h"
#include "qvGeom/foundation/linear/Convert.h"
#include "qvGeom/foundation/linear/Tolerances.h"

namespace qvGeom {
namespace {

using qvLinear::AffineMatrix;
using qvLinear::Point2Flt;
using qvLinear::Vector;
using qvLinear::widen;

/// Two edges each of so many triangles, coordinate by coordinate. Gathering them from all over the
/// mesh apart from the arithmetic leaves that in a form that vector units can do.
struct EdgeBlock {
    static constexpr int kSize = 128;

    double abX[kSize], abY[kSize], abZ[kSize];
    double acX[kSize], acY[kSize], acZ[kSize];

    void set(int i, const MeshVertex& a, const MeshVertex& b, const MeshVertex& c) {
        abX[i] = widen(b.x) - widen(a.x);
        abY[i] = widen(b.y) - widen(a.y);
        abZ[i] = widen(b.z) - widen(a.z);
        acX[i] = widen(c.x) - widen(a.x);
        acY[i] = widen(c.y) - widen(a.y);
        acZ[i] = widen(c.z) - widen(a.z);
    }

    /// Writes twice the area of every triangle of the block, its edges mapped by `map`.
    template <class Map>
    void doubleAreas(const Map& map, double* areas) const {
        for (int i = 0; i < kSize; ++i) {
            const Vector ab = map(Vector{abX[i], abY[i], abZ[i]});
            const Vector ac = map(Vector{acX[i], acY[i], acZ[i]});
            areas[i] = cross(ab, ac).length();
        }
    }
};

bool keepsVectors(const AffineMatrix& a) {
    for (int row = 0; row < 3; ++row) {
        for (int column = 0; column < 3; ++column) {
            if (a.m[row][column] != (row == column))
                return false;
        }
    }
    return true;
}

Point2Flt pairOf(const MeshUV& uv) { return {uv.u, uv.v}; }

Point2Flt pairOf(const MeshST& st) { return {st.s, st.t}; }

/// In single precision throughout.
float doubleArea(const Point2Flt& a, const Point2Flt& b, const Point2Flt& c) {
    return std::abs((b.x - a.x) * (c.y - a.y) - (c.x - a.x) * (b.y - a.y));
}

/// Sums the area of the triangles of one slice per thread.
class MeshAreaAlg final : public qvUtil::ThreadedAlg {
public:
    MeshAreaAlg(const MeshPlacement& placement, MeshChannel channel)
        : mesh_(*placement.mesh),
          transform_(placement.transform),
          channel_(channel) {}

    void initialize(int numThreads) override { slots_.resize(numThreads); }

    void threadFunc(int thread, int numThreads) override {
        const auto slice = qvUtil::sliceOf(mesh_.getNumTriangles(), thread, numThreads);
        slots_[thread] = 0.5 * sumOfDoubleAreas(slice);
    }

    float result() const {
        double sum = 0;
        for (const double slot : slots_)
            sum += slot;
        return qvLinear::narrow(sum);
    }

private:
    double sumOfDoubleAreas(const qvUtil::IndexRange& slice) const {
        switch (channel_) {
        case UVs:
            return sumInTexture(slice, mesh_.getUVs());
        case STs:
            return sumInTexture(slice, mesh_.getSTs());
        default:
            return sumInSpace(slice);
        }
    }

    double sumInSpace(const qvUtil::IndexRange& slice) const {
        const AffineMatrix transform = transform_;
        // The identity changes no edge but one that is not finite, which leaves a sum like itself.
        if (keepsVectors(transform)) {
            const double sum = sumInSpace(slice, [](const Vector& edge) { return edge; });
            if (std::isfinite(sum))
                return sum;
        }
        return sumInSpace(slice, [&](const Vector& edge) { return edge * transform; });
    }

    template <class Map>
    double sumInSpace(const qvUtil::IndexRange& slice, const Map& map) const {
        const MeshTriangle* const triangles = mesh_.getTriangles();
        const MeshVertex* const vertices = mesh_.getVertices();
        EdgeBlock edges{};
        double areas[EdgeBlock::kSize];
        double sum = 0;
        for (int first = slice.first; first < slice.last; first += EdgeBlock::kSize) {
            const int count = std::min(EdgeBlock::kSize, slice.last - first);
            for (int i = 0; i < count; ++i) {
                const MeshTriangle& tri = triangles[first + i];
                edges.set(i, vertices[tri[0]], vertices[tri[1]], vertices[tri[2]]);
            }
            edges.doubleAreas(map, areas);
            for (int i = 0; i < count; ++i)
                sum += areas[i];
        }
        return sum;
    }

    template <class Pair>
    double sumInTexture(const qvUtil::IndexRange& slice, const Pair* pairs) const {
        const MeshTriangle* const triangles = mesh_.getTriangles();
        double sum = 0;
        for (const int t : slice) {
            const MeshTriangle& tri = triangles[t];
            sum += widen(
                doubleArea(pairOf(pairs[tri[0]]), pairOf(pairs[tri[1]]), pairOf(pairs[tri[2]])));
        }
        return sum;
    }

    const CompactMesh& mesh_;
    AffineMatrix transform_;
    MeshChannel channel_;
    std::vector<double> slots_;
};

bool isChannel(MeshChannel channel) {
    return channel == Positions || channel == UVs || channel == STs;
}

bool hasChannel(const CompactMesh& mesh, MeshChannel channel) {
    return channel == Positions || (channel == UVs && mesh.getUVs()) ||
           (channel == STs && mesh.getSTs());
}

} // namespace

float meshArea(const MeshPlacement& placement, MeshChannel channel) {
    if (!placement.mesh || !hasChannel(*placement.mesh, channel))
        return 0;
    MeshAreaAlg alg(placement, channel);
    qvUtil::ThreadPool::get().run(alg);
    return alg.result();
}

float meshArea(const std::list<MeshPlacement>& placements, MeshChannel channel,
               std::vector<float>& fractions) {
    fractions.clear();
    if (!isChannel(channel))
        return 0;

    float total = 0;
    for (const MeshPlacement& placement : placements) {
        fractions.push_back(meshArea(placement, channel));
        total += fractions.back();
    }
    // Negated, so that an area that is not a number is not divided by either.
    if (!(std::abs(total) >= qvLinear::epsilonTolFlt))
        return 0;
    const float scale = 1 / total;
    for (float& fraction : fractions)
        fraction *= scale;
    return total;
}

} // namespace qvGeom
