#include "qvGeom/foundation/geometry/CompactMesh.h"

#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <vector>

#include "qvGeom/foundation/geometry/MeshModification.h"
#include "qvGeom/foundation/linear/Range.h"

#include "support/MeshBuilders.h"

namespace {

using qvGeom::CompactMesh;
using qvGeom::MeshModification;
using qvGeom::PointMesh;

/// Writes down what a mesh says, in order.
class Listener : public qvRTB::SignalClient {
public:
    void listenTo(const CompactMesh& mesh) {
        using qvRTB::FunctionArgMember;
        mesh.getModifiedSignal().addCallback(
            *this,
            FunctionArgMember<Listener, qvRTB::EntityModification&>(this, &Listener::onModified));
        mesh.getDestroyedSignal().addCallback(
            *this, FunctionArgMember<Listener, qvRTB::Entity*>(this, &Listener::onDestroyed));
    }

    std::string heard;

private:
    void onModified(qvRTB::EntityModification& notice) {
        heard += notice.getEntity() ? "modified " : "nobody ";
    }

    void onDestroyed(qvRTB::Entity* entity) {
        const auto* const mesh =
            dynamic_cast<CompactMesh*>(entity); // null once the mesh is half gone
        heard += mesh ? "destroyed with " + std::to_string(mesh->getNumTriangles()) + " triangles"
                      : "half gone";
    }
};

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

TEST(CompactMesh, channelsAreNullUntilMade) {
    CompactMesh mesh;
    EXPECT_FALSE(mesh.getVertices() || mesh.getNormals() || mesh.getUVs() || mesh.getSTs() ||
                 mesh.getColours());
    EXPECT_FALSE(mesh.getTriangles() || mesh.getTriangleNormals() || mesh.getTriStripPoints() ||
                 mesh.getLines());
    EXPECT_EQ(mesh.getSelectedVertices().size(), 0);
    mesh = test::strip(1);
    EXPECT_EQ(mesh.getNormals(), nullptr);
    const qvGeom::MeshNormal* const made = mesh.allocNormalArray();
    EXPECT_EQ(mesh.getNormals(), made);
    EXPECT_EQ(static_cast<void*>(mesh.getNormalsRaw()), static_cast<void*>(mesh.getNormals()));
    mesh.deleteNormals();
    EXPECT_EQ(mesh.getNormals(), nullptr);
}

TEST(CompactMesh, channelsFollowTheirElements) {
    CompactMesh mesh = meshWithChannels();
    mesh.resizeVertexArray(6);
    mesh.resizeTriangleArray(3);
    EXPECT_EQ(mesh.getNormals()[3].z, 1);
    EXPECT_EQ(mesh.getUVs()[3].v, 0.5F);
    EXPECT_EQ(mesh.getSTs()[3].t, 1);
    EXPECT_EQ(mesh.getColours()[3].a, 4);
    EXPECT_EQ(mesh.getColours()[5].a, 0);
    EXPECT_EQ(mesh.getTriangleNormals()[1].y, 1);
    EXPECT_EQ(mesh.getTriangleNormals()[2].y, 0);
    EXPECT_EQ(mesh.getSelectedVertices().size(), 4);
    EXPECT_EQ(mesh.getSelectedTriangles().size(), 2);
    EXPECT_EQ(mesh.getAttributes("heat")->getNumElements(), 4);
    mesh.resizeVertexArray(0);
    EXPECT_EQ(mesh.getColours(), nullptr);
}

TEST(CompactMesh, copiesFromItself) {
    CompactMesh mesh = test::strip(2);
    mesh.copyVertices(3, mesh.getVertices() + 1);
    EXPECT_EQ(mesh.getVertices()[0].y, 1);
    mesh.copyTriangles(1, mesh.getTrianglesRaw() + 3);
    EXPECT_EQ(mesh.getTriangles()[0][0], 2);
    EXPECT_EQ(mesh.getNumVertices(), 3);
    EXPECT_EQ(mesh.getNumTriangles(), 1);
}

TEST(CompactMesh, copiesOfTheSameSizeKeepTheBlocks) {
    CompactMesh mesh = test::strip(2);
    const qvGeom::MeshVertex* const vertices = mesh.getVertices();
    const qvGeom::MeshTriangle* const triangles = mesh.getTriangles();
    const CompactMesh other = test::grid(1, 1);
    mesh.copyVertices(4, other.getVertices());
    mesh.copyTriangles(2, other.getTrianglesRaw());
    EXPECT_EQ(mesh.getVertices(), vertices);
    EXPECT_EQ(mesh.getTriangles(), triangles);
    EXPECT_EQ(vertices[3].x + vertices[3].y, 2);
    EXPECT_EQ(triangles[1][2], 2);
}

TEST(CompactMesh, copyAssignAndSwapMoveDataButNotListeners) {
    CompactMesh first = meshWithChannels();
    CompactMesh second = test::bowTie();
    Listener listener;
    listener.listenTo(first);
    CompactMesh copy = first;
    first.swap(second);
    second = copy;
    EXPECT_EQ(first.getNumVertices(), 5);
    EXPECT_EQ(copy.getSelectedTriangles(), test::selectionOf(2, {1}));
    EXPECT_TRUE(copy.getNormalsComputed());
    EXPECT_EQ(copy.getAttributes("heat")->getValues()[3], 7);
    EXPECT_EQ(listener.heard, "");

    for (CompactMesh* const mesh : {&second, &copy, &first}) {
        MeshModification notice(mesh, MeshModification::Geometry);
        mesh->modified(notice);
    }
    EXPECT_EQ(listener.heard, "modified ");
}

TEST(CompactMesh, saysThatItDiesWhileStillWhole) {
    Listener listener;
    {
        CompactMesh mesh = test::bowTie();
        listener.listenTo(mesh);
    }
    EXPECT_EQ(listener.heard, "destroyed with 2 triangles");
}

TEST(CompactMesh, clearSelectionMeansNoSelection) {
    CompactMesh mesh = meshWithChannels();
    mesh.clearSelection();
    EXPECT_EQ(mesh.getSelectedVertices().size() + mesh.getSelectedTriangles().size(), 0);
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
    mesh.resizeLineArray(2);
    EXPECT_EQ(mesh.getNumLines(), 2);
}

TEST(PointMesh, keepsNamedAttributesApart) {
    PointMesh mesh;
    EXPECT_EQ(mesh.allocAttributes(PointMesh::NormalsName, 3), nullptr);
    qvGeom::MeshAttributes* const heat = mesh.allocAttributes("heat", 3);
    mesh.allocAttributes("age", 1);
    heat->getValues()[1] = 5;
    heat->getValues()[2] = std::numeric_limits<float>::quiet_NaN();
    float smallest = -1;
    float largest = -1;
    heat->getRange(smallest, largest);
    EXPECT_EQ(smallest, 0);
    EXPECT_EQ(largest, 5);
    EXPECT_EQ(mesh.allocAttributes("heat", 2), heat);
    EXPECT_EQ(heat->getNumElements(), 2);
    EXPECT_EQ(mesh.getAttributes(1)->getName(), "age");
    EXPECT_EQ(mesh.getAttributes(2), nullptr);
    EXPECT_EQ(mesh.getAttributes(-1), nullptr);
    mesh.deleteAttributes("heat");
    EXPECT_EQ(mesh.getAttributes("heat"), nullptr);
    EXPECT_EQ(mesh.getNumAttributes(), 1);
}

TEST(PointMesh, boundingBoxPassesNaNOver) {
    CompactMesh mesh = test::pointsAlongX(4);
    mesh.getVertices()[3] = {std::numeric_limits<float>::quiet_NaN(), -2, 0};
    qvLinear::Range3d range;
    mesh.getBoundingBox(range);
    EXPECT_EQ(range.min.x, 0);
    EXPECT_EQ(range.max.x, 2);
    EXPECT_EQ(range.min.y, -2);
}

TEST(MeshModification, everyFlagIsItsOwn) {
    using Set = void (MeshModification::*)();
    using Is = bool (MeshModification::*)() const;
    const std::vector<std::pair<Set, Is>> flags = {
        {&MeshModification::normalsModified, &MeshModification::isNormalsModified},
        {&MeshModification::uvsModified, &MeshModification::isUvsModified},
        {&MeshModification::stsModified, &MeshModification::isStsModified},
        {&MeshModification::triangleNormalsModified, &MeshModification::isTriangleNormalsModified},
        {&MeshModification::stripsAndFansModified, &MeshModification::isStripsAndFansModified},
        {&MeshModification::linesModified, &MeshModification::isLinesModified},
        {&MeshModification::lineStripsModified, &MeshModification::isLineStripsModified},
        {&MeshModification::polysModified, &MeshModification::isPolysModified},
        {&MeshModification::normalsValid, &MeshModification::isNormalsValid},
        {&MeshModification::triangleNormalsValid, &MeshModification::isTriangleNormalsValid},
        {&MeshModification::uvsValid, &MeshModification::isUvsValid},
        {&MeshModification::stsValid, &MeshModification::isStsValid},
        {&MeshModification::coloursValid, &MeshModification::isColoursValid}};
    for (std::size_t set = 0; set < flags.size(); ++set) {
        MeshModification notice(nullptr, MeshModification::Attributes);
        (notice.*flags[set].first)();
        for (std::size_t is = 0; is < flags.size(); ++is)
            EXPECT_EQ((notice.*flags[is].second)(), is == set) << "set " << set << ", asked " << is;
    }
    MeshModification notice(nullptr, MeshModification::Attributes);
    notice.vertexAttribsModified("heat");
    EXPECT_TRUE(notice.isVertexAttribsModified("heat"));
    EXPECT_FALSE(notice.isVertexAttribsModified("age"));
}

} // namespace
