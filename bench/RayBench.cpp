// Cases are named by the number of triangles of the surface, a sphere, and by
// the rays: 0 a camera's, row by row, 1 at random.

#include <benchmark/benchmark.h>
#include <cstdint>
#include <vector>

#include "qvGeom/spatial/GeomRayTrace.h"

#include "support/Measure.h"
#include "support/Rays.h"

namespace {

using bench::RayQuery;

bench::Checksum traceOnes(qvGeom::RayTracer& tracer, const std::vector<RayQuery>& rays) {
    bench::Checksum sum;
    for (const RayQuery& ray : rays) {
        sum.add(static_cast<int>(tracer.intersect(ray.origin, widen(ray.direction))));
        sum.add(static_cast<float>(tracer.intersectionDist()));
    }
    return sum;
}

void trace(benchmark::State& state, bool nearest) {
    const bench::IndexedMesh& subject = bench::raySubjectOf(state);
    const std::vector<RayQuery> rays = bench::raysOf(state);
    qvGeom::RayTracer tracer(subject.octree, subject.tris, &subject.mesh);
    tracer.setFindNearestHit(nearest);
    bench::Checksum sum;
    for (auto _ : state)
        sum = traceOnes(tracer, rays);
    state.counters["checksum"] = sum.value();
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(rays.size()));
}

void rayNearest(benchmark::State& state) { trace(state, true); }

void rayAny(benchmark::State& state) { trace(state, false); }

bench::Checksum traceFours(qvGeom::QuadRayTracer& tracer, const std::vector<RayQuery>& rays) {
    bench::Checksum sum;
    for (std::size_t i = 0; i < rays.size(); i += 4) {
        qvGeom::QuadRay quad(rays[i].origin, rays[i].direction, rays[i + 1].direction,
                             rays[i + 2].direction, rays[i + 3].direction);
        tracer.intersect(quad);
        for (int r = 0; r < 4; ++r) {
            sum.add(static_cast<int>(quad.getHit(r).hit));
            sum.add(static_cast<float>(quad.getHit(r).t));
        }
    }
    return sum;
}

/// The same checksum as rayNearest.
void rayFour(benchmark::State& state) {
    const bench::IndexedMesh& subject = bench::raySubjectOf(state);
    const std::vector<RayQuery> rays = bench::raysOf(state);
    qvGeom::QuadRayTracer tracer(subject.octree, subject.tris, &subject.mesh);
    bench::Checksum sum;
    for (auto _ : state)
        sum = traceFours(tracer, rays);
    state.counters["checksum"] = sum.value();
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(rays.size()));
}

void rayFourAgainstOne(benchmark::State& state) {
    const bench::IndexedMesh& subject = bench::raySubjectOf(state);
    const std::vector<RayQuery> rays = bench::raysOf(state);
    qvGeom::QuadRayTracer four(subject.octree, subject.tris, &subject.mesh);
    qvGeom::RayTracer one(subject.octree, subject.tris, &subject.mesh);
    one.setFindNearestHit(true);
    bench::Checksum sum;
    bench::Checksum sumOfOne;
    bench::runInTurns(
        state, [&] { return bench::secondsOf([&] { sum = traceFours(four, rays); }); },
        [&] { return bench::secondsOf([&] { sumOfOne = traceOnes(one, rays); }); });
    state.counters["checksum"] = sum.value();
    if (sum.value() != sumOfOne.value())
        state.SkipWithError("four at once hit otherwise than one by one");
}

void sizesAndRays(benchmark::internal::Benchmark* bench) {
    for (const int size : {100000, 1000000, 4000000}) {
        for (const int rays : {0, 1})
            bench->Args({size, rays});
    }
    bench->ArgNames({"n", "rays"});
    bench->Unit(benchmark::kMillisecond);
}

BENCHMARK(rayNearest)->Apply(sizesAndRays);
BENCHMARK(rayAny)->Apply(sizesAndRays);
BENCHMARK(rayFour)->Apply(sizesAndRays);
BENCHMARK(rayFourAgainstOne)
    ->ArgNames({"n", "rays"})
    ->Args({1000000, 0})
    ->Iterations(7)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

} // namespace
