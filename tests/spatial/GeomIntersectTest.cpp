#include "qvGeom/spatial/GeomIntersect.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <deque>
#include <gtest/gtest.h>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "qvGeom/editing/GeomVertexWeld.h"
#include "qvGeom/foundation/geometry/Octree.h"
#include "qvGeom/foundation/geometry/OctreeTris.h"
#include "qvGeom/foundation/linear/Linear.h"
#include "qvGeom/spatial/GeomOctree.h"

#include "support/CancelAfter.h"
#include "support/CapturedOutput.h"
#include "support/MeshBuilders.h"
#include "support/MeshFiles.h"
#include "support/ScopedThreadCount.h"
#include "support/Trees.h"

namespace {

using qvGeom::CompactMesh;
using qvGeom::MeshIntersect;
using qvGeom::MeshIntersectPair;
using qvGeom::MeshTriangle;
using qvGeom::MeshVertex;
using qvGeom::Octree;
using qvGeom::OctreeTris;
using qvLinear::AffineMatrix;
using qvLinear::Point;
using qvLinear::Vector;

using Records = std::deque<MeshIntersectPair>;
using Pairs = std::set<std::pair<int, int>>;

struct Indexed {
    CompactMesh mesh;
    Octree octree;
    OctreeTris tris;

    explicit Indexed(const CompactMesh& m) : mesh(m), octree(test::octreeOf(mesh)) {
        computeOctreeTris(mesh, octree, tris);
    }

    Records crossings() const {
        Records found;
        qvUtil::Progress progress;
        MeshIntersect(mesh, octree, tris).selfIntersect(progress, found);
        return found;
    }

    std::array<Records, 2> crossingsWith(const Indexed& other,
                                         const AffineMatrix& placement) const {
        std::array<Records, 2> found;
        qvUtil::Progress progress;
        MeshIntersect(mesh, octree, tris)
            .intersect(other.mesh, other.octree, other.tris, placement, progress, found[0],
                       found[1]);
        return found;
    }

