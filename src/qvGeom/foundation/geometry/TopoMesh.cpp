#include "qvGeom/foundation/geometry/TopoMesh.h"

#include <algorithm>
#include <cstdint>

namespace qvGeom {

using qvLinear::Point;

namespace {

/// A half-edge without twin as its lower vertex sees it: the higher vertex, the id, and in the last
/// bit whether it runs upward. Order is by higher vertex, then by id.
using OpenEdge = std::uint64_t;

OpenEdge makeOpenEdge(int higherVertex, int e, bool upward) {
    return static_cast<OpenEdge>(higherVertex) << 32 | static_cast<OpenEdge>(e) << 1 |
           static_cast<OpenEdge>(upward);
}

int higherVertexOf(OpenEdge edge) { return static_cast<int>(edge >> 32); }

int idOf(OpenEdge edge) { return static_cast<int>(edge >> 1 & 0x7fffffff); }

bool isUpward(OpenEdge edge) { return (edge & 1) != 0; }

bool isDownward(OpenEdge edge) { return !isUpward(edge); }

/// The half-edges without twin, grouped by the lower of their two vertices.
struct OpenEdges {
    explicit OpenEdges(const TopoMesh& mesh);

    OpenEdge* begin(int v) { return edges.data() + (v > 0 ? ends[v - 1] : 0); }

    OpenEdge* end(int v) { return edges.data() + ends[v]; }

