#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <optional>

#include "qvGeom/foundation/linear/Linear.h"

#include "qvmesh/Command.h"
#include "qvmesh/Crossings.h"
#include "qvmesh/Failure.h"
#include "qvmesh/Job.h"
#include "qvmesh/Limits.h"
#include "qvmesh/MeshEdges.h"
#include "qvmesh/MeshFile.h"
#include "qvmesh/OutputFile.h"
#include "qvmesh/OutputOption.h"
#include "qvmesh/SurfaceDistance.h"
#include "qvmesh/View.h"
#include "qvmesh/pictures/Canvas.h"
#include "qvmesh/pictures/ColourScale.h"
#include "qvmesh/pictures/SurfacePicture.h"

namespace qvmesh {
namespace {

using qvGeom::CompactMesh;

constexpr Colour kClay = {226, 214, 196};
constexpr Colour kBorder = {214, 40, 40};
constexpr Colour kCrossing = {150, 20, 150};
constexpr Colour kCrossingTriangle = {240, 150, 215};

constexpr double kBorderWidth = 2.2;
constexpr int kScaleWidth = 110;

class Render final : public Command {
public:
    Render()
        : Command("render", "Draw a picture of a mesh",
                  "  qvmesh render scan.ply -o scan.png\n"
                  "  qvmesh render part.stl -o part.png --edges --borders --shading flat\n"
                  "  qvmesh render scan.ply -o deviation.png --distance small.ply\n") {}

    void declareArguments(CLI::App& app) override {
        input_.declare(app, "mesh");
        output_.declare(app, "-o,--output", "Picture", "png")->required();
        view_.declare(app);
        app.add_option("--shading", shading_, "smooth, but for sharp edges, or flat")
            ->check(CLI::IsMember({"smooth", "flat"}))
            ->type_name("NAME");
        app.add_flag("--edges", drawsEdges_, "Draw the edges of the triangles");
        app.add_flag("--borders", drawsBorders_, "Highlight edges of one triangle");
        app.add_flag("--crossings", drawsCrossings_, "Highlight triangles that cross each other");
        CLI::Option* const other = surface_.declareOption(
            app, "--distance", "Colour the mesh by the distances of its vertices from this one");
        app.add_option("--scale", scale_,
                       "The distance with the last colour (default: the largest)")
            ->check(aboveZero())
            ->type_name("D")
            ->needs(other);
    }

    void run(Job& job) override {
        view_.prepare();
        output_.keepApartFrom(input_.path());
        output_.keepApartFrom(surface_.path());
        output_.prepare(job);
        job.report().setFiles(input_.path(), output_.path(), surface_.path());

        CompactMesh mesh;
        input_.read(job, 0.1, mesh);
        job.report().add({countFact("vertices", "vertices", mesh.getNumVertices()),
                          countFact("triangles", "triangles", mesh.getNumTriangles())});
        std::optional<SurfaceDistance> distance;
        if (!surface_.path().empty()) {
            CompactMesh surface;
            surface_.read(job, 0.1, surface);
            distance.emplace(mesh, surface, job, 0.2);
            job.report().add(describe(*distance));
        }
        std::optional<Crossings> crossings;
        if (drawsCrossings_) {
            CompactMesh welded = mesh;
            crossings.emplace(crossItself(welded, job, 0.2));
            job.report().add(describe(*crossings));
        }
        Image image;
        job.stage("draw", 0.3, [&](qvUtil::Progress&) { image = draw(mesh, distance, crossings); });
        output_.write(job, 0.1, [&](const OutputFile& file) { file.write(writePng(image)); });
    }

private:
    Image draw(const CompactMesh& mesh, const std::optional<SurfaceDistance>& distance,
               const std::optional<Crossings>& crossings) const {
        Canvas canvas(view_.width(), view_.height(), kPaper);
        const View view(mesh, view_, view_.width() - (distance ? kScaleWidth : 0));
        SurfacePicture picture(view, canvas);
        const double largest =
            !distance ? 0 : scale_.value_or(distance->largest > 0 ? distance->largest : 1);
        picture.drawSurface(
            shading_ == "flat" ? SurfacePicture::Shading::Flat : SurfacePicture::Shading::Smooth,
            [&](int t, const double* weights) {
                if (crossings && crossings->triangles.test(t))
                    return kCrossingTriangle;
                if (!distance)
                    return kClay;
                double number = 0;
                for (int k = 0; k < 3; ++k)
                    number +=
                        weights[k] * qvLinear::widen(distance->ofVertex[mesh.getTriangles()[t][k]]);
                return colourAt(sequentialRamp(), number / largest);
            });
        if (drawsEdges_ || drawsBorders_)
            drawEdges(view, picture);
        if (crossings) {
            for (const Segment& segment : crossings->segments)
                picture.drawLine(view.moved(qvLinear::widen(segment.from)),
                                 view.moved(qvLinear::widen(segment.to)), kBorderWidth, kCrossing);
        }
        if (distance)
            drawDistances(view.width(), largest, canvas);
        return canvas.reduced();
    }

    void drawEdges(const View& view, SurfacePicture& picture) const {
        const std::vector<MeshEdge> edges = edgesOf(view.mesh());
        const auto end = [&](int vertex) {
            return qvLinear::widen(view.mesh().getVertices()[vertex]);
        };
        for (const MeshEdge& edge : edges) {
            if (drawsEdges_)
                picture.drawThinLine(end(edge.from), end(edge.to), kInk);
        }
        for (const MeshEdge& edge : edges) {
            if (drawsBorders_ && edge.isBorder)
                picture.drawLine(end(edge.from), end(edge.to), kBorderWidth, kBorder);
        }
    }

    static void drawDistances(int left, double largest, Canvas& canvas) {
        constexpr int kSteps = 4;
        std::vector<std::string> labels;
        for (int i = 0; i <= kSteps; ++i) {
            char text[20];
            std::snprintf(text, sizeof text, "%.2g", largest * i / kSteps);
            labels.emplace_back(text);
        }
        drawScale(canvas, {left + 10.0, 0.2 * canvas.height()},
                  {left + 30.0, 0.8 * canvas.height()}, sequentialRamp(), labels, kInk);
    }

    InputMesh input_;
    InputMesh surface_;
    OutputOption output_;
    ViewOptions view_;
    std::string shading_ = "smooth";
    std::optional<double> scale_;
    bool drawsEdges_ = false;
    bool drawsBorders_ = false;
    bool drawsCrossings_ = false;
};

Render render;

} // namespace
} // namespace qvmesh
