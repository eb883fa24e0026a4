/// \file
/// A half-edge mesh of polygons, for work that changes connectivity.
#pragma once

#include <vector>

#include "qvGeom/Export.h"
#include "qvGeom/foundation/linear/Point.h"

namespace qvGeom {

class TopoMesh;
struct TopoMeshEdge;
struct TopoMeshFace;

/// A vertex of a `TopoMesh`. Like all handles it is a mesh and an id, of no cost to copy; the null
/// handle has id -1. Handles compare by id alone. A question put to a null handle is answered by a
/// null handle, 0 or false; only `point()` needs a real one.
struct TopoMeshVertex {
    TopoMesh* mesh = nullptr;
    int id = -1;

    bool isNull() const { return id < 0; }

    /// The position, to read or to move; the reference dies with the next `allocVertex`.
    qvLinear::Point& point() const;
    /// The number of distinct vertices that an edge joins to this one, linked or not; 0 for an
    /// isolated vertex.
    int valence() const;
    /// Whether an edge at this vertex, to or from it, has no twin. An isolated vertex has no edge.
    bool onBoundary() const;
    /// Whether an edge of either direction joins both vertices.
    bool adjacent(TopoMeshVertex other) const;
    /// One of the edges that start here; null for an isolated vertex.
    TopoMeshEdge edge() const;
    /// The next vertex of the mesh's list; null after the last.
    TopoMeshVertex next() const;

    friend bool operator==(TopoMeshVertex a, TopoMeshVertex b) { return a.id == b.id; }

    friend bool operator<(TopoMeshVertex a, TopoMeshVertex b) { return a.id < b.id; }
};

/// A half-edge: one side of an edge, running along the winding of the face it belongs to.
struct TopoMeshEdge {
    TopoMesh* mesh = nullptr;
    int id = -1;

    bool isNull() const { return id < 0; }

    /// The vertex where the half-edge starts.
    TopoMeshVertex vertex() const;
    /// The half-edges after and before this one around its face.
    TopoMeshEdge next() const;
    TopoMeshEdge prev() const;
    /// The other side of the edge; null on a boundary.
    TopoMeshEdge twin() const;
    TopoMeshFace face() const;
    /// Another half-edge starting at the same vertex, whatever fan it is in. From the vertex's
    /// `edge()` on, this meets each of them once; null after the last.
    TopoMeshEdge nextOutgoing() const;
    /// The next half-edge of the mesh's list; null after the last.
    TopoMeshEdge nextInList() const;

    friend bool operator==(TopoMeshEdge a, TopoMeshEdge b) { return a.id == b.id; }

    friend bool operator<(TopoMeshEdge a, TopoMeshEdge b) { return a.id < b.id; }
};

/// A polygon of three or more corners.
struct TopoMeshFace {
    TopoMesh* mesh = nullptr;
    int id = -1;

    bool isNull() const { return id < 0; }

    /// The number of corners.
    int numVertices() const;
    /// The half-edge that starts at the first corner.
    TopoMeshEdge firstEdge() const;
    /// The mean of the corners' positions; the origin for a null face.
    qvLinear::Point centroid() const;
    /// Whether an edge of this face has its twin in the other face.
    bool adjacent(TopoMeshFace other) const;
    /// The next face of the mesh's list; null after the last.
    TopoMeshFace next() const;

    friend bool operator==(TopoMeshFace a, TopoMeshFace b) { return a.id == b.id; }

    friend bool operator<(TopoMeshFace a, TopoMeshFace b) { return a.id < b.id; }
};

/// Links every half-edge that has no twin to one that runs between the same two vertices the other
/// way and has none either; existing links stay. Where more than two meet, they pair up in order of
/// creation and what is left over stays without twin. A half-edge from a vertex to itself is never
/// linked.
QVGEOM_API void meshTwin(TopoMesh& mesh);

/// Vertices, half-edges and faces in flat arrays, addressed by id. Ids count up in order of
/// creation, which is also the order of the three lists, and are never given out twice.
///
/// Any polygons may be put together: several fans may meet at a vertex, any number of faces at an
/// edge, and neighbours may wind against each other. All edges at a vertex can be reached from it.
///
/// A copy has the same ids. Handles name the `TopoMesh` object they came from: they say nothing of
/// its copies, and after an assignment or a swap they mean whatever has their id in it then.
///
/// Most questions come in two forms: on handles, which are safe on null ones, and on plain ids for
/// inner loops, which check nothing. An id of -1 as result means none.
class QVGEOM_API TopoMesh {
public:
    void swap(TopoMesh& other) noexcept;

