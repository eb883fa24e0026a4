#include "qvmesh/Failure.h"
#include "qvmesh/formats/Formats.h"

namespace qvmesh {

using qvGeom::MeshTriangle;

void addFan(const std::vector<int>& corners, std::vector<MeshTriangle>& triangles) {
    for (std::size_t i = 2; i < corners.size(); ++i)
        triangles.push_back({{corners[0], corners[i - 1], corners[i]}});
}

void checkIndices(const std::string& path, std::size_t numVertices,
                  std::span<const MeshTriangle> triangles) {
    for (std::size_t t = 0; t < triangles.size(); ++t) {
        for (const int vertex : triangles[t].v) {
            if (vertex < 0 || static_cast<std::size_t>(vertex) >= numVertices)
                throw Failure(path + ": triangle " + std::to_string(t) + " has the vertex " +
                              std::to_string(vertex) + " of " + std::to_string(numVertices));
        }
    }
}

} // namespace qvmesh
