/// \file
/// Affine maps of space and of the plane. Points are rows: `p * m`, and
/// `a * b` applies a first.
#pragma once

#include "qvGeom/Export.h"
#include "qvGeom/foundation/linear/Normal.h"
#include "qvGeom/foundation/linear/Point.h"
#include "qvGeom/foundation/linear/Point2.h"

namespace qvLinear {

/// An affine map as it is stored; the identity unless given.
struct AffineMatrixFlt {
    float m[4][3] = {
        {1.0f, 0.0f, 0.0f}, {0.0f, 1.0f, 0.0f}, {0.0f, 0.0f, 1.0f}, {0.0f, 0.0f, 0.0f}};

    bool operator==(const AffineMatrixFlt&) const = default;
};

/// An affine map of space: rows 0 to 2 are the images of the axes, row 3 the
/// translation.
struct QVGEOM_API AffineMatrix {
    double m[4][3];

    /// The identity.
    AffineMatrix() { identity(); }

    /// The uniform scale by `diagonal`.
    explicit AffineMatrix(double diagonal);
    explicit AffineMatrix(const AffineMatrixFlt& stored);

    void identity();

    /// Writes the inverse map to `out`, which may be this matrix. Returns
    /// false, and writes nothing, when the matrix is singular to working
    /// precision or not finite.
    bool invert(AffineMatrix& out) const;

    /// Returns the determinant of the linear part: negative for a mirroring.
    double det3x3() const;

    /// Appends the shortest rotation about the world origin that turns `from`
    /// into `to`; for opposite normals a half turn about some axis at right
    /// angles to them. A zero normal appends nothing.
    void rotate(const Normal& from, const Normal& to);

    /// Makes the map from frame coordinates to the space that holds the frame:
    /// (a, b, c) goes to o + a x + b y + c z.
    void setFrame(const Point& o, const Vector& x, const Vector& y, const Vector& z);

    bool operator==(const AffineMatrix&) const = default;
};

/// An affine map of the plane: rows 0 and 1 are the images of the axes, row 2
/// the translation; the identity unless given.
struct AffineMatrix2 {
    double m[3][2] = {{1.0, 0.0}, {0.0, 1.0}, {0.0, 0.0}};

    bool operator==(const AffineMatrix2&) const = default;
};

inline Point operator*(const Point& p, const AffineMatrix& a) {
    return {p.x * a.m[0][0] + p.y * a.m[1][0] + p.z * a.m[2][0] + a.m[3][0],
            p.x * a.m[0][1] + p.y * a.m[1][1] + p.z * a.m[2][1] + a.m[3][1],
            p.x * a.m[0][2] + p.y * a.m[1][2] + p.z * a.m[2][2] + a.m[3][2]};
}

/// Applies the linear part only.
inline Vector operator*(const Vector& v, const AffineMatrix& a) {
    return {v.x * a.m[0][0] + v.y * a.m[1][0] + v.z * a.m[2][0],
            v.x * a.m[0][1] + v.y * a.m[1][1] + v.z * a.m[2][1],
            v.x * a.m[0][2] + v.y * a.m[1][2] + v.z * a.m[2][2]};
}

QVGEOM_API AffineMatrix operator*(const AffineMatrix& a, const AffineMatrix& b);

inline Point2 operator*(const Point2& p, const AffineMatrix2& a) {
    return {p.x * a.m[0][0] + p.y * a.m[1][0] + a.m[2][0],
            p.x * a.m[0][1] + p.y * a.m[1][1] + a.m[2][1]};
}

/// Applies the linear part only.
inline Vector2 operator*(const Vector2& v, const AffineMatrix2& a) {
    return {v.x * a.m[0][0] + v.y * a.m[1][0], v.x * a.m[0][1] + v.y * a.m[1][1]};
}

} // namespace qvLinear
