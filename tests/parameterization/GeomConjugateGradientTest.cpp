#include "qvGeom/parameterization/GeomConjugateGradient.h"

#include <cmath>
#include <gtest/gtest.h>
#include <random>
#include <sstream>
#include <tuple>
#include <vector>

using qvGeom::ConjugateGradient;
using qvGeom::NVector;
using qvGeom::SparseMatrix;

namespace {

using Entries = std::vector<std::tuple<int, int, double>>;

void fill(SparseMatrix& matrix, const Entries& entries) {
    for (const auto& [i, j, v] : entries)
        matrix.addToElement(i, j, v);
}

NVector vectorOf(const std::vector<double>& values) {
    NVector vector(static_cast<int>(values.size()));
    for (int i = 0; i < vector.size(); ++i)
        vector[i] = values[i];
    return vector;
}

/// A random symmetric matrix with a heavy diagonal, scaled by rows and columns, its entries added
/// in a random order.
void fillDefinite(SparseMatrix& matrix, std::mt19937& random, double weight) {
    std::uniform_int_distribution<int> anyRow(0, matrix.size() - 1);
    std::uniform_real_distribution<double> anyValue(-1.0, 1.0);
    const auto scaled = [](int i, int j, double v) {
        return std::tuple(i, j, (1 + i % 5) * v * (1 + j % 5));
    };
    Entries entries;
    for (int k = 0; k < 3 * matrix.size(); ++k) {
        const int i = anyRow(random);
        const int j = anyRow(random);
        const double v = anyValue(random);
        entries.insert(entries.end(), {scaled(i, j, v), scaled(j, i, v)});
    }
    for (int i = 0; i < matrix.size(); ++i)
        entries.push_back(scaled(i, i, weight));
    std::shuffle(entries.begin(), entries.end(), random);
    fill(matrix, entries);
}

NVector sines(int count) {
    NVector vector(count);
    for (int i = 0; i < count; ++i)
        vector[i] = std::sin(i + 1.0);
    return vector;
}

/// How the iterations end.
ConjugateGradient::StatusCode solve(ConjugateGradient& solver, double tolerance, double breakdown) {
    auto status = solver.iterate(tolerance, breakdown);
    while (!status.isDone())
        status = solver.iterate(tolerance, breakdown);
    return status.code();
}

// Three hundred unknowns pass the steps that calculate the residual anew.
TEST(ConjugateGradient, agreesWithDenseProducts) {
    std::mt19937 random(1);
    const int mostSteps[] = {80, 20, 10}; // without a preconditioner and with either
    for (const int n : {1, 2, 40, 300}) {
        for (const int kind : {0, 1, 2}) {
            SCOPED_TRACE(testing::Message() << n << " unknowns, preconditioner " << kind);
            ConjugateGradient solver(n);
            fillDefinite(solver.A(), random, n == 300 ? 7.0 : 12.0);
            if (kind == 1)
                solver.initDiagonalPreconditioner();
            else if (kind == 2)
                solver.initIncompleteCholeskyPreconditioner();
            const NVector b = sines(n);
            solver.initialize(b, NVector(n));
            solve(solver, 1e-12, 1e-40);
            EXPECT_LT(solver.getConvergenceValue(), 1e-9);
            EXPECT_LT(solver.getResidualInfinityNorm(), 1e-9);
            EXPECT_LE(solver.getIteration(), mostSteps[kind]);
            for (int i = 0; i < n; ++i) {
                double image = 0.0;
                for (int j = 0; j < n; ++j)
                    image += solver.A().getElement(i, j) * solver.x()[j];
                EXPECT_NEAR(image, b[i], 1e-9);
            }
        }
    }
}

// The entries, the right side and the limit of a breakdown give a status, iterations and x.
TEST(ConjugateGradient, endsAsTheSystemDemands) {
    using CG = ConjugateGradient;
    using Values = std::vector<double>;
    const Entries identity{{0, 0, 1.0}, {1, 1, 1.0}, {2, 2, 1.0}};
    const Entries twice{{0, 0, 2.0}, {1, 1, 2.0}, {2, 2, 2.0}};
    const std::tuple<Entries, Values, double, CG::StatusCode, int, Values> ends[] = {
        // The first step of a negative matrix is taken, a later one not.
        {{{0, 0, -2.0}}, {4.0}, 0.0, CG::NotPositiveDefinite, 1, {-2.0}},
        {{{0, 0, 3.0}, {1, 1, -1.0}}, {1.0, 1.0}, 0.0, CG::NotPositiveDefinite, 2, {1.0, 1.0}},
        {identity, {1.0, 2.0, 2.0}, 0.0, CG::Converged, 2, {1.0, 2.0, 2.0}},
        {identity, {0.0, 0.0, 0.0}, 0.0, CG::Converged, 1, {0.0, 0.0, 0.0}},
        {identity, {1.0, 2.0, 2.0}, 10.0, CG::CurvatureBreakdown, 1, {0.0, 0.0, 0.0}},
        // p . A p is 18, r . r is 9: the step is taken before the breakdown is seen.
        {twice, {1.0, 2.0, 2.0}, 10.0, CG::RhoBreakdown, 1, {0.5, 1.0, 1.0}},
    };
    for (const auto& [entries, b, breakdown, code, iterations, x] : ends) {
        SCOPED_TRACE(testing::Message() << "status " << code << " expected");
        const int n = static_cast<int>(b.size());
        ConjugateGradient solver(n);
        fill(solver.A(), entries);
        solver.initialize(vectorOf(b), NVector(n));
        EXPECT_EQ(solve(solver, 1e-10, breakdown), code);
        EXPECT_EQ(solver.getIteration(), iterations);
        for (int i = 0; i < n; ++i)
            EXPECT_DOUBLE_EQ(solver.x()[i], x[i]);
    }
}

// A tolerance of zero is never met; starting again counts anew and sees a changed matrix.
TEST(ConjugateGradient, takesAsManyStepsAsUnknowns) {
    ConjugateGradient solver(3);
    fill(solver.A(), {{0, 0, 2.0}, {0, 1, 0.3}, {1, 0, 0.3}, {1, 1, 3.0}, {2, 2, 7.0}});
    for (const double scale : {1.0, 2.0}) {
        solver.initialize(vectorOf({1.0, 1.0, 1.0}), vectorOf({0.1, 0.2, 0.3}));
        for (int step = 1; step <= 3; ++step)
            EXPECT_EQ(solver.iterate(0.0, 0.0).code(), ConjugateGradient::Iterating);
        EXPECT_EQ(solver.iterate(0.0, 0.0).code(), ConjugateGradient::MaxIterations);
        EXPECT_NEAR(solver.x()[2], 1.0 / (7.0 * scale), 1e-12);
        solver.A().addToElement(2, 2, 7.0);
    }
}

/// The factor R by the definition: every row takes all rows before it off, those with a zero too.
std::vector<std::vector<double>> literalFactor(const SparseMatrix& matrix) {
    std::vector<std::vector<double>> rows;
    for (int k = 0; k < matrix.size(); ++k) {
        std::vector<double> row(matrix.size());
        for (int j = k; j < matrix.size(); ++j)
            row[j] = matrix.getElement(k, j);
        for (const std::vector<double>& before : rows) {
            for (int j = k; j < matrix.size(); ++j)
                row[j] -= row[j] != 0.0 ? before[j] * before[k] : 0.0;
        }
        row[k] = std::sqrt(row[k]);
        for (int j = k + 1; j < matrix.size(); ++j)
            row[j] /= row[j] != 0.0 ? row[k] : 1.0;
        rows.push_back(row);
    }
    return rows;
}

// Light diagonals make pivots negative, zero and missing, and with them infinities and NaN.
TEST(IncompleteCholesky, isTheDefinitionBitForBit) {
    std::mt19937 random(2);
    int notFinite = 0;
    for (int round = 0; round < 60; ++round) {
        SCOPED_TRACE(testing::Message() << "round " << round);
        SparseMatrix matrix(60);
        fillDefinite(matrix, random, round % 3 == 0 ? 9.0 : 2.0);
        if (round % 3 == 2)
            matrix.addToElement(7, 7, -matrix.getElement(7, 7));
        const qvGeom::IncompleteCholeskyPreconditioner preconditioner(matrix);
        const auto expected = literalFactor(matrix);
        for (int i = 0; i < matrix.size(); ++i) {
            for (const auto& [column, value] : preconditioner.upperFactor().row(i)) {
                const double wanted = expected[i][column];
                notFinite += !std::isfinite(value);
                EXPECT_TRUE(value == wanted || (std::isnan(value) && std::isnan(wanted)))
                    << i << ' ' << column << ": " << value << ' ' << wanted;
            }
        }
    }
    EXPECT_GT(notFinite, 100);
}

TEST(SparseMatrix, answersByTheRulesAtTheirEdges) {
    // Whether it is symmetric, an M-matrix and positive definite.
    const std::tuple<Entries, bool, bool, bool> cases[] = {
        {{{0, 0, 1.0}, {0, 1, -1.0}, {1, 0, -1.0}, {1, 1, 1.0}}, true, false, false},
        {{{0, 0, 2.0}, {0, 1, -1.0}, {1, 0, -1.0}, {1, 1, 1.0}}, true, true, true},
        {{{0, 0, 2.0}, {0, 1, 1e-6}, {1, 1, 2.0}}, false, false, true},
        {{{0, 0, 2.0}, {0, 1, 9.9e-7}, {1, 1, 2.0}}, true, false, true},
        {{{0, 0, 2.0}}, true, true, false},
        {{{0, 0, 2.0}, {1, 1, 0.0}}, true, false, false},
        {{}, true, false, false},
    };
    for (const auto& [entries, symmetric, mMatrix, definite] : cases) {
        SparseMatrix matrix(2);
        fill(matrix, entries);
        SCOPED_TRACE(matrix.toMmaString().c_str());
        EXPECT_EQ(matrix.isSymmetric(), symmetric);
        EXPECT_EQ(matrix.isMMatrix(), mMatrix);
        EXPECT_EQ(matrix.isPositiveDefinite(), definite);
    }
}

// One row is long enough to be searched by its index.
TEST(SparseMatrix, keepsTheOrderOfEntries) {
    SparseMatrix matrix(200);
    for (int j = 199; j >= 0; --j)
        matrix.addToElement(3, j, j);
    matrix.addToElement(3, 100, 0.5);
    matrix.addToElement(5, 5, 0.0);
    EXPECT_EQ(matrix.nnz(), 201);
    EXPECT_EQ(matrix.row(3)[99].column, 100);
    double v = -1.0;
    EXPECT_TRUE(matrix.getElement(3, 100, v) && v == 100.5 && !matrix.getElement(4, 100, v));
    EXPECT_TRUE(v == 100.5 && matrix.getElement(5, 5, v) && v == 0.0);
    SparseMatrix turned(1);
    matrix.transpose(turned);
    EXPECT_EQ(turned.getElement(100, 3), 100.5);
    const NVector ones = vectorOf(std::vector<double>(200, 1.0));
    EXPECT_EQ(matrix.vectorDotMatrixTimesVector(ones, ones), 199 * 100 + 0.5);
}

TEST(SparseMatrix, printsZerosToo) {
    SparseMatrix matrix(2);
    fill(matrix, {{0, 1, -0.5}, {1, 0, 1.0}, {1, 1, 123.0}});
    std::ostringstream text;
    text << matrix << vectorOf({1.5, -2.0}) << matrix.toMmaString().c_str();
    EXPECT_EQ(text.str(), "SparseMatrix{\n"
                          "  0.0000000000 -0.5000000000\n"
                          "  1.0000000000  123.0000000000\n}(1.5 -2 )"
                          "{\n{0.0000000000,-0.5000000000},\n{1.0000000000,123.0000000000}\n}");
    testing::internal::CaptureStdout();
    matrix.dumpRowLengths();
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "  total rows: 2  length 1: 1 rows  length 2: 1 rows");
}

} // namespace
