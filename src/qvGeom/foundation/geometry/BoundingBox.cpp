#include "qvGeom/foundation/geometry/BoundingBox.h"

#include <algorithm>

namespace qvGeom {

using qvLinear::AffineMatrix;
using qvLinear::AffineMatrixFlt;
using qvLinear::narrow;
using qvLinear::widen;

BoundingBox::BoundingBox(const double* minMax) {
    for (int axis = 0; axis < 3; ++axis) {
        min[axis] = narrow(minMax[axis]);
        max[axis] = narrow(minMax[3 + axis]);
    }
}

void BoundingBox::set(const qvLinear::Range3d& range) {
    *this = range.isEmpty() ? invalid() : BoundingBox(narrow(range.min), narrow(range.max));
}

void BoundingBox::extend(float margin) {
    if (!isValid())
        return;
    for (int axis = 0; axis < 3; ++axis) {
        min[axis] -= margin;
        max[axis] += margin;
    }
}

void BoundingBox::extendToCube() {
    if (!isValid())
        return;
    double side = 0.0;
    for (int axis = 0; axis < 3; ++axis)
        side = std::max(side, widen(max[axis]) - widen(min[axis]));
    for (int axis = 0; axis < 3; ++axis) {
        const double middle = 0.5 * (widen(min[axis]) + widen(max[axis]));
        // Never inwards, which rounding could do to the longest side.
        extendAxis(axis, narrow(middle - 0.5 * side), narrow(middle + 0.5 * side));
    }
}

void BoundingBox::transform(const AffineMatrix& matrix) {
    if (!isValid()) {
        setInvalid();
        return;
    }
    const BoundingBox source = *this;
    for (int axis = 0; axis < 3; ++axis) {
        // Each corner's coordinate is a sum with one choice per source axis, and
        // rounding is monotone: the extreme choices give the extreme corners' bits.
        double lo = 0.0, hi = 0.0;
        for (int from = 0; from < 3; ++from) {
            const double factor = matrix.m[from][axis];
            if (factor == 0.0)
                continue; // an infinite side times 0 is NaN
            const double atMin = factor * widen(source.min[from]);
            const double atMax = factor * widen(source.max[from]);
            lo += std::min(atMin, atMax);
            hi += std::max(atMin, atMax);
        }
        min[axis] = narrow(lo + matrix.m[3][axis]);
        max[axis] = narrow(hi + matrix.m[3][axis]);
    }
}

void BoundingBox::transform(const AffineMatrixFlt& matrix) { transform(widen(matrix)); }

double BoundingBox::diagonalLength() const {
    return isValid() ? qvLinear::distance(widen(minPt()), widen(maxPt())) : 0.0;
}

} // namespace qvGeom
