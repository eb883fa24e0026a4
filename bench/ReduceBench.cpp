// Cases are named by the number of triangles, by their order (0 lattice, 1 shuffled) and by the
// part of the vertices that is left, in percent. Every iteration reduces a fresh copy, made outside
// the time that counts.

#include <atomic>
#include <benchmark/benchmark.h>
#include <chrono>
#include <thread>
#include <vector>

#include "qvGeom/foundation/linear/Linear.h"
#include "qvGeom/improvement/GeomReduce.h"

#include "support/Measure.h"
#include "support/ReduceInput.h"

namespace {

using qvGeom::CompactMesh;

// Leaves about a tenth of the vertices at a million triangles.
constexpr double kTolerance = 1e-4;

struct Outcome {
    CompactMesh mesh;
    double seconds = 0;
    double deviation = 0;
};

Outcome toFraction(const CompactMesh& input, double fraction) {
    Outcome outcome = {input};
    qvUtil::Progress progress;
    std::vector<qvLinear::Point> removed;
    outcome.seconds =
        bench::secondsOf([&] { meshReduceToFraction(outcome.mesh, fraction, progress, removed); });
    return outcome;
}

Outcome withTolerance(const CompactMesh& input) {
    Outcome outcome = {input};
    qvUtil::Progress progress;
    std::vector<qvLinear::Point> removed;
    outcome.seconds = bench::secondsOf([&] {
        outcome.deviation = meshReduceWithTolerance(outcome.mesh, kTolerance, progress, removed);
    });
    return outcome;
}

void report(benchmark::State& state, const CompactMesh& input, const Outcome& outcome) {
    bench::Checksum sum;
    sum.add(outcome.mesh.getTrianglesRaw(), 3 * outcome.mesh.getNumTriangles());
    const int numRemoved = input.getNumVertices() - outcome.mesh.getNumVertices();
    state.counters["checksum"] = sum.value();
    state.counters["vertices"] = outcome.mesh.getNumVertices();
    state.SetItemsProcessed(state.iterations() * numRemoved);
}

void reduceFraction(benchmark::State& state) {
    const CompactMesh input = bench::bumpySphere(state.range(0), state.range(1));
    Outcome outcome;
    for (auto _ : state) {
        outcome = toFraction(input, static_cast<double>(state.range(2)) / 100);
        state.SetIterationTime(outcome.seconds);
    }
    report(state, input, outcome);
}

/// Compares times per removed vertex, when both remove equally many.
void reduceToleranceAgainstFraction(benchmark::State& state) {
    const CompactMesh input = bench::bumpySphere(state.range(0), state.range(1));
    Outcome tolerance;
    bench::runInTurns(
        state,
        [&] {
            tolerance = withTolerance(input);
            return tolerance.seconds;
        },
        [&] {
            const double left = tolerance.mesh.getNumVertices();
            return toFraction(input, left / input.getNumVertices()).seconds;
        });
    report(state, input, tolerance);
    state.counters["deviation"] = tolerance.deviation;
}

/// The longest time from a call of cancel() to the return, of many spread over the whole job.
void reduceCancelled(benchmark::State& state) {
    const CompactMesh input = bench::bumpySphere(state.range(0), state.range(1));
    const bool asksForFraction = state.range(2) > 0;
    const double whole =
        asksForFraction ? toFraction(input, 0.1).seconds : withTolerance(input).seconds;
    constexpr int kTries = 20;
    double longest = 0;
    for (auto _ : state) {
        for (int attempt = 0; attempt < kTries; ++attempt) {
            CompactMesh mesh = input;
            qvUtil::Progress progress;
            std::vector<qvLinear::Point> removed;
            std::chrono::steady_clock::time_point asked;
            std::thread canceller([&] {
                std::this_thread::sleep_for(
                    std::chrono::duration<double>(whole * (attempt + 0.5) / kTries));
                asked = std::chrono::steady_clock::now();
                progress.cancel();
            });
            if (asksForFraction)
                meshReduceToFraction(mesh, 0.1, progress, removed);
            else
                meshReduceWithTolerance(mesh, kTolerance, progress, removed);
            const auto returned = std::chrono::steady_clock::now();
            canceller.join();
            longest = std::max(longest, std::chrono::duration<double>(returned - asked).count());
        }
    }
    state.counters["longest_ms"] = 1e3 * longest;
}

BENCHMARK(reduceFraction)
    ->ArgNames({"", "", "percent"})
    ->ArgsProduct({{100'000, 1'000'000, 4'000'000}, {0, 1}, {50, 10}})
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(reduceToleranceAgainstFraction)
    ->ArgsProduct({{1'000'000}, {0, 1}})
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(reduceCancelled)
    ->ArgNames({"", "", "percent"}) // 0: within the tolerance
    ->ArgsProduct({{1'000'000}, {1}, {0, 10}})
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);

} // namespace
