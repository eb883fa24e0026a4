// Cases are named by the number of triangles and by their order: 0 lattice, 1 shuffled.

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cmath>
#include <cstdint>
#include <utility>
#include <vector>

#include "qvGeom/foundation/base/Progress.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/MeshAdjTris.h"
#include "qvGeom/foundation/geometry/MeshAdjVertices.h"
#include "qvGeom/improvement/GeomSmooth.h"
#include "qvGeom/topology/GeomAdjacency.h"

#include "support/Measure.h"
#include "support/MeshBuilders.h"
#include "support/Subject.h"

namespace {

using qvGeom::CompactMesh;
using qvGeom::MeshAdjVertices;
using qvGeom::MeshVertex;

/// A rough surface of about so many triangles with normals, and its neighbours.
struct Subject {
    CompactMesh mesh;
    MeshAdjVertices neighbours;
    double edge; // about the shortest

    Subject(std::int64_t triangles, std::int64_t order)
        : mesh(test::wavySurface(static_cast<int>(triangles))),
          edge(std::sqrt(2.0 / mesh.getNumTriangles())) {
        for (int v = 0; v < mesh.getNumVertices(); ++v) {
            MeshVertex& p = mesh.getVertices()[v];
            p.z +=
                static_cast<float>(edge * 0.01 * static_cast<double>(v * std::int64_t{7919} % 31));
        }
        if (order == 1)
            mesh = test::shuffled(mesh, 1);
        for (int v = 0; v < mesh.getNumVertices(); ++v)
            mesh.allocNormalArray()[v] = {0, 0, 1};
        qvGeom::MeshAdjTris adjTris;
        meshAdjTris(mesh, adjTris);
        meshAdjVertices(mesh, adjTris, neighbours);
    }
};

const Subject& subjectOf(const benchmark::State& state) {
    return bench::kept<Subject>(state.range(0), state.range(1));
}

/// The means of all neighbours, into memory that is there.
void plainMeans(const CompactMesh& mesh, const MeshAdjVertices& neighbours,
                std::vector<MeshVertex>& means) {
    const MeshVertex* const vertices = mesh.getVertices();
    const int numVertices = mesh.getNumVertices();
    for (int v = 0; v < numVertices; ++v) {
        const int* const around = neighbours.getVertices(v);
        const int count = neighbours.getCount(v);
        float x = 0, y = 0, z = 0;
        for (int i = 0; i < count; ++i) {
            x += vertices[around[i]].x;
            y += vertices[around[i]].y;
            z += vertices[around[i]].z;
        }
        const auto k = static_cast<float>(count);
        means[v] = {x / k, y / k, z / k};
    }
}

void checkAndCount(benchmark::State& state, const CompactMesh& mesh) {
    bench::Checksum sum;
    sum.add(mesh.getVerticesRaw(), 3 * mesh.getNumVertices());
    state.counters["checksum"] = sum.value();
    state.SetItemsProcessed(state.iterations() * mesh.getNumVertices());
}

/// Each pass starts from the same mesh, restored outside the time that counts.
void smoothLaplacian(benchmark::State& state) {
    const Subject& s = subjectOf(state);
    CompactMesh mesh = s.mesh;
    std::vector<MeshVertex> means(mesh.getNumVertices());
    bench::runInTurns(
        state,
        [&] {
            mesh.copyVertices(s.mesh.getNumVertices(), s.mesh.getVertices());
            qvUtil::Progress progress;
            return bench::secondsOf([&] { meshSmoothLaplacian(mesh, s.neighbours, progress); });
        },
        [&] { return bench::secondsOf([&] { plainMeans(s.mesh, s.neighbours, means); }); });
    checkAndCount(state, mesh);
    if (!std::equal(means.begin(), means.end(), mesh.getVertices(),
                    [](const MeshVertex& a, const MeshVertex& b) {
                        return a.x == b.x && a.y == b.y && a.z == b.z;
                    }))
        state.SkipWithError("the plain loop gave other positions");
}

/// The neighbours within three edges of a row, by paths within that distance.
std::int64_t numGathered(const Subject& s, double sigma) {
    const MeshVertex* const vertices = s.mesh.getVertices();
    std::vector<int> seenBy(s.mesh.getNumVertices(), -1), stack;
    std::int64_t gathered = 0;
    for (int v = 0; v < s.mesh.getNumVertices(); ++v) {
        seenBy[v] = v;
        for (stack.assign(1, v); !stack.empty();) {
            const int u = stack.back();
            stack.pop_back();
            for (int i = 0; i < s.neighbours.getCount(u); ++i) {
                const int w = s.neighbours.getVertices(u)[i];
                const double x = double{vertices[w].x} - vertices[v].x;
                const double y = double{vertices[w].y} - vertices[v].y;
                const double z = double{vertices[w].z} - vertices[v].z;
                if (std::exchange(seenBy[w], v) != v && x * x + y * y + z * z <= sigma * sigma) {
                    stack.push_back(w);
                    ++gathered;
                }
            }
        }
    }
    return gathered;
}

/// With a sigma of two and a half edges, and the time for each vertex gathered.
void smoothBilateral(benchmark::State& state) {
    const Subject& s = subjectOf(state);
    const double sigma = 2.5 * s.edge;
    const auto gathered = static_cast<double>(numGathered(s, sigma));
    CompactMesh mesh = s.mesh;
    std::vector<double> seconds;
    for (auto _ : state) {
        mesh.copyVertices(s.mesh.getNumVertices(), s.mesh.getVertices());
        qvUtil::Progress progress;
        seconds.push_back(
            bench::secondsOf([&] { meshSmoothBilateral(mesh, s.neighbours, sigma, progress); }));
        state.SetIterationTime(seconds.back());
    }
    checkAndCount(state, mesh);
    state.counters["gathered_per_vertex"] = gathered / mesh.getNumVertices();
    state.counters["ns_per_gathered"] = 1e9 * bench::medianOf(seconds) / gathered;
}

BENCHMARK(smoothLaplacian)->Apply(bench::sizesAndOrders)->UseManualTime();
BENCHMARK(smoothBilateral)->Apply(bench::sizesAndOrders)->UseManualTime();

} // namespace
