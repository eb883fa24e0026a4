#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <deque>
#include <filesystem>
#include <vector>

#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/linear/Linear.h"
#include "qvGeom/parameterization/GeomPack.h"

#include "qvmesh/Command.h"
#include "qvmesh/Failure.h"
#include "qvmesh/Job.h"
#include "qvmesh/LayoutFacts.h"
#include "qvmesh/Limits.h"
#include "qvmesh/MeshFile.h"
#include "qvmesh/OutputFile.h"
#include "qvmesh/formats/Formats.h"
#include "qvmesh/pictures/LayoutPicture.h"

namespace qvmesh {
namespace {

using qvGeom::CompactMesh;
using qvLinear::Range2d;

constexpr int kAttempts = 100; // over which the charts are halved

constexpr Colour kChartColours[] = {{141, 190, 214}, {244, 177, 131}, {163, 204, 140},
                                    {216, 158, 188}, {240, 214, 122}, {170, 170, 214},
                                    {140, 204, 190}, {222, 150, 140}};

/// A mesh that is given a place.
struct Chart {
    std::string name;
    CompactMesh mesh;
    Range2d extent; // of its UVs
    double scale = 1;
};

Range2d extentOf(const CompactMesh& mesh) {
    Range2d extent;
    extent.setEmpty();
    for (int i = 0; i < 3 * mesh.getNumTriangles(); ++i) {
        const qvGeom::MeshUV& uv = mesh.getUVs()[mesh.getTriangles()[i / 3][i % 3]];
        extent.include({uv.u, uv.v});
    }
    return extent;
}

/// The scale with which areas in the layout are those on the surface; 1 where either is none.
double scaleBySurface(const CompactMesh& mesh) {
    double inLayout = 0;
    double onSurface = 0;
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        inLayout += std::abs(areaInLayout(mesh, t));
        onSurface += areaOnSurface(mesh, t);
    }
    return inLayout > 0 && onSurface > 0 ? std::sqrt(onSurface / inLayout) : 1;
}

/// Adds the triangles and vertices of `part`, and its normals where `whole` has some.
void append(const CompactMesh& part, CompactMesh& whole) {
    const int firstVertex = whole.getNumVertices();
    const int firstTriangle = whole.getNumTriangles();
    whole.resizeVertexArray(firstVertex + part.getNumVertices());
    whole.resizeTriangleArray(firstTriangle + part.getNumTriangles());
    std::copy_n(part.getVertices(), part.getNumVertices(), whole.getVertices() + firstVertex);
    std::copy_n(part.getUVs(), part.getNumVertices(), whole.allocUVArray() + firstVertex);
    if (part.getNormals())
        std::copy_n(part.getNormals(), part.getNumVertices(),
                    whole.allocNormalArray() + firstVertex);
    for (int i = 0; i < 3 * part.getNumTriangles(); ++i)
        whole.getTrianglesRaw()[3 * firstTriangle + i] = firstVertex + part.getTrianglesRaw()[i];
}

class Pack final : public Command {
public:
    Pack()
        : Command("pack", "Lay the texture coordinates of several meshes side by side",
                  "  qvmesh pack head.obj arm.obj leg.obj -o body.obj\n"
                  "  qvmesh pack *.obj -o all.glb --by-surface --margin 0.01 --picture all.png\n") {
    }

    void declareArguments(CLI::App& app) override {
        app.add_option("meshes", inputs_, "Mesh files to read, with texture coordinates")
            ->required()
            ->type_name("FILE");
        output_.declare(app, OutputMesh::Formats::WithUVs);
        app.add_flag("--by-surface", bySurface_,
                     "Make charts as large as the surfaces are, beside each other");
        app.add_option("--margin", margin_,
                       "Space around each chart, measured by the side of a square as large as all "
                       "charts (default: 0.005)")
            ->check(number(0, 1))
            ->type_name("F");
        picture_.declare(app, "--picture", "Picture of the layout", "png");
    }

