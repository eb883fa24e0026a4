#include "qvGeom/view/GeomSelectVisible.h"

#include <gtest/gtest.h>

#include "qvGeom/foundation/geometry/MeshAdjTris.h"
#include "qvGeom/foundation/geometry/MeshAdjVertices.h"
#include "qvGeom/foundation/linear/Linear.h"
#include "qvGeom/topology/GeomAdjacency.h"

#include "support/MeshBuilders.h"

namespace qvGeom {
namespace {

/// Adds a copy of `part`, scaled and moved; returns its first triangle.
int add(CompactMesh& mesh, const CompactMesh& part, float scale, float x, float y, float z) {
    const int vertices = mesh.getNumVertices(), triangles = mesh.getNumTriangles();
    mesh.resizeVertexArray(vertices + part.getNumVertices());
    mesh.resizeTriangleArray(triangles + part.getNumTriangles());
    for (int v = 0; v < part.getNumVertices(); ++v) {
        const MeshVertex& p = part.getVertices()[v];
        mesh.getVertices()[vertices + v] = {x + scale * p.x, y + scale * p.y, z + scale * p.z};
    }
    for (int t = 0; t < part.getNumTriangles(); ++t) {
        for (int k = 0; k < 3; ++k)
            mesh.getTriangles()[triangles + t][k] = vertices + part.getTriangles()[t][k];
    }
    return triangles;
}

TEST(MeshSelectVisible, selectsPiecesMostlySeen) {
    CompactMesh mesh; // seen along -z, which an inverted z makes the near side
    const CompactMesh ball = test::sphere(20, 40), square = test::grid(4, 4);
    add(mesh, ball, 0.4F, -0.5F, 0.0F, 0.5F);                        // hides half of itself
    const int hidden = add(mesh, square, 0.1F, -0.7F, -0.2F, -0.5F); // all of it, by the ball
    const int most = add(mesh, square, 0.1F, -0.35F, 0.2F, -0.4F);   // more than half is seen
    const int stray = add(mesh, square, 0.1F, 0.5F, 0.5F, 0.0F);     // no candidate
    const int under = add(mesh, square, 0.1F, 0.2F, -0.6F, -0.5F);   // behind an unselected one
    const int cover = add(mesh, square, 0.1F, 0.2F, -0.6F, 0.0F);
    const int numTriangles = mesh.getNumTriangles();
    mesh.getSelectedTriangles().resize(numTriangles);
    for (int t = 0; t < cover; ++t)
        mesh.getSelectedTriangles().set(t);
    BitVector candidates(mesh.getNumVertices()), result;
    const int squareSize = square.getNumVertices();
    for (int v = 0; v < mesh.getNumVertices() - squareSize; ++v)
        candidates.set(v, v < ball.getNumVertices() + 2 * squareSize ||
                              v >= ball.getNumVertices() + 3 * squareSize);
    MeshAdjTris adjTris;
    meshAdjTris(mesh, adjTris);
    MeshAdjVertices adjVertices;
    meshAdjVertices(mesh, adjTris, adjVertices);

    qvLinear::ProjMatrix proj;
    proj.identity();
    qvLinear::AffineMatrix model;
    model.m[2][2] = -1.0;
    for (const double aspect : {1.0, 0.5, 3.0, -1.0}) {
        MeshSelectVisible(proj, result, candidates, aspect).process(mesh, adjVertices, model);
        ASSERT_EQ(result.size(), numTriangles);
        for (int t = 0; t < numTriangles; ++t) {
            const bool seen = t < hidden || (t >= most && t < stray) || (t >= under && t < cover);
            ASSERT_EQ(result.test(t), seen) << "triangle " << t << " at aspect " << aspect;
        }
    }

    const BitVector before = result;
    BitVector onePiece(mesh.getNumVertices());
    for (int v = 0; v < ball.getNumVertices(); ++v)
        onePiece.set(v);
    MeshSelectVisible(proj, result, onePiece, 1.0).process(mesh, adjVertices, model);
    EXPECT_EQ(result, before);
}

} // namespace
} // namespace qvGeom
