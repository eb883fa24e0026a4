/// \file
/// Changes to the vertex and triangle selections of a mesh.
#pragma once

#include <deque>
#include <vector>

#include "qvGeom/Export.h"
#include "qvGeom/foundation/geometry/MeshSubset.h"

namespace qvLinear {
struct Point;
struct ProjMatrix;
} // namespace qvLinear

namespace qvGeom {

class CompactMesh;
class MeshAdjTris;
struct MeshCoord;
struct MeshTriangle;
struct MeshVertex;

/// Returns the selected vertices and the selected triangles of `mesh` as a subset of it. Both
/// selections are filters: one of size 0 stands for all elements. Bits past the mesh are dropped.
QVGEOM_API MeshSubset meshSubsetFromSelection(const CompactMesh& mesh, const BitVector& vertices,
                                              const BitVector& triangles);

/// The same with the mesh's own selections.
QVGEOM_API MeshSubset meshSubsetFromSelection(const CompactMesh& mesh);

/// Edits a vertex and a triangle selection of one mesh. Here a selection is its set bits: one of
/// size 0 holds nothing. All that it is given is borrowed, and the mesh must keep its arrays. The
/// operations announce nothing, as selections are no part of what listeners are told about.
class QVGEOM_API MeshSelect {
public:
    /// Works on the mesh's own selections. `adjTris` is that of the same mesh.
    MeshSelect(CompactMesh& mesh, const MeshAdjTris& adjTris);
    /// Works on the selections given; the mesh is only read.
    MeshSelect(const CompactMesh& mesh, const MeshAdjTris& adjTris, BitVector& triangles,
               BitVector& vertices);

    // Each selection, resized to the mesh when its size was another. All operations get it so.
    BitVector& getSelectedVertices();
    BitVector& getSelectedTriangles();

    /// Selects exactly the triangles that have at least `minCount` selected corners. A vertex that
    /// stands at two corners of a triangle counts twice.
    void selectTrianglesFromVertices(int minCount);
    /// Selects exactly the triangles that have a selected corner.
    void selectAllTrianglesFromVertices();
    /// Selects exactly the corners of the selected triangles.
    void selectVerticesFromTriangles();
    /// Exchanges selected and unselected triangles.
    void invertTriangleSelection();
    /// Adds to the selected triangles those that share a vertex with one of them, and unless
    /// `oneRing` those that share one with an added triangle, and so on to the whole of each
    /// connected piece.
    void selectTrianglesRecursive(bool oneRing);
    /// Adds the vertices whose projection, in single precision, is inside the polygon, which closes
    /// itself and whose z is ignored. Fewer than 3 points enclose nothing. Vertices behind the eye
    /// are projected as well.
    void selectVertices(const qvLinear::ProjMatrix& projection,
                        const std::vector<qvLinear::Point>& polygon);

    /// Sets the bits of the triangles around `vertex` in `out`, which is first resized when it has
    /// not one bit per triangle. Touches neither selection.
    void selectTrisAdjacentToVert(int vertex, BitVector& out) const;
    /// Selects exactly the triangles that `coords` lie on and those within `tolerance` of one of
    /// these positions, as far as a chain of such triangles, each sharing a vertex with the next,
    /// leads there from its own. Positions without a triangle are passed over; a negative
    /// tolerance adds nothing.
    void selectAffectedTriangles(const std::deque<MeshCoord>& coords, double tolerance);

private:
    void selectByCorners(int minCount);
    void selectNextRing();
    void selectPieces();

    const CompactMesh& mesh_;
    const MeshAdjTris& adjTris_;
    BitVector& selectedTriangles_;
    BitVector& selectedVertices_;
    const MeshTriangle* triangles_;
    const MeshVertex* vertices_;
};

} // namespace qvGeom
