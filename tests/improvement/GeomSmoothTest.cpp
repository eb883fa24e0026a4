#include "qvGeom/improvement/GeomSmooth.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <set>
#include <utility>
#include <vector>

#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/MeshAdjTris.h"
#include "qvGeom/foundation/geometry/MeshAdjVertices.h"
#include "qvGeom/foundation/linear/Range.h"
#include "qvGeom/topology/GeomAdjacency.h"

#include "support/CancelAfter.h"
#include "support/HeardNotices.h"
#include "support/MeshBuilders.h"
#include "support/MeshFiles.h"
#include "support/ScopedThreadCount.h"

namespace {

using qvGeom::CompactMesh;
using qvGeom::MeshAdjVertices;
using qvGeom::MeshVertex;
using Positions = std::vector<MeshVertex>;

MeshAdjVertices neighboursOf(const CompactMesh& mesh) {
    qvGeom::MeshAdjTris adjTris;
    MeshAdjVertices adjVertices;
    meshAdjTris(mesh, adjTris);
    meshAdjVertices(mesh, adjTris, adjVertices);
    return adjVertices;
}

/// Runs one operator; a sigma of zero means the Laplacian.
void smooth(CompactMesh& mesh, double sigma, qvUtil::Progress& progress) {
    const MeshAdjVertices adjVertices = neighboursOf(mesh);
    if (sigma == 0)
        meshSmoothLaplacian(mesh, adjVertices, progress);
    else
        meshSmoothBilateral(mesh, adjVertices, sigma, progress);
}

Positions positionsOf(const CompactMesh& mesh) {
    return {mesh.getVertices(), mesh.getVertices() + mesh.getNumVertices()};
}

bool sameBits(const Positions& a, const Positions& b) {
    return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof a[0]) == 0;
}

MeshVertex plainLaplacian(const Positions& p, const MeshAdjVertices& adj, int v) {
    float sum[3] = {0, 0, 0};
    for (int i = 0; i < adj.getCount(v); ++i) {
        const MeshVertex& w = p[adj.getVertices(v)[i]];
        sum[0] += w.x, sum[1] += w.y, sum[2] += w.z;
    }
    const auto k = static_cast<float>(adj.getCount(v));
    return {sum[0] / k, sum[1] / k, sum[2] / k};
}

MeshVertex plainBilateral(const Positions& p, const MeshAdjVertices& adj, int v,
                          const qvGeom::MeshNormal& stored, double sigma) {
    const double n[3] = {stored.x, stored.y, stored.z};
    const double length = std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
    const auto from = [&](int u, int axis) {
        return double{(&p[u].x)[axis]} - double{(&p[v].x)[axis]};
    };
    std::set<int> seen{v};
    std::vector<std::pair<int, double>> stack;
    std::vector<double> d2s, heights;
    double sum = 0;
    for (int u = v;;) {
        for (int i = 0; i < adj.getCount(u); ++i) {
            const int w = adj.getVertices(u)[i];
            const double x = from(w, 0), y = from(w, 1), z = from(w, 2);
            if (seen.insert(w).second && x * x + y * y + z * z <= sigma * sigma)
                stack.emplace_back(w, x * x + y * y + z * z);
        }
        if (stack.empty())
            break;
        u = stack.back().first;
        d2s.push_back(stack.back().second);
        stack.pop_back();
        heights.push_back(from(u, 0) * (n[0] / length) + from(u, 1) * (n[1] / length) +
                          from(u, 2) * (n[2] / length));
        sum += heights.back();
    }
    if (heights.empty() || length == 0)
        return p[v];
    const auto k = static_cast<double>(heights.size());
    double variance = 0, weights = 0, weighted = 0;
    for (const double h : heights)
        variance += (h - sum * (1 / k)) * (h - sum * (1 / k));
    variance *= 1 / k;
    if (variance < 1e-12)
        return p[v];
    for (std::size_t i = 0; i < heights.size(); ++i) {
        const double w = std::exp(-d2s[i] * (1 / ((sigma + sigma) * sigma))) *
                         std::exp(-heights[i] * heights[i] * (1 / (variance + variance)));
        weights += w;
        weighted += heights[i] * w;
    }
    if (weights < 1e-12)
        return p[v];
    const auto moved = [&](int axis) {
        return static_cast<float>((&p[v].x)[axis] + weighted / weights * n[axis]);
    };
    return {moved(0), moved(1), moved(2)};
}

/// Normals out of the middle of the mesh, some too long, some zero.
void makeNormals(CompactMesh& mesh) {
    qvLinear::Range3d range;
    mesh.getBoundingBox(range);
    const auto c = combine(0.5, range.min, 0.5, range.max);
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        const MeshVertex& p = mesh.getVertices()[v];
        const double x = p.x - c.x, y = p.y - c.y, z = p.z - c.z;
        const double scale = (v % 9 == 0 ? 0 : 1.25) / std::sqrt(x * x + y * y + z * z);
        mesh.allocNormalArray()[v] = {static_cast<float>(x * scale), static_cast<float>(y * scale),
                                      static_cast<float>(z * scale)};
    }
}

