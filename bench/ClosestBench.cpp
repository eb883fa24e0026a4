// Closest points, on one thread. Cases are named by the number of triangles of the surface.

#include <benchmark/benchmark.h>
#include <cmath>
#include <cstdint>
#include <optional>
#include <random>
#include <vector>

#include "qvGeom/foundation/base/Progress.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/MeshCoord.h"
#include "qvGeom/foundation/geometry/Octree.h"
#include "qvGeom/foundation/geometry/OctreeTris.h"
#include "qvGeom/foundation/linear/Linear.h"
#include "qvGeom/spatial/GeomClosestPoint.h"
#include "qvGeom/spatial/GeomDeviation.h"
#include "qvGeom/spatial/GeomOctree.h"
#include "qvGeom/topology/GeomBoundingBox.h"

#include "support/Measure.h"
#include "support/MeshBuilders.h"

namespace {

using qvGeom::BoundingBox;
using qvGeom::CompactMesh;
using qvGeom::Octree;
using qvGeom::OctreeTris;
using qvLinear::Point;
using qvLinear::Vector;

constexpr int kPoints = 10000;

Octree octreeOf(const CompactMesh& mesh) {
    BoundingBox box;
    meshBoundingBox(mesh, box);
    return {mesh.getNumVertices(), mesh.getVerticesRaw(), box, true, 16};
}

/// A unit sphere and its tree.
struct Subject {
    CompactMesh mesh;
    Octree octree;
    OctreeTris tris;

    explicit Subject(std::int64_t triangles) : mesh(sphereOf(triangles)), octree(octreeOf(mesh)) {
        computeOctreeTris(mesh, octree, tris);
    }

    static CompactMesh sphereOf(std::int64_t triangles) {
        const int rings = static_cast<int>(std::sqrt(static_cast<double>(triangles) / 4));
        return test::sphere(rings, 2 * rings);
    }
};

/// The subject of the case, kept from one case to the next while they have the same.
const Subject& subjectOf(const benchmark::State& state) {
    static std::optional<Subject> subject;
    static std::int64_t key = 0;
    if (!subject || key != state.range(0)) {
        key = state.range(0);
        subject.emplace(key);
    }
    return *subject;
}

/// Points in random directions, at distances between two radii from the centre.
std::vector<Point> pointsBetween(double inner, double outer) {
    std::mt19937 random(1);
    std::normal_distribution<double> normal;
    std::uniform_real_distribution<double> radius(inner, outer);
    std::vector<Point> points(kPoints);
    for (Point& p : points) {
        Vector direction{normal(random), normal(random), normal(random)};
        direction.normalize();
        p = Point{0, 0, 0} + radius(random) * direction;
    }
    return points;
}

void closestPoints(benchmark::State& state, const std::vector<Point>& points) {
    const Subject& subject = subjectOf(state);
    qvGeom::MeshClosestPoint closest(subject.mesh, subject.octree, subject.tris);
    bench::Checksum sum;
    for (auto _ : state) {
        sum = {};
        for (const Point& p : points) {
            qvGeom::MeshCoord coord;
            sum.add(qvLinear::narrow(closest.find(p, coord)));
            sum.add(coord.triangle);
        }
    }
    state.counters["checksum"] = sum.value();
    state.SetItemsProcessed(state.iterations() * kPoints);
}

/// Off by at most a thousandth of the radius, some edges of the triangles at 1M.
void closestNearSurface(benchmark::State& state) {
    closestPoints(state, pointsBetween(0.999, 1.001));
}

/// Anywhere in the sphere but around its centre, where all triangles are equally far.
void closestInside(benchmark::State& state) { closestPoints(state, pointsBetween(0.2, 0.9)); }

void closestAround(benchmark::State& state) { closestPoints(state, pointsBetween(1.1, 3)); }

void closestFarAway(benchmark::State& state) { closestPoints(state, pointsBetween(4e6, 6e6)); }

/// All vertices of the sphere, slightly swollen, against it, on the shared pool.
void deviation(benchmark::State& state) {
    const Subject& subject = subjectOf(state);
    CompactMesh swollen = subject.mesh;
    float* const xyz = swollen.getVerticesRaw();
    for (int i = 0; i < 3 * swollen.getNumVertices(); ++i)
        xyz[i] *= 1.001F;
    qvGeom::Array<float> distances;
    for (auto _ : state) {
        qvUtil::Progress progress;
        meshDeviation(swollen, subject.mesh, subject.octree, subject.tris, progress, distances);
    }
    bench::Checksum sum;
    sum.add(distances.data(), distances.size());
    state.counters["checksum"] = sum.value();
    state.SetItemsProcessed(state.iterations() * distances.size());
}

void sizes(benchmark::internal::Benchmark* bench) {
    for (const int size : {100000, 1000000, 4000000})
        bench->Arg(size);
    bench->Unit(benchmark::kMillisecond)->UseRealTime();
}

BENCHMARK(closestNearSurface)->Apply(sizes);
BENCHMARK(closestInside)->Apply(sizes);
BENCHMARK(closestAround)->Apply(sizes);
BENCHMARK(closestFarAway)->Apply(sizes);
BENCHMARK(deviation)->Apply(sizes);

} // namespace
