#include "qvGeom/foundation/linear/ProjMatrix.h"

#include "qvGeom/foundation/linear/Convert.h"
#include "qvGeom/foundation/linear/detail/Determinant.h"

namespace qvLinear {
namespace {

/// Returns the determinant of what is left without one row and one column,
/// with the sign of their place.
Determinant cofactor(const ProjMatrix& a, int row, int column) {
    // Taken cyclically the remaining rows and columns keep their orientation.
    const int c0 = (column + 1) % 4, c1 = (column + 2) % 4, c2 = (column + 3) % 4;
    Vector rows[3];
    for (int k = 0; k < 3; ++k) {
        const double* entries = a.m[(row + 1 + k) % 4];
        rows[k] = {entries[c0], entries[c1], entries[c2]};
    }
    Determinant minor = determinant(rows[0], rows[1], rows[2]);
    if ((row + column) % 2 != 0)
        minor.value = -minor.value;
    return minor;
}

} // namespace

ProjMatrix::ProjMatrix(const AffineMatrix& affine) {
    for (int row = 0; row < 4; ++row) {
        for (int column = 0; column < 3; ++column)
            m[row][column] = affine.m[row][column];
        m[row][3] = row == 3 ? 1.0 : 0.0;
    }
}

void ProjMatrix::identity() { *this = ProjMatrix(AffineMatrix()); }

bool ProjMatrix::invert(ProjMatrix& out) const {
    // Cofactors rather than elimination: their error does not depend on how
    // differently the rows and columns are scaled, as they are in a projection.
    Determinant det{0.0, 0.0};
    ProjMatrix inverse;
    for (int row = 0; row < 4; ++row) {
        for (int column = 0; column < 4; ++column) {
            const Determinant minor = cofactor(*this, row, column);
            inverse.m[column][row] = minor.value;
            if (row == 0) {
                det.value += m[0][column] * minor.value;
                det.magnitude += std::abs(m[0][column]) * minor.magnitude;
            }
        }
    }
    if (det.isSingular())
        return false;

    for (auto& row : inverse.m) {
        for (double& entry : row)
            entry /= det.value;
    }
    if (!allFinite(inverse.m))
        return false;
    out = inverse;
    return true;
}

ProjMatrixFlt::ProjMatrixFlt(const ProjMatrix& matrix) {
    for (int row = 0; row < 4; ++row) {
        for (int column = 0; column < 4; ++column)
            m[row][column] = narrow(matrix.m[row][column]);
    }
}

ProjMatrix operator*(const ProjMatrix& a, const ProjMatrix& b) {
    ProjMatrix product;
    for (int row = 0; row < 4; ++row) {
        const HPoint image = HPoint{a.m[row][0], a.m[row][1], a.m[row][2], a.m[row][3]} * b;
        product.m[row][0] = image.x;
        product.m[row][1] = image.y;
        product.m[row][2] = image.z;
        product.m[row][3] = image.w;
    }
    return product;
}

ProjMatrix widen(const ProjMatrixFlt& a) {
    ProjMatrix wide;
    for (int row = 0; row < 4; ++row) {
        for (int column = 0; column < 4; ++column)
            wide.m[row][column] = widen(a.m[row][column]);
    }
    return wide;
}

} // namespace qvLinear
