// Edge swapping, on one thread. Cases are named by the number of triangles of the surface.

#include <benchmark/benchmark.h>
#include <random>
#include <vector>

#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/TopoMesh.h"
#include "qvGeom/improvement/GeomEdgeSwap.h"

#include "support/Measure.h"
#include "support/MeshBuilders.h"
#include "support/Subject.h"

namespace {

using qvGeom::CompactMesh;
using qvGeom::MeshEdgeSwapper;
using qvGeom::TopoMesh;
using qvGeom::TopoMeshEdge;

/// The wavy surface with its vertices moved about, so that many diagonals lie the wrong way.
TopoMesh unevenSurface(int triangles) {
    const CompactMesh mesh = test::wavySurface(triangles);
    const float* const xyz = mesh.getVerticesRaw();
    const double spacing = xyz[3] - xyz[0];
    std::mt19937 random(1);
    std::uniform_real_distribution<double> off(-0.4 * spacing, 0.4 * spacing);
    TopoMesh topo;
    topo.reserve(mesh.getNumVertices(), 3 * mesh.getNumTriangles(), mesh.getNumTriangles());
    for (int v = 0; v < mesh.getNumVertices(); ++v)
        topo.allocVertex({xyz[3 * v] + off(random), xyz[3 * v + 1] + off(random), xyz[3 * v + 2]});
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
        topo.allocFace(mesh.getTriangles()[t].v, 3);
    meshTwin(topo);
    return topo;
}

/// Swaps under two criteria; "ns_per_edge" is per edge visited, each of its two halves once.
template <class Swap>
void swapEdges(benchmark::State& state, const Swap& swap) {
    const TopoMesh input = unevenSurface(static_cast<int>(state.range(0)));
    int numEdges = 0;
    for (int e = input.nextEdge(-1); e >= 0; e = input.nextEdge(e))
        numEdges += input.edgeTwin(e) > e;
    MeshEdgeSwapper swapper;
    qvRTB::SignalClient client;
    swapper.getVetoSignal().addCallback(
        client, qvRTB::FunctionArgMember(&swapper, &MeshEdgeSwapper::preventFoldover));
    swapper.getVetoSignal().addCallback(
        client, qvRTB::FunctionArgMember(&swapper, &MeshEdgeSwapper::minimizeOppositeAngleSum));
    std::vector<double> seconds;
    bench::Checksum sum;
    for (auto _ : state) {
        TopoMesh topo = input;
        int swaps = 0;
        seconds.push_back(bench::secondsOf([&] { swaps = swap(topo, swapper); }));
        state.SetIterationTime(seconds.back());
        sum = {};
        sum.add(swaps);
        for (int e = 0; e < topo.edgeIdLimit(); ++e)
            sum.add(topo.edgeVertex(e));
        state.counters["swaps"] = swaps;
    }
    state.counters["checksum"] = sum.value();
    state.counters["ns_per_edge"] = 1e9 * bench::medianOf(seconds) / numEdges;
    state.SetItemsProcessed(state.iterations() * numEdges);
}

void swapOnce(benchmark::State& state) {
    swapEdges(state, [](TopoMesh& mesh, MeshEdgeSwapper& swapper) {
        return meshSwapEdgesOnce(mesh, swapper);
    });
}

void swapRepeatedly(benchmark::State& state) {
    swapEdges(state, [](TopoMesh& mesh, MeshEdgeSwapper& swapper) {
        return meshSwapEdgesRepeatedly(mesh, swapper);
    });
}

BENCHMARK(swapOnce)->Name("meshSwapEdgesOnce")->Apply(bench::sizes)->UseManualTime();
BENCHMARK(swapRepeatedly)->Name("meshSwapEdgesRepeatedly")->Apply(bench::sizes)->UseManualTime();

/// Taking a vertex out of a surface and putting it back: swaps down to three neighbours, deletion,
/// subdivision, swaps back.
void removeAndRestore(benchmark::State& state) {
    const TopoMesh input = unevenSurface(static_cast<int>(state.range(0)));
    std::vector<double> seconds;
    bench::Checksum sum;
    int numRestored = 0;
    for (auto _ : state) {
        TopoMesh topo = input;
        topo.reserve(2 * input.numVertices(), 2 * input.numEdges(), 2 * input.numFaces());
        numRestored = 0;
        std::vector<int> spokes;
        std::vector<int> swapped;
        seconds.push_back(bench::secondsOf([&] {
            for (int v = 0; v < input.vertexIdLimit(); v += 5) {
                if (topo.vertexOnBoundary(v))
                    continue;
                spokes.clear();
                for (int e = topo.vertexEdge(v); e >= 0; e = topo.edgeNextOutgoing(e))
                    spokes.push_back(e);
                swapped.clear();
                for (std::size_t i = 0; i < spokes.size() && spokes.size() - swapped.size() > 3;
                     ++i) {
                    if (topo.swapEdge(spokes[i]))
                        swapped.push_back(spokes[i]);
                }
                const qvLinear::Point point = topo.vertexPoint(v);
                if (const int face = topo.deleteVertex(v); face >= 0) {
                    topo.subdivideFace(face, point);
                    ++numRestored;
                }
                for (std::size_t i = swapped.size(); i-- > 0;)
                    topo.swapEdge(swapped[i]);
            }
        }));
        state.SetIterationTime(seconds.back());
        sum = {};
        for (int e = 0; e < input.edgeIdLimit(); ++e)
            sum.add(topo.isEdge(e) ? topo.edgeVertex(e) : -1);
    }
    state.counters["checksum"] = sum.value();
    state.counters["ns_per_vertex"] = 1e9 * bench::medianOf(seconds) / numRestored;
    state.SetItemsProcessed(state.iterations() * numRestored);
}

BENCHMARK(removeAndRestore)
    ->Name("TopoMesh remove and restore")
    ->Apply(bench::sizes)
    ->UseManualTime();

} // namespace
