#include "qvmesh/Job.h"
#include "qvmesh/MeshEdit.h"
#include "qvmesh/MeshFacts.h"

namespace qvmesh {
namespace {

class Convert final : public MeshEdit {
public:
    Convert()
        : MeshEdit("convert", "Write a mesh in another format",
                   "  qvmesh convert scan.obj -o scan.glb\n"
                   "  qvmesh convert scan.obj -o /dev/stdout --format mesh | head\n") {}

    void edit(Job& job, qvGeom::CompactMesh& mesh) override {
        job.report().add(describe(SizeFacts(mesh)));
    }
};

Convert convert;

} // namespace
} // namespace qvmesh
