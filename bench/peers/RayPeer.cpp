// Rays, and what has to be built for them, against CGAL's and Embree's trees. Cases are named like
// those of the rays' own benchmarks.

#include <CGAL/AABB_traits.h>
#include <CGAL/AABB_tree.h>
#include <CGAL/AABB_triangle_primitive.h>
#include <CGAL/Simple_cartesian.h>
#include <algorithm>
#include <benchmark/benchmark.h>
#include <cfloat>
#include <cmath>
#include <embree3/rtcore.h>
#include <limits>
#include <memory>
#include <vector>

#include "qvGeom/spatial/GeomRayTrace.h"

#include "support/Measure.h"
#include "support/Rays.h"

namespace {

using bench::RayQuery;
using qvGeom::CompactMesh;

/// What one side found, ray by ray: the distance, or for any hit 1, or the largest float.
using Found = std::vector<float>;

class Cgal {
public:
    explicit Cgal(const CompactMesh& mesh) {
        const auto at = [&mesh](int vertex) {
            const qvGeom::MeshVertex& v = mesh.getVertices()[vertex];
            return Kernel::Point_3(v.x, v.y, v.z);
        };
        triangles_.reserve(static_cast<std::size_t>(mesh.getNumTriangles()));
        for (int t = 0; t < mesh.getNumTriangles(); ++t) {
            const qvGeom::MeshTriangle& tri = mesh.getTriangles()[t];
            triangles_.emplace_back(at(tri[0]), at(tri[1]), at(tri[2]));
        }
    }

    void build() {
        tree_ = std::make_unique<Tree>(triangles_.begin(), triangles_.end());
        tree_->build();
    }

    void trace(const std::vector<RayQuery>& rays, bool nearest, Found& found) const {
        for (std::size_t i = 0; i < rays.size(); ++i) {
            const qvLinear::PointFlt& o = rays[i].origin;
            const qvLinear::VectorFlt& d = rays[i].direction;
            const Kernel::Point_3 from(o.x, o.y, o.z);
            const Kernel::Vector_3 along(d.x, d.y, d.z);
            const Kernel::Ray_3 ray(from, along);
            found[i] = FLT_MAX;
            if (!nearest) {
                if (tree_->do_intersect(ray))
                    found[i] = 1.0F;
            } else if (const auto hit = tree_->first_intersection(ray)) {
                if (const auto* const point = boost::get<Kernel::Point_3>(&hit->first))
                    found[i] = static_cast<float>(
                        std::sqrt((*point - from).squared_length() / along.squared_length()));
            }
        }
    }

private:
    using Kernel = CGAL::Simple_cartesian<double>;
    using Triangles = std::vector<Kernel::Triangle_3>;
    using Primitive = CGAL::AABB_triangle_primitive<Kernel, Triangles::const_iterator>;
    using Tree = CGAL::AABB_tree<CGAL::AABB_traits<Kernel, Primitive>>;

    Triangles triangles_;
    std::unique_ptr<Tree> tree_;
};

class Embree {
public:
    explicit Embree(const CompactMesh& mesh) : mesh_(mesh), device_(rtcNewDevice(nullptr)) {}

    Embree(const Embree&) = delete;
    Embree& operator=(const Embree&) = delete;

    ~Embree() {
        rtcReleaseScene(scene_);
        rtcReleaseDevice(device_);
    }

    /// Its copy of the mesh is made outside the time that counts.
    void prepare(RTCSceneFlags flags) {
        rtcReleaseScene(scene_);
        scene_ = rtcNewScene(device_);
        rtcSetSceneFlags(scene_, flags);
        RTCGeometry geometry = rtcNewGeometry(device_, RTC_GEOMETRY_TYPE_TRIANGLE);
        const auto numVertices = static_cast<std::size_t>(mesh_.getNumVertices());
        const auto numTriangles = static_cast<std::size_t>(mesh_.getNumTriangles());
        void* const vertices =
            rtcSetNewGeometryBuffer(geometry, RTC_BUFFER_TYPE_VERTEX, 0, RTC_FORMAT_FLOAT3,
                                    sizeof(qvGeom::MeshVertex), numVertices);
        std::copy_n(mesh_.getVertices(), numVertices, static_cast<qvGeom::MeshVertex*>(vertices));
        void* const triangles =
            rtcSetNewGeometryBuffer(geometry, RTC_BUFFER_TYPE_INDEX, 0, RTC_FORMAT_UINT3,
                                    sizeof(qvGeom::MeshTriangle), numTriangles);
        std::copy_n(mesh_.getTriangles(), numTriangles,
                    static_cast<qvGeom::MeshTriangle*>(triangles));
        rtcCommitGeometry(geometry);
        rtcAttachGeometry(scene_, geometry);
        rtcReleaseGeometry(geometry);
    }

    void build() { rtcCommitScene(scene_); }

