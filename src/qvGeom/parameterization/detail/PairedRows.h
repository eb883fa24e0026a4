/// \file
/// A sparse matrix laid out for products with vectors, two rows at a time.
#pragma once

#include <vector>

#include "qvGeom/foundation/geometry/internal/Lanes.h"
#include "qvGeom/parameterization/GeomConjugateGradient.h"

namespace qvGeom::detail {

/// The entries of a matrix that are not zero. Two rows, the second with the same values one column
/// further on, are stored once: those of a regular grid, and those of the two coordinates of a
/// point on which a system acts alike.
class PairedRows {
public:
    void assign(const SparseMatrix& matrix) {
        numRows_ = matrix.size();
        pairs_.clear();
        columns_.clear();
        values_.clear();
        pairs_.reserve(static_cast<std::size_t>(numRows_) / 2 + 2);
        for (int i = 0; i < numRows_; i += 2) {
            const int first = end();
            append(matrix.row(i));
            const int second = end();
            if (i + 1 < numRows_)
                append(matrix.row(i + 1));
            const bool isTwin = areTwins(first, second);
            if (isTwin) {
                columns_.resize(static_cast<std::size_t>(second));
                values_.resize(static_cast<std::size_t>(second));
            }
            pairs_.push_back({first, isTwin ? kTwins : second});
        }
        pairs_.push_back({end(), end()});
    }

    /// Calls `take(i, product)` with the product of every row i and `x`, from the last row to the
    /// first. Each is summed in the order of the row. Zeros do not change it while x is finite.
    template <class Take>
    void multiply(const double* x, const Take& take) const {
        const int* const columns = columns_.data();
        const double* const values = values_.data();
        for (int pair = static_cast<int>(pairs_.size()) - 2; pair >= 0; --pair) {
            const auto [first, second] = pairs_[pair];
            const int last = pairs_[pair + 1].first;
            double products[2] = {0.0, 0.0};
            if (second == kTwins) {
                Double2 sums = {0.0, 0.0};
                for (int e = first; e < last; ++e) {
                    const double* const place = x + columns[e];
                    sums += values[e] * Double2{place[0], place[1]};
                }
                products[0] = sums[0];
                products[1] = sums[1];
            } else {
                for (int e = first; e < second; ++e)
                    products[0] += values[e] * x[columns[e]];
                for (int e = second; e < last; ++e)
                    products[1] += values[e] * x[columns[e]];
            }
            if (2 * pair + 1 < numRows_)
                take(2 * pair + 1, products[1]);
            take(2 * pair, products[0]);
        }
    }

private:
    static constexpr int kTwins = -1;

    struct Pair {
        int first;
        int second; // where the second row begins
    };

    int end() const { return static_cast<int>(columns_.size()); }

    void append(const std::vector<SparseElement>& row) {
        for (const SparseElement& entry : row) {
            if (entry.value != 0.0) {
                columns_.push_back(entry.column);
                values_.push_back(entry.value);
            }
        }
    }

    bool areTwins(int first, int second) const {
        const int count = second - first;
        bool alike = end() - second == count;
        for (int e = first; alike && e < second; ++e)
            alike = columns_[e + count] == columns_[e] + 1 && values_[e + count] == values_[e];
        return alike;
    }

    int numRows_ = 0;
    std::vector<Pair> pairs_; // and one more for the end
    std::vector<int> columns_;
    std::vector<double> values_;
};

} // namespace qvGeom::detail
