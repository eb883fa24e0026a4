#include "qvGeom/foundation/geometry/PointMesh.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <utility>

#include "qvGeom/foundation/linear/Convert.h"
#include "qvGeom/foundation/linear/Range.h"

namespace qvGeom {
namespace {

template <class T>
T* makeChannel(Array<T>& channel, int size) {
    channel.resize(size);
    return channel.data();
}

template <class List>
auto* findNamed(List& attributes, const qvString::CString& name) {
    const auto found =
        std::find_if(attributes.begin(), attributes.end(),
                     [&name](const MeshAttributes& a) { return a.getName() == name; });
    return found == attributes.end() ? nullptr : &*found;
}

template <class List>
auto* findAt(List& attributes, int index) {
    const bool exists = index >= 0 && index < static_cast<int>(attributes.size());
    return exists ? &*std::next(attributes.begin(), index) : nullptr;
}

} // namespace

PointMesh::~PointMesh() { announceDestruction(); }

void PointMesh::resizeVertexArray(int numVertices) {
    if (numVertices == getNumVertices())
        return;
    Array<MeshVertex> resized(numVertices);
    std::copy_n(vertices_.begin(), std::min(vertices_.size(), resized.size()), resized.begin());
    replaceVertices(resized);
}

void PointMesh::copyVertices(int numVertices, const MeshVertex* vertices) {
    if (numVertices > 0 && numVertices == getNumVertices()) {
        std::memmove(vertices_.data(), vertices, sizeof(MeshVertex) * vertices_.size());
        return;
    }
    Array<MeshVertex> copy(numVertices); // on its own first: the source may be this very array
    std::copy_n(vertices, copy.size(), copy.begin());
    replaceVertices(copy);
}

void PointMesh::replaceVertices(Array<MeshVertex>& vertices) {
    // Every channel is made before the first is replaced: memory may run out on the way.
    Array<MeshNormal> normals = resizedChannel(normals_, vertices.size());
    Array<MeshUV> uvs = resizedChannel(uvs_, vertices.size());
    Array<MeshST> sts = resizedChannel(sts_, vertices.size());
    Array<MeshColour> colours = resizedChannel(colours_, vertices.size());
    vertices_.swap(vertices);
    normals_.swap(normals);
    uvs_.swap(uvs);
    sts_.swap(sts);
    colours_.swap(colours);
}

void PointMesh::swapVertexChannels(PointMesh& other) noexcept {
    vertices_.swap(other.vertices_);
    normals_.swap(other.normals_);
    uvs_.swap(other.uvs_);
    sts_.swap(other.sts_);
    colours_.swap(other.colours_);
}

MeshNormal* PointMesh::allocNormalArray() { return makeChannel(normals_, getNumVertices()); }

MeshUV* PointMesh::allocUVArray() { return makeChannel(uvs_, getNumVertices()); }

MeshST* PointMesh::allocSTArray() { return makeChannel(sts_, getNumVertices()); }

MeshColour* PointMesh::allocColourArray() { return makeChannel(colours_, getNumVertices()); }

void PointMesh::deleteNormals() {
    normals_.resize(0);
    normalsComputed_ = false;
}

void PointMesh::deleteUVs() { uvs_.resize(0); }

void PointMesh::deleteSTs() { sts_.resize(0); }

void PointMesh::deleteColours() { colours_.resize(0); }

MeshAttributes* PointMesh::getAttributes(int index) { return findAt(attributes_, index); }

const MeshAttributes* PointMesh::getAttributes(int index) const {
    return findAt(attributes_, index);
}

MeshAttributes* PointMesh::getAttributes(const qvString::CString& name) {
    return findNamed(attributes_, name);
}

const MeshAttributes* PointMesh::getAttributes(const qvString::CString& name) const {
    return findNamed(attributes_, name);
}

MeshAttributes* PointMesh::allocAttributes(const qvString::CString& name, int numElements) {
    if (name == VerticesName || name == NormalsName)
        return nullptr;
    MeshAttributes made(name, numElements);
    MeshAttributes* channel = getAttributes(name);
    if (channel)
        std::swap(*channel, made);
    else
        channel = &attributes_.emplace_back(std::move(made));
    return channel;
}

void PointMesh::deleteAttributes(const qvString::CString& name) {
    attributes_.remove_if([&name](const MeshAttributes& a) { return a.getName() == name; });
}

void PointMesh::getBoundingBox(qvLinear::Range3d& range) const {
    range.setEmpty();
    for (const MeshVertex& vertex : vertices_)
        range.include(qvLinear::widen(vertex));
}

void PointMesh::swapPoints(PointMesh& other) noexcept {
    swapVertexChannels(other);
    std::swap(normalsComputed_, other.normalsComputed_);
    selectedVertices_.swap(other.selectedVertices_);
    attributes_.swap(other.attributes_);
}

} // namespace qvGeom
