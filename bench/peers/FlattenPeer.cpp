// Flattening of a wavy disk against Eigen's conjugate gradients, which solve the same system from
// the same start, and against CGAL's parameterizer with its direct solver.
//
// Eigen takes as many iterations as we did, by the same arithmetic but for the order of sums, so
// that it ends as near to the solution. Where it would take minutes, its time is that of assembling
// the system and of the first iterations, scaled up; on the largest disk, both do the first only.

#define CGAL_EIGEN3_ENABLED 1

#include <CGAL/Polygon_mesh_processing/measure.h>
#include <CGAL/Simple_cartesian.h>
#include <CGAL/Surface_mesh.h>
#include <CGAL/Surface_mesh_parameterization/LSCM_parameterizer_3.h>
#include <CGAL/Surface_mesh_parameterization/parameterize.h>
#include <Eigen/IterativeLinearSolvers>
#include <Eigen/SparseCore>
#include <algorithm>
#include <benchmark/benchmark.h>
#include <cmath>
#include <complex>
#include <optional>
#include <vector>

#include "qvGeom/foundation/base/Progress.h"
#include "qvGeom/foundation/linear/Linear.h"
#include "qvGeom/parameterization/GeomReparameterize.h"

#include "peers/CgalMesh.h"
#include "support/Measure.h"
#include "support/SilentOutput.h"
#include "support/Subject.h"

namespace {

using qvGeom::CompactMesh;

using Complex = std::complex<double>;
using Places = std::vector<Complex>;

constexpr int kMostIterations = 3000; // of Eigen's, in full
constexpr int kLargestWhole = 200000; // vertices of what we flatten to the end

/// The corners of a triangle laid down in the plane.
struct Flat {
    Complex corner[3];

    Flat(const CompactMesh& mesh, int triangle) {
        const int* const v = mesh.getTriangles()[triangle].v;
        const auto side = [&](int k) {
            const qvGeom::MeshVertex& a = mesh.getVertices()[v[0]];
            const qvGeom::MeshVertex& b = mesh.getVertices()[v[k]];
            return qvLinear::Vector{static_cast<double>(b.x) - a.x, static_cast<double>(b.y) - a.y,
                                    static_cast<double>(b.z) - a.z};
        };
        const double base = side(1).length();
        corner[0] = 0.0;
        corner[1] = base;
        corner[2] = {dot(side(1), side(2)) / base, cross(side(1), side(2)).length() / base};
    }
};

/// The mean difference between an angle of the mesh and that of the layout, in degrees.
double angleDistortion(const CompactMesh& mesh, const Places& places) {
    const auto angleAt = [](const Complex* p, int k) {
        return std::arg((p[(k + 2) % 3] - p[k]) / (p[(k + 1) % 3] - p[k]));
    };
    double sum = 0.0;
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        const int* const v = mesh.getTriangles()[t].v;
        const Flat flat(mesh, t);
        const Complex layout[3] = {places[v[0]], places[v[1]], places[v[2]]};
        for (int k = 0; k < 3; ++k)
            sum += std::abs(angleAt(flat.corner, k) - angleAt(layout, k));
    }
    return qvLinear::toDegrees(sum / (3.0 * mesh.getNumTriangles()));
}

Places layoutOf(const CompactMesh& mesh) {
    Places places;
    for (int v = 0; v < mesh.getNumVertices(); ++v)
        places.emplace_back(mesh.getUVs()[v].u, mesh.getUVs()[v].v);
    return places;
}

/// Flattens and returns how many iterations it took, to within a hundred, as the progress tells. Is
/// cancelled after `most`.
int iterationsOfFlattening(CompactMesh& mesh, int most) {
    constexpr double kFirst = 0.3; // the solver's share of the whole
    constexpr double kLast = 0.9;
    const double unknowns = 2.0 * mesh.getNumVertices() - 4.0;

    struct Watch {
        qvUtil::Progress progress;
        double reached = kFirst;
        double stop = kLast;
    } watch;

    watch.stop = kFirst + (kLast - kFirst) * most / unknowns;
    watch.progress.setCallback(
        [](void* user, double fraction, const char*) {
            auto& w = *static_cast<Watch*>(user);
            if (fraction > kFirst && fraction < kLast - 1e-6) // it leaps to the end when done
                w.reached = fraction;
            if (fraction >= w.stop && fraction < kLast - 1e-6)
                w.progress.cancel();
        },
        &watch);
    qvGeom::reparameterizeMesh(mesh).flatten(watch.progress);
    return static_cast<int>(std::lround((watch.reached - kFirst) / (kLast - kFirst) * unknowns));
}

/// The system of least conformal energy, two vertices pinned to where they are in the model.
class EigenSystem {
public:
    EigenSystem(const CompactMesh& mesh, int firstPin, int secondPin)
        : unknown_(static_cast<std::size_t>(mesh.getNumVertices())) {
        int next = 0;
        for (int v = 0; v < mesh.getNumVertices(); ++v) {
            const qvGeom::MeshVertex& p = mesh.getVertices()[v];
            start_.emplace_back(p.x, p.y);
            unknown_[v] = v == firstPin || v == secondPin ? -1 : 2 * next++;
        }
        b_ = Eigen::VectorXd::Zero(2 * next);
        std::vector<Eigen::Triplet<double>> entries;
        entries.reserve(static_cast<std::size_t>(36 * mesh.getNumTriangles()));
        for (int t = 0; t < mesh.getNumTriangles(); ++t)
            addTriangle(mesh.getTriangles()[t].v, Flat(mesh, t), entries);
        matrix_.resize(2 * next, 2 * next);
        matrix_.setFromTriplets(entries.begin(), entries.end());
        matrix_.prune(1.0, 1e-9); // what cancels between two triangles
    }

