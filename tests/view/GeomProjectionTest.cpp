#include "qvGeom/view/GeomProjection.h"

#include <cmath>
#include <gtest/gtest.h>
#include <string>

#include "qvGeom/foundation/base/Diagnostics.h"
#include "qvGeom/foundation/linear/Linear.h"

#include "support/CapturedOutput.h"
#include "support/Random.h"

namespace {

using qvGeom::AngleAspect;
using qvGeom::EyeSpaceFrustum;
using qvGeom::Viewport;
using qvLinear::AffineMatrix;
using qvLinear::AffineMatrix2;
using qvLinear::HPoint;
using qvLinear::ParamPlane;
using qvLinear::Point;
using qvLinear::ProjMatrix;
using qvLinear::Tuple2;

EyeSpaceFrustum frustumOf(const Tuple2& lowerLeft, const Tuple2& upperRight, double n, double f,
                          bool orthographic) {
    EyeSpaceFrustum frustum;
    frustum.setFrame(lowerLeft, upperRight);
    frustum.setDepthRange(n, f, false);
    frustum.setOrthographic(orthographic);
    return frustum;
}

void expectNear(const HPoint& a, const HPoint& b, double tol = 1e-11) {
    EXPECT_TRUE(equivalent(Point{a.x, a.y, a.z}, Point{b.x, b.y, b.z}, tol) &&
                std::abs(a.w - b.w) <= tol)
        << a.x << " " << a.y << " " << a.z << " " << a.w << " is not " << b.x << " " << b.y << " "
        << b.z << " " << b.w;
}

// The eight corners of a volume, their weights and the points at infinity leave a matrix no
// freedom.
TEST(Projection, matricesMapTheVolumeToTheCube) {
    test::Random random;
    for (int round = 0; round < 100; ++round) {
        const bool ortho = round % 2 == 0;
        const double l = random.number(), r = l + 2 + random.number(), b = random.number(),
                     t = b + 2 + random.number(), n = 1.5 + random.number(),
                     f = n + 3 + random.number();
        const EyeSpaceFrustum frustum = frustumOf({l, b}, {r, t}, n, f, ortho);
        ProjMatrix finite, infinite, inverse;
        finite.identity(); // what was there is replaced
        frustum.getMatrix(finite, false);
        frustum.getMatrix(infinite, true);
        frustum.getInverseMatrix(inverse);
        for (int k = 0; k < 8; ++k) {
            const double depth = k & 4 ? f : n, spread = ortho ? 1 : depth / n;
            const double w = ortho ? 1 : depth;
            const HPoint cube{k & 1 ? w : -w, k & 2 ? w : -w, k & 4 ? w : -w, w};
            const HPoint corner{spread * (k & 1 ? r : l), spread * (k & 2 ? t : b), -depth, 1};
            expectNear(corner * finite, cube);
            expectNear(cube * inverse, corner);
            if (!ortho && !(k & 4))
                expectNear(corner * infinite, cube);
        }
        expectNear(HPoint{0, 0, -1, 0} * infinite,
                   ortho ? HPoint{0, 0, 2 / (f - n), 0}
                         : HPoint{-(r + l) / (r - l), -(t + b) / (t - b), 1 - double{1e-6F}, 1});

        AngleAspect lens;
        lens.setAngleOfViewRad(2 * std::atan(t - b));
        lens.setAspectRatio(r - l);
        lens.setDepthRange(n, f);
        EXPECT_NEAR(lens.getWidthForHeight(lens.getHeightAtDepth(3)), (r - l) * 6 * (t - b), 1e-11);
        for (const bool infiniteFar : {false, true}) {
            ProjMatrix m, centred;
            EyeSpaceFrustum same;
            lens.getMatrix(m, infiniteFar);
            lens.getEyeSpaceFrustum(same);
            same.getMatrix(centred, infiniteFar);
            for (int i = 0; i < 16; ++i)
                EXPECT_NEAR(m.m[i / 4][i % 4], centred.m[i / 4][i % 4], 1e-11) << i;
            EXPECT_NEAR(qvGeom::getAspectRatio(m), r - l, 1e-12);
            EXPECT_NEAR(qvGeom::getVerticalAngleRadians(m), 2 * std::atan(t - b), 1e-12);
        }
    }
    ProjMatrix m;
    frustumOf({1, 1}, {1, 2}, 1, 2, false).getMatrix(m, false); // no width, and no check
    EXPECT_TRUE(std::isinf(m.m[0][0]));
}

TEST(Projection, cameraModelsConvert) {
    AngleAspect lens;
    EyeSpaceFrustum frustum;
    lens.getEyeSpaceFrustum(frustum);
    AngleAspect back;
    back.setAspectRatio(7);
    frustum.getAngleAspect(back);
    EXPECT_TRUE(back == lens);
    EXPECT_NEAR(back.getAngleOfViewRad(), 55 * std::acos(-1) / 180, 1e-15);

    // Height and width stay, seen from the new near plane, and the frame moves to the axis.
    frustum = frustumOf({1, 2}, {5, 4}, 2, 9, false);
    frustum.setDepthRange(6, 10, true);
    EXPECT_TRUE(frustum == frustumOf({-6, -3}, {6, 3}, 6, 10, false));
    frustum = frustumOf({1, 2}, {5, 4}, 2, 9, true);
    frustum.setDepthRange(6, 10, true);
    EXPECT_TRUE(frustum == frustumOf({1, 2}, {5, 4}, 6, 10, true));
    frustum.getAngleAspect(back); // the frame counts as one on the near plane
    EXPECT_NEAR(back.getAngleOfViewRad(), 2 * std::atan(1.0 / 6), 1e-15);

    frustum = frustumOf({1, 2}, {5, 4}, 2, 9, false);
    ParamPlane plane;
    frustum.getPlaneAtDepth(6, plane);
    EXPECT_EQ(plane, (ParamPlane{{-6, -3, -6}, {12, 0, 0}, {0, 6, 0}}));
    frustum.setOrthographic(false, 6);
    EXPECT_TRUE(frustum == frustumOf({1, 2}, {5, 4}, 2, 9, false));
    frustum.setOrthographic(true, 6);
    EXPECT_TRUE(frustum == frustumOf({-6, -3}, {6, 3}, 2, 9, true));
    EXPECT_EQ(frustum.getHeightAtDepth(1), 6);
    frustum.setOrthographic(false, 6);
    EXPECT_TRUE(frustum == frustumOf({-2, -1}, {2, 1}, 2, 9, false));
}

TEST(Projection, viewportTransforms) {
    Viewport viewport;
    viewport.setOrigin(10, 20);
    viewport.setSize(300, 100);
    viewport.setDepthRange(0.25, 0.5); // of no effect
    AffineMatrix view, back, pick;
    AffineMatrix2 flat, flatBack;
    ProjMatrix projective, projectiveBack;
    viewport.getViewTransform(view);
    viewport.getViewTransform(flat);
    viewport.getViewTransform(projective);
    viewport.getInverseViewTransform(back);
    viewport.getInverseViewTransform(flatBack);
    viewport.getInverseViewTransform(projectiveBack);
    EXPECT_EQ((Point{-1, -1, -1} * view), (Point{10, 20, 0}));
    EXPECT_EQ((Point{1, 1, 1} * view), (Point{310, 120, 1}));
    EXPECT_TRUE(equivalent(Point{0.3, -0.2, 0.7} * view * back, Point{0.3, -0.2, 0.7}, 1e-15));
    EXPECT_EQ((qvLinear::Point2{1, -1} * flat), (qvLinear::Point2{310, 20}));
    EXPECT_TRUE(equivalent(qvLinear::Point2{310, 20} * flatBack, qvLinear::Point2{1, -1}, 1e-15));
    EXPECT_EQ(projective, ProjMatrix(view));
    EXPECT_EQ(projectiveBack, ProjMatrix(back));

    // What is drawn at the sides of the region comes to the sides of the cube.
    viewport.getPickTransform({110, 40, 130, 48}, pick);
    EXPECT_TRUE(equivalent(Point{110, 40, 0.6} * back * pick, Point{-1, -1, 0.2}, 1e-13));
    EXPECT_TRUE(equivalent(Point{130, 48, 0.6} * back * pick, Point{1, 1, 0.2}, 1e-13));
    viewport.getPickTransform({110, 40, 110, 48}, pick);
    EXPECT_EQ(pick.m[0][0], 300);
    EXPECT_EQ(pick.m[3][0], 300 - 2 * 100);
}

// Each number counts, and a difference of the tolerance is one.
TEST(Projection, comparisonsLookAtEverything) {
    for (int k = 0; k < 24; ++k) {
        const double off = k < 12 ? 0.9e-12 : 1.1e-12;
        const auto moved = [&](int field) { return k % 12 == field ? off : 0; };
        AngleAspect lens;
        lens.setAngleOfViewRad(lens.getAngleOfViewRad() + 1e6 * qvLinear::toRadians(moved(0)));
        lens.setAspectRatio(1 + moved(1));
        lens.setDepthRange(1 + moved(2), 100 + moved(3));
        EXPECT_EQ(lens == AngleAspect(), k < 12 || k % 12 > 3) << k;
        EyeSpaceFrustum frustum =
            frustumOf({moved(0) - 1, moved(1) - 1}, {1 + moved(2), 1 + moved(3)}, 1 + moved(4),
                      100 + moved(5), k % 12 == 6);
        EXPECT_EQ(frustum == EyeSpaceFrustum(), (k < 12 && k != 6) || k % 12 > 6) << k;
        Viewport viewport;
        viewport.setOrigin(moved(0), moved(1));
        viewport.setSize(1 + moved(2), 1 + moved(3));
        viewport.setDepthRange(moved(4), 1 + moved(5));
        EXPECT_EQ(viewport == Viewport(), k < 12 || k % 12 > 5) << k;
    }
}

TEST(Projection, printing) {
    const std::string lens = "  aov 0.959931088597\n  asp 1.000000000000\n"
                             "  nea 1.000000000000\n  far 100.000000000000\n";
    const std::string frustum = "  top 4.000000000000\n  bot 2.000000000000\n"
                                "  lef 1.000000000000\n  rig 3.000000000000\n"
                                "  nea 5.000000000000\n  far 6.000000000000\n";
    test::CapturedOutput output;
    const auto printed = [&](const auto& camera, const char* name) {
        output.clear();
        camera.debugPrint(qvGeom::debugChannel(), name);
        return output.debug();
    };
    EXPECT_EQ(printed(AngleAspect(), "eye"), "eye AngleAspect is\neye lens is\n" + lens);
    EXPECT_EQ(printed(AngleAspect(), nullptr), "unnamed AngleAspect is\n(null) lens is\n" + lens);
    const EyeSpaceFrustum offCentre = frustumOf({1, 2}, {3, 4}, 5, 6, false);
    EXPECT_EQ(printed(offCentre, "eye"), "eye frustum is\n" + frustum);
    EXPECT_EQ(printed(offCentre, nullptr), "unnamed frustum is\n" + frustum);
    qvGeom::debugChannel().setEnabled(false);
    EXPECT_EQ(printed(AngleAspect(), "eye"), "");
}

} // namespace
