#include "qvGeom/improvement/GeomReduce.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <gtest/gtest.h>
#include <numeric>
#include <random>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "qvGeom/editing/GeomConvertRep.h"
#include "qvGeom/foundation/geometry/MeshCoord.h"
#include "qvGeom/foundation/linear/Linear.h"
#include "qvGeom/spatial/GeomClosestPoint.h"

#include "support/Adjacency.h"
#include "support/CancelAfter.h"
#include "support/HeardNotices.h"
#include "support/MeshFiles.h"
#include "support/ScopedThreadCount.h"
#include "support/Topology.h"
#include "support/Trees.h"

namespace {

using qvGeom::CompactMesh;
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

    /// How far each removed point is from the result.
    std::vector<double> distances() const {
        const test::IndexedMesh indexed(after);
        qvGeom::MeshClosestPoint closest(indexed.mesh, indexed.octree, indexed.tris);
        qvGeom::MeshCoord coord;
        std::vector<double> all;
        for (const Point& p : removed)
            all.push_back(closest.find(p, coord));
        return all;
    }

    /// The share of triangles that are less than a twelfth as high as wide.
    double shareOfThin() const {
        double numThin = 0;
        for (int t = 0; t < after.getNumTriangles(); ++t) {
            std::array<Point, 3> p;
            std::transform(after.getTriangles()[t].v, after.getTriangles()[t].v + 3, p.begin(),
                           [this](int v) { return qvLinear::widen(after.getVertices()[v]); });
            const double width2 =
                std::max({distance2(p[0], p[1]), distance2(p[1], p[2]), distance2(p[2], p[0])});
            numThin += 12 * cross(p[1] - p[0], p[2] - p[0]).length() < width2;
        }
        return numThin / after.getNumTriangles();
    }

    CompactMesh before, after;
    test::CancelAfter cancel;
    std::vector<Point> removed;
    std::string notices;
    std::vector<int> newVertices;
    double deviation = 0;
};

TEST(MeshReduce, keepsTopologyAndDistanceOfRealMeshes) {
    // How far what is removed is from a tenth of the mesh in the mean, by the diagonal.
    const std::pair<const char*, double> cases[] = {
        {"elephant.mesh", 5e-4},   {"mannequin.mesh", 1.5e-3}, {"masks_holes.mesh", 2.1e-3},
        {"lion_holes.mesh", 2e-3}, {"patella.mesh", 5e-3},     {"terrain.mesh", 9e-4}};
    for (const auto& [file, meanDistance] : cases) {
        SCOPED_TRACE(file);
        const CompactMesh mesh = test::readMeshFile(file);
        qvLinear::Range3d box;
        mesh.getBoundingBox(box);
        const double diagonal = distance(box.min, box.max);
        for (const double fraction : {0.5, 0.1, 0.02}) {
            SCOPED_TRACE(fraction);
            const Reduction reduction(mesh, Fraction, fraction);
            reduction.check();
            const int target = static_cast<int>(fraction * mesh.getNumVertices());
            EXPECT_GE(reduction.after.getNumVertices(), target);
            if (fraction == 0.5) { // it may end when one more iteration would do
                EXPECT_LE(reduction.after.getNumVertices(), 1.01 * target);
            }
            if (fraction == 0.1) {
                const std::vector<double> distances = reduction.distances();
                const double sum = std::accumulate(distances.begin(), distances.end(), 0.0);
                EXPECT_LE(sum, static_cast<double>(distances.size()) * meanDistance * diagonal);
                EXPECT_LE(reduction.shareOfThin(), 0.015);
            }
        }
        for (const double share : {2e-4, 1e-3, 1e-2}) {
            SCOPED_TRACE(share);
            const double tolerance = share * diagonal;
            const Reduction reduction(mesh, Tolerance, tolerance);
            reduction.check();
            EXPECT_LE(reduction.deviation, tolerance);
            for (const double d : reduction.distances())
                ASSERT_LE(d, reduction.deviation);
        }
    }
}

/// A closed bumpy surface whose edges were turned at random, so that holes have common neighbours.
CompactMesh roughSphere(unsigned seed, int numTurns) {
    CompactMesh mesh = test::sphere(11, 14);
    for (int v = 0; v < mesh.getNumVertices(); ++v)
        mesh.getVertices()[v].z += 0.1F * std::sin(7 * mesh.getVertices()[v].x);
    const qvGeom::MeshAdjTris adjTris = test::adjTrisOf(mesh);
    qvGeom::MeshModifyRep rep(mesh, adjTris);
    std::mt19937 random(seed);
    for (int turn = 0; turn < numTurns; ++turn)
        rep.getTopoMesh().swapEdge(static_cast<int>(random() % rep.getTopoMesh().numEdges()));
    qvGeom::Array<int> remap;
    rep.merge(remap, nullptr);
    return mesh;
}

TEST(MeshReduce, isSoundAndTheSameOnAllThreadCounts) {
    for (unsigned seed = 0; seed < 24; ++seed) {
        SCOPED_TRACE(seed);
        const CompactMesh mesh = roughSphere(seed, 10 * static_cast<int>(seed % 12));
        std::set<std::vector<std::array<int, 3>>> results;
        for (const int threads : {1, 2, 3}) {
            const test::ScopedThreadCount pool(threads);
            const Reduction reduction(mesh, Fraction, 0.3);
            reduction.check();
            results.insert(trianglesOf(reduction.after));
        }
        EXPECT_EQ(results.size(), 1U);
    }
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
