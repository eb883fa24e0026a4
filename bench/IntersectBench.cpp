#include <benchmark/benchmark.h>
#include <deque>
#include <utility>

#include "qvGeom/foundation/base/Progress.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/spatial/GeomIntersect.h"

#include "support/IndexedMesh.h"
#include "support/IntersectInput.h"
#include "support/Measure.h"
#include "support/MeshBuilders.h"
#include "support/Subject.h"

namespace {

using bench::IndexedMesh;
using qvGeom::CompactMesh;
using qvGeom::MeshIntersect;

using Records = std::deque<qvGeom::MeshIntersectPair>;

void report(benchmark::State& state, const Records& records) {
    bench::Checksum sum;
    for (const qvGeom::MeshIntersectPair& record : records)
        sum.add(record.first.triangle);
    state.counters["records"] = static_cast<double>(records.size());
    state.counters["checksum"] = sum.value();
}

/// A first search, with all that it prepares, of a mesh without crossings.
void search(benchmark::State& state, CompactMesh mesh) {
    const IndexedMesh indexed(std::move(mesh));
    qvUtil::Progress progress;
    Records records;
    for (auto _ : state)
        MeshIntersect(indexed.mesh, indexed.octree, indexed.tris).selfIntersect(progress, records);
    report(state, records);
    state.SetItemsProcessed(state.iterations() * indexed.mesh.getNumTriangles());
}

void selfIntersectSphere(benchmark::State& state) {
    search(state, bench::sphereOf(state.range(0)));
}

void selfIntersectWavy(benchmark::State& state) {
    search(state, test::wavySurface(static_cast<int>(state.range(0))));
}

void selfIntersectShuffled(benchmark::State& state) {
    search(state, test::shuffled(test::wavySurface(static_cast<int>(state.range(0))), 1));
}

void selfIntersectTwoSpheres(benchmark::State& state) {
    search(state, bench::crossingSpheres(state.range(0)));
}

/// A mesh with itself, placed.
void searchTwo(benchmark::State& state, CompactMesh mesh, const qvLinear::AffineMatrix& placement) {
    const IndexedMesh indexed(std::move(mesh));
    qvUtil::Progress progress;
    Records on1, on2;
    for (auto _ : state) {
        MeshIntersect(indexed.mesh, indexed.octree, indexed.tris)
            .intersect(indexed.mesh, indexed.octree, indexed.tris, placement, progress, on1, on2);
    }
    report(state, on1);
    state.SetItemsProcessed(2 * state.iterations() * indexed.mesh.getNumTriangles());
}

void intersectSpheres(benchmark::State& state) {
    searchTwo(state, bench::sphereOf(state.range(0)), bench::aside());
}

void intersectFlatSheets(benchmark::State& state) {
    searchTwo(state, bench::flatSheet(state.range(0)), bench::slightlyAside());
}

BENCHMARK(selfIntersectSphere)->Apply(bench::sizes)->UseRealTime();
BENCHMARK(selfIntersectWavy)->Apply(bench::sizes)->UseRealTime();
BENCHMARK(selfIntersectShuffled)->Apply(bench::sizes)->UseRealTime();
BENCHMARK(selfIntersectTwoSpheres)->Apply(bench::sizes)->UseRealTime();
BENCHMARK(intersectSpheres)->Apply(bench::sizes)->UseRealTime();
BENCHMARK(intersectFlatSheets)->Apply(bench::sizes)->UseRealTime();

} // namespace
