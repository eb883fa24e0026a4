#include "qvGeom/improvement/GeomEdgeSwap.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

#include "qvGeom/foundation/linear/Linear.h"
#include "qvGeom/improvement/detail/SwapCriteria.h"

namespace qvGeom {

using qvLinear::Normal;
using qvLinear::Point;

namespace {

constexpr double kFeatureAngle = 0.04363323129985824; // 2.5 degrees

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

/// Vetoes the swap of an edge without a twin, and where `spoils` says so of its quad.
template <class Criterion>
void vetoQuad(const TopoMeshEdge& edge, bool& veto, const Criterion& spoils) {
    const int twin = edge.twin().id;
    veto |= twin < 0 || spoils(Quad(*edge.mesh, edge.id, twin));
}

/// Notices passes that go round in a circle. What a pass does follows from the connections alone
/// when the criteria read nothing but the mesh, so that the first repeat is one for ever.
class CircleWatch {
public:
    /// Waits for so many passes that criteria with a memory, which may yet end a circle, had a
    /// long time to do it.
    CircleWatch(const TopoMesh& mesh, std::size_t edgesPerPass)
        : mesh_(&mesh),
          nextKept_(std::max(kMinPasses, kMinEdges / std::max<std::size_t>(edgesPerPass, 1))) {}

    /// To be asked after every pass. Keeps the state after the first wait, twice that, four times
    /// and so on to compare with: circles of any length are found, and the few passes that a mesh
    /// usually takes cost nothing.
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
    static constexpr std::size_t kMinPasses = 64;
    static constexpr std::size_t kMinEdges = 1000000; // in all passes, a tenth of a second

    const std::vector<int>& gather() {
        now_.clear();
        for (int e = mesh_->nextEdge(-1); e >= 0; e = mesh_->nextEdge(e)) {
            now_.push_back(mesh_->edgeIsTurned(e) ? ~mesh_->edgeVertex(e) : mesh_->edgeVertex(e));
            now_.push_back(mesh_->edgeNext(e));
        }
        return now_;
    }

    const TopoMesh* mesh_;
    std::vector<int> kept_;
    std::vector<int> now_;
    std::size_t numPasses_ = 0;
    std::size_t nextKept_;
};

/// Runs passes until one swaps nothing, or until they go round in a circle.
template <class Pass>
int repeat(const TopoMesh& mesh, std::size_t edgesPerPass, const Pass& pass) {
    CircleWatch watch(mesh, edgesPerPass);
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
    vetoQuad(edge, veto, [](const Quad& quad) {
        return !detail::lowersOppositeAngles(quad.a, quad.b, quad.c, quad.d);
    });
}

void MeshEdgeSwapper::preventFoldover(TopoMeshEdge edge, bool& veto) {
    vetoQuad(edge, veto,
             [](const Quad& quad) { return detail::foldsOver(quad.a, quad.b, quad.c, quad.d); });
}

void MeshEdgeSwapper::preserveBoundary(TopoMeshEdge edge, bool& veto) {
    const TopoMeshEdge twin = edge.twin();
    veto |= twin.isNull() || (edge.vertex().onBoundary() && twin.vertex().onBoundary()) ||
            (edge.prev().vertex().onBoundary() && twin.prev().vertex().onBoundary());
}

void MeshEdgeSwapper::preserveFeatures(TopoMeshEdge edge, bool& veto) {
    vetoQuad(edge, veto, [](const Quad& quad) {
        bool isOldDefined = false;
        bool isNewDefined = false;
        const double oldAngle = dihedralAngle(quad.a, quad.b, quad.c, quad.d, isOldDefined);
        const double newAngle = dihedralAngle(quad.c, quad.d, quad.b, quad.a, isNewDefined);
        return !isOldDefined || !isNewDefined || !(std::abs(newAngle - oldAngle) < kFeatureAngle);
    });
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
    const auto numEdges = static_cast<std::size_t>(mesh.numEdges());
    return repeat(mesh, numEdges, [&] { return meshSwapEdgesOnce(mesh, swapper); });
}

int meshSwapEdgesRepeatedly(TopoMesh& mesh, const std::set<TopoMeshEdge>& edges,
                            MeshEdgeSwapper& swapper) {
    return repeat(mesh, edges.size(), [&] { return meshSwapEdgesOnce(mesh, edges, swapper); });
}

} // namespace qvGeom
