#include <CLI/CLI.hpp>

#include "qvGeom/foundation/geometry/CompactMesh.h"

#include "qvmesh/Command.h"
#include "qvmesh/Job.h"
#include "qvmesh/MeshFile.h"
#include "qvmesh/OutputFile.h"
#include "qvmesh/SurfaceDistance.h"
#include "qvmesh/formats/Formats.h"
#include "qvmesh/formats/NumberLines.h"

namespace qvmesh {
namespace {

std::string linePerVertex(std::span<const float> distances) {
    NumberLines lines;
    for (const float distance : distances)
        lines.line(distance);
    return lines.take();
}

class Distance final : public Command {
public:
    Distance()
        : Command("distance",
                  "Measure how far the vertices of a mesh are from the surface of another",
                  "  qvmesh distance scan.ply model.stl\n"
                  "  qvmesh distance scan.ply model.stl --symmetric -o distances.ply\n") {}

    void declareArguments(CLI::App& app) override {
        input_.declare(app, "mesh");
        surface_.declare(app, "surface");
        app.add_flag("--symmetric", symmetric_,
                     "Measure also from the vertices of the second to the surface of the first");
        output_.declare(app, "File of the distance of every vertex of the first mesh",
                        {"ply", "txt"});
    }

    void run(Job& job) override {
        output_.keepApartFrom(input_.path());
        output_.keepApartFrom(surface_.path());
        output_.prepare(job);
        job.report().setFiles(input_.path(), output_.path(), surface_.path());

        qvGeom::CompactMesh mesh;
        qvGeom::CompactMesh surface;
        input_.read(job, 0.15, mesh);
        surface_.read(job, 0.15, surface);
        const SurfaceDistance there(mesh, surface, job, symmetric_ ? 0.3 : 0.6);
        if (symmetric_) {
            const SurfaceDistance back(surface, mesh, job, 0.3);
            job.report().addColumns(
                {{"", "there", describe(there)}, {"back", "and back", describe(back)}});
        } else {
            job.report().add(describe(there));
        }
        output_.write(job, 0.1, [&](const OutputFile& file) {
            const std::span distances(there.ofVertex.data(),
                                      static_cast<std::size_t>(there.ofVertex.size()));
            file.write(output_.extension() == "ply" ? writePly(mesh, distances)
                                                    : linePerVertex(distances));
        });
    }

private:
    InputMesh input_;
    InputMesh surface_;
    bool symmetric_ = false;
    OutputOption output_;
};

Distance distance;

} // namespace
} // namespace qvmesh