TEST(Smooth, matchesPlainLoopsBitForBit) {
    for (const char* file : {"patella.mesh", "lion_holes.mesh", "spider.obj"}) {
        CompactMesh mesh = test::readMeshFile(file);
        ASSERT_GT(mesh.getNumVertices(), 0);
        makeNormals(mesh);
        qvLinear::Range3d range;
        mesh.getBoundingBox(range);
        const double size = distance(range.min, range.max);
        const MeshAdjVertices adj = neighboursOf(mesh);
        for (const int stride : {0, 1, 3}) { // every vertex without and with bits, every third
            mesh.clearSelection();
            mesh.getSelectedVertices().resize(stride == 0 ? 0 : mesh.getNumVertices());
            for (int v = 0; stride > 0 && v < mesh.getNumVertices(); v += stride)
                mesh.getSelectedVertices().set(v);
            for (const double sigma : {0., 0.01 * size, 0.03 * size}) {
                const Positions before = positionsOf(mesh);
                Positions expected = before;
                for (int v = 0; v < mesh.getNumVertices(); v += std::max(stride, 1))
                    expected[v] = sigma == 0
                                      ? plainLaplacian(before, adj, v)
                                      : plainBilateral(before, adj, v, mesh.getNormals()[v], sigma);
                const test::ScopedThreadCount threads(1 + stride);
                CompactMesh smoothed = mesh;
                qvUtil::Progress progress;
                smooth(smoothed, sigma, progress);
                EXPECT_TRUE(sameBits(positionsOf(smoothed), expected)) << file << stride << sigma;
                EXPECT_FALSE(sameBits(before, expected));
            }
        }
    }
}

struct PollCase {
    int numVertices;
    int numSelected; // the first so many; -1 when the selection has size 0
    std::vector<double> fractions;
};

TEST(Smooth, pollsAndStopsAtEveryThousandth) {
    const double t = 1e-3;
    for (const double sigma : {0., 1.5}) {
        for (const PollCase& c : {PollCase{3, 0, {1, 1, 1}}, PollCase{5, 3, {1 / 3.}},
                                  PollCase{1003, 1000, {t, 1, 1, 1}}, PollCase{900, -1, {1 / 900.}},
                                  PollCase{2500, -1, {1 / 2500., 1001 / 2500., 2001 / 2500.}}}) {
            SCOPED_TRACE(c.numVertices);
            CompactMesh mesh = test::strip(c.numVertices - 2);
            for (int v = 0; v < c.numVertices; ++v)
                mesh.getVertices()[v].z = static_cast<float>(v * v % 7);
            makeNormals(mesh);
            mesh.getSelectedVertices().resize(c.numSelected < 0 ? 0 : c.numVertices);
            for (int v = 0; v < c.numSelected; ++v)
                mesh.getSelectedVertices().set(v);
            const Positions before = positionsOf(mesh);
            test::HeardNotices notices(mesh);
            const auto numPolls = static_cast<int>(c.fractions.size());
            for (int poll = 0; poll < numPolls; ++poll) {
                test::CancelAfter cancel(poll);
                smooth(mesh, sigma, cancel.progress());
                EXPECT_EQ(cancel.fractions().size(), poll);
                EXPECT_TRUE(sameBits(positionsOf(mesh), before));
                EXPECT_EQ(notices.take(), "");
            }
            test::CancelAfter tooLate(numPolls);
            smooth(mesh, sigma, tooLate.progress());
            EXPECT_EQ(tooLate.fractions(), c.fractions);
            EXPECT_EQ(sameBits(positionsOf(mesh), before), c.numSelected == 0);
            EXPECT_EQ(notices.take(), "Geometry;");
        }
    }
}

TEST(Smooth, leavesWhatHasNothingToFollow) {
    qvUtil::Progress progress;
    CompactMesh mesh = test::grid(4, 4);
    mesh.resizeVertexArray(26); // the last is isolated
    test::HeardNotices notices(mesh);
    smooth(mesh, 1, progress);
    EXPECT_EQ(notices.take(), "") << "without normals";
    for (int v = 0; v < 26; ++v)
        mesh.allocNormalArray()[v].z = 1;
    const Positions flat = positionsOf(mesh);
    smooth(mesh, 2, progress);
    EXPECT_TRUE(sameBits(positionsOf(mesh), flat));
    mesh.getVertices()[12].z = 1;
    const Positions peak = positionsOf(mesh);
    smooth(mesh, 0.9, progress);
    EXPECT_TRUE(sameBits(positionsOf(mesh), peak));
    EXPECT_EQ(notices.take(), "Geometry;Geometry;");
    smooth(mesh, 0, progress);
    EXPECT_FLOAT_EQ(mesh.getVertices()[12].z, 0);
    EXPECT_GT(mesh.getVertices()[0].x, 0) << "a corner is pulled inward";
    EXPECT_TRUE(std::isnan(mesh.getVertices()[25].x) && std::isnan(mesh.getVertices()[25].z));

    CompactMesh empty;
    test::HeardNotices none(empty);
    smooth(empty, 0, progress);
    smooth(empty, 1, progress);
    EXPECT_EQ(none.take(), "");
}

} // namespace
