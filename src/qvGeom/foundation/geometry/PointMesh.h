/// \file
/// Vertices with their channels: what every mesh has, triangles or not.
#pragma once

#include <algorithm>
#include <list>

#include "qvGeom/Export.h"
#include "qvGeom/foundation/base/Entity.h"
#include "qvGeom/foundation/base/Strings.h"
#include "qvGeom/foundation/geometry/Array.h"
#include "qvGeom/foundation/geometry/BitVector.h"
#include "qvGeom/foundation/geometry/MeshAttributes.h"
#include "qvGeom/foundation/geometry/MeshColour.h"
#include "qvGeom/foundation/geometry/MeshNormal.h"
#include "qvGeom/foundation/geometry/MeshST.h"
#include "qvGeom/foundation/geometry/MeshUV.h"
#include "qvGeom/foundation/geometry/MeshVertex.h"

namespace qvLinear {
struct Range3d;
}

namespace qvGeom {

/// Positions, and beside them optional normals, UVs, STs and colours, one each per vertex; a
/// vertex selection; and named attributes. Pointers stay valid until their channel is resized,
/// replaced, swapped or deleted; typed and raw ones alias. Copies, assignments and swaps move data
/// only: listeners stay with the object, and nothing is announced.
class QVGEOM_API PointMesh : public qvRTB::Entity {
public:
    /// The names of the built-in channels in change notices.
    static constexpr const char* VerticesName = "vertices";
    static constexpr const char* NormalsName = "normals";

    PointMesh() = default;
    PointMesh(const PointMesh& other) = default;
    PointMesh& operator=(const PointMesh& other) = default;
    ~PointMesh() override;

    int getNumVertices() const { return vertices_.size(); }

    /// Null without vertices.
    MeshVertex* getVertices() { return vertices_.data(); }

    const MeshVertex* getVertices() const { return vertices_.data(); }

    /// Three floats per vertex.
    float* getVerticesRaw() { return raw<float>(vertices_.data()); }

    const float* getVerticesRaw() const { return raw<const float>(vertices_.data()); }

    /// Null when the mesh has no normals.
    MeshNormal* getNormals() { return normals_.data(); }

    const MeshNormal* getNormals() const { return normals_.data(); }

    /// Three floats per vertex.
    float* getNormalsRaw() { return raw<float>(normals_.data()); }

    const float* getNormalsRaw() const { return raw<const float>(normals_.data()); }

    /// Null when the mesh has no texture coordinates.
    MeshUV* getUVs() { return uvs_.data(); }

    const MeshUV* getUVs() const { return uvs_.data(); }

    /// Two floats per vertex.
    float* getUVsRaw() { return raw<float>(uvs_.data()); }

    const float* getUVsRaw() const { return raw<const float>(uvs_.data()); }

    /// Null when the mesh has no second texture channel.
    MeshST* getSTs() { return sts_.data(); }

    const MeshST* getSTs() const { return sts_.data(); }

    /// Null when the mesh has no colours.
    MeshColour* getColours() { return colours_.data(); }

    const MeshColour* getColours() const { return colours_.data(); }

    /// Whether the normals were computed from the surface (true) or came with the data (false).
    /// Computed ones may be dropped or go stale where those of the data are kept.
    bool getNormalsComputed() const { return normalsComputed_; }

    void setNormalsComputed(bool computed) { normalsComputed_ = computed; }

    /// Keeps the first vertices and their normals, UVs, STs and colours and zeroes new ones.
    /// The selection and named attributes stay as they are.
    void resizeVertexArray(int numVertices);
    /// Replaces the positions and their number; the channels follow as when resizing.
    void copyVertices(int numVertices, const MeshVertex* vertices);

    /// Exchanges positions, normals, UVs, STs and colours, and the number of vertices with them;
    /// selection and named attributes stay.
    void swapVertexChannels(PointMesh& other) noexcept;

    // Each makes its channel, zeroed, unless it exists, and returns it: null without vertices.
    MeshNormal* allocNormalArray();
    MeshUV* allocUVArray();
    MeshST* allocSTArray();
    MeshColour* allocColourArray();
    void deleteNormals();
    void deleteUVs();
    void deleteSTs();
    void deleteColours();

    int getNumAttributes() const { return static_cast<int>(attributes_.size()); }

    /// The attribute channel at a position in order of creation, or null past the last.
    MeshAttributes* getAttributes(int index);
    const MeshAttributes* getAttributes(int index) const;
    /// The attribute channel of that name, or null.
    MeshAttributes* getAttributes(const qvString::CString& name);
    const MeshAttributes* getAttributes(const qvString::CString& name) const;
    /// Makes a channel of zeros, in place of one of the same name. Null for a built-in name.
    MeshAttributes* allocAttributes(const qvString::CString& name, int numElements);
    void deleteAttributes(const qvString::CString& name);

    /// One bit per vertex, or of size 0: no selection.
    BitVector& getSelectedVertices() { return selectedVertices_; }

    const BitVector& getSelectedVertices() const { return selectedVertices_; }

    /// Replaces `range` by the extent of all vertices, NaN coordinates aside; empty without any.
    void getBoundingBox(qvLinear::Range3d& range) const;

protected:
    template <class Scalar, class Record>
    static Scalar* raw(Record* records) {
        return reinterpret_cast<Scalar*>(records);
    }

    void swapPoints(PointMesh& other) noexcept;

    /// The first elements of a channel that exists, and zeros after them.
    template <class T>
    static Array<T> resizedChannel(const Array<T>& channel, int size) {
        Array<T> resized(channel.size() > 0 ? size : 0);
        std::copy_n(channel.begin(), std::min(channel.size(), resized.size()), resized.begin());
        return resized;
    }

private:
    /// Takes over `vertices`; the other channels follow.
    void replaceVertices(Array<MeshVertex>& vertices);

    Array<MeshVertex> vertices_;
    Array<MeshNormal> normals_;
    Array<MeshUV> uvs_;
    Array<MeshST> sts_;
    Array<MeshColour> colours_;
    bool normalsComputed_ = false;
    BitVector selectedVertices_;
    std::list<MeshAttributes> attributes_; // a list, so that channels keep their address
};

} // namespace qvGeom