    Places solve(int iterations) const {
        Eigen::ConjugateGradient<Matrix, Eigen::Lower | Eigen::Upper> solver(matrix_);
        solver.setTolerance(1e-300);
        solver.setMaxIterations(iterations);
        Eigen::VectorXd x(b_.size());
        for (std::size_t v = 0; v < unknown_.size(); ++v) {
            if (unknown_[v] >= 0) {
                x[unknown_[v]] = start_[v].real();
                x[unknown_[v] + 1] = start_[v].imag();
            }
        }
        x = solver.solveWithGuess(b_, x).eval();
        Places places = start_;
        for (std::size_t v = 0; v < unknown_.size(); ++v) {
            if (unknown_[v] >= 0)
                places[v] = {x[unknown_[v]], x[unknown_[v] + 1]};
        }
        return places;
    }

private:
    using Matrix = Eigen::SparseMatrix<double, Eigen::RowMajor>;

    void addTriangle(const int* v, const Flat& flat, std::vector<Eigen::Triplet<double>>& entries) {
        const Complex* const z = flat.corner;
        const Complex across[3] = {z[2] - z[1], z[0] - z[2], z[1] - z[0]};
        const double area = z[1].real() * z[2].imag();
        for (int i = 0; i < 3; ++i) {
            const int row = unknown_[v[i]];
            for (int j = 0; j < 3 && row >= 0; ++j) {
                const Complex weight = std::conj(across[i]) * across[j] / area;
                const int column = unknown_[v[j]];
                if (column < 0) {
                    const Complex pinned = weight * start_[v[j]];
                    b_[row] -= pinned.real();
                    b_[row + 1] -= pinned.imag();
                    continue;
                }
                entries.emplace_back(row, column, weight.real());
                entries.emplace_back(row, column + 1, -weight.imag());
                entries.emplace_back(row + 1, column, weight.imag());
                entries.emplace_back(row + 1, column + 1, weight.real());
            }
        }
    }

    std::vector<int> unknown_;
    Places start_;
    Eigen::VectorXd b_;
    Matrix matrix_;
};

using PeerKernel = CGAL::Simple_cartesian<double>;
using PeerMesh = CGAL::Surface_mesh<PeerKernel::Point_3>;

Places flattenByCgal(const CompactMesh& mesh, double& seconds) {
    using Vertex = PeerMesh::Vertex_index;
    PeerMesh peer;
    bench::fillCgalMesh(peer, mesh);
    const auto uvs = peer.add_property_map<Vertex, PeerKernel::Point_2>("v:uv").first;
    const auto border = CGAL::Polygon_mesh_processing::longest_border(peer).first;
    seconds = bench::secondsOf([&] {
        CGAL::Surface_mesh_parameterization::parameterize(
            peer, CGAL::Surface_mesh_parameterization::LSCM_parameterizer_3<PeerMesh>(), border,
            uvs);
    });
    Places places;
    for (const Vertex v : peer.vertices())
        places.emplace_back(uvs[v].x(), uvs[v].y());
    return places;
}

/// The largest distance between two layouts of which the ends of a side of length 1 are pinned,
/// once ours has been brought over theirs.
double largestDistance(const Places& ours, const Places& theirs, int first, int second) {
    const Complex turn = (theirs[second] - theirs[first]) / (ours[second] - ours[first]);
    double largest = 0.0;
    for (std::size_t v = 0; v < ours.size(); ++v) {
        const Complex brought = theirs[first] + turn * (ours[v] - ours[first]);
        largest = std::max(largest, std::abs(brought - theirs[v]));
    }
    return largest;
}

void flattenAgainstEigen(benchmark::State& state) {
    const bench::SilentOutput silent;
    CompactMesh mesh = bench::surfaceOf(2 * state.range(0), 0);
    // Of those at the ends of the x axis, the first along the boundary.
    const int firstPin = 0;
    const int secondPin = static_cast<int>(std::lround(std::sqrt(mesh.getNumVertices()))) - 1;
    const int most =
        mesh.getNumVertices() > kLargestWhole ? kMostIterations : 2 * mesh.getNumVertices();
    int iterations = 0;
    bool isWhole = false;
    Places theirs;
    bench::runInTurns(
        state,
        [&] { return bench::secondsOf([&] { iterations = iterationsOfFlattening(mesh, most); }); },
        [&] {
            std::optional<EigenSystem> system;
            const double setUp =
                bench::secondsOf([&] { system.emplace(mesh, firstPin, secondPin); });
            const int taken = std::min(iterations, kMostIterations);
            isWhole = taken == iterations;
            const double solving = bench::secondsOf([&] { theirs = system->solve(taken); });
            return setUp + solving * iterations / std::max(taken, 1);
        });
    if (iterations == 0) {
        state.SkipWithError("not flattened");
        return;
    }
    state.counters["iterations_taken"] = iterations;
    if (!mesh.getUVs())
        return;
    const Places ours = layoutOf(mesh);
    if (isWhole && !(largestDistance(ours, theirs, firstPin, secondPin) < 1e-4))
        state.SkipWithError("the layouts differ");
    double cgalSeconds = 0.0;
    const Places cgal = flattenByCgal(mesh, cgalSeconds);
    state.counters["cgal_ms"] = 1e3 * cgalSeconds;
    state.counters["our_degrees"] = angleDistortion(mesh, ours);
    state.counters["cgal_degrees"] = angleDistortion(mesh, cgal);
}

BENCHMARK(flattenAgainstEigen)->Arg(10000)->Arg(100000)->Arg(400000)->Apply(bench::rounds<1>);

} // namespace
