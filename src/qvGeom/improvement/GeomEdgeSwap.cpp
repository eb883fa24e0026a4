#include "qvGeom/improvement/GeomEdgeSwap.h"

#include <cmath>
#include <numbers>
#include <vector>

#include "qvGeom/foundation/linear/Linear.h"

namespace qvGeom {

using qvLinear::Normal;
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
    return qvLinear::angle(Normal(p - apex), Normal(q - apex));
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

/// Notices passes that go round in a circle. What a pass does follows from the connections alone
/// when the criteria read nothing but the mesh, so that the first repeat is one for ever.
class CircleWatch {
public:
    explicit CircleWatch(const TopoMesh& mesh) : mesh_(&mesh) {}

    /// To be asked after every pass. Keeps the state of pass 64, 128, 256 and so on to compare
    /// with: circles of any length are found, and the few passes that a mesh usually takes cost
    /// nothing.
    bool isClosed() {
        ++numPasses_;
        if (!kept_.empty() && gather() == kept_)
            return true;
        if (numPasses_ == nextKept_) {
            kept_ = gather();
            nextKept_ *= 2;
        }
        return false;
    }

private:
    const std::vector<int>& gather() {
        now_.clear();
        for (int e = mesh_->nextEdge(-1); e >= 0; e = mesh_->nextEdge(e)) {
            now_.push_back(mesh_->edgeVertex(e));
            now_.push_back(mesh_->edgeNext(e));
        }
        return now_;
    }

    const TopoMesh* mesh_;
    std::vector<int> kept_;
    std::vector<int> now_;
    int numPasses_ = 0;
    int nextKept_ = 64;
};

/// Runs passes until one swaps nothing, or until they go round in a circle.
template <class Pass>
int repeat(const TopoMesh& mesh, const Pass& pass) {
    CircleWatch watch(mesh);
    int total = 0;
    for (int swaps = pass(); swaps > 0; swaps = pass()) {
        total += swaps;
        if (watch.isClosed())
            break;
    }
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
    const Normal n1(cross(p2 - p1, p0 - p1));
    const Normal n2(cross(p3 - p0, p1 - p0));
    isDefined = n1 != Normal() && n2 != Normal();
    if (!isDefined)
        return 0.0;
    const double angle = qvLinear::angle(n1, n2);
    return isAbove({p1, n1}, p3, qvLinear::epsilonTol) ? -angle : angle;
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
    return repeat(mesh, [&] { return meshSwapEdgesOnce(mesh, swapper); });
}

int meshSwapEdgesRepeatedly(TopoMesh& mesh, const std::set<TopoMeshEdge>& edges,
                            MeshEdgeSwapper& swapper) {
    return repeat(mesh, [&] { return meshSwapEdgesOnce(mesh, edges, swapper); });
}

} // namespace qvGeom
