/// \file
/// Compact meshes as half-edge meshes and back, for edits of connectivity.
#pragma once

#include <memory>
#include <vector>

#include "qvGeom/Export.h"
#include "qvGeom/foundation/geometry/Array.h"
#include "qvGeom/foundation/geometry/BitVector.h"
#include "qvGeom/foundation/geometry/MeshTriangle.h"
#include "qvGeom/foundation/geometry/TopoMesh.h"

namespace qvGeom {

class CompactMesh;
class MeshAdjTris;
class Remap;

/// Deletes the vertices that `vertexRemap` maps to a negative value, moves the others with their
/// normals, UVs, STs and colours to their new places, no two to the same, and takes over the
/// triangles of `newTriangles`, which are in new numbers already; the rest of that mesh is lost.
/// New places that no vertex moves to are zeroed.
///
/// Lines and line strips are renumbered, those that use a deleted vertex dropped; triangle normals,
/// strips, fans and selections are dropped; attributes stay. Announces nothing. When memory runs
/// out, the mesh is as it was.
QVGEOM_API void meshReplaceTriangles(CompactMesh& mesh, const Remap& vertexRemap,
                                     CompactMesh& newTriangles);

/// A half-edge copy of the selected vertices and triangles of a mesh, and which vertex is which.
/// Corners of selected triangles are copied in any case. A selection of size 0 selects everything.
class QVGEOM_API MeshConvertRep {
public:
    explicit MeshConvertRep(const CompactMesh& mesh);
    MeshConvertRep(const MeshConvertRep&) = delete;
    MeshConvertRep& operator=(const MeshConvertRep&) = delete;
    ~MeshConvertRep() = default;

    TopoMesh& getTopoMesh() const { return *topoMesh_; }

    /// The copy of a vertex of the mesh; null when it has none.
    TopoMeshVertex getTopoMeshVertex(int meshVertex) const {
        return {topoMesh_.get(), topoVertices_[meshVertex]};
    }

    /// The vertex of the mesh that `vertex` is the copy of, or -1.
    int getMeshVertex(TopoMeshVertex vertex) const {
        return vertex.id >= 0 && vertex.id < meshVertices_.size() ? meshVertices_[vertex.id] : -1;
    }

protected:
    /// Makes two vertices copies of each other; the one of the mesh may also be -1.
    void setMeshVertex(TopoMeshVertex vertex, int meshVertex);

    /// The triangle that a face was made from, or -1 for a face made later.
    int meshTriangleOf(int face) const {
        return face < meshTriangles_.size() ? meshTriangles_[face] : -1;
    }

private:
    void copyVertices(const CompactMesh& mesh);
    void copyTriangles(const CompactMesh& mesh);

    std::unique_ptr<TopoMesh> topoMesh_; // handles name it
    Array<int> topoVertices_;            // by mesh vertex
    Array<int> meshVertices_;            // by topological vertex
    Array<int> meshTriangles_;           // by face
};

/// The selected part of a mesh as a half-edge mesh that is edited and then written back, once.
class QVGEOM_API MeshModifyRep : public MeshConvertRep {
public:
    /// `adjTris` is that of the same mesh. Both are borrowed and stay as they are until `merge`.
    MeshModifyRep(CompactMesh& mesh, const MeshAdjTris& adjTris);

    /// Says that the vertex of the mesh that `vertex` is the copy of goes with the merge; call it
    /// before the copy is deleted. Does nothing for one with triangles outside the selection.
    void removeVertex(TopoMeshVertex vertex);

    /// Takes back the removal of a vertex of the mesh, of which `vertex` is the new copy.
    void restoreVertex(int meshVertex, TopoMeshVertex vertex);

    /// Writes the half-edge mesh back over the selected part, without a notice. Vertices that stay
    /// keep their order and take the positions of their copies; those made here come last.
    /// Triangles outside the selection come first, in their order, then those of the faces in
    /// theirs. A face with the corners of a selected triangle, in its sense of rotation, is written
    /// with the same corner first. A polygon becomes a fan. See `meshReplaceTriangles`.
    ///
    /// Both maps lead from old to new numbers, and to -1 for what is no more.
    void merge(Array<int>& vertexRemap, Array<int>* triangleRemap);

private:
    bool hasTrianglesOutside(int meshVertex) const;
    int oldTriangleOf(const MeshTriangle& corners, int face) const;
    Array<int> numberVertices(int& numNew);
    std::vector<MeshTriangle> mergeTriangles(const Array<int>& numbers, const Remap& remap,
                                             Array<int>& trianglesTo) const;

    CompactMesh& mesh_;
    const MeshAdjTris& adjTris_;
    BitVector removed_; // of the mesh's vertices
};

} // namespace qvGeom
