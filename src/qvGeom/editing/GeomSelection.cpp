#include "qvGeom/editing/GeomSelection.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "qvGeom/foundation/base/Diagnostics.h"
#include "qvGeom/foundation/base/StopWatch.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/MeshAdjTris.h"
#include "qvGeom/foundation/geometry/MeshCoord.h"

namespace qvGeom {
namespace {

using qvLinear::Point;

/// The bits of a filter over `count` elements: all of them for one of size 0.
BitVector selectedBits(const BitVector& filter, int count) {
    BitVector bits = filter;
    bits.resize(count);
    if (filter.size() == 0)
        bits.setAllBits();
    return bits;
}

int numCornersIn(const BitVector& vertices, const MeshTriangle& triangle) {
    return vertices.test(triangle[0]) + vertices.test(triangle[1]) + vertices.test(triangle[2]);
}

void setCorners(const MeshTriangle& triangle, BitVector& vertices) {
    for (const int v : triangle.v)
        vertices.set(v);
}

/// Finds the triangles near positions on a mesh, walking from each over shared vertices.
class NearTriangles {
public:
    NearTriangles(const CompactMesh& mesh, const MeshAdjTris& adjTris, double tolerance)
        : vertices_(mesh.getVertices()),
          triangles_(mesh.getTriangles()),
          adjTris_(adjTris),
          tolerance_(tolerance),
          lastSeen_(mesh.getNumTriangles()) {}

    void select(const MeshCoord& coord, BitVector& selected) {
        const Point p = coord.evaluate(vertices_, triangles_);
        ++walk_;
        lastSeen_[coord.triangle] = walk_;
        pending_.assign(1, coord.triangle);
        while (!pending_.empty()) {
            const MeshTriangle& triangle = triangles_[pending_.back()];
            selected.set(pending_.back());
            pending_.pop_back();
            for (const int v : triangle.v)
                pushNear(p, v);
        }
    }

private:
    /// Pushes the triangles around `v` that this walk has not seen, if they are near `p`.
    void pushNear(const Point& p, int v) {
        for (const int* t = adjTris_.begin(v); t != adjTris_.end(v); ++t) {
            if (std::exchange(lastSeen_[*t], walk_) == walk_)
                continue;
            const Point a = cornerOf(*t, 0), b = cornerOf(*t, 1), c = cornerOf(*t, 2);
            const Point closest = MeshCoordBase::projectBase(a, b, c, p).evaluateBase(a, b, c);
            if (distance(p, closest) <= tolerance_)
                pending_.push_back(*t);
        }
    }

    Point cornerOf(int t, int corner) const {
        const MeshVertex& v = vertices_[triangles_[t][corner]];
        return {v.x, v.y, v.z};
    }

