// Welding a soup against meshoptimizer's remap of equal vertices. Theirs numbers vertices in order
// of first use, ours in order of their keys; both merge the same ones here.

#include <benchmark/benchmark.h>
#include <cstddef>
#include <memory>
#include <meshoptimizer.h>

#include "qvGeom/editing/GeomVertexWeld.h"
#include "qvGeom/foundation/base/Progress.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/Remap.h"

#include "support/Measure.h"
#include "support/MeshBuilders.h"
#include "support/Subject.h"

namespace {

using qvGeom::CompactMesh;
using qvGeom::MeshVertex;
using qvGeom::Remap;

/// What the peer makes of a soup.
struct PeerWeld {
    std::unique_ptr<unsigned[]> remap;
    std::unique_ptr<unsigned[]> indices;
    std::unique_ptr<MeshVertex[]> vertices;
    std::size_t numVertices = 0;

    /// The corners of a soup are its vertices, so it needs no indices on the way in.
    explicit PeerWeld(const CompactMesh& soup) {
        const auto corners = static_cast<std::size_t>(soup.getNumVertices());
        remap = std::make_unique_for_overwrite<unsigned[]>(corners);
        numVertices = meshopt_generateVertexRemap(remap.get(), nullptr, corners, soup.getVertices(),
                                                  corners, sizeof(MeshVertex));
        indices = std::make_unique_for_overwrite<unsigned[]>(corners);
        meshopt_remapIndexBuffer(indices.get(), nullptr, corners, remap.get());
        vertices = std::make_unique_for_overwrite<MeshVertex[]>(numVertices);
        meshopt_remapVertexBuffer(vertices.get(), soup.getVertices(), corners, sizeof(MeshVertex),
                                  remap.get());
    }
};

/// Whether both numberings merge the same vertices and every corner kept its position.
bool agree(const PeerWeld& theirs, const CompactMesh& ours, const Remap& remap) {
    if (static_cast<std::size_t>(ours.getNumVertices()) != theirs.numVertices)
        return false;
    const auto* const corners = ours.getTrianglesRaw();
    for (int c = 0; c < remap.getOldCount(); ++c) {
        const MeshVertex& our = ours.getVertices()[corners[c]];
        const MeshVertex& their = theirs.vertices[theirs.indices[c]];
        if (corners[c] != remap[c] || our.x != their.x || our.y != their.y || our.z != their.z)
            return false;
    }
    return true;
}

void weldAgainstMeshoptimizer(benchmark::State& state) {
    const CompactMesh soup = test::soupOf(bench::surfaceOf(state));

    CompactMesh mesh;
    Remap remap;
    std::unique_ptr<PeerWeld> peer;
    bench::runInTurns(
        state,
        [&] {
            mesh = soup;
            remap.resize(0, 0);
            qvUtil::Progress progress;
            return bench::secondsOf([&] { meshCompact(mesh, progress, remap); });
        },
        [&] {
            peer.reset();
            return bench::secondsOf([&] { peer = std::make_unique<PeerWeld>(soup); });
        });

    bench::Checksum sum;
    sum.add(mesh.getTrianglesRaw(), 3 * mesh.getNumTriangles());
    state.counters["checksum"] = sum.value();
    state.counters["vertices"] = mesh.getNumVertices();
    state.SetItemsProcessed(state.iterations() * mesh.getNumTriangles());
    if (!agree(*peer, mesh, remap))
        state.SkipWithError("the peer merged other vertices");
}

BENCHMARK(weldAgainstMeshoptimizer)->Apply(bench::largeSizesAndOrders)->Apply(bench::rounds<5>);

} // namespace
