#include "qvGeom/foundation/geometry/Octree.h"

#include <algorithm>
#include <cfloat>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <vector>

#include "qvGeom/foundation/geometry/MeshVertex.h"
#include "qvGeom/foundation/geometry/Quadtree.h"
#include "qvGeom/foundation/linear/Linear.h"

#include "support/ScopedThreadCount.h"

namespace qvGeom {
namespace {

using qvLinear::Vector;
using Points = std::vector<MeshVertex>;

constexpr float kInf = std::numeric_limits<float>::infinity();
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

Points randomPoints(int count, float zExtent = 1.0F) {
    std::mt19937 random(count);
    std::uniform_real_distribution<float> unit(-1.0F, 1.0F);
    Points points(count);
    for (MeshVertex& p : points)
        p = {unit(random), 2.0F * unit(random), zExtent * unit(random)};
    return points;
}

BoundingBox boxOf(const Points& points) {
    BoundingBox box;
    for (const MeshVertex& p : points)
        box.extend({p.x, p.y, p.z});
    return box;
}

const float* raw(const Points& points) { return points.empty() ? nullptr : &points[0].x; }

/// Follows the points down a tree and checks every node against the rules.
template <int Axes, class Iterator>
struct TreeCheck {
    bool keepsEmpty;
    int maxPoints;
    int numLeaves = 0;
    int depth = 0;

    void visit(const Iterator& node, const Points& points, int level) {
        depth = std::max(depth, level);
        const int count = static_cast<int>(points.size());
        if (node.isLeaf()) {
            ASSERT_EQ(node.leafIndex(), numLeaves++);
            ASSERT_TRUE(count <= maxPoints || level == 24 || extents(node.box) == 0) << count;
            Iterator child = node;
            ASSERT_FALSE(child.descend(0) || child.descend((1 << Axes) - 1));
            return;
        }
        ASSERT_GT(count, maxPoints);
        for (int k = 0; k < 1 << Axes; ++k) {
            BoundingBox expected = node.box;
            bool isTwin = false;
            Points inside = points;
            for (int axis = 0; axis < Axes; ++axis) {
                const float lo = node.box.min[axis], hi = node.box.max[axis];
                const float middle = 0.5F * (lo + hi);
                const bool upper = (k >> axis & 1) != 0;
                (upper ? expected.min : expected.max)[axis] = middle;
                isTwin = isTwin || (lo == hi && !upper);
                std::erase_if(inside, [&](const MeshVertex& p) {
                    return lo < hi && ((&p.x)[axis] < middle) == upper;
                });
            }
            Iterator child = node;
            ASSERT_EQ(child.descend(k), !isTwin && (keepsEmpty || !inside.empty())) << k;
            if (child.node == node.node)
                continue;
            ASSERT_EQ(child.box, expected);
            ASSERT_NO_FATAL_FAILURE(visit(child, inside, level + 1));
        }
    }

