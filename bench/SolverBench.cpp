// The five-point Laplacian of a square grid with a fixed border, named by the number of unknowns.

#include <benchmark/benchmark.h>
#include <bit>
#include <cmath>
#include <cstdint>
#include <memory>

#include "qvGeom/parameterization/GeomConjugateGradient.h"

#include "support/GridLaplacian.h"
#include "support/Measure.h"

namespace {

using qvGeom::ConjugateGradient;
using qvGeom::NVector;

/// The time of one iteration.
void solve(benchmark::State& state, void (ConjugateGradient::*precondition)()) {
    const int side = bench::gridSide(state.range(0));
    ConjugateGradient solver(side * side);
    bench::addGridLaplacian(side,
                            [&](int i, int j, double v) { solver.A().addToElement(i, j, v); });
    (solver.*precondition)();
    NVector b(side * side);
    for (int i = 0; i < b.size(); ++i)
        b[i] = std::sin(i);
    constexpr int kIterations = 20;
    for (auto _ : state) {
        solver.initialize(b, NVector(b.size()));
        state.SetIterationTime(bench::secondsOf([&] {
                                   for (int k = 0; k < kIterations; ++k)
                                       solver.iterate(0.0, 0.0);
                               }) /
                               kIterations);
    }
    const double x = solver.x()[b.size() / 2];
    bench::Checksum sum;
    sum.add(static_cast<float>(x));
    state.counters["checksum"] = sum.value();
}

void assembleMatrix(benchmark::State& state) {
    const int side = bench::gridSide(state.range(0));
    bench::Checksum sum;
    for (auto _ : state) {
        std::unique_ptr<qvGeom::SparseMatrix> matrix;
        state.SetIterationTime(bench::secondsOf([&] {
            matrix = std::make_unique<qvGeom::SparseMatrix>(side * side);
            bench::addGridLaplacian(side,
                                    [&](int i, int j, double v) { matrix->addToElement(i, j, v); });
        }));
        sum = {};
        sum.add(matrix->nnz());
    }
    state.counters["checksum"] = sum.value();
}

void iterateDiagonal(benchmark::State& state) {
    solve(state, &ConjugateGradient::initDiagonalPreconditioner);
}

void iterateCholesky(benchmark::State& state) {
    solve(state, &ConjugateGradient::initIncompleteCholeskyPreconditioner);
}

void configure(benchmark::internal::Benchmark* benchmark) {
    benchmark->Arg(100000)->Arg(1000000)->UseManualTime()->Unit(benchmark::kMillisecond);
}

BENCHMARK(assembleMatrix)->Apply(configure);
BENCHMARK(iterateDiagonal)->Apply(configure);
BENCHMARK(iterateCholesky)->Apply(configure);

} // namespace
