#include "qvGeom/foundation/geometry/TopoMesh.h"

#include <gtest/gtest.h>
#include <random>
#include <vector>

#include "support/TopoMeshCheck.h"

namespace {

using qvGeom::TopoMesh;
using qvGeom::TopoMeshEdge;
using qvGeom::TopoMeshFace;
using qvGeom::TopoMeshVertex;
using Face = std::vector<int>;

TopoMesh meshOf(int numVertices, const std::vector<Face>& faces) {
    TopoMesh mesh;
    for (int v = 0; v < numVertices; ++v)
        mesh.allocVertex({1.0 * v, 1.0 * v * v, 0});
    for (const Face& face : faces)
        mesh.allocFace(face.data(), static_cast<int>(face.size()));
    return mesh;
}

/// Polygons between random vertices. With few of those, edges with many faces, faces that repeat a
/// vertex, same-way duplicates and several fans at a vertex all occur.
std::vector<Face> randomFaces(std::mt19937& random, int numVertices, int numFaces, int maxCorners) {
    std::vector<Face> faces(static_cast<std::size_t>(numFaces));
    for (Face& face : faces) {
        face.resize(3 + random() % static_cast<unsigned>(maxCorners - 2));
        for (int& corner : face)
            corner = static_cast<int>(random() % static_cast<unsigned>(numVertices));
    }
    return faces;
}

std::vector<int> edgesByScan(const TopoMesh& mesh, int a, int b) {
    std::vector<int> edges;
    for (int e = mesh.nextEdge(-1); e >= 0; e = mesh.nextEdge(e)) {
        if (mesh.edgeVertex(e) == a && mesh.edgeEndVertex(e) == b)
            edges.push_back(e);
    }
    return edges;
}

TEST(TopoMesh, walksItsRings) {
    TopoMesh mesh = meshOf(6, {{0, 1, 2, 3}, {2, 1, 4}});
    meshTwin(mesh);
    const TopoMeshFace quad = mesh.firstFace();
    EXPECT_EQ(quad.centroid(), (qvLinear::Point{1.5, 3.5, 0}));
    EXPECT_TRUE(quad.adjacent(quad.next()) && !quad.adjacent(quad));
    const TopoMeshEdge shared = mesh.findEdge({&mesh, 1}, {&mesh, 2});
    EXPECT_EQ(shared.face(), quad);
    EXPECT_EQ(shared.twin().prev().vertex().id, 4);
    EXPECT_TRUE(TopoMeshVertex({&mesh, 4}).adjacent({&mesh, 1}));
    EXPECT_FALSE(TopoMeshVertex({&mesh, 4}).adjacent({&mesh, 3}));
}

TEST(TopoMesh, refusesWhatIsNoPolygonAndAnswersForNullHandles) {
    TopoMesh mesh = meshOf(3, {});
    TopoMesh other = meshOf(3, {});
    const TopoMeshVertex v = mesh.firstVertex();
    EXPECT_TRUE(mesh.allocFace({v, v.next()}).isNull());
    EXPECT_TRUE(mesh.allocTriangle(v, v.next(), other.firstVertex()).isNull());
    EXPECT_EQ(mesh.numFaces() + mesh.numEdges(), 0);

    EXPECT_TRUE(TopoMeshEdge().twin().next().prev().nextInList().face().firstEdge().isNull());
    EXPECT_EQ(v.valence() + TopoMeshVertex().valence() + TopoMeshFace().numVertices(), 0);
    EXPECT_FALSE(v.onBoundary() || v.adjacent({}) || mesh.swapEdge(TopoMeshEdge()));

    // Both sides of its edge are in one triangle: a cut would leave an edge from a vertex to
    // itself.
    TopoMesh folded = meshOf(2, {{0, 1, 0}});
    meshTwin(folded);
    EXPECT_TRUE(folded.splitEdge(folded.firstEdge(), {0, 0, 0}).isNull());
}

TEST(TopoMesh, agreesWithAScanOfAllEdgesOnAnyPolygons) {
    std::mt19937 random(1);
    for (int round = 0; round < 300; ++round) {
        SCOPED_TRACE(round);
        const int numVertices = 3 + round % 12;
        TopoMesh mesh = meshOf(numVertices, randomFaces(random, numVertices, round % 20, 6));
        meshTwin(mesh);
        ASSERT_EQ(test::faultOf(mesh), "");
        for (int a = 0; a < numVertices; ++a) {
            int valence = 0;
            bool onBoundary = false;
            for (int b = 0; b < numVertices; ++b) {
                const std::vector<int> there = edgesByScan(mesh, a, b);
                const std::vector<int> back = edgesByScan(mesh, b, a);
                EXPECT_EQ(mesh.findEdge(a, b), there.empty() ? -1 : there[0]);
                valence += a != b && there.size() + back.size() > 0;
                onBoundary |= a == b ? !there.empty() : there.size() != back.size();
                // Twins pair up first with first, second with second.
                for (std::size_t i = 0; i < there.size(); ++i)
                    EXPECT_EQ(mesh.edgeTwin(there[i]), a != b && i < back.size() ? back[i] : -1);
            }
            EXPECT_EQ(mesh.vertexValence(a), valence) << a;
            EXPECT_EQ(mesh.vertexOnBoundary(a), onBoundary) << a;
        }
    }
}

TEST(MeshTwin, keepsTwinsThatWereSet) {
    TopoMesh mesh = meshOf(5, {{0, 1, 2}, {1, 0, 3}, {1, 0, 4}});
    const TopoMeshEdge first = mesh.firstEdge();
    const TopoMeshEdge second = {&mesh, 3};
    const TopoMeshEdge third = {&mesh, 6};
    EXPECT_FALSE(mesh.setTwins(first, first.next()) || mesh.setTwins(second, third));
    EXPECT_TRUE(mesh.setTwins(first, third));
    meshTwin(mesh);
    EXPECT_EQ(first.twin(), third);
    EXPECT_TRUE(second.twin().isNull());
    EXPECT_TRUE(mesh.setTwins(second, first));
    EXPECT_TRUE(third.twin().isNull());
    EXPECT_EQ(test::faultOf(mesh), "");
}

// Around a hub, each spoke searched or unlinked among all the others would cost quadratic time.
TEST(MeshTwin, isQuickAroundAHub) {
    const int numSpokes = 300000;
    TopoMesh mesh = meshOf(numSpokes + 1, {});
    for (int v = 1; v <= numSpokes; ++v)
        mesh.allocTriangle({&mesh, 0}, {&mesh, v}, {&mesh, v % numSpokes + 1});
    meshTwin(mesh);
    for (int v = 2; v + 1 < numSpokes; ++v)
        ASSERT_TRUE(mesh.swapEdge(mesh.findEdge(0, v))) << v;
    EXPECT_EQ(mesh.vertexValence(0), 3);
}

} // namespace
