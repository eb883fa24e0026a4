#include "qvGeom/improvement/GeomEdgeSwap.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <string>

#include "qvGeom/foundation/linear/Linear.h"

#include "support/Random.h"
#include "support/TopoMeshCheck.h"

namespace {

using qvGeom::MeshEdgeSwapper;
using qvGeom::TopoMesh;
using qvGeom::TopoMeshEdge;
using qvLinear::Point;
using qvLinear::Vector;
using Criterion = void (MeshEdgeSwapper::*)(TopoMeshEdge, bool&);

constexpr double kInfinity = std::numeric_limits<double>::infinity();

/// The triangles (A, B, C) and (B, A, D); edge 0 runs from A to B.
TopoMesh quad(const Point (&corners)[4]) {
    TopoMesh mesh;
    for (const Point& p : corners)
        mesh.allocVertex(p);
    mesh.allocTriangle({&mesh, 0}, {&mesh, 1}, {&mesh, 2});
    mesh.allocTriangle({&mesh, 1}, {&mesh, 0}, {&mesh, 3});
    meshTwin(mesh);
    return mesh;
}

bool isAllowed(Criterion criterion, TopoMesh& mesh, int e = 0) {
    MeshEdgeSwapper swapper;
    bool veto = false, kept = true;
    (swapper.*criterion)({&mesh, e}, veto);
    (swapper.*criterion)({&mesh, e}, kept);
    EXPECT_TRUE(kept) << "a veto was taken back";
    return !veto;
}

/// size x size squares, each cut in two by one of its diagonals, at the positions `place` gives.
template <class Place>
TopoMesh grid(test::Random& random, int size, Place place) {
    TopoMesh mesh;
    for (int i = 0; i < (size + 1) * (size + 1); ++i)
        mesh.allocVertex(place(i % (size + 1), i / (size + 1)));
    for (int i = 0; i < size * size; ++i) {
        const int v = i / size * (size + 1) + i % size, turn = random.below(2);
        const int corners[] = {v, v + 1, v + size + 2, v + size + 1};
        const int first[] = {corners[turn], corners[turn + 1], corners[turn + 2]};
        const int second[] = {corners[turn], corners[turn + 2], corners[(turn + 3) % 4]};
        mesh.allocFace(first, 3);
        mesh.allocFace(second, 3);
    }
    meshTwin(mesh);
    return mesh;
}

TEST(MeshEdgeSwapper, asksEverySlotInTurnAndSwapsWithoutAVeto) {
    TopoMesh mesh = quad({{0, 0, 0}, {1, 0, 0}, {0.5, 1, 0}, {0.5, -1, 0}});

    struct Judge {
        std::string* asked;
        char name;
        int budget; // of swaps before it objects
    };

    const auto judge = [](void* user, TopoMeshEdge edge, bool& veto) {
        Judge& self = *static_cast<Judge*>(user);
        *self.asked += self.name + std::to_string(edge.id) + ' ';
        veto |= --self.budget < 0;
    };
    std::string asked;
    Judge a = {&asked, 'a', 0}, b = {&asked, 'b', 1003};
    MeshEdgeSwapper swapper;
    EXPECT_FALSE(swapper.shouldSwap(mesh.firstEdge()));
    EXPECT_FALSE((swapper.getVetoSignal(), swapper.shouldSwap(mesh.firstEdge())));

    auto& itemOfA = swapper.getVetoSignal().addCallback(judge, &a);
    auto& itemOfB = swapper.getVetoSignal().addCallback(judge, &b);
    EXPECT_EQ(meshSwapEdgesOnce(mesh, swapper), 0);
    EXPECT_EQ(asked, "a0 b0 "); // no boundary edge, and the older half alone
    itemOfA.block();
    // From a set both halves are tried, in the order of the set.
    const int twin = mesh.edgeTwin(0);
    EXPECT_EQ(meshSwapEdgesOnce(mesh, {{&mesh, twin}, {&mesh, 0}, {&mesh, 1}}, swapper), 2);
    EXPECT_EQ(asked, "a0 b0 b0 b" + std::to_string(twin) + ' ');

    // Who may yet object is waited for, but not for ever where nobody does.
    EXPECT_EQ(meshSwapEdgesRepeatedly(mesh, swapper), 1000);
    itemOfB.block();
    EXPECT_GT(meshSwapEdgesRepeatedly(mesh, {mesh.firstEdge()}, swapper), 1000);
    EXPECT_FALSE(swapper.shouldSwap(mesh.firstEdge().next()) || swapper.shouldSwap({}));
    swapper.clearVetoSignal();
    EXPECT_FALSE(swapper.shouldSwap(mesh.firstEdge()));
}

TEST(MeshEdgeSwapper, preservesFeaturesAndBoundaries) {
    const double limit = 0.25 * 0.04363323129985824; // gives folds of half the limit, either way

    const struct {
        Point c, d;
        bool isAllowed;
    } cases[] = {
        {{0.5, 1, 0}, {0.5, -1, 0}, true},
        {{2, 0.5, 0}, {0.9, -0.1, 0}, false}, // not convex
        {{0.5, 0.5, 0}, {0.5, -0.5, 0.99 * limit}, true},
        {{0.5, 0.5, 0}, {0.5, -0.5, 1.01 * limit}, false},
        {{0.5, 0.5, 0}, {-0.5, -0.5, 0}, false}, // no area after
        {{0.5, 0.5, 0}, {std::nan(""), 0, kInfinity}, false},
    };

    for (const auto& test : cases) {
        TopoMesh mesh = quad({{0, 0, 0}, {1, 0, 0}, test.c, test.d});
        EXPECT_EQ(isAllowed(&MeshEdgeSwapper::preserveFeatures, mesh), test.isAllowed)
            << &test - cases;
    }

    test::Random random;
    TopoMesh mesh = grid(random, 5, [](int x, int y) { return Point{1.0 * x, 1.0 * y, 0}; });
    const auto isOutside = [](TopoMeshEdge e) {
        const Point& p = e.vertex().point();
        return p.x == 0 || p.y == 0 || p.x == 5 || p.y == 5;
    };
    for (TopoMeshEdge e = mesh.firstEdge(); !e.isNull(); e = e.nextInList()) {
        const bool mayTurn = !e.twin().isNull() && !(isOutside(e) && isOutside(e.twin())) &&
                             !(isOutside(e.prev()) && isOutside(e.twin().prev()));
        EXPECT_EQ(isAllowed(&MeshEdgeSwapper::preserveBoundary, mesh, e.id), mayTurn) << e.id;
    }
}

// The criteria tell clear cases apart by products; here by the angles themselves, at all scales.
TEST(MeshEdgeSwapper, judgesAsTheAnglesDo) {
    test::Random random;
    const auto angleAt = [](const Point& apex, const Point& p, const Point& q) {
        return angle(qvLinear::Normal(p - apex), qvLinear::Normal(q - apex));
    };
    for (int i = 0; i < 20000; ++i) {
        const double scale = std::pow(10.0, random.below(240) - 120);
        const double flatness = i % 3 == 0 ? 1 : i % 3 == 1 ? 0 : 1e-9;
        Point p[4];
        for (Point& corner : p) {
            corner = {random.number(scale), random.number(scale), random.number(scale * flatness)};
            if (i % 5 == 0) // many right angles, equal sums and triangles without area
                corner = {1.0 * random.below(4), 1.0 * random.below(4), 0};
        }
        TopoMesh mesh = quad(p);
        const double old = angleAt(p[2], p[0], p[1]) + angleAt(p[3], p[0], p[1]);
        const double swapped = angleAt(p[0], p[2], p[3]) + angleAt(p[1], p[2], p[3]);
        ASSERT_EQ(isAllowed(&MeshEdgeSwapper::minimizeOppositeAngleSum, mesh), swapped < old) << i;
        Vector n1 = cross(p[1] - p[3], p[2] - p[3]), n2 = cross(p[2] - p[3], p[0] - p[3]);
        ASSERT_EQ(isAllowed(&MeshEdgeSwapper::preventFoldover, mesh),
                  n1.normalize() && n2.normalize() && angle(n1, n2) <= 1.5707963267948966)
            << i;
    }
}

// Flat ones, squares that lie askew, whose corners are on one circle but for rounding, and rubbish.
TEST(MeshSwapEdgesRepeatedly, endsWhereNoEdgeIsBetterSwapped) {
    test::Random random;
    const double odd[] = {0, 1, -1, 1e-320, 1e300, kInfinity, std::nan("")};
    for (int round = 0; round < 30; ++round) {
        const Vector u = qvLinear::Normal(1.0, round, 0.3);
        const Vector v = cross(u, u.orthogonalVector());
        TopoMesh mesh = grid(random, 14, [&](int x, int y) {
            const double off = x % 14 && y % 14 ? 0.3 : 0;
            return round % 3 == 0   ? Point{x + random.number(off), y + random.number(off), 0}
                   : round % 3 == 1 ? Point{0, 0, 0} + 0.1 * (x * u + y * v)
                                    : Point{odd[random.below(7)], odd[random.below(7)], 0};
        });
        MeshEdgeSwapper swapper;
        qvRTB::SignalClient client;
        swapper.getVetoSignal().addCallback(
            client, qvRTB::FunctionArgMember(&swapper, &MeshEdgeSwapper::minimizeOppositeAngleSum));
        if (round % 3 == 0)
            swapper.getVetoSignal().addCallback(
                client, qvRTB::FunctionArgMember(&swapper, &MeshEdgeSwapper::preventFoldover));
        const int numSwaps = meshSwapEdgesRepeatedly(mesh, swapper);
        if (round % 3 == 0) {
            EXPECT_GT(numSwaps, 0);
            EXPECT_EQ(meshSwapEdgesOnce(mesh, swapper), 0);
        }
        EXPECT_EQ(test::faultOf(mesh), "");
    }
}

} // namespace
