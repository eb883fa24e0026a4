// Reducing to a part of the vertices, against the collapse of edges by quadrics. Each peer is given
// the mesh in its own form, made outside the time that counts, and goes down to as many vertices.
// Cases are named like those of our own benchmark. Distances are two-sided, relative to the largest
// extent of the mesh.

#include <CGAL/Simple_cartesian.h>
#include <CGAL/Surface_mesh.h>
#include <CGAL/Surface_mesh_simplification/Policies/Edge_collapse/Count_stop_predicate.h>
#include <CGAL/Surface_mesh_simplification/Policies/Edge_collapse/GarlandHeckbert_plane_policies.h>
#include <CGAL/Surface_mesh_simplification/edge_collapse.h>
#include <OpenMesh/Core/Mesh/TriMesh_ArrayKernelT.hh>
#include <OpenMesh/Tools/Decimater/DecimaterT.hh>
#include <OpenMesh/Tools/Decimater/ModQuadricT.hh>
#include <benchmark/benchmark.h>
#include <memory>
#include <meshoptimizer.h>
#include <vector>

#include "qvGeom/foundation/base/Progress.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/linear/Linear.h"
#include "qvGeom/improvement/GeomReduce.h"

#include "peers/CgalMesh.h"
#include "support/Measure.h"
#include "support/ReduceInput.h"

namespace {

using qvGeom::CompactMesh;

/// A mesh that a peer reduces, told by time; the reduced one comes back as ours.
class MeshoptimizerPeer {
public:
    explicit MeshoptimizerPeer(const CompactMesh& input)
        : input_(input),
          indices_(input.getTrianglesRaw(), input.getTrianglesRaw() + 3 * input.getNumTriangles()),
          reduced_(indices_.size()) {}

    double reduceTo(int numVertices) {
        // Every vertex removed takes two triangles with it.
        const int numRemoved = input_.getNumVertices() - numVertices;
        const std::size_t target = indices_.size() - 6 * static_cast<std::size_t>(numRemoved);
        return bench::secondsOf([&] {
            reduced_.resize(indices_.size());
            const auto vertices = static_cast<std::size_t>(input_.getNumVertices());
            reduced_.resize(meshopt_simplify(reduced_.data(), indices_.data(), indices_.size(),
                                             input_.getVerticesRaw(), vertices,
                                             sizeof(qvGeom::MeshVertex), target, 1e9F));
        });
    }

    CompactMesh result() const {
        CompactMesh mesh;
        const auto numUsed = static_cast<int>(input_.getNumVertices());
        std::vector<int> places(static_cast<std::size_t>(numUsed), -1);
        std::vector<int> corners;
        std::vector<qvGeom::MeshVertex> vertices;
        for (const unsigned index : reduced_) {
            if (places[index] < 0) {
                places[index] = static_cast<int>(vertices.size());
                vertices.push_back(input_.getVertices()[index]);
            }
            corners.push_back(places[index]);
        }
        mesh.copyVertices(static_cast<int>(vertices.size()), vertices.data());
        mesh.copyTriangles(static_cast<int>(corners.size() / 3), corners.data());
        return mesh;
    }

private:
    const CompactMesh& input_;
    std::vector<unsigned> indices_;
    std::vector<unsigned> reduced_;
};

class OpenMeshPeer {
    using Mesh = OpenMesh::TriMesh_ArrayKernelT<>;

public:
    explicit OpenMeshPeer(const CompactMesh& input) {
        for (int v = 0; v < input.getNumVertices(); ++v) {
            const qvGeom::MeshVertex& p = input.getVertices()[v];
            mesh_.add_vertex(Mesh::Point(p.x, p.y, p.z));
        }
        for (int t = 0; t < input.getNumTriangles(); ++t) {
            const auto& [a, b, c] = input.getTriangles()[t].v;
            mesh_.add_face(mesh_.vertex_handle(a), mesh_.vertex_handle(b), mesh_.vertex_handle(c));
        }
        mesh_.request_face_normals();
        mesh_.update_face_normals();
    }

    double reduceTo(int numVertices) {
        return bench::secondsOf([&] {
            OpenMesh::Decimater::DecimaterT<Mesh> decimater(mesh_);
            OpenMesh::Decimater::ModQuadricT<Mesh>::Handle quadric;
            decimater.add(quadric);
            decimater.module(quadric).unset_max_err();
            decimater.initialize();
            decimater.decimate_to(static_cast<std::size_t>(numVertices));
            mesh_.garbage_collection();
        });
    }

