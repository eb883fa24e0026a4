#include "qvGeom/improvement/GeomReduce.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "qvGeom/editing/GeomConvertRep.h"
#include "qvGeom/foundation/cache/MeshCache.h"
#include "qvGeom/foundation/geometry/MeshCoord.h"
#include "qvGeom/foundation/geometry/MeshModification.h"
#include "qvGeom/foundation/geometry/MeshRemap.h"
#include "qvGeom/foundation/geometry/Remap.h"
#include "qvGeom/foundation/linear/Linear.h"
#include "qvGeom/improvement/GeomEdgeSwap.h"
#include "qvGeom/planar/GeomPlaneFit.h"
#include "qvGeom/spatial/GeomClosestPoint.h"
#include "qvGeom/topology/GeomAdjacency.h"
#include "qvGeom/topology/GeomComponents.h"

#include "support/CancelAfter.h"
#include "support/MeshBuilders.h"
#include "support/MeshFiles.h"
#include "support/ScopedThreadCount.h"

namespace {

using qvGeom::CompactMesh;
using qvGeom::MeshTriangle;
using qvGeom::TopoMesh;
using qvLinear::Point;

using Position = std::array<float, 3>;

Position positionOf(const CompactMesh& mesh, int v) {
    return {mesh.getVertices()[v].x, mesh.getVertices()[v].y, mesh.getVertices()[v].z};
}

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

/// What a reduction must not change. Two triangles on the same corners would show as an edge that
/// is used twice the same way, a degenerate one as an edge from a vertex to itself.
struct Topology {
    explicit Topology(const CompactMesh& mesh) {
        std::vector<std::array<int, 2>> sides;
        for (const auto& [a, b, c] : trianglesOf(mesh))
            sides.insert(sides.end(), {{a, b}, {b, c}, {c, a}});
        std::sort(sides.begin(), sides.end());
        int numEdges = 0;
        for (std::size_t i = 0; i < sides.size(); ++i) {
            const auto& [a, b] = sides[i];
            const bool hasTwin = std::binary_search(sides.begin(), sides.end(), std::array{b, a});
            numBadEdges += a == b || (i > 0 && sides[i] == sides[i - 1]);
            numEdges += !hasTwin || a < b;
            if (!hasTwin)
                boundary.insert({positionOf(mesh, a), positionOf(mesh, b)});
        }
        euler = mesh.getNumVertices() - numEdges + mesh.getNumTriangles();
        qvGeom::MeshAdjTris adjTris;
        meshAdjTris(mesh, adjTris);
        numComponents = meshComponents(mesh, adjTris, nullptr);
    }

    bool operator==(const Topology&) const = default;

    int euler = 0, numBadEdges = 0, numComponents = 0;
    std::set<std::array<Position, 2>> boundary;
};

/// A reduction of a copy of a mesh, and what it announced.
struct Reduction {
    explicit Reduction(const CompactMesh& mesh, int cancelAfter = -1)
        : before(mesh),
          after(mesh),
          cancel(cancelAfter) {
        after.getModifiedSignal().addCallback(
            [](void* user, qvRTB::EntityModification& notice) {
                const auto& modification = static_cast<qvGeom::MeshModification&>(notice);
                static_cast<Reduction*>(user)->remaps.push_back(
                    *modification.getRemap()->getVertexRemap());
            },
            this);
    }

    void toFraction(double fraction) {
        meshReduceToFraction(after, fraction, cancel.progress(), removed);
    }

    void withTolerance(double tolerance) {
        deviation = meshReduceWithTolerance(after, tolerance, cancel.progress(), removed);
    }

    /// Whether the mesh is sound, the one notice maps its vertices and `removed` has the others.
    void check() const {
        EXPECT_TRUE(Topology(before) == Topology(after));
        const bool isReduced = after.getNumVertices() < before.getNumVertices();
        ASSERT_EQ(remaps.size(), isReduced ? 1U : 0U);
        if (!isReduced)
            return;
        std::vector<Position> gone;
        for (const Point& p : removed) {
            const qvLinear::PointFlt q = qvLinear::narrow(p);
            gone.push_back({q.x, q.y, q.z});
        }
        std::sort(gone.begin(), gone.end());
        int numKept = 0;
        for (int v = 0; v < before.getNumVertices(); ++v) {
            const Position position = positionOf(before, v);
            if (remaps[0][v] >= 0) {
                ASSERT_EQ(remaps[0][v], numKept++);
                ASSERT_EQ(position, positionOf(after, remaps[0][v]));
            } else {
                ASSERT_TRUE(std::binary_search(gone.begin(), gone.end(), position));
            }
        }
        EXPECT_EQ(numKept, after.getNumVertices());
        EXPECT_GE(removed.size(), before.getNumVertices() - numKept);
    }