    const MeshVertex* vertices_;
    const MeshTriangle* triangles_;
    const MeshAdjTris& adjTris_;
    double tolerance_;
    Array<int> lastSeen_; // by triangle: the walk that came by it last
    int walk_ = 0;
    std::vector<int> pending_;
};

} // namespace

MeshSubset meshSubsetFromSelection(const CompactMesh& mesh, const BitVector& vertices,
                                   const BitVector& triangles) {
    return {&mesh, selectedBits(vertices, mesh.getNumVertices()),
            selectedBits(triangles, mesh.getNumTriangles())};
}

MeshSubset meshSubsetFromSelection(const CompactMesh& mesh) {
    return meshSubsetFromSelection(mesh, mesh.getSelectedVertices(), mesh.getSelectedTriangles());
}

MeshSelect::MeshSelect(CompactMesh& mesh, const MeshAdjTris& adjTris)
    : MeshSelect(mesh, adjTris, mesh.getSelectedTriangles(), mesh.getSelectedVertices()) {}

MeshSelect::MeshSelect(const CompactMesh& mesh, const MeshAdjTris& adjTris, BitVector& triangles,
                       BitVector& vertices)
    : mesh_(mesh),
      adjTris_(adjTris),
      selectedTriangles_(triangles),
      selectedVertices_(vertices),
      triangles_(mesh.getTriangles()),
      vertices_(mesh.getVertices()) {}

BitVector& MeshSelect::getSelectedVertices() {
    selectedVertices_.resize(mesh_.getNumVertices());
    return selectedVertices_;
}

BitVector& MeshSelect::getSelectedTriangles() {
    selectedTriangles_.resize(mesh_.getNumTriangles());
    return selectedTriangles_;
}

void MeshSelect::selectTrianglesFromVertices(int minCount) {
    debugChannel().print("MeshSelect::selectedTrianglesFromVertices()\n");
    selectByCorners(minCount);
}

void MeshSelect::selectAllTrianglesFromVertices() {
    debugChannel().print("MeshSelect::selectAllTrianglesFromVertices()\n");
    selectByCorners(1);
}

void MeshSelect::selectByCorners(int minCount) {
    qvOS::StopWatch watch;
    watch.start();
    const BitVector& vertices = getSelectedVertices();
    BitVector& selected = getSelectedTriangles();
    selected.clearBits();
    for (int t = 0; t < mesh_.getNumTriangles(); ++t) {
        if (numCornersIn(vertices, triangles_[t]) >= minCount)
            selected.set(t);
    }
    debugChannel().print("  selected triangles(%d): %f s\n", selected.numSetBits(), watch.clear());
}

void MeshSelect::selectVerticesFromTriangles() {
    debugChannel().print("MeshSelect::selectVerticesFromTriangles()\n");
    qvOS::StopWatch watch;
    watch.start();
    const BitVector& triangles = getSelectedTriangles();
    BitVector& selected = getSelectedVertices();
    selected.clearBits();
    for (int t = 0; t < mesh_.getNumTriangles(); ++t) {
        if (triangles.test(t))
            setCorners(triangles_[t], selected);
    }
    debugChannel().print("  selected vertices(%d): %f s\n", selected.numSetBits(), watch.clear());
}

void MeshSelect::invertTriangleSelection() {
    BitVector& selected = getSelectedTriangles();
    for (int t = 0; t < mesh_.getNumTriangles(); ++t)
        selected.set(t, !selected.test(t));
}

void MeshSelect::selectTrianglesRecursive(bool oneRing) {
    debugChannel().print("MeshSelect::selectTrianglesRecursive()\n");
    qvOS::StopWatch watch;
    watch.start();
    if (oneRing)
        selectNextRing();
    else
        selectPieces();
    debugChannel().print("   %f s\n", watch.clear());
}

void MeshSelect::selectNextRing() {
    BitVector& selected = getSelectedTriangles();
    const int numTriangles = mesh_.getNumTriangles();
    BitVector corners(mesh_.getNumVertices());
    for (int t = 0; t < numTriangles; ++t) {
        if (selected.test(t))
            setCorners(triangles_[t], corners);
    }
    for (int t = 0; t < numTriangles; ++t) {
        if (numCornersIn(corners, triangles_[t]) > 0)
            selected.set(t);
    }
}

void MeshSelect::selectPieces() {
    BitVector& selected = getSelectedTriangles();
    const int numTriangles = mesh_.getNumTriangles();
    Array<int> queue(numTriangles);
    int* tail = queue.data();
    for (int t = 0; t < numTriangles; ++t) {
        if (selected.test(t))
            *tail++ = t;
    }

    // In a mesh without order every step is a cache miss, which the queue foretells.
    constexpr std::ptrdiff_t kLookAhead = 8;
    const auto ahead = [&tail](const int* head, std::ptrdiff_t steps) {
        return *std::min(head + steps, static_cast<const int*>(tail) - 1);
    };
    // The triangles around a vertex are walked once: then all of them are selected.
    BitVector walked(mesh_.getNumVertices());
    for (const int* head = queue.data(); head != tail; ++head) {
        __builtin_prefetch(triangles_ + ahead(head, 3 * kLookAhead));
        for (const int v : triangles_[ahead(head, 2 * kLookAhead)].v)
            __builtin_prefetch(adjTris_.offsets() + v);
        for (const int v : triangles_[ahead(head, kLookAhead)].v)
            __builtin_prefetch(adjTris_.begin(v));
        for (const int v : triangles_[*head].v) {
            if (walked.test(v))
                continue;
            walked.set(v);
            for (const int* t = adjTris_.begin(v); t != adjTris_.end(v); ++t) {
                if (!selected.test(*t)) {
                    selected.set(*t);
                    *tail++ = *t;
                }
            }
        }
    }
}

void MeshSelect::selectTrisAdjacentToVert(int vertex, BitVector& out) const {
    out.resize(mesh_.getNumTriangles());
    for (const int* t = adjTris_.begin(vertex); t != adjTris_.end(vertex); ++t)
        out.set(*t);
}

void MeshSelect::selectAffectedTriangles(const std::deque<MeshCoord>& coords, double tolerance) {
    debugChannel().print("MeshSelect::selectAffectedTriangles()\n");
    qvOS::StopWatch watch;
    watch.start();
    BitVector& selected = getSelectedTriangles();
    selected.clearBits();

    NearTriangles near(mesh_, adjTris_, tolerance);
    for (const MeshCoord& coord : coords) {
        if (coord.triangle >= 0)
            near.select(coord, selected);
    }

    debugChannel().print("  selected triangles(%d): %f s\n", selected.numSetBits(), watch.clear());
}

} // namespace qvGeom
