#include "qvGeom/foundation/base/Strings.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/io/GeomMeshText.h"

#include "qvmesh/Failure.h"
#include "qvmesh/MessageListener.h"
#include "qvmesh/formats/Formats.h"

namespace qvmesh {

void readText(const std::string& path, qvGeom::CompactMesh& mesh) {
    const MessageListener listener;
    qvGeom::meshRead(mesh, path);
    if (listener.heardErrors())
        throw Failure(listener.errors());
}

bool writeText(const qvGeom::CompactMesh& mesh, const std::string& path) {
    const MessageListener listener;
    qvGeom::meshWrite(mesh, path);
    return !listener.heardErrors();
}

} // namespace qvmesh
