#include "qvmesh/MeshEdit.h"

#include "qvGeom/editing/GeomVertexWeld.h"
#include "qvGeom/foundation/geometry/BitVector.h"
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

void weldSoup(qvGeom::CompactMesh& mesh, Job& job, double share) {
    qvGeom::BitVector seen(mesh.getNumVertices());
    for (int i = 0; i < 3 * mesh.getNumTriangles(); ++i)
        seen.set(mesh.getTriangles()[i / 3][i % 3]);
    if (seen.numSetBits() < 3 * mesh.getNumTriangles())
        return;
    job.stage("weld", share,
              [&](qvUtil::Progress& progress) { qvGeom::meshCompact(mesh, progress); });
}

} // namespace qvmesh
