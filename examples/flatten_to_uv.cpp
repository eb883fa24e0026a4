// Lays a scan out in the plane, for textures: flatten_to_uv [file]. Without a file, lays out the
// masks of this project, and returns 0 when no triangle lies upside down and angles are kept.
#include <algorithm>
#include <cmath>
#include <cstdio>

#include "qvGeom/foundation/base/Diagnostics.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/linear/Linear.h"
#include "qvGeom/io/GeomMeshText.h"
#include "qvGeom/parameterization/GeomReparameterize.h"

// What the library has to say: errors are shown, how it went about it is not.
static void showErrors(void* /*user*/, bool isError, const char* text) {
    if (isError)
        std::fputs(text, stderr);
}

int main(int argc, char** argv) {
    qvOS::AppOutput::getInstance().setSink(showErrors, nullptr);
    qvGeom::CompactMesh mesh;
    qvGeom::meshRead(mesh, argc > 1 ? argv[1] : "data/masks_holes.mesh");
    if (!qvGeom::reparameterizeMesh(mesh).flatten()) {
        std::fputs("this cannot be laid out as one piece\n", stderr);
        return 2;
    }

    // The mesh has UVs now. Angles there, against those of the surface, tell how good they are.
    int numUp = 0, numDown = 0;
    double sum = 0.0, covered = 0.0;
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        qvLinear::Point surface[3], plane[3];
        for (int k = 0; k < 3; ++k) {
            const int v = mesh.getTriangles()[t][k];
            const qvGeom::MeshVertex& p = mesh.getVertices()[v];
            surface[k] = {p.x, p.y, p.z};
            plane[k] = {mesh.getUVs()[v].u, mesh.getUVs()[v].v, 0.0};
        }
        const double area = cross(plane[1] - plane[0], plane[2] - plane[0]).z / 2;
        numUp += area > 0.0;
        numDown += area < 0.0;
        covered += std::fabs(area);
        for (int k = 0; k < 3; ++k) {
            const int next = (k + 1) % 3, last = (k + 2) % 3;
            sum += std::fabs(angle(plane[next] - plane[k], plane[last] - plane[k]) -
                             angle(surface[next] - surface[k], surface[last] - surface[k]));
        }
    }
    const int numFlipped = std::min(numUp, numDown);
    const double meanError = qvLinear::toDegrees(sum / (3 * mesh.getNumTriangles()));
    std::printf("%d triangles laid out, %d of them upside down\n", mesh.getNumTriangles(),
                numFlipped);
    std::printf("angles are %.2f degrees off in the mean; %.0f %% of the square is covered\n",
                meanError, 100 * covered);
    return argc > 1 || (numFlipped == 0 && meanError < 0.5) ? 0 : 1;
}
