/// \file
/// The test of a ray against triangles: one, and four at once with the same operations.
#pragma once

#include <cmath>

#include "qvGeom/foundation/geometry/MeshVertex.h"
#include "qvGeom/foundation/linear/Convert.h"
#include "qvGeom/spatial/detail/LeafTriangles.h"

namespace qvGeom::detail {

/// What is known of a hit.
struct RayTriangleHit {
    double t, u, v;
    bool backFace;
};

inline constexpr double kMinDeterminant = 1e-6;

inline qvLinear::Point pointOf(const MeshVertex& v) { return {v.x, v.y, v.z}; }

/// Written so that NaN is no hit. Divides only for a hit.
inline bool meets(const qvLinear::Point& o, const qvLinear::Vector& d, const MeshVertex& va,
                  const MeshVertex& vb, const MeshVertex& vc, RayTriangleHit& hit) {
    const qvLinear::Point a = pointOf(va);
    const qvLinear::Vector e1 = pointOf(vb) - a;
    const qvLinear::Vector e2 = pointOf(vc) - a;
    const qvLinear::Vector p = cross(d, e2);
    const double det = dot(e1, p);
    const double size = std::abs(det);
    if (!(size >= kMinDeterminant))
        return false;
    const qvLinear::Vector s = o - a;
    const qvLinear::Vector q = cross(s, e1);
    const double u = det < 0.0 ? -dot(s, p) : dot(s, p);
    const double v = det < 0.0 ? -dot(d, q) : dot(d, q);
    if (!(u >= 0.0 && v >= 0.0 && u + v <= size))
        return false;
    hit = {dot(e2, q) / det, u / size, v / size, det < 0.0};
    return true;
}

struct Double2x3 {
    Double2 x, y, z;
};

inline Double2x3 operator-(const Double2x3& a, const Double2x3& b) {
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}

inline Double2 dot(const Double2x3& a, const Double2x3& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}

inline Double2x3 cross(const Double2x3& a, const Double2x3& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

/// One bit for each triangle of the group that `meets` is true of.
inline unsigned trianglesMeeting(const TriangleGroup& group, const Double2x3& o,
                                 const Double2x3& d) {
    unsigned met = 0;
    for (int first = 0; first < 4; first += 2) {
        const auto corner = [&](int k) {
            const auto& c = group.corner[k];
            return Double2x3{widenPair(c[0] + first), widenPair(c[1] + first),
                             widenPair(c[2] + first)};
        };
        const Double2x3 a = corner(0);
        const Double2x3 e1 = corner(1) - a;
        const Double2x3 e2 = corner(2) - a;
        const Double2x3 p = cross(d, e2);
        const Double2 det = dot(e1, p);
        const Mask2 sign = reinterpret_cast<Mask2>(det) & reinterpret_cast<Mask2>(splat(-0.0));
        const auto turned = [sign](Double2 value) {
            return reinterpret_cast<Double2>(reinterpret_cast<Mask2>(value) ^ sign);
        };
        const Double2 size = turned(det);
        const Double2x3 s = o - a;
        const Double2 u = turned(dot(s, p));
        const Double2 v = turned(dot(d, cross(s, e1)));
        const Double2 zero = splat(0.0);
        const Mask2 inside =
            (size >= splat(kMinDeterminant)) & (u >= zero) & (v >= zero) & (u + v <= size);
        met |= bitsOf(inside) << first;
    }
    return met;
}

} // namespace qvGeom::detail
