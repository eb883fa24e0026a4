// Maps are 1024 x 1024 and looked at from above: a surface of 1M triangles has one for each pixel.
// Cases are named by the number of triangles and by their order: 0 lattice, 1 shuffled.

#include <algorithm>
#include <benchmark/benchmark.h>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "qvGeom/foundation/geometry/BitVector.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/MeshAdjTris.h"
#include "qvGeom/foundation/geometry/MeshAdjVertices.h"
#include "qvGeom/foundation/linear/Linear.h"
#include "qvGeom/topology/GeomAdjacency.h"
#include "qvGeom/view/GeomDepthMap.h"
#include "qvGeom/view/GeomProjection.h"
#include "qvGeom/view/GeomScreenPick.h"
#include "qvGeom/view/GeomSelectVisible.h"

#include "support/Measure.h"
#include "support/ScopedThreadCount.h"
#include "support/Subject.h"

namespace {

using qvGeom::CompactMesh;
using qvGeom::MeshDepthMap;
using qvGeom::MeshTriangle;
using qvGeom::MeshVertex;
using qvLinear::ProjMatrix;
using qvLinear::ProjMatrixFlt;

constexpr int kSide = 1024;
constexpr int kNumPixels = kSide * kSide;

/// Looks down at the unit square, which fills the view.
ProjMatrix viewFromAbove() {
    constexpr double kDistance = 2.0;
    qvGeom::AngleAspect lens;
    lens.setAngleOfViewRad(2.0 * std::atan(0.5 / kDistance));
    lens.setDepthRange(1.0, 3.0);
    ProjMatrix projection;
    lens.getMatrix(projection, false);
    qvLinear::AffineMatrix model;
    model.m[3][0] = model.m[3][1] = -0.5;
    model.m[3][2] = -kDistance;
    return ProjMatrix(model) * projection;
}

const CompactMesh& subjectOf(const benchmark::State& state) {
    struct Subject {
        CompactMesh mesh;

        Subject(std::int64_t triangles, std::int64_t order)
            : mesh(bench::surfaceOf(triangles, order)) {}
    };

    return bench::kept<Subject>(state.range(0), state.range(1)).mesh;
}

/// The depth map of whoever does not care for the last bits: in pixels, one sample after the other.
class EdgeLoop {
public:
    struct Corner {
        float x, y, z;
    };

    explicit EdgeLoop(const ProjMatrixFlt& m) : m_(m), depths(kNumPixels) {}

    void draw(const CompactMesh& mesh) {
        corners_.resize(mesh.getNumVertices());
        for (int v = 0; v < mesh.getNumVertices(); ++v)
            corners_[v] = project(mesh.getVertices()[v]);
        const MeshTriangle* const triangles = mesh.getTriangles();
        for (int t = 0; t < mesh.getNumTriangles(); ++t)
            draw(corners_[triangles[t][0]], corners_[triangles[t][1]], corners_[triangles[t][2]]);
    }

private:
    Corner project(const MeshVertex& p) const {
        const auto coordinate = [&](int k) {
            return p.x * m_.m[0][k] + p.y * m_.m[1][k] + p.z * m_.m[2][k] + m_.m[3][k];
        };
        const float toUnit = 1.0F / coordinate(3), half = 0.5F * kSide;
        return {(coordinate(0) * toUnit + 1.0F) * half, (coordinate(1) * toUnit + 1.0F) * half,
                coordinate(2) * toUnit};
    }

    static int firstPixel(float least) {
        return std::max(0, static_cast<int>(std::ceil(least - 0.5F)));
    }

    static int lastPixel(float most) {
        return std::min(kSide - 1, static_cast<int>(std::floor(most - 0.5F)));
    }

    static float edge(const Corner& from, const Corner& to, float x, float y) {
        return (to.x - from.x) * (y - from.y) - (to.y - from.y) * (x - from.x);
    }

