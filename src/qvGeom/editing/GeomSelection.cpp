#include "qvGeom/editing/GeomSelection.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <utility>

#include "qvGeom/foundation/base/Diagnostics.h"
#include "qvGeom/foundation/base/StopWatch.h"
#include "qvGeom/foundation/base/ThreadPool.h"
#include "qvGeom/foundation/base/ThreadedAlg.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/MeshAdjTris.h"
#include "qvGeom/foundation/geometry/MeshCoord.h"
#include "qvGeom/foundation/linear/Convert.h"

namespace qvGeom {
namespace {

using qvLinear::Point;
using qvLinear::ProjMatrix;
using qvLinear::ProjMatrixFlt;

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

/// The edges of a closed polygon in the plane, in single precision, and for every row across it
/// those that reach into the row.
class Lasso {
public:
    explicit Lasso(const std::vector<Point>& polygon) {
        const auto numPoints = static_cast<int>(polygon.size());
        if (numPoints < 3)
            return;
        for (int i = 0; i < numPoints; ++i)
            addEdge(polygon[i], polygon[i + 1 < numPoints ? i + 1 : 0]);

        constexpr int kMaxRows = 64; // a tall edge is in all of them
        const double height = qvLinear::widen(maxY_) - qvLinear::widen(minY_);
        if (height > 0 && height < std::numeric_limits<double>::infinity()) {
            numRows_ = std::min(numPoints, kMaxRows);
            rowsPerLength_ = numRows_ / height;
        }
        std::vector<int> rowsAndEdges;
        for (int e = 0; e < numPoints; ++e) {
            const auto [low, high] = std::minmax(edges_[e].y0, edges_[e].y1);
            if (numRows_ > 0 && low <= high) { // neither is NaN
                for (int row = rowOf(low); row <= rowOf(high); ++row)
                    rowsAndEdges.insert(rowsAndEdges.end(), {row, e});
            }
            rowsAndEdges.insert(rowsAndEdges.end(), {numRows_, e});
        }
        rows_.assignFromPairs(numRows_ + 1, static_cast<int>(rowsAndEdges.size() / 2),
                              rowsAndEdges.data());
    }

    /// Answers as pointPolygonIntersect2D does, whose rule this is.
    bool contains(float x, float y) const {
        // Every edge skips such a point. What is not a number goes on.
        if (edges_.empty() || x > maxX_ || y < minY_ || y > maxY_)
            return false;
        const int row = rowOf(y);
        bool inside = false;
        for (const int* e = rows_.begin(row); e != rows_.end(row); ++e) {
            const Edge& edge = edges_[*e];
            if (edge.skips(x, y))
                continue;
            if (edge.y0 == edge.y1) {
                if (std::min(edge.x0, edge.x1) <= x && x <= std::max(edge.x0, edge.x1))
                    return true;
                continue;
            }
            const float t = (y - edge.y0) / (edge.y1 - edge.y0);
            if (t >= 0 && t < 1 && edge.x0 + (edge.x1 - edge.x0) * t >= x)
                inside = !inside;
        }
        return inside;
    }

private:
    struct Edge {
        float x0, y0, x1, y1;

        bool skips(float x, float y) const {
            return (y0 > y && y1 > y) || (y0 < y && y1 < y) || (x0 < x && x1 < x);
        }
    };

    void addEdge(const Point& from, const Point& to) {
        using qvLinear::narrow;
        const Edge edge{narrow(from.x), narrow(from.y), narrow(to.x), narrow(to.y)};
        edges_.push_back(edge);
        maxX_ = std::max(maxX_, edge.x0);
        minY_ = std::min(minY_, edge.y0);
        maxY_ = std::max(maxY_, edge.y0);
    }

    /// The row of a height between the lowest and the highest corner. One that is not a number, or
    /// any where rows make no sense, is in the last, which has all edges.
    int rowOf(float y) const {
        if (numRows_ == 0 || std::isnan(y))
            return numRows_;
        const double above = qvLinear::widen(y) - qvLinear::widen(minY_);
        return std::min(static_cast<int>(above * rowsPerLength_), numRows_ - 1);
    }

    std::vector<Edge> edges_;
    float maxX_ = -std::numeric_limits<float>::infinity();
    float minY_ = std::numeric_limits<float>::infinity();
    float maxY_ = -std::numeric_limits<float>::infinity();
    int numRows_ = 0;
    double rowsPerLength_ = 0;
    ArrayOfSets rows_;
};

/// Collects the vertices whose projections are inside a lasso, thread by thread.
class LassoAlg final : public qvUtil::ThreadedAlg {
public:
    LassoAlg(int numVertices, const MeshVertex* vertices, const ProjMatrix& projection,
             const std::vector<Point>& polygon)
        : numVertices_(numVertices),
          vertices_(vertices),
          projection_(projection),
          lasso_(polygon) {}

    void initialize(int numThreads) override { found_.resize(numThreads); }

    void threadFunc(int thread, int numThreads) override {
        std::vector<int> found;
        const float(&m)[4][4] = projection_.m;
        for (const int i : qvUtil::sliceOf(numVertices_, thread, numThreads)) {
            const auto [x, y, z] = vertices_[i];
            const float w = x * m[0][3] + y * m[1][3] + z * m[2][3] + m[3][3];
            if (lasso_.contains((x * m[0][0] + y * m[1][0] + z * m[2][0] + m[3][0]) / w,
                                (x * m[0][1] + y * m[1][1] + z * m[2][1] + m[3][1]) / w))
                found.push_back(i);
        }
        found_[thread].swap(found);
    }

    void selectFound(BitVector& vertices) const {
        for (const std::vector<int>& found : found_)
            vertices.setBits(static_cast<int>(found.size()), found.data());
    }

private:
    int numVertices_;
    const MeshVertex* vertices_;
    ProjMatrixFlt projection_;
    Lasso lasso_;
    std::vector<std::vector<int>> found_;
};

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
        return qvLinear::widen(vertices_[triangles_[t][corner]]);
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
        return head[std::min(steps, tail - 1 - head)];
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

void MeshSelect::selectVertices(const ProjMatrix& projection, const std::vector<Point>& polygon) {
    const int numVertices = mesh_.getNumVertices();
    debugChannel().print("MeshSelect::selectVertices: vertices(%d) triangles(%d)\n", numVertices,
                         mesh_.getNumTriangles());
    qvOS::StopWatch watch;
    watch.start();
    BitVector& selected = getSelectedVertices();

    LassoAlg alg(numVertices, vertices_, projection, polygon);
    qvUtil::ThreadPool::getFor(numVertices).run(alg);
    alg.selectFound(selected);

    debugChannel().print("  selected vertices(%d): %f s\n", selected.numSetBits(), watch.clear());
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
