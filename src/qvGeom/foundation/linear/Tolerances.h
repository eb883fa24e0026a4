/// \file
/// The tolerances of the library; algorithms compare by these names only.
#pragma once

namespace qvLinear {

/// A length. Solver tolerance and breakdown bound too: larger values visibly
/// damage flattening, smaller ones break equality tests.
inline constexpr double epsilonTol = 1e-12;

/// A length in single precision. Survives narrowing in the infinite far plane
/// and keeps rays from hitting the triangle they start on.
inline constexpr float epsilonTolFlt = 1e-6f;

/// A squared length: the square of `epsilonTol`.
inline constexpr double epsilon2Tol = 1e-24;

/// The sine of an angle. Planes that meet at less are parallel, so that float
/// noise does not turn coplanar triangles into crossings.
inline constexpr double parallelTol = 1e-5;

/// A squared cosine.
inline constexpr double perpendicular2Tol = 1e-10;

/// An angle in degrees.
inline constexpr double degreeTol = 1e-6;

} // namespace qvLinear
