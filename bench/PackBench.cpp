// One attempt to place rectangles that do fit, and the search for the size that does, named by the
// number of rectangles.

#include <benchmark/benchmark.h>
#include <vector>

#include "qvGeom/parameterization/GeomPack.h"

#include "support/ChartSizes.h"
#include "support/Measure.h"

namespace {

template <class Pack>
void measure(benchmark::State& state, double coverage, const Pack& pack) {
    const auto sizes = bench::chartSizes(static_cast<int>(state.range(0)), coverage);
    auto rects = sizes;
    for (auto _ : state) {
        rects = sizes;
        state.SetIterationTime(bench::secondsOf([&] { pack(rects); }));
    }
    bench::Checksum sum;
    double area = 0.0;
    for (const qvLinear::Range2d& rect : rects) {
        sum.add(static_cast<float>(rect.minX));
        sum.add(static_cast<float>(rect.minY));
        area += rect.width() * rect.height();
    }
    state.counters["checksum"] = sum.value();
    state.counters["covered"] = area;
}

void packOnce(benchmark::State& state) {
    measure(state, 0.8, [&state](auto& rects) {
        if (!qvGeom::pack(rects))
            state.SkipWithError("they do not fit");
    });
}

void packShrinking(benchmark::State& state) {
    measure(state, 1.5, [](auto& rects) { qvGeom::pack(rects, 20); });
}

void configure(benchmark::internal::Benchmark* benchmark) {
    benchmark->Arg(1000)->Arg(10000)->Arg(100000)->UseManualTime()->Unit(benchmark::kMillisecond);
}

BENCHMARK(packOnce)->Apply(configure);
BENCHMARK(packShrinking)->Apply(configure);

} // namespace
