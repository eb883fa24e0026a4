#include "qvGeom/improvement/GeomReduce.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <gtest/gtest.h>
#include <map>
#include <random>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "qvGeom/editing/GeomConvertRep.h"
#include "qvGeom/foundation/cache/MeshCache.h"
#include "qvGeom/foundation/geometry/MeshCoord.h"
#include "qvGeom/foundation/linear/Linear.h"
#include "qvGeom/improvement/GeomEdgeSwap.h"
#include "qvGeom/planar/GeomPlaneFit.h"
#include "qvGeom/spatial/GeomClosestPoint.h"
#include "qvGeom/topology/GeomAdjacency.h"

#include "support/CancelAfter.h"
#include "support/HeardNotices.h"
#include "support/MeshBuilders.h"
#include "support/MeshFiles.h"
#include "support/ScopedThreadCount.h"
#include "support/Topology.h"

namespace {

using qvGeom::CompactMesh;
using qvGeom::TopoMesh;
using qvLinear::Point;

enum Goal { Fraction, Tolerance };

/// The triangles by their corners, each beginning with the lowest, in ascending order.
std::vector<std::array<int, 3>> trianglesOf(const CompactMesh& mesh) {
    std::vector<std::array<int, 3>> all;
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        std::array<int, 3> corners;
        std::copy_n(mesh.getTriangles()[t].v, 3, corners.begin());
        std::rotate(corners.begin(), std::min_element(corners.begin(), corners.end()),
                    corners.end());
        all.push_back(corners);
    }
    std::sort(all.begin(), all.end());
    return all;
}

/// A reduction of a copy of a mesh, and what it announced.
struct Reduction {
    Reduction(const CompactMesh& mesh, Goal goal, double amount, int cancelAfter = -1)
        : before(mesh),
          after(mesh),
          cancel(cancelAfter) {
        test::HeardNotices heard(after);
        if (goal == Fraction)
            meshReduceToFraction(after, amount, cancel.progress(), removed);
        else
            deviation = meshReduceWithTolerance(after, amount, cancel.progress(), removed);
        notices = heard.take();
        newVertices = heard.vertexMap();
    }

    /// Whether the mesh is sound, the one notice maps its vertices and `removed` has the others.
    void check() const {
        EXPECT_TRUE(test::Topology(before) == test::Topology(after));
        std::set<test::Position> gone;
        for (const Point& p : removed) {
            const qvLinear::PointFlt q = qvLinear::narrow(p);
            gone.insert({q.x, q.y, q.z});
        }
        int numKept = 0;
        for (int v = 0; v < before.getNumVertices(); ++v) {
            const int now = notices.empty() ? v : newVertices[v];
            ASSERT_EQ(now, now >= 0 ? numKept++ : -1);
            const test::Position position = test::positionOf(before, v);
            ASSERT_TRUE(now >= 0 ? position == test::positionOf(after, now)
                                 : gone.contains(position));
        }
        EXPECT_EQ(numKept, after.getNumVertices());
        EXPECT_GE(removed.size(), before.getNumVertices() - numKept);
        EXPECT_EQ(notices, numKept < before.getNumVertices() ? "Topology remapped;" : "");
    }

    CompactMesh before, after;
    test::CancelAfter cancel;
    std::vector<Point> removed;
    std::string notices;
    std::vector<int> newVertices;
    double deviation = 0;
};

TEST(MeshReduce, keepsTopologyAndDistanceOfRealMeshes) {
    for (const char* file : {"elephant.mesh", "mannequin.mesh", "masks_holes.mesh",
                             "lion_holes.mesh", "patella.mesh", "terrain.mesh"}) {
        SCOPED_TRACE(file);
        const CompactMesh mesh = test::readMeshFile(file);
        for (const double fraction : {0.5, 0.1, 0.02}) {
            SCOPED_TRACE(fraction);
            const Reduction reduction(mesh, Fraction, fraction);
            reduction.check();
            const int target = static_cast<int>(fraction * mesh.getNumVertices());
            EXPECT_GE(reduction.after.getNumVertices(), target);
            if (fraction == 0.5) { // it may end when one more iteration would do
                EXPECT_LE(reduction.after.getNumVertices(), 1.01 * target);
            }
        }
        qvLinear::Range3d box;
        mesh.getBoundingBox(box);
        for (const double share : {2e-4, 1e-3, 1e-2}) {
            SCOPED_TRACE(share);
            const double tolerance = share * distance(box.min, box.max);
            const Reduction reduction(mesh, Tolerance, tolerance);
            reduction.check();
            EXPECT_LE(reduction.deviation, tolerance);
            qvGeom::SimpleMeshCache cache;
            const auto octree = cache.getOctree(reduction.after, 16);
            const auto octreeTris = cache.getOctreeTris(reduction.after);
            qvGeom::MeshClosestPoint closest(reduction.after, *octree, *octreeTris);
            qvGeom::MeshCoord coord;
            for (const Point& p : reduction.removed)
                ASSERT_LE(closest.find(p, coord), reduction.deviation);
        }
    }
}

