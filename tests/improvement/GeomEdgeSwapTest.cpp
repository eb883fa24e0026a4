#include "qvGeom/improvement/GeomEdgeSwap.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "qvGeom/foundation/linear/Linear.h"

#include "support/TopoMeshCheck.h"

namespace {

using qvGeom::MeshEdgeSwapper;
using qvGeom::TopoMesh;
using qvGeom::TopoMeshEdge;
using qvLinear::Point;
using qvLinear::Vector;
using Criterion = void (MeshEdgeSwapper::*)(TopoMeshEdge, bool&);

constexpr double kInfinity = std::numeric_limits<double>::infinity();

/// A swapper with some of its criteria connected.
struct Swapper : MeshEdgeSwapper {
    explicit Swapper(const std::vector<Criterion>& criteria) {
        for (const Criterion criterion : criteria)
            getVetoSignal().addCallback(
                client,
                qvRTB::FunctionArgMember<MeshEdgeSwapper, TopoMeshEdge, bool&>(this, criterion));
    }

    qvRTB::SignalClient client;
};

/// The triangles (A, B, C) and (B, A, D); edge 0 runs from A to B.
TopoMesh quad(const Point& a, const Point& b, const Point& c, const Point& d) {
    TopoMesh mesh;
    for (const Point& p : {a, b, c, d})
        mesh.allocVertex(p);
    mesh.allocTriangle({&mesh, 0}, {&mesh, 1}, {&mesh, 2});
    mesh.allocTriangle({&mesh, 1}, {&mesh, 0}, {&mesh, 3});
    meshTwin(mesh);
    return mesh;
}

bool isAllowed(Criterion criterion, TopoMesh& mesh, int e = 0) {
    MeshEdgeSwapper swapper;
    bool veto = false;
    (swapper.*criterion)({&mesh, e}, veto);
    bool kept = true;
    (swapper.*criterion)({&mesh, e}, kept);
    EXPECT_TRUE(kept) << "a veto was taken back";
    return !veto;
}

/// size x size squares, each cut in two by one of its diagonals, at the positions `place` gives.
template <class Place>
TopoMesh grid(std::mt19937& random, int size, Place place) {
    TopoMesh mesh;
    for (int i = 0; i < (size + 1) * (size + 1); ++i)
        mesh.allocVertex(place(i % (size + 1), i / (size + 1)));
    for (int i = 0; i < size * size; ++i) {
        const int v = i / size * (size + 1) + i % size;
        const int corners[] = {v, v + 1, v + size + 2, v + size + 1};
        const int turn = static_cast<int>(random() % 2);
        const int first[] = {corners[turn], corners[turn + 1], corners[turn + 2]};
        const int second[] = {corners[turn], corners[turn + 2], corners[(turn + 3) % 4]};
        mesh.allocFace(first, 3);
        mesh.allocFace(second, 3);
    }
    meshTwin(mesh);
    return mesh;
}

TEST(MeshEdgeSwapper, asksEverySlotInTurnAndSwapsWithoutAVeto) {
    TopoMesh mesh = quad({0, 0, 0}, {1, 0, 0}, {0.5, 1, 0}, {0.5, -1, 0});

    struct Judge {
        std::string* asked;
        char name;
        bool objects;
    };

    const auto judge = [](void* user, TopoMeshEdge edge, bool& veto) {
        const Judge& self = *static_cast<Judge*>(user);
        *self.asked += self.name + std::to_string(edge.id) + ' ';
        veto |= self.objects;
    };
    std::string asked;
    Judge a = {&asked, 'a', true};
    Judge b = {&asked, 'b', false};
    MeshEdgeSwapper swapper;
    EXPECT_FALSE(swapper.shouldSwap(mesh.firstEdge()));
    EXPECT_EQ(meshSwapEdgesRepeatedly(mesh, swapper), 0);
    EXPECT_FALSE((swapper.getVetoSignal(), swapper.shouldSwap(mesh.firstEdge())));

    auto& itemOfA = swapper.getVetoSignal().addCallback(judge, &a);
    auto& itemOfB = swapper.getVetoSignal().addCallback(judge, &b);
    EXPECT_EQ(meshSwapEdgesOnce(mesh, swapper), 0);
    EXPECT_EQ(asked, "a0 b0 "); // no boundary edge, and the older half alone
    itemOfA.block();
    EXPECT_EQ(meshSwapEdgesOnce(mesh, swapper), 1);
    EXPECT_EQ(asked, "a0 b0 b0 ");
    itemOfB.block();
    EXPECT_TRUE(swapper.shouldSwap(mesh.firstEdge())) << "nobody objects";
    EXPECT_FALSE(swapper.shouldSwap(mesh.firstEdge().next()) || swapper.shouldSwap({}));

    // From a set both halves are tried, in the order of the set.
    itemOfB.unblock();
    const int twin = mesh.edgeTwin(0);
    EXPECT_EQ(meshSwapEdgesOnce(mesh, {{&mesh, twin}, {&mesh, 0}, {&mesh, 1}}, swapper), 2);
    EXPECT_EQ(asked, "a0 b0 b0 b0 b" + std::to_string(twin) + ' ');

    // What nobody objects to would be swapped to and fro for ever; who may yet object is waited
    // for.
    EXPECT_GT(meshSwapEdgesRepeatedly(mesh, swapper), 1000);
    int budget = 1000;
    swapper.getVetoSignal().addCallback(
        [](void* left, TopoMeshEdge, bool& veto) { veto |= --*static_cast<int*>(left) < 0; },
        &budget);
    EXPECT_EQ(meshSwapEdgesRepeatedly(mesh, swapper), 1000);
    swapper.clearVetoSignal();
    EXPECT_FALSE(swapper.shouldSwap(mesh.firstEdge()));
}

TEST(MeshEdgeSwapper, judgesByItsCriteria) {
    const Point a = {0, 0, 0};
    const Point b = {1, 0, 0};
    const double limit = 0.25 * 0.04363323129985824; // gives folds of half the limit, either way

    struct Case {
        const char* name;
        Point c, d;
        bool lessens, staysFlat, keepsFeatures;
    };

    const Case cases[] = {
        {"square", {0.5, 0.5, 0}, {0.5, -0.5, 0}, false, true, true},
        {"long way to swap", {0.5, 1, 0}, {0.5, -1, 0}, false, true, true},
        {"short way to swap", {0.5, 0.2, 0}, {0.5, -0.2, 0}, true, true, true},
        {"not convex", {2, 0.5, 0}, {0.9, -0.1, 0}, false, false, false},
        {"slight fold", {0.5, 0.5, 0}, {0.5, -0.5, 0.99 * limit}, false, true, true},
        {"less slight", {0.5, 0.5, 0}, {0.5, -0.5, 1.01 * limit}, false, true, false},
        {"sharp fold", {0.5, 0.5, 0}, {0.5, 0, -0.5}, true, true, false},
        {"fold that turns over", {0.5, 0.2, 0}, {0.5, -0.2, 0.2}, true, true, false},
        {"apexes at one place", {0.5, 0.5, 0}, {0.5, 0.5, 0}, true, false, false},
        {"no area after", {0.5, 0.5, 0}, {-0.5, -0.5, 0}, false, false, false},
        {"not a number", {0.5, 0.5, 0}, {std::nan(""), 0, kInfinity}, true, false, false},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.name);
        TopoMesh mesh = quad(a, b, test.c, test.d);
        EXPECT_EQ(isAllowed(&MeshEdgeSwapper::minimizeOppositeAngleSum, mesh), test.lessens);
        EXPECT_EQ(isAllowed(&MeshEdgeSwapper::preventFoldover, mesh), test.staysFlat);
        EXPECT_EQ(isAllowed(&MeshEdgeSwapper::preserveFeatures, mesh), test.keepsFeatures);
    }
}

