#include "qvGeom/foundation/geometry/CompactMesh.h"

#include "qvmesh/Command.h"
#include "qvmesh/Job.h"
#include "qvmesh/MeshFacts.h"
#include "qvmesh/MeshFile.h"

namespace qvmesh {
namespace {

class Info final : public Command {
public:
    Info()
        : Command("info", "Tell what a mesh consists of and how sound it is",
                  "  qvmesh info scan.ply\n"
                  "  qvmesh info scan.ply --json\n") {}

    void declareArguments(CLI::App& app) override { input_.declare(app, "mesh"); }

    void run(Job& job) override {
        qvGeom::CompactMesh mesh;
        input_.read(job, 0.5, mesh);
        const MeshFacts facts(mesh, job, 0.5);

        Report& report = job.report();
        report.setFiles(input_.path(), "");
        report.add(describe(facts.size));
        report.add(describe(facts));
        report.add(describe(facts.extent));
    }

private:
    InputMesh input_;
};

Info info;

} // namespace
} // namespace qvmesh
