// Cutting closed surfaces open, named by the number of triangles and of handles.

#include <benchmark/benchmark.h>
#include <cmath>

#include "qvGeom/cutting/GeomCutSurface.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"

#include "support/Measure.h"
#include "support/MeshBuilders.h"

namespace {

using qvGeom::CompactMesh;

void makeDisk(benchmark::State& state) {
    const int side = static_cast<int>(std::sqrt(static_cast<double>(state.range(0)) / 2));
    const CompactMesh surface =
        state.range(1) == 0 ? test::sphere(side, side) : test::torus(side, side);
    CompactMesh mesh;
    for (auto _ : state) {
        mesh = surface;
        state.SetIterationTime(bench::secondsOf([&] {
            if (!qvGeom::cutSurface(mesh).makeDisk())
                state.SkipWithError("not cut");
        }));
    }
    bench::Checksum sum;
    sum.add(mesh.getTrianglesRaw(), 3 * mesh.getNumTriangles());
    state.counters["checksum"] = sum.value();
    state.counters["copies"] = mesh.getNumVertices() - surface.getNumVertices();
}

BENCHMARK(makeDisk)
    ->ArgsProduct({{100000, 1000000, 4000000}, {0, 1}})
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

} // namespace
