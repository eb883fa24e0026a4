/// \file
/// Random numbers, the same in every run.
#pragma once

#include <random>

#include "qvGeom/foundation/linear/Linear.h"

namespace test {

class Random {
public:
    explicit Random(unsigned seed = 1) : engine_(seed) {}

    /// From -size to size.
    double number(double size = 1.0) { return size * unit_(engine_); }

    /// From 0 to limit - 1.
    int below(int limit) { return static_cast<int>(engine_() % static_cast<unsigned>(limit)); }

    qvLinear::Vector vector(double size = 1.0) {
        const double x = number(size), y = number(size);
        return {x, y, number(size)};
    }

    qvLinear::Point point(double size = 1.0) { return qvLinear::Point{0, 0, 0} + vector(size); }

private:
    std::mt19937 engine_;
    std::uniform_real_distribution<double> unit_{-1.0, 1.0};
};

} // namespace test