    void run(Job& job) override {
        output_.prepare(job);
        picture_.prepare(job);
        for (const std::string& path : inputs_) {
            output_.keepApartFrom(path);
            picture_.keepApartFrom(path);
        }
        job.report().setFiles(std::to_string(inputs_.size()) + " meshes", output_.path());

        std::deque<Chart> charts;
        for (const std::string& path : inputs_)
            charts.push_back(readChart(job, 0.5 / static_cast<double>(inputs_.size()), path));
        job.stage("pack", 0.3, [&](qvUtil::Progress&) { place(charts); });

        CompactMesh whole;
        std::vector<MeshGroup> groups;
        std::vector<int> chartOf; // of each triangle
        for (const Chart& chart : charts) {
            groups.push_back({chart.name, whole.getNumTriangles()});
            append(chart.mesh, whole);
            chartOf.resize(static_cast<std::size_t>(whole.getNumTriangles()),
                           static_cast<int>(groups.size()) - 1);
        }
        if (!std::all_of(charts.begin(), charts.end(),
                         [](const Chart& chart) { return chart.mesh.getNormals(); }))
            whole.deleteNormals();

        report(job, charts, whole);
        picture_.store(job, 0.1, [&](const OutputFile& file) {
            file.write(writePng(drawLayout(whole, [&](int t) {
                const int chart = chartOf[static_cast<std::size_t>(t)];
                return kChartColours[static_cast<std::size_t>(chart) % std::size(kChartColours)];
            })));
        });
        output_.write(job, 0.1, whole, groups);
        picture_.commit();
    }

private:
    Chart readChart(Job& job, double share, const std::string& path) const {
        Chart chart;
        chart.name = std::filesystem::path(path).stem().string();
        InputMesh(path).read(job, share, chart.mesh);
        if (!chart.mesh.getUVs())
            throw Failure(path + ": has no texture coordinates ('qvmesh flatten' makes some)");
        if (bySurface_)
            chart.scale = scaleBySurface(chart.mesh);
        chart.extent = extentOf(chart.mesh);
        return chart;
    }

    /// Moves the UVs of the charts to their places.
    void place(std::deque<Chart>& charts) const {
        double area = 0;
        for (const Chart& chart : charts)
            area += chart.scale * chart.extent.width() * chart.scale * chart.extent.height();
        const double margin = margin_ * std::sqrt(area);

        std::vector<Range2d> places;
        places.reserve(charts.size());
        for (const Chart& chart : charts) {
            places.push_back({0, 0, chart.scale * chart.extent.width() + 2 * margin,
                              chart.scale * chart.extent.height() + 2 * margin});
        }
        const std::vector<Range2d> sizes = places;
        qvGeom::pack(places, kAttempts);
        for (std::size_t i = 0; i < charts.size(); ++i) {
            Chart& chart = charts[i];
            const double shrunk = places[i].width() / sizes[i].width();
            chart.scale *= std::isfinite(shrunk) ? shrunk : 0;
            const double left = places[i].minX + shrunk * margin;
            const double bottom = places[i].minY + shrunk * margin;
            for (int v = 0; v < chart.mesh.getNumVertices(); ++v) {
                qvGeom::MeshUV& uv = chart.mesh.getUVs()[v];
                const double u = static_cast<double>(uv.u) - chart.extent.minX;
                const double w = static_cast<double>(uv.v) - chart.extent.minY;
                uv = {qvLinear::narrow(left + chart.scale * u),
                      qvLinear::narrow(bottom + chart.scale * w)};
            }
        }
    }

    void report(Job& job, const std::deque<Chart>& charts, const CompactMesh& whole) const {
        std::vector<Facts> rows;
        for (const Chart& chart : charts) {
            const Range2d extent = extentOf(chart.mesh);
            rows.push_back({{"chart", "chart", chart.name, chart.name, ""},
                            countFact("triangles", "triangles", chart.mesh.getNumTriangles()),
                            realFact("u", "from u", extent.minX),
                            realFact("v", "from v", extent.minY),
                            realFact("width", "width", extent.width()),
                            realFact("height", "height", extent.height())});
        }
        double covered = 0;
        for (const Chart& chart : charts) {
            const Range2d extent = extentOf(chart.mesh);
            covered += extent.width() * extent.height();
        }
        job.report().add({countFact("charts", "charts", std::ssize(charts)),
                          countFact("vertices", "vertices", whole.getNumVertices()),
                          countFact("triangles", "triangles", whole.getNumTriangles()),
                          realFact("coverage", "part of the unit square in use", covered)});
        job.report().addRows("places", rows);
    }

    std::vector<std::string> inputs_;
    OutputMesh output_;
    OutputOption picture_;
    double margin_ = 0.005;
    bool bySurface_ = false;
};

Pack pack;

} // namespace
} // namespace qvmesh
