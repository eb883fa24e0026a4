#include "qvGeom/spatial/GeomOctreeIterators.h"

#include <algorithm>
#include <gtest/gtest.h>
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

/// Trees with and without empty leaves, flat, of one leaf, and of none.
std::vector<Octree> someTrees() {
    return {octreeOf(test::randomMesh(1, 2000, 1), 5), octreeOf(test::wavySurface(2000), 4, false),
            octreeOf(test::grid(30, 20), 3), octreeOf(test::sphere(4, 5), 1000),
            Octree(0, nullptr, {{0, 0, 0}, {1, 1, 1}}, true, 1)};
}

template <class Iterator>
std::vector<int> walk(Iterator& it) {
    std::vector<int> visited;
    for (; it.valid(); it.next())
        visited.push_back(it.get().leafIndex());
    return visited;
}

/// Whether a line along the direction can pass through `front` and then through `back`.
bool hides(const BoundingBox& front, const BoundingBox& back, const Vector& direction) {
    const double along[3] = {direction.x, direction.y, direction.z};
    bool isBefore = false;
    for (int axis = 0; axis < 3; ++axis) {
        const bool before = (along[axis] > 0 && front.max[axis] <= back.min[axis]) ||
                            (along[axis] < 0 && back.max[axis] <= front.min[axis]);
        if (!before && !(front.min[axis] < back.max[axis] && back.min[axis] < front.max[axis]))
            return false;
        isBefore = isBefore || before;
    }
    return isBefore;
}

bool intersects(const BoundingBox& box, const BoundingBox& query) { return box.intersects(query); }

/// Compares a walk with a test of every leaf, and checks that it goes front to back.
template <class Iterator, class Query>
void checkWalk(Iterator& it, const std::vector<OctreeIterator>& leaves, const Query& query,
               const Vector& direction) {
    it.reset(query);
    const std::vector<int> visited = walk(it);
    std::vector<int> expected;
    for (const OctreeIterator& leaf : leaves) {
        if (intersects(leaf.box, query))
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

/// Points around the box of a tree, at times corners of its nodes, where touching decides.
struct RandomPoints {
    const Octree& octree;
    std::mt19937 random{7};

    Point operator()() {
        OctreeIterator node = octree.getRoot();
        const bool isCorner = random() % 3 == 0;
        while (isCorner && random() % 4 != 0 && node.descend(static_cast<int>(random() % 8))) {
        }
        std::uniform_real_distribution<double> unit(-0.2, 1.2);
        const auto share = [&] { return isCorner ? 1.0 : unit(random); };
        const Vector d = widen(node.box.maxPt() - node.box.minPt());
        return widen(node.box.minPt()) + Vector{share() * d.x, share() * d.y, share() * d.z};
    }
};

TEST(OctreeIntersectIterators, meetWhatEveryLeafTestMeets) {
    for (const Octree& octree : someTrees()) {
        std::vector<OctreeIterator> leaves;
        for (OctreeLeafIterator it(octree); it.valid(); it.next())
            leaves.insert(leaves.begin(), it.get());
        RandomPoints point{octree};
        const double size = octree.getRoot().box.diagonalLength();
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

            qvLinear::AffineMatrix toClip(8.0 / size);
            toClip.rotate(qvLinear::Normal(q - p), qvLinear::Normal(0, 1, -3));
            toClip.m[3][i % 3] = -p.x * 8.0 / size;
            const Frustum frustum{qvLinear::ProjMatrix(toClip)};
            checkWalk(frustumIt, leaves, frustum, frustum.getVector());
        }
        const BoundingBox far({90, 90, 90}, {91, 91, 91});
        EXPECT_FALSE(OctreeBBoxIntersectIt(octree, far).valid());
    }
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
        RandomPoints point{octree};
        for (int i = 0; i < 50; ++i) {
            const Point p = point();
            double last = 0;
            std::set<int> visited;
            for (it.reset(octree, p); it.valid(); it.next()) {
                ASSERT_EQ(it.getDistance2(), it.get().box.distance2(narrow(p)));
                ASSERT_GE(it.getDistance2(), last);
                last = it.getDistance2();
                visited.insert(it.get().leafIndex());
            }
            ASSERT_EQ(static_cast<int>(visited.size()), octree.getNumVoxels());
        }
    }
}

TEST(QuadtreeIntersectIt, visitsTheLeavesMetInOrder) {
    QuadtreeIntersectIt it;
    EXPECT_FALSE(it.valid());
    const CompactMesh mesh = test::wavySurface(2000);
    const Octree around = octreeOf(mesh, 16);
    for (const int maxPoints : {3, 5000}) {
        const BoundingBox all = around.getRoot().box;
        const Quadtree quadtree(mesh.getNumVertices(), mesh.getVerticesRaw(), all, maxPoints);
        std::vector<QuadtreeIterator> leaves;
        for (it.reset(quadtree, all); it.valid(); it.next())
            leaves.push_back(it.get());
        ASSERT_EQ(static_cast<int>(leaves.size()), quadtree.getNumVoxels());
        RandomPoints point{around};
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