    /// The largest distance of a removed position from the reduced surface.
    double measuredDeviation() const {
        qvGeom::SimpleMeshCache cache;
        const auto octree = cache.getOctree(after, 16);
        const auto tris = cache.getOctreeTris(after);
        qvGeom::MeshClosestPoint closest(after, *octree, *tris);
        qvGeom::MeshCoord coord;
        double largest = 0;
        for (const Point& p : removed)
            largest = std::max(largest, closest.find(p, coord));
        return largest;
    }

    CompactMesh before, after;
    test::CancelAfter cancel;
    std::vector<Point> removed;
    std::vector<qvGeom::Remap> remaps;
    double deviation = -1;
};

TEST(MeshReduce, keepsTopologyAndDistanceOfRealMeshes) {
    for (const char* file : {"elephant.mesh", "mannequin.mesh", "masks_holes.mesh",
                             "lion_holes.mesh", "patella.mesh", "terrain.mesh"}) {
        SCOPED_TRACE(file);
        const CompactMesh mesh = test::readMeshFile(file);
        for (const double fraction : {0.5, 0.1, 0.02}) {
            SCOPED_TRACE(fraction);
            Reduction reduction(mesh);
            reduction.toFraction(fraction);
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
            Reduction reduction(mesh);
            reduction.withTolerance(tolerance);
            reduction.check();
            EXPECT_LE(reduction.deviation, tolerance);
            EXPECT_LE(reduction.measuredDeviation(), reduction.deviation);
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

/// The removals of one pass done to the letter, in a half-edge mesh.
class LiteralPass {
public:
    LiteralPass(CompactMesh& mesh, int target) : mesh_(mesh), target_(target) {}

    /// Selects vertices and removes them; writes back if two thirds of them could be.
    void run() {
        meshAdjTris(mesh_, adjTris_);
        const std::set<int> chosen = select();
        qvGeom::MeshModifyRep rep(mesh_, adjTris_);
        const auto attempted = static_cast<int>(chosen.size());
        int numRemoved = 0;
        for (const int v : chosen)
            numRemoved += remove(rep, v);
        qvGeom::Array<int> remap;
        if (numRemoved > 0 && attempted <= 3 * numRemoved / 2)
            rep.merge(remap, nullptr);
    }

private:
    std::set<int> select() const {
        qvGeom::MeshAdjVertices adjVertices;
        meshAdjVertices(mesh_, adjTris_, adjVertices);
        std::multimap<double, int> byFlatness;
        for (int v = 0; v < mesh_.getNumVertices(); ++v) {
            std::vector<Point> points;
            for (int i = 0; i <= adjVertices.getCount(v); ++i) {
                const int u = i < adjVertices.getCount(v) ? adjVertices.getVertices(v)[i] : v;
                const Position p = positionOf(mesh_, u);
                points.push_back({p[0], p[1], p[2]});
            }
            qvLinear::Plane plane;
            qvGeom::fit(static_cast<int>(points.size()), points.data(), plane);
            double flatness = 0;
            for (const Point& p : points)
                flatness = std::max(flatness, std::abs(plane.eval(p)));
            byFlatness.emplace(flatness, v);
        }
        std::set<int> chosen;
        int remaining = mesh_.getNumVertices();
        for (const auto& [flatness, v] : byFlatness) {
            const int* const neighbours = adjVertices.getVertices(v);
            const int count = adjVertices.getCount(v);
            const auto isChosen = [&](int u) { return chosen.count(u) > 0; };
            if (remaining > target_ && count == adjTris_.setSize(v) &&
                std::none_of(neighbours, neighbours + count, isChosen)) {
                chosen.insert(v);
                --remaining;
            }
        }
        return chosen;
    }

    static bool remove(qvGeom::MeshModifyRep& rep, int v) {
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

    CompactMesh& mesh_;
    int target_;
    qvGeom::MeshAdjTris adjTris_;
};

TEST(MeshReduce, removesWhatHalfEdgeOperationsWould) {
    int numWritten = 0;
    for (unsigned seed = 0; seed < 60; ++seed) {
        SCOPED_TRACE(seed);
        const test::ScopedThreadCount pool(static_cast<int>(seed % 3) + 1);
        const CompactMesh mesh = roughSphere(seed, 10 * static_cast<int>(seed % 12));
        Reduction reduction(mesh, 0); // fewer than 100 removals: first asked after the chunk
        reduction.toFraction(0.3);
        CompactMesh literal = mesh;
        LiteralPass(literal, static_cast<int>(0.3 * mesh.getNumVertices())).run();
        EXPECT_EQ(trianglesOf(reduction.after), trianglesOf(literal));
        numWritten += static_cast<int>(reduction.remaps.size());
    }
    EXPECT_GT(numWritten, 20);
}

// Catches an order of equally flat vertices that leaves those which cannot be removed.
TEST(MeshReduce, thinsOutAPlaneLattice) {
    for (const CompactMesh& mesh : {test::grid(99, 99), test::shuffled(test::grid(99, 99), 1)}) {
        Reduction reduction(mesh);
        reduction.toFraction(0.1);
        reduction.check();
        EXPECT_LE(reduction.after.getNumVertices(), 1010);
    }
}

// Catches two holes closed by the same triangle: at the tips of a double pyramid, or turn by turn.
TEST(MeshReduce, stopsAtATetrahedron) {
    for (const int sides : {3, 4, 30}) {
        Reduction reduction(test::sphere(1, sides));
        reduction.toFraction(0);
        reduction.check();
        EXPECT_EQ(reduction.after.getNumVertices(), 4) << sides;
    }
}

/// Two grids that share their middle vertex, the only one inside them.
CompactMesh twoClosedFans() {
    const CompactMesh one = test::grid(2, 2);
    CompactMesh both = one;
    both.resizeVertexArray(18); // one is not used
    both.resizeTriangleArray(16);
    for (int v = 0; v < 9; ++v)
        both.getVertices()[9 + v] = {one.getVertices()[v].x, 1, one.getVertices()[v].y - 1};
    for (int c = 0; c < 24; ++c) {
        const int v = one.getTrianglesRaw()[c];
        both.getTrianglesRaw()[24 + c] = v == 4 ? 4 : 9 + v;
    }
    return both;
}

TEST(MeshReduce, leavesAloneWhatItNeedNotTouch) {
    const auto expectUntouched = [](const CompactMesh& mesh, const auto& reduce) {
        Reduction reduction(mesh);
        reduction.after.getSelectedVertices() = test::selectionOf(mesh.getNumVertices(), {0});
        reduce(reduction);
        EXPECT_EQ(trianglesOf(reduction.after), trianglesOf(mesh));
        EXPECT_EQ(reduction.after.getSelectedVertices().numSetBits(), 1);
        EXPECT_TRUE(reduction.remaps.empty() && reduction.removed.empty());
    };
    const double nan = std::numeric_limits<double>::quiet_NaN();
    for (const double fraction : {1.0, 1e30, nan})
        expectUntouched(test::sphere(9, 9), [fraction](auto& r) { r.toFraction(fraction); });
    for (const double tolerance : {0.0, -1.0, nan}) {
        expectUntouched(test::grid(9, 9), [tolerance](auto& r) {
            r.withTolerance(tolerance);
            EXPECT_EQ(r.deviation, 0);
        });
    }
    for (const CompactMesh& mesh : {test::openFan(9), test::bowTie(), test::strip(7)})
        expectUntouched(mesh, [](auto& r) { r.toFraction(0); });
    Reduction pinched(twoClosedFans()); // tried, and refused
    pinched.toFraction(0);
    EXPECT_TRUE(pinched.remaps.empty());
}

TEST(MeshReduce, stopsWhereItIsCancelledWithASoundMesh) {
    const CompactMesh mesh = test::shuffled(test::torus(60, 40), 3);
    for (const bool toFraction : {true, false}) {
        const auto run = [toFraction](Reduction& reduction) {
            toFraction ? reduction.toFraction(0.1) : reduction.withTolerance(0.05);
        };
        Reduction whole(mesh);
        run(whole);
        whole.check();
        const auto numReports = static_cast<int>(whole.cancel.fractions().size());
        EXPECT_GT(numReports, 5);
        EXPECT_TRUE(
            std::is_sorted(whole.cancel.fractions().begin(), whole.cancel.fractions().end()));
        for (int reports = 0; reports <= numReports; reports += toFraction ? 1 : 3) {
            SCOPED_TRACE(reports);
            Reduction reduction(mesh, reports);
            qvGeom::SimpleMeshCache cache;
            const auto cached = cache.getAdjTris(reduction.after);
            run(reduction);
            EXPECT_EQ(cached == cache.getAdjTris(reduction.after), reduction.remaps.empty());
            reduction.check();
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
        for (const bool toFraction : {true, false}) {
            Reduction reduction(mesh);
            toFraction ? reduction.toFraction(0.2) : reduction.withTolerance(INFINITY);
            for (int c = 0; c < 3 * reduction.after.getNumTriangles(); ++c)
                ASSERT_LT(static_cast<unsigned>(reduction.after.getTrianglesRaw()[c]),
                          static_cast<unsigned>(reduction.after.getNumVertices()));
        }
    }
}

} // namespace
