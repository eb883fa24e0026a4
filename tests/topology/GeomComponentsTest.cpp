#include "qvGeom/topology/GeomComponents.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <map>

#include "qvGeom/foundation/geometry/TopoMesh.h"

#include "support/Adjacency.h"
#include "support/CapturedOutput.h"

namespace {

using qvGeom::CompactMesh;

/// Lowers the label of whole triangles until nothing changes, then renames the labels in order.
int relabelledComponents(const CompactMesh& mesh, std::vector<int>& component) {
    const int numTriangles = mesh.getNumTriangles();
    std::vector<int> label(mesh.getNumVertices(), numTriangles); // the lowest triangle in the end
    std::map<int, int> number;
    for (bool changed = true; changed;) {
        changed = false;
        for (int t = 0; t < numTriangles; ++t) {
            const auto [a, b, c] = mesh.getTriangles()[t].v;
            const int lowest = std::min({t, label[a], label[b], label[c]});
            changed |= label[a] != lowest || label[b] != lowest || label[c] != lowest;
            label[a] = label[b] = label[c] = lowest;
        }
    }
    for (int t = 0; t < numTriangles; ++t)
        number.try_emplace(label[mesh.getTriangles()[t][0]], static_cast<int>(number.size()));
    component.clear();
    for (const int l : label)
        component.push_back(number.contains(l) ? number[l] : -1);
    return static_cast<int>(number.size());
}

TEST(MeshComponents, numbersByLowestTriangle) {
    std::vector<CompactMesh> meshes{CompactMesh(), test::pointsAlongX(3),
                                    test::shuffled(test::grid(9, 7), 2)};
    for (int seed = 0; seed < 100; ++seed)
        meshes.push_back(test::randomMesh(seed, 1 + seed, 1 + seed / 3));
    for (const CompactMesh& mesh : meshes) {
        SCOPED_TRACE(&mesh - meshes.data());
        std::vector<int> expected;
        const int count = relabelledComponents(mesh, expected);
        qvGeom::Array<int> component(2);
        EXPECT_EQ(meshComponents(mesh, test::adjTrisOf(mesh), &component), count);
        EXPECT_EQ(std::vector<int>(component.begin(), component.end()), expected);
        EXPECT_EQ(meshComponents(mesh, test::adjTrisOf(mesh), nullptr), count);

        qvGeom::TopoMesh faces;
        for (int v = 0; v < mesh.getNumVertices(); ++v)
            faces.allocVertex({0, 0, 0});
        for (int t = 0; t < mesh.getNumTriangles(); ++t)
            faces.allocFace(mesh.getTriangles()[t].v, 3);
        EXPECT_EQ(meshComponents(faces), count);
    }
}

TEST(MeshComponents, printsItsLines) {
    const test::CapturedOutput output;
    const CompactMesh soup = test::soupOf(test::grid(2, 1));
    meshComponents(soup, test::adjTrisOf(soup), nullptr);
    EXPECT_EQ(output.debugWithoutSeconds(), "MeshAdjTris: 12 vertices 4 triangles S\n"
                                            "meshComponents(): 4 triangles\n"
                                            "   4 components: S s\n");
}

} // namespace
