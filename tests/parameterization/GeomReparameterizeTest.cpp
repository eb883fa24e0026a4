#include "qvGeom/parameterization/GeomReparameterize.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <gtest/gtest.h>
#include <tuple>
#include <utility>
#include <vector>

#include "qvGeom/cutting/GeomCutSurface.h"

#include "support/CancelAfter.h"
#include "support/CapturedOutput.h"
#include "support/HeardNotices.h"
#include "support/MeshBuilders.h"
#include "support/MeshFiles.h"

using qvGeom::CompactMesh;
using qvGeom::MeshVertex;
using qvGeom::reparameterizeMesh;

namespace {

using Complex = std::complex<double>;

Complex uvOf(const CompactMesh& mesh, int v) { return {mesh.getUVs()[v].u, mesh.getUVs()[v].v}; }

/// Flattens and expects the layout to span a side of the unit square.
void flatten(CompactMesh& mesh, bool compacts = true) {
    const test::CapturedOutput output;
    reparameterizeMesh flattener(mesh);
    flattener.enableMeshCompact(compacts);
    ASSERT_TRUE(flattener.flatten()) << output.info() << output.error();
    qvLinear::Range2d box;
    box.setEmpty();
    for (int v = 0; v < mesh.getNumVertices(); ++v)
        box.include({mesh.getUVs()[v].u, mesh.getUVs()[v].v});
    EXPECT_TRUE(box.minX == 0.0 && box.minY == 0.0 && std::fmax(box.maxX, box.maxY) == 1.0);
}

template <class Map>
CompactMesh mapped(CompactMesh mesh, const Map& map) {
    for (int v = 0; v < mesh.getNumVertices(); ++v)
        mesh.getVertices()[v] = map(mesh.getVertices()[v]);
    return mesh;
}

MeshVertex narrow(double x, double y, double z) {
    return {static_cast<float>(x), static_cast<float>(y), static_cast<float>(z)};
}

// Each surface is bent from a plane without stretching, so that its layout is the plane but for a
// turn and a scale. Catches wrong cotangents, mirrored layouts, holes filled the wrong way round,
// and a solver that ends early on small or large models.
TEST(ReparameterizeMesh, unrollsWhatIsFlatOrRolled) {
    const CompactMesh sheet = mapped(test::shuffled(test::grid(12, 9), 3), [](MeshVertex p) {
        return MeshVertex{p.x + 0.2f * p.y, p.y + 3.0f, 0.0f};
    });
    const auto scaled = [](float s) {
        return [s](MeshVertex p) { return MeshVertex{-s * p.x, s * p.y, -s * p.z}; };
    };
    const auto roll = [](MeshVertex p) {
        return narrow(5 * std::cos(p.x / 5.0), 5 * std::sin(p.x / 5.0), p.y);
    };
    const auto rollToCone = [](MeshVertex p) { // of which a sector of the plane is half a turn
        const double turn = 2 * std::atan2(p.y, p.x), radius = std::hypot(p.x, p.y) / 2;
        return narrow(radius * std::cos(turn), std::sqrt(3.0) * radius, radius * std::sin(turn));
    };
    const CompactMesh plate = test::without(test::grid(12, 9), 60, 8);
    const CompactMesh lone = test::joined(sheet, test::pointsAlongX(1));
    // The triangles of the rolled ones are only about in their surface.
    const std::tuple<CompactMesh, CompactMesh, double> cases[] = {
        {sheet, mapped(sheet, scaled(1e-3f)), 1e-5},
        {sheet, mapped(sheet, scaled(1e5f)), 1e-5},
        {plate, plate, 1e-6},
        {test::soupOf(sheet), test::soupOf(sheet), 1e-6},
        {lone, lone, 1e-6},
        {sheet, mapped(sheet, roll), 2e-2},
        {sheet, mapped(sheet, rollToCone), 2e-2}};
    for (auto [plane, mesh, tolerance] : cases) {
        flatten(mesh);
        const auto place = [&plane = plane](int v) {
            return Complex(plane.getVertices()[v].x, plane.getVertices()[v].y);
        };
        const int* const corners = plane.getTrianglesRaw();
        const int first = corners[0];
        const int last = corners[3 * plane.getNumTriangles() - 1];
        const Complex turn = (uvOf(mesh, last) - uvOf(mesh, first)) / (place(last) - place(first));
        for (int c = 0; c < 3 * plane.getNumTriangles(); ++c)
            ASSERT_LT(std::abs(uvOf(mesh, corners[c]) - uvOf(mesh, first) -
                               turn * (place(corners[c]) - place(first))),
                      tolerance);
        if (plane.getNumVertices() == lone.getNumVertices()) {
            EXPECT_EQ(uvOf(mesh, sheet.getNumVertices()), Complex(0.0, 0.0));
        }
    }
}

/// The slope of the conformal energy at each vertex: the squares of what the equations of Cauchy
/// and Riemann leave over in each triangle, laid down in its own plane.
std::vector<double> energySlopes(const CompactMesh& mesh) {
    std::vector<Complex> slopes(mesh.getNumVertices());
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        const int* const v = mesh.getTriangles()[t].v;
        const auto side = [&](int from, int to) {
            const MeshVertex &a = mesh.getVertices()[v[from]], &b = mesh.getVertices()[v[to]];
            return qvLinear::Vector{double(b.x) - a.x, double(b.y) - a.y, double(b.z) - a.z};
        };
        const double base = side(0, 1).length();
        const double along = dot(side(0, 2), side(0, 1)) / base;
        const double height = cross(side(0, 1), side(0, 2)).length() / base;
        const Complex across[] = {{along - base, height}, {-along, -height}, {base, 0.0}};
        Complex rest = 0.0;
        for (int k = 0; k < 3; ++k)
            rest += across[k] * uvOf(mesh, v[k]) / (base * height);
        for (int k = 0; k < 3; ++k)
            slopes[v[k]] += std::conj(across[k]) * rest;
    }
    std::vector<double> sizes;
    for (const Complex& slope : slopes)
        sizes.push_back(std::abs(slope));
    return sizes;
}

