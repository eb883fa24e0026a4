// Most cases run an operation and the plain loop it is measured against in turns. They are named
// by the number of triangles and by their order: 0 lattice, 1 shuffled.

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cmath>
#include <cstdint>
#include <memory>
#include <numeric>
#include <utility>
#include <vector>

#include "qvGeom/foundation/geometry/BoundingBox.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/MeshAdjTris.h"
#include "qvGeom/foundation/geometry/MeshAdjVertices.h"
#include "qvGeom/foundation/geometry/MeshBoundaries.h"
#include "qvGeom/foundation/geometry/MeshPlacement.h"
#include "qvGeom/topology/GeomAdjacency.h"
#include "qvGeom/topology/GeomArea.h"
#include "qvGeom/topology/GeomBoundary.h"
#include "qvGeom/topology/GeomBoundingBox.h"
#include "qvGeom/topology/GeomComponents.h"

#include "support/Measure.h"
#include "support/Subject.h"

namespace {

using qvGeom::Array;
using qvGeom::BoundingBox;
using qvGeom::CompactMesh;
using qvGeom::MeshAdjTris;
using qvGeom::MeshAdjVertices;
using qvGeom::MeshBoundaries;
using qvGeom::MeshTriangle;
using qvGeom::MeshVertex;

/// A surface of about so many triangles, and its tables.
struct Subject {
    CompactMesh mesh;
    MeshAdjTris adjTris;
    MeshAdjVertices adjVertices;

    Subject(std::int64_t triangles, std::int64_t order) : mesh(bench::surfaceOf(triangles, order)) {
        meshAdjTris(mesh, adjTris);
        meshAdjVertices(mesh, adjTris, adjVertices);
    }
};

const Subject& subjectOf(const benchmark::State& state) {
    return bench::kept<Subject>(state.range(0), state.range(1));
}

/// Runs an operation and a plain loop in turns.
template <class Operation, class Plain>
void compare(benchmark::State& state, const Operation& operation, const Plain& plain) {
    bench::runInTurns(
        state, [&] { return bench::secondsOf(operation); },
        [&] { return bench::secondsOf(plain); });
    state.SetItemsProcessed(state.iterations() * subjectOf(state).mesh.getNumTriangles());
}

/// The counting sort of triangles by vertex in two passes.
struct PlainAdjTris {
    std::vector<int> offsets;
    std::unique_ptr<int[]> list;

    explicit PlainAdjTris(const CompactMesh& mesh)
        : offsets(mesh.getNumVertices()),
          list(new int[3 * static_cast<std::size_t>(mesh.getNumTriangles())]) {
        const MeshTriangle* const triangles = mesh.getTriangles();
        const int numTriangles = mesh.getNumTriangles();
        for (int t = 0; t < numTriangles; ++t) {
            for (const int c : triangles[t].v)
                ++offsets[c];
        }
        std::exclusive_scan(offsets.begin(), offsets.end(), offsets.begin(), 0);
        std::vector<int> cursor(offsets.size());
        for (int t = 0; t < numTriangles; ++t) {
            for (const int c : triangles[t].v)
                list[offsets[c] + cursor[c]++] = t;
        }
    }
};

/// The table of neighbours in two passes, to count and to fill, with a mark on each vertex found.
struct PlainAdjVertices {
    std::unique_ptr<int[]> offsets;
    std::unique_ptr<int[]> data;
    int length = 0;

    PlainAdjVertices(const CompactMesh& mesh, const MeshAdjTris& adjTris)
        : offsets(new int[mesh.getNumVertices()]) {
        const MeshTriangle* const triangles = mesh.getTriangles();
        const int numVertices = mesh.getNumVertices();
        std::vector<int> marks(numVertices);
        int stamp = 0;
        for (int v = 0; v < numVertices; ++v) {
            marks[v] = ++stamp;
            int count = 0;
            for (const int* tri = adjTris.begin(v); tri != adjTris.end(v); ++tri) {
                for (const int c : triangles[*tri].v) {
                    if (marks[c] != stamp) {
                        marks[c] = stamp;
                        ++count;
                    }
                }
            }
            offsets[v] = length;
            length += count + 1;
        }
        data.reset(new int[length]);
        for (int v = 0; v < numVertices; ++v) {
            marks[v] = ++stamp;
            int* const block = &data[offsets[v]];
            int count = 0;
            for (const int* tri = adjTris.begin(v); tri != adjTris.end(v); ++tri) {
                for (const int c : triangles[*tri].v) {
                    if (marks[c] != stamp) {
                        marks[c] = stamp;
                        block[++count] = c;
                    }
                }
            }
            block[0] = count;
        }
    }
};

/// Union by lowest index with path halving, and the component of every vertex.
std::vector<int> plainComponents(const CompactMesh& mesh) {
    std::vector<int> parent(mesh.getNumVertices());
    std::iota(parent.begin(), parent.end(), 0);
    const auto find = [&parent](int v) {
        while (parent[v] != v)
            v = parent[v] = parent[parent[v]];
        return v;
    };
    const auto unite = [&](int a, int b) {
        a = find(a);
        b = find(b);
        if (a < b)
            parent[b] = a;
        else
            parent[a] = b;
    };
    const MeshTriangle* const triangles = mesh.getTriangles();
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        unite(triangles[t][0], triangles[t][1]);
        unite(triangles[t][0], triangles[t][2]);
    }
    std::vector<int> component(parent.size(), -1);
    int numComponents = 0;
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        const int root = find(v);
        component[v] = root == v ? numComponents++ : component[root];
    }
    return component;
}

