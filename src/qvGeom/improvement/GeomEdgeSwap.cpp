#include "qvGeom/improvement/GeomEdgeSwap.h"

#include <cmath>
#include <numbers>

#include "qvGeom/foundation/linear/Linear.h"

namespace qvGeom {

using qvLinear::Point;
using qvLinear::Vector;

namespace {

constexpr double kRightAngle = 0.5 * std::numbers::pi;
constexpr double kFeatureAngle = 0.04363323129985824; // 2.5 degrees
constexpr double kClearSine = 1e-12;                  // some thousand times the rounding of a sine

/// The corners of the triangles beside an edge A-B: C on its own side, D on its twin's.
struct Quad {
    Quad(const TopoMesh& mesh, int e, int twin)
        : a(mesh.vertexPoint(mesh.edgeVertex(e))),
          b(mesh.vertexPoint(mesh.edgeEndVertex(e))),
          c(mesh.vertexPoint(mesh.edgeVertex(mesh.edgePrev(e)))),
          d(mesh.vertexPoint(mesh.edgeVertex(mesh.edgePrev(twin)))) {}

    const Point& a;
    const Point& b;
    const Point& c;
    const Point& d;
};

/// Whether products of four such squared lengths neither vanish nor overflow.
bool isModerate(double length2) { return length2 > 1e-70 && length2 < 1e70; }

double angleAt(const Point& apex, const Point& p, const Point& q) {
    return qvLinear::angle(qvLinear::Normal(p - apex), qvLinear::Normal(q - apex));
}

/// A direction in the plane whose argument is the sum of two angles of 0 to pi each.
struct AngleSum {
    /// Of the angle between p and q and that between r and s.
    AngleSum(const Vector& p, const Vector& q, const Vector& r, const Vector& s) {
        const double cosine1 = dot(p, q);
        const double sine1 = cross(p, q).length();
        const double cosine2 = dot(r, s);
        const double sine2 = cross(r, s).length();
        cosine = cosine1 * cosine2 - sine1 * sine2;
        sine = cosine1 * sine2 + sine1 * cosine2;
    }

