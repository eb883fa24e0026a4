#include <string>
#include <vector>

#include "qvGeom/foundation/geometry/CompactMesh.h"

#include "qvmesh/formats/Formats.h"
#include "qvmesh/formats/NumberLines.h"
#include "qvmesh/formats/TextLines.h"

namespace qvmesh {
// Read here since the scene package rounds decimal fractions wrongly and pads a file cut short.
// Colours and the like, which follow on the lines of vertices and faces, are passed over.
MeshData readOff(const std::string& path) {
    TextLines lines(path);
    lines.next();
    if (!lines.word().ends_with("OFF"))
        lines.fail("no OFF file starts like this");
    if (lines.atEnd())
        lines.next();
    const int numVertices = lines.number<int>();
    const int numFaces = lines.number<int>();

    MeshData mesh;
    for (int v = 0; v < numVertices; ++v) {
        lines.next();
        const float x = lines.number<float>();
        const float y = lines.number<float>();
        mesh.vertices.push_back({x, y, lines.number<float>()});
    }
    std::vector<int> polygon;
    for (int f = 0; f < numFaces; ++f) {
        lines.next();
        polygon.clear();
        for (int corner = lines.number<int>(); corner > 0; --corner)
            polygon.push_back(lines.number<int>());
        addFan(polygon, mesh.triangles);
    }
    return mesh;
}

std::string writeOff(const qvGeom::CompactMesh& mesh) {
    NumberLines lines;
    lines.line("OFF");
    lines.line(mesh.getNumVertices(), mesh.getNumTriangles(), 0);
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        const qvGeom::MeshVertex& p = mesh.getVertices()[v];
        lines.line(p.x, p.y, p.z);
    }
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        const qvGeom::MeshTriangle& corners = mesh.getTriangles()[t];
        lines.line(3, corners[0], corners[1], corners[2]);
    }
    return lines.take();
}

} // namespace qvmesh
