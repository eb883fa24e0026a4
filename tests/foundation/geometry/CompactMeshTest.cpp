#include "qvGeom/foundation/geometry/CompactMesh.h"

#include <gtest/gtest.h>

#include "support/HeardNotices.h"
#include "support/MeshBuilders.h"

namespace qvGeom {
namespace {

CompactMesh meshWithChannels() {
    CompactMesh mesh = test::strip(2);
    mesh.allocNormalArray()[3] = {0, 0, 1};
    mesh.allocUVArray()[3] = {0.25F, 0.5F};
    mesh.allocSTArray()[3] = {0.125F, 1};
    mesh.allocColourArray()[3] = {1, 2, 3, 4};
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
    EXPECT_EQ(mesh.getSelectedVertices().size(), 4);
    EXPECT_EQ(mesh.getAttributes("heat")->getNumElements(), 4);
    mesh.resizeVertexArray(0);
    EXPECT_FALSE(mesh.getNormals() || mesh.getUVs() || mesh.getSTs() || mesh.getColours());
}

TEST(CompactMesh, copyAssignAndSwapMoveDataButNotListeners) {
    int numTrianglesAtDeath = -1;
    {
        CompactMesh first = meshWithChannels();
        CompactMesh second = test::bowTie();
        test::HeardNotices notices(first);
        first.getDestroyedSignal().addCallback(
            [](void* user, qvRTB::Entity* entity) { // not a mesh once half gone
                *static_cast<int*>(user) = dynamic_cast<CompactMesh&>(*entity).getNumTriangles();
            },
            &numTrianglesAtDeath);
        CompactMesh copy = first;
        second.swap(copy);
        copy = second;
        first.swap(second);
        EXPECT_EQ(copy.getSelectedTriangles(), test::selectionOf(2, {1}));
        EXPECT_TRUE(copy.getNormalsComputed() && copy.getColours()[3].a == 4);
        EXPECT_EQ(copy.getAttributes("heat")->getValues()[3], 7);
        for (CompactMesh* const mesh : {&second, &copy, &first}) {
            EXPECT_EQ(notices.take(), "");
            MeshModification notice(mesh, MeshModification::Geometry);
            mesh->modified(notice);
        }
        EXPECT_EQ(notices.take(), "Geometry;");
    }
    EXPECT_EQ(numTrianglesAtDeath, 2);
}

TEST(PointMesh, keepsNamedAttributesApart) {
    PointMesh mesh;
    EXPECT_EQ(mesh.allocAttributes(PointMesh::NormalsName, 3), nullptr);
    MeshAttributes* const heat = mesh.allocAttributes("heat", 3);
    mesh.allocAttributes("age", 1);
    EXPECT_TRUE(mesh.allocAttributes("heat", 2) == heat && heat->getNumElements() == 2);
    mesh.deleteAttributes("heat");
    EXPECT_TRUE(!mesh.getAttributes("heat") && mesh.getAttributes(0)->getName() == "age");
}

} // namespace
} // namespace qvGeom