    void trace(const std::vector<RayQuery>& rays, bool nearest, Found& found) const {
        for (std::size_t i = 0; i < rays.size(); ++i) {
            const qvLinear::PointFlt& o = rays[i].origin;
            const qvLinear::VectorFlt& d = rays[i].direction;
            RTCRayHit query;
            query.ray = {.org_x = o.x,
                         .org_y = o.y,
                         .org_z = o.z,
                         .tnear = 0.0F,
                         .dir_x = d.x,
                         .dir_y = d.y,
                         .dir_z = d.z,
                         .time = 0.0F,
                         .tfar = std::numeric_limits<float>::infinity(),
                         .mask = ~0U,
                         .id = 0,
                         .flags = 0};
            query.hit.geomID = RTC_INVALID_GEOMETRY_ID;
            query.hit.instID[0] = RTC_INVALID_GEOMETRY_ID;
            RTCIntersectContext context;
            rtcInitIntersectContext(&context);
            if (nearest) {
                rtcIntersect1(scene_, &context, &query);
                const bool hit = query.hit.geomID != RTC_INVALID_GEOMETRY_ID;
                found[i] = hit ? query.ray.tfar : FLT_MAX;
            } else {
                rtcOccluded1(scene_, &context, &query.ray);
                found[i] = query.ray.tfar < 0.0F ? 1.0F : FLT_MAX; // it sets minus infinity
            }
        }
    }

private:
    const CompactMesh& mesh_;
    RTCDevice device_;
    RTCScene scene_ = nullptr;
};

void traceOurs(qvGeom::RayTracer& tracer, const std::vector<RayQuery>& rays, bool nearest,
               Found& found) {
    for (std::size_t i = 0; i < rays.size(); ++i) {
        const bool hit = tracer.intersect(rays[i].origin, widen(rays[i].direction));
        found[i] = nearest ? static_cast<float>(tracer.intersectionDist()) : hit ? 1.0F : FLT_MAX;
    }
}

/// Whether both hit at the same distances. Ours passes through what is too small or too steep for
/// its smallest determinant: about one ray in a thousand here.
bool agree(const Found& ours, const Found& theirs) {
    std::size_t others = 0;
    for (std::size_t i = 0; i < ours.size(); ++i)
        others += !(std::abs(ours[i] - theirs[i]) <= 1e-3F * theirs[i]);
    return others * 500 <= ours.size();
}

/// The tracer lives through all rounds, as the peer's tree does, so that the median is of rounds
/// that find copies of the leaves; "first_ms" is the round that makes them.
template <class Peer>
void traceAgainst(benchmark::State& state, const Peer& peer, bool nearest) {
    const bench::IndexedMesh& subject = bench::raySubjectOf(state);
    const std::vector<RayQuery> rays = bench::raysOf(state);
    qvGeom::RayTracer tracer(subject.octree, subject.tris, &subject.mesh);
    tracer.setFindNearestHit(nearest);
    Found ours(rays.size());
    Found theirs(rays.size());
    const auto round = [&] {
        return bench::secondsOf([&] { traceOurs(tracer, rays, nearest, ours); });
    };
    state.counters["first_ms"] = 1e3 * round();
    bench::runInTurns(state, round,
                      [&] { return bench::secondsOf([&] { peer.trace(rays, nearest, theirs); }); });

    bench::Checksum sum;
    sum.add(ours.data(), static_cast<int>(ours.size()));
    state.counters["checksum"] = sum.value();
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(rays.size()));
    if (!agree(ours, theirs))
        state.SkipWithError("the peer hit otherwise");
}

void traceAgainstCgal(benchmark::State& state, bool nearest) {
    Cgal peer(bench::raySubjectOf(state).mesh);
    peer.build();
    traceAgainst(state, peer, nearest);
}

void traceAgainstEmbree(benchmark::State& state, bool nearest) {
    Embree peer(bench::raySubjectOf(state).mesh);
    peer.prepare(RTC_SCENE_FLAG_ROBUST);
    peer.build();
    traceAgainst(state, peer, nearest);
}

void rayNearestAgainstCgal(benchmark::State& state) { traceAgainstCgal(state, true); }

void rayAnyAgainstCgal(benchmark::State& state) { traceAgainstCgal(state, false); }

void rayNearestAgainstEmbree(benchmark::State& state) { traceAgainstEmbree(state, true); }

void rayAnyAgainstEmbree(benchmark::State& state) { traceAgainstEmbree(state, false); }

/// Seconds of our tree and partition.
double buildOurs(const CompactMesh& mesh, int& voxels) {
    return bench::secondsOf([&] {
        qvGeom::BoundingBox box;
        meshBoundingBox(mesh, box);
        const qvGeom::Octree octree(mesh.getNumVertices(), mesh.getVerticesRaw(), box, true, 16);
        qvGeom::OctreeTris tris;
        computeOctreeTris(mesh, octree, tris);
        voxels = octree.getNumVoxels();
    });
}

void rayTreeAgainstCgal(benchmark::State& state) {
    const CompactMesh& mesh = bench::raySubjectOf(state).mesh;
    Cgal peer(mesh);
    int voxels = 0;
    bench::runInTurns(
        state, [&] { return buildOurs(mesh, voxels); },
        [&] { return bench::secondsOf([&] { peer.build(); }); });
    state.counters["checksum"] = voxels;
}

void rayTreeAgainstEmbree(benchmark::State& state) {
    const CompactMesh& mesh = bench::raySubjectOf(state).mesh;
    Embree peer(mesh);
    int voxels = 0;
    bench::runInTurns(
        state, [&] { return buildOurs(mesh, voxels); },
        [&] {
            peer.prepare(RTC_SCENE_FLAG_NONE);
            return bench::secondsOf([&] { peer.build(); });
        });
    state.counters["checksum"] = voxels;
}

void raysOfBothKinds(benchmark::internal::Benchmark* benchmark) {
    benchmark->ArgNames({"n", "rays"})->ArgsProduct({{1'000'000}, {0, 1}})->Apply(bench::rounds<5>);
}

BENCHMARK(rayTreeAgainstCgal)->Arg(1'000'000)->Apply(bench::rounds<5>);
BENCHMARK(rayTreeAgainstEmbree)->Arg(1'000'000)->Apply(bench::rounds<5>);
BENCHMARK(rayNearestAgainstCgal)->Apply(raysOfBothKinds);
BENCHMARK(rayAnyAgainstCgal)->Apply(raysOfBothKinds);
BENCHMARK(rayNearestAgainstEmbree)->Apply(raysOfBothKinds);
BENCHMARK(rayAnyAgainstEmbree)->Apply(raysOfBothKinds);

} // namespace
