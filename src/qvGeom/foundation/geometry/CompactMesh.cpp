#include "qvGeom/foundation/geometry/CompactMesh.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "qvGeom/foundation/geometry/MeshModification.h"

namespace qvGeom {

CompactMesh::CompactMesh(int numVertices, const MeshVertex* vertices, const MeshNormal* normals,
                         const MeshUV* uvs, const MeshColour* colours) {
    copyVertices(numVertices, vertices);
    const int count = getNumVertices();
    if (normals)
        std::copy_n(normals, count, allocNormalArray());
    if (uvs)
        std::copy_n(uvs, count, allocUVArray());
    if (colours)
        std::copy_n(colours, count, allocColourArray());
}

CompactMesh::~CompactMesh() { announceDestruction(); }

void CompactMesh::swap(CompactMesh& other) noexcept {
    swapPoints(other);
    swapConnectivity(other);
    std::swap(numPolys_, other.numPolys_);
    selectedTriangles_.swap(other.selectedTriangles_);
}

void CompactMesh::swapConnectivity(CompactMesh& other) noexcept {
    triangles_.swap(other.triangles_);
    triangleNormals_.swap(other.triangleNormals_);
    triStrips_.swap(other.triStrips_);
    triFans_.swap(other.triFans_);
    lines_.swap(other.lines_);
    lineStrips_.swap(other.lineStrips_);
}

void CompactMesh::modified(MeshModification& modification) {
    getModifiedSignal().emit(modification);
}

void CompactMesh::resizeTriangleArray(int numTriangles) {
    if (numTriangles == getNumTriangles())
        return;
    Array<MeshNormal> normals = resizedChannel(triangleNormals_, numTriangles);
    triangles_.resize(numTriangles);
    triangleNormals_.swap(normals);
}

void CompactMesh::copyTriangles(int numTriangles, const int* corners) {
    if (numTriangles > 0 && numTriangles == getNumTriangles()) {
        std::memmove(triangles_.data(), corners, sizeof(MeshTriangle) * triangles_.size());
        return;
    }
    Array<MeshTriangle> copy(numTriangles); // on its own first: the source may be this very array
    std::copy_n(corners, 3 * static_cast<std::ptrdiff_t>(copy.size()), raw<int>(copy.data()));
    Array<MeshNormal> normals = resizedChannel(triangleNormals_, numTriangles);
    triangles_.swap(copy);
    triangleNormals_.swap(normals);
}

MeshNormal* CompactMesh::allocTriangleNormalArray() {
    triangleNormals_.resize(getNumTriangles());
    return triangleNormals_.data();
}

void CompactMesh::deleteTriangleNormals() { triangleNormals_.resize(0); }

void CompactMesh::clearSelection() {
    getSelectedVertices().resize(0);
    selectedTriangles_.resize(0);
}

} // namespace qvGeom
