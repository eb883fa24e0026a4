#include "qvGeom/editing/GeomVertexWeld.h"

#include <array>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <map>
#include <random>
#include <vector>

#include "qvGeom/editing/detail/VertexKeys.h"
#include "qvGeom/foundation/base/Progress.h"
#include "qvGeom/foundation/base/Signal.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/MeshModification.h"
#include "qvGeom/foundation/geometry/MeshRemap.h"
#include "qvGeom/foundation/geometry/Remap.h"

#include "support/CapturedOutput.h"
#include "support/MeshBuilders.h"
#include "support/ScopedThreadCount.h"

namespace {

using qvGeom::CompactMesh;
using qvGeom::MeshModification;
using qvGeom::MeshVertex;
using qvGeom::Remap;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

enum class Channels { Positions, UserNormals, UserNormalsAndUVs, ComputedNormalsAndUVs };

/// A key as the merging rule reads it: floats in order, NaN after all numbers.
using Key = std::vector<float>;

struct KeyLess {
    bool operator()(const Key& a, const Key& b) const {
        for (std::size_t i = 0; i < a.size(); ++i) {
            const bool less = a[i] < b[i] || (std::isnan(b[i]) && !std::isnan(a[i]));
            const bool more = b[i] < a[i] || (std::isnan(a[i]) && !std::isnan(b[i]));
            if (less || more)
                return less;
        }
        return false;
    }
};

Key keyOf(const CompactMesh& mesh, int v) {
    Key key(mesh.getVerticesRaw() + 3 * v, mesh.getVerticesRaw() + 3 * v + 3);
    if (mesh.getNormals() && !mesh.getNormalsComputed()) {
        key.insert(key.end(), mesh.getNormalsRaw() + 3 * v, mesh.getNormalsRaw() + 3 * v + 3);
        if (mesh.getUVs())
            key.insert(key.end(), mesh.getUVsRaw() + 2 * v, mesh.getUVsRaw() + 2 * v + 2);
    }
    return key;
}

/// Few distinct coordinates, signed zeros and NaN among them, so that many keys meet.
CompactMesh randomSoup(std::uint32_t seed, int triangles, int levels, Channels channels) {
    CompactMesh mesh = test::soupOf(test::randomMesh(seed, 3 * triangles, triangles));
    std::mt19937 random(seed);
    const auto coordinate = [&] {
        const int level = static_cast<int>(random() % static_cast<unsigned>(levels));
        if (random() % 500 == 0)
            return kNaN;
        return level == 0 ? (random() % 2 ? 0.0F : -0.0F)
                          : static_cast<float>(level - levels / 2) * 0.37F;
    };
    const int n = mesh.getNumVertices();
    for (int i = 0; i < 3 * n; ++i)
        mesh.getVerticesRaw()[i] = coordinate();
    if (channels != Channels::Positions) {
        mesh.allocNormalArray();
        for (int i = 0; i < 3 * n; ++i)
            mesh.getNormalsRaw()[i] = i % 3 == 2 ? static_cast<float>(random() % 2) : 0.0F;
        mesh.setNormalsComputed(channels == Channels::ComputedNormalsAndUVs);
    }
    if (channels == Channels::UserNormalsAndUVs || channels == Channels::ComputedNormalsAndUVs) {
        mesh.allocUVArray();
        for (int i = 0; i < 2 * n; ++i)
            mesh.getUVsRaw()[i] = static_cast<float>(random() % 3);
    }
    return mesh;
}

/// Bit patterns, so that signed zeros and NaN count.
template <class Record>
auto bitsOf(const Record& record) {
    return std::bit_cast<std::array<std::uint32_t, sizeof(Record) / 4>>(record);
}

/// Holds a weld of `before` against an ordered map of exact keys.
void expectWelded(const CompactMesh& before, const CompactMesh& after, const Remap& remap) {
    const int n = before.getNumVertices();
    std::map<Key, int, KeyLess> lastOfKey;
    std::vector<std::pair<Key, int>> groups; // by rank; every NaN key is a group of its own
    int withNaN = 0;
    for (int v = 0; v < n; ++v) {
        const Key key = keyOf(before, v);
        if (key == key) // equal to itself: no NaN
            lastOfKey[key] = v;
        else
            ++withNaN;
    }
    const int distinct = static_cast<int>(lastOfKey.size()) + withNaN;
    ASSERT_EQ(remap.getOldCount(), n);
    ASSERT_EQ(remap.getNewCount(), distinct);
    ASSERT_EQ(after.getNumVertices(), distinct);

    std::vector<int> survivor(static_cast<std::size_t>(distinct), -1);
    for (int v = 0; v < n; ++v) {
        const Key key = keyOf(before, v);
        survivor[remap[v]] = std::max(survivor[remap[v]], v);
        if (key == key) {
            ASSERT_EQ(keyOf(before, survivor[remap[v]]), key)
                << "vertex " << v << " merged with another key";
        }
    }
    for (int i = 0; i < distinct; ++i) {
        const int from = survivor[i];
        ASSERT_GE(from, 0);
        ASSERT_EQ(bitsOf(after.getVertices()[i]), bitsOf(before.getVertices()[from]));
        if (before.getNormals()) {
            ASSERT_EQ(bitsOf(after.getNormals()[i]),
                      bitsOf(before.getNormals()[before.getNormalsComputed() ? i : from]));
        }
        if (before.getUVs()) {
            ASSERT_EQ(bitsOf(after.getUVs()[i]), bitsOf(before.getUVs()[from]));
        }
        if (i > 0) {
            ASSERT_FALSE(KeyLess()(keyOf(before, from), keyOf(before, survivor[i - 1])))
                << "rank " << i;
        }
    }
    for (int c = 0; c < 3 * before.getNumTriangles(); ++c)
        ASSERT_EQ(after.getTrianglesRaw()[c], remap[before.getTrianglesRaw()[c]]);
}

/// Keeps what the mesh announced.
struct Notices : qvRTB::SignalClient {
    explicit Notices(const CompactMesh& mesh) {
        mesh.getModifiedSignal().addCallback(
            *this,
            qvRTB::FunctionArgMember<Notices, qvRTB::EntityModification&>(this, &Notices::hear));
    }

