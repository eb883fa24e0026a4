/// \file
/// A system of the kind that solvers are measured by.
#pragma once

#include <cmath>
#include <cstdint>

namespace bench {

/// The side of a square grid of about so many points.
inline int gridSide(std::int64_t points) {
    return static_cast<int>(std::lround(std::sqrt(static_cast<double>(points))));
}

/// Gives every entry of the grid's five-point Laplacian to `add(row, column, value)`, row by row.
/// The grid's border is fixed at zero.
template <class Add>
void addGridLaplacian(int side, const Add& add) {
    for (int i = 0; i < side * side; ++i) {
        const int column = i % side;
        add(i, i, 4.0);
        if (i >= side)
            add(i, i - side, -1.0);
        if (column > 0)
            add(i, i - 1, -1.0);
        if (column + 1 < side)
            add(i, i + 1, -1.0);
        if (i + side < side * side)
            add(i, i + side, -1.0);
    }
}

} // namespace bench
