#include "qvGeom/cutting/GeomCutSurface.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <set>
#include <utility>
#include <vector>

#include "qvGeom/editing/GeomVertexWeld.h"
#include "qvGeom/foundation/base/Progress.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/MeshAdjTris.h"
#include "qvGeom/foundation/geometry/MeshModification.h"
#include "qvGeom/foundation/geometry/MeshRemap.h"
#include "qvGeom/foundation/geometry/Remap.h"
#include "qvGeom/topology/GeomAdjacency.h"
#include "qvGeom/topology/GeomComponents.h"

#include "support/MeshBuilders.h"
#include "support/MeshFiles.h"

using qvGeom::CompactMesh;
using qvGeom::MeshTriangle;
using qvGeom::MeshVertex;

namespace {

using Edge = std::pair<int, int>;

/// What is left of a mesh without some triangles.
CompactMesh without(CompactMesh mesh, const std::set<int>& removed) {
    std::vector<int> corners;
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        if (!removed.contains(t))
            corners.insert(corners.end(), mesh.getTriangles()[t].v, mesh.getTriangles()[t].v + 3);
    }
    mesh.copyTriangles(static_cast<int>(corners.size()) / 3, corners.data());
    return mesh;
}

CompactMesh joined(const CompactMesh& a, const CompactMesh& b) {
    std::vector<MeshVertex> vertices(a.getVertices(), a.getVertices() + a.getNumVertices());
    vertices.insert(vertices.end(), b.getVertices(), b.getVertices() + b.getNumVertices());
    std::vector<MeshTriangle> triangles(a.getTriangles(), a.getTriangles() + a.getNumTriangles());
    for (int t = 0; t < b.getNumTriangles(); ++t) {
        const MeshTriangle& tri = b.getTriangles()[t];
        const int first = a.getNumVertices();
        triangles.push_back({{tri[0] + first, tri[1] + first, tri[2] + first}});
    }
    return test::meshOf(vertices, triangles);
}

/// One component, no edge used twice the same way, one simple boundary loop, Euler
/// characteristic 1.
testing::AssertionResult isDisk(const CompactMesh& mesh) {
    std::set<Edge> sides;
    std::set<int> vertices;
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        const MeshTriangle& tri = mesh.getTriangles()[t];
        for (int k = 0; k < 3; ++k) {
            vertices.insert(tri[k]);
            if (!sides.insert({tri[k], tri[(k + 1) % 3]}).second)
                return testing::AssertionFailure()
                       << "an edge of triangle " << t << " is used twice";
        }
    }
    std::vector<Edge> border;
    for (const auto& [a, b] : sides) {
        if (!sides.contains({b, a}))
            border.emplace_back(a, b);
    }
    std::size_t length = 0;
    int at = border.empty() ? -1 : border[0].first;
    do {
        const auto next = std::lower_bound(border.begin(), border.end(), Edge(at, -1));
        if (next == border.end() || next->first != at)
            return testing::AssertionFailure() << "no border starts at vertex " << at;
        at = next->second;
        ++length;
    } while (at != border[0].first && length <= border.size());
    if (length != border.size() || length < 3)
        return testing::AssertionFailure() << border.size() << " edges in a loop of " << length;
    qvGeom::MeshAdjTris adjTris;
    meshAdjTris(mesh, adjTris);
    const auto edges = (sides.size() + border.size()) / 2;
    const int euler =
        static_cast<int>(vertices.size()) - static_cast<int>(edges) + mesh.getNumTriangles();
    if (euler != 1 || meshComponents(mesh, adjTris, nullptr) != 1)
        return testing::AssertionFailure() << "Euler characteristic " << euler;
    return testing::AssertionSuccess();
}

