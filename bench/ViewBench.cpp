// Cases are named by the number of triangles, of the mesh or on the screen, or by that of lines.

#include <benchmark/benchmark.h>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "qvGeom/foundation/geometry/BoundingBox.h"
#include "qvGeom/foundation/linear/Linear.h"
#include "qvGeom/view/GeomClip.h"
#include "qvGeom/view/GeomProjection.h"
#include "qvGeom/view/GeomScanConvert.h"

#include "support/IndexedMesh.h"
#include "support/Measure.h"
#include "support/Subject.h"

namespace {

using qvGeom::Clip;
using qvGeom::ClipPolygon;
using qvGeom::CompactMesh;
using qvLinear::HPoint;
using qvLinear::Point2Flt;
using qvLinear::ProjMatrixFlt;

/// A unit sphere seen from `distance`: from 3 all of it, from 1.5 with its sides cut off.
ProjMatrixFlt viewFrom(double distance) {
    qvGeom::AngleAspect lens;
    lens.setDepthRange(0.1, 10.0);
    qvLinear::ProjMatrix projection;
    lens.getMatrix(projection, false);
    qvLinear::AffineMatrix camera;
    camera.m[3][2] = -distance;
    return narrow(qvLinear::ProjMatrix(camera) * projection);
}

struct Sphere {
    CompactMesh mesh;

