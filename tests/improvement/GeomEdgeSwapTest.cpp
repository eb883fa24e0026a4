#include "qvGeom/improvement/GeomEdgeSwap.h"

#include <gtest/gtest.h>

namespace {

using qvGeom::MeshEdgeSwapper;
using qvGeom::TopoMesh;

TEST(MeshEdgeSwapper, swapsNothingWithoutACriterion) {
    TopoMesh mesh;
    const auto a = mesh.allocVertex({0, 0, 0});
    const auto b = mesh.allocVertex({1, 0, 0});
    mesh.allocTriangle(a, b, mesh.allocVertex({0.5, 0.1, 0}));
    mesh.allocTriangle(b, a, mesh.allocVertex({0.5, -0.1, 0}));
    meshTwin(mesh);
    MeshEdgeSwapper swapper;
    EXPECT_EQ(meshSwapEdgesRepeatedly(mesh, swapper), 0);
    swapper.getVetoSignal();
    EXPECT_EQ(meshSwapEdgesRepeatedly(mesh, swapper), 0);
}

} // namespace
