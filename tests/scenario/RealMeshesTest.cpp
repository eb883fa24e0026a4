#include <algorithm>
#include <functional>
#include <gtest/gtest.h>

#include "qvGeom/editing/GeomVertexWeld.h"
#include "qvGeom/foundation/base/Progress.h"
#include "qvGeom/foundation/geometry/MeshAdjVertices.h"
#include "qvGeom/foundation/geometry/MeshBoundaries.h"
#include "qvGeom/foundation/geometry/Remap.h"
#include "qvGeom/topology/GeomBoundary.h"
#include "qvGeom/topology/GeomComponents.h"
#include "qvGeom/topology/GeomOrientation.h"

#include "support/Adjacency.h"
#include "support/MeshFiles.h"
#include "support/ScopedThreadCount.h"

namespace {

enum Winding { Consistent, CanBeMended, CannotBe };

struct Facts {
    const char* file;
    int numStored;
    int numWelded;
    int numTriangles;
    int numComponents;
    Winding winding;
    bool loopsKnown; // where no two of them touch
    std::vector<int> loops;
};

const std::vector<Facts> kFacts = {
    {"elephant.mesh", 44460, 44460, 88928, 1, Consistent, true, {}},
    {"elephant_soup.stl", 266784, 44460, 88928, 1, Consistent, true, {}},
    {"pig_soup.stl", 50544, 8642, 16848, 1, Consistent, false, {}},
    {"mannequin.mesh", 12977, 12977, 25888, 1, Consistent, true, {64}},
    {"masks_holes.mesh", 4291, 4291, 8288, 1, Consistent, true, {136, 36, 32, 28, 28, 28, 16}},
    {"lion_holes.mesh", 7529, 7529, 14859, 1, Consistent, true, {115, 36, 25, 25, 4}},
    {"boeing.mesh", 2741, 1264, 2564, 1, CanBeMended, false, {}},
    {"spider.obj", 762, 722, 1368, 18, CannotBe, false, {}},
    {"ur10_base.obj", 185, 185, 732, 1, CannotBe, true, {}},
    {"patella.mesh", 1623, 1623, 3242, 1, Consistent, true, {}},
    {"terrain.mesh", 14400, 14400, 28322, 1, Consistent, true, {476}},
};

// The request most callers start with, on every mesh whose facts other programs have counted.
TEST(RealMeshes, weldAndDescribe) {
    for (const int threads : {1, 2}) {
        const test::ScopedThreadCount pool(threads);
        for (const Facts& facts : kFacts) {
            SCOPED_TRACE(testing::Message() << facts.file << " on " << threads << " threads");
            qvGeom::CompactMesh mesh = test::readMeshFile(facts.file);
            EXPECT_EQ(mesh.getNumVertices(), facts.numStored);
            EXPECT_EQ(mesh.getNumTriangles(), facts.numTriangles);

            qvUtil::Progress progress;
            qvGeom::Remap remap;
            meshCompact(mesh, progress, remap);
            EXPECT_EQ(mesh.getNumVertices(), facts.numWelded);
            EXPECT_EQ(remap.getNewCount(), facts.numWelded);
            EXPECT_EQ(remap.getOldCount(), facts.numStored);

            const qvGeom::MeshAdjTris adjTris = test::adjTrisOf(mesh);
            qvGeom::MeshAdjVertices adjVertices;
            qvGeom::MeshBoundaries boundaries;
            meshAdjVertices(mesh, adjTris, adjVertices);
            meshComputeBoundary(mesh, adjTris, adjVertices, boundaries);
            EXPECT_EQ(meshComponents(mesh, adjTris, nullptr), facts.numComponents);
            std::vector<int> loops;
            for (int i = 0; i < boundaries.size(); ++i)
                loops.push_back(boundaries.getLength(i));
            std::sort(loops.begin(), loops.end(), std::greater<>());
            EXPECT_TRUE(loops == facts.loops || !facts.loopsKnown);

            EXPECT_EQ(meshOriented(mesh, adjTris), facts.winding == Consistent);
            EXPECT_EQ(meshMakeOriented(mesh, adjTris), facts.winding != CannotBe);
            EXPECT_EQ(meshOriented(mesh, adjTris), facts.winding != CannotBe);
        }
    }
}

} // namespace
