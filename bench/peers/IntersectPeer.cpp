// Crossing triangles against CGAL's self_intersections and surface_intersection, both sequential.
// Ours looks through a tree that is there already; "from_scratch" is the ratio when it is not.

#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>
#include <CGAL/Polygon_mesh_processing/corefinement.h>
#include <CGAL/Polygon_mesh_processing/self_intersections.h>
#include <CGAL/Surface_mesh.h>
#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstddef>
#include <deque>
#include <iterator>
#include <optional>
#include <utility>
#include <vector>

#include "qvGeom/foundation/base/Progress.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/linear/Linear.h"
#include "qvGeom/spatial/GeomIntersect.h"

#include "peers/CgalMesh.h"
#include "support/IndexedMesh.h"
#include "support/IntersectInput.h"
#include "support/Measure.h"

namespace {

using bench::IndexedMesh;
using qvGeom::CompactMesh;
using qvGeom::MeshIntersect;
using qvLinear::Point;

using Records = std::deque<qvGeom::MeshIntersectPair>;
using Pairs = std::vector<std::pair<int, int>>; // the lower triangle first, ascending

using PeerPoint = CGAL::Exact_predicates_inexact_constructions_kernel::Point_3;
using PeerMesh = CGAL::Surface_mesh<PeerPoint>;

namespace peer = CGAL::Polygon_mesh_processing;

PeerMesh peerMesh(const CompactMesh& mesh, const qvLinear::AffineMatrix& placement = {}) {
    PeerMesh result;
    bench::fillCgalMesh(result, mesh);
    for (const PeerMesh::Vertex_index v : result.vertices()) {
        PeerPoint& p = result.point(v);
        const Point placed = Point{p.x(), p.y(), p.z()} * placement;
        p = PeerPoint(placed.x, placed.y, placed.z);
    }
    return result;
}

Pairs pairsOf(const Records& records) {
    Pairs pairs;
    for (std::size_t k = 0; k < records.size(); k += 2)
        pairs.emplace_back(records[k + 1].first.triangle, records[k].first.triangle);
    std::sort(pairs.begin(), pairs.end());
    return pairs;
}

/// Builds the tree, with its own time, which the search adds to when it starts from scratch.
double indexingSeconds(const CompactMesh& mesh, std::optional<IndexedMesh>& indexed) {
    CompactMesh copy = mesh;
    return bench::secondsOf([&] { indexed.emplace(std::move(copy)); });
}

/// The ratio with the time that the trees took added to ours.
void reportFromScratch(benchmark::State& state, double indexing) {
    state.counters["from_scratch"] =
        state.counters["ratio"] * (1 + 1e3 * indexing / state.counters["ours_ms"]);
}

void searchOne(benchmark::State& state, const CompactMesh& mesh) {
    std::optional<IndexedMesh> indexed;
    const double indexing = indexingSeconds(mesh, indexed);
    const PeerMesh theirs = peerMesh(mesh);
    Records records;
    Pairs peerPairs;
    bench::runInTurns(
        state,
        [&] {
            return bench::secondsOf([&] {
                qvUtil::Progress progress;
                MeshIntersect(indexed->mesh, indexed->octree, indexed->tris)
                    .selfIntersect(progress, records);
            });
        },
        [&] {
            std::vector<std::pair<PeerMesh::Face_index, PeerMesh::Face_index>> found;
            const double seconds = bench::secondsOf([&] {
                peer::self_intersections<CGAL::Sequential_tag>(theirs, std::back_inserter(found));
            });
            peerPairs.clear();
            for (const auto& [f, g] : found)
                peerPairs.push_back(
                    std::minmax(static_cast<int>(f.idx()), static_cast<int>(g.idx())));
            std::sort(peerPairs.begin(), peerPairs.end());
            return seconds;
        });

    const Pairs pairs = pairsOf(records);
    bench::Checksum sum;
    for (const auto& [i, j] : pairs) {
        sum.add(i);
        sum.add(j);
    }
    state.counters["checksum"] = sum.value();
    state.counters["pairs"] = static_cast<double>(pairs.size());
    reportFromScratch(state, indexing);
    state.SetItemsProcessed(state.iterations() * mesh.getNumTriangles());
    if (pairs != peerPairs)
        state.SkipWithError("the peer found other pairs");
}

void selfIntersectAgainstCgal(benchmark::State& state) {
    searchOne(state, bench::sphereOf(state.range(0)));
}

void crossingSpheresAgainstCgal(benchmark::State& state) {
    searchOne(state, bench::crossingSpheres(state.range(0)));
}

/// The peer joins segments to lines; there are as many all the same.
void twoMeshesAgainstCgal(benchmark::State& state) {
    std::optional<IndexedMesh> indexed;
    const double indexing = indexingSeconds(bench::sphereOf(state.range(0)), indexed);
    const IndexedMesh& mesh = *indexed;
    const PeerMesh theirs1 = peerMesh(mesh.mesh);
    const PeerMesh theirs2 = peerMesh(mesh.mesh, bench::aside());
    Records on1, on2;
    std::size_t peerSegments = 0;
    bench::runInTurns(
        state,
        [&] {
            return bench::secondsOf([&] {
                qvUtil::Progress progress;
                MeshIntersect(mesh.mesh, mesh.octree, mesh.tris)
                    .intersect(mesh.mesh, mesh.octree, mesh.tris, bench::aside(), progress, on1,
                               on2);
            });
        },
        [&] {
            PeerMesh first = theirs1, second = theirs2; // which get properties added
            std::vector<std::vector<PeerPoint>> lines;
            const double seconds = bench::secondsOf(
                [&] { peer::surface_intersection(first, second, std::back_inserter(lines)); });
            peerSegments = 0;
            for (const std::vector<PeerPoint>& line : lines)
                peerSegments += line.size() - 1;
            return seconds;
        });

    bench::Checksum sum;
    for (std::size_t k = 0; k < on1.size(); ++k) {
        sum.add(on1[k].first.triangle);
        sum.add(on2[k].first.triangle);
    }
    state.counters["checksum"] = sum.value();
    state.counters["segments"] = static_cast<double>(on1.size());
    reportFromScratch(state, 2 * indexing);
    state.SetItemsProcessed(2 * state.iterations() * mesh.mesh.getNumTriangles());
    if (on1.size() != peerSegments)
        state.SkipWithError("the peer found other segments");
}

BENCHMARK(selfIntersectAgainstCgal)->Arg(1'000'000)->Apply(bench::rounds<3>);
BENCHMARK(crossingSpheresAgainstCgal)->Arg(1'000'000)->Apply(bench::rounds<3>);
BENCHMARK(twoMeshesAgainstCgal)->Arg(50'000)->Apply(bench::rounds<5>);

} // namespace
