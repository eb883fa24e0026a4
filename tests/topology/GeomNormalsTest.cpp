#include "qvGeom/topology/GeomNormals.h"

#include <cmath>
#include <gtest/gtest.h>

#include "qvGeom/foundation/linear/Convert.h"

#include "support/Adjacency.h"
#include "support/HeardNotices.h"

namespace {

using qvGeom::CompactMesh;
using qvLinear::Point;
using qvLinear::Vector;

double sixfoldVolume(const CompactMesh& mesh) {
    const auto at = [&](int v) { return qvLinear::widen(mesh.getVertices()[v]) - Point{0, 0, 0}; };
    double sum = 0;
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        const auto [a, b, c] = mesh.getTriangles()[t].v;
        sum += dot(at(a), cross(at(b), at(c)));
    }
    return sum;
}

// The volume grows fastest when a vertex moves along the sum of its triangles' area vectors.
TEST(MeshComputeNormals, pointWhereTheVolumeGrowsFastest) {
    for (CompactMesh mesh : {test::torus(5, 4), test::shuffled(test::sphere(12, 20), 1)}) {
        test::HeardNotices notices(mesh);
        meshComputeNormals(mesh, test::adjTrisOf(mesh));
        EXPECT_EQ(notices.take(), "Attributes normalsModified;");
        EXPECT_TRUE(mesh.getNormalsComputed());
        for (int v = 0; v < mesh.getNumVertices(); ++v) {
            double slope[3];
            for (int axis = 0; axis < 3; ++axis) {
                float& x = mesh.getVerticesRaw()[3 * v + axis];
                const float middle = x;
                x = middle + 0.25F;
                slope[axis] = sixfoldVolume(mesh);
                x = middle - 0.25F;
                slope[axis] -= sixfoldVolume(mesh);
                x = middle;
            }
            Vector expected{slope[0], slope[1], slope[2]};
            ASSERT_TRUE(expected.normalize());
            const auto [x, y, z] = mesh.getNormals()[v];
            EXPECT_TRUE(equivalent(Vector{x, y, z}, expected, 1e-5)) << v;
        }
    }
}

TEST(MeshComputeNormals, areZeroWithoutADirection) {
    CompactMesh mesh = test::soupOf(test::grid(3, 1)); // of three vertices each
    mesh.resizeVertexArray(20);
    mesh.getVertices()[4] = mesh.getVertices()[3];
    mesh.getVertices()[7].y = NAN;
    meshComputeNormals(mesh, test::adjTrisOf(mesh));
    for (int v = 0; v < 20; ++v)
        EXPECT_EQ(mesh.getNormals()[v].z, v < 3 || (v > 8 && v < 18) ? 1 : 0) << v;
    CompactMesh empty;
    test::HeardNotices notices(empty);
    meshComputeNormals(empty, test::adjTrisOf(empty));
    EXPECT_EQ(notices.take(), "");
}

} // namespace
