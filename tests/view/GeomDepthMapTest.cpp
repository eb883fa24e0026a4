#include "qvGeom/view/GeomDepthMap.h"

#include <algorithm>
#include <array>
#include <cfloat>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <tuple>
#include <vector>

#include "qvGeom/foundation/linear/Linear.h"
#include "qvGeom/spatial/GeomRayTrace.h"
#include "qvGeom/view/GeomProjection.h"
#include "qvGeom/view/GeomScanConvert.h"

#include "support/MeshBuilders.h"
#include "support/MeshFiles.h"
#include "support/Random.h"
#include "support/ScopedThreadCount.h"
#include "support/Trees.h"

namespace qvGeom {
namespace {

using qvLinear::HPoint;
using qvLinear::narrow;
using qvLinear::ProjMatrix;

struct Call {
    int x, y, triangle;
    float depth, slope;

    bool operator==(const Call&) const = default;
};

/// Draws by the public steps: clipping, then scan conversion, then one sample after the other.
struct StepByStep {
    int width, height;
    bool writing = false, unique = false, offset = false, found = false;
    float factor = 1.0F, slope = 0.0F, depth[3]{};
    qvLinear::Point2Flt scale{1, 1}, origin{0, 0};
    std::vector<float> buffer{};
    std::vector<Call> calls{};
    MeshDepthMap::FragmentCount counts{};
    Clip::TriangleAlgorithm clip{};
    MeshScanConverter scanner{width, height, 0.5F};

    void draw(const ProjMatrix& m, const CompactMesh& mesh) {
        const auto onTriangle = [](void* self, const HPoint& a, const HPoint& b, const HPoint& c) {
            return static_cast<StepByStep*>(self)->scan({a, b, c});
        };
        scanner.setPointSampleCB(
            [](void* self, int x, int y, float u, float v) {
                static_cast<StepByStep*>(self)->sample(x, y, u, v);
            },
            this);
        scanner.setTriangleCB(
            [](void* self, int w, int h) {
                auto& s = *static_cast<StepByStep*>(self);
                const auto [low, high] = std::minmax({s.depth[0], s.depth[1], s.depth[2]});
                const float dx = (high - low) / static_cast<float>(w),
                            dy = (high - low) / static_cast<float>(h);
                s.slope = std::sqrt(dx * dx + dy * dy);
            },
            this);
        clip.setTriangleFunc(onTriangle, this);
        clip.evaluateMesh(mesh, qvLinear::ProjMatrixFlt(m));
    }

    bool scan(const std::array<HPoint, 3>& p) {
        float at[3][2];
        for (int k = 0; k < 3; ++k) {
            at[k][0] = (narrow(p[k].x / p[k].w) + 1.0F) * 0.5F * scale.x + origin.x;
            at[k][1] = (narrow(p[k].y / p[k].w) + 1.0F) * 0.5F * scale.y + origin.y;
            depth[k] = narrow(p[k].z / p[k].w);
        }
        slope = 0.0F;
        scanner.scanTriangle(at[0][0], at[0][1], at[1][0], at[1][1], at[2][0], at[2][1]);
        return true;
    }