    explicit Sphere(std::int64_t triangles) : mesh(bench::sphereOf(triangles)) {}
};

const CompactMesh& sphereOf(const benchmark::State& state) {
    return bench::kept<Sphere>(state.range(0)).mesh;
}

/// The loop that has to be run in any case: transforms and stores, and asks nothing.
void transformAll(const CompactMesh& mesh, const ProjMatrixFlt& m, std::vector<float>& out) {
    const float* p = mesh.getVerticesRaw();
    float* to = out.data();
    for (int i = 0; i < mesh.getNumVertices(); ++i, p += 3, to += 4) {
        for (int k = 0; k < 4; ++k)
            to[k] = p[0] * m.m[0][k] + p[1] * m.m[1][k] + p[2] * m.m[2][k] + m.m[3][k];
    }
}

void projectVertices(benchmark::State& state) {
    const CompactMesh& mesh = sphereOf(state);
    const ProjMatrixFlt view = viewFrom(1.5);
    std::vector<Clip::Vertex> vertices(mesh.getNumVertices());
    std::vector<float> transformed(4 * vertices.size());
    int relation = 0;
    bench::runInTurns(
        state,
        [&] {
            return bench::secondsOf(
                [&] { relation = Clip::projectVertices(mesh, view, vertices, false); });
        },
        [&] { return bench::secondsOf([&] { transformAll(mesh, view, transformed); }); });
    bench::Checksum sum;
    sum.add(relation);
    for (std::size_t i = 0; i < vertices.size(); ++i) {
        sum.add(vertices[i].outcode);
        sum.add(&vertices[i].x, 4);
        if (vertices[i].w != transformed[4 * i + 3])
            state.SkipWithError("the transforms differ");
    }
    state.counters["checksum"] = sum.value();
    state.SetItemsProcessed(state.iterations() * mesh.getNumVertices());
}

template <class Run>
void repeat(benchmark::State& state, std::int64_t items, const Run& run) {
    bench::Checksum sum;
    for (auto _ : state) {
        sum = {};
        run(sum);
    }
    state.counters["checksum"] = sum.value();
    state.SetItemsProcessed(state.iterations() * items);
}

/// The sphere is all around the volume and no vertex is inside, so that every vertex and every edge
/// is looked at.
ProjMatrixFlt viewOfTheMiddle() {
    qvLinear::AffineMatrix enlarged(2.0);
    return narrow(qvLinear::ProjMatrix(enlarged));
}

void clipVertices(benchmark::State& state) {
    const CompactMesh& mesh = sphereOf(state);
    repeat(state, mesh.getNumVertices(),
           [&](auto& sum) { sum.add(Clip::clipVertices(mesh, viewOfTheMiddle())); });
}

void seenEdges(benchmark::State& state) {
    const CompactMesh& mesh = sphereOf(state);
    Clip::LineAlgorithm lines;
    repeat(state, mesh.getNumTriangles(), [&](auto& sum) {
        sum.add(static_cast<int>(lines.evaluateMesh(mesh, viewOfTheMiddle())));
    });
}

void clipMesh(benchmark::State& state) {
    const CompactMesh& mesh = sphereOf(state);
    Clip::TriangleAlgorithm clip;
    clip.setCullFaces(false, true);
    int count = 0;
    clip.setTriangleFunc(
        [](void* to, const HPoint&, const HPoint&, const HPoint&) {
            ++*static_cast<int*>(to);
            return true;
        },
        &count);
    repeat(state, mesh.getNumTriangles(), [&](auto& sum) {
        count = 0;
        clip.evaluateMesh(mesh, viewFrom(1.5));
        sum.add(count);
    });
}

/// Triangles that reach out of the volume on one or several sides.
void clipPolygons(benchmark::State& state) {
    std::mt19937 random(1);
    std::uniform_real_distribution<double> unit(-1.0, 1.0);
    std::vector<ClipPolygon> triangles(static_cast<std::size_t>(state.range(0)));
    for (ClipPolygon& triangle : triangles) {
        triangle.count = 3;
        for (int k = 0; k < 30; ++k)
            triangle.vertex[k / 10][k % 10] = k % 10 == 3 ? 1.0 : 1.5 * unit(random);
    }
    repeat(state, state.range(0), [&](auto& sum) {
        for (const ClipPolygon& triangle : triangles) {
            ClipPolygon polygon = triangle;
            sum.add(clipTriangle(polygon, {}) + 4 * polygon.count);
        }
    });
}

void clipBoxes(benchmark::State& state) {
    std::mt19937 random(1);
    std::uniform_real_distribution<float> unit(-1.0F, 1.0F);
    std::vector<qvGeom::BoundingBox> boxes(static_cast<std::size_t>(state.range(0)));
    for (qvGeom::BoundingBox& box : boxes) {
        const qvLinear::PointFlt p{4 * unit(random), 4 * unit(random), 4 * unit(random)};
        box = {p, {p.x + 0.5F, p.y + 0.5F, p.z + 0.5F}};
    }
    const ProjMatrixFlt view = viewFrom(3.0);
    repeat(state, state.range(0), [&](auto& sum) {
        for (const qvGeom::BoundingBox& box : boxes)
            sum.add(static_cast<int>(bboxClipTest(box, view)));
    });
}

constexpr int kSize = 1024; // of the image, in pixels

/// As many triangles of like shape as together cover the image twice, anywhere on it.
std::vector<Point2Flt> screenTriangles(std::int64_t count) {
    std::mt19937 random(1);
    std::uniform_real_distribution<float> unit(0.0F, 1.0F);
    const float size = 2.0F / std::sqrt(static_cast<float>(count));
    std::vector<Point2Flt> corners;
    for (std::int64_t i = 0; i < count; ++i) {
        const Point2Flt p{unit(random), unit(random)};
        const float x = size * unit(random), y = size * unit(random);
        corners.insert(corners.end(), {p, {p.x + size, p.y + x}, {p.x + y, p.y + size}});
    }
    return corners;
}

/// Adds what it is called with, so that no sample can be left out.
struct SampleSum {
    float weights = 0.0F;
    int pixels = 0;

