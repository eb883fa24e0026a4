/// \file
/// The test of a ray against triangles: one, and four at once with the same operations.
#pragma once

#include <cmath>

#include "qvGeom/foundation/geometry/MeshVertex.h"
#include "qvGeom/foundation/geometry/internal/Lanes.h"
#include "qvGeom/foundation/linear/Convert.h"

namespace qvGeom::detail {

/// What is known of a hit.
struct RayHit {
    double t;
    bool backFace;
};

struct RayTriangleHit : RayHit {
    double u, v;
};

inline constexpr double kMinDeterminant = 1e-6;

/// Written so that NaN is no hit. Divides only for a hit.
inline bool meets(const qvLinear::Point& o, const qvLinear::Vector& d, const MeshVertex& va,
                  const MeshVertex& vb, const MeshVertex& vc, RayTriangleHit& hit) {
    const qvLinear::Point a = qvLinear::widen(va);
    const qvLinear::Vector e1 = qvLinear::widen(vb) - a;
    const qvLinear::Vector e2 = qvLinear::widen(vc) - a;
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
    hit = {{dot(e2, q) / det, det < 0.0}, u / size, v / size};
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

/// Four triangles, coordinate by coordinate. Unused ones have all corners at 0, so that nothing
/// meets them.
struct TriangleGroup {
    float corner[3][3][4]; // of a triangle, axis, triangle
    int triangle[4];
};

/// The distances of a group's triangles and the determinants, good for those that are met.
struct GroupHits {
    double t[4];
    double determinant[4];

    RayHit of(int lane) const { return {t[lane], determinant[lane] < 0.0}; }
};

/// What the test of two triangles needs but the direction of the ray, which others may share.
struct TrianglePair {
    Double2x3 e1, e2;
    Double2x3 s, q;

    TrianglePair(const TriangleGroup& group, int first, const Double2x3& o) {
        const auto corner = [&](int k) {
            const auto& c = group.corner[k];
            return Double2x3{widenPair(c[0] + first), widenPair(c[1] + first),
                             widenPair(c[2] + first)};
        };
        const Double2x3 a = corner(0);
        e1 = corner(1) - a;
        e2 = corner(2) - a;
        s = o - a;
        q = cross(s, e1);
    }

    /// One bit for each of the two that `meets` is true of, and what it divides for the distance.
    unsigned meeting(const Double2x3& d, Double2& det) const {
        const Double2x3 p = cross(d, e2);
        det = dot(e1, p);
        const Mask2 sign = reinterpret_cast<Mask2>(det) & reinterpret_cast<Mask2>(splat(-0.0));
        const auto turned = [sign](Double2 value) {
            return reinterpret_cast<Double2>(reinterpret_cast<Mask2>(value) ^ sign);
        };
        const Double2 size = turned(det);
        const Double2 u = turned(dot(s, p));
        const Double2 v = turned(dot(d, q));
        const Double2 zero = splat(0.0);
        return bitsOf(isAtLeast(size, splat(kMinDeterminant)) & isAtLeast(u, zero) &
                      isAtLeast(v, zero) & isAtLeast(size, u + v));
    }
};

/// The same of a whole group.
struct NarrowTriangles {
    TrianglePair pairs[2];

    NarrowTriangles(const TriangleGroup& group, const qvLinear::Point& o)
        : NarrowTriangles(group, Double2x3{splat(o.x), splat(o.y), splat(o.z)}) {}

    /// One bit for each triangle that `meets` is true of; sets `hits` when there are any.
    unsigned meeting(const qvLinear::Vector& along, GroupHits& hits) const {
        const Double2x3 d{splat(along.x), splat(along.y), splat(along.z)};
        Double2 det[2];
        const unsigned met = pairs[0].meeting(d, det[0]) | pairs[1].meeting(d, det[1]) << 2;
        if (met != 0) {
            const Double2 t[2] = {dot(pairs[0].e2, pairs[0].q) / det[0],
                                  dot(pairs[1].e2, pairs[1].q) / det[1]};
            std::memcpy(hits.t, t, sizeof t);
            std::memcpy(hits.determinant, det, sizeof det);
        }
        return met;
    }

private:
    NarrowTriangles(const TriangleGroup& group, const Double2x3& o)
        : pairs{{group, 0, o}, {group, 2, o}} {}
};

} // namespace qvGeom::detail