// The energy is convex, so that it is least where it is level for all vertices but the two pinned.
TEST(ReparameterizeMesh, hasTheLeastConformalEnergy) {
    CompactMesh ball = test::sphere(5, 9), patella = test::readMeshFile("patella.mesh");
    ASSERT_TRUE(qvGeom::cutSurface(ball).makeDisk() && qvGeom::cutSurface(patella).makeDisk());
    for (CompactMesh mesh : {test::wavySurface(150), test::shuffled(test::wavySurface(90), 2), ball,
                             patella, test::readMeshFile("terrain.mesh")}) {
        flatten(mesh, false);
        std::vector<double> slopes = energySlopes(mesh);
        std::sort(slopes.rbegin(), slopes.rend());
        EXPECT_GT(slopes[1], 100 * slopes[2]);
        EXPECT_LT(slopes[2], 1e-5);
    }
}

// A row of words that ends a run, without merging vertices or cutting, and whether it succeeds.
TEST(ReparameterizeMesh, tellsWhatItDoesAndRefusesWithoutChange) {
    const auto collapse = [](MeshVertex) { return MeshVertex{1.0f, 2.0f, 3.0f}; };
    const auto aside = [](MeshVertex p) { return MeshVertex{p.x + 3.0f, p.y, p.z}; };
    CompactMesh doubled = test::grid(2, 1);
    doubled.getTriangles()[1] = {{1, 4, 1}};
    const std::tuple<CompactMesh, const char*, const char*, bool> cases[] = {
        {test::grid(1, 1),
         "getMeshGenus: chi = 1 + 4 + 2 - 5 = 2 \n"
         "getMeshGenus: genus = ( 2 - 2 ) / 2 = 0 \n- - - MeshReparameterize: genus = 0\n"
         "Parameterization: calculated planeNormal is good.  Using orthogonal component.\n"
         "Parameterization: CG finished, code = 1\n",
         "", true},
        {CompactMesh(), "- - - MeshReparameterize: genus = 1\n", "", false},
        {doubled, "getMeshGenus: testDegenerate == true\n- - - MeshReparameterize: genus = -1\n",
         "Found degenerate triangle 1 (1,4,1), mesh not changed. \n", false},
        {test::joined(test::sphere(3, 4), mapped(test::sphere(3, 4), aside)),
         "( 2 - 4 ) / 2 = -1 \ngetMeshGenus: genus = -1 \n- - - MeshReparameterize: genus = -1\n",
         "", false},
        {test::bowTie(), "boundary length < 3 \n- - - MeshReparameterize: genus = -1\n", "", false},
        {test::sphere(3, 4), "- - - MeshReparameterize: genus = 0\n", "", false},
        {test::torus(5, 4), "- - - MeshReparameterize: genus = 1\n", "", false},
        {test::joined(test::grid(2, 2), test::torus(5, 4)),
         "genus = 0\n- - - MeshReparameterize: 2 components\n", "", false},
        {mapped(test::grid(2, 2), collapse), "- - - MeshReparameterize: outerBoundary = -1\n",
         "There must be a boundary for the disk, none found. No changes made.\n", false}};
    for (const auto& [surface, info, error, succeeds] : cases) {
        SCOPED_TRACE(info);
        CompactMesh mesh = surface;
        test::HeardNotices notices(mesh);
        const test::CapturedOutput output;
        reparameterizeMesh flattener(mesh);
        flattener.enableMeshCutSurface(false);
        flattener.enableMeshCompact(false);
        EXPECT_EQ(flattener.flatten(), succeeds);
        EXPECT_TRUE(output.info().ends_with(info)) << output.info();
        EXPECT_EQ(output.error(), error);
        EXPECT_EQ(mesh.getUVs() != nullptr, succeeds);
        EXPECT_EQ(notices.take(), succeeds ? "Attributes uvsModified;" : "");
    }
}

