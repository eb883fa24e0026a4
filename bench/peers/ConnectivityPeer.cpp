// Adjacency, boundary and components against CGAL's half-edge mesh.

#include <CGAL/Polygon_mesh_processing/connected_components.h>
#include <CGAL/Simple_cartesian.h>
#include <CGAL/Surface_mesh.h>
#include <benchmark/benchmark.h>
#include <memory>
#include <vector>

#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/MeshAdjTris.h"
#include "qvGeom/foundation/geometry/MeshAdjVertices.h"
#include "qvGeom/foundation/geometry/MeshBoundaries.h"
#include "qvGeom/topology/GeomAdjacency.h"
#include "qvGeom/topology/GeomBoundary.h"
#include "qvGeom/topology/GeomComponents.h"

#include "peers/CgalMesh.h"
#include "support/Measure.h"
#include "support/Subject.h"

namespace {

using qvGeom::Array;
using qvGeom::CompactMesh;
using qvGeom::MeshAdjTris;
using qvGeom::MeshAdjVertices;
using qvGeom::MeshBoundaries;

using PeerPoint = CGAL::Simple_cartesian<float>::Point_3;
using PeerMesh = CGAL::Surface_mesh<PeerPoint>;

std::unique_ptr<PeerMesh> peerMesh(const CompactMesh& mesh) {
    auto peer = std::make_unique<PeerMesh>();
    bench::fillCgalMesh(*peer, mesh);
    return peer;
}

/// The three tables that answer what the peer's half-edges do.
struct Connectivity {
    MeshAdjTris tris;
    MeshAdjVertices vertices;
    MeshBoundaries loops;

    explicit Connectivity(const CompactMesh& mesh) {
        meshAdjTris(mesh, tris);
        meshAdjVertices(mesh, tris, vertices);
        meshComputeBoundary(mesh, tris, vertices, loops);
    }
};

/// Whether both know the same faces and neighbours, vertex by vertex, and as much boundary.
bool agree(const PeerMesh& theirs, const Connectivity& ours, const CompactMesh& mesh) {
    if (theirs.number_of_faces() != static_cast<PeerMesh::size_type>(mesh.getNumTriangles()))
        return false;
    for (const PeerMesh::Vertex_index v : theirs.vertices()) {
        const int id = static_cast<int>(v.idx());
        if (static_cast<int>(theirs.degree(v)) != ours.vertices.getCount(id))
            return false;
        int faces = 0;
        for (const PeerMesh::Face_index f : theirs.faces_around_target(theirs.halfedge(v)))
            faces += f != PeerMesh::null_face();
        if (faces != ours.tris.setSize(id))
            return false;
    }
    int boundaryEdges = 0;
    for (const PeerMesh::Halfedge_index h : theirs.halfedges())
        boundaryEdges += theirs.is_border(h);
    for (int loop = 0; loop < ours.loops.size(); ++loop)
        boundaryEdges -= ours.loops.getLength(loop);
    return boundaryEdges == 0;
}

void connectivityAgainstCgal(benchmark::State& state) {
    const CompactMesh mesh = bench::surfaceOf(state);
    std::unique_ptr<Connectivity> ours;
    std::unique_ptr<PeerMesh> peer;
    bench::runInTurns(
        state,
        [&] {
            ours.reset();
            return bench::secondsOf([&] { ours = std::make_unique<Connectivity>(mesh); });
        },
        [&] {
            peer.reset();
            return bench::secondsOf([&] { peer = peerMesh(mesh); });
        });

    bench::Checksum sum;
    sum.add(ours->tris.list(), ours->tris.numMembers());
    for (int v = 0; v < mesh.getNumVertices(); ++v)
        sum.add(ours->vertices.getVertices(v), ours->vertices.getCount(v));
    for (int loop = 0; loop < ours->loops.size(); ++loop)
        sum.add(ours->loops.getStart(loop), ours->loops.getLength(loop));
    state.counters["checksum"] = sum.value();
    state.SetItemsProcessed(state.iterations() * mesh.getNumTriangles());
    if (!agree(*peer, *ours, mesh))
        state.SkipWithError("the peer found other neighbours");
}

/// The peer joins faces across edges and we across vertices: on a surface, the same.
void componentsAgainstCgal(benchmark::State& state) {
    const CompactMesh mesh = bench::surfaceOf(state);
    MeshAdjTris adjTris;
    meshAdjTris(mesh, adjTris);
    const std::unique_ptr<PeerMesh> peer = peerMesh(mesh);
    const auto peerComponent =
        peer->add_property_map<PeerMesh::Face_index, PeerMesh::size_type>("f:component").first;

    Array<int> component;
    int count = 0;
    int peerCount = 0;
    bench::runInTurns(
        state,
        [&] {
            return bench::secondsOf([&] { count = meshComponents(mesh, adjTris, &component); });
        },
        [&] {
            return bench::secondsOf([&] {
                peerCount = static_cast<int>(
                    CGAL::Polygon_mesh_processing::connected_components(*peer, peerComponent));
            });
        });

    bench::Checksum sum;
    sum.add(component.data(), component.size());
    state.counters["checksum"] = sum.value();
    state.counters["components"] = count;
    state.SetItemsProcessed(state.iterations() * mesh.getNumTriangles());
    if (count != peerCount)
        state.SkipWithError("the peer found other components");
}

BENCHMARK(connectivityAgainstCgal)->Apply(bench::largeSizesAndOrders)->Apply(bench::rounds<3>);
BENCHMARK(componentsAgainstCgal)->Apply(bench::largeSizesAndOrders)->Apply(bench::rounds<3>);

} // namespace
