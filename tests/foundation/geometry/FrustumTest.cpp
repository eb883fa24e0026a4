#include "qvGeom/foundation/geometry/Frustum.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>

#include "qvGeom/foundation/linear/Plane.h"
#include "qvGeom/foundation/linear/Tolerances.h"

#include "support/Random.h"

namespace qvGeom {
namespace {

using qvLinear::Normal;
using qvLinear::Point;
using qvLinear::ProjMatrix;

/// Looks down -z through a window on the near plane; `zz` and `wz` place the far plane.
ProjMatrix perspective(double left, double right, double bottom, double top, double near, double zz,
                       double wz) {
    ProjMatrix m;
    m.m[0][0] = 2 * near / (right - left);
    m.m[1][1] = 2 * near / (top - bottom);
    m.m[2][0] = (right + left) / (right - left);
    m.m[2][1] = (top + bottom) / (top - bottom);
    m.m[2][2] = zz;
    m.m[2][3] = -1.0;
    m.m[3][2] = wz;
    return m;
}

ProjMatrix finitePerspective(double near, double far) {
    return perspective(-1, 2, -1, 1, near, (near + far) / (near - far),
                       2 * near * far / (near - far));
}

ProjMatrix orthographic() {
    ProjMatrix m;
    m.identity();
    m.m[0][0] = 0.5;
    m.m[2][2] = -0.25;
    m.m[3][2] = -1.5; // from 2 to 10 in front of the eye
    return m;
}

bool isInside(const Frustum& frustum, const Point& p) {
    return std::ranges::none_of(frustum.face, [&](const Frustum::Face& face) {
        return isAbove(qvLinear::Plane(face.point, face.outward), p, qvLinear::epsilonTol);
    });
}

// The clip test is the definition; for a far plane at infinity, and with the tolerance that moves
// it past infinity, nothing in front of the eye may be cut off.
TEST(Frustum, holdsWhatTheProjectionShows) {
    const double e = qvLinear::epsilonTolFlt;
    const ProjMatrix lenses[] = {finitePerspective(1, 10), orthographic(),
                                 perspective(-1, 1, -1, 1, 1, e - 1, e - 2),
                                 perspective(-1, 2, -3, 1, 0.1, -1, -0.2)};
    qvLinear::AffineMatrix worldToEye;
    worldToEye.rotate(Normal::x, Normal(1, -2, 0.5));
    worldToEye.m[3][0] = 3;
    worldToEye.m[3][2] = -7;
    test::Random random(5);
    for (const ProjMatrix& lens : lenses) {
        const ProjMatrix worldToClip = ProjMatrix(worldToEye) * lens;
        const Frustum frustum(worldToClip);
        const bool isEndless = &lens - lenses >= 2;
        EXPECT_EQ(distance(frustum.corner[7], Point{0, 0, 0}) > 1e29, isEndless);
        for (int k = 0; k < 8; ++k) {
            const Point clip = toPoint(toHPoint(frustum.corner[k]) * worldToClip);
            const double depth = k < 4 ? -1.0 : isEndless ? clip.z : 1.0;
            const Point expected{k & 1 ? 1.0 : -1.0, k & 2 ? 1.0 : -1.0, depth};
            EXPECT_TRUE(equivalent(clip, expected, 1e-12)) << k;
        }
        const qvLinear::Line ray = frustum.getRay();
        const Point ahead = toPoint(toHPoint(ray.origin + ray.direction) * worldToClip);
        EXPECT_TRUE(equivalent(ahead, Point{0, 0, ahead.z}, 1e-9) && ahead.z > -1);
        EXPECT_NEAR(ray.direction.length(), 1, 1e-15);
        int shown = 0;
        for (int k = 0; k < 20000; ++k) {
            const Point p = random.point(20);
            const qvLinear::HPoint h = toHPoint(p) * worldToClip;
            const bool wanted =
                std::abs(h.x) <= h.w && std::abs(h.y) <= h.w && std::abs(h.z) <= h.w;
            EXPECT_EQ(isInside(frustum, p), wanted) << p.x << ' ' << p.y << ' ' << p.z;
            shown += wanted;
        }
        EXPECT_GT(shown, 5);
    }
}

TEST(Frustum, singularMatrixHasNoCorners) {
    ProjMatrix broken = finitePerspective(1, 10);
    broken.m[1][1] = INFINITY;
    for (const ProjMatrix& m : {ProjMatrix(), broken}) {
        const Frustum frustum(m);
        for (const Point& corner : frustum.corner)
            EXPECT_TRUE(std::isnan(corner.x) && std::isnan(corner.y) && std::isnan(corner.z));
        EXPECT_EQ(frustum.getVector(), (qvLinear::Vector{0, 0, 0}));
        EXPECT_TRUE(isInside(frustum, {0, 0, -5}));
    }
}

} // namespace
} // namespace qvGeom
