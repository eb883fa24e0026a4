#include "qvGeom/improvement/GeomSmooth.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <set>
#include <span>
#include <tuple>
#include <vector>

#include "qvGeom/foundation/geometry/MeshAdjVertices.h"
#include "qvGeom/foundation/linear/Linear.h"

#include "support/Adjacency.h"
#include "support/CancelAfter.h"
#include "support/HeardNotices.h"
#include "support/MeshFiles.h"
#include "support/ScopedThreadCount.h"

namespace {

using qvGeom::CompactMesh;
using qvGeom::MeshAdjVertices;
using qvGeom::MeshVertex;

MeshAdjVertices adjacencyOf(const CompactMesh& mesh) {
    MeshAdjVertices adjVertices;
    meshAdjVertices(mesh, test::adjTrisOf(mesh), adjVertices);
    return adjVertices;
}

/// Runs one operator; a sigma of zero means the Laplacian.
void smooth(CompactMesh& mesh, double sigma, qvUtil::Progress& progress) {
    const MeshAdjVertices adjVertices = adjacencyOf(mesh);
    if (sigma == 0)
        meshSmoothLaplacian(mesh, adjVertices, progress);
    else
        meshSmoothBilateral(mesh, adjVertices, sigma, progress);
}

bool samePositions(const CompactMesh& a, const CompactMesh& b) {
    return std::memcmp(a.getVertices(), b.getVertices(), a.getNumVertices() * sizeof(MeshVertex)) ==
           0;
}

std::span<const int> neighboursOf(const MeshAdjVertices& adj, int v) {
    return {adj.getVertices(v), static_cast<std::size_t>(adj.getCount(v))};
}

MeshVertex plainLaplacian(const CompactMesh& mesh, const MeshAdjVertices& adj, int v) {
    MeshVertex sum = {0, 0, 0};
    for (const int u : neighboursOf(adj, v)) {
        const auto [x, y, z] = mesh.getVertices()[u];
        sum = {sum.x + x, sum.y + y, sum.z + z};
    }
    const auto k = static_cast<float>(adj.getCount(v));
    return {sum.x / k, sum.y / k, sum.z / k};
}

MeshVertex plainBilateral(const CompactMesh& mesh, const MeshAdjVertices& adj, int v,
                          double sigma) {
    const auto at = [&mesh](int u) { return qvLinear::widen(mesh.getVertices()[u]); };
    const auto [x, y, z] = mesh.getNormals()[v];
    const qvLinear::Vector normal{x, y, z};
    const double length = normal.length();
    std::set<int> seen{v};
    std::vector<int> stack{v}, found;
    while (!stack.empty()) {
        found.push_back(stack.back());
        stack.pop_back();
        for (const int w : neighboursOf(adj, found.back())) {
            if (seen.insert(w).second && distance2(at(w), at(v)) <= sigma * sigma)
                stack.push_back(w);
        }
    }
    found.erase(found.begin());
    const auto heightOf = [&](int u) { return dot(at(u) - at(v), normal / length); };
    double sum = 0, variance = 0, weights = 0, weighted = 0;
    for (const int u : found)
        sum += heightOf(u);
    const double share = 1 / static_cast<double>(found.size());
    for (const int u : found)
        variance += (heightOf(u) - sum * share) * (heightOf(u) - sum * share);
    variance *= share;
    for (const int u : found) {
        const double h = heightOf(u);
        const double w = std::exp(-distance2(at(u), at(v)) * (1 / ((sigma + sigma) * sigma))) *
                         std::exp(-h * h * (1 / (variance + variance)));
        weights += w;
        weighted += h * w;
    }
    if (found.empty() || length == 0 || variance < 1e-12 || weights < 1e-12)
        return mesh.getVertices()[v];
    const qvLinear::PointFlt moved = qvLinear::narrow(at(v) + weighted / weights * normal);
    return {moved.x, moved.y, moved.z};
}

/// Normals of all lengths, some zero.
void makeNormals(CompactMesh& mesh) {
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        const auto [x, y, z] = mesh.getVertices()[v];
        const float scale = v % 9 == 0 ? 0 : 1.25F;
        mesh.allocNormalArray()[v] = {scale * x, scale * y, scale * z};
    }
}