TEST(MeshEdgeSwapper, keepsEdgesBetweenBoundaryVertices) {
    std::mt19937 random(2);
    TopoMesh mesh = grid(random, 5, [](int x, int y) { return Point{1.0 * x, 1.0 * y, 0}; });
    const auto isOutside = [](qvGeom::TopoMeshVertex v) {
        const Point& p = v.point();
        return p.x == 0 || p.y == 0 || p.x == 5 || p.y == 5;
    };
    for (TopoMeshEdge e = mesh.firstEdge(); !e.isNull(); e = e.nextInList()) {
        const bool mayTurn = !e.twin().isNull() &&
                             !(isOutside(e.vertex()) && isOutside(e.twin().vertex())) &&
                             !(isOutside(e.prev().vertex()) && isOutside(e.twin().prev().vertex()));
        EXPECT_EQ(isAllowed(&MeshEdgeSwapper::preserveBoundary, mesh, e.id), mayTurn) << e.id;
    }
}

// The criteria tell clear cases apart by products; here by the angles themselves, at all scales.
TEST(MeshEdgeSwapper, judgesAsTheAnglesDo) {
    std::mt19937 random(4);
    std::normal_distribution<double> normal;
    const auto angleAt = [](const Point& apex, const Point& p, const Point& q) {
        return angle(qvLinear::Normal(p - apex), qvLinear::Normal(q - apex));
    };
    for (int i = 0; i < 20000; ++i) {
        const double scale = std::pow(10.0, static_cast<int>(random() % 240) - 120);
        const double flatness = i % 3 == 0 ? 1 : i % 3 == 1 ? 0 : 1e-9;
        Point p[4];
        for (Point& corner : p) {
            corner = {scale * normal(random), scale * normal(random),
                      scale * flatness * normal(random)};
            if (i % 5 == 0) // many right angles and equal sums
                corner = {std::round(corner.x / scale), std::round(corner.y / scale), 0};
        }
        TopoMesh mesh = quad(p[0], p[1], p[2], p[3]);
        const double old = angleAt(p[2], p[0], p[1]) + angleAt(p[3], p[0], p[1]);
        const double swapped = angleAt(p[0], p[2], p[3]) + angleAt(p[1], p[2], p[3]);
        ASSERT_EQ(isAllowed(&MeshEdgeSwapper::minimizeOppositeAngleSum, mesh), swapped < old) << i;
        Vector n1 = cross(p[1] - p[3], p[2] - p[3]);
        Vector n2 = cross(p[2] - p[3], p[0] - p[3]);
        const bool haveArea = n1.normalize() && n2.normalize();
        ASSERT_EQ(isAllowed(&MeshEdgeSwapper::preventFoldover, mesh),
                  haveArea && angle(n1, n2) <= 1.5707963267948966)
            << i;
    }
}

