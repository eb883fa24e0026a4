#include <CLI/CLI.hpp>
#include <cmath>
#include <map>
#include <vector>

#include "qvGeom/cutting/GeomCutSurface.h"
#include "qvGeom/editing/GeomVertexWeld.h"
#include "qvGeom/foundation/base/Progress.h"
#include "qvGeom/foundation/geometry/BitVector.h"
#include "qvGeom/foundation/geometry/BoundingBox.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/parameterization/GeomReparameterize.h"
#include "qvGeom/topology/GeomBoundingBox.h"

#include "qvmesh/Command.h"
#include "qvmesh/Failure.h"
#include "qvmesh/Job.h"
#include "qvmesh/LayoutFacts.h"
#include "qvmesh/MeshEdit.h"
#include "qvmesh/MeshFacts.h"
#include "qvmesh/MeshFile.h"
#include "qvmesh/MessageListener.h"
#include "qvmesh/OutputFile.h"
#include "qvmesh/pictures/LayoutPicture.h"

namespace qvmesh {
namespace {

using qvGeom::CompactMesh;
using qvGeom::MeshTriangle;

/// The triangles of `mesh` over the vertices that they use, without channels.
CompactMesh bareSurface(const CompactMesh& mesh) {
    const int numTriangles = mesh.getNumTriangles();
    std::vector<int> newIndex(static_cast<std::size_t>(mesh.getNumVertices()), -1);
    std::vector<qvGeom::MeshVertex> vertices;
    std::vector<int> corners;
    for (int i = 0; i < 3 * numTriangles; ++i) {
        const int v = mesh.getTriangles()[i / 3][i % 3];
        int& index = newIndex[static_cast<std::size_t>(v)];
        if (index < 0) {
            index = static_cast<int>(vertices.size());
            vertices.push_back(mesh.getVertices()[v]);
        }
        corners.push_back(index);
    }
    CompactMesh surface(static_cast<int>(vertices.size()), vertices.data(), nullptr, nullptr,
                        nullptr);
    surface.copyTriangles(numTriangles, corners.data());
    return surface;
}

int genusOf(const MeshFacts& facts) {
    const int numLoops = static_cast<int>(facts.loopLengths.size());
    return (2 - numLoops - facts.surface.eulerCharacteristic) / 2;
}

bool mustBeCut(const MeshFacts& facts) { return facts.loopLengths.empty() || genusOf(facts) > 0; }

/// Takes a surface that is small against its distance from the origin to where floats lie closer
/// together, along x. Coordinates within a factor of two of each other differ by exactly a float.
void moveToOrigin(CompactMesh& surface) {
    qvGeom::BoundingBox extent;
    qvGeom::meshBoundingBox(surface, extent);
    const float least = extent.min[0];
    const float ratio = least / extent.max[0];
    if (!(ratio >= 0.5F && ratio <= 2.0F))
        return;
    for (int v = 0; v < surface.getNumVertices(); ++v)
        surface.getVertices()[v].x -= least;
}

/// Cuts the surface open until it is a disk, and moves the copies of a vertex apart, each by one
/// more unit in the last place of x: where no position is there twice, the cut stays open.
void cutOpen(CompactMesh& surface) {
    moveToOrigin(surface);
    const std::vector<MeshTriangle> uncut(surface.getTriangles(),
                                          surface.getTriangles() + surface.getNumTriangles());
    const int numUncut = surface.getNumVertices();
    if (!qvGeom::cutSurface(surface).makeDisk())
        throw Failure("the surface could not be cut open");

    std::vector<int> numCopies(static_cast<std::size_t>(numUncut));
    qvGeom::BitVector moved(surface.getNumVertices());
    for (int i = 0; i < 3 * surface.getNumTriangles(); ++i) {
        const int v = surface.getTriangles()[i / 3][i % 3];
        if (v < numUncut || moved.test(v))
            continue;
        moved.set(v);
        float& x = surface.getVertices()[v].x;
        int& count =
            numCopies[static_cast<std::size_t>(uncut[static_cast<std::size_t>(i / 3)][i % 3])];
        ++count;
        for (int step = 0; step < count; ++step)
            x = std::nextafter(x, x > 0 ? 0.0F : 1.0F);
    }
}

/// Gives `mesh` the UVs of `surface`, which has the same triangles. A vertex with several of them
/// gets copies behind the last vertex.
void takeUVs(const CompactMesh& surface, CompactMesh& mesh) {
    std::vector<int> uvOf(static_cast<std::size_t>(mesh.getNumVertices()), -1);
    std::map<std::pair<int, int>, int> copies; // by the vertices in both
    std::vector<int> copyOf;
    const int numVertices = mesh.getNumVertices();
    for (int i = 0; i < 3 * mesh.getNumTriangles(); ++i) {
        int& v = mesh.getTriangles()[i / 3][i % 3];
        const int source = surface.getTriangles()[i / 3][i % 3];
        int& first = uvOf[static_cast<std::size_t>(v)];
        if (first < 0)
            first = source;
        if (first == source)
            continue;
        const auto [found, isNew] =
            copies.try_emplace({v, source}, numVertices + static_cast<int>(copyOf.size()));
        if (isNew)
            copyOf.push_back(v);
        v = found->second;
    }

    mesh.resizeVertexArray(numVertices + static_cast<int>(copyOf.size()));
    for (std::size_t i = 0; i < copyOf.size(); ++i) {
        const int copy = numVertices + static_cast<int>(i);
        mesh.getVertices()[copy] = mesh.getVertices()[copyOf[i]];
        if (mesh.getNormals())
            mesh.getNormals()[copy] = mesh.getNormals()[copyOf[i]];
    }
    mesh.deleteUVs();
    mesh.allocUVArray();
    for (int i = 0; i < 3 * mesh.getNumTriangles(); ++i) {
        mesh.getUVs()[mesh.getTriangles()[i / 3][i % 3]] =
            surface.getUVs()[surface.getTriangles()[i / 3][i % 3]];
    }
}

class Flatten final : public Command {
public:
    Flatten()
        : Command("flatten", "Lay a surface out in the plane, for texture coordinates",
                  "  qvmesh flatten scan.ply -o flat.obj\n"
                  "  qvmesh flatten scan.ply -o flat.obj --picture layout.png\n") {}

