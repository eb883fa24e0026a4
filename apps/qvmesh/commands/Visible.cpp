#include <CLI/CLI.hpp>
#include <vector>

#include "qvGeom/foundation/geometry/BitVector.h"
#include "qvGeom/foundation/geometry/MeshAdjTris.h"
#include "qvGeom/foundation/geometry/MeshAdjVertices.h"
#include "qvGeom/foundation/linear/Linear.h"
#include "qvGeom/topology/GeomAdjacency.h"
#include "qvGeom/view/GeomSelectVisible.h"

#include "qvmesh/Command.h"
#include "qvmesh/Failure.h"
#include "qvmesh/Job.h"
#include "qvmesh/MeshEdit.h"
#include "qvmesh/MeshFile.h"
#include "qvmesh/NumberList.h"
#include "qvmesh/View.h"

namespace qvmesh {
namespace {

using qvGeom::CompactMesh;

/// Keeps these triangles and the vertices that they use, in their order.
void keepTriangles(CompactMesh& mesh, const qvGeom::BitVector& kept) {
    std::vector<int> corners;
    qvGeom::BitVector used(mesh.getNumVertices());
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        if (!kept.test(t))
            continue;
        used.setBits(3, mesh.getTriangles()[t].v);
        corners.insert(corners.end(), mesh.getTriangles()[t].v, mesh.getTriangles()[t].v + 3);
    }
    std::vector<int> newIndex(static_cast<std::size_t>(mesh.getNumVertices()));
    int count = 0;
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        if (!used.test(v))
            continue;
        newIndex[static_cast<std::size_t>(v)] = count;
        mesh.getVertices()[count] = mesh.getVertices()[v];
        if (mesh.getNormals())
            mesh.getNormals()[count] = mesh.getNormals()[v];
        if (mesh.getUVs())
            mesh.getUVs()[count] = mesh.getUVs()[v];
        ++count;
    }
    mesh.resizeVertexArray(count);
    for (int& corner : corners)
        corner = newIndex[static_cast<std::size_t>(corner)];
    mesh.copyTriangles(static_cast<int>(corners.size() / 3), corners.data());
}

class Visible final : public Command {
public:
    Visible()
        : Command("visible", "Keep the pieces of a mesh that are mostly seen",
                  "  qvmesh visible part.stl -o outside.ply --view 1,1,1\n"
                  "  qvmesh visible scan.ply -o face.ply --select \"400 200 600 450\"\n") {}

    void declareArguments(CLI::App& app) override {
        input_.declare(app, "mesh");
        output_.declare(app);
        view_.declare(app);
        app.add_option("--select", selectText_,
                       "Only vertices in this part of the picture, its left, upper, right and "
                       "lower end in pixels (default: all)")
            ->type_name("\"L T R B\"");
    }

    void run(Job& job) override {
        view_.prepare();
        readSelection();
        output_.prepare(job);
        job.report().setFiles(input_.path(), output_.path());
        CompactMesh mesh;
        input_.read(job, 0.3, mesh);
        weldSoup(mesh, job, 0.1);
        const View view(mesh, view_, view_.width());
        qvGeom::BitVector candidates = selectVertices(view);
        qvGeom::BitVector kept(mesh.getNumTriangles());
        for (int t = 0; t < mesh.getNumTriangles(); ++t)
            kept.set(t, candidates.test(mesh.getTriangles()[t][0])); // stays if it is one piece
        const int numSelected = kept.numSetBits();
        if (numSelected == 0)
            throw Failure("--select: no triangle begins there");

        job.stage("visible", 0.3, [&](qvUtil::Progress&) {
            qvGeom::MeshAdjTris adjTris;
            qvGeom::MeshAdjVertices adjVertices;
            qvGeom::meshAdjTris(view.mesh(), adjTris);
            qvGeom::meshAdjVertices(view.mesh(), adjTris, adjVertices);
            qvGeom::MeshSelectVisible(view.projection(), kept, candidates,
                                      static_cast<double>(view.width()) / view.height())
                .process(view.mesh(), adjVertices, qvLinear::AffineMatrix());
        });
        const int numTriangles = mesh.getNumTriangles();
        if (kept.numSetBits() == 0)
            throw Failure("nothing of the selection is mostly seen");
        keepTriangles(mesh, kept);
        job.report().add({countFact("before", "triangles before", numTriangles),
                          countFact("selectedTriangles", "triangles selected", numSelected),
                          countFact("triangles", "triangles kept", mesh.getNumTriangles()),
                          countFact("vertices", "vertices kept", mesh.getNumVertices())});
        output_.write(job, 0.2, mesh);
    }

private:
    void readSelection() {
        selection_ = {0, 0, static_cast<double>(view_.width()),
                      static_cast<double>(view_.height())};
        if (selectText_.empty())
            return;
        selection_ = toNumbers("--select", selectText_);
        if (selection_.size() != 4)
            throw Failure("--select: takes 4 numbers, not " + std::to_string(selection_.size()));
    }

    qvGeom::BitVector selectVertices(const View& view) const {
        qvGeom::BitVector selected(view.mesh().getNumVertices());
        for (int v = 0; v < selected.size(); ++v) {
            const qvLinear::Point p = qvLinear::widen(view.mesh().getVertices()[v]);
            const qvLinear::Point place = toPoint(toHPoint(p) * view.projection());
            const double x = (1 + place.x) / 2 * view.width();
            const double y = (1 - place.y) / 2 * view.height();
            selected.set(v, selection_[0] <= x && x <= selection_[2] && selection_[1] <= y &&
                                y <= selection_[3]);
        }
        return selected;
    }

    InputMesh input_;
    OutputMesh output_;
    ViewOptions view_;
    std::string selectText_;
    std::vector<double> selection_;
};

Visible visible;

} // namespace
} // namespace qvmesh