    /// Makes room for this many elements in all, and for more where that saves moving them often,
    /// so that adding up to these numbers neither moves elements nor runs out of memory.
    void reserve(int numVertices, int numEdges, int numFaces);

    /// \name Building
    /// New faces are not linked to their neighbours: see `meshTwin`.
    /// @{
    TopoMeshVertex allocVertex(const qvLinear::Point& point);
    TopoMeshFace allocTriangle(TopoMeshVertex a, TopoMeshVertex b, TopoMeshVertex c);
    /// Adds the polygon through `corners`, in their order. A vertex may occur in it more than once.
    /// With fewer than three corners, or one that is null or of another mesh, adds nothing and
    /// returns null.
    TopoMeshFace allocFace(const std::vector<TopoMeshVertex>& corners);
    /// The same on ids, which must be those of vertices; returns the face's id.
    int allocFace(const int* corners, int numCorners);
    /// Makes two half-edges twins and parts them from the twins they had. False, and nothing
    /// changed, unless both run between the same two distinct vertices in opposite directions.
    bool setTwins(TopoMeshEdge e, TopoMeshEdge f);
    /// @}

    /// \name Editing
    /// @{
    /// Turns the edge A-B between the triangles (A, B, C) and (B, A, D) into C-D. Every half-edge
    /// and face keeps its id, and `e` its face. Swapping the same edge again restores all of them,
    /// unless another edge joins A and B. False, and nothing changed, when `e` has no twin, when a
    /// face beside it is not a triangle, or when C and D are the same or already joined. Costs the
    /// smaller valence of C and D.
    bool swapEdge(TopoMeshEdge e);
    bool swapEdge(int e);

    /// @}

    /// \name Lists and counts
    /// Walk a list from its first element by the handle's next link, or on ids from the -1 before
    /// the first to the -1 after the last.
    /// @{
    int numVertices() const { return numIds(vertices_); }

    /// The number of half-edges.
    int numEdges() const { return numIds(edges_); }

    int numFaces() const { return numIds(faces_); }

    TopoMeshVertex firstVertex() { return {this, nextVertex(-1)}; }

    TopoMeshEdge firstEdge() { return {this, nextEdge(-1)}; }

    TopoMeshFace firstFace() { return {this, nextFace(-1)}; }

    int nextVertex(int v) const { return v + 1 < numIds(vertices_) ? v + 1 : -1; }

    int nextEdge(int e) const { return e + 1 < numIds(edges_) ? e + 1 : -1; }

    int nextFace(int f) const { return f + 1 < numIds(faces_) ? f + 1 : -1; }

    /// One more than the highest id given out so far: the size of a table indexed by id.
    int vertexIdLimit() const { return numIds(vertices_); }

    int edgeIdLimit() const { return numIds(edges_); }

    int faceIdLimit() const { return numIds(faces_); }

    /// @}

    /// \name Search
    /// @{
    /// The half-edge that runs from `a` to `b`, the one of lowest id if there are several; null
    /// without one. Costs the smaller valence of both.
    TopoMeshEdge findEdge(TopoMeshVertex a, TopoMeshVertex b);
    int findEdge(int a, int b) const;

    /// @}

    /// \name Questions on ids
    /// What the handles' functions of like name answer.
    /// @{
    qvLinear::Point& vertexPoint(int v) { return vertices_[v].point; }

    const qvLinear::Point& vertexPoint(int v) const { return vertices_[v].point; }

    int vertexEdge(int v) const { return vertices_[v].edge; }

    int vertexValence(int v) const;
    bool vertexOnBoundary(int v) const;

    int edgeVertex(int e) const { return edges_[e].origin; }

    /// The vertex where the half-edge ends.
    int edgeEndVertex(int e) const { return edges_[edges_[e].next].origin; }

    int edgeNext(int e) const { return edges_[e].next; }

    int edgePrev(int e) const { return edges_[e].prev; }

    int edgeTwin(int e) const { return edges_[e].twin; }

    int edgeFace(int e) const { return edges_[e].face; }

    int edgeNextOutgoing(int e) const { return edges_[e].nextOutgoing; }