    void draw(const Corner& a, const Corner& b, const Corner& c) {
        const float area = edge(a, b, c.x, c.y);
        if (area == 0.0F)
            return;
        const float perArea = 1.0F / area;
        const int firstX = firstPixel(std::min({a.x, b.x, c.x})),
                  lastX = lastPixel(std::max({a.x, b.x, c.x}));
        const int firstY = firstPixel(std::min({a.y, b.y, c.y})),
                  lastY = lastPixel(std::max({a.y, b.y, c.y}));
        for (int row = firstY; row <= lastY; ++row) {
            const float y = static_cast<float>(row) + 0.5F;
            for (int column = firstX; column <= lastX; ++column) {
                const float x = static_cast<float>(column) + 0.5F;
                const float u = edge(b, c, x, y) * perArea, v = edge(c, a, x, y) * perArea,
                            w = edge(a, b, x, y) * perArea;
                if (u < 0.0F || v < 0.0F || w < 0.0F)
                    continue;
                float& depth = depths[row * kSide + column];
                depth = std::min(depth, u * a.z + v * b.z + w * c.z);
            }
        }
    }

    ProjMatrixFlt m_;
    std::vector<Corner> corners_;

public:
    std::vector<float> depths;
};

void clear(float* depths) { std::fill_n(depths, kNumPixels, 1.0F); }

/// Seconds for one map.
double secondsOfMap(MeshDepthMap& map, const ProjMatrix& view, const CompactMesh& mesh) {
    clear(map.getDepthBuffer());
    return bench::secondsOf([&] { benchmark::DoNotOptimize(map.rasterize(view, mesh, nullptr)); });
}

bench::Checksum checksumOf(const MeshDepthMap& map) {
    bench::Checksum sum;
    sum.add(map.getDepthBuffer(), kNumPixels);
    return sum;
}

/// Few pixels may be in doubt between two ways to round.
bool isAlike(const float* a, const float* b) {
    int different = 0;
    for (int i = 0; i < kNumPixels; ++i)
        different += !(std::abs(a[i] - b[i]) < 1e-4F);
    return different < kNumPixels / 1000;
}

void depthMapAgainstEdgeLoop(benchmark::State& state) {
    const test::ScopedThreadCount oneThread(1);
    const CompactMesh& mesh = subjectOf(state);
    const ProjMatrix view = viewFromAbove();
    MeshDepthMap map(kSide, kSide);
    map.setWriting(true);
    EdgeLoop plain{ProjMatrixFlt(view)};
    bench::runInTurns(
        state, [&] { return secondsOfMap(map, view, mesh); },
        [&] {
            clear(plain.depths.data());
            return bench::secondsOf([&] { plain.draw(mesh); });
        });
    state.counters["checksum"] = checksumOf(map).value();
    if (!isAlike(map.getDepthBuffer(), plain.depths.data()))
        state.SkipWithError("the depths differ");
}

void depthMapByTwoAgainstOne(benchmark::State& state) {
    const CompactMesh& mesh = subjectOf(state);
    const ProjMatrix view = viewFromAbove();
    MeshDepthMap map(kSide, kSide), mapOfOne(kSide, kSide);
    map.setWriting(true);
    mapOfOne.setWriting(true);
    qvUtil::ThreadPool two(2), one(1);
    const auto secondsWith = [&](qvUtil::ThreadPool& pool, MeshDepthMap& drawn) {
        qvUtil::ThreadPool* const previous = qvUtil::ThreadPool::setShared(&pool);
        const double seconds = secondsOfMap(drawn, view, mesh);
        qvUtil::ThreadPool::setShared(previous);
        return seconds;
    };
    bench::runInTurns(
        state, [&] { return secondsWith(two, map); }, [&] { return secondsWith(one, mapOfOne); });
    state.counters["checksum"] = checksumOf(map).value();
    if (checksumOf(map).value() != checksumOf(mapOfOne).value())
        state.SkipWithError("two threads draw otherwise than one");
}

void depthMapWithCallback(benchmark::State& state) {
    const CompactMesh& mesh = subjectOf(state);
    const ProjMatrix view = viewFromAbove();
    MeshDepthMap map(kSide, kSide);
    map.setWriting(true);
    std::int64_t sum = 0;
    map.setDepthCB(
        [](void* data, int, int, float, const MeshDepthMap::SampleTriInfo* info) {
            *static_cast<std::int64_t*>(data) += info->triangle;
        },
        &sum, true);
    for (auto _ : state)
        state.SetIterationTime(secondsOfMap(map, view, mesh));
    bench::Checksum checksum = checksumOf(map);
    checksum.add(static_cast<int>(sum / state.iterations()));
    state.counters["checksum"] = checksum.value();
}

void depthMapCount(benchmark::State& state) {
    const CompactMesh& mesh = subjectOf(state);
    const ProjMatrix view = viewFromAbove();
    MeshDepthMap map(kSide, kSide);
    clear(map.getDepthBuffer());
    MeshDepthMap::FragmentCount count{};
    for (auto _ : state)
        map.rasterize(view, mesh, &count);
    state.counters["checksum"] = count.front + 2.0 * count.back + 4.0 * count.total;
}

/// Every fourth column of the surface, of which pieces are on either side of the waves.
void selectVisible(benchmark::State& state) {
    CompactMesh mesh = subjectOf(state);
    qvGeom::MeshAdjTris adjTris;
    meshAdjTris(mesh, adjTris);
    qvGeom::MeshAdjVertices adjVertices;
    meshAdjVertices(mesh, adjTris, adjVertices);
    qvGeom::BitVector candidates(mesh.getNumVertices()), result;
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        if (static_cast<int>(mesh.getVertices()[v].x * 40.0F) % 4 == 0)
            candidates.set(v);
    }
    qvGeom::MeshSelectVisible selection(viewFromAbove(), result, candidates, 1.0);
    for (auto _ : state)
        selection.process(mesh, adjVertices, qvLinear::AffineMatrix());
    state.counters["checksum"] = result.numSetBits();
}