double plainArea(const CompactMesh& mesh) {
    const MeshVertex* const vertices = mesh.getVertices();
    double sum = 0;
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        const MeshTriangle& tri = mesh.getTriangles()[t];
        const MeshVertex &a = vertices[tri[0]], &b = vertices[tri[1]], &c = vertices[tri[2]];
        const double ux = double{b.x} - a.x, uy = double{b.y} - a.y, uz = double{b.z} - a.z;
        const double vx = double{c.x} - a.x, vy = double{c.y} - a.y, vz = double{c.z} - a.z;
        const double x = uy * vz - uz * vy, y = uz * vx - ux * vz, z = ux * vy - uy * vx;
        sum += std::sqrt(x * x + y * y + z * z);
    }
    return sum / 2;
}

/// Reads every position once, as fast as one thread can.
std::uint32_t readPositions(const CompactMesh& mesh) {
    const auto* const words = reinterpret_cast<const std::uint32_t*>(mesh.getVertices());
    return std::accumulate(words, words + 3 * std::ptrdiff_t{mesh.getNumVertices()}, 0U);
}

void adjTris(benchmark::State& state) {
    const CompactMesh& mesh = subjectOf(state).mesh;
    MeshAdjTris result;
    std::unique_ptr<PlainAdjTris> plain;
    compare(
        state, [&] { meshAdjTris(mesh, result); },
        [&] { plain = std::make_unique<PlainAdjTris>(mesh); });
    bench::Checksum sum;
    sum.add(result.offsets(), result.numSets());
    sum.add(result.list(), result.numMembers());
    state.counters["checksum"] = sum.value();
    if (!std::equal(plain->offsets.begin(), plain->offsets.end(), result.offsets()) ||
        !std::equal(result.list(), result.list() + result.numMembers(), plain->list.get()))
        state.SkipWithError("the plain loop gave another table");
}

void adjVertices(benchmark::State& state) {
    const Subject& subject = subjectOf(state);
    MeshAdjVertices result;
    std::unique_ptr<PlainAdjVertices> plain;
    compare(
        state, [&] { meshAdjVertices(subject.mesh, subject.adjTris, result); },
        [&] { plain = std::make_unique<PlainAdjVertices>(subject.mesh, subject.adjTris); });
    const int* const data = result.getVertices(0) - 1;
    bench::Checksum sum;
    sum.add(data, plain->length);
    state.counters["checksum"] = sum.value();
    if (!std::equal(data, data + plain->length, plain->data.get()))
        state.SkipWithError("the plain loop gave another table");
}

/// Both tables and the loops, one after the other.
void boundary(benchmark::State& state) {
    const CompactMesh& mesh = subjectOf(state).mesh;
    MeshBoundaries loops;
    for (auto _ : state) {
        state.SetIterationTime(bench::secondsOf([&] {
            MeshAdjTris tris;
            MeshAdjVertices vertices;
            meshAdjTris(mesh, tris);
            meshAdjVertices(mesh, tris, vertices);
            const double seconds =
                bench::secondsOf([&] { meshComputeBoundary(mesh, tris, vertices, loops); });
            state.counters["loops_alone_ms"] = 1e3 * seconds;
        }));
    }
    bench::Checksum sum;
    for (int loop = 0; loop < loops.size(); ++loop)
        sum.add(loops.getStart(loop), loops.getLength(loop));
    state.counters["checksum"] = sum.value();
    state.SetItemsProcessed(state.iterations() * mesh.getNumTriangles());
}

void components(benchmark::State& state) {
    const Subject& subject = subjectOf(state);
    Array<int> result;
    std::vector<int> plain;
    compare(
        state, [&] { meshComponents(subject.mesh, subject.adjTris, &result); },
        [&] { plain = plainComponents(subject.mesh); });
    bench::Checksum sum;
    sum.add(result.data(), result.size());
    state.counters["checksum"] = sum.value();
    if (!std::equal(plain.begin(), plain.end(), result.begin()))
        state.SkipWithError("the plain loop gave other components");
}

void boundingBox(benchmark::State& state) {
    const CompactMesh& mesh = subjectOf(state).mesh;
    BoundingBox box;
    compare(
        state, [&] { meshBoundingBox(mesh, box); },
        [&] { benchmark::DoNotOptimize(readPositions(mesh)); });
    state.counters["checksum"] = box.diagonalLength();
}

void area(benchmark::State& state) {
    const CompactMesh& mesh = subjectOf(state).mesh;
    qvGeom::MeshPlacement placement;
    placement.mesh = &mesh;
    float result = 0;
    compare(
        state, [&] { result = meshArea(placement, qvGeom::Positions); },
        [&] { benchmark::DoNotOptimize(plainArea(mesh)); });
    state.counters["checksum"] = result;
}

BENCHMARK(adjTris)->Apply(bench::sizesAndOrders)->UseManualTime();
BENCHMARK(adjVertices)->Apply(bench::sizesAndOrders)->UseManualTime();
BENCHMARK(boundary)->Apply(bench::sizesAndOrders)->UseManualTime();
BENCHMARK(components)->Apply(bench::sizesAndOrders)->UseManualTime();
BENCHMARK(boundingBox)->Apply(bench::sizesAndOrders)->UseManualTime();
BENCHMARK(area)->Apply(bench::sizesAndOrders)->UseManualTime();

} // namespace
