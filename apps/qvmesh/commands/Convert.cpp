#include "qvGeom/foundation/geometry/CompactMesh.h"

#include "qvmesh/Command.h"
#include "qvmesh/Job.h"
#include "qvmesh/MeshFacts.h"
#include "qvmesh/MeshFile.h"

namespace qvmesh {
namespace {

class Convert final : public Command {
public:
    Convert()
        : Command("convert", "Write a mesh in another format",
                  "  qvmesh convert scan.obj -o scan.glb\n"
                  "  qvmesh convert scan.obj -o /dev/stdout --format mesh | head\n") {}

    void declareArguments(CLI::App& app) override {
        input_.declare(app, "mesh");
        output_.declare(app);
    }

    void run(Job& job) override {
        output_.prepare(job);
        qvGeom::CompactMesh mesh;
        input_.read(job, 0.5, mesh);
        output_.write(job, 0.5, mesh);

        job.report().setFiles(input_.path(), output_.path());
        job.report().add(describe(SizeFacts(mesh)));
    }

private:
    InputMesh input_;
    OutputMesh output_;
};

Convert convert;

} // namespace
} // namespace qvmesh