/// Whether d lies clearly within the circle through a, b and c, in the plane z = 0.
bool isInCircle(const Point& a, const Point& b, const Point& c, const Point& d) {
    const auto row = [&d](const Point& p) {
        const long double x = p.x - d.x;
        const long double y = p.y - d.y;
        return std::vector<long double>{x, y, x * x + y * y};
    };
    const auto r = row(a), s = row(b), t = row(c);
    return r[0] * (s[1] * t[2] - s[2] * t[1]) - r[1] * (s[0] * t[2] - s[2] * t[0]) +
               r[2] * (s[0] * t[1] - s[1] * t[0]) >
           1e-9L;
}

TEST(MeshSwapEdgesRepeatedly, leavesNoCornerWithinTheCircleOfATriangle) {
    std::mt19937 random(6);
    std::uniform_real_distribution<double> off(-0.3, 0.3);
    for (int round = 0; round < 20; ++round) {
        TopoMesh mesh = grid(random, 12, [&](int x, int y) {
            const bool isInside = x % 12 && y % 12;
            return Point{x + (isInside ? off(random) : 0), y + (isInside ? off(random) : 0), 0};
        });
        const int numEdges = mesh.numEdges();
        Swapper swapper(
            {&MeshEdgeSwapper::preventFoldover, &MeshEdgeSwapper::minimizeOppositeAngleSum});
        EXPECT_GT(meshSwapEdgesRepeatedly(mesh, swapper), 0);
        EXPECT_EQ(meshSwapEdgesOnce(mesh, swapper), 0);
        EXPECT_EQ(test::faultOf(mesh), "");
        EXPECT_EQ(mesh.numEdges(), numEdges);
        int numOpen = 0;
        for (TopoMeshEdge e = mesh.firstEdge(); !e.isNull(); e = e.nextInList()) {
            numOpen += e.twin().isNull();
            EXPECT_FALSE(!e.twin().isNull() &&
                         isInCircle(e.vertex().point(), e.next().vertex().point(),
                                    e.prev().vertex().point(), e.twin().prev().vertex().point()))
                << e.id;
        }
        EXPECT_EQ(numOpen, 48);
    }
}

TEST(MeshSwapEdgesRepeatedly, endsOnAnyPositions) {
    std::mt19937 random(8);
    const double odd[] = {0, 1, -1, 1e-320, 1e300, kInfinity, std::nan("")};
    for (int round = 0; round < 60; ++round) {
        const Vector u = qvLinear::Normal(1.0, round, 0.3);
        const Vector v = cross(u, u.orthogonalVector());
        // Squares that lie askew, whose corners are on one circle but for rounding, or rubbish.
        TopoMesh mesh = grid(random, 14, [&](int x, int y) {
            const Vector p = 0.1 * (x * u + y * v);
            return round % 2 ? Point{p.x, p.y, p.z}
                             : Point{odd[random() % 7], odd[random() % 7], odd[random() % 7]};
        });
        Swapper swapper({&MeshEdgeSwapper::minimizeOppositeAngleSum});
        std::set<TopoMeshEdge> edges;
        for (TopoMeshEdge e = mesh.firstEdge(); !e.isNull(); e = e.nextInList())
            edges.insert(e);
        meshSwapEdgesRepeatedly(mesh, edges, swapper);
        meshSwapEdgesRepeatedly(mesh, swapper);
        EXPECT_EQ(test::faultOf(mesh), "");
    }
}

} // namespace
