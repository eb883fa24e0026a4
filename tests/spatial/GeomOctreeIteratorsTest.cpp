#include "qvGeom/spatial/GeomOctreeIterators.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <optional>
#include <random>
#include <set>
#include <vector>

#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/Frustum.h"
#include "qvGeom/foundation/geometry/Octree.h"
#include "qvGeom/foundation/geometry/Quadtree.h"
#include "qvGeom/foundation/geometry/Ray.h"
#include "qvGeom/foundation/geometry/Sphere.h"
#include "qvGeom/foundation/linear/Linear.h"
#include "qvGeom/spatial/GeomOctree.h"
#include "qvGeom/topology/GeomBoundingBox.h"

#include "support/MeshBuilders.h"

namespace qvGeom {
namespace {

using qvLinear::Point;
using qvLinear::PointFlt;
using qvLinear::Vector;

Octree octreeOf(const CompactMesh& mesh, int maxVertices, bool keepEmpty = true) {
    BoundingBox box;
    meshBoundingBox(mesh, box);
    return {mesh.getNumVertices(), mesh.getVerticesRaw(), box, keepEmpty, maxVertices};
}

/// Trees of different shapes: with and without empty leaves, flat, of one leaf.
const std::vector<Octree>& someTrees() {
    static const std::vector<Octree> trees = {
        octreeOf(test::randomMesh(1, 2000, 1), 5), octreeOf(test::wavySurface(2000), 4, false),
        octreeOf(test::grid(30, 20), 3), octreeOf(test::sphere(4, 5), 1000)};
    return trees;
}

std::vector<OctreeIterator> leavesOf(const Octree& octree) {
    std::vector<OctreeIterator> leaves(octree.getNumVoxels());
    for (OctreeLeafIterator it(octree); it.valid(); it.next())
        leaves[it.get().leafIndex()] = it.get();
    return leaves;
}

template <class Iterator>
std::vector<int> walk(Iterator& it) {
    std::vector<int> visited;
    for (; it.valid(); it.next()) {
        EXPECT_TRUE(it.get().isLeaf());
        visited.push_back(it.get().leafIndex());
    }
    return visited;
}

/// Whether the whole of `front` has to come before `back` along the direction: a line that way can
/// pass through the one and then the other.
bool hides(const BoundingBox& front, const BoundingBox& back, const Vector& direction) {
    const double along[3] = {direction.x, direction.y, direction.z};
    bool separated = false;
    for (int axis = 0; axis < 3; ++axis) {
        const bool before = along[axis] > 0   ? front.max[axis] <= back.min[axis]
                            : along[axis] < 0 ? back.max[axis] <= front.min[axis]
                                              : false;
        const bool overlap = front.min[axis] < back.max[axis] && back.min[axis] < front.max[axis];
        if (!before && !overlap)
            return false;
        separated = separated || before;
    }
    return separated;
}

/// Compares a walk with a test of every leaf, and checks its order.
template <class Iterator, class Query>
void checkWalk(Iterator& it, const std::vector<OctreeIterator>& leaves, const Query& query,
               const Vector& direction) {
    it.reset(query);
    const std::vector<int> visited = walk(it);
    std::vector<int> expected;
    for (const OctreeIterator& leaf : leaves) {
        bool meets = false;
        if constexpr (std::is_same_v<Query, BoundingBox>)
            meets = leaf.box.intersects(query);
        else
            meets = intersects(leaf.box, query);
        if (meets)
            expected.push_back(leaf.leafIndex());
    }
    std::vector<int> sorted = visited;
    std::sort(sorted.begin(), sorted.end());
    ASSERT_EQ(sorted, expected);
    for (std::size_t i = 0; i < visited.size(); ++i) {
        for (std::size_t j = i + 1; j < std::min(visited.size(), i + 200); ++j)
            ASSERT_FALSE(hides(leaves[visited[j]].box, leaves[visited[i]].box, direction));
    }
}

/// Points around the box, at times on a side of a node, where touching decides.
struct RandomPoints {
    explicit RandomPoints(const Octree& octree) : octree_(octree), random_(7) {}