// The second run starts from a copy that the first has welded and cut. Every report is a place to
// stop at.
TEST(ReparameterizeMesh, canBeRepeatedAndCancelled) {
    const test::CapturedOutput output;
    for (const CompactMesh& surface : {test::soupOf(test::grid(4, 3)), test::torus(9, 7)}) {
        CompactMesh mesh = surface;
        test::HeardNotices notices(mesh);
        reparameterizeMesh flattener(mesh);
        for (int reports = 0; mesh.getUVs() == nullptr; ++reports) {
            ASSERT_EQ(notices.take(), "");
            test::CancelAfter cancel(reports);
            const bool succeeds = flattener.flatten(cancel.progress());
            EXPECT_EQ(succeeds, mesh.getUVs() != nullptr);
        }
        const CompactMesh first = mesh;
        EXPECT_TRUE(flattener.flatten());
        for (int v = 0; v < mesh.getNumVertices() && surface.getNumVertices() == 72; ++v)
            EXPECT_EQ(uvOf(mesh, v), uvOf(first, v));
    }
}

TEST(ReparameterizeMesh, refusesBoundariesThatDoNotClose) {
    const test::CapturedOutput output;
    std::vector<reparameterizeMesh::BoundaryLoop> loops;
    std::vector<reparameterizeMesh::unsortedEdge> edges;
    CompactMesh mesh = test::grid(1, 1);
    std::swap(mesh.getTriangles()[1][0], mesh.getTriangles()[1][1]);
    EXPECT_FALSE(reparameterizeMesh(mesh).findBoundaryEdges(edges));
    mesh.resizeTriangleArray(3);
    mesh.getTriangles()[2] = mesh.getTriangles()[1];
    EXPECT_FALSE(reparameterizeMesh(mesh).findBoundaryEdges(edges));
    const reparameterizeMesh orders(mesh);
    EXPECT_FALSE(orders.orderBoundaries({{4, 5}, {0, 1}, {5, 6}, {1, 2}, {6, 4}}, loops));
    EXPECT_EQ(loops.size(), 1U);
    EXPECT_FALSE(orders.orderBoundaries({{4, 5}, {5, 4}}, loops));
    EXPECT_EQ(output.info(), "Invalid mesh, reverse wound triangle 0 (0,1,3) \n"
                             "Invalid mesh, non-manifold triangle 0 (0,1,3) \n"
                             "Found an un-closed boundary, mesh not changed. \n"
                             "A degenerate boundary found, mesh not changed. \n");
}

} // namespace