    void hear(qvRTB::EntityModification& notice) {
        heard.push_back(dynamic_cast<MeshModification&>(notice));
        newCount =
            heard.back().getRemap() ? heard.back().getRemap()->getVertexRemap()->getNewCount() : -1;
    }

    std::vector<MeshModification> heard;
    int newCount = -1;
};

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
             {Channels::Positions, Channels::UserNormals, Channels::UserNormalsAndUVs,
              Channels::ComputedNormalsAndUVs}) {
            for (const int triangles : {1, 7, 300, 5000}) {
                SCOPED_TRACE(testing::Message()
                             << threads << " threads, channels " << static_cast<int>(channels)
                             << ", " << triangles << " triangles");
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

TEST(MeshCompact, givesTheSameForEveryThreadCount) {
    const CompactMesh soup = test::soupOf(test::shuffled(test::wavySurface(20000), 3));
    std::vector<int> first;
    for (const int threads : {1, 2, 3, 8}) {
        const test::ScopedThreadCount pool(threads);
        CompactMesh mesh = soup;
        const Remap remap = weld(mesh);
        const std::vector<int> map(remap.getMap().begin(), remap.getMap().end());
        if (first.empty())
            first = map;
        EXPECT_EQ(map, first) << threads << " threads";
    }
}

// Catches equal keys that stay apart where a hash table gives up looking for them.
TEST(MeshCompact, mergesKeysWhoseHashesCrowdTogether) {
    std::mt19937 random(11);
    std::vector<MeshVertex> vertices;
    while (vertices.size() < 300) {
        const auto coordinate = [&random] { return static_cast<float>(random() % 100000); };
        const MeshVertex vertex{coordinate(), coordinate(), coordinate()};
        qvGeom::detail::VertexKey<3> key;
        qvGeom::detail::VertexKeys<3>(test::meshOf({vertex}, {})).read(0, 1, &key);
        if (qvGeom::detail::hashOf<3>(key) >> 22 == 7) // one part in a thousand of all hashes
            vertices.push_back(vertex);
    }
    for (int i = 0; i < 900; ++i)
        vertices.push_back(vertices[random() % 300]);
    const CompactMesh mesh = test::meshOf(vertices, {{{0, 1, 2}}});
    CompactMesh welded = mesh;
    expectWelded(mesh, welded, weld(welded));
}

TEST(MeshCompact, leavesAMeshWithoutDuplicatesAlone) {
    CompactMesh mesh =
        test::meshOf({{2, 0, 0}, {1, 0, 0}, {kNaN, 0, 0}, {kNaN, 0, 0}}, {{{0, 1, 2}}});
    const Notices notices(mesh);
    const MeshVertex* const vertices = mesh.getVertices();
    const Remap remap = weld(mesh);
    EXPECT_EQ(mesh.getVertices(), vertices);
    EXPECT_EQ(mesh.getVertices()[0].x, 2);
    EXPECT_EQ(remap.getNewCount(), 4);
    for (int v = 0; v < 4; ++v)
        EXPECT_EQ(remap[v], v);
    EXPECT_TRUE(notices.heard.empty());
}

TEST(MeshCompact, takesAMeshWithoutVertices) {
    const test::CapturedOutput output;
    CompactMesh mesh;
    const Remap remap = weld(mesh);
    EXPECT_EQ(remap.getOldCount(), 0);
    EXPECT_EQ(remap.getNewCount(), 0);
    EXPECT_EQ(output.debug(), "meshCompact: 0 vertices, 0 triangles\n");
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
    mesh.allocSTArray()[1] = {0.5F, 0.25F};
    mesh.allocColourArray()[3] = {1, 2, 3, 4};
    const Notices notices(mesh);

    const Remap remap = weld(mesh);
    ASSERT_EQ(mesh.getNumVertices(), 4);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(mesh.getTriStripPoints()[i], remap[3 + i]);
        EXPECT_EQ(mesh.getTriFanPoints()[i], remap[5 - i]);
    }
    EXPECT_EQ(mesh.getLines()[1], 5);
    EXPECT_EQ(mesh.getLineStripPoints()[1], 4);
    EXPECT_EQ(mesh.getSTs()[1].s, 0.5F);
    EXPECT_EQ(mesh.getColours()[3].a, 4);

    ASSERT_EQ(notices.heard.size(), 1U);
    const MeshModification& notice = notices.heard.front();
    EXPECT_EQ(notice.getType(), MeshModification::Topology);
    EXPECT_EQ(notices.newCount, 4);
    EXPECT_TRUE(notice.isTriangleNormalsValid());
    EXPECT_TRUE(notice.isStripsAndFansModified());
    EXPECT_FALSE(notice.isNormalsModified() || notice.isUvsModified() || notice.isLinesModified() ||
                 notice.isLineStripsModified());
}

TEST(MeshCompact, printsItsStepsAndGivesProgressAway) {
    const test::CapturedOutput output;
    CompactMesh mesh = randomSoup(1, 50, 3, Channels::UserNormalsAndUVs);
    const Notices notices(mesh);
    qvUtil::Progress progress;
    meshCompact(mesh, progress);
    EXPECT_EQ(output.debugWithoutSeconds(), "meshCompact: 150 vertices, 50 triangles\n"
                                            "  sorted vertices: S s\n"
                                            "  initialized remap: S s\n"
                                            "  remapped vertices: S s\n"
                                            "  remapped normals: S s\n"
                                            "  remapped triangles: S s\n");
    EXPECT_DOUBLE_EQ(progress.getFraction(), 0.8);
    ASSERT_EQ(notices.heard.size(), 1U);
    EXPECT_TRUE(notices.heard.front().isNormalsModified() && notices.heard.front().isUvsModified());
}

} // namespace
