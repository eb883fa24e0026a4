/// \file
/// A half-edge mesh of polygons, for work that changes connectivity.
#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

#include "qvGeom/Export.h"
#include "qvGeom/foundation/linear/Point.h"

namespace qvGeom {

class TopoMesh;
struct TopoMeshEdge;
struct TopoMeshFace;

/// A vertex of a `TopoMesh`. Like all handles it is a mesh and an id, of no cost to copy; the null
/// handle has id -1. Handles compare by id alone. A question put to a null handle, or to one whose
/// element was deleted, is answered by a null handle, 0 or false; only `point()` needs a real one.
/// From a deleted element its list still goes on to the next.
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
/// creation, which is also the order of the three lists, and are never given out twice, so that the
/// handle of a deleted element never comes to mean another one.
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
    /// An edit that would break the mesh is refused: it answers false or a null handle, and nothing
    /// has changed. The forms on ids need elements that are there.
    /// @{
    /// Turns the edge A-B between the triangles (A, B, C) and (B, A, D) into C-D. Every half-edge
    /// and face keeps its id, and `e` its face. Swapping the same edge again restores all of them,
    /// unless another edge joins A and B. Refused when `e` has no twin, when a face beside it is
    /// not a triangle, or when C and D are the same or already joined. Costs the smaller valence of
    /// C and D.
    bool swapEdge(TopoMeshEdge e);
    bool swapEdge(int e);

    /// Deletes a vertex with the edges at it and makes one of the faces around it, which is
    /// returned: the oldest of them, with its first corner where it was unless that was `v`. An
    /// isolated vertex leaves no face. Refused unless the faces form one closed fan with `v` once
    /// in each, and where the face left would have fewer than three corners, a corner twice, or be
    /// a triangle on the corners of another.
    TopoMeshFace deleteVertex(TopoMeshVertex v);
    int deleteVertex(int v);

    /// Puts a vertex into a face and joins it to every corner. The face stays as the triangle at
    /// its first edge; the others follow around the ring in order of creation.
    TopoMeshVertex subdivideFace(TopoMeshFace f, const qvLinear::Point& point);
    int subdivideFace(int f, const qvLinear::Point& point);

    /// Puts a vertex on an edge, as a new corner of the faces beside it. Both half-edges keep their
    /// start and now end at the new vertex.
    TopoMeshVertex subdivideEdge(TopoMeshEdge e, const qvLinear::Point& point);
    int subdivideEdge(int e, const qvLinear::Point& point);

    /// The same between triangles, each of which is then cut in two, from the new vertex to its
    /// opposite corner. Refused when a face beside the edge is not a triangle, or the same on both
    /// sides.
    TopoMeshVertex splitEdge(TopoMeshEdge e, const qvLinear::Point& point);
    int splitEdge(int e, const qvLinear::Point& point);

    /// Splits the vertex where `e` and `f` start. The faces met on the way from `e`
    /// counter-clockwise to `f` move to a new vertex, an edge joins it to the old one, and a
    /// triangle fills each of the gaps that open at `e` and `f`. With a null `f` all faces up to
    /// the boundary move and only `e` opens. `e` goes with the new vertex, `f` stays. Refused when
    /// `f` is not met or both end at the same vertex.
    TopoMeshVertex splitVertex(TopoMeshEdge e, TopoMeshEdge f, const qvLinear::Point& point);
    int splitVertex(int e, int f, const qvLinear::Point& point);

    /// Draws the vertex where `e` ends into the one where it starts, which keeps its point.
    /// Triangles beside the edge vanish, other faces lose a corner. Refused where the surface would
    /// change its shape: when both vertices have a neighbour in common that is not the third corner
    /// of a vanishing triangle, share another face, or are both on the boundary while the edge is
    /// not; when a triangle beside hangs on this edge alone; when two triangles would fall
    /// together.
    bool contractEdge(TopoMeshEdge e);
    bool contractEdge(int e);

    /// Hands all edges of `b` to `a`, which keeps its point, and deletes `b`. Refused when a face
    /// has both. Edges that come to lie together are not linked: see `meshTwin`.
    bool mergeVertices(TopoMeshVertex a, TopoMeshVertex b);
    bool mergeVertices(int a, int b);

    /// Makes the start of `e` the first corner of its face.
    void setFirstEdge(int e) { faces_[edges_[e].face].edge = e; }

    /// @}

    /// \name Lists and counts
    /// Walk a list from its first element by the handle's next link, or on ids from the -1 before
    /// the first to the -1 after the last.
    /// @{
    int numVertices() const { return numIds(vertices_) - numDeletedVertices_; }

    /// The number of half-edges.
    int numEdges() const { return numIds(edges_) - numDeletedEdges_; }

    int numFaces() const { return numIds(faces_) - numDeletedFaces_; }

    TopoMeshVertex firstVertex() { return {this, nextVertex(-1)}; }

    TopoMeshEdge firstEdge() { return {this, nextEdge(-1)}; }

    TopoMeshFace firstFace() { return {this, nextFace(-1)}; }

    int nextVertex(int v) const { return nextLive(vertices_, v); }

    int nextEdge(int e) const { return nextLive(edges_, e); }

    int nextFace(int f) const { return nextLive(faces_, f); }