    Point at(const qvGeom::MeshCoord& coord) const {
        return coord.evaluate(mesh.getVertices(), mesh.getTriangles());
    }
};

Pairs pairsOf(const Records& on1, const Records& on2) {
    Pairs pairs;
    for (std::size_t k = 0; k < on1.size(); ++k) {
        EXPECT_EQ(on1[k].first.triangle, on1[k].second.triangle);
        EXPECT_TRUE(pairs.emplace(on1[k].first.triangle, on2[k].first.triangle).second);
    }
    return pairs;
}

/// Of one mesh: the higher triangle first.
Pairs pairsOf(const Records& records) {
    Records on[2];
    for (std::size_t k = 0; k < records.size(); ++k)
        on[k % 2].push_back(records[k]);
    return pairsOf(on[0], on[1]);
}

std::array<Point, 3> cornersOf(const CompactMesh& mesh, int triangle) {
    std::array<Point, 3> corners;
    for (int k = 0; k < 3; ++k) {
        const MeshVertex& v = mesh.getVertices()[mesh.getTriangles()[triangle][k]];
        corners[k] = {v.x, v.y, v.z};
    }
    return corners;
}

long double volume(const Point& a, const Point& b, const Point& c, const Point& d) {
    const long double u[3] = {b.x - a.x, b.y - a.y, b.z - a.z};
    const long double v[3] = {c.x - a.x, c.y - a.y, c.z - a.z};
    const long double w[3] = {d.x - a.x, d.y - a.y, d.z - a.z};
    return u[0] * (v[1] * w[2] - v[2] * w[1]) - u[1] * (v[0] * w[2] - v[2] * w[0]) +
           u[2] * (v[0] * w[1] - v[1] * w[0]);
}

/// By signs of volumes: an edge of one triangle passes through the inside of the other. Without
/// tolerances, and without plane normals.
bool pass(const std::array<Point, 3>& s, const std::array<Point, 3>& t) {
    for (int k = 0; k < 3; ++k) {
        const Point &p = s[k], &q = s[(k + 1) % 3];
        if (volume(t[0], t[1], t[2], p) * volume(t[0], t[1], t[2], q) >= 0)
            continue;
        const long double a = volume(p, q, t[0], t[1]), b = volume(p, q, t[1], t[2]),
                          c = volume(p, q, t[2], t[0]);
        if ((a > 0 && b > 0 && c > 0) || (a < 0 && b < 0 && c < 0))
            return true;
    }
    return false;
}

bool cross(const std::array<Point, 3>& s, const std::array<Point, 3>& t) {
    return pass(s, t) || pass(t, s);
}

bool shareVertex(const MeshTriangle& a, const MeshTriangle& b) {
    return std::any_of(a.v, a.v + 3, [&](int v) { return std::count(b.v, b.v + 3, v) > 0; });
}

/// Of triangles with three different corners: others share no more than a point.
Pairs bruteForce(const CompactMesh& mesh) {
    const auto isSegment = [&](int triangle) {
        const MeshTriangle& t = mesh.getTriangles()[triangle];
        return t[0] == t[1] || t[1] == t[2] || t[2] == t[0];
    };
    Pairs pairs;
    for (int i = 0; i < mesh.getNumTriangles(); ++i) {
        const std::array<Point, 3> corners = cornersOf(mesh, i);
        for (int j = 0; j < i; ++j) {
            if (!isSegment(i) && !isSegment(j) &&
                !shareVertex(mesh.getTriangles()[i], mesh.getTriangles()[j]) &&
                cross(corners, cornersOf(mesh, j)))
                pairs.emplace(i, j);
        }
    }
    return pairs;
}

AffineMatrix turned(double angle, const Vector& move) {
    AffineMatrix matrix;
    matrix.setFrame({move.x, move.y, move.z}, {std::cos(angle), std::sin(angle), 0},
                    {-std::sin(angle), std::cos(angle), 0}, {0, 0, 1});
    AffineMatrix tilt;
    tilt.rotate(qvLinear::Normal::z, qvLinear::Normal(1, 2, 3));
    return tilt * matrix;
}

struct TrianglePair {
    const char* name;
    std::array<Point, 3> first, second;
    double length; // of the segment; 0 where there is none
};

const std::array<Point, 3> kFlat = {{{0, 0, 0}, {4, 0, 0}, {0, 4, 0}}};
const std::vector<TrianglePair> kTrianglePairs = {
    {"through", kFlat, {{{1, 1, -1}, {1, 1, 1}, {1, 9, 0}}}, 2},
    {"one corner in the plane, the others on both sides",
     kFlat,
     {{{1, 1, 0}, {2, 1, 1}, {2, 1, -1}}},
     1},
    {"an edge in the plane", kFlat, {{{1, 1, 0}, {2, 1, 0}, {1, 1, 1}}}, 1},
    {"touches with a corner", kFlat, {{{1, 1, 0}, {1, 1, 1}, {2, 1, 1}}}, 0},
    {"shares a corner only", kFlat, {{{0, 0, 0}, {-1, 0, 1}, {-1, 0, -1}}}, 0},
    {"apart in the line", kFlat, {{{1, 9, -1}, {1, 9, 1}, {1, 8, 0}}}, 0},
    {"coplanar", kFlat, {{{1, 1, 0}, {3, 1, 0}, {1, 3, 0}}}, 0},
    {"parallel", kFlat, {{{1, 1, 1}, {3, 1, 1}, {1, 3, 1}}}, 0},
    {"within parallelTol", kFlat, {{{1, 1, -1e-6}, {3, 1, 1e-6}, {1, 3, 0}}}, 0},
    {"not within parallelTol", kFlat, {{{1, 1, -1e-4}, {3, 1, 1e-4}, {1, 3, 0}}}, std::sqrt(5.0)},
    {"collinear, inside", kFlat, {{{1, 1, -1}, {1, 1, 0}, {1, 1, 1}}}, 0},
    {"a point", kFlat, {{{1, 1, 0}, {1, 1, 0}, {1, 1, 0}}}, 0},
    {"not numbers", kFlat, {{{1, 1, std::nan("")}, {1, 1, 1}, {1, 9, 0}}}, 0},
};

// Every labelling and facing of the corners, so that no pattern of zeros goes its own way.
TEST(TriangleIntersect, tellsTheSegment) {
    constexpr int kOrders[6][3] = {{0, 1, 2}, {1, 2, 0}, {2, 0, 1},
                                   {0, 2, 1}, {2, 1, 0}, {1, 0, 2}};
    for (const TrianglePair& pair : kTrianglePairs) {
        for (int labelling = 0; labelling < 72; ++labelling) {
            SCOPED_TRACE(testing::Message() << pair.name << ", labelling " << labelling);
            const auto& s = labelling < 36 ? pair.first : pair.second;
            const auto& t = labelling < 36 ? pair.second : pair.first;
            const auto& [a, b, c] = kOrders[labelling % 6];
            const auto& [d, e, f] = kOrders[labelling / 6 % 6];
            Point p{7, 7, 7}, q = p;
            EXPECT_EQ(MeshIntersect::intersect(s[a], s[b], s[c], t[d], t[e], t[f], p, q),
                      pair.length > 0);
            EXPECT_NEAR(distance(p, q), pair.length, 1e-9);
            if (pair.length > 0) {
                EXPECT_GT(dot(q - p, qvLinear::cross(qvLinear::cross(s[b] - s[a], s[c] - s[a]),
                                                     qvLinear::cross(t[e] - t[d], t[f] - t[d]))),
                          0);
            }
        }
    }
}

TEST(MeshSelfIntersect, equalsBruteForce) {
    std::vector<CompactMesh> meshes = {test::torus(20, 10), test::grid(9, 9)};
    for (const std::uint32_t seed : {1U, 2U, 3U}) {
        CompactMesh mesh = test::randomMesh(seed, 300, 400);
        std::mt19937 random(seed);
        std::uniform_real_distribution<float> unit(0, 1);
        std::generate_n(mesh.getVerticesRaw(), 3 * mesh.getNumVertices(),
                        [&] { return unit(random); });
        meshes.push_back(mesh);
    }
    for (const CompactMesh& mesh : meshes) {
        const Indexed indexed(mesh);
        const Records records = indexed.crossings();
        EXPECT_EQ(pairsOf(records), bruteForce(mesh));
        for (std::size_t k = 0; k < records.size(); k += 2) {
            EXPECT_LT(distance(indexed.at(records[k].first), indexed.at(records[k + 1].first)),
                      1e-6);
            EXPECT_LT(distance(indexed.at(records[k].second), indexed.at(records[k + 1].second)),
                      1e-6);
        }
    }
    EXPECT_GT(Indexed(meshes[2]).crossings().size(), 1000U);
    EXPECT_TRUE(Indexed(CompactMesh()).crossings().empty());
}

// The numbers other programs have counted.
TEST(MeshSelfIntersect, findsTheCrossingsOfRealMeshes) {
    struct Count {
        const char* file;
        std::size_t pairs;
    };

    for (const auto& [file, pairs] : {Count{"pig_soup.stl", 52}, Count{"mannequin.mesh", 1581},
                                      Count{"spider.obj", 317}, Count{"elephant.mesh", 0}}) {
        CompactMesh mesh = test::readMeshFile(file);
        qvUtil::Progress progress;
        meshCompact(mesh, progress);
        EXPECT_EQ(pairsOf(Indexed(mesh).crossings()).size(), pairs) << file;
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
    const Indexed mannequin(test::readMeshFile("mannequin.mesh"));
    const AffineMatrix placement = turned(0.3, {0.1, 0, 0});
    Records self;
    std::array<Records, 2> both;
    for (const int threads : {1, 2, 3, 8}) {
        const test::ScopedThreadCount pool(threads);
        const Records records = mannequin.crossings();
        const std::array<Records, 2> pair = mannequin.crossingsWith(mannequin, placement);
        if (threads == 1) {
            self = records;
            both = pair;
        }
        EXPECT_FALSE(pair[0].empty());
        EXPECT_TRUE(sameRecords(records, self) && sameRecords(pair[0], both[0]) &&
                    sameRecords(pair[1], both[1]))
            << threads << " threads";
    }
}

TEST(MeshIntersect, doesNotDependOnRolesOrPlace) {
    const Indexed a(test::torus(40, 20)), b(test::sphere(25, 31));
    const AffineMatrix placement = turned(0.7, {1.9, 0.4, 0.2});
    AffineMatrix back;
    ASSERT_TRUE(placement.invert(back));
    const std::array<Records, 2> there = a.crossingsWith(b, placement);
    const Pairs pairs = pairsOf(there[0], there[1]);
    Pairs expected;
    for (int i = 0; i < a.mesh.getNumTriangles(); ++i) {
        for (int j = 0; j < b.mesh.getNumTriangles(); ++j) {
            std::array<Point, 3> corners = cornersOf(b.mesh, j);
            for (Point& p : corners)
                p = p * placement;
            if (cross(cornersOf(a.mesh, i), corners))
                expected.emplace(i, j);
        }
    }
    EXPECT_GT(expected.size(), 50U);
    EXPECT_EQ(pairs, expected);
    for (std::size_t k = 0; k < there[0].size(); ++k)
        EXPECT_LT(distance(a.at(there[0][k].second), b.at(there[1][k].second) * placement), 1e-6);

    const std::array<Records, 2> swapped = b.crossingsWith(a, back);
    EXPECT_EQ(pairsOf(swapped[1], swapped[0]), expected);

    CompactMesh moved = a.mesh; // rounded to floats: pairs may be lost or won at ends of segments
    const AffineMatrix move = turned(-1.1, {3, -2, 1});
    for (int v = 0; v < moved.getNumVertices(); ++v) {
        MeshVertex& p = moved.getVertices()[v];
        const auto [x, y, z] = narrow(Point{p.x, p.y, p.z} * move);
        p = {x, y, z};
    }
    const std::array<Records, 2> elsewhere = Indexed(moved).crossingsWith(b, placement * move);
    EXPECT_EQ(pairsOf(elsewhere[0], elsewhere[1]), expected);
}

TEST(MeshIntersect, copesWithPlacementsThatFlatten) {
    const Indexed sphere(test::sphere(20, 20));
    AffineMatrix flat;
    flat.m[0][0] = 0; // a disk in the plane of y and z
    const std::array<Records, 2> found = sphere.crossingsWith(sphere, flat);
    EXPECT_FALSE(found[0].empty());
    for (std::size_t k = 0; k < found[0].size(); ++k)
        EXPECT_LT(distance(sphere.at(found[0][k].first), sphere.at(found[1][k].first) * flat),
                  1e-6);
    flat.m[3][0] = std::nan("");
    EXPECT_TRUE(sphere.crossingsWith(sphere, flat)[0].empty());
}

TEST(MeshIntersect, saysWhatItDid) {
    const Indexed torus(test::torus(20, 10)), flat(test::grid(2, 2));
    const Indexed two(
        test::meshOf({{0, 0, 0}, {4, 0, 0}, {0, 4, 0}, {1, 1, -1}, {1, 1, 1}, {1, 9, 0}},
                     {{{0, 1, 2}}, {{3, 4, 5}}}));
    test::CapturedOutput output;
    EXPECT_EQ(two.crossings().size(), 2U);
    EXPECT_EQ(output.debugWithoutSeconds(),
              "qvGeom::meshSelfIntersect: 2 triangles\n    2 tri/tri intersections\n    S s\n");

    output.clear();
    MeshIntersect search(torus.mesh, torus.octree, torus.tris);
    qvUtil::Progress progress;
    Records out1(3), out2(2);
    AffineMatrix away;
    away.m[3][0] = 100;
    search.intersect(flat.mesh, flat.octree, flat.tris, away, progress, out1, out2);
    EXPECT_EQ(output.debug(), "qvGeom::meshIntersect: bboxes don't overlap\n");
    EXPECT_TRUE(out1.size() == 3 && out2.size() == 2);

    output.clear();
    search.intersect(flat.mesh, flat.octree, flat.tris, turned(0, {}), progress, out1, out2);
    EXPECT_EQ(output.debugWithoutSeconds(), "meshIntersect: triangles1(400) triangles2(8)\n    " +
                                                std::to_string(out1.size()) +
                                                " intersections, S s\n");
    EXPECT_GT(out1.size(), 0U);
    EXPECT_EQ(out1.size(), out2.size());
}

TEST(MeshIntersect, stopsAtTheStartOfAChunk) {
    const test::ScopedThreadCount pool(1);
    const Indexed mannequin(test::readMeshFile("mannequin.mesh"));
    const Records all = mannequin.crossings();
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
