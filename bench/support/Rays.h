/// \file
/// What rays are measured on: a sphere, seen by a camera or shot at random.
#pragma once

#include <benchmark/benchmark.h>
#include <cstdint>
#include <random>
#include <vector>

#include "qvGeom/foundation/linear/Linear.h"

#include "support/IndexedMesh.h"
#include "support/Subject.h"

namespace bench {

inline const IndexedMesh& raySubjectOf(const benchmark::State& state) {
    return kept<IndexedSphere>(state.range(0));
}

struct RayQuery {
    qvLinear::PointFlt origin;
    qvLinear::VectorFlt direction;
};

/// A camera's rays row by row, or random ones when the second number of the case is 1. Four in a
/// row belong together: they have one origin.
inline std::vector<RayQuery> raysOf(const benchmark::State& state) {
    constexpr int kSide = 512;
    std::mt19937 random(1);
    std::uniform_real_distribution<float> unit(-1.0F, 1.0F);
    std::vector<RayQuery> rays;
    for (int i = 0; i < kSide * kSide; ++i) {
        if (state.range(1) == 0) { // two by two pixels
            const int block = i / 4, x = block % (kSide / 2) * 2 + i % 2,
                      y = block / (kSide / 2) * 2 + i / 2 % 2;
            const auto at = [](int pixel) { return (static_cast<float>(pixel) + 0.5F) / kSide; };
            rays.push_back({{0.1F, 0.2F, 3.0F}, {at(x) * 0.9F - 0.5F, at(y) * 0.9F - 0.5F, -1.0F}});
        } else {
            const qvLinear::PointFlt from =
                i % 4 == 0 ? qvLinear::PointFlt{1.5F * unit(random), 1.5F * unit(random),
                                                1.5F * unit(random)}
                           : rays.back().origin;
            rays.push_back({from, {unit(random), unit(random), unit(random)}});
        }
    }
    return rays;
}

} // namespace bench
