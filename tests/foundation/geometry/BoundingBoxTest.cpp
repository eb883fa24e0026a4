#include "qvGeom/foundation/geometry/BoundingBox.h"

#include <cfloat>
#include <cmath>
#include <gtest/gtest.h>

#include "support/Random.h"

namespace qvGeom {
namespace {

using qvLinear::AffineMatrix;
using qvLinear::Point;
using qvLinear::PointFlt;

constexpr float kNaN = NAN, kInf = INFINITY;

TEST(BoundingBox, growsAndNarrowsDoubles) {
    const double six[] = {0.1, -2, -3, 1, 2, 1.0 / 3};
    BoundingBox box(six);
    EXPECT_EQ(box, BoundingBox({0.1F, -2, -3}, {1, 2, 1.0F / 3}));
    box.extend(0); // a margin, not a null pointer to six doubles
    EXPECT_EQ(box, BoundingBox(six));
    box = qvLinear::Range3d{{0, 0, -1}, {4, 2, -1}};
    box.extendToCube();
    box.extend(0.5F);
    EXPECT_EQ(box, BoundingBox({-0.5F, -1.5F, -3.5F}, {4.5F, 3.5F, 1.5F}));
    box = qvLinear::Range3d{{1, 2, 3}, {4, 1, 6}};
    EXPECT_EQ(box, BoundingBox::invalid());
    EXPECT_EQ(box.diagonalLength(), 0);
}

// NaN whichever comes first: the answer must not depend on how points are split over threads.
TEST(BoundingBox, staysSoundWithNaNInfinityAndNothing) {
    const PointFlt points[] = {{kNaN, 1, 2}, {3, kNaN, 5}, {4, 2, kNaN}, {kNaN, kNaN, kNaN}};
    for (int first = 0; first < 4; ++first) {
        BoundingBox box;
        for (int k = 0; k < 4; ++k) {
            BoundingBox single;
            single.extend(points[(first + k) % 4]);
            box.extend(single);
        }
        EXPECT_EQ(box, BoundingBox({3, 1, 2}, {4, 2, 5}));
    }
    EXPECT_FALSE(BoundingBox({kNaN, 0, 0}, {1, 1, 1}).isValid());
    BoundingBox halfFilled;
    halfFilled.extend(points[0]);
    halfFilled.extendToCube();
    halfFilled.extend(FLT_MAX);
    halfFilled.transform(narrow(AffineMatrix(-2.0)));
    EXPECT_EQ(halfFilled, BoundingBox::invalid());
    BoundingBox endless({-kInf, 0, 0}, {kInf, 1, kInf});
    endless.transform(AffineMatrix(2.0)); // 0 times infinity must not spoil the y side
    EXPECT_EQ(endless, BoundingBox({-kInf, 0, 0}, {kInf, 2, kInf}));
}

TEST(BoundingBox, transformGivesTheBoxOfTheEightCorners) {
    test::Random random(3);
    for (int k = 0; k < 50; ++k) {
        AffineMatrix m;
        for (auto& row : m.m) {
            for (double& entry : row)
                entry = k % 5 == 0 && random.below(2) ? 0.0 : random.number(3);
        }
        BoundingBox box, expected;
        box.extend(narrow(random.point(9)));
        box.extend(narrow(random.point(9)));
        for (int c = 0; c < 8; ++c) {
            const Point corner{c & 1 ? box.max[0] : box.min[0], c & 2 ? box.max[1] : box.min[1],
                               c & 4 ? box.max[2] : box.min[2]};
            expected.extend(narrow(corner * m));
        }
        box.transform(m);
        EXPECT_EQ(box, expected);
    }
}

TEST(BoundingBox, countsTouchingAsMeetingAndMeasuresDistance) {
    const BoundingBox box({0, 0, 0}, {1, 2, 3});
    for (const float overlap : {-1e-4F, 0.0F, 0.5F}) {
        for (int axis = 0; axis < 3; ++axis) {
            BoundingBox other = box;
            other.min[axis] = box.max[axis] - overlap;
            other.max[axis] = 9;
            EXPECT_EQ(box.intersects(other), overlap >= 0);
            EXPECT_EQ(other.intersects(box), overlap >= 0);
            EXPECT_EQ(box.intersects2D(other), overlap >= 0 || axis == 2);
        }
    }
    EXPECT_EQ(box.distance(PointFlt{1, 2, 3}), 0.0);
    EXPECT_EQ(box.distance(PointFlt{4, -4, 1}), 5.0);
    EXPECT_EQ(box.distance(PointFlt{3, 5, 9}), 7.0);
}

} // namespace
} // namespace qvGeom
