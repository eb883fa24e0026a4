// One attempt to place rectangles, against the skyline packer of stb. Theirs takes whole numbers:
// sizes are rounded up to a grid of 16384. "covered" is the area of the smallest share of sizes at
// which each still fits, found by shrinking by a hundredth at a time.

#include <benchmark/benchmark.h>
#include <cmath>
#include <vector>

#define STB_RECT_PACK_IMPLEMENTATION
#define STBRP_STATIC
#include <stb/stb_rect_pack.h>

#include "qvGeom/parameterization/GeomPack.h"

#include "support/ChartSizes.h"
#include "support/Measure.h"

namespace {

using Rects = std::vector<qvLinear::Range2d>;

constexpr int kGrid = 16384;

bool packTheirs(const Rects& sizes) {
    std::vector<stbrp_rect> rects(sizes.size());
    for (std::size_t i = 0; i < sizes.size(); ++i) {
        rects[i].w = static_cast<int>(std::ceil(sizes[i].maxX * kGrid));
        rects[i].h = static_cast<int>(std::ceil(sizes[i].maxY * kGrid));
    }
    std::vector<stbrp_node> nodes(kGrid);
    stbrp_context context;
    stbrp_init_target(&context, kGrid, kGrid, nodes.data(), kGrid);
    return stbrp_pack_rects(&context, rects.data(), static_cast<int>(rects.size())) == 1;
}

bool packOurs(Rects sizes) { return qvGeom::pack(sizes); }

template <class Pack>
double largestCoverage(int count, const Pack& pack) {
    double coverage = 0.99;
    while (coverage > 0.0 && !pack(bench::chartSizes(count, coverage)))
        coverage -= 0.01;
    return coverage;
}

void packAgainstStb(benchmark::State& state) {
    const int count = static_cast<int>(state.range(0));
    const Rects sizes = bench::chartSizes(count, 0.8);
    bool fits = true;
    bench::runInTurns(
        state, [&] { return bench::secondsOf([&] { fits &= packOurs(sizes); }); },
        [&] { return bench::secondsOf([&] { fits &= packTheirs(sizes); }); });
    if (!fits)
        state.SkipWithError("they do not fit");
    state.counters["our_coverage"] = largestCoverage(count, packOurs);
    state.counters["their_coverage"] = largestCoverage(count, packTheirs);
}

BENCHMARK(packAgainstStb)->Arg(1000)->Arg(10000)->Apply(bench::rounds<11>);

} // namespace