    std::vector<int> ends; // per vertex: where its group ends
    std::vector<OpenEdge> edges;
};

OpenEdges::OpenEdges(const TopoMesh& mesh)
    : ends(static_cast<std::size_t>(mesh.vertexIdLimit()) + 1, 0) {
    const auto forEachOpenEdge = [&mesh](auto visit) {
        for (int e = mesh.nextEdge(-1); e >= 0; e = mesh.nextEdge(e)) {
            const int a = mesh.edgeVertex(e);
            const int b = mesh.edgeEndVertex(e);
            if (mesh.edgeTwin(e) < 0 && a != b)
                visit(e, std::min(a, b), std::max(a, b), a < b);
        }
    };

    // Counting one place further on makes the sums the groups' starts; filling moves them to the
    // ends.
    forEachOpenEdge([this](int, int lower, int, bool) { ++ends[lower + 1]; });
    for (std::size_t v = 1; v < ends.size(); ++v)
        ends[v] += ends[v - 1];
    edges.resize(static_cast<std::size_t>(ends.back()));
    forEachOpenEdge([this](int e, int lower, int higher, bool upward) {
        edges[ends[lower]++] = makeOpenEdge(higher, e, upward);
    });
}

} // namespace

void meshTwin(TopoMesh& mesh) {
    OpenEdges open(mesh);
    for (int v = mesh.nextVertex(-1); v >= 0; v = mesh.nextVertex(v)) {
        OpenEdge* const end = open.end(v);
        std::sort(open.begin(v), end);
        for (OpenEdge* first = open.begin(v); first != end;) {
            const int other = higherVertexOf(*first);
            OpenEdge* const last = std::find_if(
                first, end, [other](OpenEdge edge) { return higherVertexOf(edge) != other; });
            OpenEdge* up = std::find_if(first, last, isUpward);
            OpenEdge* down = std::find_if(first, last, isDownward);
            while (up != last && down != last) {
                mesh.linkTwins(idOf(*up), idOf(*down));
                up = std::find_if(up + 1, last, isUpward);
                down = std::find_if(down + 1, last, isDownward);
            }
            first = last;
        }
    }
}

void TopoMesh::swap(TopoMesh& other) noexcept {
    vertices_.swap(other.vertices_);
    edges_.swap(other.edges_);
    faces_.swap(other.faces_);
    std::swap(numDeletedVertices_, other.numDeletedVertices_);
    std::swap(numDeletedEdges_, other.numDeletedEdges_);
    std::swap(numDeletedFaces_, other.numDeletedFaces_);
}

void TopoMesh::reserve(int numVertices, int numEdges, int numFaces) {
    reserveMore(vertices_, numVertices - vertexIdLimit());
    reserveMore(edges_, numEdges - edgeIdLimit());
    reserveMore(faces_, numFaces - faceIdLimit());
}

TopoMeshVertex TopoMesh::allocVertex(const Point& point) { return {this, addVertex(point)}; }

TopoMeshFace TopoMesh::allocTriangle(TopoMeshVertex a, TopoMeshVertex b, TopoMeshVertex c) {
    if (!has(a) || !has(b) || !has(c))
        return {this, -1};
    const int corners[] = {a.id, b.id, c.id};
    return {this, allocFace(corners, 3)};
}

TopoMeshFace TopoMesh::allocFace(const std::vector<TopoMeshVertex>& corners) {
    std::vector<int> ids;
    ids.reserve(corners.size());
    for (const TopoMeshVertex corner : corners) {
        if (!has(corner))
            return {this, -1};
        ids.push_back(corner.id);
    }
    return {this, allocFace(ids.data(), static_cast<int>(ids.size()))};
}

int TopoMesh::allocFace(const int* corners, int numCorners) {
    if (numCorners < 3)
        return -1;
    reserveMore(edges_, numCorners);
    reserveMore(faces_, 1);

    const int face = faceIdLimit();
    const int first = edgeIdLimit();
    const int last = first + numCorners - 1;
    faces_.push_back({first});
    for (int e = first; e <= last; ++e) {
        const int next = e < last ? e + 1 : first;
        const int prev = e > first ? e - 1 : last;
        addEdge(corners[e - first], face);
        edges_[e].next = next;
        edges_[e].prev = prev;
    }
    return face;
}

bool TopoMesh::setTwins(TopoMeshEdge e, TopoMeshEdge f) {
    if (!has(e) || !has(f) || !runsOpposite(e.id, f.id))
        return false;
    unlinkTwin(e.id);
    unlinkTwin(f.id);
    linkTwins(e.id, f.id);
    return true;
}

TopoMeshEdge TopoMesh::findEdge(TopoMeshVertex a, TopoMeshVertex b) {
    return {this, has(a) && has(b) ? findEdge(a.id, b.id) : -1};
}

int TopoMesh::findEdge(int a, int b) const {
    // The list of a and that of b each show all of them: one from behind, one from before. Walking
    // both at once ends with the shorter.
    int found = -1;
    const auto consider = [&](int e) {
        if (edgeVertex(e) == a && edgeEndVertex(e) == b && (found < 0 || e < found))
            found = e;
    };
    int fromA = vertexEdge(a);
    int fromB = vertexEdge(b);
    while (fromA >= 0 && fromB >= 0) {
        consider(fromA);
        consider(edgePrev(fromB));
        fromA = edgeNextOutgoing(fromA);
        fromB = edgeNextOutgoing(fromB);
    }
    return found;
}

int TopoMesh::vertexValence(int v) const {
    // A short list searched in place serves most vertices, without an allocation.
    constexpr int kMaxFew = 24;
    int few[kMaxFew];
    int count = 0;
    const auto consider = [&](int neighbour) {
        if (neighbour != v && std::find(few, few + count, neighbour) == few + count) {
            if (count == kMaxFew)
                return false;
            few[count++] = neighbour;
        }
        return true;
    };
    for (int e = vertexEdge(v); e >= 0; e = edgeNextOutgoing(e)) {
        if (!consider(edgeEndVertex(e)) || !consider(edgeVertex(edgePrev(e)))) {
            std::vector<int> neighbours;
            gatherNeighbours(v, neighbours);
            return static_cast<int>(neighbours.size());
        }
    }
    return count;
}

bool TopoMesh::vertexOnBoundary(int v) const {
    // As many half-edges end here as start here, and twins are one of each: where an ending one has
    // no twin, a starting one has none either.
    int e = vertexEdge(v);
    while (e >= 0 && edgeTwin(e) >= 0)
        e = edgeNextOutgoing(e);
    return e >= 0;
}

/// The distinct vertices that an edge joins to `v`, in order of id.
void TopoMesh::gatherNeighbours(int v, std::vector<int>& neighbours) const {
    neighbours.clear();
    for (int e = vertexEdge(v); e >= 0; e = edgeNextOutgoing(e)) {
        neighbours.push_back(edgeEndVertex(e));
        neighbours.push_back(edgeVertex(edgePrev(e)));
    }
    std::sort(neighbours.begin(), neighbours.end());
    neighbours.erase(std::unique(neighbours.begin(), neighbours.end()), neighbours.end());
    const auto itself = std::lower_bound(neighbours.begin(), neighbours.end(), v);
    if (itself != neighbours.end() && *itself == v)
        neighbours.erase(itself);
}

int TopoMesh::faceNumVertices(int f) const {
    int count = 1;
    for (int e = edgeNext(faceEdge(f)); e != faceEdge(f); e = edgeNext(e))
        ++count;
    return count;
}

Point TopoMesh::faceCentroid(int f) const {
    Point sum = vertexPoint(edgeVertex(faceEdge(f)));
    double count = 1;
    for (int e = edgeNext(faceEdge(f)); e != faceEdge(f); e = edgeNext(e)) {
        const Point& corner = vertexPoint(edgeVertex(e));
        sum = {sum.x + corner.x, sum.y + corner.y, sum.z + corner.z};
        ++count;
    }
    return {sum.x / count, sum.y / count, sum.z / count};
}

bool TopoMesh::faceAdjacent(int f, int g) const {
    int e = faceEdge(f);
    do {
        if (edgeTwin(e) >= 0 && edgeFace(edgeTwin(e)) == g)
            return true;
        e = edgeNext(e);
    } while (e != faceEdge(f));
    return false;
}

bool TopoMesh::runsOpposite(int e, int f) const {
    const int a = edgeVertex(e);
    const int b = edgeEndVertex(e);
    return a != b && edgeVertex(f) == b && edgeEndVertex(f) == a;
}

void TopoMesh::unlinkTwin(int e) {
    if (const int t = edgeTwin(e); t >= 0)
        edges_[e].twin = edges_[t].twin = -1;
}

void TopoMesh::linkTwins(int e, int f) {
    edges_[e].twin = f;
    edges_[f].twin = e;
    edges_[e].isTurned = edges_[f].isTurned = false;
}

void TopoMesh::linkOutgoing(int e) {
    int& head = vertices_[edgeVertex(e)].edge;
    edges_[e].prevOutgoing = -1;
    edges_[e].nextOutgoing = head;
    if (head >= 0)
        edges_[head].prevOutgoing = e;
    head = e;
}

void TopoMesh::unlinkOutgoing(int e) {
    const int before = edges_[e].prevOutgoing;
    const int after = edges_[e].nextOutgoing;
    (before >= 0 ? edges_[before].nextOutgoing : vertices_[edgeVertex(e)].edge) = after;
    if (after >= 0)
        edges_[after].prevOutgoing = before;
}

void TopoMesh::moveOrigin(int e, int v) {
    unlinkOutgoing(e);
    edges_[e].origin = v;
    linkOutgoing(e);
}

} // namespace qvGeom
