#include "qvmesh/MeshEdit.h"

#include "qvGeom/foundation/geometry/CompactMesh.h"

#include "qvmesh/Job.h"

namespace qvmesh {

void MeshEdit::declareArguments(CLI::App& app) {
    input_.declare(app, "mesh");
    output_.declare(app);
    declareOptions(app);
}

void MeshEdit::run(Job& job) {
    output_.prepare(job);
    job.report().setFiles(input_.path(), output_.path());
    qvGeom::CompactMesh mesh;
    input_.read(job, 0.3, mesh);
    edit(job, mesh);
    output_.write(job, 0.2, mesh);
}

} // namespace qvmesh
