/// \file
/// Rectangles as the charts of a texture have them.
#pragma once

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "qvGeom/foundation/linear/Range.h"

namespace bench {

/// Rectangles at the origin, longest side first, that together cover `coverage` of the unit square.
inline std::vector<qvLinear::Range2d> chartSizes(int count, double coverage) {
    std::mt19937 random(1);
    std::uniform_real_distribution<double> anySide(0.2, 1.0);
    std::vector<qvLinear::Range2d> rects;
    double area = 0.0;
    for (int i = 0; i < count; ++i) {
        rects.push_back({0.0, 0.0, anySide(random), anySide(random)});
        area += rects.back().maxX * rects.back().maxY;
    }
    const double scale = std::sqrt(coverage / area);
    for (qvLinear::Range2d& rect : rects)
        rect = {0.0, 0.0, scale * rect.maxX, scale * rect.maxY};
    std::sort(rects.begin(), rects.end(), [](const auto& a, const auto& b) {
        return std::max(a.maxX, a.maxY) > std::max(b.maxX, b.maxY);
    });
    return rects;
}

} // namespace bench
