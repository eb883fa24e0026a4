// Cases are named by the number of triangles of the surface and by its order: 0 lattice, 1
// shuffled.

#include <benchmark/benchmark.h>
#include <cstdint>
#include <random>
#include <vector>

#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/Frustum.h"
#include "qvGeom/foundation/geometry/Octree.h"
#include "qvGeom/foundation/geometry/OctreeTris.h"
#include "qvGeom/foundation/geometry/Quadtree.h"
#include "qvGeom/foundation/geometry/Ray.h"
#include "qvGeom/foundation/geometry/Sphere.h"
#include "qvGeom/foundation/linear/Linear.h"
#include "qvGeom/spatial/GeomOctree.h"
#include "qvGeom/spatial/GeomOctreeIterators.h"

#include "support/Measure.h"
#include "support/Subject.h"
#include "support/Trees.h"

namespace {

using qvGeom::BoundingBox;
using qvGeom::CompactMesh;
using qvGeom::Octree;
using qvGeom::OctreeTris;
using qvGeom::Quadtree;
using qvGeom::Ray;
using qvLinear::Point;
using qvLinear::PointFlt;
using qvLinear::Vector;

constexpr int kQueries = 256;

/// A surface and its trees.
struct Subject {
    CompactMesh mesh;
    Octree octree;
    Quadtree quadtree;

