#include "qvGeom/cutting/GeomCutSurface.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <queue>
#include <utility>
#include <vector>

#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/DisjointSets.h"
#include "qvGeom/foundation/geometry/MeshAdjTris.h"
#include "qvGeom/foundation/geometry/MeshModification.h"
#include "qvGeom/foundation/geometry/MeshRemap.h"
#include "qvGeom/foundation/geometry/Remap.h"
#include "qvGeom/topology/GeomAdjacency.h"

namespace qvGeom {

namespace {

// How often a closed surface is cut anew from a better place, at most.
constexpr int kRounds = 4;

/// The corners of the triangles in sequence. A corner also stands for the edge that leaves it, one
/// side of it: the one in its own triangle.
class Corners {
public:
    Corners(const CompactMesh& mesh, const MeshAdjTris& adjTris)
        : vertices_(mesh.getTrianglesRaw()),
          count_(3 * mesh.getNumTriangles()),
          across_(static_cast<std::size_t>(count_), -1) {
        isManifold_ = link(adjTris) && hasOneFanAtEachVertex(mesh.getNumVertices());
    }

    int count() const { return count_; }

    /// Whether edges and vertices are those of a surface whose triangles wind alike.
    bool isManifold() const { return isManifold_; }

    static int next(int corner) { return corner % 3 == 2 ? corner - 2 : corner + 1; }

    static int prev(int corner) { return corner % 3 == 0 ? corner + 2 : corner - 1; }

    int vertex(int corner) const { return vertices_[corner]; }

    int target(int corner) const { return vertices_[next(corner)]; }

    /// The other side of the edge; -1 on a boundary.
    int across(int corner) const { return across_[corner]; }

    bool isBoundary(int corner) const { return across_[corner] < 0; }

    /// The same corner for both sides of an edge.
    int edge(int corner) const {
        return isBoundary(corner) ? corner : std::min(corner, across(corner));
    }

    /// The number given to each corner, starting at 0 for a vertex: those of one vertex share one
    /// if triangles join them that meet at edges for which `isOpen` is true.
    template <class IsOpen>
    std::vector<int> fansAtVertices(int numVertices, const IsOpen& isOpen) const {
        std::vector<int> fan(static_cast<std::size_t>(count_), -1);
        std::vector<int> numFans(static_cast<std::size_t>(numVertices), 0);
        for (int first = 0; first < count_; ++first) {
            if (fan[first] >= 0)
                continue;
            const int number = numFans[vertex(first)]++;
            int corner = first;
            while (corner >= 0 && fan[corner] < 0) {
                fan[corner] = number;
                corner = isOpen(corner) ? next(across(corner)) : -1;
            }
            corner = isOpen(prev(first)) ? across(prev(first)) : -1;
            while (corner >= 0 && fan[corner] < 0) {
                fan[corner] = number;
                corner = isOpen(prev(corner)) ? across(prev(corner)) : -1;
            }
        }
        return fan;
    }

private:
    /// Finds the other side of every edge; false where it does not have one at most.
    bool link(const MeshAdjTris& adjTris) {
        for (int corner = 0; corner < count_; ++corner) {
            const int from = vertex(corner);
            const int to = target(corner);
            if (from == to)
                return false;
            const int pivot = adjTris.setSize(from) <= adjTris.setSize(to) ? from : to;
            int sameWay = 0;
            int otherWay = 0;
            for (const int* t = adjTris.begin(pivot); t != adjTris.end(pivot); ++t) {
                for (int other = 3 * *t; other < 3 * *t + 3; ++other) {
                    sameWay += vertex(other) == from && target(other) == to;
                    if (vertex(other) == to && target(other) == from) {
                        across_[corner] = other;
                        ++otherWay;
                    }
                }
            }
            if (sameWay != 1 || otherWay > 1)
                return false;
        }
        return true;
    }

    bool hasOneFanAtEachVertex(int numVertices) const {
        const auto fans =
            fansAtVertices(numVertices, [this](int corner) { return !isBoundary(corner); });
        return std::all_of(fans.begin(), fans.end(), [](int fan) { return fan == 0; });
    }

