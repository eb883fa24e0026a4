#include "qvGeom/editing/GeomVertexWeld.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <map>

#include "qvGeom/editing/detail/VertexKeys.h"
#include "qvGeom/foundation/base/Progress.h"
#include "qvGeom/foundation/geometry/Remap.h"

#include "support/CapturedOutput.h"
#include "support/HeardNotices.h"
#include "support/MeshBuilders.h"
#include "support/Random.h"
#include "support/ScopedThreadCount.h"

namespace {

using qvGeom::CompactMesh;
using qvGeom::MeshVertex;
using qvGeom::Remap;

constexpr float kNaN = NAN;

enum Channels { Positions, UserNormals, UserNormalsAndUVs, ComputedNormalsAndUVs };

/// A key as the merging rule reads it: floats in order, and last what keeps a key with a NaN apart,
/// its vertex. NaN comes after all numbers, of which infinity is none here.
using Key = std::vector<float>;

Key keyOf(const CompactMesh& mesh, int v) {
    Key key(mesh.getVerticesRaw() + 3 * v, mesh.getVerticesRaw() + 3 * v + 3);
    if (mesh.getNormals() && !mesh.getNormalsComputed()) {
        key.insert(key.end(), mesh.getNormalsRaw() + 3 * v, mesh.getNormalsRaw() + 3 * v + 3);
        if (mesh.getUVs())
            key.insert(key.end(), mesh.getUVsRaw() + 2 * v, mesh.getUVsRaw() + 2 * v + 2);
    }
    float owner = 0;
    for (float& x : key) {
        if (std::isnan(x)) {
            x = INFINITY;
            owner = static_cast<float>(v);
        }
    }
    key.push_back(owner);
    return key;
}

/// Few distinct coordinates, signed zeros and NaN among them, so that many keys meet.
CompactMesh randomSoup(std::uint32_t seed, int triangles, int levels, Channels channels) {
    CompactMesh mesh = test::soupOf(test::randomMesh(seed, 3 * triangles, triangles));
    test::Random random(seed);
    const int n = mesh.getNumVertices();
    for (int i = 0; i < 3 * n; ++i) {
        float& x = mesh.getVerticesRaw()[i];
        x = 0.37F * static_cast<float>(random.below(levels) - levels / 2);
        x = random.below(500) == 0 ? kNaN : random.below(2) ? x : -x;
    }
    if (channels != Positions) {
        mesh.allocNormalArray();
        for (int i = 0; i < 3 * n; ++i)
            mesh.getNormalsRaw()[i] = i % 3 == 2 ? static_cast<float>(random.below(2)) : 0.0F;
        mesh.setNormalsComputed(channels == ComputedNormalsAndUVs);
    }
    if (channels >= UserNormalsAndUVs) {
        mesh.allocUVArray();
        for (int i = 0; i < 2 * n; ++i)
            mesh.getUVsRaw()[i] = static_cast<float>(random.below(3));
    }
    return mesh;
}

/// Compares bit patterns, so that signed zeros and NaN count.
template <class Record>
bool areSame(const Record& a, const Record& b) {
    return std::memcmp(&a, &b, sizeof(Record)) == 0;
}

/// Holds a weld of `before` against an ordered map of exact keys.
void expectWelded(const CompactMesh& before, const CompactMesh& after, const Remap& remap) {
    std::map<Key, std::vector<int>> groups;
    for (int v = 0; v < before.getNumVertices(); ++v)
        groups[keyOf(before, v)].push_back(v);
    ASSERT_EQ(remap.getOldCount(), before.getNumVertices());
    ASSERT_EQ(remap.getNewCount(), std::ssize(groups));
    ASSERT_EQ(after.getNumVertices(), std::ssize(groups));
    int rank = 0;
    for (const auto& [key, group] : groups) {
        for (const int v : group)
            ASSERT_EQ(remap[v], rank) << "vertex " << v;
        const int from = group.back();
        const int normalFrom = before.getNormalsComputed() ? rank : from;
        ASSERT_TRUE(areSame(after.getVertices()[rank], before.getVertices()[from]));
        ASSERT_TRUE(!before.getNormals() ||
                    areSame(after.getNormals()[rank], before.getNormals()[normalFrom]));
        ASSERT_TRUE(!before.getUVs() || areSame(after.getUVs()[rank], before.getUVs()[from]));
        ++rank;
    }
    for (int c = 0; c < 3 * before.getNumTriangles(); ++c)
        ASSERT_EQ(after.getTrianglesRaw()[c], remap[before.getTrianglesRaw()[c]]);
}

Remap weld(CompactMesh& mesh) {
    qvUtil::Progress progress;
    Remap remap;
    meshCompact(mesh, progress, remap);
    return remap;
}

// Catches keys that merge or stay apart wrongly, ranks out of order and channels that took the
// wrong vertex, on one thread and across threads.
TEST(MeshCompact, agreesWithAMapOfExactKeys) {
    for (const int threads : {1, 2, 3, 8}) {
        const test::ScopedThreadCount pool(threads);
        for (const Channels channels :
             {Positions, UserNormals, UserNormalsAndUVs, ComputedNormalsAndUVs}) {
            for (const int triangles : {1, 7, 300, 5000}) {
                SCOPED_TRACE(testing::Message() << triangles << " on " << threads << " threads");
                const CompactMesh soup =
                    randomSoup(7, triangles, triangles > 1000 ? 25 : 5, channels);
                CompactMesh welded = soup;
                const Remap remap = weld(welded);
                if (welded.getNumVertices() < soup.getNumVertices())
                    expectWelded(soup, welded, remap);
            }
        }
    }
}

// Catches equal keys that stay apart where a hash table gives up looking for them.
TEST(MeshCompact, mergesKeysWhoseHashesCrowdTogether) {
    test::Random random;
    std::vector<MeshVertex> vertices;
    while (vertices.size() < 300) {
        const auto [x, y, z] = narrow(random.point(1e5));
        const MeshVertex vertex{x, y, z};
        qvGeom::detail::VertexKey<3> key;
        qvGeom::detail::VertexKeys<3>(test::meshOf({vertex}, {})).read(0, 1, &key);
        if (qvGeom::detail::hashOf<3>(key) >> 22 == 7) // one part in a thousand of all hashes
            vertices.push_back(vertex);
    }
    for (int i = 0; i < 900; ++i)
        vertices.push_back(vertices[random.below(300)]);
    const CompactMesh mesh = test::meshOf(vertices, {{{0, 1, 2}}});
    CompactMesh welded = mesh;
    expectWelded(mesh, welded, weld(welded));
}

TEST(MeshCompact, leavesAMeshWithoutDuplicatesAlone) {
    CompactMesh mesh =
        test::meshOf({{2, 0, 0}, {1, 0, 0}, {kNaN, 0, 0}, {kNaN, 0, 0}}, {{{0, 1, 2}}});
    test::HeardNotices notices(mesh);
    const MeshVertex* const vertices = mesh.getVertices();
    const Remap remap = weld(mesh);
    EXPECT_TRUE(mesh.getVertices() == vertices && vertices[0].x == 2);
    EXPECT_EQ(remap.getNewCount(), 4);
    EXPECT_TRUE(remap[0] == 0 && remap[3] == 3);
    EXPECT_EQ(notices.take(), "");
}

TEST(MeshCompact, renumbersStripsAndFansButNotLines) {
    CompactMesh mesh = test::soupOf(test::strip(2)); // vertices 1, 3 and 2, 5 coincide
    mesh.resizeTriStripArrays(1, 3);
    mesh.resizeTriFanArrays(1, 3);
    mesh.resizeLineArray(1);
    mesh.resizeLineStripArrays(1, 2);
    for (int i = 0; i < 3; ++i) {
        mesh.getTriStripPoints()[i] = 3 + i;
        mesh.getTriFanPoints()[i] = 5 - i;
    }
    mesh.getLines()[1] = 5;
    mesh.getLineStripPoints()[1] = 4;
    test::HeardNotices notices(mesh);

    const Remap remap = weld(mesh);
    ASSERT_EQ(mesh.getNumVertices(), 4);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(mesh.getTriStripPoints()[i], remap[3 + i]);
        EXPECT_EQ(mesh.getTriFanPoints()[i], remap[5 - i]);
    }
    EXPECT_TRUE(mesh.getLines()[1] == 5 && mesh.getLineStripPoints()[1] == 4);
    EXPECT_EQ(notices.take(), "Topology remapped stripsAndFansModified triangleNormalsValid;");
}

TEST(MeshCompact, printsItsStepsAndGivesProgressAway) {
    const test::CapturedOutput output;
    CompactMesh mesh = randomSoup(1, 50, 3, UserNormalsAndUVs), empty;
    test::HeardNotices notices(mesh);
    qvUtil::Progress progress;
    meshCompact(mesh, progress);
    meshCompact(empty, progress);
    EXPECT_EQ(output.debugWithoutSeconds(), "meshCompact: 150 vertices, 50 triangles\n"
                                            "  sorted vertices: S s\n"
                                            "  initialized remap: S s\n"
                                            "  remapped vertices: S s\n"
                                            "  remapped normals: S s\n"
                                            "  remapped triangles: S s\n"
                                            "meshCompact: 0 vertices, 0 triangles\n");
    EXPECT_DOUBLE_EQ(progress.getFraction(), 0.8);
    EXPECT_EQ(notices.take(),
              "Topology remapped normalsModified uvsModified triangleNormalsValid;");
}

} // namespace
