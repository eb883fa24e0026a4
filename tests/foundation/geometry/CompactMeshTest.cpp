#include "qvGeom/foundation/geometry/CompactMesh.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <limits>
#include <string>

#include "qvGeom/foundation/geometry/MeshModification.h"

#include "support/MeshBuilders.h"

namespace {

using qvGeom::CompactMesh;
using qvGeom::MeshModification;
using qvGeom::PointMesh;

/// Lets `heard` say from now on what the mesh announces, in order.
void listenTo(const CompactMesh& mesh, std::string& heard) {
    mesh.getModifiedSignal().addCallback(
        [](void* user, qvRTB::EntityModification& notice) {
            *static_cast<std::string*>(user) += notice.getEntity() ? "modified " : "nobody ";
        },
        &heard);
    mesh.getDestroyedSignal().addCallback(
        [](void* user, qvRTB::Entity* entity) {
            const auto* const dying = dynamic_cast<CompactMesh*>(entity); // null once half gone
            *static_cast<std::string*>(user) +=
                dying ? "destroyed with " + std::to_string(dying->getNumTriangles()) : "half gone";
        },
        &heard);
}

CompactMesh meshWithChannels() {
    CompactMesh mesh = test::strip(2);
    mesh.allocNormalArray()[3] = {0, 0, 1};
    mesh.allocUVArray()[3] = {0.25F, 0.5F};
    mesh.allocSTArray()[3] = {0.125F, 1};
    mesh.allocColourArray()[3] = {1, 2, 3, 4};
    mesh.allocTriangleNormalArray()[1] = {0, 1, 0};
    mesh.setNormalsComputed(true);
    mesh.getSelectedVertices() = test::selectionOf(4, {2});
    mesh.getSelectedTriangles() = test::selectionOf(2, {1});
    mesh.allocAttributes("heat", 4)->getValues()[3] = 7;
    return mesh;
}

TEST(CompactMesh, channelsFollowTheirElements) {
    CompactMesh mesh = meshWithChannels();
    mesh.resizeVertexArray(6);
    mesh.resizeTriangleArray(3);
    EXPECT_TRUE(mesh.getNormals()[3].z == 1 && mesh.getUVs()[3].v == 0.5F);
    EXPECT_TRUE(mesh.getSTs()[3].t == 1 && mesh.getSTs()[5].t == 0);
    EXPECT_TRUE(mesh.getColours()[3].a == 4 && mesh.getColours()[5].a == 0);
    EXPECT_TRUE(mesh.getTriangleNormals()[1].y == 1 && mesh.getTriangleNormals()[2].y == 0);
    EXPECT_EQ(mesh.getSelectedVertices().size(), 4);
    EXPECT_EQ(mesh.getAttributes("heat")->getNumElements(), 4);
    mesh.resizeVertexArray(0);
    EXPECT_FALSE(mesh.getNormals() || mesh.getUVs() || mesh.getSTs() || mesh.getColours());
}

TEST(CompactMesh, copiesIntoItsBlocksAndFromItself) {
    CompactMesh mesh = test::strip(2);
    const qvGeom::MeshVertex* const vertices = mesh.getVertices();
    const qvGeom::MeshTriangle* const triangles = mesh.getTriangles();
    const CompactMesh other = test::grid(1, 1);
    mesh.copyVertices(4, other.getVertices());
    mesh.copyTriangles(2, other.getTrianglesRaw());
    EXPECT_TRUE(mesh.getVertices() == vertices && mesh.getTriangles() == triangles);
    EXPECT_TRUE(vertices[3].x == 1 && vertices[3].y == 1 && triangles[1][2] == 2);
    mesh = test::strip(2);
    mesh.copyVertices(3, mesh.getVertices() + 1);
    mesh.copyTriangles(1, mesh.getTrianglesRaw() + 3);
    EXPECT_TRUE(mesh.getNumVertices() == 3 && mesh.getVertices()[0].y == 1);
    EXPECT_TRUE(mesh.getNumTriangles() == 1 && mesh.getTriangles()[0][0] == 2);
}

TEST(CompactMesh, copyAssignAndSwapMoveDataButNotListeners) {
    std::string heard;
    {
        CompactMesh first = meshWithChannels();
        CompactMesh second = test::bowTie();
        listenTo(first, heard);
        CompactMesh copy = first;
        second.swap(copy);
        copy = second;
        first.swap(second);
        EXPECT_EQ(copy.getSelectedTriangles(), test::selectionOf(2, {1}));
        EXPECT_TRUE(copy.getNormalsComputed() && copy.getColours()[3].a == 4);
        EXPECT_TRUE(copy.getTriangleNormals()[1].y == 1);
        EXPECT_EQ(copy.getAttributes("heat")->getValues()[3], 7);
        EXPECT_EQ(heard, "");
        for (CompactMesh* const mesh : {&second, &copy, &first}) {
            MeshModification notice(mesh, MeshModification::Geometry);
            mesh->modified(notice);
        }
    }
    EXPECT_EQ(heard, "modified destroyed with 2");
}

TEST(CompactMesh, derivesLineStripStartsAnewWhenAsked) {
    CompactMesh mesh;
    mesh.resizeLineStripArrays(3, 7);
    const int lengths[] = {2, 4, 1};
    std::copy_n(lengths, 3, mesh.getLineStripLengths());
    EXPECT_EQ(mesh.getLineStripStarts()[2], 6);
    mesh.getLineStripLengths()[1] = 3;
    mesh.clearLineStripStarts();
    EXPECT_EQ(mesh.getLineStripStarts()[2], 5);
}

TEST(PointMesh, keepsNamedAttributesApart) {
    PointMesh mesh;
    EXPECT_EQ(mesh.allocAttributes(PointMesh::NormalsName, 3), nullptr);
    qvGeom::MeshAttributes* const heat = mesh.allocAttributes("heat", 3);
    mesh.allocAttributes("age", 1);
    heat->getValues()[1] = 5;
    heat->getValues()[2] = std::numeric_limits<float>::quiet_NaN();
    float smallest = -1, largest = -1;
    heat->getRange(smallest, largest);
    EXPECT_TRUE(smallest == 0 && largest == 5);
    EXPECT_EQ(mesh.allocAttributes("heat", 2), heat);
    EXPECT_EQ(heat->getNumElements(), 2);
    mesh.deleteAttributes("heat");
    EXPECT_EQ(mesh.getAttributes("heat"), nullptr);
    EXPECT_EQ(mesh.getAttributes(0)->getName(), "age");
}

} // namespace