    Point operator()() {
        OctreeIterator node = octree_.getRoot();
        if (random_() % 3 == 0) {
            while (random_() % 4 != 0 && node.descend(static_cast<int>(random_() % 8))) {
            }
            return widen(random_() % 2 ? node.box.minPt() : node.box.maxPt());
        }
        std::uniform_real_distribution<float> unit(-0.2F, 1.2F);
        float p[3];
        for (int axis = 0; axis < 3; ++axis)
            p[axis] =
                node.box.min[axis] + unit(random_) * (node.box.max[axis] - node.box.min[axis]);
        return {p[0], p[1], p[2]};
    }

private:
    const Octree& octree_;
    std::mt19937 random_;
};

TEST(OctreeIntersectIterators, meetWhatEveryLeafTestMeets) {
    for (const Octree& octree : someTrees()) {
        const std::vector<OctreeIterator> leaves = leavesOf(octree);
        const double size = octree.getRoot().box.diagonalLength();
        RandomPoints point(octree);
        OctreeBBoxIntersectIt boxIt(octree);
        OctreeSphereIntersectIt sphereIt(octree);
        OctreeRayIntersectIt rayIt(octree);
        OctreeIntersectIt frustumIt(octree);
        for (int i = 0; i < 300; ++i) {
            const Point p = point(), q = point();
            BoundingBox box(narrow(p), narrow(p));
            if (i % 5 != 0)
                box.extend(narrow(combine(0.7, p, 0.3, q)));
            checkWalk(boxIt, leaves, box, qvLinear::Normal::x);
            checkWalk(sphereIt, leaves, Sphere{p, i % 5 * 0.05 * size}, qvLinear::Normal::x);

            const PointFlt origin = narrow(p);
            Vector direction = q - p;
            if (i % 3 == 0) // parallel to an axis or to a face
                direction = {direction.x, i % 2 ? 0.0 : -0.0, i % 4 < 2 ? 0.0 : direction.z};
            checkWalk(rayIt, leaves, Ray(origin, direction), direction);

            qvLinear::AffineMatrix toClip;
            toClip.rotate(qvLinear::Normal(q - p), qvLinear::Normal(0, 1, -3));
            toClip.m[3][i % 3] = -p.x;
            for (auto& row : toClip.m) {
                for (double& element : row)
                    element *= 8.0 / size;
            }
            const Frustum frustum{qvLinear::ProjMatrix(toClip)};
            checkWalk(frustumIt, leaves, frustum, frustum.getVector());
        }
    }
}

TEST(OctreeIntersectIterators, areInvalidWhereNothingIsMet) {
    const Octree& octree = someTrees()[0];
    const BoundingBox far({90, 90, 90}, {91, 91, 91});
    const Sphere sphere{{90, 90, 90}, 1};
    const PointFlt origin{90, 90, 90};
    const Vector away{1, 1, 1}, towards{-1, -1, -1};
    const Ray ray(origin, away), back(origin, towards);
    qvLinear::AffineMatrix toClip;
    toClip.m[3][0] = -90;
    EXPECT_FALSE(OctreeBBoxIntersectIt(octree, far).valid());
    EXPECT_FALSE(OctreeSphereIntersectIt(octree, sphere).valid());
    EXPECT_FALSE(OctreeRayIntersectIt(octree, ray).valid());
    EXPECT_FALSE(OctreeIntersectIt(octree, Frustum(qvLinear::ProjMatrix(toClip))).valid());
    EXPECT_TRUE(OctreeRayIntersectIt(octree, back).valid());

    // A tree without voxels ends every walk at once, also where its root is met.
    const Octree empty(0, nullptr, {{0, 0, 0}, {99, 99, 99}}, true, 1);
    EXPECT_FALSE(OctreeBBoxIntersectIt(empty, far).valid());
    EXPECT_FALSE(OctreeSphereIntersectIt(empty, sphere).valid());
    EXPECT_FALSE(OctreeRayIntersectIt(empty, ray).valid());
    EXPECT_FALSE(OctreeLeafIterator(empty).valid());
    EXPECT_FALSE(OctreeClosestIt(empty, {1, 2, 3}).valid());
}

TEST(OctreeLeafIterator, visitsTheLastChildFirst) {
    for (const Octree& octree : someTrees()) {
        OctreeLeafIterator it(octree);
        for (int round = 0; round < 2; ++round, it.reset(octree)) {
            const std::vector<int> visited = walk(it);
            ASSERT_EQ(static_cast<int>(visited.size()), octree.getNumVoxels());
            for (int i = 0; i < octree.getNumVoxels(); ++i)
                ASSERT_EQ(visited[i], octree.getNumVoxels() - 1 - i);
        }
    }
}

TEST(OctreeClosestIt, visitsLeavesByDistance) {
    OctreeClosestIt it;
    for (const Octree& octree : someTrees()) {
        RandomPoints point(octree);
        for (int i = 0; i < 50; ++i) {
            const Point p = point();
            double last = 0;
            std::set<int> visited;
            for (it.reset(octree, p); it.valid(); it.next()) {
                ASSERT_EQ(it.getDistance2(), it.get().box.distance2(narrow(p)));
                ASSERT_GE(it.getDistance2(), last);
                last = it.getDistance2();
                ASSERT_TRUE(visited.insert(it.get().leafIndex()).second);
            }
            ASSERT_EQ(static_cast<int>(visited.size()), octree.getNumVoxels());
        }
    }
}

TEST(QuadtreeIntersectIt, visitsTheLeavesMetInOrder) {
    QuadtreeIntersectIt it;
    EXPECT_FALSE(it.valid());
    for (const int maxPoints : {3, 5000}) {
        const CompactMesh mesh = test::wavySurface(2000);
        const Octree around = octreeOf(mesh, 16);
        const Quadtree quadtree(mesh.getNumVertices(), mesh.getVerticesRaw(), around.getRoot().box,
                                maxPoints);
        const BoundingBox all = around.getRoot().box;
        std::vector<QuadtreeIterator> leaves;
        for (it.reset(quadtree, all); it.valid(); it.next())
            leaves.push_back(it.get());
        ASSERT_EQ(static_cast<int>(leaves.size()), quadtree.getNumVoxels());
        RandomPoints point(around);
        for (int i = 0; i < 200; ++i) {
            BoundingBox box;
            box.extend(narrow(point()));
            box.extend(narrow(point()));
            box.min[2] = box.max[2] = 1e9F; // does not matter
            std::vector<int> expected;
            for (const QuadtreeIterator& leaf : leaves) {
                if (leaf.box.intersects2D(box))
                    expected.push_back(leaf.leafIndex());
            }
            it.reset(quadtree, box);
            ASSERT_EQ(walk(it), expected);
        }
    }
}

} // namespace
} // namespace qvGeom