/// A closed bumpy surface whose edges were turned at random, so that holes have common neighbours.
CompactMesh roughSphere(unsigned seed, int numTurns) {
    CompactMesh mesh = test::sphere(11, 14);
    for (int v = 0; v < mesh.getNumVertices(); ++v)
        mesh.getVertices()[v].z += 0.1F * std::sin(7 * mesh.getVertices()[v].x);
    qvGeom::MeshAdjTris adjTris;
    meshAdjTris(mesh, adjTris);
    qvGeom::MeshModifyRep rep(mesh, adjTris);
    std::mt19937 random(seed);
    for (int turn = 0; turn < numTurns; ++turn)
        rep.getTopoMesh().swapEdge(static_cast<int>(random() % rep.getTopoMesh().numEdges()));
    qvGeom::Array<int> remap;
    rep.merge(remap, nullptr);
    return mesh;
}

/// The flattest vertices amid a fan of triangles, none of them beside another.
std::set<int> verticesOfOnePass(const CompactMesh& mesh, const qvGeom::MeshAdjTris& adjTris,
                                int numLeft) {
    qvGeom::MeshAdjVertices adjVertices;
    meshAdjVertices(mesh, adjTris, adjVertices);
    const auto neighboursOf = [&](int v) {
        return std::vector(adjVertices.getVertices(v),
                           adjVertices.getVertices(v) + adjVertices.getCount(v));
    };
    std::multimap<double, int> byFlatness;
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        std::vector<int> around = neighboursOf(v);
        around.push_back(v);
        std::vector<Point> points;
        for (const int u : around) {
            const auto [x, y, z] = test::positionOf(mesh, u);
            points.push_back({x, y, z});
        }
        qvLinear::Plane plane;
        qvGeom::fit(static_cast<int>(points.size()), points.data(), plane);
        double flatness = 0;
        for (const Point& p : points)
            flatness = std::max(flatness, std::abs(plane.eval(p)));
        byFlatness.emplace(flatness, v);
    }
    std::set<int> chosen;
    for (const auto& [flatness, v] : byFlatness) {
        const std::vector<int> around = neighboursOf(v);
        if (mesh.getNumVertices() - std::ssize(chosen) > numLeft &&
            std::ssize(around) == adjTris.setSize(v) &&
            std::none_of(around.begin(), around.end(), [&](int u) { return chosen.contains(u); }))
            chosen.insert(v);
    }
    return chosen;
}

/// Turns edges away from a vertex until three are left, and the others again where that is better.
bool remove(qvGeom::MeshModifyRep& rep, int v) {
    TopoMesh& topo = rep.getTopoMesh();
    const qvGeom::TopoMeshVertex t = rep.getTopoMeshVertex(v);
    std::vector<int> around = {topo.vertexEdge(t.id)};
    int valence = t.valence();
    while (static_cast<int>(around.size()) < valence)
        around.push_back(topo.edgeTwin(topo.edgePrev(around.back())));
    qvGeom::MeshEdgeSwapper swapper;
    std::vector<int> reduced;
    for (auto e = around.begin(); valence > 3 && e != around.end(); ++e) {
        bool veto = false;
        swapper.preventFoldover({&topo, *e}, veto);
        if (!veto && topo.swapEdge(*e)) {
            reduced.push_back(*e);
            --valence;
        }
    }
    if (valence > 3 || topo.deleteVertex(t).isNull()) {
        while (!reduced.empty()) {
            topo.swapEdge(reduced.back());
            reduced.pop_back();
        }
        return false;
    }
    rep.removeVertex(t);
    for (int round = 0; round < 10; ++round) {
        for (const int e : reduced) {
            bool veto = false;
            swapper.minimizeOppositeAngleSum({&topo, e}, veto);
            if (!veto)
                topo.swapEdge(e);
        }
    }
    return true;
}

// One pass done to the letter in a half-edge mesh, written back if two thirds could be removed.
TEST(MeshReduce, removesWhatHalfEdgeOperationsWould) {
    const CompactMesh tetrahedron =
        test::meshOf({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 0.1F}},
                     {{{0, 2, 1}}, {{0, 1, 3}}, {{1, 2, 3}}, {{2, 0, 3}}});
    int numWritten = 0;
    for (unsigned seed = 0; seed < 60; ++seed) {
        SCOPED_TRACE(seed);
        const test::ScopedThreadCount pool(static_cast<int>(seed % 3) + 1);
        CompactMesh mesh = roughSphere(seed, 10 * static_cast<int>(seed % 12));
        for (unsigned refused = 0; refused < seed % 40; ++refused)
            mesh = test::joined(mesh, tetrahedron);
        // Fewer than 100 removals: first asked whether to go on after the chunk.
        const Reduction reduction(mesh, Fraction, 0.3, 0);
        CompactMesh literal = mesh;
        qvGeom::MeshAdjTris adjTris;
        meshAdjTris(mesh, adjTris);
        const auto chosen =
            verticesOfOnePass(mesh, adjTris, static_cast<int>(0.3 * mesh.getNumVertices()));
        qvGeom::MeshModifyRep rep(literal, adjTris);
        const auto numRemoved =
            std::count_if(chosen.begin(), chosen.end(), [&](int v) { return remove(rep, v); });
        qvGeom::Array<int> remap;
        if (numRemoved > 0 && std::ssize(chosen) <= 3 * numRemoved / 2)
            rep.merge(remap, nullptr);
        EXPECT_EQ(trianglesOf(reduction.after), trianglesOf(literal));
        numWritten += !reduction.notices.empty();
    }
    EXPECT_TRUE(numWritten > 20 && numWritten < 50);
}

