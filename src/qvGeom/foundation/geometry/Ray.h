/// \file
/// Rays, prepared for tests against many boxes.
#pragma once

#include <cfloat>

#include "qvGeom/foundation/linear/Convert.h"

namespace qvGeom {

/// A half-line. Refers to the origin and the direction it is made from, which must outlive it:
/// temporaries do not. The direction may have any length; distances are in units of it.
struct Ray {
    const qvLinear::PointFlt& origin;
    const qvLinear::Vector& direction;
    float inverse[3]; ///< one over the direction, infinite where that is 0
    /// Which of the six floats of a box the ray meets first, and last, on each axis.
    int near[3];
    int far[3];
    float maxDistance = FLT_MAX; ///< for the use of callers, as are the marks; box tests ignore it
    int marks[2] = {0, 0};

    Ray(const qvLinear::PointFlt& from, const qvLinear::Vector& along)
        : origin(from),
          direction(along),
          inverse{qvLinear::narrow(1.0 / along.x), qvLinear::narrow(1.0 / along.y),
                  qvLinear::narrow(1.0 / along.z)} {
        for (int axis = 0; axis < 3; ++axis) {
            const bool backward = inverse[axis] < 0.0F; // -1/0 is, -0 is not
            near[axis] = backward ? axis + 3 : axis;
            far[axis] = backward ? axis : axis + 3;
        }
    }
};

} // namespace qvGeom
