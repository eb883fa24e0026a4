/// \file
/// A sparse matrix laid out for reading from end to end.
#pragma once

#include <vector>

#include "qvGeom/parameterization/GeomConjugateGradient.h"

namespace qvGeom::detail {

/// The rows of a matrix one after the other, each in its order.
struct FlatRows {
    std::vector<int> start; // of each row, and the end of the last
    std::vector<int> column;
    std::vector<double> value;

    /// Takes the entries of `matrix` for which `keeps(row, entry)` is true.
    template <class Keeps>
    void assign(const SparseMatrix& matrix, Keeps keeps) {
        start.assign(1, 0);
        column.clear();
        value.clear();
        start.reserve(static_cast<std::size_t>(matrix.size()) + 1);
        column.reserve(static_cast<std::size_t>(matrix.nnz()));
        value.reserve(static_cast<std::size_t>(matrix.nnz()));
        for (int i = 0; i < matrix.size(); ++i) {
            for (const SparseElement& entry : matrix.row(i)) {
                if (!keeps(i, entry))
                    continue;
                column.push_back(entry.column);
                value.push_back(entry.value);
            }
            start.push_back(static_cast<int>(column.size()));
        }
    }
};

} // namespace qvGeom::detail
