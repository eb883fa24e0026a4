// Triangulation of a loop against CGAL's cubic programme for holes.

#include <CGAL/Polygon_mesh_processing/triangulate_hole.h>
#include <CGAL/Simple_cartesian.h>
#include <CGAL/utility.h>
#include <benchmark/benchmark.h>
#include <iterator>
#include <vector>

#include "qvGeom/planar/GeomTriangulatePolygon.h"

#include "support/Loops.h"
#include "support/Measure.h"

namespace {

using PeerPoint = CGAL::Simple_cartesian<double>::Point_3;
using PeerTriangle = CGAL::Triple<int, int, int>;

/// What both look for differs a little, so that only the number of triangles can be compared.
void triangulateAgainstCgal(benchmark::State& state) {
    const std::vector<qvLinear::Point> loop =
        bench::loopOf(state.range(0), bench::LoopKind::Smooth);
    std::vector<PeerPoint> peerLoop;
    for (const qvLinear::Point& p : loop)
        peerLoop.emplace_back(p.x, p.y, p.z);

    std::vector<int> triangles;
    std::vector<PeerTriangle> peerTriangles;
    bool finished = false;
    bench::runInTurns(
        state,
        [&] {
            return bench::secondsOf(
                [&] { finished = qvGeom::triangulatePolygon(loop, triangles, nullptr, nullptr); });
        },
        [&] {
            peerTriangles.clear();
            return bench::secondsOf([&] {
                CGAL::Polygon_mesh_processing::triangulate_hole_polyline(
                    peerLoop, std::back_inserter(peerTriangles),
                    CGAL::parameters::use_delaunay_triangulation(false)
                        .use_2d_constrained_delaunay_triangulation(false));
            });
        });

    bench::Checksum sum;
    sum.add(triangles.data(), static_cast<int>(triangles.size()));
    state.counters["checksum"] = sum.value();
    if (!finished || triangles.size() != 3 * peerTriangles.size())
        state.SkipWithError("the peer found another number of triangles");
}

BENCHMARK(triangulateAgainstCgal)->Arg(1000)->Apply(bench::rounds<1>);

} // namespace
