#include "qvGeom/parameterization/GeomConjugateGradient.h"

#include <bit>
#include <cmath>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
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

/// A random symmetric matrix with a heavy diagonal, its entries added in a random order.
void fillDefinite(SparseMatrix& matrix, std::mt19937& random, double weight) {
    std::uniform_int_distribution<int> anyRow(0, matrix.size() - 1);
    std::uniform_real_distribution<double> anyValue(-1.0, 1.0);
    Entries entries;
    for (int k = 0; k < 3 * matrix.size(); ++k) {
        const int i = anyRow(random);
        const int j = anyRow(random);
        const double v = anyValue(random);
        entries.insert(entries.end(), {{i, j, v}, {j, i, v}});
    }
    for (int i = 0; i < matrix.size(); ++i)
        entries.emplace_back(i, i, weight);
    std::shuffle(entries.begin(), entries.end(), random);
    fill(matrix, entries);
}

/// Solves by Gaussian elimination; enough for well conditioned systems.
std::vector<double> denseSolution(const SparseMatrix& matrix, const NVector& b) {
    const int n = matrix.size();
    std::vector<std::vector<double>> rows(n, std::vector<double>(n + 1));
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < n; ++j)
            rows[i][j] = matrix.getElement(i, j);
        rows[i][n] = b[i];
    }
    for (int k = 0; k < n; ++k) {
        for (int i = 0; i < n; ++i) {
            const double factor = i == k ? 0.0 : rows[i][k] / rows[k][k];
            for (int j = k; j <= n; ++j)
                rows[i][j] -= factor * rows[k][j];
        }
    }
    std::vector<double> x(n);
    for (int i = 0; i < n; ++i)
        x[i] = rows[i][n] / rows[i][i];
    return x;
}

void precondition(ConjugateGradient& solver, int kind) {
    if (kind == 1)
        solver.initDiagonalPreconditioner();
    else if (kind == 2)
        solver.initIncompleteCholeskyPreconditioner();
}

// Three hundred unknowns pass the steps that calculate the residual anew.
TEST(ConjugateGradient, agreesWithElimination) {
    std::mt19937 random(1);
    for (const int n : {1, 2, 40, 300}) {
        for (const int kind : {0, 1, 2}) {
            SCOPED_TRACE(testing::Message() << n << " unknowns, preconditioner " << kind);
            ConjugateGradient solver(n);
            fillDefinite(solver.A(), random, n == 300 ? 7.0 : 12.0);
            precondition(solver, kind);
            NVector b(n);
            for (int i = 0; i < n; ++i)
                b[i] = std::sin(i + 1.0);
            solver.initialize(b, NVector(n));
            auto status = solver.iterate(1e-12, 1e-40);
            while (!status.isDone())
                status = solver.iterate(1e-12, 1e-40);
            EXPECT_LT(solver.getConvergenceValue(), 1e-9);
            EXPECT_LT(solver.getResidualInfinityNorm(), 1e-9);
            const std::vector<double> expected = denseSolution(solver.A(), b);
            for (int i = 0; i < n; ++i)
                EXPECT_NEAR(solver.x()[i], expected[i], 1e-8);
        }
    }
}

/// The two rows of points on which a system acts alike, zeros among them, and rows of other kinds.
void fillPairs(SparseMatrix& matrix, std::mt19937& random) {
    std::uniform_int_distribution<int> anyPoint(0, matrix.size() / 2 - 1);
    std::uniform_real_distribution<double> anyValue(-1.0, 1.0);
    for (int k = 0; k < 2 * matrix.size(); ++k) {
        const int i = 2 * anyPoint(random);
        const int j = 2 * anyPoint(random);
        const double v = k % 7 == 0 ? 0.0 : anyValue(random);
        for (const auto& [row, column] : {std::pair(i, j), {i + 1, j + 1}})
            matrix.addToElement(row, column, v);
        matrix.addToElement(i, j + 1, k % 50 == 0 ? v : 0.0);
    }
}

// Rows may be multiplied in another form, but to the same bits, also where zero meets infinity.
TEST(ConjugateGradient, stepsAsPlainProductsSay) {
    std::mt19937 random(4);
    for (const int n : {40, 41}) {
        ConjugateGradient solver(n);
        fillPairs(solver.A(), random);
        NVector b(n);
        for (int i = 0; i < n; ++i)
            b[i] = std::sin(i + 1.0);
        NVector image(n);
        solver.A().getMatrixTimesVector(b, image);
        NVector expected(n);
        expected.setToVectorPlusScalarTimesVector(expected, b.dot(b) / b.dot(image), b);
        solver.initialize(b, NVector(n));
        solver.iterate(0.0, 0.0);
        for (int i = 0; i < n; ++i)
            EXPECT_EQ(solver.x()[i], expected[i]);
    }
    ConjugateGradient solver(2);
    fill(solver.A(), {{0, 0, 1.0}, {0, 1, 0.0}});
    solver.initialize(NVector(2), vectorOf({1.0, HUGE_VAL}));
    EXPECT_TRUE(std::isnan(solver.getResidualNormSquared()));
}

