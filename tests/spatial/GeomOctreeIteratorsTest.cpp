#include "qvGeom/spatial/GeomOctreeIterators.h"

#include <gtest/gtest.h>
#include <numeric>
#include <set>
#include <vector>

#include "qvGeom/foundation/geometry/Frustum.h"
#include "qvGeom/foundation/geometry/Quadtree.h"
#include "qvGeom/foundation/geometry/Ray.h"
#include "qvGeom/foundation/geometry/Sphere.h"
#include "qvGeom/spatial/GeomOctree.h"

#include "support/MeshBuilders.h"
#include "support/Random.h"
#include "support/Trees.h"

namespace qvGeom {
namespace {

using qvLinear::Point;
using qvLinear::PointFlt;
using qvLinear::Vector;

/// Trees with and without empty leaves, flat, of one leaf, and of none.
std::vector<Octree> someTrees() {
    return {test::octreeOf(test::randomMesh(1, 2000, 1), 5),
            test::octreeOf(test::wavySurface(2000), 4, false),
            test::octreeOf(test::grid(30, 20), 3), test::octreeOf(test::sphere(4, 5), 1000),
            Octree(0, nullptr, {{0, 0, 0}, {1, 1, 1}}, true, 1)};
}

/// Points around the box of a tree, at times corners of its nodes, where touching decides.
struct RandomPoints {
    const Octree& octree;
    test::Random random{7};

    Point operator()() {
        OctreeIterator node = octree.getRoot();
        const bool isCorner = random.below(3) == 0;
        while (isCorner && random.below(4) != 0 && node.descend(random.below(8))) {
        }
        const auto share = [&] { return isCorner ? 1.0 : 0.5 + random.number(0.7); };
        const Vector d = widen(node.box.maxPt() - node.box.minPt());
        return widen(node.box.minPt()) + Vector{share() * d.x, share() * d.y, share() * d.z};
    }
};

template <class Iterator, class... Query>
std::vector<int> walk(Iterator& it, const Query&... query) {
    std::vector<int> visited;
    for (it.reset(query...); it.valid(); it.next())
        visited.push_back(it.get().leafIndex());
    return visited;
}

/// All leaves below a node, the children of each in the order given.
void listLeaves(const OctreeIterator& node, const int* order, std::vector<OctreeIterator>& leaves) {
    if (node.isLeaf())
        leaves.push_back(node);
    for (int i = 0; i < 8; ++i) {
        OctreeIterator child = node;
        if (child.descend(order[i]))
            listLeaves(child, order, leaves);
    }
}

bool intersects(const BoundingBox& box, const BoundingBox& query) { return box.intersects(query); }

/// Compares a walk with a test of every leaf, front to back along `direction`.
template <class Iterator, class Query>
void checkWalk(Iterator& it, const Octree& octree, const Query& query, const Vector& direction) {
    int order[8];
    octree.getNodeOrdering(direction, order);
    std::vector<OctreeIterator> leaves;
    listLeaves(octree.getRoot(), order, leaves);
    std::vector<int> expected;
    for (const OctreeIterator& leaf : leaves) {
        if (intersects(leaf.box, query))
            expected.push_back(leaf.leafIndex());
    }
    ASSERT_EQ(walk(it, query), expected);
    std::vector<int> ofTemporary;
    for (Iterator kept(octree, Query(query)); kept.valid(); kept.next())
        ofTemporary.push_back(kept.get().leafIndex());
    ASSERT_EQ(ofTemporary, expected);
}

TEST(OctreeIntersectIterators, meetWhatEveryLeafTestMeets) {
    for (const Octree& octree : someTrees()) {
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
            checkWalk(boxIt, octree, box, qvLinear::Normal::x);
            checkWalk(sphereIt, octree, Sphere{p, i % 5 * 0.05 * size}, qvLinear::Normal::x);

            const PointFlt origin = narrow(p);
            Vector direction = q - p;
            if (i % 3 == 0) // parallel to an axis or to a face
                direction = {direction.x, i % 2 ? 0.0 : -0.0, i % 4 < 2 ? 0.0 : direction.z};
            checkWalk(rayIt, octree, Ray(origin, direction), direction);

            qvLinear::AffineMatrix toClip(8.0 / size);
            toClip.rotate(qvLinear::Normal(q - p), qvLinear::Normal(0, 1, -3));
            toClip.m[3][i % 3] = -p.x * 8.0 / size;
            const Frustum frustum{qvLinear::ProjMatrix(toClip)};
            checkWalk(frustumIt, octree, frustum, frustum.getVector());
        }
    }
}

TEST(OctreeLeafIterator, visitsTheLastChildFirst) {
    for (const Octree& octree : someTrees()) {
        std::vector<int> backward(octree.getNumVoxels());
        std::iota(backward.rbegin(), backward.rend(), 0);
        OctreeLeafIterator it(octree);
        ASSERT_EQ(it.valid(), !backward.empty());
        ASSERT_EQ(walk(it, octree), backward);
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
    const Octree around = test::octreeOf(mesh);
    const BoundingBox all = around.getRoot().box;
    for (const int maxPoints : {3, 5000}) {
        const Quadtree quadtree(mesh.getNumVertices(), mesh.getVerticesRaw(), all, maxPoints);
        std::vector<QuadtreeIterator> leaves;
        for (it.reset(quadtree, BoundingBox(all)); it.valid(); it.next())
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
            ASSERT_EQ(walk(it, quadtree, box), expected);
        }
    }
}

} // namespace
} // namespace qvGeom
