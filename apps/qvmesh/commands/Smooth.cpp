#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <optional>
#include <vector>

#include "qvGeom/foundation/base/Progress.h"
#include "qvGeom/foundation/geometry/BitVector.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/MeshAdjTris.h"
#include "qvGeom/foundation/geometry/MeshAdjVertices.h"
#include "qvGeom/foundation/linear/Linear.h"
#include "qvGeom/improvement/GeomSmooth.h"
#include "qvGeom/topology/GeomAdjacency.h"
#include "qvGeom/topology/GeomNormals.h"

#include "qvmesh/Failure.h"
#include "qvmesh/Job.h"
#include "qvmesh/Limits.h"
#include "qvmesh/MeshEdit.h"
#include "qvmesh/MeshFacts.h"

namespace qvmesh {
namespace {

using qvGeom::CompactMesh;

/// Clears the bits of the vertices on edges of one triangle.
void dropBorder(const CompactMesh& mesh, const qvGeom::MeshAdjTris& adjTris,
                qvGeom::BitVector& vertices) {
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        if (!hasDistinctCorners(mesh.getTriangles()[t]))
            continue;
        for (int k = 0; k < 3; ++k) {
            const int a = mesh.getTriangles()[t][k];
            const int b = mesh.getTriangles()[t][(k + 1) % 3];
            const auto hasEnd = [&](int s) {
                const qvGeom::MeshTriangle& triangle = mesh.getTriangles()[s];
                return hasDistinctCorners(triangle) && triangle.cornerAt(b) >= 0;
            };
            if (std::count_if(adjTris.begin(a), adjTris.end(a), hasEnd) > 1)
                continue;
            vertices.clear(a);
            vertices.clear(b);
        }
    }
}

/// How far vertices have moved since they were at `old`.
Facts describeMoves(const CompactMesh& mesh, const std::vector<qvGeom::MeshVertex>& old) {
    int numMoved = 0;
    double largest = 0;
    double sum = 0;
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        const double move = distance(qvLinear::widen(old[static_cast<std::size_t>(v)]),
                                     qvLinear::widen(mesh.getVertices()[v]));
        if (!std::isfinite(move))
            throw Failure("vertex " + std::to_string(v) + " has moved out of the range of numbers");
        numMoved += move > 0;
        largest = std::max(largest, move);
        sum += move;
    }
    return {countFact("movedVertices", "vertices that moved", numMoved),
            realFact("largestMove", "largest move", largest),
            realFact("meanMove", "mean move", numMoved > 0 ? sum / numMoved : 0)};
}

class Smooth final : public MeshEdit {
public:
    Smooth()
        : MeshEdit("smooth", "Even out the surface of a mesh",
                   "  qvmesh smooth scan.ply -o smooth.ply --laplacian 5 --fix-border\n"
                   "  qvmesh smooth scan.ply -o smooth.ply --bilateral 0.5\n"
                   "  qvmesh smooth scan.ply -o smooth.ply --bilateral 0.5 3\n") {}

    void declareOptions(CLI::App& app) override {
        CLI::Option_group& filter = *app.add_option_group("Filter");
        filter.require_option(1);
        filter
            .add_option("--laplacian", laplacianPasses_,
                        "Move vertices to the mean of their neighbours, N times")
            ->check(wholeNumber(1, kMaxPasses))
            ->type_name("N");
        filter
            .add_option("--bilateral", bilateral_,
                        "Move vertices along their normals, as the surface within the distance "
                        "SIGMA suggests, and spare its features; N times (default: once)")
            ->expected(1, 2)
            ->type_name("SIGMA [N]");
        app.add_flag("--fix-border", fixBorder_, "Keep the vertices of open borders in place");
    }

    void edit(Job& job, CompactMesh& mesh) override {
        const int numPasses = checkedPasses();
        weldSoup(mesh, job, 0.05);
        const bool hadNormals = mesh.getNormals();
        const std::vector<qvGeom::MeshVertex> old(mesh.getVertices(),
                                                  mesh.getVertices() + mesh.getNumVertices());
        qvGeom::MeshAdjTris adjTris;
        qvGeom::MeshAdjVertices adjVertices;
        job.stage("adjacency", 0.1, [&](qvUtil::Progress&) {
            qvGeom::meshAdjTris(mesh, adjTris);
            qvGeom::meshAdjVertices(mesh, adjTris, adjVertices);
            qvGeom::BitVector& free = mesh.getSelectedVertices();
            free.resize(mesh.getNumVertices());
            for (int v = 0; v < mesh.getNumVertices(); ++v)
                free.set(v, adjVertices.getCount(v) > 0); // others would have no place to go
            if (fixBorder_)
                dropBorder(mesh, adjTris, free);
        });
        const int numFree = mesh.getSelectedVertices().numSetBits();
        job.stage("smooth", 0.35, [&](qvUtil::Progress& progress) {
            for (int pass = 0; pass < numPasses && !progress.cancelled(); ++pass) {
                qvUtil::Progress ofPass;
                progress.subPhase(1.0 / numPasses, ofPass);
                runPass(mesh, adjTris, adjVertices, ofPass);
            }
        });
        mesh.clearSelection();
        if (hadNormals) // those of the file are of the old surface
            qvGeom::meshComputeNormals(mesh, adjTris);
        else
            mesh.deleteNormals();

        Facts facts = {
            countFact("passes", "passes", numPasses),
            countFact("fixedVertices", "vertices kept in place", mesh.getNumVertices() - numFree)};
        const Facts moves = describeMoves(mesh, old);
        facts.insert(facts.end(), moves.begin(), moves.end());
        job.report().add(facts);
    }

private:
    static constexpr int kMaxPasses = 1'000'000;

    int checkedPasses() const {
        if (laplacianPasses_)
            return *laplacianPasses_;
        if (!(bilateral_[0] > 0) || !std::isfinite(bilateral_[0]))
            throw Failure("--bilateral: SIGMA must be a distance above 0");
        const double passes = bilateral_.size() > 1 ? bilateral_[1] : 1;
        if (!(passes >= 1 && passes <= kMaxPasses && passes == std::floor(passes)))
            throw Failure("--bilateral: N must be a whole number from 1 to " +
                          std::to_string(kMaxPasses));
        return static_cast<int>(passes);
    }

    void runPass(CompactMesh& mesh, const qvGeom::MeshAdjTris& adjTris,
                 const qvGeom::MeshAdjVertices& adjVertices, qvUtil::Progress& progress) const {
        if (laplacianPasses_) {
            qvGeom::meshSmoothLaplacian(mesh, adjVertices, progress);
        } else {
            qvGeom::meshComputeNormals(mesh, adjTris); // anew, as the surface has moved
            qvGeom::meshSmoothBilateral(mesh, adjVertices, bilateral_[0], progress);
        }
    }

    std::optional<int> laplacianPasses_;
    std::vector<double> bilateral_; // sigma, and perhaps the number of passes
    bool fixBorder_ = false;
};

Smooth smooth;

} // namespace
} // namespace qvmesh
