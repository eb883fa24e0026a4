#include <benchmark/benchmark.h>
#include <cmath>
#include <cstdint>
#include <deque>
#include <utility>

#include "qvGeom/foundation/base/Progress.h"
#include "qvGeom/foundation/geometry/BoundingBox.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/Octree.h"
#include "qvGeom/foundation/geometry/OctreeTris.h"
#include "qvGeom/foundation/linear/AffineMatrix.h"
#include "qvGeom/spatial/GeomIntersect.h"
#include "qvGeom/spatial/GeomOctree.h"
#include "qvGeom/topology/GeomBoundingBox.h"

#include "support/Measure.h"
#include "support/MeshBuilders.h"

namespace {

using qvGeom::CompactMesh;
using qvGeom::MeshIntersect;
using qvGeom::Octree;
using qvGeom::OctreeTris;

using Records = std::deque<qvGeom::MeshIntersectPair>;

struct Indexed {
    CompactMesh mesh;
    Octree octree;
    OctreeTris tris;

    explicit Indexed(CompactMesh source) : mesh(std::move(source)), octree(octreeOf(mesh)) {
        computeOctreeTris(mesh, octree, tris);
    }

    static Octree octreeOf(const CompactMesh& mesh) {
        qvGeom::BoundingBox box;
        meshBoundingBox(mesh, box);
        return {mesh.getNumVertices(), mesh.getVerticesRaw(), box, true, 16};
    }
};

CompactMesh sphereOf(std::int64_t triangles) {
    const int rings = static_cast<int>(std::lround(std::sqrt(static_cast<double>(triangles) / 4)));
    return test::sphere(rings, 2 * rings);
}

void report(benchmark::State& state, const Records& records) {
    bench::Checksum sum;
    for (const qvGeom::MeshIntersectPair& record : records)
        sum.add(record.first.triangle);
    state.counters["records"] = static_cast<double>(records.size());
    state.counters["checksum"] = sum.value();
}

/// A first search, with all that it prepares, of a mesh without crossings.
void search(benchmark::State& state, CompactMesh mesh) {
    const Indexed indexed(std::move(mesh));
    qvUtil::Progress progress;
    Records records;
    for (auto _ : state)
        MeshIntersect(indexed.mesh, indexed.octree, indexed.tris).selfIntersect(progress, records);
    report(state, records);
    state.SetItemsProcessed(state.iterations() * indexed.mesh.getNumTriangles());
}

void selfIntersectSphere(benchmark::State& state) { search(state, sphereOf(state.range(0))); }

void selfIntersectWavy(benchmark::State& state) {
    search(state, test::wavySurface(static_cast<int>(state.range(0))));
}

void selfIntersectShuffled(benchmark::State& state) {
    search(state, test::shuffled(test::wavySurface(static_cast<int>(state.range(0))), 1));
}

/// Every triangle of one sphere once more, moved aside: both halves of the mesh cross.
void selfIntersectTwoSpheres(benchmark::State& state) {
    CompactMesh mesh = sphereOf(state.range(0) / 2);
    const int vertices = mesh.getNumVertices();
    const int corners = 3 * mesh.getNumTriangles();
    mesh.resizeVertexArray(2 * vertices);
    mesh.resizeTriangleArray(2 * mesh.getNumTriangles());
    for (int v = 0; v < vertices; ++v) {
        const qvGeom::MeshVertex& p = mesh.getVertices()[v];
        mesh.getVertices()[vertices + v] = {p.x + 0.51F, p.y + 0.23F, p.z + 0.37F};
    }
    for (int c = 0; c < corners; ++c)
        mesh.getTrianglesRaw()[corners + c] = mesh.getTrianglesRaw()[c] + vertices;
    search(state, mesh);
}

void intersectSpheres(benchmark::State& state) {
    const Indexed indexed(sphereOf(state.range(0)));
    qvLinear::AffineMatrix aside;
    aside.setFrame({0.51, 0.23, 0.37}, {1, 0, 0}, {0, 0.8, 0.6}, {0, -0.6, 0.8});
    qvUtil::Progress progress;
    Records on1, on2;
    for (auto _ : state) {
        MeshIntersect(indexed.mesh, indexed.octree, indexed.tris)
            .intersect(indexed.mesh, indexed.octree, indexed.tris, aside, progress, on1, on2);
    }
    report(state, on1);
    state.SetItemsProcessed(2 * state.iterations() * indexed.mesh.getNumTriangles());
}

void sizes(benchmark::internal::Benchmark* bench) {
    for (const int size : {100000, 1000000, 4000000})
        bench->Arg(size);
    bench->Unit(benchmark::kMillisecond)->UseRealTime();
}

BENCHMARK(selfIntersectSphere)->Apply(sizes);
BENCHMARK(selfIntersectWavy)->Apply(sizes);
BENCHMARK(selfIntersectShuffled)->Apply(sizes);
BENCHMARK(selfIntersectTwoSpheres)->Apply(sizes);
BENCHMARK(intersectSpheres)->Apply(sizes);

} // namespace
