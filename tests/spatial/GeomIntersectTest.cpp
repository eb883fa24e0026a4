#include "qvGeom/spatial/GeomIntersect.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <deque>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "qvGeom/editing/GeomVertexWeld.h"
#include "qvGeom/foundation/linear/Linear.h"
#include "qvGeom/spatial/GeomOctreeIterators.h"

#include "support/CancelAfter.h"
#include "support/CapturedOutput.h"
#include "support/MeshBuilders.h"
#include "support/MeshFiles.h"
#include "support/Random.h"
#include "support/ScopedThreadCount.h"
#include "support/Trees.h"

namespace qvGeom {
namespace {

using qvLinear::AffineMatrix;
using qvLinear::Point;
using qvLinear::Vector;
using test::IndexedMesh;

using Records = std::deque<MeshIntersectPair>;
using Sides = std::array<Records, 2>;
using Pairs = std::set<std::pair<int, int>>;
using Triangle = std::array<Point, 3>;

Records selfCrossings(const IndexedMesh& on) {
    Records found;
    qvUtil::Progress progress;
    MeshIntersect(on.mesh, on.octree, on.tris).selfIntersect(progress, found);
    return found;
}

/// What becomes of old results of three and two records.
Sides crossings(const IndexedMesh& a, const IndexedMesh& b, const AffineMatrix& toA) {
    Sides found{Records(3), Records(2)};
    qvUtil::Progress progress;
    MeshIntersect(a.mesh, a.octree, a.tris)
        .intersect(b.mesh, b.octree, b.tris, toA, progress, found[0], found[1]);
    return found;
}

/// The triangles of each segment, which must be in the same place on both.
Pairs pairsOf(const IndexedMesh& a, const IndexedMesh& b, const AffineMatrix& toA,
              const Sides& sides) {
    const auto at = [](const IndexedMesh& on, const MeshCoord& coord) {
        return coord.evaluate(on.mesh.getVertices(), on.mesh.getTriangles());
    };
    Pairs pairs;
    EXPECT_EQ(sides[0].size(), sides[1].size());
    for (std::size_t k = 0; k < sides[0].size(); ++k) {
        const auto& [p, q] = sides[0][k];
        const auto& [r, s] = sides[1][k];
        EXPECT_TRUE(p.triangle == q.triangle && r.triangle == s.triangle);
        EXPECT_TRUE(pairs.emplace(p.triangle, r.triangle).second);
        EXPECT_LT(distance(at(a, p), at(b, r) * toA), 1e-6);
        EXPECT_LT(distance(at(a, q), at(b, s) * toA), 1e-6);
    }
    return pairs;
}

Pairs selfPairsOf(const IndexedMesh& on) {
    Sides sides;
    for (const MeshIntersectPair& record : selfCrossings(on))
        sides[sides[0].size() > sides[1].size()].push_back(record);
    return pairsOf(on, on, {}, sides);
}

double volume(const Point& a, const Point& b, const Point& c, const Point& d) {
    return dot(b - a, cross(c - a, d - a));
}

/// By signs of volumes: an edge of one triangle passes through the inside of the other. Without
/// tolerances, and without plane normals.
bool pass(const Triangle& s, const Triangle& t) {
    for (int k = 0; k < 3; ++k) {
        const Point &p = s[k], &q = s[(k + 1) % 3];
        if (volume(t[0], t[1], t[2], p) * volume(t[0], t[1], t[2], q) >= 0)
            continue;
        const auto [low, high] = std::minmax(
            {volume(p, q, t[0], t[1]), volume(p, q, t[1], t[2]), volume(p, q, t[2], t[0])});
        if (low > 0 || high < 0)
            return true;
    }
    return false;
}

/// All crossings; those of a mesh with itself only of triangles with six different corners, the
/// higher one first: others share no more than a point.
Pairs bruteForce(const IndexedMesh& a, const IndexedMesh& b, const AffineMatrix& toA) {
    Pairs pairs;
    for (int j = 0; j < b.mesh.getNumTriangles(); ++j) {
        Triangle t = b.corners(j);
        for (Point& corner : t)
            corner = corner * toA;
        for (int i = &a == &b ? j + 1 : 0; i < a.mesh.getNumTriangles(); ++i) {
            const auto& [p, q, r] = a.mesh.getTriangles()[i].v;
            const auto& [u, v, w] = b.mesh.getTriangles()[j].v;
            const Triangle s = a.corners(i);
            if ((&a != &b || std::set{p, q, r, u, v, w}.size() == 6) && (pass(s, t) || pass(t, s)))
                pairs.emplace(i, j);
        }
    }
    return pairs;
}

AffineMatrix turned(double angle, const Point& origin) {
    AffineMatrix turn, move;
    turn.rotate({1, 2, 3}, {std::cos(angle), std::sin(angle), 0.5});
    move.setFrame(origin, {1, 0, 0}, {0, 1, 0}, {0, 0, 1});
    return turn * move;
}

// Every labelling and facing of the corners, so that no pattern of zeros goes its own way.
TEST(TriangleIntersect, tellsTheSegment) {
    constexpr int kOrders[6][3] = {{0, 1, 2}, {1, 2, 0}, {2, 0, 1},
                                   {0, 2, 1}, {2, 1, 0}, {1, 0, 2}};
    const Triangle flat = {{{0, 0, 0}, {4, 0, 0}, {0, 4, 0}}};

    const struct {
        Triangle other;
        double length; // of the segment; 0 where there is none
    } cases[] = {
        {{{{1, 1, -1}, {1, 1, 1}, {1, 9, 0}}}, 2},   // through
        {{{{1, 1, 0}, {2, 1, 1}, {2, 1, -1}}}, 1},   // a corner in the plane, others on both sides
        {{{{1, 1, 0}, {2, 1, 0}, {1, 1, 1}}}, 1},    // an edge in the plane
        {{{{1, 1, 0}, {1, 1, 1}, {2, 1, 1}}}, 0},    // touches with a corner
        {{{{0, 0, 0}, {-1, 0, 1}, {-1, 0, -1}}}, 0}, // shares a corner only
        {{{{1, 9, -1}, {1, 9, 1}, {1, 8, 0}}}, 0},   // apart in the line
        {{{{1, 1, 0}, {3, 1, 0}, {1, 3, 0}}}, 0},    // coplanar
        {{{{1, 1, 1}, {3, 1, 1}, {1, 3, 1}}}, 0},    // parallel
        {{{{1, 1, -1e-6}, {3, 1, 1e-6}, {1, 3, 0}}}, 0},              // within parallelTol
        {{{{1, 1, -1e-4}, {3, 1, 1e-4}, {1, 3, 0}}}, std::sqrt(5.0)}, // and not
        {{{{1, 1, -1}, {1, 1, 0}, {1, 1, 1}}}, 0},                    // collinear, inside
        {{{{1, 1, 0}, {1, 1, 0}, {1, 1, 0}}}, 0},                     // a point
        {{{{1, 1, std::nan("")}, {1, 1, 1}, {1, 9, 0}}}, 0},
    };

    for (const auto& one : cases) {
        for (int labelling = 0; labelling < 72; ++labelling) {
            SCOPED_TRACE(testing::Message() << &one - cases << ", labelling " << labelling);
            const auto& s = labelling < 36 ? flat : one.other;
            const auto& t = labelling < 36 ? one.other : flat;
            const auto& [a, b, c] = kOrders[labelling % 6];
            const auto& [d, e, f] = kOrders[labelling / 6 % 6];
            Point p{7, 7, 7}, q = p;
            EXPECT_EQ(MeshIntersect::intersect(s[a], s[b], s[c], t[d], t[e], t[f], p, q),
                      one.length > 0);
            EXPECT_NEAR(distance(p, q), one.length, 1e-9);
            if (one.length > 0) {
                EXPECT_GT(dot(q - p, cross(cross(s[b] - s[a], s[c] - s[a]),
                                           cross(t[e] - t[d], t[f] - t[d]))),
                          0);
            }
        }
    }
}

TEST(MeshIntersect, equalsBruteForce) {
    std::vector<CompactMesh> meshes = {test::torus(20, 10), test::grid(9, 9), CompactMesh()};
    test::Random random;
    for (const std::uint32_t seed : {1U, 2U, 3U}) {
        meshes.push_back(test::randomMesh(seed, 300, 400));
        std::generate_n(meshes.back().getVerticesRaw(), 900,
                        [&] { return qvLinear::narrow(random.number(0.5)); });
    }
    for (const CompactMesh& mesh : meshes) {
        const IndexedMesh on(mesh);
        const Pairs pairs = bruteForce(on, on, {});
        EXPECT_EQ(selfPairsOf(on), pairs);
        EXPECT_EQ(pairs.size() > 500, &mesh - meshes.data() > 2);
    }

    const IndexedMesh a(meshes[0]), b(test::sphere(25, 31));
    const AffineMatrix placement = turned(0.7, {1.9, 0.4, 0.2});
    AffineMatrix back;
    ASSERT_TRUE(placement.invert(back));
    const Pairs expected = bruteForce(a, b, placement);
    EXPECT_GT(expected.size(), 50U);
    EXPECT_EQ(pairsOf(a, b, placement, crossings(a, b, placement)), expected);
    EXPECT_EQ(pairsOf(b, a, back, crossings(b, a, back)), bruteForce(b, a, back));

    AffineMatrix flat;
    flat.m[0][0] = 0; // a disk in the plane of y and z
    EXPECT_FALSE(pairsOf(b, b, flat, crossings(b, b, flat)).empty());
    flat.m[3][0] = std::nan("");
    EXPECT_EQ(crossings(b, b, flat)[0].size(), 3U); // its box overlaps none
}

/// Crossings in the order in which they are met voxel by voxel: by those of each triangle in turn,
/// and for each of them by the voxels of the other mesh that it meets, the last one first.
std::vector<std::pair<int, int>> pairsByVoxels(const IndexedMesh& a, const IndexedMesh& b,
                                               const AffineMatrix& toA) {
    const auto boxesOf = [](const IndexedMesh& on, const AffineMatrix& placement) {
        std::vector<BoundingBox> boxes(on.octree.getNumVoxels());
        OctreeLeafIterator leaf(on.octree);
        for (leaf.reset(on.octree); leaf.valid(); leaf.next())
            (boxes[leaf.get().leafIndex()] = leaf.get().box).transform(placement);
        return boxes;
    };
    const std::vector<BoundingBox> boxes = boxesOf(a, {}), boxes2 = boxesOf(b, toA);
    const Pairs all = bruteForce(a, b, toA);
    ArrayOfSets voxelsOf;
    voxelsOf.assignInverse(a.mesh.getNumTriangles(), a.tris);
    std::vector<std::pair<int, int>> pairs;
    for (int i = 0; i < a.mesh.getNumTriangles(); ++i) {
        std::set<int> seen;
        for (const int* v = voxelsOf.begin(i); v != voxelsOf.end(i); ++v) {
            for (int v2 = b.tris.numSets() - 1; v2 >= 0; --v2) {
                for (const int* j = b.tris.begin(v2); j != b.tris.end(v2); ++j) {
                    if (boxes[*v].intersects(boxes2[v2]) && seen.insert(*j).second &&
                        all.count({i, *j}) > 0)
                        pairs.emplace_back(i, *j);
                }
            }
        }
    }
    return pairs;
}

// Triangles across many thin voxels, and some across most of the mesh.
TEST(MeshIntersect, goesByVoxelsInFlatMeshes) {
    CompactMesh rough = test::grid(20, 20);
    test::Random random;
    for (int v = 0; v < rough.getNumVertices(); ++v)
        rough.getVertices()[v].z = static_cast<float>(random.number(0.5));
    for (const int v : {100, 200})
        rough.getTriangles()[v] = {{v, 7, 440 - v}};
    const IndexedMesh a(rough), b(rough);
    EXPECT_GT(a.tris.numMembers(), 3 * rough.getNumTriangles());
    AffineMatrix placement;
    placement.rotate(qvLinear::Normal::z, qvLinear::Normal(0.002, 0.001, 1));
    placement.m[3][0] = 0.37;
    const Sides found = crossings(a, b, placement);
    std::vector<std::pair<int, int>> pairs;
    for (std::size_t k = 0; k < found[0].size(); ++k)
        pairs.emplace_back(found[0][k].first.triangle, found[1][k].first.triangle);
    EXPECT_GT(pairs.size(), 400U);
    EXPECT_EQ(pairs, pairsByVoxels(a, b, placement));
}

// The numbers other programs have counted.
TEST(MeshIntersect, findsTheCrossingsOfRealMeshes) {
    struct Count {
        const char* file;
        std::size_t pairs;
    };

    for (const auto& [file, pairs] : {Count{"pig_soup.stl", 52}, Count{"mannequin.mesh", 1581},
                                      Count{"spider.obj", 317}, Count{"elephant.mesh", 0}}) {
        CompactMesh mesh = test::readMeshFile(file);
        qvUtil::Progress progress;
        meshCompact(mesh, progress);
        EXPECT_EQ(selfPairsOf(IndexedMesh(mesh)).size(), pairs) << file;
    }
}

bool sameRecords(const Records& a, const Records& b) {
    const auto same = [](const MeshIntersectPair& x, const MeshIntersectPair& y) {
        return x.first.triangle == y.first.triangle &&
               std::equal(x.first.w, x.first.w + 3, y.first.w) &&
               std::equal(x.second.w, x.second.w + 3, y.second.w);
    };
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), same);
}

