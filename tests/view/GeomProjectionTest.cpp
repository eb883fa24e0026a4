#include "qvGeom/view/GeomProjection.h"

#include <cmath>
#include <gtest/gtest.h>
#include <string>

#include "qvGeom/foundation/base/Diagnostics.h"
#include "qvGeom/foundation/linear/Linear.h"

#include "support/CapturedOutput.h"
#include "support/Random.h"

namespace qvGeom {
namespace {

using qvLinear::AffineMatrix;
using qvLinear::HPoint;
using qvLinear::ParamPlane;
using qvLinear::Point;
using qvLinear::Point2;
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

double gap(const HPoint& a, const HPoint& b) {
    return std::abs(a.x - b.x) + std::abs(a.y - b.y) + std::abs(a.z - b.z) + std::abs(a.w - b.w);
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
        frustum.getMatrix(finite, false);
        frustum.getMatrix(infinite, true);
        frustum.getInverseMatrix(inverse);
        for (int k = 0; k < 8; ++k) {
            const double depth = k & 4 ? f : n, spread = ortho ? 1 : depth / n;
            const double w = ortho ? 1 : depth;
            const HPoint corner{spread * (k & 1 ? r : l), spread * (k & 2 ? t : b), -depth, 1};
            const HPoint seen{k & 1 ? w : -w, k & 2 ? w : -w, k & 4 ? w : -w, w};
            EXPECT_LT(gap(corner * finite, seen) + gap(seen * inverse, corner), 1e-11);
            EXPECT_TRUE(ortho || k & 4 || gap(corner * infinite, seen) < 1e-11);
        }
        const HPoint straightOn = HPoint{0, 0, -1, 0} * infinite;
        EXPECT_NEAR(straightOn.z, ortho ? 2 / (f - n) : 1 - double{1e-6F}, 1e-12);

        AngleAspect lens;
        lens.setAngleOfViewRad(2 * std::atan(t - b));
        lens.setAspectRatio(r - l);
        lens.setDepthRange(n, f);
        EXPECT_NEAR(lens.getWidthForHeight(lens.getHeightAtDepth(3)), (r - l) * 6 * (t - b), 1e-11);
        EyeSpaceFrustum same;
        lens.getEyeSpaceFrustum(same);
        lens.getMatrix(finite, ortho);
        same.getMatrix(infinite, ortho);
        for (int i = 0; i < 16; ++i)
            EXPECT_NEAR(finite.m[i / 4][i % 4], infinite.m[i / 4][i % 4], 1e-11) << i;
        EXPECT_NEAR(getAspectRatio(finite), r - l, 1e-12);
        EXPECT_NEAR(getVerticalAngleRadians(finite), 2 * std::atan(t - b), 1e-12);
    }
}

TEST(Projection, cameraModelsConvert) {
    AngleAspect lens;
    EyeSpaceFrustum frustum;
    AngleAspect().getEyeSpaceFrustum(frustum);
    lens.setAspectRatio(7);
    frustum.getAngleAspect(lens);
    EXPECT_TRUE(lens == AngleAspect());
    EXPECT_NEAR(lens.getAngleOfViewRad(), 55 * std::acos(-1) / 180, 1e-15);

    // Height and width stay, seen from the new near plane, and the frame moves to the axis.
    const EyeSpaceFrustum wide = frustumOf({1, 2}, {5, 4}, 2, 9, false),
                          flat = frustumOf({1, 2}, {5, 4}, 2, 9, true);
    frustum = wide;
    frustum.setDepthRange(6, 10, true);
    EXPECT_TRUE(frustum == frustumOf({-6, -3}, {6, 3}, 6, 10, false));
    frustum = flat;
    frustum.setDepthRange(6, 10, true);
    EXPECT_TRUE(frustum == frustumOf({1, 2}, {5, 4}, 6, 10, true));
    frustum.getAngleAspect(lens); // the frame counts as one on the near plane
    EXPECT_NEAR(lens.getAngleOfViewRad(), 2 * std::atan(1.0 / 6), 1e-15);

    ParamPlane plane;
    wide.getPlaneAtDepth(6, plane);
    EXPECT_EQ(plane, (ParamPlane{{-6, -3, -6}, {12, 0, 0}, {0, 6, 0}}));
    frustum = wide;
    frustum.setOrthographic(false, 6);
    EXPECT_TRUE(frustum == wide);
    frustum.setOrthographic(true, 6);
    EXPECT_TRUE(frustum == frustumOf({-6, -3}, {6, 3}, 2, 9, true));
    frustum.setOrthographic(false, 6);
    EXPECT_TRUE(frustum == frustumOf({-2, -1}, {2, 1}, 2, 9, false));
}

// Checked as maps between the window and the cube, in all three forms.
TEST(Projection, viewportTransforms) {
    Viewport viewport;
    viewport.setOrigin(10, 20);
    viewport.setSize(300, 100);
    viewport.setDepthRange(0.25, 0.5); // of no effect
    AffineMatrix view, back;
    qvLinear::AffineMatrix2 flat;
    ProjMatrix projective;
    viewport.getViewTransform(view);
    viewport.getInverseViewTransform(back);
    EXPECT_EQ((Point{-1, -1, -1} * view), (Point{10, 20, 0}));
    EXPECT_EQ((Point{1, 1, 1} * view), (Point{310, 120, 1}));
    EXPECT_TRUE(equivalent(Point{0.3, -0.2, 0.7} * view * back, Point{0.3, -0.2, 0.7}, 1e-15));
    viewport.getViewTransform(projective);
    EXPECT_EQ(projective, ProjMatrix(view));
    viewport.getInverseViewTransform(projective);
    EXPECT_EQ(projective, ProjMatrix(back));
    viewport.getViewTransform(flat);
    EXPECT_EQ((Point2{1, -1} * flat), (Point2{310, 20}));
    viewport.getInverseViewTransform(flat);
    EXPECT_TRUE(equivalent(Point2{310, 20} * flat, Point2{1, -1}, 1e-15));

    // What is drawn at the sides of the region comes to the sides of the cube.
    viewport.getPickTransform({110, 40, 130, 48}, view);
    EXPECT_TRUE(equivalent(Point{110, 40, 0.6} * back * view, Point{-1, -1, 0.2}, 1e-13));
    EXPECT_TRUE(equivalent(Point{130, 48, 0.6} * back * view, Point{1, 1, 0.2}, 1e-13));
    viewport.getPickTransform({110, 40, 110, 40}, view);
    EXPECT_EQ((Point{0, 0, 0} * view), (Point{300 - 2 * 100, 100 - 2 * 20, 0}));
    EXPECT_EQ((Point{1, 1, 0} * view), (Point{400, 160, 0}));
}

// Each number counts, and a difference of the tolerance is one.
TEST(Projection, comparisonsLookAtEverything) {
    for (int field = 0; field < 7; ++field) {
        for (const double difference : {0.9e-12, 1.1e-12}) {
            const bool within = difference < 1e-12;
            double d[7] = {};
            d[field] = difference;
            AngleAspect lens;
            lens.setAngleOfViewRad(lens.getAngleOfViewRad() + 1e6 * qvLinear::toRadians(d[0]));
            lens.setAspectRatio(1 + d[1]);
            lens.setDepthRange(1 + d[2], 100 + d[3]);
            EXPECT_EQ(lens == AngleAspect(), within || field > 3) << field;
            EXPECT_EQ(frustumOf({d[0] - 1, d[1] - 1}, {1 + d[2], 1 + d[3]}, 1 + d[4], 100 + d[5],
                                field == 6) == EyeSpaceFrustum(),
                      within && field != 6)
                << field;
            Viewport viewport;
            viewport.setOrigin(d[0], d[1]);
            viewport.setSize(1 + d[2], 1 + d[3]);
            viewport.setDepthRange(d[4], 1 + d[5]);
            EXPECT_EQ(viewport == Viewport(), within || field > 5) << field;
        }
    }
}

TEST(Projection, printing) {
    const std::string lens = " lens is\n  aov 0.959931088597\n  asp 1.000000000000\n"
                             "  nea 1.000000000000\n  far 100.000000000000\n";
    const std::string shape = " frustum is\n  top 4.000000000000\n  bot 2.000000000000\n"
                              "  lef 1.000000000000\n  rig 3.000000000000\n"
                              "  nea 5.000000000000\n  far 6.000000000000\n";
    const test::CapturedOutput output;
    for (const char* name : {"eye", static_cast<const char*>(nullptr)}) {
        AngleAspect().debugPrint(debugChannel(), name);
        frustumOf({1, 2}, {3, 4}, 5, 6, false).debugPrint(debugChannel(), name);
    }
    EXPECT_EQ(output.debug(), "eye AngleAspect is\neye" + lens + "eye" + shape +
                                  "unnamed AngleAspect is\n(null)" + lens + "unnamed" + shape);
}

} // namespace
} // namespace qvGeom
