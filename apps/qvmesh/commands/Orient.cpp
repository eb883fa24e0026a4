#include <CLI/CLI.hpp>
#include <algorithm>
#include <vector>

#include "qvGeom/foundation/geometry/Array.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/MeshAdjTris.h"
#include "qvGeom/topology/GeomAdjacency.h"
#include "qvGeom/topology/GeomComponents.h"
#include "qvGeom/topology/GeomOrientation.h"

#include "qvmesh/Job.h"
#include "qvmesh/MeshEdit.h"
#include "qvmesh/MeshFacts.h"

namespace qvmesh {
namespace {

using qvGeom::CompactMesh;

/// Orients the components of a mesh one by one; those that cannot be stay as they are. Triangles
/// with one vertex at two corners count for nothing: they have no side.
class ComponentOrienter {
public:
    struct Component {
        std::vector<int> triangles; // of the mesh
        int numFlipped = 0;
        bool isOriented = false;
    };

    explicit ComponentOrienter(CompactMesh& mesh)
        : mesh_(mesh),
          localVertex_(static_cast<std::size_t>(mesh.getNumVertices()), -1) {
        qvGeom::MeshAdjTris adjTris;
        qvGeom::meshAdjTris(mesh, adjTris);
        qvGeom::Array<int> componentOf;
        components_.resize(
            static_cast<std::size_t>(qvGeom::meshComponents(mesh, adjTris, &componentOf)));
        for (int t = 0; t < mesh.getNumTriangles(); ++t) {
            const qvGeom::MeshTriangle& triangle = mesh.getTriangles()[t];
            const int component = componentOf[triangle[0]];
            if (hasDistinctCorners(triangle))
                components_[static_cast<std::size_t>(component)].triangles.push_back(t);
        }
        std::erase_if(components_, [](const Component& c) { return c.triangles.empty(); });
    }

    /// In the order of their first triangles.
    std::vector<Component> run() {
        for (Component& component : components_)
            orient(component);
        return std::move(components_);
    }

private:
    void orient(Component& component) {
        CompactMesh part = extract(component.triangles);
        qvGeom::MeshAdjTris adjTris;
        qvGeom::meshAdjTris(part, adjTris);
        const CompactMesh before = part;
        component.isOriented = qvGeom::meshMakeOriented(part, adjTris);
        if (!component.isOriented)
            return;
        for (int i = 0; i < part.getNumTriangles(); ++i) {
            if (part.getTriangles()[i][1] == before.getTriangles()[i][1])
                continue;
            qvGeom::MeshTriangle& triangle =
                mesh_.getTriangles()[component.triangles[static_cast<std::size_t>(i)]];
            std::swap(triangle[1], triangle[2]);
            ++component.numFlipped;
        }
    }

    /// The component alone: as many vertices as it uses, at no place, and its triangles.
    CompactMesh extract(const std::vector<int>& triangles) {
        int numVertices = 0;
        CompactMesh part;
        part.resizeTriangleArray(static_cast<int>(triangles.size()));
        for (int i = 0; i < part.getNumTriangles(); ++i) {
            for (int k = 0; k < 3; ++k) {
                int& local = localVertex_[static_cast<std::size_t>(
                    mesh_.getTriangles()[triangles[static_cast<std::size_t>(i)]][k])];
                if (local < 0) // no other component has this vertex
                    local = numVertices++;
                part.getTriangles()[i][k] = local;
            }
        }
        part.resizeVertexArray(numVertices);
        return part;
    }

    CompactMesh& mesh_;
    std::vector<int> localVertex_;
    std::vector<Component> components_;
};

using Component = ComponentOrienter::Component;

std::vector<Facts> describe(const std::vector<Component>& components) {
    std::vector<Facts> rows;
    rows.reserve(components.size());
    for (const auto& [triangles, numFlipped, isOriented] : components) {
        rows.push_back({countFact("firstTriangle", "first triangle", triangles.front()),
                        countFact("triangles", "triangles", std::ssize(triangles)),
                        countFact("flipped", "flipped", numFlipped),
                        truthFact("oriented", "could be oriented", isOriented)});
    }
    return rows;
}

class Orient final : public MeshEdit {
public:
    Orient()
        : MeshEdit("orient", "Wind the triangles of every component alike",
                   "  qvmesh orient part.stl -o oriented.ply\n"
                   "  qvmesh orient part.ply -o inside_out.ply --reverse\n") {}

    void declareOptions(CLI::App& app) override {
        app.add_flag("--reverse", reverse_, "Then turn all triangles and normals over");
    }

    void edit(Job& job, CompactMesh& mesh) override {
        weldSoup(mesh, job, 0.1);
        std::vector<Component> components;
        job.stage("orient", 0.2,
                  [&](qvUtil::Progress&) { components = ComponentOrienter(mesh).run(); });
        if (reverse_)
            qvGeom::meshReverseWinding(mesh, true);
        const MeshFacts after(mesh, job, 0.2);

        std::int64_t numFlipped = 0;
        for (const Component& component : components)
            numFlipped += component.numFlipped;
        // Those that could not be are what one looks for.
        const auto firstOriented = std::stable_partition(
            components.begin(), components.end(), [](const Component& c) { return !c.isOriented; });
        Report& report = job.report();
        report.add({countFact("orientedComponents", "components oriented",
                              components.end() - firstOriented),
                    countFact("unorientableComponents", "components that could not be",
                              firstOriented - components.begin()),
                    countFact("flippedTriangles", "triangles flipped", numFlipped)});
        report.addRows("componentList", describe(components));
        report.add(qvmesh::describe(after));
    }

private:
    bool reverse_ = false;
};

Orient orient;

} // namespace
} // namespace qvmesh
