// Conjugate gradients against Eigen's, by the time of one iteration, on a grid's Laplacian. Eigen's
// solver is stopped after a number of iterations; both do the same arithmetic but for the order of
// sums, so that their results are compared, too.

#include <Eigen/IterativeLinearSolvers>
#include <Eigen/SparseCore>
#include <benchmark/benchmark.h>
#include <cmath>
#include <memory>
#include <vector>

#include "qvGeom/parameterization/GeomConjugateGradient.h"

#include "support/GridLaplacian.h"
#include "support/Measure.h"

namespace {

using qvGeom::ConjugateGradient;
using qvGeom::NVector;

using EigenMatrix = Eigen::SparseMatrix<double>;

constexpr int kIterations = 20;

struct System {
    EigenMatrix matrix;
    Eigen::VectorXd b;
    ConjugateGradient solver;
    NVector rightSide;

    explicit System(int side)
        : matrix(side * side, side * side),
          b(side * side),
          solver(side * side),
          rightSide(side * side) {
        std::vector<Eigen::Triplet<double>> entries;
        bench::addGridLaplacian(side, [&](int i, int j, double v) {
            solver.A().addToElement(i, j, v);
            entries.emplace_back(i, j, v);
        });
        matrix.setFromTriplets(entries.begin(), entries.end());
        for (int i = 0; i < rightSide.size(); ++i)
            b[i] = rightSide[i] = std::sin(i);
    }

    double ourIteration() {
        solver.initialize(rightSide, NVector(rightSide.size()));
        return bench::secondsOf([this] {
                   for (int k = 0; k < kIterations; ++k)
                       solver.iterate(0.0, 0.0);
               }) /
               kIterations;
    }
};

template <class Preconditioner>
void solverAgainstEigen(benchmark::State& state, void (ConjugateGradient::*precondition)(),
                        bool sameArithmetic) {
    System system(bench::gridSide(state.range(0)));
    (system.solver.*precondition)();
    Eigen::ConjugateGradient<EigenMatrix, Eigen::Lower | Eigen::Upper, Preconditioner> peer(
        system.matrix);
    peer.setTolerance(1e-300);
    Eigen::VectorXd solution;
    bench::runInTurns(
        state, [&] { return system.ourIteration(); },
        [&] {
            // What a longer run takes more, so that its start does not count.
            const auto secondsOf = [&](int iterations) {
                peer.setMaxIterations(iterations);
                return bench::secondsOf([&] { solution = peer.solve(system.b); });
            };
            const double shorter = secondsOf(kIterations / 2);
            return (secondsOf(kIterations + kIterations / 2) - shorter) / kIterations;
        });
    peer.setMaxIterations(kIterations);
    solution = peer.solve(system.b);
    system.ourIteration();
    double difference = 0.0;
    for (int i = 0; i < system.rightSide.size(); ++i)
        difference = std::max(difference, std::fabs(solution[i] - system.solver.x()[i]));
    if (sameArithmetic && !(difference < 1e-9))
        state.SkipWithError("the iterates differ");
    state.counters["difference"] = difference;
}

void solverDiagonalAgainstEigen(benchmark::State& state) {
    solverAgainstEigen<Eigen::DiagonalPreconditioner<double>>(
        state, &ConjugateGradient::initDiagonalPreconditioner, true);
}

// Theirs scales and shifts the matrix and reorders it, so that the iterates differ.
void solverCholeskyAgainstEigen(benchmark::State& state) {
    solverAgainstEigen<Eigen::IncompleteCholesky<double>>(
        state, &ConjugateGradient::initIncompleteCholeskyPreconditioner, false);
}

void solverCholeskySetUpAgainstEigen(benchmark::State& state) {
    System system(bench::gridSide(state.range(0)));
    bench::runInTurns(
        state,
        [&] {
            return bench::secondsOf([&] { system.solver.initIncompleteCholeskyPreconditioner(); });
        },
        [&] {
            std::unique_ptr<Eigen::IncompleteCholesky<double>> peer;
            return bench::secondsOf(
                [&] { peer = std::make_unique<Eigen::IncompleteCholesky<double>>(system.matrix); });
        });
}

BENCHMARK(solverDiagonalAgainstEigen)->Arg(100000)->Arg(1000000)->Apply(bench::rounds<5>);
BENCHMARK(solverCholeskyAgainstEigen)->Arg(100000)->Arg(1000000)->Apply(bench::rounds<5>);
BENCHMARK(solverCholeskySetUpAgainstEigen)->Arg(100000)->Arg(1000000)->Apply(bench::rounds<5>);

} // namespace
