/// \file
/// Consistent winding of triangles, and reversals of it.
#pragma once

#include <list>
#include <vector>

#include "qvGeom/Export.h"
#include "qvGeom/foundation/geometry/Array.h"
#include "qvGeom/foundation/geometry/BitVector.h"

namespace qvGeom {

class CompactMesh;
class MeshAdjTris;
struct MeshPlacement;

/// Whether no two triangles run an edge in the same direction. Duplicate triangles do, an edge of
/// a single triangle is fine. True without triangles.
[[nodiscard]] QVGEOM_API bool meshOriented(const CompactMesh& mesh, const MeshAdjTris& adjTris);

/// Flips triangles as MeshOrient::orient does. Returns false when a piece cannot be oriented.
QVGEOM_API bool meshMakeOriented(CompactMesh& mesh, const MeshAdjTris& adjTris);

/// Reverses every triangle, strip and fan, negates triangle normals, and with `flipNormals` vertex
/// normals too. Of a strip of 6, 8, ... points, reversed it would begin on the wrong side, the
/// first triangle becomes a strip of its own. Announces the change.
QVGEOM_API void meshReverseWinding(CompactMesh& mesh, bool flipNormals);

/// Reverses the selected triangles and negates their normals and, each once, the normals of their
/// corners, also where other triangles share them. Leaves strips and fans. Always announces it.
QVGEOM_API void meshReverseSelectedWinding(CompactMesh& mesh);

/// Adds to the triangle selection all that hangs together with `triangle` or with a selected
/// triangle by shared vertices, and reverses the selected triangles. The selection stays.
QVGEOM_API void meshReverseWinding(CompactMesh& mesh, const MeshAdjTris& adjTris, int triangle);

/// Replaces `mirrored` by whether each placement, in order, turns its mesh inside out: whether its
/// determinant is negative.
QVGEOM_API void testDeterminants(const std::list<MeshPlacement>& placements,
                                 std::vector<bool>& mirrored);

/// Finds out whether triangles are wound alike on both sides of every edge, and makes them so. Mesh
/// and table are borrowed; the table stays right, as flipping keeps the vertices of each triangle.
class QVGEOM_API MeshOrient {
public:
    /// Computes at once whether the mesh is oriented.
    MeshOrient(CompactMesh& mesh, const MeshAdjTris& adjTris);

    /// Asks anew, after a change of the mesh, whether it is oriented, and keeps the answer.
    bool compute();
    /// Answers as meshOriented does and keeps nothing.
    bool computeOriented() const;
    /// Flips triangles, by exchanging corners 1 and 2, until the pieces that hang together by edges
    /// are oriented. A piece that cannot be, as a Moebius strip, ends the work: it is left partly
    /// flipped, and the pieces after it untouched. Announces the change if anything was flipped.
    void orient();

    // The steps of orient(), which announce nothing.

    /// Orients all pieces in the order of their lowest triangles. Returns false at the first that
    /// cannot be oriented; it is then walked once more, from the triangle of the conflict. Sets
    /// `flipped` to whether any triangle was flipped.
    bool computeOrientation(bool& flipped);
    /// Walks the piece around `seed` breadth first, flips each triangle that it meets wound against
    /// the one it comes from, and marks all as visited. Returns false at a conflict with a visited
    /// triangle. Sets `flipped` if it flips any, and else leaves it.
    bool search(bool& flipped, int seed);

    /// The last answer of compute() or orient().
    bool isOriented() const { return oriented_; }

    /// Whether any answer so far was true.
    bool isComputed() const { return computed_; }

    /// The visited triangle that the last conflict was with; -1 before any.
    int getConflictTriangle() const { return conflict_; }

private:
    CompactMesh* mesh_;
    const MeshAdjTris* adjTris_;
    BitVector visited_;
    Array<int> queue_;
    int conflict_ = -1;
    bool oriented_ = false;
    bool computed_ = false;
};

} // namespace qvGeom
