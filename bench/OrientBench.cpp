// Cases are named by the number of triangles and by their order: 0 lattice, 1 shuffled.

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstdint>
#include <list>
#include <numeric>
#include <utility>
#include <vector>

#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/MeshAdjTris.h"
#include "qvGeom/foundation/geometry/MeshPlacement.h"
#include "qvGeom/topology/GeomAdjacency.h"
#include "qvGeom/topology/GeomNormals.h"
#include "qvGeom/topology/GeomOrientation.h"

#include "support/Measure.h"
#include "support/MeshBuilders.h"
#include "support/Subject.h"

namespace {

using qvGeom::CompactMesh;
using qvGeom::MeshAdjTris;

MeshAdjTris adjTrisOf(const CompactMesh& mesh) {
    MeshAdjTris adjTris;
    meshAdjTris(mesh, adjTris);
    return adjTris;
}

double checksumOf(const CompactMesh& mesh) {
    bench::Checksum sum;
    sum.add(mesh.getTrianglesRaw(), 3 * mesh.getNumTriangles());
    sum.add(mesh.getTriStripPoints(), mesh.getNumTriStripPoints());
    if (mesh.getNormals())
        sum.add(mesh.getNormalsRaw(), 3 * mesh.getNumVertices());
    return sum.value();
}

void oriented(benchmark::State& state) {
    const CompactMesh mesh = bench::surfaceOf(state);
    const MeshAdjTris adjTris = adjTrisOf(mesh);
    bool answer = false;
    for (auto _ : state)
        state.SetIterationTime(bench::secondsOf([&] { answer = meshOriented(mesh, adjTris); }));
    state.counters["checksum"] = answer;
    state.SetItemsProcessed(state.iterations() * mesh.getNumTriangles());
}

/// Every third triangle is wound the wrong way.
void makeOriented(benchmark::State& state) {
    CompactMesh input = bench::surfaceOf(state);
    for (int t = 0; t < input.getNumTriangles(); t += 3)
        std::swap(input.getTriangles()[t][0], input.getTriangles()[t][1]);
    const MeshAdjTris adjTris = adjTrisOf(input);
    CompactMesh mesh;
    for (auto _ : state) {
        mesh = input;
        state.SetIterationTime(bench::secondsOf([&] { meshMakeOriented(mesh, adjTris); }));
    }
    state.counters["checksum"] = checksumOf(mesh);
    state.SetItemsProcessed(state.iterations() * mesh.getNumTriangles());
}

/// Against one pass that reads and writes the same arrays: triangles, and normals of both kinds.
void reverseWinding(benchmark::State& state) {
    CompactMesh mesh = bench::surfaceOf(state);
    mesh.allocNormalArray();
    mesh.allocTriangleNormalArray();
    const auto stream = [](auto* words, int count) {
        for (int i = 0; i < count; ++i)
            words[i] = -words[i];
        benchmark::DoNotOptimize(words);
        benchmark::ClobberMemory();
    };
    int times = 0;
    bench::runInTurns(
        state,
        [&] {
            ++times;
            return bench::secondsOf([&] { meshReverseWinding(mesh, true); });
        },
        [&] {
            const auto pass = [&] {
                stream(mesh.getTrianglesRaw(), 3 * mesh.getNumTriangles());
                stream(mesh.getNormalsRaw(), 3 * mesh.getNumVertices());
                stream(mesh.getTriangleNormalsRaw(), 3 * mesh.getNumTriangles());
            };
            const double seconds = bench::secondsOf(pass);
            pass(); // which restores everything
            return seconds;
        });
    if (times % 2 == 0)
        meshReverseWinding(mesh, true); // so that the number of iterations does not show
    state.counters["checksum"] = checksumOf(mesh);
    state.SetItemsProcessed(state.iterations() * mesh.getNumTriangles());
}

/// Strips of 6 points, each of which becomes two.
void reverseStrips(benchmark::State& state) {
    const auto numStrips = static_cast<int>(state.range(0) / 4);
    CompactMesh input = test::wavySurface(2 * 6 * numStrips);
    input.resizeTriangleArray(0);
    input.resizeTriStripArrays(numStrips, 6 * numStrips);
    std::fill_n(input.getTriStripLengths(), numStrips, 6);
    std::iota(input.getTriStripPoints(), input.getTriStripPoints() + 6 * numStrips, 0);
    CompactMesh mesh;
    for (auto _ : state) {
        mesh = input;
        state.SetIterationTime(bench::secondsOf([&] { meshReverseWinding(mesh, false); }));
    }
    state.counters["checksum"] = checksumOf(mesh);
    state.SetItemsProcessed(state.iterations() * 4 * numStrips);
}

void reverseSelected(benchmark::State& state) {
    CompactMesh input = bench::surfaceOf(state);
    input.allocNormalArray();
    input.getSelectedTriangles().resize(input.getNumTriangles());
    for (int t = 0; t < input.getNumTriangles(); t += 2)
        input.getSelectedTriangles().set(t);
    CompactMesh mesh;
    for (auto _ : state) {
        mesh = input;
        state.SetIterationTime(bench::secondsOf([&] { meshReverseSelectedWinding(mesh); }));
    }
    state.counters["checksum"] = checksumOf(mesh);
    state.SetItemsProcessed(state.iterations() * mesh.getNumTriangles());
}

void reversePiece(benchmark::State& state) {
    const CompactMesh input = bench::surfaceOf(state);
    const MeshAdjTris adjTris = adjTrisOf(input);
    CompactMesh mesh;
    for (auto _ : state) {
        mesh = input;
        state.SetIterationTime(bench::secondsOf([&] { meshReverseWinding(mesh, adjTris, 0); }));
    }
    state.counters["checksum"] = checksumOf(mesh);
    state.SetItemsProcessed(state.iterations() * mesh.getNumTriangles());
}

void vertexNormals(benchmark::State& state) {
    CompactMesh mesh = bench::surfaceOf(state);
    const MeshAdjTris adjTris = adjTrisOf(mesh);
    for (auto _ : state)
        state.SetIterationTime(bench::secondsOf([&] { meshComputeNormals(mesh, adjTris); }));
    state.counters["checksum"] = checksumOf(mesh);
    state.SetItemsProcessed(state.iterations() * mesh.getNumTriangles());
}

void determinants(benchmark::State& state) {
    std::list<qvGeom::MeshPlacement> placements(state.range(0));
    int i = 0;
    for (qvGeom::MeshPlacement& placement : placements)
        placement.transform.m[0][0] = ++i % 3 == 0 ? -1 : 1;
    std::vector<bool> mirrored;
    for (auto _ : state)
        state.SetIterationTime(bench::secondsOf([&] { testDeterminants(placements, mirrored); }));
    bench::Checksum sum;
    for (const bool one : mirrored)
        sum.add(static_cast<int>(one));
    state.counters["checksum"] = sum.value();
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

BENCHMARK(oriented)->Apply(bench::sizesAndOrders)->UseManualTime();
BENCHMARK(makeOriented)->Apply(bench::sizesAndOrders)->UseManualTime();
BENCHMARK(reverseWinding)->Apply(bench::sizesAndOrders)->UseManualTime();
BENCHMARK(reverseStrips)->Apply(bench::sizes)->UseManualTime();
BENCHMARK(reverseSelected)->Apply(bench::sizesAndOrders)->UseManualTime();
BENCHMARK(reversePiece)->Apply(bench::sizesAndOrders)->UseManualTime();
BENCHMARK(vertexNormals)->Apply(bench::sizesAndOrders)->UseManualTime();
BENCHMARK(determinants)->Arg(1000)->UseManualTime()->Unit(benchmark::kMillisecond);

} // namespace
