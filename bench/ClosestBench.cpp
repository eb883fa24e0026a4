// Closest points, on one thread. Cases are named by the number of triangles of the surface.

#include <benchmark/benchmark.h>
#include <cstdint>
#include <vector>

#include "qvGeom/foundation/base/Progress.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/MeshCoord.h"
#include "qvGeom/foundation/linear/Linear.h"
#include "qvGeom/spatial/GeomClosestPoint.h"
#include "qvGeom/spatial/GeomDeviation.h"

#include "support/IndexedMesh.h"
#include "support/Measure.h"
#include "support/SpherePoints.h"
#include "support/Subject.h"

namespace {

using bench::IndexedMesh;
using qvGeom::CompactMesh;
using qvLinear::Point;

constexpr int kPoints = 10000;

const IndexedMesh& subjectOf(const benchmark::State& state) {
    return bench::kept<bench::IndexedSphere>(state.range(0));
}

void closestPoints(benchmark::State& state, const std::vector<Point>& points) {
    const IndexedMesh& subject = subjectOf(state);
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
    closestPoints(state, bench::pointsBetween(0.999, 1.001, kPoints));
}

/// Anywhere in the sphere but around its centre, where all triangles are equally far.
void closestInside(benchmark::State& state) {
    closestPoints(state, bench::pointsBetween(0.2, 0.9, kPoints));
}

void closestAround(benchmark::State& state) {
    closestPoints(state, bench::pointsBetween(1.1, 3, kPoints));
}

void closestFarAway(benchmark::State& state) {
    closestPoints(state, bench::pointsBetween(4e6, 6e6, kPoints));
}

/// All vertices of the sphere, slightly swollen, against it, on the shared pool.
void deviation(benchmark::State& state) {
    const IndexedMesh& subject = subjectOf(state);
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

BENCHMARK(closestNearSurface)->Apply(bench::sizes)->UseRealTime();
BENCHMARK(closestInside)->Apply(bench::sizes)->UseRealTime();
BENCHMARK(closestAround)->Apply(bench::sizes)->UseRealTime();
BENCHMARK(closestFarAway)->Apply(bench::sizes)->UseRealTime();
BENCHMARK(deviation)->Apply(bench::sizes)->UseRealTime();

} // namespace
