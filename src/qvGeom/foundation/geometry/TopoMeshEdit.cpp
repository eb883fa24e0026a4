#include <algorithm>
#include <iterator>

#include "qvGeom/foundation/geometry/TopoMesh.h"

namespace qvGeom {

using qvLinear::Point;

bool TopoMesh::swapEdge(TopoMeshEdge e) { return has(e) && swapEdge(e.id); }

bool TopoMesh::swapEdge(int e) {
    const int t = edgeTwin(e);
    if (t < 0 || !isTriangleEdge(e) || !isTriangleEdge(t))
        return false;
    const int nextE = edgeNext(e);
    const int prevE = edgePrev(e);
    const int nextT = edgeNext(t);
    const int prevT = edgePrev(t);
    const int c = edgeVertex(prevE);
    const int d = edgeVertex(prevT);
    if (c == d || areJoined(c, d))
        return false;

    // The edge may turn either way. By turns, a second swap turns back, where turning on would
    // exchange the two faces.
    const bool isTurned = edges_[e].isTurned;
    if (!isTurned) {
        moveOrigin(e, c);
        moveOrigin(t, d);
        exchangeFaces(prevE, prevT);
        setTriangleRing(e, prevT, nextE);
        setTriangleRing(t, prevE, nextT);
    } else {
        moveOrigin(e, d);
        moveOrigin(t, c);
        exchangeFaces(nextE, nextT);
        setTriangleRing(e, prevE, nextT);
        setTriangleRing(t, prevT, nextE);
    }
    edges_[e].isTurned = edges_[t].isTurned = !isTurned;
    return true;
}

TopoMeshFace TopoMesh::deleteVertex(TopoMeshVertex v) {
    return {this, has(v) ? deleteVertex(v.id) : -1};
}

int TopoMesh::deleteVertex(int v) {
    const int first = vertexEdge(v);
    if (first < 0) {
        dropVertex(v);
        return -1;
    }
    if (!gatherLink(v) || !isLinkSound())
        return -1;

    int face = edgeFace(first);
    for (int e = edgeNextOutgoing(first); e >= 0; e = edgeNextOutgoing(e))
        face = std::min(face, edgeFace(e));
    int corner = faceEdge(face);
    if (edgeEndVertex(corner) == v)
        corner = edgeTwin(corner);
    if (edgeVertex(corner) == v)
        corner = edgeNext(corner);

    for (int e = first; e >= 0;) {
        const int after = edgeNextOutgoing(e);
        if (edgeFace(e) != face)
            dropFace(edgeFace(e));
        unlinkOutgoing(edgePrev(e));
        dropEdge(edgePrev(e));
        dropEdge(e);
        e = after;
    }
    dropVertex(v);

    int before = link_.back();
    for (const int e : link_) {
        edges_[before].next = e;
        edges_[e].prev = before;
        edges_[e].face = face;
        before = e;
    }
    faces_[face].edge = corner;
    return face;
}

TopoMeshVertex TopoMesh::subdivideFace(TopoMeshFace f, const Point& point) {
    return {this, has(f) ? subdivideFace(f.id, point) : -1};
}

int TopoMesh::subdivideFace(int f, const Point& point) {
    const int numCorners = faceNumVertices(f);
    reserveMore(1, 2 * numCorners, numCorners - 1);

    const int v = addVertex(point);
    const int firstInward = edgeIdLimit();
    int e = faceEdge(f);
    for (int i = 0; i < numCorners; ++i) {
        const int after = edgeNext(e);
        const int face = i == 0 ? f : faceIdLimit();
        if (i > 0)
            faces_.push_back({e});
        edges_[e].face = face;
        const int inward = addEdge(edgeVertex(after), face);
        const int outward = addEdge(v, face);
        setTriangleRing(e, inward, outward);
        if (i > 0)
            linkTwins(inward - 2, outward);
        e = after;
    }
    linkTwins(firstInward + 2 * numCorners - 2, firstInward + 1);
    return v;
}

TopoMeshVertex TopoMesh::subdivideEdge(TopoMeshEdge e, const Point& point) {
    return {this, has(e) ? subdivideEdge(e.id, point) : -1};
}

int TopoMesh::subdivideEdge(int e, const Point& point) {
    const int t = edgeTwin(e);
    reserveMore(1, 2, 0);

    const int v = addVertex(point);
    const int restOfE = insertIntoRing(e, v);
    if (t >= 0) {
        const int restOfT = insertIntoRing(t, v);
        linkTwins(e, restOfT);
        linkTwins(t, restOfE);
    }
    return v;
}

TopoMeshVertex TopoMesh::splitEdge(TopoMeshEdge e, const Point& point) {
    return {this, has(e) ? splitEdge(e.id, point) : -1};
}

int TopoMesh::splitEdge(int e, const Point& point) {
    const int t = edgeTwin(e);
    if (!isTriangleEdge(e) || (t >= 0 && (!isTriangleEdge(t) || edgeFace(t) == edgeFace(e))))
        return -1;
    reserveMore(1, 6, 2);

    const int v = subdivideEdge(e, point);
    cutOffTriangle(edgeNext(e));
    if (t >= 0)
        cutOffTriangle(edgeNext(t));
    return v;
}

TopoMeshVertex TopoMesh::splitVertex(TopoMeshEdge e, TopoMeshEdge f, const Point& point) {
    return {this, has(e) && (f.isNull() || has(f)) ? splitVertex(e.id, f.id, point) : -1};
}

int TopoMesh::splitVertex(int e, int f, const Point& point) {
    const int v = edgeVertex(e);
    const int left = edgeEndVertex(e);
    int last = e;
    for (int turned = edgeTwin(edgePrev(e)); turned != f; turned = edgeTwin(edgePrev(last))) {
        if (turned < 0 || turned == e)
            return -1;
        last = turned;
    }
    const int lastBack = edgePrev(last);
    const int right = edgeVertex(lastBack);
    if (f == e || left == right || left == v || right == v)
        return -1;
    reserveMore(1, 6, 2);

    const int w = addVertex(point);
    for (int moved = e;;) {
        const int turned = edgeTwin(edgePrev(moved));
        moveOrigin(moved, w);
        if (moved == last)
            break;
        moved = turned;
    }

    const int outer = edgeTwin(e);
    unlinkTwin(e);
    const int atE = addTriangle(left, w, v); // left to w, w to v, v to left
    linkTwins(e, atE);
    if (outer >= 0)
        linkTwins(outer, atE + 2);
    if (f >= 0) {
        unlinkTwin(f);
        const int atF = addTriangle(w, right, v); // w to right, right to v, v to w
        linkTwins(lastBack, atF);
        linkTwins(f, atF + 1);
        linkTwins(atE + 1, atF + 2);
    }
    return w;
}

bool TopoMesh::contractEdge(TopoMeshEdge e) { return has(e) && contractEdge(e.id); }

bool TopoMesh::contractEdge(int e) {
    if (!canContract(e))
        return false;
    const int t = edgeTwin(e);
    const int kept = edgeVertex(e);
    const int lost = edgeEndVertex(e);
    for (const int side : {e, t}) {
        if (side >= 0 && isTriangleEdge(side))
            dropTriangle(side);
        else if (side >= 0)
            dropFromRing(side);
    }
    moveOutgoing(lost, kept);
    dropVertex(lost);
    return true;
}

bool TopoMesh::mergeVertices(TopoMeshVertex a, TopoMeshVertex b) {
    return has(a) && has(b) && mergeVertices(a.id, b.id);
}

bool TopoMesh::mergeVertices(int a, int b) {
    if (a == b || shareFace(a, b, -1, -1))
        return false;
    moveOutgoing(b, a);
    dropVertex(b);
    return true;
}

/// Whether a half-edge of either direction joins two vertices. Costs the smaller valence of both.
bool TopoMesh::areJoined(int a, int b) const {
    // Every edge at a vertex is in its list: as an outgoing half, or as the one before such.
    const auto touches = [this](int e, int v) {
        return edgeEndVertex(e) == v || edgeVertex(edgePrev(e)) == v;
    };
    int fromA = vertexEdge(a);
    int fromB = vertexEdge(b);
    while (fromA >= 0 && fromB >= 0) {
        if (touches(fromA, b) || touches(fromB, a))
            return true;
        fromA = edgeNextOutgoing(fromA);
        fromB = edgeNextOutgoing(fromB);
    }
    return false;
}

/// Lists the half-edges around the faces at `v` that do not touch it, in the order of the ring they
/// form. False unless those faces are one closed fan and have `v` once each.
bool TopoMesh::gatherLink(int v) {
    link_.clear();
    const int first = vertexEdge(v);
    int numInFan = 0;
    int e = first;
    do {
        const int back = edgePrev(e);
        for (int across = edgeNext(e); across != back; across = edgeNext(across)) {
            if (edgeVertex(across) == v)
                return false;
            link_.push_back(across);
        }
        if (edgeVertex(back) == v || edgeTwin(back) < 0)
            return false;
        ++numInFan;
        e = edgeTwin(back);
    } while (e != first);
    for (e = first; e >= 0; e = edgeNextOutgoing(e))
        --numInFan;
    return numInFan == 0;
}

/// Whether the gathered ring may become a face.
bool TopoMesh::isLinkSound() {
    if (link_.size() < 3)
        return false;
    linkCorners_.clear();
    for (const int e : link_)
        linkCorners_.push_back(edgeVertex(e));
    std::sort(linkCorners_.begin(), linkCorners_.end());
    if (std::adjacent_find(linkCorners_.begin(), linkCorners_.end()) != linkCorners_.end())
        return false;
    return link_.size() > 3 || !hasTriangle(linkCorners_[0], linkCorners_[1], linkCorners_[2]);
}

/// Whether a triangle has these corners, in any order. Costs the smallest of the three valences.
bool TopoMesh::hasTriangle(int a, int b, int c) const {
    const auto isOnAll = [&](int e) {
        if (!isTriangleEdge(e))
            return false;
        const int corners[] = {edgeVertex(e), edgeEndVertex(e), edgeVertex(edgePrev(e))};
        const int wanted[] = {a, b, c};
        return std::is_permutation(wanted, wanted + 3, corners);
    };
    // The triangle has an edge in the list of each corner.
    int fromA = vertexEdge(a);
    int fromB = vertexEdge(b);
    int fromC = vertexEdge(c);
    while (fromA >= 0 && fromB >= 0 && fromC >= 0) {
        if (isOnAll(fromA) || isOnAll(fromB) || isOnAll(fromC))
            return true;
        fromA = edgeNextOutgoing(fromA);
        fromB = edgeNextOutgoing(fromB);
        fromC = edgeNextOutgoing(fromC);
    }
    return false;
}

bool TopoMesh::canContract(int e) const {
    const int t = edgeTwin(e);
    const int a = edgeVertex(e);
    const int b = edgeEndVertex(e);
    if (a == b || !canContractBeside(e) || (t >= 0 && !canContractBeside(t)) ||
        (t >= 0 && vertexOnBoundary(a) && vertexOnBoundary(b)) ||
        shareFace(a, b, edgeFace(e), t >= 0 ? edgeFace(t) : -1))
        return false;

    std::vector<int> apexes;
    for (const int side : {e, t}) {
        if (side >= 0 && isTriangleEdge(side))
            apexes.push_back(edgeVertex(edgePrev(side)));
    }
    std::vector<int> ofA;
    std::vector<int> ofB;
    gatherNeighbours(a, ofA);
    gatherNeighbours(b, ofB);
    std::vector<int> common;
    std::set_intersection(ofA.begin(), ofA.end(), ofB.begin(), ofB.end(),
                          std::back_inserter(common));
    // Both apexes are common neighbours: as many of one as of the other means there are no more.
    if (common.size() != apexes.size())
        return false;
    return apexes.size() < 2 || !hasTriangle(a, apexes[0], apexes[1]) ||
           !hasTriangle(b, apexes[0], apexes[1]);
}

/// Whether the face of `e` has both ends of it once, and hangs on the mesh by more than `e`.
bool TopoMesh::canContractBeside(int e) const {
    if (cornersAmong(edgeFace(e), edgeVertex(e), edgeEndVertex(e)) != 2)
        return false;
    return !isTriangleEdge(e) || edgeTwin(edgeNext(e)) >= 0 || edgeTwin(edgePrev(e)) >= 0;
}

/// How many corners of a face are `a` or `b`.
int TopoMesh::cornersAmong(int f, int a, int b) const {
    int count = 0;
    int e = faceEdge(f);
    do {
        count += edgeVertex(e) == a || edgeVertex(e) == b;
        e = edgeNext(e);
    } while (e != faceEdge(f));
    return count;
}

/// Whether a face other than two given ones has both `a` and `b` as corners.
bool TopoMesh::shareFace(int a, int b, int exceptF, int exceptG) const {
    for (int fromA = vertexEdge(a); fromA >= 0; fromA = edgeNextOutgoing(fromA)) {
        const int face = edgeFace(fromA);
        if (face != exceptF && face != exceptG && cornersAmong(face, b, b) > 0)
            return true;
    }
    return false;
}

int TopoMesh::addVertex(const Point& point) {
    vertices_.push_back({point, -1, false});
    return vertexIdLimit() - 1;
}

/// Adds a half-edge that is not yet in a ring.
int TopoMesh::addEdge(int origin, int face) {
    edges_.push_back({origin, -1, -1, -1, face, -1, -1, false});
    linkOutgoing(edgeIdLimit() - 1);
    return edgeIdLimit() - 1;
}

/// Adds a triangle and returns its half-edge from `a` to `b`; the other two have the next ids.
int TopoMesh::addTriangle(int a, int b, int c) {
    const int corners[] = {a, b, c};
    return faceEdge(allocFace(corners, 3));
}

/// Lets `e` end at `v`, and a new half-edge, which is returned, go on from there to its old end.
int TopoMesh::insertIntoRing(int e, int v) {
    const int after = edgeNext(e);
    const int added = addEdge(v, edgeFace(e));
    edges_[e].next = edges_[after].prev = added;
    edges_[added].prev = e;
    edges_[added].next = after;
    return added;
}

/// Makes `e` and the half-edge after it a triangle of its own, cut off from the rest of their face.
void TopoMesh::cutOffTriangle(int e) {
    const int next = edgeNext(e);
    const int before = edgePrev(e);
    const int after = edgeNext(next);
    const int oldFace = edgeFace(e);
    const int face = faceIdLimit();
    faces_.push_back({e});
    const int shortcut = addEdge(edgeVertex(e), oldFace);
    const int back = addEdge(edgeVertex(after), face);
    edges_[before].next = edges_[after].prev = shortcut;
    edges_[shortcut].prev = before;
    edges_[shortcut].next = after;
    edges_[e].face = edges_[next].face = face;
    setTriangleRing(e, next, back);
    linkTwins(shortcut, back);
    if (faceEdge(oldFace) == e || faceEdge(oldFace) == next)
        faces_[oldFace].edge = shortcut;
}

void TopoMesh::dropVertex(int v) {
    vertices_[v].edge = -1;
    vertices_[v].isDeleted = true;
    ++numDeletedVertices_;
}

/// Leaves the record of a half-edge without any link; that nothing links to it is for the caller.
void TopoMesh::dropEdge(int e) {
    edges_[e] = {-1, -1, -1, -1, -1, -1, -1, false};
    ++numDeletedEdges_;
}

void TopoMesh::dropFace(int f) {
    faces_[f].edge = -1;
    ++numDeletedFaces_;
}

/// Deletes the triangle of `e` and joins what lay behind its two other edges.
void TopoMesh::dropTriangle(int e) {
    const int outerNext = edgeTwin(edgeNext(e));
    const int outerPrev = edgeTwin(edgePrev(e));
    dropFace(edgeFace(e));
    for (const int gone : {edgeNext(e), edgePrev(e), e}) {
        unlinkTwin(gone);
        unlinkOutgoing(gone);
        dropEdge(gone);
    }
    if (outerNext >= 0 && outerPrev >= 0)
        linkTwins(outerNext, outerPrev);
}

/// Takes a half-edge out of its face, which loses a corner.
void TopoMesh::dropFromRing(int e) {
    const int before = edgePrev(e);
    const int after = edgeNext(e);
    edges_[before].next = after;
    edges_[after].prev = before;
    if (faceEdge(edgeFace(e)) == e)
        faces_[edgeFace(e)].edge = after;
    unlinkTwin(e);
    unlinkOutgoing(e);
    dropEdge(e);
}

void TopoMesh::moveOutgoing(int from, int to) {
    while (vertexEdge(from) >= 0)
        moveOrigin(vertexEdge(from), to);
}

void TopoMesh::setTriangleRing(int e0, int e1, int e2) {
    edges_[e0].next = edges_[e2].prev = e1;
    edges_[e1].next = edges_[e0].prev = e2;
    edges_[e2].next = edges_[e1].prev = e0;
}

/// Lets both half-edges change places, in the first corner of their faces too.
void TopoMesh::exchangeFaces(int e, int f) {
    const int faceOfE = edgeFace(e);
    const int faceOfF = edgeFace(f);
    if (faceEdge(faceOfE) == e)
        faces_[faceOfE].edge = f;
    if (faceEdge(faceOfF) == f)
        faces_[faceOfF].edge = e;
    edges_[e].face = faceOfF;
    edges_[f].face = faceOfE;
}

} // namespace qvGeom
