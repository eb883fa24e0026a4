#include <CLI/CLI.hpp>
#include <initializer_list>
#include <optional>
#include <span>
#include <vector>

#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/MeshCoord.h"
#include "qvGeom/foundation/linear/Convert.h"
#include "qvGeom/improvement/GeomReduce.h"

#include "qvmesh/Job.h"
#include "qvmesh/Limits.h"
#include "qvmesh/MeshEdit.h"
#include "qvmesh/MeshFacts.h"
#include "qvmesh/SurfaceDistance.h"

namespace qvmesh {
namespace {

using qvGeom::CompactMesh;

/// The vertices of the mesh, the middles of its triangles' sides and their centres, as vertices:
/// the vertices alone are those of the mesh that was reduced, and far from nothing.
CompactMesh pointsOf(const CompactMesh& mesh) {
    const std::span vertices(mesh.getVertices(), static_cast<std::size_t>(mesh.getNumVertices()));
    std::vector<qvGeom::MeshVertex> points(vertices.begin(), vertices.end());
    constexpr double kThird = 1.0 / 3;
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        for (const qvGeom::MeshCoordBase& at : {qvGeom::MeshCoordBase{{0.5, 0.5, 0}},
                                                {{0, 0.5, 0.5}},
                                                {{0.5, 0, 0.5}},
                                                {{kThird, kThird, kThird}}}) {
            const qvLinear::PointFlt p = qvLinear::narrow(
                qvGeom::MeshCoord{at, t}.evaluate(mesh.getVertices(), mesh.getTriangles()));
            points.push_back({p.x, p.y, p.z});
        }
    }
    return CompactMesh(static_cast<int>(points.size()), points.data(), nullptr, nullptr, nullptr);
}

class Reduce final : public MeshEdit {
public:
    Reduce()
        : MeshEdit("reduce", "Remove vertices where a mesh is flattest",
                   "  qvmesh reduce scan.ply -o small.ply --fraction 0.1\n"
                   "  qvmesh reduce scan.ply -o small.ply --tolerance 0.05 --report\n") {}

    void declareOptions(CLI::App& app) override {
        CLI::Option_group& amount = *app.add_option_group("Amount");
        amount.require_option(1);
        amount
            .add_option("--fraction", fraction_, "Remove vertices until this part of them is left")
            ->check(number(0, 1))
            ->type_name("PART");
        amount
            .add_option("--tolerance", tolerance_,
                        "Remove vertices as long as the surface stays this close to all of them")
            ->check(notNegative())
            ->type_name("DISTANCE");
        app.add_flag("--report", report_, "Measure how far input and result are from each other");
    }

    void edit(Job& job, CompactMesh& mesh) override {
        weldSoup(mesh, job, 0.05);
        const SizeFacts before(mesh);
        const CompactMesh input = report_ ? mesh : CompactMesh();

        std::vector<qvLinear::Point> removed;
        double deviation = 0;
        job.stage("reduce", 0.25, [&](qvUtil::Progress& progress) {
            if (fraction_)
                qvGeom::meshReduceToFraction(mesh, *fraction_, progress, removed);
            else
                deviation = qvGeom::meshReduceWithTolerance(mesh, *tolerance_, progress, removed);
        });
        const SizeFacts after(mesh);

        Report& report = job.report();
        report.addColumns({{"before", "before", describe(before)}, {"", "after", describe(after)}});
        Facts facts = {realFact("fraction", "part of the vertices that is left",
                                static_cast<double>(after.numVertices) / before.numVertices)};
        if (tolerance_)
            facts.push_back(
                realFact("deviation", "largest distance of a removed vertex", deviation));
        report.add(facts);
        if (report_) {
            const SurfaceDistance fromInput(input, mesh, job, 0.1);
            const SurfaceDistance fromResult(pointsOf(mesh), input, job, 0.1);
            report.addColumns({{"inputToResult", "input to result", describe(fromInput)},
                               {"resultToInput", "result to input", describe(fromResult)}});
        }
    }

private:
    std::optional<double> fraction_;
    std::optional<double> tolerance_;
    bool report_ = false;
};

Reduce reduce;

} // namespace
} // namespace qvmesh
