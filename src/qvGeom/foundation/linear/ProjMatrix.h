/// \file
/// Projective maps of space. Points are rows: `h * m`, and `a * b` applies a
/// first; the perspective divide comes from column 3.
#pragma once

#include "qvGeom/Export.h"
#include "qvGeom/foundation/linear/AffineMatrix.h"
#include "qvGeom/foundation/linear/Point.h"

namespace qvLinear {

/// A projective map, addressed m[row][column].
struct QVGEOM_API ProjMatrix {
    double m[4][4];

    /// All zeros: a projection sets the few entries it has.
    ProjMatrix() : m{} {}

    explicit ProjMatrix(const AffineMatrix& affine);

    void identity();

    /// Writes the inverse map to `out`, which may be this matrix. Returns
    /// false, and writes nothing, when the matrix is singular to working
    /// precision or not finite.
    bool invert(ProjMatrix& out) const;

    bool operator==(const ProjMatrix&) const = default;
};

/// A projective map as it is stored.
struct QVGEOM_API ProjMatrixFlt {
    float m[4][4];

    /// All zeros.
    ProjMatrixFlt() : m{} {}

    explicit ProjMatrixFlt(const ProjMatrix& matrix);

    bool operator==(const ProjMatrixFlt&) const = default;
};

inline HPoint operator*(const HPoint& h, const ProjMatrix& a) {
    return {h.x * a.m[0][0] + h.y * a.m[1][0] + h.z * a.m[2][0] + h.w * a.m[3][0],
            h.x * a.m[0][1] + h.y * a.m[1][1] + h.z * a.m[2][1] + h.w * a.m[3][1],
            h.x * a.m[0][2] + h.y * a.m[1][2] + h.z * a.m[2][2] + h.w * a.m[3][2],
            h.x * a.m[0][3] + h.y * a.m[1][3] + h.z * a.m[2][3] + h.w * a.m[3][3]};
}

QVGEOM_API ProjMatrix operator*(const ProjMatrix& a, const ProjMatrix& b);

} // namespace qvLinear