    int faceEdge(int f) const { return faces_[f].edge; }

    int faceNumVertices(int f) const;
    qvLinear::Point faceCentroid(int f) const;
    bool faceAdjacent(int f, int g) const;
    /// @}

private:
    friend QVGEOM_API void meshTwin(TopoMesh& mesh);

    struct Vertex {
        qvLinear::Point point;
        int edge; // head of the list of half-edges that start here
    };

    struct Edge {
        int origin;
        int next, prev, twin, face;
        int nextOutgoing, prevOutgoing; // list of the half-edges that start at the origin
    };

    struct Face {
        int edge;
    };

    template <class Record>
    static int numIds(const std::vector<Record>& records) {
        return static_cast<int>(records.size());
    }

    bool has(TopoMeshVertex v) const {
        return v.mesh == this && v.id >= 0 && v.id < vertexIdLimit();
    }

    bool has(TopoMeshEdge e) const { return e.mesh == this && e.id >= 0 && e.id < edgeIdLimit(); }

    bool isTriangleEdge(int e) const { return edgeNext(edgeNext(e)) == edgePrev(e); }

    bool runsOpposite(int e, int f) const;
    void unlinkTwin(int e);
    void linkTwins(int e, int f);
    void linkOutgoing(int e);
    void unlinkOutgoing(int e);
    void moveOrigin(int e, int v);
    void setTriangleRing(int e0, int e1, int e2);
    void exchangeFaces(int e, int f);

    std::vector<Vertex> vertices_;
    std::vector<Edge> edges_;
    std::vector<Face> faces_;
};

inline qvLinear::Point& TopoMeshVertex::point() const { return mesh->vertexPoint(id); }

inline int TopoMeshVertex::valence() const { return isNull() ? 0 : mesh->vertexValence(id); }

inline bool TopoMeshVertex::onBoundary() const { return !isNull() && mesh->vertexOnBoundary(id); }

inline bool TopoMeshVertex::adjacent(TopoMeshVertex other) const {
    return !isNull() &&
           !(mesh->findEdge(*this, other).isNull() && mesh->findEdge(other, *this).isNull());
}

inline TopoMeshEdge TopoMeshVertex::edge() const {
    return {mesh, isNull() ? -1 : mesh->vertexEdge(id)};
}

inline TopoMeshVertex TopoMeshVertex::next() const {
    return {mesh, isNull() ? -1 : mesh->nextVertex(id)};
}

inline TopoMeshVertex TopoMeshEdge::vertex() const {
    return {mesh, isNull() ? -1 : mesh->edgeVertex(id)};
}

inline TopoMeshEdge TopoMeshEdge::next() const {
    return {mesh, isNull() ? -1 : mesh->edgeNext(id)};
}

inline TopoMeshEdge TopoMeshEdge::prev() const {
    return {mesh, isNull() ? -1 : mesh->edgePrev(id)};
}

inline TopoMeshEdge TopoMeshEdge::twin() const {
    return {mesh, isNull() ? -1 : mesh->edgeTwin(id)};
}

inline TopoMeshFace TopoMeshEdge::face() const {
    return {mesh, isNull() ? -1 : mesh->edgeFace(id)};
}

inline TopoMeshEdge TopoMeshEdge::nextOutgoing() const {
    return {mesh, isNull() ? -1 : mesh->edgeNextOutgoing(id)};
}

inline TopoMeshEdge TopoMeshEdge::nextInList() const {
    return {mesh, isNull() ? -1 : mesh->nextEdge(id)};
}

inline int TopoMeshFace::numVertices() const { return isNull() ? 0 : mesh->faceNumVertices(id); }

inline TopoMeshEdge TopoMeshFace::firstEdge() const {
    return {mesh, isNull() ? -1 : mesh->faceEdge(id)};
}

inline qvLinear::Point TopoMeshFace::centroid() const {
    return isNull() ? qvLinear::Point{0, 0, 0} : mesh->faceCentroid(id);
}

inline bool TopoMeshFace::adjacent(TopoMeshFace other) const {
    return !isNull() && !other.isNull() && mesh->faceAdjacent(id, other.id);
}

inline TopoMeshFace TopoMeshFace::next() const {
    return {mesh, isNull() ? -1 : mesh->nextFace(id)};
}

} // namespace qvGeom
