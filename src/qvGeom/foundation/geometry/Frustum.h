/// \file
/// View volumes.
#pragma once

#include "qvGeom/Export.h"
#include "qvGeom/foundation/linear/Line.h"
#include "qvGeom/foundation/linear/Normal.h"
#include "qvGeom/foundation/linear/ProjMatrix.h"

namespace qvGeom {

/// The part of the world that a projection shows: what it maps to
/// -w <= x, y, z <= w.
///
/// The faces are the exact half-spaces of that volume, also for a far plane at
/// infinity; far corners that would lie at or beyond infinity stand 1e30 units
/// along their edge instead. A face whose half-space holds everything, or
/// nothing definite, has a zero normal, over which no point lies. A singular or
/// non-finite matrix has no corners: all are NaN, and tests against it, which look
/// for a reason to reject, let everything pass.
class QVGEOM_API Frustum {
public:
    /// A bounding plane: every point of the volume is on it or below it.
    struct Face {
        qvLinear::Point point;
        qvLinear::Normal outward;
    };

    explicit Frustum(const qvLinear::ProjMatrix& worldToClip);

    /// Bit 0 of the number picks right, bit 1 top, bit 2 far.
    qvLinear::Point corner[8];

    /// Left, right, bottom, top, near, far.
    Face face[6];

    /// Returns the unit viewing direction, from the middle of the near corners
    /// to that of the far ones; zero when there is none.
    qvLinear::Vector getVector() const;

    /// Returns the axis: from the middle of the near corners along `getVector()`.
    qvLinear::Line getRay() const;
};

} // namespace qvGeom