/// The length of the edges of `mesh` that the cut opened: two new border edges are one old edge.
double cutLength(const CompactMesh& mesh, const CompactMesh& original) {
    const auto borderLength = [](const CompactMesh& surface) {
        std::set<Edge> sides;
        for (int c = 0; c < 3 * surface.getNumTriangles(); ++c) {
            const int* const corners = surface.getTrianglesRaw();
            sides.insert({corners[c], corners[c % 3 == 2 ? c - 2 : c + 1]});
        }
        double length = 0.0;
        for (const auto& [a, b] : sides) {
            const MeshVertex& p = surface.getVertices()[a];
            const MeshVertex& q = surface.getVertices()[b];
            if (!sides.contains({b, a}))
                length += std::hypot(p.x - q.x, p.y - q.y, p.z - q.z);
        }
        return length;
    };
    return (borderLength(mesh) - borderLength(original)) / 2;
}

struct Notices {
    int count = 0;
    bool dropsStrips = false;
    std::vector<int> map;

    static void hear(void* self, qvRTB::EntityModification& modification) {
        auto& notices = *static_cast<Notices*>(self);
        const auto& change = static_cast<qvGeom::MeshModification&>(modification);
        ++notices.count;
        EXPECT_EQ(change.getType(), qvGeom::MeshModification::Topology);
        notices.dropsStrips = change.isStripsAndFansModified();
        const auto& map = change.getRemap()->getVertexRemap()->getMap();
        notices.map.assign(map.begin(), map.end());
    }
};

struct Surface {
    const char* name;
    CompactMesh mesh;
    double longestCut; // none to be made: 0
};