    static void add(void* to, int x, int y, float u, float v) {
        auto* const sum = static_cast<SampleSum*>(to);
        sum->weights += u + v;
        sum->pixels += x + y;
    }
};

/// What a plain rasteriser does: evaluates three edge functions at each sample of the rectangle,
/// and gives those inside to the same function.
int scanPlainly(const Point2Flt* p, SampleSum& sum) {
    const auto edge = [](const Point2Flt& a, const Point2Flt& b, const Point2Flt& at) {
        return (b.x - a.x) * (at.y - a.y) - (b.y - a.y) * (at.x - a.x);
    };
    const auto pixel = [](float at) {
        return std::min(std::max(static_cast<int>(at * kSize), 0), kSize - 1);
    };
    const float area = edge(p[0], p[1], p[2]), sign = area < 0.0F ? -1.0F : 1.0F;
    const int x0 = pixel(std::min({p[0].x, p[1].x, p[2].x})),
              x1 = pixel(std::max({p[0].x, p[1].x, p[2].x})),
              y0 = pixel(std::min({p[0].y, p[1].y, p[2].y})),
              y1 = pixel(std::max({p[0].y, p[1].y, p[2].y}));
    int count = 0;
    for (int y = y0; y <= y1; ++y) {
        for (int x = x0; x <= x1; ++x) {
            const Point2Flt at{(static_cast<float>(x) + 0.5F) / kSize,
                               (static_cast<float>(y) + 0.5F) / kSize};
            const float a = sign * edge(p[1], p[2], at), b = sign * edge(p[2], p[0], at),
                        c = sign * edge(p[0], p[1], at);
            if (a >= 0.0F && b >= 0.0F && c >= 0.0F) {
                SampleSum::add(&sum, x, y, b / (sign * area), c / (sign * area));
                ++count;
            }
        }
    }
    return count;
}

void scanTriangles(benchmark::State& state) {
    const std::vector<Point2Flt> corners = screenTriangles(state.range(0));
    SampleSum sum, plainSum;
    qvGeom::MeshScanConverter scanner(kSize, kSize, 0.5F);
    scanner.setPointSampleCB(SampleSum::add, &sum);
    std::int64_t count = 0, plainCount = 0;
    const auto scanAll = [&](std::int64_t& samples, const auto& scan) {
        return bench::secondsOf([&] {
            samples = 0;
            for (std::size_t i = 0; i < corners.size(); i += 3)
                samples += scan(&corners[i]);
        });
    };
    bench::runInTurns(
        state,
        [&] {
            sum = {};
            return scanAll(count, [&](const Point2Flt* p) {
                return scanner.scanTriangle(p[0].x, p[0].y, p[1].x, p[1].y, p[2].x, p[2].y);
            });
        },
        [&] {
            plainSum = {};
            return scanAll(plainCount,
                           [&](const Point2Flt* p) { return scanPlainly(p, plainSum); });
        });
    if (std::abs(count - plainCount) > count / 1000)
        state.SkipWithError("the samples differ");
    bench::Checksum checksum;
    checksum.add(static_cast<int>(count));
    checksum.add(sum.weights);
    checksum.add(sum.pixels);
    state.counters["checksum"] = checksum.value();
    state.counters["samples"] = static_cast<double>(count);
    state.SetItemsProcessed(state.iterations() * count);
}

void scanLines(benchmark::State& state) {
    std::mt19937 random(1);
    std::uniform_real_distribution<float> unit(0.0F, 1.0F);
    std::vector<Point2Flt> ends(2 * static_cast<std::size_t>(state.range(0)));
    for (Point2Flt& end : ends)
        end = {unit(random), unit(random)};
    double params = 0.0;
    qvGeom::LineScanConverter scanner(
        kSize, kSize, 0.5F,
        [](void* to, int x, int y, double t, bool) { *static_cast<double*>(to) += t * (x + y); },
        &params);
    std::int64_t pixels = 0;
    repeat(state, state.range(0), [&](auto& sum) {
        params = 0.0;
        pixels = 0;
        for (std::size_t i = 0; i < ends.size(); i += 2)
            pixels += scanner.scanLine(ends[i].x, ends[i].y, ends[i + 1].x, ends[i + 1].y);
        sum.add(static_cast<int>(pixels));
        sum.add(qvLinear::narrow(params));
    });
    state.SetItemsProcessed(state.iterations() * pixels);
}

BENCHMARK(projectVertices)->Apply(bench::sizes)->UseManualTime();
BENCHMARK(clipVertices)->Apply(bench::sizes);
BENCHMARK(seenEdges)->Apply(bench::sizes);
BENCHMARK(clipMesh)->Apply(bench::sizes);
BENCHMARK(clipPolygons)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(clipBoxes)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(scanTriangles)
    ->Arg(2000)
    ->Arg(100000)
    ->Arg(1000000)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(scanLines)->Arg(10000)->Unit(benchmark::kMillisecond);

} // namespace