// Catches an order of equally flat vertices that leaves those which cannot be removed, and two
// holes closed by the same triangle: at the tips of a double pyramid, or turn by turn.
TEST(MeshReduce, removesAllThatCanBe) {
    const std::tuple<CompactMesh, double, int> cases[] = {
        {test::grid(99, 99), 0.1, 1010},
        {test::shuffled(test::grid(99, 99), 1), 0.1, 1010},
        {test::sphere(1, 3), 0, 4},
        {test::sphere(1, 4), 0, 4},
        {test::sphere(1, 30), 0, 4}};
    for (const auto& [mesh, fraction, most] : cases) {
        const Reduction reduction(mesh, Fraction, fraction);
        reduction.check();
        EXPECT_LE(reduction.after.getNumVertices(), most);
    }
}

// What is asked for is reached, or only the boundary is left.
TEST(MeshReduce, leavesAloneWhatItNeedNotTouch) {
    const std::tuple<CompactMesh, Goal, double> cases[] = {
        {test::sphere(9, 9), Fraction, 1.0}, {test::sphere(9, 9), Fraction, 1e30},
        {test::sphere(9, 9), Fraction, NAN}, {test::grid(9, 9), Tolerance, 0.0},
        {test::grid(9, 9), Tolerance, -1.0}, {test::grid(9, 9), Tolerance, NAN},
        {test::openFan(9), Fraction, 0.0},   {test::bowTie(), Fraction, 0.0},
        {test::strip(7), Fraction, 0.0}};
    for (auto [mesh, goal, amount] : cases) {
        mesh.getSelectedVertices() = test::selectionOf(mesh.getNumVertices(), {0});
        const Reduction reduction(mesh, goal, amount);
        EXPECT_EQ(trianglesOf(reduction.after), trianglesOf(mesh));
        EXPECT_EQ(reduction.after.getSelectedVertices().numSetBits(), 1);
        EXPECT_EQ(reduction.notices, "");
        EXPECT_EQ(reduction.deviation, 0);
    }
    // Two fans that close around one vertex; tried, and refused.
    CompactMesh pinched = test::joined(test::grid(2, 2), test::grid(2, 2));
    std::replace(pinched.getTrianglesRaw(), pinched.getTrianglesRaw() + 48, 13, 4);
    pinched.getSelectedVertices() = test::selectionOf(pinched.getNumVertices(), {0});
    const Reduction refused(pinched, Fraction, 0);
    EXPECT_EQ(refused.notices, "");
    EXPECT_EQ(refused.after.getSelectedVertices().size(), 0);
}

TEST(MeshReduce, stopsWhereItIsCancelledWithASoundMesh) {
    const CompactMesh mesh = test::shuffled(test::torus(60, 40), 3);
    for (const auto& [goal, amount] : {std::pair(Fraction, 0.1), {Tolerance, 0.05}}) {
        const std::vector<double> fractions = Reduction(mesh, goal, amount).cancel.fractions();
        const auto numReports = static_cast<int>(fractions.size());
        EXPECT_GT(numReports, 5);
        EXPECT_TRUE(std::is_sorted(fractions.begin(), fractions.end()));
        for (int reports = 0; reports <= numReports; reports += goal == Fraction ? 1 : 3) {
            SCOPED_TRACE(reports);
            Reduction(mesh, goal, amount, reports).check();
        }
    }
}

// Any mesh may come, whatever its coordinates and however its triangles hang together.
TEST(MeshReduce, survivesAnyMesh) {
    for (unsigned seed = 0; seed < 40; ++seed) {
        CompactMesh mesh = test::randomMesh(seed, 30, 60);
        if (seed % 2 == 0)
            mesh = roughSphere(seed, 300);
        for (int v = 0; v < mesh.getNumVertices(); v += 9)
            mesh.getVertices()[v].x = seed % 4 < 2 ? NAN : 3e38F;
        for (const auto& [goal, amount] :
             {std::pair<Goal, double>(Fraction, 0.2), {Tolerance, INFINITY}}) {
            const Reduction reduction(mesh, goal, amount);
            for (int c = 0; c < 3 * reduction.after.getNumTriangles(); ++c)
                ASSERT_LT(static_cast<unsigned>(reduction.after.getTrianglesRaw()[c]),
                          static_cast<unsigned>(reduction.after.getNumVertices()));
        }
    }
}

} // namespace
