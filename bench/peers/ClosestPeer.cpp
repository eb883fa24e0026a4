// Closest points near a surface, on one thread, against Embree's point query with a callback that
// looks at one triangle, and against CGAL's AABB tree.

#include <CGAL/AABB_face_graph_triangle_primitive.h>
#include <CGAL/AABB_traits.h>
#include <CGAL/AABB_tree.h>
#include <CGAL/Simple_cartesian.h>
#include <CGAL/Surface_mesh.h>
#include <algorithm>
#include <benchmark/benchmark.h>
#include <cmath>
#include <cstddef>
#include <embree3/rtcore.h>
#include <limits>
#include <vector>

#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/MeshCoord.h"
#include "qvGeom/foundation/linear/Linear.h"
#include "qvGeom/spatial/GeomClosestPoint.h"

#include "peers/CgalMesh.h"
#include "support/IndexedMesh.h"
#include "support/Measure.h"
#include "support/SpherePoints.h"

namespace {

using bench::IndexedMesh;
using qvGeom::CompactMesh;
using qvLinear::Point;

constexpr int kPoints = 20'000;

/// What one side found for every point.
using Distances = std::vector<double>;

/// Embree's scene of one mesh, whose arrays it borrows.
class EmbreeScene {
public:
    explicit EmbreeScene(const CompactMesh& mesh)
        : mesh_(mesh),
          device_(rtcNewDevice(nullptr)),
          scene_(rtcNewScene(device_)) {
        const RTCGeometry geometry = rtcNewGeometry(device_, RTC_GEOMETRY_TYPE_TRIANGLE);
        rtcSetSharedGeometryBuffer(geometry, RTC_BUFFER_TYPE_VERTEX, 0, RTC_FORMAT_FLOAT3,
                                   mesh.getVerticesRaw(), 0, 3 * sizeof(float),
                                   static_cast<std::size_t>(mesh.getNumVertices()));
        rtcSetSharedGeometryBuffer(geometry, RTC_BUFFER_TYPE_INDEX, 0, RTC_FORMAT_UINT3,
                                   mesh.getTrianglesRaw(), 0, 3 * sizeof(int),
                                   static_cast<std::size_t>(mesh.getNumTriangles()));
        rtcCommitGeometry(geometry);
        rtcAttachGeometry(scene_, geometry);
        rtcReleaseGeometry(geometry);
        rtcCommitScene(scene_);
    }

    EmbreeScene(const EmbreeScene&) = delete;
    EmbreeScene& operator=(const EmbreeScene&) = delete;

    ~EmbreeScene() {
        rtcReleaseScene(scene_);
        rtcReleaseDevice(device_);
    }

    double find(const Point& p) const {
        RTCPointQuery query{};
        query.x = static_cast<float>(p.x);
        query.y = static_cast<float>(p.y);
        query.z = static_cast<float>(p.z);
        query.radius = std::numeric_limits<float>::infinity();
        RTCPointQueryContext context;
        rtcInitPointQueryContext(&context);
        Nearest nearest{&mesh_, query.radius, -1};
        rtcPointQuery(scene_, &query, &context, visit, &nearest);
        return nearest.distance;
    }

private:
    struct Nearest {
        const CompactMesh* mesh;
        float distance;
        int triangle;
    };

    struct Vec {
        float x, y, z;

        Vec operator-(const Vec& b) const { return {x - b.x, y - b.y, z - b.z}; }

        float dot(const Vec& b) const { return x * b.x + y * b.y + z * b.z; }
    };

    static float segmentDistance2(const Vec& edge, const Vec& toPoint) {
        const float t = std::clamp(edge.dot(toPoint) / edge.dot(edge), 0.0F, 1.0F);
        const Vec off = toPoint - Vec{t * edge.x, t * edge.y, t * edge.z};
        return off.dot(off);
    }

