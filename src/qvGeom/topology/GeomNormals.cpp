#include "qvGeom/topology/GeomNormals.h"

#include <algorithm>
#include <cstddef>

#include "qvGeom/foundation/base/ThreadPool.h"
#include "qvGeom/foundation/base/ThreadedAlg.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/MeshAdjTris.h"
#include "qvGeom/foundation/geometry/MeshModification.h"
#include "qvGeom/foundation/linear/Convert.h"
#include "qvGeom/foundation/linear/Normal.h"
#include "qvGeom/foundation/linear/Point.h"

namespace qvGeom {
namespace {

using qvLinear::Point;
using qvLinear::Vector;
using qvLinear::widen;

/// Sums up the triangles around each vertex in the order of the table, so that the rounding is the
/// same on any number of threads.
class NormalsAlg final : public qvUtil::ThreadedAlg {
public:
    NormalsAlg(const CompactMesh& mesh, const MeshAdjTris& adjTris, MeshNormal* normals)
        : numVertices_(mesh.getNumVertices()),
          vertices_(mesh.getVertices()),
          triangles_(mesh.getTriangles()),
          adjTris_(adjTris),
          normals_(normals) {}

    void threadFunc(int thread, int numThreads) override {
        // In a mesh without order every triangle is a cache miss, which the list foretells.
        constexpr std::ptrdiff_t kLookAhead = 16;
        const int* const last = adjTris_.list() + adjTris_.numMembers() - 1;
        for (const int v : qvUtil::sliceOf(numVertices_, thread, numThreads)) {
            Vector sum{0, 0, 0};
            for (const int* t = adjTris_.begin(v); t != adjTris_.end(v); ++t) {
                __builtin_prefetch(triangles_ + *std::min(t + kLookAhead, last));
                const MeshTriangle& triangle = triangles_[*t];
                const Point a = widen(vertices_[triangle[0]]);
                // The product is as long as twice the area.
                sum += cross(widen(vertices_[triangle[1]]) - a, widen(vertices_[triangle[2]]) - a);
            }
            const qvLinear::VectorFlt normal = qvLinear::narrow(qvLinear::Normal(sum));
            normals_[v] = {normal.x, normal.y, normal.z};
        }
    }

private:
    int numVertices_;
    const MeshVertex* vertices_;
    const MeshTriangle* triangles_;
    const MeshAdjTris& adjTris_;
    MeshNormal* normals_;
};

} // namespace

void meshComputeNormals(CompactMesh& mesh, const MeshAdjTris& adjTris) {
    if (mesh.getNumVertices() == 0)
        return;
    NormalsAlg alg(mesh, adjTris, mesh.allocNormalArray());
    qvUtil::ThreadPool::getFor(mesh.getNumVertices()).run(alg);
    mesh.setNormalsComputed(true);

    MeshModification notice(&mesh, MeshModification::Attributes);
    notice.normalsModified();
    mesh.modified(notice);
}

} // namespace qvGeom
