// Cases are named by the number of points of the loop or polygon.

#include <benchmark/benchmark.h>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <random>
#include <vector>

#include "qvGeom/foundation/linear/Linear.h"
#include "qvGeom/planar/GeomPlanarTests.h"
#include "qvGeom/planar/GeomPlaneFit.h"
#include "qvGeom/planar/GeomTriangulatePolygon.h"

#include "support/Loops.h"
#include "support/Measure.h"

namespace {

using qvLinear::Plane;
using qvLinear::Point;
using qvLinear::Point2;
using qvLinear::Point2Flt;

constexpr int kMany = 100000;

void triangulate(benchmark::State& state, bench::LoopKind kind) {
    const std::vector<Point> loop = bench::loopOf(state.range(0), kind);
    std::vector<int> triangles;
    for (auto _ : state) {
        if (!qvGeom::triangulatePolygon(loop, triangles, nullptr, nullptr))
            state.SkipWithError("not finished");
    }
    bench::Checksum sum;
    sum.add(triangles.data(), static_cast<int>(triangles.size()));
    state.counters["checksum"] = sum.value();
    const auto n = static_cast<std::int64_t>(loop.size());
    state.SetItemsProcessed(state.iterations() * n * (n - 1) * (n - 2) / 6);
}

/// Planes through seven points each, as around a vertex.
template <class Fit>
void fitPlanes(benchmark::State& state, const Fit& fit) {
    constexpr int kPoints = 7;
    std::mt19937 random(1);
    std::uniform_real_distribution<double> unit(-1.0, 1.0);
    std::vector<Point> points;
    for (int i = 0; i < kMany * kPoints; ++i)
        points.push_back({unit(random), unit(random), 0.1 * unit(random)});
    bench::Checksum sum;
    for (auto _ : state) {
        sum = {};
        for (int i = 0; i < kMany; ++i) {
            Plane plane;
            fit(kPoints, &points[static_cast<std::size_t>(i) * kPoints], plane);
            sum.add(static_cast<float>(plane.normal[2]));
        }
    }
    state.counters["checksum"] = sum.value();
    state.SetItemsProcessed(state.iterations() * kMany);
}

void planeFit(benchmark::State& state) { fitPlanes(state, qvGeom::fit); }

void planeFitWithEnds(benchmark::State& state) { fitPlanes(state, qvGeom::fitWithEndsOnPlane); }

/// Asks `isIn` about many points of the square from -1 to 1.
template <class IsIn>
void testPoints(benchmark::State& state, const IsIn& isIn) {
    std::mt19937 random(1);
    std::uniform_real_distribution<double> unit(-1.0, 1.0);
    std::vector<Point2> points;
    for (int i = 0; i < kMany; ++i)
        points.push_back({unit(random), unit(random)});
    bench::Checksum sum;
    for (auto _ : state) {
        sum = {};
        for (const Point2& p : points)
            sum.add(static_cast<int>(isIn(p)));
    }
    state.counters["checksum"] = sum.value();
    state.SetItemsProcessed(state.iterations() * kMany);
}

void pointInTriangle2D(benchmark::State& state) {
    testPoints(state, [](const Point2& p) {
        float u, v;
        return qvGeom::isPointInTriangleInclusive(narrow(p), Point2Flt{-1, -1}, Point2Flt{1, -0.5F},
                                                  Point2Flt{0, 1}, u, v);
    });
}

void pointInTriangle3D(benchmark::State& state) {
    testPoints(state, [](const Point2& p) {
        return qvGeom::isPointInTriangleInclusive({p.x, p.y, 0.1}, {-1, -1, 0}, {1, -0.5, 0},
                                                  {0, 1, 0.2});
    });
}

/// A closed polygon of as many corners as the case is named by.
std::vector<Point2> polygonOf(const benchmark::State& state) {
    std::vector<Point2> corners;
    for (int k = 0; k <= state.range(0); ++k) {
        const double a = 2 * std::numbers::pi * static_cast<double>(k % state.range(0)) /
                         static_cast<double>(state.range(0));
        const double r = 0.7 + 0.2 * std::cos(7 * a);
        corners.push_back({r * std::cos(a), r * std::sin(a)});
    }
    return corners;
}

void pointInPolygon(benchmark::State& state) {
    const std::vector<Point2> corners = polygonOf(state);
    testPoints(state, [&](const Point2& p) {
        qvGeom::pointPolygonRelation rel;
        return qvGeom::isPointInPolygon(p, corners, rel, 1e-9);
    });
}

void pointInPolygonFloat(benchmark::State& state) {
    const std::vector<Point2> corners = polygonOf(state);
    std::vector<float> flat;
    for (const Point2& p : corners)
        flat.insert(flat.end(), {qvLinear::narrow(p.x), qvLinear::narrow(p.y)});
    const auto* pairs = reinterpret_cast<const float(*)[2]>(flat.data());
    testPoints(state, [&](const Point2& p) {
        const float q[2] = {qvLinear::narrow(p.x), qvLinear::narrow(p.y)};
        return qvGeom::pointPolygonIntersect2D(q, pairs, static_cast<int>(corners.size()) - 1);
    });
}

void polygonsIntersect(benchmark::State& state) {
    const qvLinear::Polyline2d first{polygonOf(state)};
    qvLinear::Polyline2d second = first, overlap;
    for (Point2& p : second.vertices)
        p = {p.x + 0.31, p.y - 0.17};
    qvGeom::EPolygonsIntersection result{};
    for (auto _ : state)
        qvGeom::isPolygonsIntersect(first, second, result, overlap, 1e-9);
    bench::Checksum sum;
    sum.add(static_cast<int>(result));
    sum.add(static_cast<int>(overlap.vertices.size()));
    state.counters["checksum"] = sum.value();
}

void loopSizes(benchmark::internal::Benchmark* bench) {
    bench->Arg(100)->Arg(300)->Arg(1000)->Unit(benchmark::kMillisecond)->UseRealTime();
}

BENCHMARK_CAPTURE(triangulate, smooth, bench::LoopKind::Smooth)->Apply(loopSizes);
BENCHMARK_CAPTURE(triangulate, folded, bench::LoopKind::Folded)->Apply(loopSizes);
BENCHMARK(planeFit)->Unit(benchmark::kMillisecond);
BENCHMARK(planeFitWithEnds)->Unit(benchmark::kMillisecond);
BENCHMARK(pointInTriangle2D)->Unit(benchmark::kMillisecond);
BENCHMARK(pointInTriangle3D)->Unit(benchmark::kMillisecond);
BENCHMARK(pointInPolygon)->Arg(16)->Arg(256)->Unit(benchmark::kMillisecond);
BENCHMARK(pointInPolygonFloat)->Arg(16)->Arg(256)->Unit(benchmark::kMillisecond);
BENCHMARK(polygonsIntersect)->Arg(16)->Arg(256)->Unit(benchmark::kMillisecond);

} // namespace
