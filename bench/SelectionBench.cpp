// Cases are named by the number of triangles and by their order: 0 lattice, 1 shuffled. Selections
// are put back between iterations, outside the time that counts.

#include <benchmark/benchmark.h>
#include <cmath>
#include <cstdint>
#include <deque>
#include <numbers>
#include <vector>

#include "qvGeom/editing/GeomSelection.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/MeshAdjTris.h"
#include "qvGeom/foundation/geometry/MeshCoord.h"
#include "qvGeom/foundation/linear/Point.h"
#include "qvGeom/foundation/linear/ProjMatrix.h"
#include "qvGeom/foundation/linear/Range.h"
#include "qvGeom/topology/GeomAdjacency.h"

#include "support/Measure.h"
#include "support/MeshBuilders.h"
#include "support/Subject.h"

namespace {

using qvGeom::BitVector;
using qvGeom::CompactMesh;
using qvGeom::MeshAdjTris;
using qvGeom::MeshCoord;
using qvGeom::MeshSelect;
using qvGeom::MeshSubset;
using qvLinear::Point;

/// A surface of about so many triangles, its table, and every third vertex and triangle.
struct Subject {
    CompactMesh mesh;
    MeshAdjTris adjTris;
    BitVector vertices;
    BitVector triangles;

    Subject(std::int64_t numTriangles, std::int64_t order)
        : mesh(bench::surfaceOf(numTriangles, order)) {
        meshAdjTris(mesh, adjTris);
        vertices.resize(mesh.getNumVertices());
        triangles.resize(mesh.getNumTriangles());
        for (int v = 0; v < vertices.size(); v += 3)
            vertices.set(v);
        for (int t = 0; t < triangles.size(); t += 3)
            triangles.set(t);
    }
};

const Subject& subjectOf(const benchmark::State& state) {
    return bench::kept<Subject>(state.range(0), state.range(1));
}

double checksumOf(const BitVector& vertices, const BitVector& triangles) {
    bench::Checksum sum;
    for (const BitVector* bits : {&vertices, &triangles}) {
        for (int i = 0; i < bits->size(); ++i)
            sum.add(static_cast<int>(bits->test(i)));
    }
    return sum.value();
}

/// Times `operate` on selections that `prepare` sets up from empty ones.
template <class Prepare, class Operate>
void change(benchmark::State& state, const Prepare& prepare, const Operate& operate) {
    const Subject& s = subjectOf(state);
    BitVector vertices(s.vertices.size()), triangles(s.triangles.size());
    MeshSelect select(s.mesh, s.adjTris, triangles, vertices);
    for (auto _ : state) {
        vertices.clearBits();
        triangles.clearBits();
        prepare(s, vertices, triangles);
        state.SetIterationTime(bench::secondsOf([&] { operate(s, select); }));
    }
    state.counters["checksum"] = checksumOf(vertices, triangles);
    state.SetItemsProcessed(state.iterations() * s.mesh.getNumTriangles());
}

void everyThird(const Subject& s, BitVector& vertices, BitVector& triangles) {
    vertices = s.vertices;
    triangles = s.triangles;
}

void firstTriangle(const Subject&, BitVector&, BitVector& triangles) { triangles.set(0); }

void nothing(const Subject&, BitVector&, BitVector&) {}

void trianglesFromVertices(benchmark::State& state) {
    change(state, everyThird,
           [](const Subject&, MeshSelect& select) { select.selectTrianglesFromVertices(2); });
}

void verticesFromTriangles(benchmark::State& state) {
    change(state, everyThird,
           [](const Subject&, MeshSelect& select) { select.selectVerticesFromTriangles(); });
}

void invertTriangles(benchmark::State& state) {
    change(state, everyThird,
           [](const Subject&, MeshSelect& select) { select.invertTriangleSelection(); });
}

void growOneRing(benchmark::State& state) {
    change(state, everyThird,
           [](const Subject&, MeshSelect& select) { select.selectTrianglesRecursive(true); });
}

void growToPiece(benchmark::State& state) {
    change(state, firstTriangle,
           [](const Subject&, MeshSelect& select) { select.selectTrianglesRecursive(false); });
}

/// A star of 200 corners around the middle of the surface, seen from above.
void lasso(benchmark::State& state) {
    qvLinear::Range3d range;
    subjectOf(state).mesh.getBoundingBox(range);
    const Point middle = combine(0.5, range.min, 0.5, range.max);
    const double radius = 0.4 * (range.max.x - range.min.x);
    std::vector<Point> star;
    for (int i = 0; i < 200; ++i) {
        const double angle = i * std::numbers::pi / 100;
        const double reach = radius * (i % 2 == 0 ? 1 : 0.5);
        star.push_back({middle.x + reach * std::cos(angle), middle.y + reach * std::sin(angle), 0});
    }
    change(state, nothing, [&star](const Subject&, MeshSelect& select) {
        qvLinear::ProjMatrix plain;
        plain.identity();
        select.selectVertices(plain, star);
    });
}

/// A thousand positions along the mesh, each with the triangles within about three edges.
void affectedTriangles(benchmark::State& state) {
    const Subject& s = subjectOf(state);
    std::deque<MeshCoord> coords(1000);
    for (int i = 0; i < 1000; ++i) {
        coords[i].triangle = static_cast<int>(std::int64_t{i} * s.mesh.getNumTriangles() / 1000);
        coords[i].w[0] = coords[i].w[1] = coords[i].w[2] = 1 / 3.0;
    }
    const double edge = std::sqrt(2.0 / s.mesh.getNumTriangles()); // the surface has the width 1
    change(state, nothing, [&](const Subject&, MeshSelect& select) {
        select.selectAffectedTriangles(coords, 3 * edge);
    });
}

void subset(benchmark::State& state) {
    const Subject& s = subjectOf(state);
    MeshSubset result;
    for (auto _ : state) {
        state.SetIterationTime(bench::secondsOf(
            [&] { result = meshSubsetFromSelection(s.mesh, BitVector(), s.triangles); }));
    }
    state.counters["checksum"] = checksumOf(result.vertices, result.triangles);
    state.SetItemsProcessed(state.iterations() * s.mesh.getNumTriangles());
}

BENCHMARK(trianglesFromVertices)->Apply(bench::sizesAndOrders)->UseManualTime();
BENCHMARK(verticesFromTriangles)->Apply(bench::sizesAndOrders)->UseManualTime();
BENCHMARK(invertTriangles)->Apply(bench::sizesAndOrders)->UseManualTime();
BENCHMARK(growOneRing)->Apply(bench::sizesAndOrders)->UseManualTime();
BENCHMARK(growToPiece)->Apply(bench::sizesAndOrders)->UseManualTime();
BENCHMARK(lasso)->Apply(bench::sizesAndOrders)->UseManualTime();
BENCHMARK(affectedTriangles)->Apply(bench::sizesAndOrders)->UseManualTime();
BENCHMARK(subset)->Apply(bench::sizesAndOrders)->UseManualTime();

} // namespace
