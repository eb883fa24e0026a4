// Cases are named by the number of triangles and by their order: 0 lattice, 1 shuffled. Every
// iteration welds a fresh copy, made outside the time that counts.

#include <benchmark/benchmark.h>
#include <cstdint>

#include "qvGeom/editing/GeomVertexWeld.h"
#include "qvGeom/foundation/base/Progress.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/Remap.h"

#include "support/Measure.h"
#include "support/MeshBuilders.h"
#include "support/Subject.h"

namespace {

using qvGeom::CompactMesh;
using qvGeom::MeshNormal;
using qvGeom::MeshUV;
using qvGeom::MeshVertex;
using qvGeom::Remap;

enum class Channels { Positions, Normals, NormalsAndUVs };

/// A surface of about so many triangles. The channels depend on the position alone, so that they
/// split no vertex of its soup.
CompactMesh surface(const benchmark::State& state, Channels channels) {
    CompactMesh mesh = bench::surfaceOf(state);
    MeshNormal* const normals = channels == Channels::Positions ? nullptr : mesh.allocNormalArray();
    MeshUV* const uvs = channels == Channels::NormalsAndUVs ? mesh.allocUVArray() : nullptr;
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        const MeshVertex& p = mesh.getVertices()[v];
        if (normals)
            normals[v] = {p.z, p.x, p.y};
        if (uvs)
            uvs[v] = {p.x, p.y};
    }
    return mesh;
}

void weld(CompactMesh& mesh, Remap& remap) {
    qvUtil::Progress progress;
    meshCompact(mesh, progress, remap);
}

void weldInput(benchmark::State& state, const CompactMesh& input) {
    bench::Checksum sum;
    int welded = 0;
    for (auto _ : state) {
        CompactMesh mesh = input;
        Remap remap;
        state.SetIterationTime(bench::secondsOf([&] { weld(mesh, remap); }));
        sum = {};
        sum.add(mesh.getVerticesRaw(), 3 * mesh.getNumVertices());
        sum.add(mesh.getTrianglesRaw(), 3 * mesh.getNumTriangles());
        sum.add(remap.getMap().data(), remap.getOldCount());
        welded = mesh.getNumVertices();
    }
    state.counters["checksum"] = sum.value();
    state.counters["vertices"] = welded;
    state.SetItemsProcessed(state.iterations() * input.getNumTriangles());
}

void weldSoup(benchmark::State& state, Channels channels) {
    weldInput(state, test::soupOf(surface(state, channels)));
}

void weldWelded(benchmark::State& state) { weldInput(state, surface(state, Channels::Positions)); }

/// The memory that welding takes at its peak beyond that of the soup.
void weldMemory(benchmark::State& state) {
    CompactMesh mesh = test::soupOf(surface(state, Channels::Positions));
    Remap remap;
    double bytes = 0;
    for (auto _ : state)
        bytes = bench::peakGrowthOf([&] { weld(mesh, remap); });
    if (bytes < 0)
        state.SkipWithError("the system does not tell the peak of memory");
    state.counters["bytes_per_triangle"] = bytes / mesh.getNumTriangles();
    state.counters["checksum"] = mesh.getNumVertices();
    state.SetItemsProcessed(mesh.getNumTriangles());
}

BENCHMARK(weldMemory)
    ->ArgsProduct({{1'000'000, 4'000'000}, {0, 1}})
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(weldSoup, positions, Channels::Positions)
    ->Apply(bench::sizesAndOrders)
    ->UseManualTime();
BENCHMARK_CAPTURE(weldSoup, normals, Channels::Normals)
    ->Apply(bench::sizesAndOrders)
    ->UseManualTime();
BENCHMARK_CAPTURE(weldSoup, normalsAndUVs, Channels::NormalsAndUVs)
    ->Apply(bench::sizesAndOrders)
    ->UseManualTime();
BENCHMARK(weldWelded)->Apply(bench::sizesAndOrders)->UseManualTime();

} // namespace
