#include "qvGeom/editing/GeomVertexWeld.h"

#include "qvmesh/Job.h"
#include "qvmesh/MeshEdit.h"
#include "qvmesh/MeshFacts.h"

namespace qvmesh {
namespace {

class Weld final : public MeshEdit {
public:
    Weld()
        : MeshEdit("weld", "Merge vertices at exactly the same place",
                   "  qvmesh weld soup.stl -o welded.ply\n"
                   "  qvmesh weld soup.stl -o soup.mesh --threads 2\n") {}

    void edit(Job& job, qvGeom::CompactMesh& mesh) override {
        const SizeFacts before(mesh);
        job.stage("weld", 0.3,
                  [&](qvUtil::Progress& progress) { qvGeom::meshCompact(mesh, progress); });
        const MeshFacts after(mesh, job, 0.2);

        Report& report = job.report();
        report.addColumns(
            {{"before", "before", describe(before)}, {"", "after", describe(after.size)}});
        report.add(describe(after));
        report.add(describe(after.extent));
    }
};

Weld weld;

} // namespace
} // namespace qvmesh