    CompactMesh result() const {
        CompactMesh mesh;
        mesh.resizeVertexArray(static_cast<int>(mesh_.n_vertices()));
        mesh.resizeTriangleArray(static_cast<int>(mesh_.n_faces()));
        for (const auto v : mesh_.vertices()) {
            const Mesh::Point& p = mesh_.point(v);
            mesh.getVertices()[v.idx()] = {p[0], p[1], p[2]};
        }
        int* corner = mesh.getTrianglesRaw();
        for (const auto f : mesh_.faces()) {
            for (const auto v : mesh_.fv_range(f))
                *corner++ = v.idx();
        }
        return mesh;
    }

private:
    Mesh mesh_;
};

class CgalPeer {
    using Kernel = CGAL::Simple_cartesian<double>;
    using Mesh = CGAL::Surface_mesh<Kernel::Point_3>;

public:
    explicit CgalPeer(const CompactMesh& input) { bench::fillCgalMesh(mesh_, input); }

    double reduceTo(int numVertices) {
        namespace Simplification = CGAL::Surface_mesh_simplification;
        const auto numRemoved = mesh_.number_of_vertices() - static_cast<unsigned>(numVertices);
        return bench::secondsOf([&] {
            const Simplification::Count_stop_predicate<Mesh> stop(mesh_.number_of_edges() -
                                                                  3 * numRemoved);
            using Policies = Simplification::GarlandHeckbert_plane_policies<Mesh, Kernel>;
            Policies policies(mesh_);
            Simplification::edge_collapse(mesh_, stop,
                                          CGAL::parameters::get_cost(policies.get_cost())
                                              .get_placement(policies.get_placement()));
            mesh_.collect_garbage();
        });
    }

    CompactMesh result() const {
        CompactMesh mesh;
        mesh.resizeVertexArray(static_cast<int>(mesh_.number_of_vertices()));
        mesh.resizeTriangleArray(static_cast<int>(mesh_.number_of_faces()));
        for (const auto v : mesh_.vertices()) {
            const auto& p = mesh_.point(v);
            mesh.getVertices()[static_cast<int>(v)] = {
                static_cast<float>(p.x()), static_cast<float>(p.y()), static_cast<float>(p.z())};
        }
        int* corner = mesh.getTrianglesRaw();
        for (const auto f : mesh_.faces()) {
            for (const auto v : mesh_.vertices_around_face(mesh_.halfedge(f)))
                *corner++ = static_cast<int>(v);
        }
        return mesh;
    }

private:
    Mesh mesh_;
};

void tellDistance(benchmark::State& state, const std::string& side, const bench::IndexedMesh& input,
                  const CompactMesh& reduced) {
    const double size = static_cast<double>(input.octree.getRoot().box.max[0]) -
                        static_cast<double>(input.octree.getRoot().box.min[0]);
    const bench::SurfaceDistance distance = bench::distanceBetween(input, reduced);
    state.counters[side + "_vertices"] = reduced.getNumVertices();
    state.counters[side + "_rms"] = distance.rms / size;
    state.counters[side + "_largest"] = distance.largest / size;
}

template <class Peer>
void compare(benchmark::State& state, const CompactMesh& mesh, double fraction) {
    const bench::IndexedMesh input(mesh);
    CompactMesh ours;
    std::unique_ptr<Peer> peer;
    bench::runInTurns(
        state,
        [&] {
            ours = mesh;
            qvUtil::Progress progress;
            std::vector<qvLinear::Point> removed;
            return bench::secondsOf(
                [&] { meshReduceToFraction(ours, fraction, progress, removed); });
        },
        [&] {
            peer = std::make_unique<Peer>(mesh);
            return peer->reduceTo(ours.getNumVertices());
        });
    tellDistance(state, "ours", input, ours);
    tellDistance(state, "theirs", input, peer->result());
    bench::Checksum sum;
    sum.add(ours.getTrianglesRaw(), 3 * ours.getNumTriangles());
    state.counters["checksum"] = sum.value();
}

template <class Peer>
void reduceAgainst(benchmark::State& state) {
    compare<Peer>(state, bench::bumpySphere(state.range(0), state.range(1)),
                  static_cast<double>(state.range(2)) / 100);
}

template <class Peer>
void reduceElephantAgainst(benchmark::State& state) {
    CompactMesh mesh;
    meshRead(mesh, qvOS::Filename(QVGEOM_BENCH_DATA "/elephant.mesh"));
    compare<Peer>(state, mesh, static_cast<double>(state.range(0)) / 100);
}

template <class Peer>
void addCases(const std::string& name) {
    benchmark::RegisterBenchmark(("reduceAgainst" + name).c_str(), reduceAgainst<Peer>)
        ->ArgNames({"", "", "percent"})
        ->ArgsProduct({{1'000'000}, {0, 1}, {50, 10}})
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark(("reduceElephantAgainst" + name).c_str(),
                                 reduceElephantAgainst<Peer>)
        ->ArgName("elephant")
        ->Arg(50)
        ->Arg(10)
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
}

const bool added = [] {
    addCases<MeshoptimizerPeer>("Meshoptimizer");
    addCases<OpenMeshPeer>("OpenMesh");
    addCases<CgalPeer>("Cgal");
    return true;
}();

} // namespace