    /// In single precision: what a caller of the peer would write.
    static float triangleDistance2(const Vec& a, const Vec& b, const Vec& c, const Vec& p) {
        const Vec ab = b - a, ac = c - a, ap = p - a;
        const Vec n{ab.y * ac.z - ab.z * ac.y, ab.z * ac.x - ab.x * ac.z,
                    ab.x * ac.y - ab.y * ac.x};
        const float bb = ab.dot(ab), bc = ab.dot(ac), cc = ac.dot(ac);
        const float pb = ap.dot(ab), pc = ap.dot(ac);
        const float scale = bb * cc - bc * bc;
        const float wb = cc * pb - bc * pc, wc = bb * pc - bc * pb;
        if (scale > 0 && wb >= 0 && wc >= 0 && wb + wc <= scale) {
            const float height = ap.dot(n);
            return height * height / n.dot(n);
        }
        return std::min(
            {segmentDistance2(ab, ap), segmentDistance2(ac, ap), segmentDistance2(c - b, p - b)});
    }

    static bool visit(RTCPointQueryFunctionArguments* args) {
        Nearest& nearest = *static_cast<Nearest*>(args->userPtr);
        const auto corner = [&](int k) {
            const int v = nearest.mesh->getTriangles()[args->primID][k];
            const qvGeom::MeshVertex& vertex = nearest.mesh->getVertices()[v];
            return Vec{vertex.x, vertex.y, vertex.z};
        };
        const Vec p{args->query->x, args->query->y, args->query->z};
        const float found = std::sqrt(triangleDistance2(corner(0), corner(1), corner(2), p));
        if (!(found < nearest.distance))
            return false;
        nearest.distance = found;
        nearest.triangle = static_cast<int>(args->primID);
        args->query->radius = found;
        return true;
    }

    const CompactMesh& mesh_;
    RTCDevice device_;
    RTCScene scene_;
};

/// CGAL's tree with the points that speed up distances.
class CgalTree {
    using Kernel = CGAL::Simple_cartesian<double>;
    using Mesh = CGAL::Surface_mesh<Kernel::Point_3>;
    using Primitive = CGAL::AABB_face_graph_triangle_primitive<Mesh>;

public:
    explicit CgalTree(const CompactMesh& mesh) {
        bench::fillCgalMesh(mesh_, mesh);
        tree_.insert(faces(mesh_).first, faces(mesh_).second, mesh_);
        tree_.build();
        tree_.accelerate_distance_queries();
    }

    double find(const Point& p) const {
        const Kernel::Point_3 point(p.x, p.y, p.z);
        return std::sqrt(CGAL::squared_distance(point, tree_.closest_point(point)));
    }

private:
    Mesh mesh_;
    CGAL::AABB_tree<CGAL::AABB_traits<Kernel, Primitive>> tree_;
};

template <class Finder>
double findAll(const Finder& find, const std::vector<Point>& points, Distances& distances) {
    distances.resize(points.size());
    return bench::secondsOf(
        [&] { std::transform(points.begin(), points.end(), distances.begin(), find); });
}

template <class Peer>
void compare(benchmark::State& state) {
    const IndexedMesh indexed(bench::sphereOf(state.range(0)));
    const Peer peer(indexed.mesh);
    const std::vector<Point> points = bench::pointsBetween(0.999, 1.001, kPoints);
    qvGeom::MeshClosestPoint closest(indexed.mesh, indexed.octree, indexed.tris);
    Distances ours, theirs;
    bench::runInTurns(
        state,
        [&] {
            const auto find = [&closest](const Point& p) {
                qvGeom::MeshCoord coord;
                return closest.find(p, coord);
            };
            return findAll(find, points, ours);
        },
        [&] { return findAll([&peer](const Point& p) { return peer.find(p); }, points, theirs); });

    bench::Checksum sum;
    for (const double distance : ours)
        sum.add(qvLinear::narrow(distance));
    state.counters["checksum"] = sum.value();
    state.SetItemsProcessed(state.iterations() * kPoints);
    // Embree's points are floats.
    if (!std::equal(ours.begin(), ours.end(), theirs.begin(),
                    [](double a, double b) { return std::abs(a - b) < 1e-6; }))
        state.SkipWithError("the peer found other distances");
}

void closestPointAgainstEmbree(benchmark::State& state) { compare<EmbreeScene>(state); }

void closestPointAgainstCgal(benchmark::State& state) { compare<CgalTree>(state); }

BENCHMARK(closestPointAgainstEmbree)->Arg(1'000'000)->Apply(bench::rounds<5>);
BENCHMARK(closestPointAgainstCgal)->Arg(1'000'000)->Apply(bench::rounds<5>);

} // namespace
