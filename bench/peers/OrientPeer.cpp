// Orientation against building CGAL's half-edge mesh, which finds the same out on the way, and
// smoothing against OpenMesh's circulators.

#include <CGAL/Simple_cartesian.h>
#include <CGAL/Surface_mesh.h>
#include <OpenMesh/Core/Mesh/TriMesh_ArrayKernelT.hh>
#include <benchmark/benchmark.h>
#include <cmath>
#include <vector>

#include "qvGeom/foundation/base/Progress.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/MeshAdjTris.h"
#include "qvGeom/foundation/geometry/MeshAdjVertices.h"
#include "qvGeom/improvement/GeomSmooth.h"
#include "qvGeom/topology/GeomAdjacency.h"
#include "qvGeom/topology/GeomOrientation.h"

#include "peers/CgalMesh.h"
#include "support/Measure.h"
#include "support/Subject.h"

namespace {

using qvGeom::CompactMesh;
using qvGeom::MeshTriangle;
using qvGeom::MeshVertex;
using CgalMesh = CGAL::Surface_mesh<CGAL::Simple_cartesian<float>::Point_3>;
using OpenMeshMesh = OpenMesh::TriMesh_ArrayKernelT<>;

/// Whether every triangle finds its place: a face that runs an edge as another does is refused.
bool buildsInCgal(const CompactMesh& mesh) {
    CgalMesh peer;
    return bench::fillCgalMesh(peer, mesh);
}

void orientedAgainstCgal(benchmark::State& state) {
    const CompactMesh mesh = bench::surfaceOf(state);
    qvGeom::MeshAdjTris adjTris;
    meshAdjTris(mesh, adjTris);
    bool ours = false;
    bool theirs = false;
    bench::runInTurns(
        state, [&] { return bench::secondsOf([&] { ours = meshOriented(mesh, adjTris); }); },
        [&] { return bench::secondsOf([&] { theirs = buildsInCgal(mesh); }); });
    state.counters["checksum"] = ours;
    state.SetItemsProcessed(state.iterations() * mesh.getNumTriangles());
    if (!ours || !theirs)
        state.SkipWithError("the surface was not found to be oriented");
}

/// Both take the means of all neighbours and then write them back; neither the tables nor the
/// half-edges count.
void laplacianAgainstOpenMesh(benchmark::State& state) {
    const CompactMesh input = bench::surfaceOf(state);
    qvGeom::MeshAdjTris adjTris;
    qvGeom::MeshAdjVertices neighbours;
    meshAdjTris(input, adjTris);
    meshAdjVertices(input, adjTris, neighbours);
    OpenMeshMesh peer;
    for (int v = 0; v < input.getNumVertices(); ++v)
        peer.add_vertex({0, 0, 0});
    for (int t = 0; t < input.getNumTriangles(); ++t) {
        const MeshTriangle& tri = input.getTriangles()[t];
        peer.add_face(OpenMesh::VertexHandle(tri[0]), OpenMesh::VertexHandle(tri[1]),
                      OpenMesh::VertexHandle(tri[2]));
    }

    CompactMesh mesh = input;
    std::vector<OpenMeshMesh::Point> means(peer.n_vertices());
    bench::runInTurns(
        state,
        [&] {
            mesh.copyVertices(input.getNumVertices(), input.getVertices());
            qvUtil::Progress progress;
            return bench::secondsOf([&] { meshSmoothLaplacian(mesh, neighbours, progress); });
        },
        [&] {
            for (const OpenMesh::VertexHandle v : peer.vertices()) {
                const MeshVertex& p = input.getVertices()[v.idx()];
                peer.set_point(v, {p.x, p.y, p.z});
            }
            return bench::secondsOf([&] {
                for (const OpenMesh::VertexHandle v : peer.vertices()) {
                    OpenMeshMesh::Point sum(0, 0, 0);
                    float count = 0;
                    for (auto w = peer.cvv_begin(v); w.is_valid(); ++w, ++count)
                        sum += peer.point(*w);
                    means[v.idx()] = sum / count;
                }
                for (const OpenMesh::VertexHandle v : peer.vertices())
                    peer.set_point(v, means[v.idx()]);
            });
        });

    bench::Checksum sum;
    sum.add(mesh.getVerticesRaw(), 3 * mesh.getNumVertices());
    state.counters["checksum"] = sum.value();
    state.SetItemsProcessed(state.iterations() * mesh.getNumVertices());
    for (int v = 0; v < mesh.getNumVertices(); ++v) { // summed in another order
        if (!(std::abs(mesh.getVertices()[v].x - means[v][0]) < 1e-5F))
            state.SkipWithError("the peer found other means");
    }
}

BENCHMARK(orientedAgainstCgal)->Apply(bench::largeSizesAndOrders)->Apply(bench::rounds<3>);
BENCHMARK(laplacianAgainstOpenMesh)->Apply(bench::largeSizesAndOrders)->Apply(bench::rounds<3>);

} // namespace