TEST(MeshIntersect, doesNotDependOnThreadCount) {
    const IndexedMesh mannequin(test::readMeshFile("mannequin.mesh"));
    const AffineMatrix placement = turned(0.3, {0.1, 0, 0});
    Records self;
    Sides both;
    for (const int threads : {1, 2, 3, 8}) {
        const test::ScopedThreadCount pool(threads);
        const Records records = selfCrossings(mannequin);
        const Sides sides = crossings(mannequin, mannequin, placement);
        EXPECT_GT(sides[0].size(), 3U);
        EXPECT_TRUE(threads == 1 || (sameRecords(records, self) && sameRecords(sides[0], both[0]) &&
                                     sameRecords(sides[1], both[1])))
            << threads << " threads";
        self = records;
        both = sides;
    }
}

TEST(MeshIntersect, saysWhatItDid) {
    const IndexedMesh torus(test::torus(20, 10)), flat(test::grid(2, 2));
    const IndexedMesh two(
        test::meshOf({{0, 0, 0}, {4, 0, 0}, {0, 4, 0}, {1, 1, -1}, {1, 1, 1}, {1, 9, 0}},
                     {{{0, 1, 2}}, {{3, 4, 5}}}));
    test::CapturedOutput output;
    EXPECT_EQ(selfCrossings(two).size(), 2U);
    EXPECT_EQ(output.debugWithoutSeconds(),
              "qvGeom::meshSelfIntersect: 2 triangles\n    2 tri/tri intersections\n    S s\n");

    output.clear();
    const Sides untouched = crossings(torus, flat, turned(0, {100, 0, 0}));
    EXPECT_EQ(output.debug(), "qvGeom::meshIntersect: bboxes don't overlap\n");
    EXPECT_TRUE(untouched[0].size() == 3 && untouched[1].size() == 2);

    output.clear();
    const std::size_t found = crossings(torus, flat, turned(0, {}))[0].size();
    EXPECT_EQ(output.debugWithoutSeconds(), "meshIntersect: triangles1(400) triangles2(8)\n    " +
                                                std::to_string(found) + " intersections, S s\n");
}

TEST(MeshIntersect, stopsAtTheStartOfAChunk) {
    const test::ScopedThreadCount pool(1);
    const IndexedMesh mannequin(test::readMeshFile("mannequin.mesh"));
    const Records all = selfCrossings(mannequin);
    for (const int reports : {0, 60, -1}) {
        test::CancelAfter cancel(reports);
        Records found(5);
        MeshIntersect(mannequin.mesh, mannequin.octree, mannequin.tris)
            .selfIntersect(cancel.progress(), found);
        EXPECT_EQ(found.empty(), reports == 0);
        EXPECT_EQ(found.size() == all.size(), reports < 0);
        const auto length = static_cast<std::ptrdiff_t>(found.size());
        EXPECT_TRUE(sameRecords(found, Records(all.begin(), all.begin() + length)));
        if (reports < 0)
            EXPECT_EQ(cancel.fractions().back(), 1);
        else
            EXPECT_EQ(cancel.fractions().size(), static_cast<std::size_t>(reports));
    }
}

} // namespace
} // namespace qvGeom
