/// \file
/// Closed loops of points in space to triangulate.
#pragma once

#include <cmath>
#include <cstdint>
#include <numbers>
#include <random>
#include <vector>

#include "qvGeom/foundation/linear/Point.h"

namespace bench {

enum class LoopKind {
    Smooth, // a wave around a circle
    Folded  // random points of a cube
};

inline std::vector<qvLinear::Point> loopOf(std::int64_t n, LoopKind kind) {
    std::mt19937 random(1);
    std::uniform_real_distribution<double> unit(-1.0, 1.0);
    std::vector<qvLinear::Point> loop;
    for (std::int64_t k = 0; k < n; ++k) {
        const double a = 2 * std::numbers::pi * static_cast<double>(k) / static_cast<double>(n);
        const double r = 1 + 0.2 * std::sin(3 * a);
        if (kind == LoopKind::Smooth)
            loop.push_back({r * std::cos(a), r * std::sin(a), 0.3 * std::cos(2 * a)});
        else
            loop.push_back({unit(random), unit(random), unit(random)});
    }
    return loop;
}

} // namespace bench