    const int* vertices_;
    int count_;
    std::vector<int> across_;
    bool isManifold_;
};

/// Finds the edges to cut. Edges are named as Corners::edge does.
class Cutter {
public:
    Cutter(const CompactMesh& mesh, const MeshAdjTris& adjTris, const Corners& corners)
        : mesh_(mesh),
          adjTris_(adjTris),
          corners_(corners),
          isCut_(static_cast<std::size_t>(corners.count())),
          distance_(static_cast<std::size_t>(mesh.getNumVertices())),
          arrival_(static_cast<std::size_t>(mesh.getNumVertices())),
          borderEdge_(static_cast<std::size_t>(mesh.getNumVertices()), -1) {
        for (int corner = 0; corner < corners.count(); ++corner) {
            if (corners.isBoundary(corner))
                borderEdge_[corners.vertex(corner)] = corner;
        }
    }

    /// The edges to cut, boundary edges among them.
    std::vector<bool> cut() {
        const auto border = std::find_if(borderEdge_.begin(), borderEdge_.end(),
                                         [](int edge) { return edge >= 0; });
        const bool isClosed = border == borderEdge_.end();
        const int base =
            isClosed ? corners_.vertex(0) : static_cast<int>(border - borderEdge_.begin());
        double length = cutFrom(base);
        // With a boundary the place of the base in it makes no difference.
        for (int round = 1; isClosed && length > 0.0 && round < kRounds; ++round) {
            const std::vector<bool> best = isCut_;
            const double shorter = cutFrom(farthestCutVertex());
            if (!(shorter < length)) {
                isCut_ = best;
                break;
            }
            length = shorter;
        }
        if (isClosed && std::find(isCut_.begin(), isCut_.end(), true) == isCut_.end())
            cutBetweenFarVertices(base);
        return isCut_;
    }

private:
    /// Visits the edges at a vertex, inner ones twice, with the vertex at the other end.
    template <class Visit>
    void visitEdges(int vertex, const Visit& visit) const {
        for (const int* t = adjTris_.begin(vertex); t != adjTris_.end(vertex); ++t) {
            for (int corner = 3 * *t; corner < 3 * *t + 3; ++corner) {
                if (corners_.vertex(corner) == vertex)
                    visit(corners_.edge(corner), corners_.target(corner));
                else if (corners_.target(corner) == vertex)
                    visit(corners_.edge(corner), corners_.vertex(corner));
            }
        }
    }

    /// Boundary edges are free: they are part of the cut anyhow. So is what has no finite length.
    double lengthOf(int edge) const {
        if (corners_.isBoundary(edge))
            return 0.0;
        const MeshVertex& a = mesh_.getVertices()[corners_.vertex(edge)];
        const MeshVertex& b = mesh_.getVertices()[corners_.target(edge)];
        const double length =
            std::hypot(static_cast<double>(a.x) - b.x, static_cast<double>(a.y) - b.y,
                       static_cast<double>(a.z) - b.z);
        return std::isfinite(length) ? length : 0.0;
    }

    /// Shortest paths from `base` to all vertices; returns the vertex reached last. Whoever reaches
    /// a boundary loop goes all round it, so that no two paths lead to one loop.
    int walkFrom(int base) {
        std::fill(distance_.begin(), distance_.end(), HUGE_VAL);
        std::fill(arrival_.begin(), arrival_.end(), -1);
        using Entry = std::pair<double, int>;
        std::priority_queue<Entry, std::vector<Entry>, std::greater<>> queue;
        std::vector<bool> isRounded(distance_.size(), false);
        distance_[base] = 0.0;
        queue.emplace(0.0, base);
        int last = base;
        while (!queue.empty()) {
            const auto [distance, vertex] = queue.top();
            queue.pop();
            if (distance > distance_[vertex])
                continue;
            last = vertex;
            if (borderEdge_[vertex] >= 0 && !isRounded[vertex]) {
                isRounded[vertex] = true;
                for (int edge = borderEdge_[vertex]; corners_.target(edge) != vertex;
                     edge = borderEdge_[corners_.target(edge)]) {
                    const int reached = corners_.target(edge);
                    isRounded[reached] = true;
                    distance_[reached] = distance;
                    arrival_[reached] = edge;
                    queue.emplace(distance, reached);
                }
            }
            visitEdges(vertex, [&, from = distance](int edge, int other) {
                const double reached = from + lengthOf(edge);
                if (reached < distance_[other]) {
                    distance_[other] = reached;
                    arrival_[other] = edge;
                    queue.emplace(reached, other);
                }
            });
        }
        return last;
    }

