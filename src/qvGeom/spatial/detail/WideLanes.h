/// \file
/// The tests of rays for processors with AVX2: eight boxes and four triangles at once, by the same
/// operations as without.
///
/// To be inlined into functions compiled for such processors, and called on those only.
#pragma once

#if defined(__x86_64__)
#include <immintrin.h>
#endif

#include "qvGeom/spatial/detail/RayLanes.h"
#include "qvGeom/spatial/detail/RayTriangle.h"

namespace qvGeom::detail {

/// The tests as every processor can do them.
struct NarrowKernel {
    using Lanes = RayLanes;
    using Packet = PacketLanes;
    using Triangles = NarrowTriangles;
};

#if defined(__x86_64__)

/// The sides of eight boxes on one axis, then the distances to them.
struct WideSides {
    __m256 nearest, farthest;
};

/// As `boxesMet` of lanes of four. `rays.toDistances` is handed the sides on an axis, less the
/// origin.
template <class Rays>
[[gnu::target("avx2")]] inline unsigned boxesMetWide(const Rays& rays, const EightBoxes& boxes,
                                                     float limit, float enter[8]) {
    __m256 in = _mm256_setzero_ps();
    __m256 out = _mm256_set1_ps(limit);
    for (int axis = 0; axis < 3; ++axis) {
        const __m256 from = _mm256_set1_ps(rays.origin[axis][0]);
        WideSides sides{_mm256_loadu_ps(boxes.side[rays.near[axis]]) - from,
                        _mm256_loadu_ps(boxes.side[rays.far[axis]]) - from};
        rays.toDistances(axis, sides);
        in = _mm256_max_ps(sides.nearest, in); // the second where the first is NaN
        out = _mm256_min_ps(sides.farthest, out);
    }
    _mm256_storeu_ps(enter, in);
    const __m256 end = out * _mm256_set1_ps(kExitSlack);
    return static_cast<unsigned>(_mm256_movemask_ps(_mm256_cmp_ps(in, end, _CMP_LE_OQ)));
}

struct WideRayLanes : RayLanes {
    using RayLanes::RayLanes;

    [[gnu::target("avx2")]] void toDistances(int axis, WideSides& sides) const {
        const __m256 times = _mm256_set1_ps(inverse[axis][0]);
        sides.nearest *= times;
        sides.farthest *= times;
    }

    [[gnu::target("avx2")]] unsigned boxesMet(const EightBoxes& boxes, float limit,
                                              float enter[8]) const {
        return boxesMetWide(*this, boxes, limit, enter);
    }
};

struct WidePacketLanes : PacketLanes {
    using PacketLanes::PacketLanes;

    [[gnu::target("avx2")]] void toDistances(int axis, WideSides& sides) const {
        const __m256 low = _mm256_set1_ps(least[axis][0]);
        const __m256 high = _mm256_set1_ps(largest[axis][0]);
        sides.nearest = _mm256_min_ps(sides.nearest * high, sides.nearest * low);
        sides.farthest = _mm256_max_ps(sides.farthest * high, sides.farthest * low);
    }

    [[gnu::target("avx2")]] unsigned boxesMet(const EightBoxes& boxes, float limit,
                                              float enter[8]) const {
        return boxesMetWide(*this, boxes, limit, enter);
    }
};

struct Double4x3 {
    __m256d x, y, z;
};

[[gnu::target("avx2")]] inline Double4x3 operator-(const Double4x3& a, const Double4x3& b) {
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}

[[gnu::target("avx2")]] inline void dot(const Double4x3& a, const Double4x3& b, __m256d& result) {
    result = a.x * b.x + a.y * b.y + a.z * b.z;
}

[[gnu::target("avx2")]] inline Double4x3 cross(const Double4x3& a, const Double4x3& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

[[gnu::target("avx2")]] inline Double4x3 splatWide(double x, double y, double z) {
    return {_mm256_set1_pd(x), _mm256_set1_pd(y), _mm256_set1_pd(z)};
}

struct WideTriangles {
    Double4x3 e1, e2;
    Double4x3 s, q;

    [[gnu::target("avx2")]] WideTriangles(const TriangleGroup& group, const qvLinear::Point& o) {
        const Double4x3 a = corner(group, 0);
        e1 = corner(group, 1) - a;
        e2 = corner(group, 2) - a;
        s = splatWide(o.x, o.y, o.z) - a;
        q = cross(s, e1);
    }

    [[gnu::target("avx2")]] unsigned meeting(const qvLinear::Vector& along, GroupHits& hits) const {
        const Double4x3 d = splatWide(along.x, along.y, along.z);
        const Double4x3 p = cross(d, e2);
        __m256d det, sp, dq;
        dot(e1, p, det);
        dot(s, p, sp);
        dot(d, q, dq);
        const __m256d sign = _mm256_and_pd(det, _mm256_set1_pd(-0.0));
        const __m256d size = _mm256_xor_pd(det, sign);
        const __m256d u = _mm256_xor_pd(sp, sign);
        const __m256d v = _mm256_xor_pd(dq, sign);
        const __m256d zero = _mm256_setzero_pd();
        const __m256d met = _mm256_and_pd(
            _mm256_and_pd(_mm256_cmp_pd(size, _mm256_set1_pd(kMinDeterminant), _CMP_GE_OQ),
                          _mm256_cmp_pd(u, zero, _CMP_GE_OQ)),
            _mm256_and_pd(_mm256_cmp_pd(v, zero, _CMP_GE_OQ),
                          _mm256_cmp_pd(size, u + v, _CMP_GE_OQ)));
        const int bits = _mm256_movemask_pd(met);
        if (bits != 0) {
            __m256d t;
            dot(e2, q, t);
            _mm256_storeu_pd(hits.t, t / det);
            _mm256_storeu_pd(hits.determinant, det);
        }
        return static_cast<unsigned>(bits);
    }

private:
    [[gnu::target("avx2")]] static Double4x3 corner(const TriangleGroup& group, int k) {
        return {_mm256_cvtps_pd(_mm_loadu_ps(group.corner[k][0])),
                _mm256_cvtps_pd(_mm_loadu_ps(group.corner[k][1])),
                _mm256_cvtps_pd(_mm_loadu_ps(group.corner[k][2]))};
    }
};

struct WideKernel {
    using Lanes = WideRayLanes;
    using Packet = WidePacketLanes;
    using Triangles = WideTriangles;
};

template <class Job>
[[gnu::target("avx2"), gnu::flatten]] void runWide(const Job& job) {
    job(WideKernel());
}
#endif

/// Calls `job` with the widest tests that the processor can do.
template <class Job>
void runWithLanes(const Job& job) {
#if defined(__x86_64__)
    if (__builtin_cpu_supports("avx2"))
        return runWide(job);
#endif
    job(NarrowKernel());
}

} // namespace qvGeom::detail
