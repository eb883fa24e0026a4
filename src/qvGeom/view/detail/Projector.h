/// \file
/// Points in clip space, and the sides of the view volume that they lie beyond.
#pragma once

#include <array>
#include <cstdint>

#include "qvGeom/foundation/geometry/internal/Lanes.h"
#include "qvGeom/foundation/linear/ProjMatrix.h"

namespace qvGeom::detail {

/// The rows of a projection, to compute all coordinates of a point at once.
class Projector {
public:
    explicit Projector(const qvLinear::ProjMatrixFlt& m)
        : x_(load(m.m[0])),
          y_(load(m.m[1])),
          z_(load(m.m[2])),
          origin_(load(m.m[3])) {}

    Float4 operator()(const float* xyz) const {
        return splat(xyz[0]) * x_ + splat(xyz[1]) * y_ + splat(xyz[2]) * z_ + origin_;
    }

private:
    Float4 x_, y_, z_, origin_;
};

inline int outcodeOf(Float4 p) {
    // Bit k of the index, for axis k, goes to bit 2k.
    constexpr std::array<std::int8_t, 16> kSpread{0, 1, 4, 5, 16, 17, 20, 21,
                                                  0, 1, 4, 5, 16, 17, 20, 21};
    const Float4 w = splat(p[3]);
    const unsigned below = bitsOf(p < -w);
    const unsigned above = bitsOf(p > w) & ~below;
    return kSpread[below] | kSpread[above] << 1;
}

} // namespace qvGeom::detail