    /// Cuts along the paths from `base` that are needed; returns the length of the cut.
    double cutFrom(int base) {
        walkFrom(base);
        for (int corner = 0; corner < corners_.count(); ++corner)
            isCut_[corner] = corners_.edge(corner) == corner;
        joinTriangles();
        dropDeadEnds();
        double length = 0.0;
        for (int edge = 0; edge < corners_.count(); ++edge)
            length += isCut_[edge] ? lengthOf(edge) : 0.0;
        return length;
    }

    /// Joins all triangles across edges that no path uses, those of the longest ways round first.
    void joinTriangles() {
        std::vector<std::pair<double, int>> edges; // longest first, then by name
        for (int edge = 0; edge < corners_.count(); ++edge) {
            const int a = corners_.vertex(edge);
            const int b = corners_.target(edge);
            if (corners_.edge(edge) == edge && !corners_.isBoundary(edge) && arrival_[a] != edge &&
                arrival_[b] != edge)
                edges.emplace_back(-(distance_[a] + distance_[b] + lengthOf(edge)), edge);
        }
        std::sort(edges.begin(), edges.end());
        DisjointSets triangles(corners_.count() / 3);
        for (const auto& [order, edge] : edges) {
            if (triangles.unite(edge / 3, corners_.across(edge) / 3))
                isCut_[edge] = false;
        }
    }

    std::vector<int> cutDegrees() const {
        std::vector<int> degrees(distance_.size(), 0);
        for (int edge = 0; edge < corners_.count(); ++edge) {
            if (isCut_[edge]) {
                ++degrees[corners_.vertex(edge)];
                ++degrees[corners_.target(edge)];
            }
        }
        return degrees;
    }

    /// The vertex of the cut farthest from where its paths began: they meet there as they please,
    /// so that it lies where the way round is short.
    int farthestCutVertex() const {
        int farthest = -1;
        for (int edge = 0; edge < corners_.count(); ++edge) {
            const int vertex = corners_.vertex(edge);
            if (isCut_[edge] && (farthest < 0 || distance_[vertex] > distance_[farthest]))
                farthest = vertex;
        }
        return farthest;
    }

    /// Takes paths that end at a vertex by themselves out of the cut.
    void dropDeadEnds() {
        std::vector<int> degrees = cutDegrees();
        for (std::size_t v = 0; v < degrees.size(); ++v) {
            int vertex = static_cast<int>(v);
            while (degrees[vertex] == 1) {
                int end = vertex;
                visitEdges(vertex, [&](int edge, int other) {
                    if (isCut_[edge]) {
                        isCut_[edge] = false;
                        end = other;
                    }
                });
                --degrees[vertex];
                --degrees[end];
                vertex = end;
            }
        }
    }

    /// Cuts a sphere. A single edge would open into a loop of two, so the path is given two.
    void cutBetweenFarVertices(int start) {
        const int from = walkFrom(start);
        const int to = walkFrom(from);
        int edges = 0;
        for (int vertex = to; vertex != from; ++edges) {
            const int edge = arrival_[vertex];
            isCut_[edge] = true;
            vertex =
                corners_.vertex(edge) == vertex ? corners_.target(edge) : corners_.vertex(edge);
        }
        if (edges > 1)
            return;
        bool isLonger = false;
        visitEdges(to, [&](int edge, int other) {
            if (!isLonger && other != from)
                isLonger = isCut_[edge] = true;
        });
    }

