// Turns a soup, in which every triangle has three vertices of its own, into a connected mesh.
// Shows the old-to-new map and the change notice. Returns 0 when the soup is closed up.
#include <cstdio>
#include <vector>

#include "qvGeom/editing/GeomVertexWeld.h"
#include "qvGeom/foundation/base/Progress.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/MeshModification.h"
#include "qvGeom/foundation/geometry/Remap.h"

namespace {

// A square of size x size cells, two triangles each, as an exporter of loose triangles writes it.
qvGeom::CompactMesh makeSoup(int size) {
    std::vector<qvGeom::MeshVertex> corners;
    const auto add = [&](int x, int y) {
        corners.push_back({static_cast<float>(x), static_cast<float>(y), 0});
    };
    for (int y = 0; y < size; ++y) {
        for (int x = 0; x < size; ++x) {
            add(x, y), add(x + 1, y), add(x + 1, y + 1);
            add(x, y), add(x + 1, y + 1), add(x, y + 1);
        }
    }
    const int numCorners = static_cast<int>(corners.size());
    qvGeom::CompactMesh mesh(numCorners, corners.data(), nullptr, nullptr, nullptr);
    mesh.resizeTriangleArray(numCorners / 3);
    for (int c = 0; c < numCorners; ++c)
        mesh.getTrianglesRaw()[c] = c;
    return mesh;
}

void countNotice(void* user, qvRTB::EntityModification&) { ++*static_cast<int*>(user); }

} // namespace

int main() {
    constexpr int kSize = 100;
    qvGeom::CompactMesh mesh = makeSoup(kSize);
    std::printf("soup:   %d vertices, %d triangles\n", mesh.getNumVertices(),
                mesh.getNumTriangles());

    int notices = 0;
    mesh.getModifiedSignal().addCallback(countNotice, &notices);
    qvUtil::Progress progress;
    qvGeom::Remap remap;
    qvGeom::meshCompact(mesh, progress, remap);

    std::printf("welded: %d vertices; soup vertex 3 became %d, as did vertex 0 (%d)\n",
                mesh.getNumVertices(), remap[3], remap[0]);
    const bool isClosedUp = mesh.getNumVertices() == (kSize + 1) * (kSize + 1);
    return isClosedUp && remap[3] == remap[0] && notices == 1 ? 0 : 1;
}
