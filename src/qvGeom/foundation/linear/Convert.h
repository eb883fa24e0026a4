/// \file
/// The two crossings between stored floats and computed doubles: `widen` is
/// exact, `narrow` rounds to nearest.
#pragma once

#include "qvGeom/foundation/linear/AffineMatrix.h"
#include "qvGeom/foundation/linear/Point.h"
#include "qvGeom/foundation/linear/Point2.h"
#include "qvGeom/foundation/linear/ProjMatrix.h"
#include "qvGeom/foundation/linear/Vector.h"

namespace qvLinear {

constexpr double widen(float value) { return value; }

constexpr float narrow(double value) { return static_cast<float>(value); }

constexpr Point widen(const PointFlt& p) { return {p.x, p.y, p.z}; }

constexpr Vector widen(const VectorFlt& v) { return {v.x, v.y, v.z}; }

constexpr Point2 widen(const Point2Flt& p) { return {p.x, p.y}; }

inline AffineMatrix widen(const AffineMatrixFlt& a) { return AffineMatrix(a); }

QVGEOM_API ProjMatrix widen(const ProjMatrixFlt& a);

constexpr PointFlt narrow(const Point& p) { return {narrow(p.x), narrow(p.y), narrow(p.z)}; }

constexpr VectorFlt narrow(const Vector& v) { return {narrow(v.x), narrow(v.y), narrow(v.z)}; }

constexpr Point2Flt narrow(const Point2& p) { return {narrow(p.x), narrow(p.y)}; }

QVGEOM_API AffineMatrixFlt narrow(const AffineMatrix& a);

inline ProjMatrixFlt narrow(const ProjMatrix& a) { return ProjMatrixFlt(a); }

} // namespace qvLinear
