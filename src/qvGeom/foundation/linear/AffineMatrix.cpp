#include "qvGeom/foundation/linear/AffineMatrix.h"

#include <cfloat>

#include "qvGeom/foundation/linear/Convert.h"
#include "qvGeom/foundation/linear/detail/Determinant.h"

namespace qvLinear {
namespace {

Vector rowOf(const AffineMatrix& a, int row) { return {a.m[row][0], a.m[row][1], a.m[row][2]}; }

void setRow(AffineMatrix& a, int row, const Vector& v) {
    a.m[row][0] = v.x;
    a.m[row][1] = v.y;
    a.m[row][2] = v.z;
}

void setColumn(AffineMatrix& a, int column, const Vector& v) {
    a.m[0][column] = v.x;
    a.m[1][column] = v.y;
    a.m[2][column] = v.z;
}

/// Mirrors `v` in the plane through the world origin with normal `n`.
Vector mirrored(const Vector& v, const Vector& n) { return v - n * (2.0 * dot(v, n)); }

/// Returns the unit vector half way between two unit vectors; for opposite
/// ones, some unit vector at right angles to them.
Vector bisector(const Vector& a, const Vector& b) {
    Vector half = a + b;
    if (dot(a, b) >= 0.0) {
        half.normalize();
        return half;
    }
    // The sum of nearly opposite vectors is small and carries the rounding of
    // their lengths; what of it lies along the difference is that error.
    const Vector difference = b - a;
    half -= project(half, difference);
    const bool isRounding = half.length() <= DBL_EPSILON;
    return !isRounding && half.normalize() ? half : difference.orthogonalVector();
}

} // namespace

AffineMatrix::AffineMatrix(double diagonal) {
    identity();
    m[0][0] = m[1][1] = m[2][2] = diagonal;
}

AffineMatrix::AffineMatrix(const AffineMatrixFlt& stored) {
    for (int row = 0; row < 4; ++row) {
        for (int column = 0; column < 3; ++column)
            m[row][column] = widen(stored.m[row][column]);
    }
}

void AffineMatrix::identity() {
    for (int row = 0; row < 4; ++row) {
        for (int column = 0; column < 3; ++column)
            m[row][column] = row == column ? 1.0 : 0.0;
    }
}

bool AffineMatrix::invert(AffineMatrix& out) const {
    const Vector x = rowOf(*this, 0), y = rowOf(*this, 1), z = rowOf(*this, 2);
    const Determinant det = determinant(x, y, z);
    if (det.isSingular())
        return false;

    AffineMatrix inverse;
    setColumn(inverse, 0, cross(y, z) / det.value);
    setColumn(inverse, 1, cross(z, x) / det.value);
    setColumn(inverse, 2, cross(x, y) / det.value);
    setRow(inverse, 3, -(rowOf(*this, 3) * inverse));
    if (!allFinite(inverse.m))
        return false;
    out = inverse;
    return true;
}

double AffineMatrix::det3x3() const {
    return dot(rowOf(*this, 0), cross(rowOf(*this, 1), rowOf(*this, 2)));
}

void AffineMatrix::rotate(const Normal& from, const Normal& to) {
    if (from == to || from == Normal() || to == Normal())
        return;
    // Mirroring twice turns by twice the angle between the mirrors.
    const Vector half = bisector(from, to);
    for (int row = 0; row < 4; ++row)
        setRow(*this, row, mirrored(mirrored(rowOf(*this, row), from), half));
}

void AffineMatrix::setFrame(const Point& o, const Vector& x, const Vector& y, const Vector& z) {
    setRow(*this, 0, x);
    setRow(*this, 1, y);
    setRow(*this, 2, z);
    setRow(*this, 3, {o.x, o.y, o.z});
}

AffineMatrix operator*(const AffineMatrix& a, const AffineMatrix& b) {
    AffineMatrix product;
    for (int row = 0; row < 3; ++row)
        setRow(product, row, rowOf(a, row) * b);
    const Point origin = Point{a.m[3][0], a.m[3][1], a.m[3][2]} * b;
    setRow(product, 3, {origin.x, origin.y, origin.z});
    return product;
}

AffineMatrixFlt narrow(const AffineMatrix& a) {
    AffineMatrixFlt stored;
    for (int row = 0; row < 4; ++row) {
        for (int column = 0; column < 3; ++column)
            stored.m[row][column] = narrow(a.m[row][column]);
    }
    return stored;
}

} // namespace qvLinear