    Subject(std::int64_t triangles, std::int64_t order)
        : mesh(bench::surfaceOf(triangles, order)),
          octree(test::octreeOf(mesh)),
          quadtree(mesh.getNumVertices(), mesh.getVerticesRaw(), octree.getRoot().box, 16) {}
};

const Subject& subjectOf(const benchmark::State& state) {
    return bench::kept<Subject>(state.range(0), state.range(1));
}

void octreeBuild(benchmark::State& state) {
    const CompactMesh& mesh = subjectOf(state).mesh;
    bench::Checksum sum;
    for (auto _ : state) {
        const Octree octree = test::octreeOf(mesh);
        sum = {};
        sum.add(octree.getNumVoxels());
        sum.add(octree.getDepth());
    }
    state.counters["checksum"] = sum.value();
    state.SetItemsProcessed(state.iterations() * mesh.getNumTriangles());
}

void octreePartition(benchmark::State& state) {
    const Subject& subject = subjectOf(state);
    OctreeTris tris;
    for (auto _ : state)
        computeOctreeTris(subject.mesh, subject.octree, tris);
    bench::Checksum sum;
    sum.add(tris.list(), tris.numMembers());
    state.counters["checksum"] = sum.value();
    state.counters["voxels/tri"] =
        static_cast<double>(tris.numMembers()) / static_cast<double>(state.range(0));
    state.SetItemsProcessed(state.iterations() * subject.mesh.getNumTriangles());
}

/// What a new mesh costs before its first query.
void octreeBuildAndPartition(benchmark::State& state) {
    const CompactMesh& mesh = subjectOf(state).mesh;
    bench::Checksum sum;
    for (auto _ : state) {
        OctreeTris tris;
        computeOctreeTris(mesh, test::octreeOf(mesh), tris);
        sum = {};
        sum.add(tris.numMembers());
    }
    state.counters["checksum"] = sum.value();
    state.SetItemsProcessed(state.iterations() * mesh.getNumTriangles());
}

/// Walks a tree with an iterator for every query and counts leaves.
template <class Iterator, class Query>
void walk(benchmark::State& state, Iterator& it, const std::vector<Query>& queries) {
    bench::Checksum sum;
    std::int64_t leaves = 0;
    for (auto _ : state) {
        sum = {};
        for (const Query& query : queries) {
            for (it.reset(query); it.valid(); it.next(), ++leaves)
                sum.add(it.get().leafIndex());
        }
    }
    state.counters["checksum"] = sum.value();
    state.SetItemsProcessed(leaves);
}

/// Random points around the box of the surface.
std::vector<Point> randomPoints(const BoundingBox& box) {
    std::mt19937 random(1);
    std::uniform_real_distribution<double> unit(-0.1, 1.1);
    std::vector<Point> points(kQueries);
    for (Point& p : points) {
        const auto between = [&](int axis) {
            return box.min[axis] + unit(random) * (box.max[axis] - box.min[axis]);
        };
        p = {between(0), between(1), between(2)};
    }
    return points;
}

std::vector<BoundingBox> randomBoxes(const BoundingBox& all) {
    std::vector<BoundingBox> boxes;
    for (const Point& p : randomPoints(all)) {
        BoundingBox& box = boxes.emplace_back(narrow(p), narrow(p));
        box.extend(static_cast<float>(0.01 * all.diagonalLength()));
    }
    return boxes;
}

void boxWalk(benchmark::State& state) {
    const Subject& subject = subjectOf(state);
    const BoundingBox all = subject.octree.getRoot().box;
    const std::vector<BoundingBox> boxes = randomBoxes(all);
    qvGeom::OctreeBBoxIntersectIt it(subject.octree);
    walk(state, it, boxes);
}

void sphereWalk(benchmark::State& state) {
    const Subject& subject = subjectOf(state);
    const BoundingBox all = subject.octree.getRoot().box;
    std::vector<qvGeom::Sphere> spheres;
    for (const Point& p : randomPoints(all))
        spheres.push_back({p, 0.01 * all.diagonalLength()});
    qvGeom::OctreeSphereIntersectIt it(subject.octree);
    walk(state, it, spheres);
}

void rayWalk(benchmark::State& state) {
    const Subject& subject = subjectOf(state);
    const std::vector<Point> ends = randomPoints(subject.octree.getRoot().box);
    std::vector<PointFlt> origins;
    std::vector<Vector> directions;
    for (std::size_t i = 0; i < ends.size(); ++i) {
        origins.push_back(narrow(ends[i]));
        directions.push_back(ends[(i + 1) % ends.size()] - ends[i]);
    }
    std::vector<Ray> rays;
    for (std::size_t i = 0; i < ends.size(); ++i)
        rays.emplace_back(origins[i], directions[i]);
    qvGeom::OctreeRayIntersectIt it(subject.octree);
    walk(state, it, rays);
}

/// Slices of a parallel view along z, a tenth of the surface wide.
void frustumWalk(benchmark::State& state) {
    const Subject& subject = subjectOf(state);
    const BoundingBox all = subject.octree.getRoot().box;
    const double width = 0.1 * (all.max[0] - all.min[0]);
    std::vector<qvGeom::Frustum> frusta;
    for (const Point& p : randomPoints(all)) {
        qvLinear::AffineMatrix toClip(2.0 / width);
        for (int axis = 0; axis < 3; ++axis)
            toClip.m[3][axis] = -2.0 / width * (axis == 0 ? p.x : axis == 1 ? p.y : p.z);
        frusta.emplace_back(qvLinear::ProjMatrix(toClip));
    }
    qvGeom::OctreeIntersectIt it(subject.octree);
    walk(state, it, frusta);
}

void leafWalk(benchmark::State& state) {
    const Subject& subject = subjectOf(state);
    qvGeom::OctreeLeafIterator it(subject.octree);
    const auto all = [&](const Octree& octree) { it.reset(octree); };
    bench::Checksum sum;
    std::int64_t leaves = 0;
    for (auto _ : state) {
        sum = {};
        for (all(subject.octree); it.valid(); it.next(), ++leaves)
            sum.add(it.get().leafIndex());
    }
    state.counters["checksum"] = sum.value();
    state.SetItemsProcessed(leaves);
}

/// The first ten leaves around each point.
void closestWalk(benchmark::State& state) {
    const Subject& subject = subjectOf(state);
    const std::vector<Point> points = randomPoints(subject.octree.getRoot().box);
    qvGeom::OctreeClosestIt it;
    bench::Checksum sum;
    std::int64_t leaves = 0;
    for (auto _ : state) {
        sum = {};
        for (const Point& p : points) {
            it.reset(subject.octree, p);
            for (int i = 0; i < 10 && it.valid(); ++i, it.next(), ++leaves)
                sum.add(static_cast<float>(it.getDistance2())); // ties come in any order
        }
    }
    state.counters["checksum"] = sum.value();
    state.SetItemsProcessed(leaves);
}

void quadtreeWalk(benchmark::State& state) {
    const Subject& subject = subjectOf(state);
    const BoundingBox all = subject.octree.getRoot().box;
    const std::vector<BoundingBox> boxes = randomBoxes(all);
    qvGeom::QuadtreeIntersectIt it;
    bench::Checksum sum;
    std::int64_t leaves = 0;
    for (auto _ : state) {
        sum = {};
        for (const BoundingBox& box : boxes) {
            for (it.reset(subject.quadtree, box); it.valid(); it.next(), ++leaves)
                sum.add(it.get().leafIndex());
        }
    }
    state.counters["checksum"] = sum.value();
    state.SetItemsProcessed(leaves);
}

BENCHMARK(octreeBuild)->Apply(bench::sizesAndOrders)->UseRealTime();
BENCHMARK(octreePartition)->Apply(bench::sizesAndOrders)->UseRealTime();
BENCHMARK(octreeBuildAndPartition)->Apply(bench::sizesAndOrders)->UseRealTime();
BENCHMARK(boxWalk)->Apply(bench::sizesOfLattices)->UseRealTime();
BENCHMARK(sphereWalk)->Apply(bench::sizesOfLattices)->UseRealTime();
BENCHMARK(rayWalk)->Apply(bench::sizesOfLattices)->UseRealTime();
BENCHMARK(frustumWalk)->Apply(bench::sizesOfLattices)->UseRealTime();
BENCHMARK(leafWalk)->Apply(bench::sizesOfLattices)->UseRealTime();
BENCHMARK(closestWalk)->Apply(bench::sizesOfLattices)->UseRealTime();
BENCHMARK(quadtreeWalk)->Apply(bench::sizesOfLattices)->UseRealTime();

} // namespace
