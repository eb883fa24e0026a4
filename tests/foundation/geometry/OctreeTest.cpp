#include "qvGeom/foundation/geometry/Octree.h"

#include <algorithm>
#include <array>
#include <cfloat>
#include <cmath>
#include <gtest/gtest.h>
#include <vector>

#include "qvGeom/foundation/geometry/MeshVertex.h"
#include "qvGeom/foundation/geometry/Quadtree.h"

#include "support/Random.h"
#include "support/ScopedThreadCount.h"

namespace qvGeom {
namespace {

using Points = std::vector<MeshVertex>;

constexpr float kInf = INFINITY, kNaN = NAN;

Points randomPoints(int count, double zExtent = 1) {
    test::Random random(count);
    Points points(count);
    for (MeshVertex& p : points) {
        const auto [x, y, z] = narrow(random.point());
        p = {x, 2 * y, static_cast<float>(zExtent) * z};
    }
    return points;
}

BoundingBox boxOf(const Points& points) {
    BoundingBox box;
    for (const MeshVertex& p : points)
        box.extend(p);
    return box;
}

/// Follows the points down a tree and checks every node against the rules.
template <int Axes, class Iterator>
struct TreeCheck {
    bool keepsEmpty;
    int maxPoints;
    int numLeaves = 0;
    int depth = 0;

    template <class Tree>
    void check(const Tree& tree, const Points& points) {
        visit(tree.getRoot(), points, 1);
        EXPECT_EQ(tree.getNumVoxels(), numLeaves);
        EXPECT_EQ(tree.getDepth(), depth);
    }

    void visit(const Iterator& node, const Points& points, int level) {
        depth = std::max(depth, level);
        const int count = static_cast<int>(points.size());
        if (node.isLeaf()) {
            ASSERT_EQ(node.leafIndex(), numLeaves++);
            const bool isPoint = std::equal(node.box.min, node.box.min + Axes, node.box.max);
            ASSERT_TRUE(count <= maxPoints || level == 24 || isPoint) << count;
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
};

void checkTrees(const char* what, const Points& points, const BoundingBox& box) {
    const int n = static_cast<int>(points.size());
    for (const int maxPoints : {1, 16}) {
        SCOPED_TRACE(testing::Message() << what << ' ' << maxPoints);
        for (const bool keeps : {true, false}) {
            TreeCheck<3, OctreeIterator>{keeps, maxPoints}.check(
                Octree(n, &points[0].x, box, keeps, maxPoints), points);
        }
        TreeCheck<2, QuadtreeIterator>{true, maxPoints}.check(
            Quadtree(n, &points[0].x, box, maxPoints), points);
    }
}

// The rules leave no choice, whatever the threads. Catches subtrees joined in the order in which
// threads finish them.
TEST(Octree, everyNodeKeepsTheRules) {
    Points many = randomPoints(30000);
    std::fill_n(many.begin(), 9000, many[0]);
    for (const int threads : {1, 2, 3, 8}) {
        const test::ScopedThreadCount pool(threads);
        TreeCheck<3, OctreeIterator>{true, 3}.check(Octree(30000, &many[0].x, boxOf(many), true, 3),
                                                    many);
    }
    const Points random = randomPoints(3000), flat = randomPoints(500, 0);
    checkTrees("random", random, boxOf(random));
    checkTrees("outside their box", random, {{-0.5F, -0.1F, 0.2F}, {0.1F, 0.1F, 0.3F}});
    checkTrees("flat", flat, boxOf(flat));
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
    for (const int maxPoints : {1, -5}) // which is as 1
        EXPECT_EQ(Octree(3, &pair[0].x, boxOf(pair), true, maxPoints).getDepth(), 24);
    // An infinite side, or an infinite middle, must not make boxes of NaN.
    for (const float left : {-kInf, 0.9F * FLT_MAX}) {
        const Octree octree(3, &pair[0].x, {{left, 0, 0}, {kInf, 1, 1}}, true, 1);
        OctreeIterator it = octree.getRoot();
        while (it.descend(7) || it.descend(0))
            ASSERT_TRUE(it.box.isValid());
        EXPECT_TRUE(it.isLeaf());
    }
    // Without points or a box there is nothing.
    for (const Octree& octree : {Octree(0, nullptr, boxOf(pair), true, 1),
                                 Octree(3, &pair[0].x, BoundingBox(), true, 1)}) {
        EXPECT_TRUE(octree.getNumVoxels() == 0 && octree.getDepth() == 1);
        OctreeIterator root = octree.getRoot();
        EXPECT_FALSE(root.isLeaf() || root.descend(0) || root.descend(7));
    }
}

TEST(Octree, nodeOrderingGoesFrontToBack) {
    const Points points = randomPoints(100, 0.1);
    const Octree octree(100, &points[0].x, boxOf(points), true, 16);
    test::Random random;
    for (int i = 0; i < 300; ++i) {
        const qvLinear::Vector direction{0.5 * (random.below(5) - 2), 0.3 * (random.below(5) - 2),
                                         1.0 * (random.below(5) - 2)};
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
    EXPECT_TRUE(std::ranges::equal(order, std::array{0, 1, 2, 3, 4, 5, 6, 7}));
}

} // namespace
} // namespace qvGeom
