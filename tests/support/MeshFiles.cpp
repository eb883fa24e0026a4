#include "support/MeshFiles.h"

#include <cstring>
#include <fstream>

#include "qvGeom/foundation/base/Strings.h"
#include "qvGeom/io/GeomMeshText.h"

#include "support/MeshBuilders.h"

namespace test {

qvGeom::CompactMesh readMeshFile(const std::string& name) {
    const std::string path = std::string(QVGEOM_TEST_DATA) + '/' + name;
    if (name.ends_with(".mesh")) {
        qvGeom::CompactMesh mesh;
        meshRead(mesh, qvOS::Filename(path.c_str()));
        return mesh;
    }
    std::ifstream file(path, std::ios::binary);
    std::vector<qvGeom::MeshVertex> vertices;
    std::vector<qvGeom::MeshTriangle> triangles;
    if (name.ends_with(".stl")) {
        char facet[50]; // a normal, three corners, two bytes
        for (file.seekg(84); file.read(facet, sizeof facet);) {
            const int first = static_cast<int>(vertices.size());
            vertices.resize(vertices.size() + 3);
            std::memcpy(&vertices[first], facet + 12, 36);
            triangles.push_back({{first, first + 1, first + 2}});
        }
        return meshOf(vertices, triangles);
    }
    qvGeom::MeshVertex v;
    qvGeom::MeshTriangle t;
    for (std::string word; file >> word;) {
        if (word == "v" && file >> v.x >> v.y >> v.z)
            vertices.push_back(v);
        if (word == "f" && file >> t[0] >> t[1] >> t[2])
            triangles.push_back({{t[0] - 1, t[1] - 1, t[2] - 1}});
    }
    return meshOf(vertices, triangles);
}

} // namespace test
