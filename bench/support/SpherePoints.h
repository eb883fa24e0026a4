/// \file
/// Points around a unit sphere.
#pragma once

#include <random>
#include <vector>

#include "qvGeom/foundation/linear/Linear.h"

namespace bench {

/// Points in random directions, at distances between two radii from the centre.
inline std::vector<qvLinear::Point> pointsBetween(double inner, double outer, int count) {
    std::mt19937 random(1);
    std::normal_distribution<double> normal;
    std::uniform_real_distribution<double> radius(inner, outer);
    std::vector<qvLinear::Point> points(count);
    for (qvLinear::Point& p : points) {
        qvLinear::Vector direction{normal(random), normal(random), normal(random)};
        direction.normalize();
        p = qvLinear::Point{0, 0, 0} + radius(random) * direction;
    }
    return points;
}

} // namespace bench
