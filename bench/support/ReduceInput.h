/// \file
/// Meshes to reduce, and how far a reduced one is from its input.
#pragma once

#include <algorithm>
#include <cmath>
#include <string>

#include "qvGeom/foundation/base/Progress.h"
#include "qvGeom/foundation/base/Strings.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/Octree.h"
#include "qvGeom/foundation/geometry/OctreeTris.h"
#include "qvGeom/io/GeomMeshText.h"
#include "qvGeom/spatial/GeomDeviation.h"

#include "support/IndexedMesh.h"

namespace bench {

/// A closed surface with bumps of a twentieth of its radius, of about so many triangles, in the
/// order of a lattice (0) or in random order (1).
inline qvGeom::CompactMesh bumpySphere(std::int64_t triangles, std::int64_t order) {
    qvGeom::CompactMesh mesh = sphereOf(triangles);
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        qvGeom::MeshVertex& p = mesh.getVertices()[v];
        const float radius = 1 + 0.05F * std::sin(9 * p.x) * std::sin(11 * p.y) * std::sin(7 * p.z);
        p = {radius * p.x, radius * p.y, radius * p.z};
    }
    return order == 0 ? mesh : test::shuffled(mesh, 1);
}

/// The largest and the root mean square distance between two surfaces.
struct SurfaceDistance {
    double largest = 0, rms = 0;
};

/// Every vertex, edge middle and centroid of the triangles of `mesh`.
inline qvGeom::CompactMesh samplesOf(const qvGeom::CompactMesh& mesh) {
    qvGeom::CompactMesh samples;
    samples.resizeVertexArray(mesh.getNumVertices() + 4 * mesh.getNumTriangles());
    const qvGeom::MeshVertex* const from = mesh.getVertices();
    qvGeom::MeshVertex* to = std::copy_n(from, mesh.getNumVertices(), samples.getVertices());
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        const auto& [a, b, c] = mesh.getTriangles()[t].v;
        const auto mean = [from](float wa, int i, float wb, int j, float wc, int k) {
            return qvGeom::MeshVertex{wa * from[i].x + wb * from[j].x + wc * from[k].x,
                                      wa * from[i].y + wb * from[j].y + wc * from[k].y,
                                      wa * from[i].z + wb * from[j].z + wc * from[k].z};
        };
        *to++ = mean(0.5F, a, 0.5F, b, 0, c);
        *to++ = mean(0.5F, b, 0.5F, c, 0, a);
        *to++ = mean(0.5F, c, 0.5F, a, 0, b);
        *to++ = mean(1.0F / 3, a, 1.0F / 3, b, 1.0F / 3, c);
    }
    return samples;
}

/// Measured from samples on either side to the other's surface.
inline SurfaceDistance distanceBetween(const IndexedMesh& input,
                                       const qvGeom::CompactMesh& reduced) {
    const IndexedMesh other(reduced);
    qvUtil::Progress progress;
    qvGeom::Array<float> there;
    qvGeom::Array<float> back;
    meshDeviation(input.mesh, other.mesh, other.octree, other.tris, progress, there);
    meshDeviation(samplesOf(reduced), input.mesh, input.octree, input.tris, progress, back);
    SurfaceDistance found;
    double sumOfSquares = 0;
    for (const qvGeom::Array<float>* side : {&there, &back}) {
        for (const double distance : *side) {
            found.largest = std::max(found.largest, distance);
            sumOfSquares += distance * distance / (2.0 * side->size());
        }
    }
    found.rms = std::sqrt(sumOfSquares);
    return found;
}

} // namespace bench
