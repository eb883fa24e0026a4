#include "qvGeom/editing/GeomVertexWeld.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"

#include "qvmesh/Command.h"
#include "qvmesh/Job.h"
#include "qvmesh/MeshFacts.h"
#include "qvmesh/MeshFile.h"

namespace qvmesh {
namespace {

class Weld final : public Command {
public:
    Weld()
        : Command("weld", "Merge vertices at exactly the same place",
                  "  qvmesh weld soup.stl -o welded.ply\n"
                  "  qvmesh weld soup.stl -o soup.mesh --threads 2\n") {}

    void declareArguments(CLI::App& app) override {
        input_.declare(app, "mesh");
        output_.declare(app);
    }

    void run(Job& job) override {
        output_.prepare(job);
        qvGeom::CompactMesh mesh;
        input_.read(job, 0.3, mesh);
        const SizeFacts before(mesh);

        job.stage("weld", 0.3,
                  [&](qvUtil::Progress& progress) { qvGeom::meshCompact(mesh, progress); });
        const MeshFacts after(mesh, job, 0.2);
        output_.write(job, 0.2, mesh);

        Report& report = job.report();
        report.setFiles(input_.path(), output_.path());
        report.addComparison(describe(before), describe(after.size));
        report.add(describe(after));
        report.add(describe(after.extent));
    }

private:
    InputMesh input_;
    OutputMesh output_;
};

Weld weld;

} // namespace
} // namespace qvmesh
