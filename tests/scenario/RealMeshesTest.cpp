#include <algorithm>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "qvGeom/editing/GeomVertexWeld.h"
#include "qvGeom/foundation/base/Progress.h"
#include "qvGeom/foundation/base/Strings.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/MeshAdjTris.h"
#include "qvGeom/foundation/geometry/MeshAdjVertices.h"
#include "qvGeom/foundation/geometry/MeshBoundaries.h"
#include "qvGeom/foundation/geometry/Remap.h"
#include "qvGeom/foundation/geometry/TopoMesh.h"
#include "qvGeom/io/GeomMeshText.h"
#include "qvGeom/topology/GeomAdjacency.h"
#include "qvGeom/topology/GeomBoundary.h"
#include "qvGeom/topology/GeomComponents.h"

#include "support/MeshFiles.h"
#include "support/ScopedThreadCount.h"

namespace {

using qvGeom::CompactMesh;

struct Facts {
    const char* file;
    int numStored;
    int numWelded;
    int numTriangles;
    int numComponents;
    bool loopsKnown; // only where the triangles are wound consistently
    std::vector<int> loops;
};

const std::vector<Facts> kFacts = {
    {"elephant.mesh", 44460, 44460, 88928, 1, true, {}},
    {"elephant_soup.stl", 266784, 44460, 88928, 1, true, {}},
    {"pig_soup.stl", 50544, 8642, 16848, 1, false, {}},
    {"mannequin.mesh", 12977, 12977, 25888, 1, true, {64}},
    {"masks_holes.mesh", 4291, 4291, 8288, 1, true, {136, 36, 32, 28, 28, 28, 16}},
    {"lion_holes.mesh", 7529, 7529, 14859, 1, true, {115, 36, 25, 25, 4}},
    {"boeing.mesh", 2741, 1264, 2564, 1, false, {}},
    {"spider.obj", 762, 722, 1368, 18, false, {}},
    {"ur10_base.obj", 185, 185, 732, 1, true, {}},
    {"patella.mesh", 1623, 1623, 3242, 1, true, {}},
    {"terrain.mesh", 14400, 14400, 28322, 1, true, {476}},
};

// The request most callers start with, on every mesh whose facts other programs have counted.
TEST(RealMeshes, weldAndDescribe) {
    for (const int threads : {1, 2}) {
        const test::ScopedThreadCount pool(threads);
        for (const Facts& facts : kFacts) {
            SCOPED_TRACE(testing::Message() << facts.file << " on " << threads << " threads");
            CompactMesh mesh = test::readMeshFile(facts.file);
            EXPECT_EQ(mesh.getNumVertices(), facts.numStored);
            EXPECT_EQ(mesh.getNumTriangles(), facts.numTriangles);

            qvUtil::Progress progress;
            qvGeom::Remap remap;
            meshCompact(mesh, progress, remap);
            EXPECT_EQ(mesh.getNumVertices(), facts.numWelded);
            EXPECT_EQ(remap.getNewCount(), facts.numWelded);
            EXPECT_EQ(remap.getOldCount(), facts.numStored);

            qvGeom::MeshAdjTris adjTris;
            qvGeom::MeshAdjVertices adjVertices;
            qvGeom::MeshBoundaries boundaries;
            meshAdjTris(mesh, adjTris);
            meshAdjVertices(mesh, adjTris, adjVertices);
            meshComputeBoundary(mesh, adjTris, adjVertices, boundaries);
            EXPECT_EQ(meshComponents(mesh, adjTris, nullptr), facts.numComponents);
            std::vector<int> loops;
            for (int i = 0; i < boundaries.size(); ++i)
                loops.push_back(boundaries.getLength(i));
            std::sort(loops.begin(), loops.end(), std::greater<>());
            if (facts.loopsKnown) {
                EXPECT_EQ(loops, facts.loops);
            }
        }
    }
}

TEST(RealMeshes, survivesTheRoundTripThroughText) {
    const CompactMesh mesh = test::readMeshFile("terrain.mesh");
    const std::string file = testing::TempDir() + "qvGeomRoundTrip.mesh";
    meshWrite(mesh, file);
    CompactMesh back;
    meshRead(back, file);
    qvGeom::TopoMesh polygons;
    meshRead(polygons, file);
    std::remove(file.c_str());

    ASSERT_EQ(back.getNumVertices(), mesh.getNumVertices());
    ASSERT_EQ(back.getNumTriangles(), mesh.getNumTriangles());
    EXPECT_TRUE(std::equal(mesh.getVerticesRaw(), mesh.getVerticesRaw() + 3 * mesh.getNumVertices(),
                           back.getVerticesRaw()));
    EXPECT_TRUE(std::equal(mesh.getTrianglesRaw(),
                           mesh.getTrianglesRaw() + 3 * mesh.getNumTriangles(),
                           back.getTrianglesRaw()));

    EXPECT_EQ(polygons.numFaces(), mesh.getNumTriangles());
    EXPECT_EQ(meshComponents(polygons), 1);
    int numBorderEdges = 0;
    for (qvGeom::TopoMeshEdge e = polygons.firstEdge(); !e.isNull(); e = e.nextInList())
        numBorderEdges += e.twin().isNull();
    EXPECT_EQ(numBorderEdges, 476);
}

} // namespace
