#include "qvGeom/improvement/detail/StarRemoval.h"

#include <algorithm>

#include "qvGeom/foundation/geometry/BitVector.h"
#include "qvGeom/foundation/geometry/MeshAdjTris.h"
#include "qvGeom/foundation/geometry/MeshAdjVertices.h"
#include "qvGeom/foundation/geometry/MeshVertex.h"
#include "qvGeom/foundation/linear/Convert.h"
#include "qvGeom/improvement/detail/SwapCriteria.h"

namespace qvGeom::detail {

using qvLinear::widen;

namespace {

constexpr int kImprovementRounds = 10;
constexpr int kFewSides = 32; // found by looking at one after the other

} // namespace

template <class... Vertices>
std::array<int, sizeof...(Vertices)> AddedParts::ascending(Vertices... vertices) {
    std::array<int, sizeof...(Vertices)> sorted = {vertices...};
    std::sort(sorted.begin(), sorted.end());
    return sorted;
}

StarRemoval::Outcome StarRemoval::run(int v, AddedParts* added) {
    if (!gatherPolygon(v))
        return Outcome::Refused;
    Outcome outcome = cutEars(v, added);
    if (outcome == Outcome::Removed)
        outcome = closeTriangle(v, added);
    if (outcome == Outcome::Removed)
        outcome = improve(v, added);
    if (outcome != Outcome::Removed)
        return outcome;
    collectTriangles();
    if (!passesTest(v))
        return Outcome::Refused;
    if (added)
        record(*added);
    return Outcome::Removed;
}

/// Walks around the vertex, from the last of its triangles on. False unless one walk through
/// triangles that are wound alike meets all of them and comes back.
bool StarRemoval::gatherPolygon(int v) {
    const int* const triangles = scene_->adjTris->begin(v);
    const int count = scene_->adjTris->setSize(v);
    if (count < 3 || count != scene_->adjVertices->getCount(v))
        return false;
    rim_.resize(count);
    for (int i = 0; i < count; ++i) {
        const MeshTriangle& triangle = scene_->triangles[triangles[i]];
        const int corner = triangle.cornerAt(v);
        rim_[i] = {triangle[(corner + 1) % 3], triangle[(corner + 2) % 3]};
        if (rim_[i][0] == v || rim_[i][1] == v || rim_[i][0] == rim_[i][1])
            return false;
    }

    const int first = rim_[count - 1][0];
    const bool isSorted = count > kFewSides;
    if (isSorted)
        std::sort(rim_.begin(), rim_.end());
    polygon_.clear();
    int corner = first;
    for (int i = 0; i < count; ++i) {
        const auto startsAtCorner = [corner](const auto& side) { return side[0] == corner; };
        const auto side = isSorted
                              ? std::lower_bound(rim_.begin(), rim_.end(), std::array{corner, 0})
                              : std::find_if(rim_.begin(), rim_.end(), startsAtCorner);
        if (side == rim_.end() || (*side)[0] != corner || (i > 0 && corner == first))
            return false;
        polygon_.push_back(corner);
        corner = (*side)[1];
    }
    // With as many neighbours as triangles, and none met twice, this is all of both.
    return corner == first;
}

StarRemoval::Outcome StarRemoval::cutEars(int v, const AddedParts* added) {
    const int count = numCorners();
    centre_ = widen(scene_->vertices[v]);
    points_.resize(count);
    before_.resize(count);
    after_.resize(count);
    outgoing_.resize(count);
    sides_.resize(3 * static_cast<std::size_t>(count - 2));
    for (int i = 0; i < count; ++i) {
        points_[i] = widen(scene_->vertices[polygon_[i]]);
        before_[i] = i > 0 ? i - 1 : count - 1;
        after_[i] = i < count - 1 ? i + 1 : 0;
        outgoing_[i] = sideOfPolygon(i);
        sides_[outgoing_[i]].origin = i;
    }

    int diagonal = 0;
    for (int b = 0; b < count && diagonal < numDiagonals(); ++b) {
        const int c = after_[b];
        const int d = before_[b];
        if (foldsOver(centre_, points_[b], points_[c], points_[d]))
            continue;
        const Answer joined = isJoined(v, polygon_[c], polygon_[d], added);
        if (joined == Answer::Unknown)
            return Outcome::Undecided;
        if (joined == Answer::Yes)
            continue;

        const int inner = sideOfDiagonal(diagonal++);
        sides_[inner] = {c, outgoing_[d]};
        sides_[outgoing_[d]].next = outgoing_[b];
        sides_[outgoing_[b]].next = inner;
        outgoing_[d] = inner + 1;
        sides_[inner + 1].origin = d;
        after_[d] = c;
        before_[c] = d;
        outgoing_[b] = -1;
    }
    return diagonal == numDiagonals() ? Outcome::Removed : Outcome::Refused;
}

/// Makes a triangle of what the ears have left of the polygon. Only where none was cut can there be
/// another triangle on its corners: a diagonal is new to the mesh.
StarRemoval::Outcome StarRemoval::closeTriangle(int v, const AddedParts* added) {
    int a = 0;
    while (outgoing_[a] < 0)
        ++a;
    const int b = after_[a];
    const int c = after_[b];
    sides_[outgoing_[a]].next = outgoing_[b];
    sides_[outgoing_[b]].next = outgoing_[c];
    sides_[outgoing_[c]].next = outgoing_[a];
    if (numDiagonals() > 0)
        return Outcome::Removed;
    const Answer exists = isTriangle(v, polygon_.data(), added);
    return exists == Answer::Unknown ? Outcome::Undecided
           : exists == Answer::Yes   ? Outcome::Refused
                                     : Outcome::Removed;
}

StarRemoval::Outcome StarRemoval::improve(int v, const AddedParts* added) {
    for (int round = 0; round < kImprovementRounds; ++round) {
        bool turned = false;
        for (int diagonal = 0; diagonal < numDiagonals(); ++diagonal) {
            const int e = sideOfDiagonal(diagonal);
            const int t = e + 1;
            const int c = apexOf(e);
            const int d = apexOf(t);
            if (!lowersOppositeAngles(points_[sides_[e].origin], points_[sides_[t].origin],
                                      points_[c], points_[d]))
                continue;
            const Answer joined = isJoined(v, polygon_[c], polygon_[d], added);
            if (joined == Answer::Unknown)
                return Outcome::Undecided;
            if (joined == Answer::Yes)
                continue;

            const int nextE = sides_[e].next;
            const int prevE = sides_[nextE].next;
            const int nextT = sides_[t].next;
            const int prevT = sides_[nextT].next;
            sides_[e] = {c, prevT};
            sides_[prevT].next = nextE;
            sides_[nextE].next = e;
            sides_[t] = {d, prevE};
            sides_[prevE].next = nextT;
            sides_[nextT].next = t;
            turned = true;
        }
        if (!turned) // nor would any later round
            break;
    }
    return Outcome::Removed;
}

void StarRemoval::collectTriangles() {
    result_.clear();
    const int numSides = static_cast<int>(sides_.size());
    for (int side = 0; side < numSides; ++side) {
        const int second = sides_[side].next;
        const int third = sides_[second].next;
        if (side < second && side < third)
            result_.push_back({{polygon_[sides_[side].origin], polygon_[sides_[second].origin],
                                polygon_[sides_[third].origin]}});
    }
}

bool StarRemoval::passesTest(int v) {
    if (!scene_->test)
        return true;
    planned_.clear();
    for (const MeshTriangle& triangle : result_)
        planned_.push_back(
            {{widen(scene_->vertices[triangle[0]]), widen(scene_->vertices[triangle[1]]),
              widen(scene_->vertices[triangle[2]])}});
    return scene_->test->shouldDeleteVertex(v, planned_);
}

void StarRemoval::record(AddedParts& added) const {
    for (int diagonal = 0; diagonal < numDiagonals(); ++diagonal) {
        const int e = sideOfDiagonal(diagonal);
        added.addEdge(polygon_[sides_[e].origin], polygon_[sides_[e + 1].origin]);
    }
    if (numDiagonals() == 0)
        added.addTriangle(polygon_[0], polygon_[1], polygon_[2]);
}

/// Whether an edge joins `c` and `d`, around `v`. Edges between vertices that stay are never lost,
/// and one is added only around a chosen vertex that neighbours both.
StarRemoval::Answer StarRemoval::isJoined(int v, int c, int d, const AddedParts* added) const {
    if (haveEdge(c, d))
        return Answer::Yes;
    if (added)
        return added->hasEdge(c, d) ? Answer::Yes : Answer::No;
    const int* const neighbours = scene_->adjVertices->getVertices(c);
    for (int i = 0; i < scene_->adjVertices->getCount(c); ++i) {
        const int other = neighbours[i];
        if (scene_->chosen->test(other) && other != v && haveEdge(other, d))
            return Answer::Unknown;
    }
    return Answer::No;
}

/// Whether there is a triangle on these corners, in either sense.
StarRemoval::Answer StarRemoval::isTriangle(int v, const int corners[3],
                                            const AddedParts* added) const {
    const int a = corners[0];
    const int b = corners[1];
    const int c = corners[2];
    const MeshAdjTris& adjTris = *scene_->adjTris;
    const bool exists = std::any_of(adjTris.begin(a), adjTris.end(a), [&](int t) {
        return scene_->triangles[t].cornerAt(b) >= 0 && scene_->triangles[t].cornerAt(c) >= 0;
    });
    if (exists)
        return Answer::Yes;
    if (added)
        return added->hasTriangle(a, b, c) ? Answer::Yes : Answer::No;
    const int* const neighbours = scene_->adjVertices->getVertices(a);
    for (int i = 0; i < scene_->adjVertices->getCount(a); ++i) {
        const int other = neighbours[i];
        if (scene_->chosen->test(other) && other != v && haveEdge(other, b) && haveEdge(other, c))
            return Answer::Unknown;
    }
    return Answer::No;
}

bool StarRemoval::haveEdge(int a, int b) const {
    const MeshAdjVertices& adjVertices = *scene_->adjVertices;
    if (adjVertices.getCount(b) < adjVertices.getCount(a))
        std::swap(a, b);
    const int* const begin = adjVertices.getVertices(a);
    const int* const end = begin + adjVertices.getCount(a);
    return std::find(begin, end, b) != end;
}

} // namespace qvGeom::detail