struct End {
    Entries entries;
    std::vector<double> b;
    double breakdown;
    ConjugateGradient::StatusCode code;
    int iterations;
    std::vector<double> x;
};

TEST(ConjugateGradient, endsAsTheSystemDemands) {
    using CG = ConjugateGradient;
    const Entries identity{{0, 0, 1.0}, {1, 1, 1.0}, {2, 2, 1.0}};
    const End ends[] = {
        // The first step of a negative matrix is taken, a later one not.
        {{{0, 0, -2.0}}, {4.0}, 0.0, CG::NotPositiveDefinite, 1, {-2.0}},
        {{{0, 0, 3.0}, {1, 1, -1.0}}, {1.0, 1.0}, 0.0, CG::NotPositiveDefinite, 2, {1.0, 1.0}},
        {identity, {1.0, 2.0, 2.0}, 0.0, CG::Converged, 2, {1.0, 2.0, 2.0}},
        {identity, {0.0, 0.0, 0.0}, 0.0, CG::Converged, 1, {0.0, 0.0, 0.0}},
        {identity, {1.0, 2.0, 2.0}, 10.0, CG::CurvatureBreakdown, 1, {0.0, 0.0, 0.0}},
        // p . A p is 18, r . r is 9: the step is taken before the breakdown is seen.
        {{{0, 0, 2.0}, {1, 1, 2.0}, {2, 2, 2.0}},
         {1.0, 2.0, 2.0},
         10.0,
         CG::RhoBreakdown,
         1,
         {0.5, 1.0, 1.0}},
    };
    for (const End& end : ends) {
        SCOPED_TRACE(testing::Message() << "status " << end.code << " expected");
        const int n = static_cast<int>(end.b.size());
        ConjugateGradient solver(n);
        fill(solver.A(), end.entries);
        solver.initialize(vectorOf(end.b), NVector(n));
        auto status = solver.iterate(1e-10, end.breakdown);
        while (!status.isDone())
            status = solver.iterate(1e-10, end.breakdown);
        EXPECT_EQ(status.code(), end.code);
        EXPECT_EQ(solver.getIteration(), end.iterations);
        for (int i = 0; i < n; ++i)
            EXPECT_DOUBLE_EQ(solver.x()[i], end.x[i]);
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
    SparseMatrix factor(matrix.size());
    matrix.getUpperTriangular(factor);
    std::vector<std::vector<double>> rows;
    const auto at = [&](int i, int j) {
        for (int e = static_cast<int>(rows[i].size()) - 1; e >= 0; --e) {
            if (factor.row(i)[e].column == j)
                return rows[i][e];
        }
        return 0.0;
    };
    for (int k = 0; k < matrix.size(); ++k) {
        const auto& entries = factor.row(k);
        std::vector<double> row;
        for (const auto& entry : entries)
            row.push_back(entry.value);
        for (int i = 0; i < k; ++i) {
            for (std::size_t e = 0; e < row.size(); ++e) {
                if (row[e] != 0.0)
                    row[e] -= at(i, entries[e].column) * at(i, k);
            }
        }
        double pivot = 0.0;
        for (std::size_t e = row.size(); e-- > 0;) {
            if (entries[e].column == k)
                pivot = row[e] = std::sqrt(row[e]);
        }
        for (std::size_t e = 0; e < row.size(); ++e) {
            if (entries[e].column != k)
                row[e] /= pivot;
        }
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
            for (std::size_t e = 0; e < expected[i].size(); ++e) {
                const auto& entry = preconditioner.upperFactor().row(i)[e];
                notFinite += !std::isfinite(entry.value);
                EXPECT_TRUE((std::isnan(entry.value) && std::isnan(expected[i][e])) ||
                            std::bit_cast<std::uint64_t>(entry.value) ==
                                std::bit_cast<std::uint64_t>(expected[i][e]))
                    << i << ' ' << entry.column << ": " << entry.value << ' ' << expected[i][e];
            }
        }
        // What it applies is the inverse of Rt R.
        NVector r(60), z(60), image(60), back(60);
        for (int i = 0; i < 60; ++i)
            r[i] = std::cos(i);
        preconditioner.applyInverse(r, z);
        preconditioner.upperFactor().getMatrixTimesVector(z, image);
        preconditioner.lowerFactor().getMatrixTimesVector(image, back);
        for (int i = 0; i < 60 && round % 3 == 0; ++i)
            EXPECT_NEAR(back[i], r[i], 1e-12);
    }
    EXPECT_GT(notFinite, 100);
}