    const CompactMesh& mesh_;
    const MeshAdjTris& adjTris_;
    const Corners& corners_;
    std::vector<bool> isCut_;
    std::vector<double> distance_; // of each vertex from the base
    std::vector<int> arrival_;     // the edge by which its path comes in
    std::vector<int> borderEdge_;  // the boundary edge that starts at a vertex, or -1
};

bool isConnected(const Corners& corners) {
    DisjointSets triangles(corners.count() / 3);
    int components = corners.count() / 3;
    for (int corner = 0; corner < corners.count(); ++corner) {
        if (!corners.isBoundary(corner))
            components -= triangles.unite(corner / 3, corners.across(corner) / 3);
    }
    return components == 1;
}

/// Whether a connected surface has the Euler characteristic of a disk, which no other has that has
/// a boundary.
bool isDisk(const Corners& corners, const MeshAdjTris& adjTris) {
    int vertices = 0;
    for (int v = 0; v < adjTris.numSets(); ++v)
        vertices += adjTris.setSize(v) > 0;
    int edges = 0;
    bool hasBoundary = false;
    for (int corner = 0; corner < corners.count(); ++corner) {
        edges += corners.edge(corner) == corner;
        hasBoundary |= corners.isBoundary(corner);
    }
    return hasBoundary && vertices - edges + corners.count() / 3 == 1;
}

template <class T>
void copyTo(T* channel, int end, const std::vector<int>& sources) {
    for (std::size_t i = 0; channel && i < sources.size(); ++i)
        channel[end + static_cast<int>(i)] = channel[sources[i]];
}

/// Appends copies of vertices with all they carry.
void appendCopies(CompactMesh& mesh, const std::vector<int>& sources) {
    const int end = mesh.getNumVertices();
    const int count = end + static_cast<int>(sources.size());
    BitVector selected(mesh.getSelectedVertices());
    if (selected.size() == end) {
        selected.resize(count);
        for (int v = end; v < count; ++v)
            selected.set(v, selected.test(sources[v - end]));
    }
    PointMesh grown(mesh);
    grown.resizeVertexArray(count);
    copyTo(grown.getVertices(), end, sources);
    copyTo(grown.getNormals(), end, sources);
    copyTo(grown.getUVs(), end, sources);
    copyTo(grown.getSTs(), end, sources);
    copyTo(grown.getColours(), end, sources);
    mesh.swapVertexChannels(grown);
    mesh.getSelectedVertices().swap(selected);
}

/// Gives each fan that the cut separates at a vertex a vertex of its own.
void separate(CompactMesh& mesh, const Corners& corners, const std::vector<bool>& isCut) {
    const int numVertices = mesh.getNumVertices();
    const std::vector<int> fans = corners.fansAtVertices(numVertices, [&](int corner) {
        return !corners.isBoundary(corner) && !isCut[corners.edge(corner)];
    });
    // Copies are numbered by the vertex they are of, and its fans.
    std::vector<int> copies(static_cast<std::size_t>(numVertices) + 1, 0);
    for (int corner = 0; corner < corners.count(); ++corner) {
        int& fansOfVertex = copies[corners.vertex(corner)];
        fansOfVertex = std::max(fansOfVertex, fans[corner]);
    }
    std::vector<int> sources;
    for (int v = 0; v < numVertices; ++v) {
        const int firstCopy = static_cast<int>(sources.size());
        sources.insert(sources.end(), static_cast<std::size_t>(copies[v]), v);
        copies[v] = firstCopy;
    }
    std::vector<int> targets(static_cast<std::size_t>(corners.count()));
    for (int corner = 0; corner < corners.count(); ++corner) {
        const int vertex = corners.vertex(corner);
        targets[corner] =
            fans[corner] == 0 ? vertex : numVertices + copies[vertex] + fans[corner] - 1;
    }
    appendCopies(mesh, sources);
    std::copy(targets.begin(), targets.end(), mesh.getTrianglesRaw());
}

} // namespace

cutSurface::cutSurface(CompactMesh& mesh) : mesh_(mesh) {}

bool cutSurface::makeDisk() {
    MeshAdjTris adjTris;
    meshAdjTris(mesh_, adjTris);
    const Corners corners(mesh_, adjTris);
    if (!corners.isManifold() || !isConnected(corners))
        return false;
    if (isDisk(corners, adjTris))
        return true;

    const int oldCount = mesh_.getNumVertices();
    Remap remap(oldCount, oldCount);
    remap.setSequential();
    separate(mesh_, corners, Cutter(mesh_, adjTris, corners).cut());
    remap.setNewCount(mesh_.getNumVertices());

    MeshRemap remaps(&remap, nullptr);
    MeshModification modification(&mesh_, MeshModification::Topology, &remaps);
    if (mesh_.getNumTriStrips() > 0 || mesh_.getNumTriFans() > 0) {
        mesh_.resizeTriStripArrays(0, 0);
        mesh_.resizeTriFanArrays(0, 0);
        modification.stripsAndFansModified();
    }
    modification.normalsValid();
    modification.triangleNormalsValid();
    modification.uvsValid();
    modification.stsValid();
    modification.coloursValid();
    mesh_.modified(modification);
    return true;
}

} // namespace qvGeom