    /// Whether an id below the limit is that of an element still there.
    bool isVertex(int v) const { return vertices_[v].isLive(); }

    bool isEdge(int e) const { return edges_[e].isLive(); }

    bool isFace(int f) const { return faces_[f].isLive(); }

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

    /// Whether the next swap of the edge takes its last one back.
    bool edgeIsTurned(int e) const { return edges_[e].isTurned; }

    int faceEdge(int f) const { return faces_[f].edge; }

    int faceNumVertices(int f) const;
    qvLinear::Point faceCentroid(int f) const;
    bool faceAdjacent(int f, int g) const;
    /// @}

private:
    friend QVGEOM_API void meshTwin(TopoMesh& mesh);

    struct Vertex {
        bool isLive() const { return !isDeleted; }

        qvLinear::Point point;
        int edge; // head of the list of half-edges that start here
        bool isDeleted;
    };

    struct Edge {
        bool isLive() const { return origin >= 0; }

        int origin; // -1, like all links, once deleted
        int next, prev, twin, face;
        int nextOutgoing, prevOutgoing; // list of the half-edges that start at the origin
        bool isTurned;                  // whether the next swap turns back; the same for twins
    };

    struct Face {
        bool isLive() const { return edge >= 0; }

        int edge; // -1 once deleted
    };

    template <class Record>
    static int numIds(const std::vector<Record>& records) {
        return static_cast<int>(records.size());
    }

    /// Makes room for `count` more records, so that appending them neither moves nor throws.
    /// Capacity doubles, or adding one face after another would cost quadratic time.
    template <class Record>
    static void reserveMore(std::vector<Record>& records, int count) {
        const std::size_t needed = records.size() + static_cast<std::size_t>(std::max(count, 0));
        if (needed > records.capacity())
            records.reserve(std::max(needed, 2 * records.capacity()));
    }

    void reserveMore(int numVertices, int numEdges, int numFaces) {
        reserveMore(vertices_, numVertices);
        reserveMore(edges_, numEdges);
        reserveMore(faces_, numFaces);
    }

    template <class Record>
    static int nextLive(const std::vector<Record>& records, int id) {
        do
            ++id;
        while (id < numIds(records) && !records[id].isLive());
        return id < numIds(records) ? id : -1;
    }

    bool has(TopoMeshVertex v) const {
        return v.mesh == this && v.id >= 0 && v.id < vertexIdLimit() && isVertex(v.id);
    }

    bool has(TopoMeshEdge e) const {
        return e.mesh == this && e.id >= 0 && e.id < edgeIdLimit() && isEdge(e.id);
    }

    bool has(TopoMeshFace f) const {
        return f.mesh == this && f.id >= 0 && f.id < faceIdLimit() && isFace(f.id);
    }

    bool isTriangleEdge(int e) const { return edgeNext(edgeNext(e)) == edgePrev(e); }

    bool runsOpposite(int e, int f) const;
    void unlinkTwin(int e);
    void linkTwins(int e, int f);
    void linkOutgoing(int e);
    void unlinkOutgoing(int e);
    void moveOrigin(int e, int v);
    void moveOutgoing(int from, int to);
    void setTriangleRing(int e0, int e1, int e2);
    void exchangeFaces(int e, int f);

    int addVertex(const qvLinear::Point& point);
    int addEdge(int origin, int face);
    int addTriangle(int a, int b, int c);
    int insertIntoRing(int e, int v);
    void cutOffTriangle(int e);
    void dropVertex(int v);
    void dropEdge(int e);
    void dropFace(int f);
    void dropTriangle(int e);
    void dropFromRing(int e);

    bool areJoined(int a, int b) const;
    bool gatherLink(int v);
    bool isLinkSound();
    int cornersAmong(int f, int a, int b) const;
    bool shareFace(int a, int b, int exceptF, int exceptG) const;
    bool hasTriangle(int a, int b, int c) const;
    bool canContractBeside(int e) const;
    void gatherNeighbours(int v, std::vector<int>& neighbours) const;
    bool canContract(int e) const;

    std::vector<Vertex> vertices_;
    std::vector<Edge> edges_;
    std::vector<Face> faces_;
    int numDeletedVertices_ = 0;
    int numDeletedEdges_ = 0;
    int numDeletedFaces_ = 0;

    // Room that deletions work in, kept to spare each of them an allocation.
    std::vector<int> link_;
    std::vector<int> linkCorners_;
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

inline int TopoMeshFace::numVertices() const {
    return firstEdge().isNull() ? 0 : mesh->faceNumVertices(id);
}

inline TopoMeshEdge TopoMeshFace::firstEdge() const {
    return {mesh, isNull() ? -1 : mesh->faceEdge(id)};
}

inline qvLinear::Point TopoMeshFace::centroid() const {
    return firstEdge().isNull() ? qvLinear::Point{0, 0, 0} : mesh->faceCentroid(id);
}

inline bool TopoMeshFace::adjacent(TopoMeshFace other) const {
    return !firstEdge().isNull() && !other.isNull() && mesh->faceAdjacent(id, other.id);
}

inline TopoMeshFace TopoMeshFace::next() const {
    return {mesh, isNull() ? -1 : mesh->nextFace(id)};
}

} // namespace qvGeom