TEST(SparseMatrix, answersByTheRulesAtTheirEdges) {
    struct Case {
        Entries entries;
        bool symmetric, mMatrix, definite;
    };

    const Case cases[] = {
        {{{0, 0, 1.0}, {1, 1, 1.0}}, true, true, true},
        {{{0, 0, 1.0}, {0, 1, -1.0}, {1, 0, -1.0}, {1, 1, 1.0}}, true, false, false},
        {{{0, 0, 2.0}, {0, 1, -1.0}, {1, 0, -1.0}, {1, 1, 1.0}}, true, true, true},
        {{{0, 0, 2.0}, {0, 1, 0.0}, {1, 1, 2.0}}, true, true, true},
        {{{0, 0, 2.0}, {0, 1, 1e-6}, {1, 1, 2.0}}, false, false, true},
        {{{0, 0, 2.0}, {0, 1, 9.9e-7}, {1, 1, 2.0}}, true, false, true},
        {{{0, 0, 2.0}}, true, true, false},
        {{{0, 0, 2.0}, {1, 1, 0.0}}, true, false, false},
        {{}, true, false, false},
    };
    for (const Case& c : cases) {
        SparseMatrix matrix(2);
        fill(matrix, c.entries);
        std::ostringstream text;
        text << matrix;
        EXPECT_EQ(matrix.isSymmetric(), c.symmetric) << text.str();
        EXPECT_EQ(matrix.isMMatrix(), c.mMatrix) << text.str();
        EXPECT_EQ(matrix.isPositiveDefinite(), c.definite) << text.str();
    }
    EXPECT_TRUE(SparseMatrix(0).isPositiveDefinite());
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
    EXPECT_TRUE(matrix.getElement(3, 100, v) && v == 100.5);
    EXPECT_FALSE(matrix.getElement(4, 100, v) || v != 100.5);
    EXPECT_TRUE(matrix.getElement(5, 5, v) && v == 0.0);
    SparseMatrix turned(1), copied(2), upper(200);
    matrix.transpose(turned);
    copied.copy(turned);
    EXPECT_EQ(copied.getElement(100, 3), 100.5);
    matrix.getUpperTriangular(upper);
    matrix.getUpperTriangular(upper);
    EXPECT_EQ(upper.nnz(), 2 * 198);
    NVector ones(200), sums(200);
    ones.setToVectorPlusScalarTimesVector(ones, 1.0, vectorOf(std::vector<double>(200, 1.0)));
    matrix.getVectorMinusMatrixTimesVector(ones, ones, sums);
    EXPECT_EQ(sums[3], 1.0 - (199 * 100 + 0.5));
    EXPECT_EQ(matrix.vectorDotMatrixTimesVector(ones, ones), 199 * 100 + 0.5);
    EXPECT_EQ(sums.infinityNorm(), 199 * 100 - 0.5);
}

TEST(SparseMatrix, printsWholeTexts) {
    SparseMatrix matrix(3);
    fill(matrix, {{0, 0, 1.25},
                  {0, 2, -0.5},
                  {1, 0, -0.0},
                  {1, 1, -1e-12},
                  {2, 1, 123.0},
                  {2, 0, 1.0},
                  {2, 2, 2e10}});
    std::ostringstream text;
    text << matrix << SparseMatrix(0) << vectorOf({1.5, -2.0, 1e-7}) << NVector();
    EXPECT_EQ(text.str(), "SparseMatrix{\n"
                          "  1.2500000000  0.0000000000 -0.5000000000\n"
                          "  -0.0000000000 -0.0000000000  0.0000000000\n"
                          "  1.0000000000  123.0000000000  20000000000.0000000000\n"
                          "}SparseMatrix{\n}(1.5 -2 1e-07 )()");
    EXPECT_STREQ(matrix.toMmaString().c_str(),
                 "{\n{1.2500000000,0.0000000000,-0.5000000000},\n"
                 "{-0.0000000000,-0.0000000000,0.0000000000},\n"
                 "{1.0000000000,123.0000000000,20000000000.0000000000}\n}");
    EXPECT_STREQ(SparseMatrix(0).toMmaString().c_str(), "{\n}");
    testing::internal::CaptureStdout();
    matrix.dumpRowLengths();
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "  total rows: 3  length 2: 2 rows  length 3: 1 rows");
}

} // namespace
