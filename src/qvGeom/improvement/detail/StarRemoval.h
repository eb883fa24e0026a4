/// \file
/// Taking one vertex out of a mesh: what remains of the triangles around it.
#pragma once

#include <array>
#include <set>
#include <vector>

#include "qvGeom/foundation/geometry/MeshTriangle.h"
#include "qvGeom/foundation/linear/Point.h"

namespace qvGeom {

class BitVector;
class MeshAdjTris;
class MeshAdjVertices;
struct MeshVertex;

namespace detail {

/// The corners of a triangle that is to take the place of others.
struct PlannedTriangle {
    qvLinear::Point corner[3];
};

/// A last word on removals. Asked from several threads at once.
class RemovalTest {
public:
    virtual ~RemovalTest() = default;

    /// Whether `triangles` may take the place of those around vertex `v`.
    virtual bool shouldDeleteVertex(int v, const std::vector<PlannedTriangle>& triangles) const = 0;
};

/// Edges and triangles that removals have added to a mesh.
class AddedParts {
public:
    void addEdge(int a, int b) { edges_.insert(ascending(a, b)); }

    void addTriangle(int a, int b, int c) { triangles_.insert(ascending(a, b, c)); }

    bool hasEdge(int a, int b) const { return edges_.count(ascending(a, b)) > 0; }

    bool hasTriangle(int a, int b, int c) const { return triangles_.count(ascending(a, b, c)) > 0; }

private:
    template <class... Vertices>
    static std::array<int, sizeof...(Vertices)> ascending(Vertices... vertices);

    std::set<std::array<int, 2>> edges_;
    std::set<std::array<int, 3>> triangles_;
};

/// The mesh as it stands before a pass, and who may be removed in it. Of these no two are joined
/// by an edge, so that the triangles around one are never those around another.
struct RemovalScene {
    const MeshVertex* vertices;
    const MeshTriangle* triangles;
    const MeshAdjTris* adjTris;
    const MeshAdjVertices* adjVertices;
    const BitVector* chosen;
    const RemovalTest* test; // null: no objection
};

/// Tries to remove vertices, one at a time, and tells what triangles take their place. It writes
/// nothing to the mesh. Keep one for many removals: it keeps its memory.
///
/// The polygon around the vertex is cut down ear by ear until it is a triangle. An ear at B,
/// between its neighbours C and D, turns the edge from the vertex to B into C-D; it is refused when
/// that folds the surface over or when C-D exists. Then edges made so are turned where that lowers
/// the sum of the opposite angles.
class StarRemoval {
public:
    /// Borrows `scene`, which may change from one vertex to the next.
    explicit StarRemoval(const RemovalScene& scene) : scene_(&scene) {}

    enum class Outcome {
        Refused,
        Removed,
        Undecided ///< it depends on what becomes of another chosen vertex
    };

    /// Tries a vertex in the mesh as it was before the pass.
    Outcome tryFirst(int v) { return run(v, nullptr); }

    /// Tries a vertex that was undecided, in a mesh to which other removals have added `added`.
    /// What this one adds joins it.
    Outcome tryAfter(int v, AddedParts& added) { return run(v, &added); }

    /// What takes the place of the vertex removed last: two triangles fewer than it had.
    const std::vector<MeshTriangle>& triangles() const { return result_; }

private:
    enum class Answer { No, Yes, Unknown };

    /// A side of a triangle, running from a vertex of the polygon, known by its place.
    struct Side {
        int origin;
        int next;
    };

    Outcome run(int v, AddedParts* added);
    bool gatherPolygon(int v);
    Outcome cutEars(int v, const AddedParts* added);
    Outcome improve(int v, const AddedParts* added);
    Outcome closeTriangle(int v, const AddedParts* added);
    void collectTriangles();
    bool passesTest(int v);
    void record(AddedParts& added) const;

    Answer isJoined(int v, int c, int d, const AddedParts* added) const;
    Answer isTriangle(int v, const int corners[3], const AddedParts* added) const;
    bool haveEdge(int a, int b) const;

    int numCorners() const { return static_cast<int>(polygon_.size()); }

    int numDiagonals() const { return numCorners() - 3; }

    /// The two sides of a diagonal are numbered one after the other, the polygon's own last.
    int sideOfDiagonal(int diagonal) const { return 2 * diagonal; }

    int sideOfPolygon(int corner) const { return 2 * numDiagonals() + corner; }

    int apexOf(int side) const { return sides_[sides_[sides_[side].next].next].origin; }

    const RemovalScene* scene_;
    std::vector<std::array<int, 2>> rim_; // of each triangle, the side across from the vertex
    std::vector<int> polygon_;            // the vertices around, counter-clockwise
    std::vector<qvLinear::Point> points_; // their positions
    qvLinear::Point centre_{0, 0, 0};

    // The polygon that is left while ears are cut, by corner.
    std::vector<int> before_, after_, outgoing_;

    std::vector<Side> sides_;
    std::vector<MeshTriangle> result_;
    std::vector<PlannedTriangle> planned_;
};

} // namespace detail
} // namespace qvGeom
