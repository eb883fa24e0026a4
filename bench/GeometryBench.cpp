// Cases are named by the number of triangles of the surface they work on.

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstdint>
#include <random>
#include <vector>

#include "qvGeom/foundation/geometry/ArrayOfSets.h"
#include "qvGeom/foundation/geometry/BitVector.h"
#include "qvGeom/foundation/geometry/BoundingBox.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/Remap.h"
#include "qvGeom/foundation/geometry/TopoMesh.h"
#include "qvGeom/foundation/linear/Linear.h"

#include "support/Measure.h"
#include "support/MeshBuilders.h"
#include "support/Subject.h"

namespace {

using qvGeom::ArrayOfSets;
using qvGeom::BitVector;
using qvGeom::BoundingBox;
using qvGeom::CompactMesh;
using qvGeom::MeshVertex;
using qvGeom::Remap;
using qvGeom::TopoMesh;

CompactMesh surface(const benchmark::State& state) {
    return test::wavySurface(static_cast<int>(state.range(0)));
}

TopoMesh untwinned(const CompactMesh& mesh) {
    TopoMesh topo;
    topo.reserve(mesh.getNumVertices(), 3 * mesh.getNumTriangles(), mesh.getNumTriangles());
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        const MeshVertex& p = mesh.getVertices()[v];
        topo.allocVertex({p.x, p.y, p.z});
    }
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
        topo.allocFace(mesh.getTriangles()[t].v, 3);
    return topo;
}

void topoBuild(benchmark::State& state) {
    const CompactMesh mesh = surface(state);
    int lastEdge = 0;
    for (auto _ : state) {
        const TopoMesh topo = untwinned(mesh);
        lastEdge = topo.edgeVertex(topo.edgeIdLimit() - 1);
    }
    state.counters["checksum"] = lastEdge;
    state.SetItemsProcessed(state.iterations() * mesh.getNumTriangles());
}

void topoTwin(benchmark::State& state) {
    const TopoMesh input = untwinned(surface(state));
    bench::Checksum sum;
    for (auto _ : state) {
        TopoMesh topo = input;
        state.SetIterationTime(bench::secondsOf([&] { meshTwin(topo); }));
        sum = {};
        for (int e = 0; e < topo.edgeIdLimit(); ++e)
            sum.add(topo.edgeTwin(e));
    }
    state.counters["checksum"] = sum.value();
    state.SetItemsProcessed(state.iterations() * input.numFaces());
}

/// Every third vertex, in random order.
std::vector<int> someVertices(int numVertices) {
    std::vector<int> some;
    for (int v = 0; v < numVertices; v += 3)
        some.push_back(v);
    std::shuffle(some.begin(), some.end(), std::mt19937(1));
    return some;
}

/// Selecting, joining selections, and testing every bit.
void bitVector(benchmark::State& state) {
    const int size = surface(state).getNumVertices();
    const std::vector<int> some = someVertices(size);
    BitVector all(size);
    all.setAllBits();
    int found = 0;
    for (auto _ : state) {
        found = 0;
        BitVector bits(size);
        bits.setBits(static_cast<int>(some.size()), some.data());
        for (int i = 0; i < size; ++i)
            found += bits.test(i);
        bits |= all;
        benchmark::DoNotOptimize(found += bits.numSetBits());
    }
    state.counters["checksum"] = found;
    state.SetItemsProcessed(state.iterations() * size);
}

/// Numbering what is kept when a third of the vertices goes, and renumbering the corners.
void remapDeleted(benchmark::State& state) {
    const CompactMesh mesh = surface(state);
    const std::vector<int> some = someVertices(mesh.getNumVertices());
    BitVector deleted(mesh.getNumVertices());
    deleted.setBits(static_cast<int>(some.size()), some.data());
    const int corners = 3 * mesh.getNumTriangles();
    std::vector<int> renumbered(corners);
    for (auto _ : state) {
        std::copy_n(mesh.getTrianglesRaw(), corners, renumbered.data());
        state.SetIterationTime(bench::secondsOf([&] {
            Remap remap;
            remap.setDeleteMap(deleted);
            remap(renumbered.data(), corners);
        }));
    }
    bench::Checksum sum;
    sum.add(renumbered.data(), corners);
    state.counters["checksum"] = sum.value();
    state.SetItemsProcessed(state.iterations() * mesh.getNumTriangles());
}

/// Sets of corners from pairs of vertex and triangle, and back to the vertices of each triangle.
void arrayOfSets(benchmark::State& state) {
    const CompactMesh mesh = surface(state);
    std::vector<int> pairs;
    for (int corner = 0; corner < 3 * mesh.getNumTriangles(); ++corner) {
        pairs.push_back(mesh.getTrianglesRaw()[corner]);
        pairs.push_back(corner / 3);
    }
    ArrayOfSets vertices;
    for (auto _ : state) {
        ArrayOfSets triangles;
        triangles.assignFromPairs(mesh.getNumVertices(), static_cast<int>(pairs.size() / 2),
                                  pairs.data());
        vertices.assignInverse(mesh.getNumTriangles(), triangles);
    }
    bench::Checksum sum;
    sum.add(vertices.list(), vertices.numMembers());
    state.counters["checksum"] = sum.value();
    state.SetItemsProcessed(state.iterations() * mesh.getNumTriangles());
}

/// Moving the box of every triangle.
void boxTransform(benchmark::State& state) {
    const CompactMesh mesh = surface(state);
    std::vector<BoundingBox> boxes(mesh.getNumTriangles());
    for (int corner = 0; corner < 3 * mesh.getNumTriangles(); ++corner) {
        const MeshVertex& p = mesh.getVertices()[mesh.getTrianglesRaw()[corner]];
        boxes[corner / 3].extend({p.x, p.y, p.z});
    }
    qvLinear::AffineMatrix matrix;
    matrix.rotate(qvLinear::Normal::x, qvLinear::Normal(1, 2, 3));
    BoundingBox whole;
    for (auto _ : state) {
        for (BoundingBox box : boxes) {
            box.transform(matrix);
            whole.extend(box);
        }
    }
    bench::Checksum sum;
    sum.add(whole.min, 3);
    sum.add(whole.max, 3);
    state.counters["checksum"] = sum.value();
    state.SetItemsProcessed(state.iterations() * mesh.getNumTriangles());
}

BENCHMARK(topoBuild)->Apply(bench::sizes);
BENCHMARK(topoTwin)->Apply(bench::sizes)->UseManualTime();
BENCHMARK(bitVector)->Apply(bench::sizes);
BENCHMARK(remapDeleted)->Apply(bench::sizes)->UseManualTime();
BENCHMARK(arrayOfSets)->Apply(bench::sizes);
BENCHMARK(boxTransform)->Apply(bench::sizes);

} // namespace
