#include <cstdint>
#include <string>

#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/linear/Linear.h"

#include "qvmesh/formats/Bytes.h"
#include "qvmesh/formats/Formats.h"

namespace qvmesh {
namespace {

qvGeom::MeshNormal facetNormal(const qvGeom::MeshVertex (&corners)[3]) {
    const auto toPoint = [](const qvGeom::MeshVertex& p) { return qvLinear::Point{p.x, p.y, p.z}; };
    const qvLinear::Point origin = toPoint(corners[0]);
    const qvLinear::Normal normal(
        qvLinear::cross(toPoint(corners[1]) - origin, toPoint(corners[2]) - origin));
    return {static_cast<float>(normal[0]), static_cast<float>(normal[1]),
            static_cast<float>(normal[2])};
}

} // namespace

MeshData readStl(const std::string& path) {
    MeshData data = readScene(path);
    data.normals.clear(); // those of the facets would keep the vertices of a crease apart
    return data;
}

std::string writeStl(const qvGeom::CompactMesh& mesh) {
    constexpr std::size_t kHeaderSize = 80;
    constexpr std::size_t kFacetSize = 50;
    const std::size_t numFacets = static_cast<std::size_t>(mesh.getNumTriangles());
    std::string file = "binary STL";
    file.reserve(kHeaderSize + 4 + kFacetSize * numFacets);
    file.resize(kHeaderSize);
    appendBytes(file, static_cast<std::uint32_t>(numFacets));
    for (std::size_t t = 0; t < numFacets; ++t) {
        const qvGeom::MeshTriangle& triangle = mesh.getTriangles()[t];
        const qvGeom::MeshVertex corners[3] = {mesh.getVertices()[triangle[0]],
                                               mesh.getVertices()[triangle[1]],
                                               mesh.getVertices()[triangle[2]]};
        appendBytes(file, facetNormal(corners));
        appendBytes(file, corners);
        appendBytes(file, std::uint16_t(0));
    }
    return file;
}

} // namespace qvmesh