    static int extents(const BoundingBox& box) {
        int count = 0;
        for (int axis = 0; axis < Axes; ++axis)
            count += static_cast<int>(box.min[axis] < box.max[axis]);
        return count;
    }
};

void checkTrees(const char* what, const Points& points, const BoundingBox& box) {
    const int n = static_cast<int>(points.size());
    for (const int maxPoints : {1, 16}) {
        for (const bool keepsEmpty : {true, false}) {
            SCOPED_TRACE(testing::Message() << what << ' ' << maxPoints << ' ' << keepsEmpty);
            const Octree octree(n, raw(points), box, keepsEmpty, maxPoints);
            TreeCheck<3, OctreeIterator> check{keepsEmpty, maxPoints};
            check.visit(octree.getRoot(), points, 1);
            EXPECT_EQ(octree.getNumVoxels(), check.numLeaves);
            EXPECT_EQ(octree.getDepth(), check.depth);
        }
        const Quadtree quadtree(n, raw(points), box, maxPoints);
        TreeCheck<2, QuadtreeIterator> check{true, maxPoints};
        check.visit(quadtree.getRoot(), points, 1);
        EXPECT_EQ(quadtree.getNumVoxels(), check.numLeaves) << what;
        EXPECT_EQ(quadtree.getDepth(), check.depth) << what;
    }
}

TEST(Octree, everyNodeKeepsTheRules) {
    const Points random = randomPoints(3000);
    checkTrees("random", random, boxOf(random));
    checkTrees("outside their box", random, {{-0.5F, -0.1F, 0.2F}, {0.1F, 0.1F, 0.3F}});
    checkTrees("flat", randomPoints(500, 0.0F), boxOf(randomPoints(500, 0.0F)));
    const Points line(200, {1, 2, 3});
    checkTrees("one place", line, boxOf(line));
    checkTrees("one place in a box", line, {{0, 0, 0}, {5, 5, 5}});
    Points odd = randomPoints(300);
    for (int i = 0; i < 100; ++i)
        (&odd[i].x)[i % 3] = i % 2 ? kNaN : kInf;
    checkTrees("not finite", odd, boxOf(randomPoints(300)));
    checkTrees("one point", {{1, 2, 3}}, {{1, 2, 3}, {1, 2, 3}});
}

TEST(Octree, boundsDepthAndBoxes) {
    const Points pair = {{0, 0, 0}, {0, 0, 0}, {1, 1, 1}};
    EXPECT_EQ(Octree(3, raw(pair), boxOf(pair), true, 1).getDepth(), 24);
    EXPECT_EQ(Octree(3, raw(pair), boxOf(pair), true, -5).getDepth(), 24); // as with 1

    // An infinite side, or an infinite middle, must not make boxes of NaN.
    for (const float left : {-kInf, 0.9F * FLT_MAX}) {
        const Octree octree(3, raw(pair), {{left, 0, 0}, {kInf, 1, 1}}, true, 1);
        OctreeIterator it = octree.getRoot();
        while (it.descend(7) || it.descend(0))
            ASSERT_TRUE(it.box.isValid());
        EXPECT_TRUE(it.isLeaf());
    }
}

TEST(Octree, withoutPointsHasNoVoxels) {
    const Points points = randomPoints(5);
    for (const Octree& octree : {Octree(0, nullptr, boxOf(points), true, 1),
                                 Octree(5, raw(points), BoundingBox(), true, 1)}) {
        EXPECT_EQ(octree.getNumVoxels(), 0);
        EXPECT_EQ(octree.getDepth(), 1);
        OctreeIterator root = octree.getRoot();
        EXPECT_FALSE(root.isLeaf() || root.descend(0) || root.descend(7));
    }
    EXPECT_EQ(Quadtree(5, raw(points), BoundingBox(), 1).getNumVoxels(), 0);
    OctreeIterator none;
    EXPECT_FALSE(none.isLeaf() || none.descend(0) || none.box.isValid());
}

// The rules leave no choice. Catches subtrees joined in the order in which threads finish them.
TEST(Octree, doesNotDependOnThreadCount) {
    Points points = randomPoints(30000);
    std::fill_n(points.begin(), 9000, points[0]);
    for (const int threads : {1, 2, 3, 8}) {
        const test::ScopedThreadCount pool(threads);
        const Octree octree(30000, raw(points), boxOf(points), true, 3);
        TreeCheck<3, OctreeIterator> check{true, 3};
        check.visit(octree.getRoot(), points, 1);
        EXPECT_EQ(octree.getNumVoxels(), check.numLeaves) << threads;
    }
}

TEST(Octree, nodeOrderingGoesFrontToBack) {
    const Points points = randomPoints(100, 0.1F);
    const Octree octree(100, raw(points), boxOf(points), true, 16);
    std::mt19937 random(1);
    std::uniform_int_distribution<int> component(-2, 2);
    for (int i = 0; i < 300; ++i) {
        const Vector direction{0.5 * component(random), 0.3 * component(random),
                               1.0 * component(random)};
        int order[8];
        octree.getNodeOrdering(direction, order);
        double last = -DBL_MAX;
        for (const int k : order) {
            OctreeIterator child = octree.getRoot();
            ASSERT_TRUE(child.descend(k));
            const double distance = dot(child.box.center() - qvLinear::Point{}, direction);
            EXPECT_GE(distance, last - 1e-6);
            last = distance;
        }
    }
    int order[8];
    octree.getNodeOrdering({kNaN, kInf, -kInf}, order);
    std::sort(order, order + 8);
    for (int k = 0; k < 8; ++k)
        EXPECT_EQ(order[k], k);
}

} // namespace
} // namespace qvGeom