    double cosine, sine;
};

enum class Order { Less, Greater, Unclear };

/// Compares the sums of the angles at C and D and of those at A and B, unless they are too close,
/// or too near to a multiple of pi, for that without their values.
Order compareOppositeAngles(const Quad& quad) {
    const Vector ca = quad.a - quad.c;
    const Vector cb = quad.b - quad.c;
    const Vector da = quad.a - quad.d;
    const Vector db = quad.b - quad.d;
    const double lengths2[] = {ca.length2(), cb.length2(), da.length2(), db.length2()};
    for (const double length2 : lengths2) {
        if (!isModerate(length2))
            return Order::Unclear;
    }

    // Each side of the quad is in both products once, so that they are equally long.
    const AngleSum old(ca, cb, da, db);
    const AngleSum swapped(ca, da, cb, db);
    const double size2 = lengths2[0] * lengths2[1] * lengths2[2] * lengths2[3];
    const double clear = kClearSine * std::sqrt(size2);
    if (std::abs(old.sine) <= clear || std::abs(swapped.sine) <= clear)
        return Order::Unclear;
    if ((old.sine > 0) != (swapped.sine > 0)) // one below pi, one above
        return old.sine > 0 ? Order::Less : Order::Greater;
    const double sineOfDifference = old.sine * swapped.cosine - old.cosine * swapped.sine;
    if (std::abs(sineOfDifference) <= kClearSine * size2)
        return Order::Unclear;
    return sineOfDifference > 0 ? Order::Greater : Order::Less;
}

/// Whether the triangles (D, B, C) and (D, C, A) face at most a right angle apart.
bool faceAlike(const Quad& quad) {
    Vector n1 = cross(quad.b - quad.d, quad.c - quad.d);
    Vector n2 = cross(quad.c - quad.d, quad.a - quad.d);
    const double length1 = n1.length2();
    const double length2 = n2.length2();
    if (isModerate(length1) && isModerate(length2)) {
        const double cosine = dot(n1, n2);
        if (cosine * cosine > kClearSine * kClearSine * length1 * length2)
            return cosine > 0;
    }
    return n1.normalize() && n2.normalize() && qvLinear::angle(n1, n2) <= kRightAngle;
}

/// Runs passes until one swaps nothing.
template <class Pass>
int repeat(const Pass& pass) {
    int total = 0;
    while (const int swaps = pass())
        total += swaps;
    return total;
}

} // namespace

MeshEdgeSwapper::MeshEdgeSwapper() = default;

MeshEdgeSwapper::~MeshEdgeSwapper() = default;

bool MeshEdgeSwapper::shouldSwap(TopoMeshEdge edge) {
    if (!vetoSignal_ || vetoSignal_->isEmpty() || edge.twin().isNull())
        return false;
    bool veto = false;
    vetoSignal_->emit(edge, veto);
    return !veto;
}

MeshEdgeSwapper::VetoSignal& MeshEdgeSwapper::getVetoSignal() {
    if (!vetoSignal_)
        vetoSignal_ = std::make_unique<VetoSignal>();
    return *vetoSignal_;
}

void MeshEdgeSwapper::clearVetoSignal() { vetoSignal_.reset(); }

void MeshEdgeSwapper::minimizeOppositeAngleSum(TopoMeshEdge edge, bool& veto) {
    const int twin = edge.twin().id;
    if (twin < 0) {
        veto = true;
        return;
    }
    const Quad quad(*edge.mesh, edge.id, twin);
    const Order order = compareOppositeAngles(quad);
    if (order == Order::Unclear) {
        const double old = angleAt(quad.c, quad.a, quad.b) + angleAt(quad.d, quad.a, quad.b);
        const double swapped = angleAt(quad.a, quad.c, quad.d) + angleAt(quad.b, quad.c, quad.d);
        veto |= swapped >= old;
    } else {
        veto |= order == Order::Less;
    }
}

void MeshEdgeSwapper::preventFoldover(TopoMeshEdge edge, bool& veto) {
    const int twin = edge.twin().id;
    veto |= twin < 0 || !faceAlike(Quad(*edge.mesh, edge.id, twin));
}

void MeshEdgeSwapper::preserveBoundary(TopoMeshEdge edge, bool& veto) {
    const TopoMeshEdge twin = edge.twin();
    veto |= twin.isNull() || (edge.vertex().onBoundary() && twin.vertex().onBoundary()) ||
            (edge.prev().vertex().onBoundary() && twin.prev().vertex().onBoundary());
}

void MeshEdgeSwapper::preserveFeatures(TopoMeshEdge edge, bool& veto) {
    const int twin = edge.twin().id;
    if (twin < 0) {
        veto = true;
        return;
    }
    const Quad quad(*edge.mesh, edge.id, twin);
    bool isOldDefined = false;
    bool isNewDefined = false;
    const double oldAngle = dihedralAngle(quad.a, quad.b, quad.c, quad.d, isOldDefined);
    const double newAngle = dihedralAngle(quad.c, quad.d, quad.b, quad.a, isNewDefined);
    veto |= !isOldDefined || !isNewDefined || !(std::abs(newAngle - oldAngle) < kFeatureAngle);
}

double dihedralAngle(const Point& p0, const Point& p1, const Point& p2, const Point& p3,
                     bool& isDefined) {
    Vector n1 = cross(p2 - p1, p0 - p1);
    Vector n2 = cross(p3 - p0, p1 - p0);
    isDefined = n1.normalize() && n2.normalize();
    if (!isDefined)
        return 0.0;
    const double angle = qvLinear::angle(n1, n2);
    const qvLinear::Plane first(p1, qvLinear::Normal(n1));
    return isAbove(first, p3, qvLinear::epsilonTol) ? -angle : angle;
}

int meshSwapEdgesOnce(TopoMesh& mesh, MeshEdgeSwapper& swapper) {
    int swaps = 0;
    for (TopoMeshEdge edge = mesh.firstEdge(); !edge.isNull(); edge = edge.nextInList()) {
        if (edge < edge.twin() && swapper.shouldSwap(edge) && mesh.swapEdge(edge))
            ++swaps;
    }
    return swaps;
}

int meshSwapEdgesOnce(TopoMesh& mesh, const std::set<TopoMeshEdge>& edges,
                      MeshEdgeSwapper& swapper) {
    int swaps = 0;
    for (const TopoMeshEdge edge : edges) {
        if (!edge.twin().isNull() && swapper.shouldSwap(edge) && mesh.swapEdge(edge))
            ++swaps;
    }
    return swaps;
}

int meshSwapEdgesRepeatedly(TopoMesh& mesh, MeshEdgeSwapper& swapper) {
    return repeat([&] { return meshSwapEdgesOnce(mesh, swapper); });
}

int meshSwapEdgesRepeatedly(TopoMesh& mesh, const std::set<TopoMeshEdge>& edges,
                            MeshEdgeSwapper& swapper) {
    return repeat([&] { return meshSwapEdgesOnce(mesh, edges, swapper); });
}

} // namespace qvGeom