std::vector<Surface> surfaces() {
    // Left and right half of a square are joined by a strip above, between and below the holes.
    const CompactMesh pants = without(test::grid(7, 3), {16, 17, 18, 19, 22, 23, 24, 25});
    CompactMesh elephant = test::readMeshFile("elephant.mesh");
    qvUtil::Progress progress;
    meshCompact(elephant, progress);
    CompactMesh twisted = test::shuffled(test::torus(40, 20), 3);
    return {{"disk", test::grid(3, 2), 0.0},
            {"triangle", test::meshOf({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {{{0, 1, 2}}}), 0.0},
            {"tetrahedron",
             test::meshOf({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}},
                          {{{0, 2, 1}}, {{0, 1, 3}}, {{1, 2, 3}}, {{2, 0, 3}}}),
             2.5},
            {"two-sided triangle",
             test::meshOf({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {{{0, 1, 2}}, {{2, 1, 0}}}), 2.5},
            {"sphere", test::sphere(16, 24), 3.3},
            {"points only at NaN",
             test::meshOf(std::vector<MeshVertex>(4, {NAN, NAN, NAN}),
                          {{{0, 2, 1}}, {{0, 1, 3}}, {{1, 2, 3}}, {{2, 0, 3}}}),
             NAN},
            // Round the tube at the inside, 2 pi, and round the hole there, 2 pi.
            {"torus", test::torus(40, 20), 13.0},
            {"shuffled torus", twisted, 13.0},
            {"torus with a hole", without(test::torus(40, 20), {6, 7}), 19.0},
            {"annulus", without(test::grid(5, 5), {24, 25}), 2.5},
            {"pair of pants", pants, 2.5},
            {"elephant", elephant, HUGE_VAL}};
}

TEST(CutSurface, opensEverySurfaceIntoADisk) {
    for (const Surface& surface : surfaces()) {
        SCOPED_TRACE(surface.name);
        CompactMesh mesh = surface.mesh;
        mesh.resizeTriStripArrays(1, 3);
        Notices notices;
        mesh.getModifiedSignal().addCallback(&Notices::hear, &notices);
        ASSERT_TRUE(qvGeom::cutSurface(mesh).makeDisk());
        EXPECT_TRUE(isDisk(mesh));
        EXPECT_FALSE(cutLength(mesh, surface.mesh) > surface.longestCut);

        const bool isCut = surface.longestCut != 0.0;
        EXPECT_EQ(notices.count, isCut);
        EXPECT_EQ(notices.dropsStrips, isCut);
        EXPECT_EQ(mesh.getNumTriStrips(), !isCut);
        EXPECT_EQ(mesh.getNumVertices() > surface.mesh.getNumVertices(), isCut);
        for (std::size_t v = 0; v < notices.map.size(); ++v)
            EXPECT_EQ(notices.map[v], static_cast<int>(v));
        ASSERT_EQ(mesh.getNumTriangles(), surface.mesh.getNumTriangles());
        for (int c = 0; c < 3 * mesh.getNumTriangles(); ++c) {
            const auto& now = mesh.getVertices()[mesh.getTrianglesRaw()[c]];
            const auto& before = surface.mesh.getVertices()[surface.mesh.getTrianglesRaw()[c]];
            ASSERT_EQ(std::memcmp(&now, &before, sizeof now), 0) << "corner " << c;
        }
    }
}

TEST(CutSurface, givesCopiesAllThatTheirVertexHas) {
    CompactMesh mesh = test::torus(8, 6);
    const int count = mesh.getNumVertices();
    for (int v = 0; v < count; ++v) {
        mesh.allocUVArray()[v] = {static_cast<float>(v), 1.0F};
        mesh.allocColourArray()[v].g = static_cast<unsigned char>(v);
    }
    mesh.getSelectedVertices().resize(count);
    for (int v = 0; v < count; v += 2)
        mesh.getSelectedVertices().set(v);
    const CompactMesh before = mesh;
    ASSERT_TRUE(qvGeom::cutSurface(mesh).makeDisk());
    for (int c = 0; c < 3 * mesh.getNumTriangles(); ++c) {
        const int now = mesh.getTrianglesRaw()[c];
        const int old = before.getTrianglesRaw()[c];
        EXPECT_TRUE(now == old || now >= count);
        EXPECT_EQ(mesh.getUVs()[now].u, static_cast<float>(old));
        EXPECT_EQ(mesh.getColours()[now].g, old);
        EXPECT_EQ(mesh.getSelectedVertices().test(now), old % 2 == 0);
    }
}

TEST(CutSurface, refusesWhatCannotBecomeADisk) {
    const CompactMesh disk = test::grid(2, 2);
    CompactMesh twisted = test::strip(10);
    // The last triangle closes the strip with a half turn.
    std::vector<int> moebius(twisted.getTrianglesRaw(), twisted.getTrianglesRaw() + 30);
    moebius.insert(moebius.end(), {10, 11, 1, 1, 11, 0});
    twisted.copyTriangles(12, moebius.data());
    CompactMesh reversed = disk;
    std::swap(reversed.getTriangles()[3].v[0], reversed.getTriangles()[3].v[1]);
    CompactMesh repeated = disk;
    repeated.getTriangles()[0].v[0] = repeated.getTriangles()[0].v[1];
    const std::pair<const char*, CompactMesh> cases[] = {
        {"nothing", CompactMesh()},
        {"vertices only", test::pointsAlongX(3)},
        {"two components", joined(test::torus(8, 6), disk)},
        {"fans at a vertex", test::bowTie()},
        {"three at an edge", joined(disk, disk)},
        {"Moebius strip", twisted},
        {"one wound against the others", reversed},
        {"repeated corner", repeated},
    };
    for (const auto& [name, original] : cases) {
        SCOPED_TRACE(name);
        CompactMesh mesh = original;
        if (name == std::string("three at an edge")) {
            qvUtil::Progress progress;
            meshCompact(mesh, progress);
        }
        const CompactMesh before = mesh;
        Notices notices;
        mesh.getModifiedSignal().addCallback(&Notices::hear, &notices);
        EXPECT_FALSE(qvGeom::cutSurface(mesh).makeDisk());
        EXPECT_EQ(notices.count, 0);
        EXPECT_EQ(mesh.getNumVertices(), before.getNumVertices());
        EXPECT_TRUE(std::equal(mesh.getTrianglesRaw(),
                               mesh.getTrianglesRaw() + 3 * mesh.getNumTriangles(),
                               before.getTrianglesRaw()));
    }
}

} // namespace
