#include "qvGeom/foundation/geometry/MeshModification.h"

#include <algorithm>

#include "qvGeom/foundation/geometry/PointMesh.h"

namespace qvGeom {

MeshModification::MeshModification(const PointMesh* mesh, Type type, MeshRemap* remap)
    : EntityModification(mesh),
      type_(type),
      remap_(remap) {}

void MeshModification::vertexAttribsModified(const qvString::CString& name) {
    if (!isVertexAttribsModified(name))
        modifiedAttributes_.push_back(name);
}

bool MeshModification::isVertexAttribsModified(const qvString::CString& name) const {
    return std::find(modifiedAttributes_.begin(), modifiedAttributes_.end(), name) !=
           modifiedAttributes_.end();
}

} // namespace qvGeom