    void declareArguments(CLI::App& app) override {
        input_.declare(app, "mesh");
        output_.declare(app, OutputMesh::Formats::WithUVs);
        app.add_flag("--no-cut", noCut_, "Refuse what is closed or has handles, not cut it open");
        app.add_flag("--no-compact", noCompact_,
                     "Keep vertices at the same place apart, as along a seam");
        picture_.declare(app, "--picture", "Picture of the layout", "png");
    }

    void run(Job& job) override {
        output_.prepare(job);
        picture_.prepare(job);
        picture_.keepApartFrom(input_.path());
        job.report().setFiles(input_.path(), output_.path());

        CompactMesh mesh;
        input_.read(job, 0.1, mesh);
        if (!noCompact_)
            weldSoup(mesh, job, 0.05);
        CompactMesh surface = bareSurface(mesh);
        if (!noCompact_)
            job.stage("weld", 0.05,
                      [&](qvUtil::Progress& progress) { qvGeom::meshCompact(surface, progress); });
        const MeshFacts facts(surface, job, 0.05);
        check(surface, facts);
        if (mustBeCut(facts))
            job.stage("cut", 0.05, [&](qvUtil::Progress&) { cutOpen(surface); });
        job.stage("flatten", 0.55, [&](qvUtil::Progress& progress) { flatten(surface, progress); });

        const int numVertices = mesh.getNumVertices();
        takeUVs(surface, mesh);
        Facts found = {countFact("vertices", "vertices", mesh.getNumVertices()),
                       countFact("triangles", "triangles", mesh.getNumTriangles()),
                       countFact("copies", "copies of vertices along the cut",
                                 mesh.getNumVertices() - numVertices)};
        const Facts layout = describe(LayoutFacts(surface));
        found.insert(found.end(), layout.begin(), layout.end());
        job.report().add(found);
        picture_.store(job, 0.05,
                       [&](const OutputFile& file) { file.write(writePng(drawStretch(surface))); });
        output_.write(job, 0.1, mesh);
        picture_.commit();
    }

private:
    /// Throws Failure when the surface cannot be laid out in one piece.
    void check(const CompactMesh& surface, const MeshFacts& facts) const {
        const auto refuse = [this](const std::string& reason) {
            throw Failure(input_.path() + " cannot be flattened: " + reason);
        };
        for (int t = 0; t < surface.getNumTriangles(); ++t) {
            if (!hasDistinctCorners(surface.getTriangles()[t]))
                refuse("triangle " + std::to_string(t) + " has two corners at the same place");
        }
        if (facts.surface.numNonManifoldEdges > 0)
            refuse("it has edges of three or more triangles");
        if (!facts.surface.isOriented())
            refuse("its triangles are not wound alike ('qvmesh orient' may help)");
        if (facts.numComponents > 1)
            refuse("it is of " + std::to_string(facts.numComponents) + " pieces");
        if (facts.surface.numPinchedVertices > 0)
            refuse("triangles touch in single vertices");
        if (noCut_ && mustBeCut(facts))
            refuse("it would have to be cut open, as it " +
                   std::string(facts.loopLengths.empty() ? "is closed" : "has handles"));
    }

    /// Cutting and welding are done with, so that the UVs tell the sides of the cut apart.
    void flatten(CompactMesh& surface, qvUtil::Progress& progress) const {
        qvGeom::reparameterizeMesh flattening(surface);
        flattening.enableMeshCutSurface(false);
        flattening.enableMeshCompact(false);
        const MessageListener listener;
        if (flattening.flatten(progress) || progress.cancelled())
            return;
        throw Failure(input_.path() + " cannot be flattened: " +
                      (listener.heardErrors() ? listener.errors() : "'--verbose' tells why"));
    }

    InputMesh input_;
    OutputMesh output_;
    OutputOption picture_;
    bool noCut_ = false;
    bool noCompact_ = false;
};

Flatten flatten;

} // namespace
} // namespace qvmesh
