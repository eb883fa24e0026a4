// Cases are named by the number of triangles of the surface, a sphere, and by
// the rays: 0 a camera's, row by row, 1 at random.

#include <benchmark/benchmark.h>
#include <cmath>
#include <cstdint>
#include <optional>
#include <random>
#include <vector>

#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/Octree.h"
#include "qvGeom/foundation/geometry/OctreeTris.h"
#include "qvGeom/foundation/linear/Linear.h"
#include "qvGeom/spatial/GeomOctree.h"
#include "qvGeom/spatial/GeomRayTrace.h"
#include "qvGeom/topology/GeomBoundingBox.h"

#include "support/Measure.h"
#include "support/MeshBuilders.h"

namespace {

using qvGeom::CompactMesh;
using qvGeom::Octree;
using qvLinear::PointFlt;
using qvLinear::VectorFlt;

constexpr int kSide = 512;
constexpr int kVerticesPerLeaf = 16;

Octree octreeOf(const CompactMesh& mesh) {
    qvGeom::BoundingBox box;
    meshBoundingBox(mesh, box);
    return {mesh.getNumVertices(), mesh.getVerticesRaw(), box, true, kVerticesPerLeaf};
}

struct Subject {
    int size;
    CompactMesh mesh;
    Octree octree;
    qvGeom::OctreeTris tris;

    explicit Subject(int triangles)
        : size(triangles),
          mesh(test::sphere(static_cast<int>(std::sqrt(triangles / 4)),
                            2 * static_cast<int>(std::sqrt(triangles / 4)))),
          octree(octreeOf(mesh)) {
        computeOctreeTris(mesh, octree, tris);
    }
};

/// The subject of the case, kept from one case to the next while they have the same.
const Subject& subjectOf(const benchmark::State& state) {
    static std::optional<Subject> subject;
    if (!subject || subject->size != state.range(0))
        subject.emplace(static_cast<int>(state.range(0)));
    return *subject;
}

struct Query {
    PointFlt origin;
    VectorFlt direction;
};

/// Four in a row belong together: they have one origin.
std::vector<Query> raysOf(const benchmark::State& state) {
    std::mt19937 random(1);
    std::uniform_real_distribution<float> unit(-1.0F, 1.0F);
    std::vector<Query> rays;
    for (int i = 0; i < kSide * kSide; ++i) {
        if (state.range(1) == 0) { // two by two pixels
            const int block = i / 4, x = block % (kSide / 2) * 2 + i % 2,
                      y = block / (kSide / 2) * 2 + i / 2 % 2;
            const auto at = [](int pixel) { return (static_cast<float>(pixel) + 0.5F) / kSide; };
            rays.push_back({{0.1F, 0.2F, 3.0F}, {at(x) * 0.9F - 0.5F, at(y) * 0.9F - 0.5F, -1.0F}});
        } else {
            const PointFlt from =
                i % 4 == 0 ? PointFlt{1.5F * unit(random), 1.5F * unit(random), 1.5F * unit(random)}
                           : rays.back().origin;
            rays.push_back({from, {unit(random), unit(random), unit(random)}});
        }
    }
    return rays;
}

void trace(benchmark::State& state, bool nearest) {
    const Subject& subject = subjectOf(state);
    const std::vector<Query> rays = raysOf(state);
    qvGeom::RayTracer tracer(subject.octree, subject.tris, &subject.mesh);
    tracer.setFindNearestHit(nearest);
    bench::Checksum sum;
    for (auto _ : state) {
        sum = {};
        for (const Query& ray : rays) {
            sum.add(static_cast<int>(tracer.intersect(ray.origin, widen(ray.direction))));
            sum.add(static_cast<float>(tracer.intersectionDist()));
        }
    }
    state.counters["checksum"] = sum.value();
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(rays.size()));
}

void rayNearest(benchmark::State& state) { trace(state, true); }

void rayAny(benchmark::State& state) { trace(state, false); }

/// The same checksum as rayNearest.
void rayFour(benchmark::State& state) {
    const Subject& subject = subjectOf(state);
    const std::vector<Query> rays = raysOf(state);
    qvGeom::QuadRayTracer tracer(subject.octree, subject.tris, &subject.mesh);
    bench::Checksum sum;
    for (auto _ : state) {
        sum = {};
        for (std::size_t i = 0; i < rays.size(); i += 4) {
            qvGeom::QuadRay quad(rays[i].origin, rays[i].direction, rays[i + 1].direction,
                                 rays[i + 2].direction, rays[i + 3].direction);
            tracer.intersect(quad);
            for (int r = 0; r < 4; ++r) {
                sum.add(static_cast<int>(quad.getHit(r).hit));
                sum.add(static_cast<float>(quad.getHit(r).t));
            }
        }
    }
    state.counters["checksum"] = sum.value();
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(rays.size()));
}

void sizesAndRays(benchmark::internal::Benchmark* bench) {
    for (const int size : {100000, 1000000, 4000000}) {
        for (const int rays : {0, 1})
            bench->Args({size, rays});
    }
    bench->Unit(benchmark::kMillisecond);
}

BENCHMARK(rayNearest)->Apply(sizesAndRays);
BENCHMARK(rayAny)->Apply(sizesAndRays);
BENCHMARK(rayFour)->Apply(sizesAndRays);

} // namespace