/// One read of the positions and of the indices.
std::uint32_t readMesh(const CompactMesh& mesh) {
    const auto sumOf = [](const auto* words, std::size_t count) {
        std::uint32_t sum = 0;
        for (std::size_t i = 0; i < count; ++i)
            sum += std::bit_cast<std::uint32_t>(words[i]);
        return sum;
    };
    return sumOf(mesh.getVerticesRaw(), 3 * static_cast<std::size_t>(mesh.getNumVertices())) +
           sumOf(mesh.getTrianglesRaw(), 3 * static_cast<std::size_t>(mesh.getNumTriangles()));
}

void screenPickAgainstRead(benchmark::State& state) {
    const CompactMesh& mesh = subjectOf(state);
    qvLinear::AffineMatrix window;
    qvGeom::Viewport viewport;
    viewport.setSize(kSide, kSide);
    viewport.getViewTransform(window);
    const ProjMatrixFlt toPixels(viewFromAbove() * ProjMatrix(window));
    // The eye is above the middle, and looks at a pixel not far from it. The direction is long, so
    // that no triangle is too small to be hit.
    const qvLinear::Line ray{{0.5, 0.5, 2.0}, {5.0, 2.0, -200.0}};
    const auto [x, y, z, w] = qvLinear::HPoint{0.55, 0.52, 0.0, 1.0} * widen(toPixels);
    qvGeom::MeshCoord hit;
    bench::runInTurns(
        state,
        [&] {
            return bench::secondsOf([&] {
                hit = meshRayIntersectScreen(mesh, toPixels, static_cast<int>(x / w),
                                             static_cast<int>(y / w), 3, ray);
            });
        },
        [&] { return bench::secondsOf([&] { benchmark::DoNotOptimize(readMesh(mesh)); }); });
    state.counters["checksum"] = hit.triangle;
    if (hit.triangle < 0)
        state.SkipWithError("nothing was picked");
}

BENCHMARK(depthMapAgainstEdgeLoop)->Args({2000, 0})->Apply(bench::sizesAndOrders)->UseManualTime();
BENCHMARK(depthMapByTwoAgainstOne)->Apply(bench::sizesAndOrders)->UseManualTime();
BENCHMARK(depthMapWithCallback)->Apply(bench::sizesAndOrders)->UseManualTime();
BENCHMARK(depthMapCount)->Apply(bench::sizesOfLattices)->UseRealTime();
BENCHMARK(selectVisible)->Apply(bench::sizesOfLattices)->UseRealTime();
BENCHMARK(screenPickAgainstRead)->Apply(bench::sizesAndOrders)->UseManualTime();

} // namespace