    void sample(int x, int y, float u, float v) {
        float z = (1.0F - u - v) * depth[0] + u * depth[1] + v * depth[2];
        float& stored = buffer[y * width + x];
        if (writing && offset)
            z += factor * slope;
        if (!clip.isFrontFacing())
            z = std::nextafter(z, FLT_MAX);
        const bool passes = stored >= z, again = writing && unique && stored == z;
        ++counts.total;
        (clip.isFrontFacing() ? counts.front : counts.back) += passes;
        if (again)
            z = std::nextafter(z, 0.0F);
        calls.push_back({x, y, clip.getCurrentTriangle(), z, slope});
        found |= passes && !again;
        if (writing && passes)
            stored = z;
    }
};

/// A view of [-1, 1] from above that cuts off some of it, before and behind the eye too.
ProjMatrix randomView(test::Random& random) {
    AngleAspect lens;
    lens.setDepthRange(0.4, 2.2);
    ProjMatrix projection;
    lens.getMatrix(projection, random.below(2) == 0);
    qvLinear::AffineMatrix model;
    for (int k = 0; k < 9; ++k)
        model.m[k / 3][k % 3] += random.number(0.5);
    model.m[3][2] = random.number(1.0) - 1.3;
    return ProjMatrix(model) * projection;
}

TEST(MeshDepthMap, drawsAsItsSteps) {
    test::Random random;
    int numSamples = 0;
    for (int round = 0; round < 160; ++round) {
        SCOPED_TRACE(round);
        const int triangles = round % 8 == 0 ? 12000 : 300, width = 1 + random.below(40),
                  height = 9;
        CompactMesh mesh = test::randomMesh(round, triangles / 2, triangles);
        if (round % 4 < 2) // triangles of few pixels
            mesh = test::sphere(3 + round % 60, 40);
        mesh.getVertices()[0].x = std::numeric_limits<float>::quiet_NaN();
        MeshDepthMap map(width, height);
        StepByStep steps{width, height};
        steps.buffer.resize(width * height);
        for (float& z : steps.buffer)
            z = std::array{1.0F, 0.0F, -0.5F, 0.9F}[random.below(4)];
        std::copy(steps.buffer.begin(), steps.buffer.end(), map.getDepthBuffer());
        map.setWriting(steps.writing = round % 5 > 1);
        map.setUnique(steps.unique = round % 3 == 0);
        map.setPolygonOffset(steps.offset = round % 7 < 3, steps.factor = 0.25F);
        for (Clip::TriangleAlgorithm* clip : {&steps.clip, &map.getClip()}) {
            clip->setClockwiseFront(round % 2 == 0);
            clip->setCullFaces(round % 9 == 0, round % 11 == 0);
        }
        if (round % 4 == 3) {
            map.setViewport({0.125, 0.25, 0.125 + 0.5 * width, 0.25 + 0.75 * height});
            steps.scale = {0.5F, 0.75F};
            steps.origin = {0.125F, 0.25F};
        }
        std::vector<Call> calls;
        const auto onSample = [](void* to, int x, int y, float depth, const auto* info) {
            static_cast<std::vector<Call>*>(to)->push_back(
                {x, y, info->triangle, depth, info->slope});
        };
        const bool listens = round % 2 == 0;
        if (listens)
            map.setDepthCB(onSample, &calls, true);
        const ProjMatrix view = randomView(random);
        const test::ScopedThreadCount threads(1 + round % 3);
        MeshDepthMap::FragmentCount counts{7, 7, 7};
        const bool tests = round % 5 == 0;
        const bool found = map.rasterize(view, mesh, tests ? nullptr : &counts);
        steps.draw(view, mesh);
        EXPECT_EQ(found, steps.found);
        numSamples += steps.counts.total;
        for (int i = 0; i < width * height; ++i)
            ASSERT_TRUE(map.getDepthBuffer()[i] == steps.buffer[i] &&
                        std::isfinite(steps.buffer[i]));
        if (listens && steps.writing) {
            EXPECT_EQ(calls, steps.calls);
        }
        if (!tests) {
            const auto [front, back, total] =
                steps.writing ? MeshDepthMap::FragmentCount{} : steps.counts;
            EXPECT_EQ(std::tie(counts.front, counts.back, counts.total),
                      std::tie(front, back, total));
        }
    }
    EXPECT_GT(numSamples, 100000);
}

// Closed meshes have no cracks, and depths are right whatever the number of threads.
TEST(MeshDepthMap, seesWhatRaysHit) {
    constexpr int kSide = 96;
    for (const char* name :
         {"elephant.mesh", "patella.mesh", "boeing.mesh", "pig_soup.stl", "mannequin.mesh",
          "masks_holes.mesh", "lion_holes.mesh", "spider.obj", "ur10_base.obj", "terrain.mesh"}) {
        SCOPED_TRACE(name);
        CompactMesh mesh = test::readMeshFile(name);
        ASSERT_GT(mesh.getNumTriangles(), 0);
        qvLinear::Range3d box{};
        mesh.getBoundingBox(box);
        for (int v = 0; v < mesh.getNumVertices(); ++v) { // 100 around the origin
            const auto [x, y, z] = mesh.getVertices()[v];
            const auto p =
                narrow((qvLinear::Point{x, y, z} - box.center()) * (200.0 / box.size().length()));
            mesh.getVertices()[v] = {p.x, p.y, p.z};
        }
        const test::IndexedMesh subject(mesh);
        AngleAspect lens;
        lens.setDepthRange(100.0, 310.0);
        ProjMatrix projection;
        lens.getMatrix(projection, false);
        qvLinear::AffineMatrix model;
        model.m[3][2] = -205.0;
        std::vector<float> depths;
        for (const int threads : {1, 2, 3, 8}) {
            const test::ScopedThreadCount pool(threads);
            MeshDepthMap map(kSide, kSide);
            map.setWriting(true);
            std::fill_n(map.getDepthBuffer(), kSide * kSide, 1.0F);
            EXPECT_TRUE(map.rasterize(ProjMatrix(model) * projection, mesh, nullptr));
            const std::vector<float> drawn(map.getDepthBuffer(),
                                           map.getDepthBuffer() + kSide * kSide);
            EXPECT_TRUE(threads == 1 || drawn == depths);
            depths = drawn;
        }

        RayTracer tracer(subject.octree, subject.tris, &subject.mesh);
        tracer.setFindNearestHit(true);
        int hits = 0, off = 0;
        for (int i = 0; i < kSide * kSide; ++i) {
            const double reach = std::tan(0.5 * lens.getAngleOfViewRad());
            const auto across = [&](int pixel) {
                return (2.0 * (pixel + 0.5) / kSide - 1) * reach;
            };
            const qvLinear::Vector along{across(i % kSide), across(i / kSide), -1.0};
            const bool hit = tracer.intersect({0.0F, 0.0F, 205.0F}, along);
            const double t = hit ? tracer.intersectionDist() : 310.0;
            const HPoint p = HPoint{t * along.x, t * along.y, -t, 1.0} * projection;
            hits += hit;
            EXPECT_TRUE(!hit || depths[i] < 1.0F) << "a crack at " << i;
            off += !(std::abs(p.z / p.w - depths[i]) < 2e-5);
        }
        EXPECT_GT(hits, 500);
        EXPECT_LE(off, hits / 400); // surfaces seen edge-on, where rounding picks another triangle
    }
}

} // namespace
} // namespace qvGeom
