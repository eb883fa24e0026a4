#include "qvGeom/editing/GeomConvertRep.h"

#include <algorithm>
#include <array>
#include <gtest/gtest.h>

#include "support/Adjacency.h"
#include "support/TopoMeshCheck.h"

namespace qvGeom {
namespace {

/// A grid of 4 x 4 squares with every channel and lines, of which the triangles around vertex 12,
/// the middle, and those around them are selected.
struct Grid {
    Grid() : mesh(test::grid(4, 4)) {
        for (int v = 0; v < mesh.getNumVertices(); ++v) {
            const auto value = static_cast<float>(v);
            mesh.allocNormalArray()[v] = {value, 0, 1};
            mesh.allocUVArray()[v] = {value, 0};
            mesh.allocColourArray()[v] = {static_cast<unsigned char>(v), 0, 0, 0};
        }
        mesh.allocTriangleNormalArray();
        mesh.resizeLineArray(2);
        mesh.resizeLineStripArrays(2, 5);
        std::ranges::copy(std::array{11, 12, 20, 24}, mesh.getLines());
        std::ranges::copy(std::array{12, 13, 24, 0, 20}, mesh.getLineStripPoints());
        std::ranges::copy(std::array{2, 3}, mesh.getLineStripLengths());
        adjTris = test::adjTrisOf(mesh);
        mesh.getSelectedTriangles().resize(mesh.getNumTriangles());
        mesh.getSelectedVertices().resize(mesh.getNumVertices());
        for (const int* t = adjTris.begin(12); t != adjTris.end(12); ++t) {
            for (const int v : mesh.getTriangles()[*t].v)
                mesh.getSelectedTriangles().setBits(adjTris.setSize(v), adjTris.begin(v));
        }
    }

    CompactMesh mesh;
    MeshAdjTris adjTris;
};

/// Checks that each old triangle with a new number has its old corners there, in their order, and
/// returns how many have none.
int lostTriangles(const CompactMesh& before, const CompactMesh& after, const Array<int>& vertices,
                  const Array<int>& triangles) {
    int lost = 0;
    for (int t = 0; t < before.getNumTriangles(); ++t) {
        lost += triangles[t] < 0;
        for (int c = 0; c < 3 && triangles[t] >= 0; ++c)
            EXPECT_EQ(after.getTriangles()[triangles[t]][c], vertices[before.getTriangles()[t][c]]);
    }
    return lost;
}

TEST(MeshModifyRep, writesBackADeletedVertexWithAllThatBelongsToIt) {
    const Grid before;
    Grid after;
    MeshModifyRep rep(after.mesh, after.adjTris);
    EXPECT_EQ(test::faultOf(rep.getTopoMesh()), "");
    EXPECT_EQ(rep.getTopoMesh().numFaces(), after.mesh.getSelectedTriangles().numSetBits());
    EXPECT_TRUE(rep.getTopoMeshVertex(4).isNull());
    const TopoMeshVertex middle = rep.getTopoMeshVertex(12);
    EXPECT_EQ(rep.getMeshVertex(middle), 12);
    rep.removeVertex(rep.getTopoMeshVertex(2)); // has triangles outside
    rep.removeVertex(middle);
    ASSERT_FALSE(rep.getTopoMesh().deleteVertex(middle).isNull());

    Array<int> vertices, triangles;
    rep.merge(vertices, &triangles);
    const CompactMesh& mesh = after.mesh;
    ASSERT_EQ(mesh.getNumVertices(), 24);
    EXPECT_EQ(mesh.getNumTriangles(), before.mesh.getNumTriangles() - 2); // a hexagon, now a fan
    EXPECT_EQ(lostTriangles(before.mesh, mesh, vertices, triangles), 6);
    for (int v = 0; v < 24; ++v) {
        const int old = v < 12 ? v : v + 1;
        EXPECT_EQ(vertices[old], v);
        EXPECT_EQ(mesh.getVertices()[v].x, before.mesh.getVertices()[old].x);
        EXPECT_EQ(mesh.getNormals()[v].x, old);
        EXPECT_EQ(mesh.getUVs()[v].u, old);
        EXPECT_EQ(mesh.getColours()[v].r, old);
    }
    EXPECT_EQ(vertices[12], -1);
    ASSERT_TRUE(mesh.getNumLines() == 1 && mesh.getNumLineStripPoints() == 3);
    EXPECT_TRUE(mesh.getLines()[1] == 23 && mesh.getLineStripPoints()[0] == 23);
    EXPECT_EQ(mesh.getTriangleNormals(), nullptr);
    EXPECT_EQ(mesh.getSelectedTriangles().size(), 0);
}

// Catches a restored triangle that begins with another corner, and a kept vertex taken for deleted.
TEST(MeshModifyRep, putsRestoredTrianglesBackAsTheyWere) {
    const Grid before;
    Grid after;
    MeshModifyRep rep(after.mesh, after.adjTris);
    TopoMesh& topo = rep.getTopoMesh();
    const TopoMeshVertex middle = rep.getTopoMeshVertex(12);
    rep.removeVertex(middle);
    const qvLinear::Point point = middle.point();
    rep.restoreVertex(12, topo.subdivideFace(topo.deleteVertex(middle), point));
    EXPECT_EQ(rep.getMeshVertex(rep.getTopoMeshVertex(12)), 12);
    const TopoMeshVertex added = topo.subdivideFace(topo.firstFace(), {9, 9, 9});
    EXPECT_EQ(rep.getMeshVertex(added), -1);

    Array<int> vertices, triangles;
    rep.merge(vertices, &triangles);
    EXPECT_EQ(lostTriangles(before.mesh, after.mesh, vertices, triangles), 1);
    EXPECT_EQ(after.mesh.getNumVertices(), 26);
    EXPECT_EQ(after.mesh.getVertices()[25].x, 9);
    for (int t = 0, next = 0; t < triangles.size(); ++t) {
        const bool isOutside = !before.mesh.getSelectedTriangles().test(t);
        EXPECT_TRUE(!isOutside || triangles[t] == next++) << t << " is not in front";
    }
}

} // namespace
} // namespace qvGeom
