#include "qvGeom/cutting/GeomCutSurface.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <numeric>
#include <tuple>
#include <utility>
#include <vector>

#include "support/HeardNotices.h"
#include "support/MeshBuilders.h"
#include "support/MeshFiles.h"
#include "support/Topology.h"

using qvGeom::CompactMesh;

namespace {

/// The length of the edges that the cut opened: two new border edges are one old edge.
double cutLength(const CompactMesh& mesh, const CompactMesh& original) {
    const auto borderLength = [](const CompactMesh& surface) {
        double length = 0.0;
        for (const auto& [p, q] : test::Topology(surface).boundary)
            length += std::hypot(p[0] - q[0], p[1] - q[1], p[2] - q[2]);
        return length;
    };
    return (borderLength(mesh) - borderLength(original)) / 2;
}

/// What it is called, and the length of the longest cut to expect; 0 where none is to be made.
using Surface = std::tuple<const char*, CompactMesh, double>;

std::vector<Surface> surfaces() {
    const CompactMesh triangle = test::strip(1);
    CompactMesh twoSided = test::joined(triangle, triangle);
    twoSided.getTriangles()[1] = {{2, 1, 0}};
    twoSided.resizeVertexArray(3);
    const CompactMesh tetrahedron =
        test::meshOf({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}},
                     {{{0, 2, 1}}, {{0, 1, 3}}, {{1, 2, 3}}, {{2, 0, 3}}});
    CompactMesh nowhere = tetrahedron;
    std::fill_n(nowhere.getVertices(), 4, qvGeom::MeshVertex{NAN, NAN, NAN});
    const CompactMesh torus = test::torus(40, 20);
    return {{"disk", test::grid(3, 2), 0.0},
            {"tetrahedron", tetrahedron, 2.5},
            {"two-sided triangle", twoSided, 2.5},
            {"sphere", test::sphere(16, 24), 3.3},
            {"points only at NaN", nowhere, NAN},
            // Round the tube at the inside, 2 pi, and round the hole there, 2 pi.
            {"shuffled torus", test::shuffled(torus, 3), 13.0},
            {"torus with a hole", test::without(torus, 6, 2), 19.0},
            {"annulus", test::without(test::grid(5, 5), 24, 2), 2.5},
            // A square's two halves joined by strips above, between and below the holes.
            {"pair of pants", test::without(test::without(test::grid(7, 3), 22, 4), 16, 4), 2.5},
            {"elephant", test::readMeshFile("elephant.mesh"), HUGE_VAL}};
}

// With all channels at the copies.
TEST(CutSurface, opensEverySurfaceIntoADisk) {
    for (const auto& [name, original, longestCut] : surfaces()) {
        SCOPED_TRACE(name);
        CompactMesh before = original;
        const int numVertices = before.getNumVertices();
        before.resizeTriStripArrays(1, 3);
        before.getSelectedVertices().resize(numVertices);
        for (int v = 0; v < numVertices; ++v) {
            before.allocUVArray()[v] = {static_cast<float>(v), 1.0F};
            before.allocColourArray()[v].g = static_cast<unsigned char>(v);
            if (v % 2 == 0)
                before.getSelectedVertices().set(v);
        }
        CompactMesh mesh = before;
        test::HeardNotices notices(mesh);
        ASSERT_TRUE(qvGeom::cutSurface(mesh).makeDisk());
        EXPECT_TRUE(test::Topology(mesh).isDisk());
        EXPECT_FALSE(cutLength(mesh, before) > longestCut);

        const bool isCut = longestCut != 0.0;
        EXPECT_EQ(notices.take(), isCut ? "Topology remapped stripsAndFansModified normalsValid "
                                          "triangleNormalsValid uvsValid stsValid coloursValid;"
                                        : "");
        EXPECT_EQ(mesh.getNumTriStrips(), !isCut);
        EXPECT_EQ(mesh.getNumVertices() > numVertices, isCut);
        std::vector<int> identity(isCut ? numVertices : 0);
        std::iota(identity.begin(), identity.end(), 0);
        EXPECT_EQ(notices.vertexMap(), identity);
        ASSERT_EQ(mesh.getNumTriangles(), before.getNumTriangles());
        for (int c = 0; c < 3 * mesh.getNumTriangles(); ++c) {
            const int now = mesh.getTrianglesRaw()[c];
            const int old = before.getTrianglesRaw()[c];
            ASSERT_TRUE(now == old || now >= numVertices) << "corner " << c;
            ASSERT_EQ(std::memcmp(&mesh.getVertices()[now], &before.getVertices()[old],
                                  sizeof(qvGeom::MeshVertex)),
                      0);
            ASSERT_EQ(mesh.getUVs()[now].u, static_cast<float>(old));
            ASSERT_EQ(mesh.getColours()[now].g, old % 256);
            ASSERT_EQ(mesh.getSelectedVertices().test(now), old % 2 == 0);
        }
    }
}

TEST(CutSurface, refusesWhatCannotBecomeADisk) {
    const CompactMesh disk = test::grid(2, 2);
    CompactMesh moebius = test::strip(12); // the last triangles close it with a half turn
    moebius.getTriangles()[10] = {{10, 11, 1}};
    moebius.getTriangles()[11] = {{1, 11, 0}};
    CompactMesh pinched = test::strip(12);
    std::replace(pinched.getTrianglesRaw(), pinched.getTrianglesRaw() + 36, 13, 0);
    CompactMesh doubled = test::joined(disk, disk);
    for (int c = 24; c < 48; ++c)
        doubled.getTrianglesRaw()[c] -= 9;
    CompactMesh reversed = disk;
    std::swap(reversed.getTriangles()[3].v[0], reversed.getTriangles()[3].v[1]);
    CompactMesh repeated = disk;
    repeated.getTriangles()[0].v[0] = repeated.getTriangles()[0].v[1];
    const std::pair<const char*, CompactMesh> cases[] = {
        {"nothing", CompactMesh()},
        {"two components", test::joined(test::torus(8, 6), disk)},
        {"two fans at a vertex", pinched},
        {"four at an edge", doubled},
        {"Moebius strip", moebius},
        {"one wound against the others", reversed},
        {"repeated corner", repeated},
    };
    for (const auto& [name, original] : cases) {
        SCOPED_TRACE(name);
        CompactMesh mesh = original;
        test::HeardNotices notices(mesh);
        EXPECT_FALSE(qvGeom::cutSurface(mesh).makeDisk());
        EXPECT_EQ(notices.take(), "");
        EXPECT_EQ(mesh.getNumVertices(), original.getNumVertices());
        EXPECT_TRUE(std::equal(mesh.getTrianglesRaw(),
                               mesh.getTrianglesRaw() + 3 * mesh.getNumTriangles(),
                               original.getTrianglesRaw()));
    }
}

} // namespace