TEST(Smooth, matchesPlainLoopsBitForBit) {
    for (const char* file : {"patella.mesh", "lion_holes.mesh", "spider.obj"}) {
        CompactMesh mesh = test::readMeshFile(file);
        const int numVertices = mesh.getNumVertices() + 1;
        ASSERT_GT(numVertices, 1);
        mesh.resizeVertexArray(numVertices); // the last is isolated
        makeNormals(mesh);
        qvLinear::Range3d range;
        mesh.getBoundingBox(range);
        const double size = distance(range.min, range.max);
        const MeshAdjVertices adj = adjacencyOf(mesh);
        for (const int stride : {1, 3}) { // every vertex by a selection of size 0, every third
            mesh.getSelectedVertices().resize(stride == 1 ? 0 : numVertices);
            for (int v = 0; stride > 1 && v < numVertices; v += stride)
                mesh.getSelectedVertices().set(v);
            for (const double sigma : {0., 0.01 * size, 0.03 * size}) {
                CompactMesh expected = mesh, smoothed = mesh;
                for (int v = 0; v < numVertices; v += stride)
                    expected.getVertices()[v] = sigma == 0 ? plainLaplacian(mesh, adj, v)
                                                           : plainBilateral(mesh, adj, v, sigma);
                const test::ScopedThreadCount threads(stride);
                qvUtil::Progress progress;
                smooth(smoothed, sigma, progress);
                EXPECT_TRUE(samePositions(smoothed, expected)) << file << stride << sigma;
                EXPECT_FALSE(samePositions(mesh, expected));
            }
        }
    }
}

// By the number of vertices and of those selected, the first ones; -1 for a selection of size 0.
TEST(Smooth, pollsAndStopsAtEveryThousandth) {
    const std::tuple<int, int, std::vector<double>> cases[] = {
        {3, 0, {1, 1, 1}},
        {5, 3, {1 / 3.}},
        {1003, 1000, {1e-3, 1, 1, 1}},
        {2500, -1, {1 / 2500., 1001 / 2500., 2001 / 2500.}}};
    for (const double sigma : {0., 1.5}) {
        for (const auto& [numVertices, numSelected, fractions] : cases) {
            SCOPED_TRACE(numVertices);
            CompactMesh mesh = test::strip(numVertices - 2);
            for (int v = 0; v < numVertices; ++v)
                mesh.getVertices()[v].z = static_cast<float>(v * v % 7);
            makeNormals(mesh);
            mesh.getSelectedVertices().resize(numSelected < 0 ? 0 : numVertices);
            for (int v = 0; v < numSelected; ++v)
                mesh.getSelectedVertices().set(v);
            const CompactMesh before = mesh;
            test::HeardNotices notices(mesh);
            const auto numPolls = static_cast<int>(fractions.size());
            for (int poll = 0; poll <= numPolls; ++poll) {
                test::CancelAfter cancel(poll);
                smooth(mesh, sigma, cancel.progress());
                const bool isDone = poll == numPolls;
                EXPECT_EQ(cancel.fractions(),
                          std::vector(fractions.begin(), fractions.begin() + poll));
                EXPECT_EQ(samePositions(mesh, before), !isDone || numSelected == 0);
                EXPECT_EQ(notices.take(), isDone ? "Geometry;" : "");
            }
        }
    }
}

// Without normals, with none close enough, and with all in one plane.
TEST(Smooth, leavesWhatHasNothingToFollow) {
    qvUtil::Progress progress;
    for (CompactMesh mesh : {CompactMesh(), test::grid(4, 4)}) {
        const CompactMesh before = mesh;
        test::HeardNotices notices(mesh);
        smooth(mesh, 1, progress);
        EXPECT_EQ(notices.take(), "");
        for (int v = 0; v < mesh.getNumVertices(); ++v)
            mesh.allocNormalArray()[v].z = 1;
        const bool isEmpty = mesh.getNumVertices() == 0;
        for (const double sigma : {isEmpty ? 0 : 0.9, 2.0})
            smooth(mesh, sigma, progress);
        EXPECT_EQ(notices.take(), isEmpty ? "" : "Geometry;Geometry;");
        EXPECT_TRUE(isEmpty || samePositions(mesh, before));
    }
}

} // namespace
