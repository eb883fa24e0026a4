// Flattening of a wavy disk, named by the number of vertices.

#include <benchmark/benchmark.h>

#include "qvGeom/parameterization/GeomReparameterize.h"

#include "support/Measure.h"
#include "support/SilentOutput.h"
#include "support/Subject.h"

namespace {

void flattenDisk(benchmark::State& state) {
    const bench::SilentOutput silent;
    qvGeom::CompactMesh mesh = bench::surfaceOf(2 * state.range(0), 0);
    bool succeeds = true;
    for (auto _ : state) {
        qvGeom::reparameterizeMesh flattener(mesh);
        state.SetIterationTime(bench::secondsOf([&] { succeeds &= flattener.flatten(); }));
    }
    if (!succeeds)
        state.SkipWithError("not flattened");
    bench::Checksum sum;
    sum.add(mesh.getUVsRaw(), 2 * mesh.getNumVertices());
    state.counters["checksum"] = sum.value();
    state.SetItemsProcessed(state.iterations() * mesh.getNumVertices());
}

BENCHMARK(flattenDisk)->Arg(10000)->Arg(100000)->Arg(400000)->Apply(bench::rounds<1>);

} // namespace
