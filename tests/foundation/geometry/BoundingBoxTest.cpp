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

TEST(BoundingBox, growsFromInvalidToWhatItHolds) {
    BoundingBox box;
    EXPECT_FALSE(box.isValid());
    EXPECT_EQ(box.diagonalLength(), 0.0);
    box.extend({1, 2, 3});
    EXPECT_EQ(box, BoundingBox({1, 2, 3}, {1, 2, 3}));
    box.extend(BoundingBox({-1, 2, 2}, {0, 5, 2}));
    box.extend(BoundingBox::invalid());
    box.extend(0); // a margin, not a null pointer to six doubles
    EXPECT_EQ(box, BoundingBox({-1, 2, 2}, {1, 5, 3}));
    box.extend(0.5f);
    EXPECT_EQ(box, BoundingBox({-1.5f, 1.5f, 1.5f}, {1.5f, 5.5f, 3.5f}));
    EXPECT_EQ(box.center(), (Point{0, 3.5, 2.5}));
    EXPECT_EQ(BoundingBox({0, 0, 0}, {2, 3, 6}).diagonalLength(), 7.0);
    box = BoundingBox({0, 0, -1}, {4, 2, -1});
    box.extendToCube();
    EXPECT_EQ(box, BoundingBox({0, -1, -3}, {4, 3, 1}));
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

TEST(BoundingBox, narrowsDoubles) {
    const double six[] = {0.1, -2, -3, 1, 2, 1.0 / 3};
    const BoundingBox box(six);
    EXPECT_EQ(box, BoundingBox({0.1f, -2, -3}, {1, 2, 1.0f / 3}));
    BoundingBox assigned;
    assigned = qvLinear::Range3d{{0.1, -2, -3}, {1, 2, 1.0 / 3}};
    EXPECT_EQ(assigned, box);
    assigned = qvLinear::Range3d{{1, 2, 3}, {4, 1, 6}};
    EXPECT_EQ(assigned, BoundingBox::invalid());
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
    const BoundingBox unit({0, 0, 0}, {1, 1, 1}), box({0, 0, 0}, {1, 2, 3});
    for (int axis = 0; axis < 3; ++axis) {
        for (const float shift : {1.0f, 1.0001f, -1.0f, -1.0001f, 0.5f}) {
            const bool wanted = std::abs(shift) <= 1;
            BoundingBox other = unit;
            other.min[axis] += shift;
            other.max[axis] += shift;
            EXPECT_EQ(unit.intersects(other), wanted) << axis << ' ' << shift;
            EXPECT_EQ(unit.intersects2D(other), wanted || axis == 2);
        }
    }
    EXPECT_FALSE(unit.intersects(BoundingBox::invalid()));
    EXPECT_EQ(box.distance(PointFlt{1, 2, 3}), 0.0);
    EXPECT_EQ(box.distance(PointFlt{4, -4, 1}), 5.0);
    EXPECT_EQ(box.distance(PointFlt{3, 5, 9}), 7.0);
}

} // namespace
} // namespace qvGeom
