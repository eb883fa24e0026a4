#include <CLI/CLI.hpp>
#include <climits>

#include "qvGeom/foundation/linear/Linear.h"
#include "qvGeom/view/GeomProjection.h"
#include "qvGeom/view/GeomScreenPick.h"

#include "qvmesh/Command.h"
#include "qvmesh/Failure.h"
#include "qvmesh/Job.h"
#include "qvmesh/Limits.h"
#include "qvmesh/MeshFile.h"
#include "qvmesh/View.h"

namespace qvmesh {
namespace {

class Pick final : public Command {
public:
    Pick()
        : Command("pick", "Find what is under a pixel of a picture",
                  "  qvmesh pick scan.ply 500 400\n"
                  "  qvmesh pick scan.ply 320 180 --view 3,1,-2 --size 640x480 --json\n") {}

    void declareArguments(CLI::App& app) override {
        input_.declare(app, "mesh");
        app.add_option("x", x_, "Column of the pixel, from 0 at the left")
            ->required()
            ->check(wholeNumber(0, INT_MAX))
            ->type_name("N");
        app.add_option("y", y_, "Row of the pixel, from 0 at the top")
            ->required()
            ->check(wholeNumber(0, INT_MAX))
            ->type_name("N");
        view_.declare(app);
    }

    void run(Job& job) override {
        view_.prepare();
        if (x_ >= view_.width() || y_ >= view_.height())
            throw Failure("the pixel is not in the picture, which has " +
                          std::to_string(view_.width()) + " columns and " +
                          std::to_string(view_.height()) + " rows");
        job.report().setFiles(input_.path(), "");
        qvGeom::CompactMesh mesh;
        input_.read(job, 0.5, mesh);
        const View view(mesh, view_, view_.width());
        qvGeom::MeshCoord found;
        job.stage("pick", 0.4, [&](qvUtil::Progress&) { found = pick(view); });
        report(job, mesh, found);
    }

private:
    /// Looks for triangles around the pixel's upper left corner, which is within the radius of its
    /// middle.
    qvGeom::MeshCoord pick(const View& view) const {
        constexpr int kRadius = 1;
        qvGeom::Viewport window;
        window.setSize(view.width(), view.height());
        qvLinear::ProjMatrix toPixels;
        window.getViewTransform(toPixels);
        return qvGeom::meshRayIntersectScreen(
            view.mesh(), qvLinear::narrow(view.projection() * toPixels), x_, view.height() - y_,
            kRadius, view.rayThrough(x_ + 0.5, y_ + 0.5));
    }

    static void report(Job& job, const qvGeom::CompactMesh& mesh, const qvGeom::MeshCoord& found) {
        Facts facts = {truthFact("hit", "on the mesh", found.triangle >= 0)};
        if (found.triangle >= 0) {
            const qvGeom::MeshTriangle& triangle = mesh.getTriangles()[found.triangle];
            facts.push_back(countFact("triangle", "triangle", found.triangle));
            facts.push_back({"corners",
                             "its vertices",
                             {triangle[0], triangle[1], triangle[2]},
                             std::to_string(triangle[0]) + " " + std::to_string(triangle[1]) + " " +
                                 std::to_string(triangle[2]),
                             ""});
            facts.push_back(
                pointFact("weights", "weights of these", {found.w[0], found.w[1], found.w[2]}));
            facts.push_back(pointFact("point", "x, y, z",
                                      found.evaluate(mesh.getVertices(), mesh.getTriangles())));
        }
        job.report().add(facts);
    }

    InputMesh input_;
    ViewOptions view_;
    int x_ = 0;
    int y_ = 0;
};

Pick pick;

} // namespace
} // namespace qvmesh
