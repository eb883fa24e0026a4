#include "qvGeom/view/GeomScanConvert.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <gtest/gtest.h>
#include <utility>
#include <vector>

#include "qvGeom/foundation/linear/Linear.h"
#include "qvGeom/planar/GeomPlanarTests.h"

#include "support/Random.h"

namespace qvGeom {
namespace {

using qvLinear::Point2Flt;

struct Sample {
    int x, y;
    float u, v;
};

struct Scan {
    std::vector<Sample> samples;
    std::pair<int, int> rectangle; // width and height, 0 when it was not told

    Scan(const Point2Flt (&p)[3], int columns, int rows, float border) {
        MeshScanConverter scanner(columns, rows, border);
        const auto onSample = [](void* to, int x, int y, float u, float v) {
            static_cast<Scan*>(to)->samples.push_back({x, y, u, v});
        };
        const auto onTriangle = [](void* to, int w, int h) {
            static_cast<Scan*>(to)->rectangle = {w, h};
        };
        scanner.setPointSampleCB(onSample, this);
        scanner.setTriangleCB(onTriangle, this);
        const auto scan = [&] {
            return scanner.scanTriangle(p[0].x, p[0].y, p[1].x, p[1].y, p[2].x, p[2].y);
        };
        const int count = scan();
        EXPECT_EQ(count, samples.size());
        scanner = MeshScanConverter(columns, rows, border); // tells nobody, which takes less time
        EXPECT_EQ(scan(), count);
    }
};

/// The edge function of one edge, at one sample.
float edge(const Point2Flt& a, const Point2Flt& b, const Point2Flt& p) {
    return (a.y - b.y) * (p.x - a.x) + (b.x - a.x) * (p.y - a.y);
}

// Narrow and wide, thick, thin and tiny triangles, sample by sample over the whole image.
TEST(ScanConvert, triangleSamples) {
    test::Random random;
    int numThin = 0;
    for (int round = 0; round < 3000; ++round) {
        const int columns = 2 + random.below(round % 4 ? 12 : 60), rows = 2 + random.below(12);
        const float border = 0.25F * static_cast<float>(random.below(4) - 1);
        const SampleGrid grid(columns, rows, border);
        const Point2Flt sample{grid.x(random.below(columns)), grid.y(random.below(rows))};
        const double size = std::pow(10.0, random.number(2) - 2.3);
        Point2Flt p[3];
        for (Point2Flt& corner : p) {
            corner = {sample.x + qvLinear::narrow(random.number(size)),
                      sample.y + qvLinear::narrow(random.number(size))};
            if (round % 3 == 0) // degenerate ones, and edges through samples
                corner = {grid.x(random.below(columns)), grid.y(random.below(rows))};
        }
        if (round % 7 == 0)
            p[2] = {(p[0].x + p[1].x) / 2, (p[0].y + p[1].y) / 2};
        const auto [left, right] = std::minmax({p[0].x, p[1].x, p[2].x});
        Point2Flt s[3] = {p[0], p[1], p[2]};
        std::sort(s, s + 3, [](const Point2Flt& a, const Point2Flt& b) {
            return a.y < b.y || (a.y == b.y && a.x < b.x);
        });
        const auto pixels = [](float low, float high, int count) {
            const float max = static_cast<float>(count - 1);
            return std::pair(static_cast<int>(std::max(std::floor(low * max), 0.0F)),
                             static_cast<int>(std::min(std::ceil(high * max), max)));
        };
        const auto [firstX, lastX] = pixels(left, right, columns);
        const auto [firstY, lastY] = pixels(s[0].y, s[2].y, rows);
        const Scan scan(p, columns, rows, border);
        const bool isBeside = s[0].y > 1 || s[2].y < 0 || left > 1 || right < 0;
        EXPECT_EQ(scan.rectangle,
                  isBeside ? std::pair(0, 0) : std::pair(lastX - firstX + 1, lastY - firstY + 1));
        auto next = scan.samples.begin();
        for (int i = firstY * columns; i < (lastY + 1) * columns && !isBeside; ++i) {
            const Point2Flt at{grid.x(i % columns), grid.y(i / columns)};
            const float a = edge(s[1], s[2], at), b = edge(s[2], s[0], at),
                        c = edge(s[0], s[1], at);
            if (cross(widen(p[1]) - widen(p[0]), widen(p[2]) - widen(p[0])) == 0 ||
                i % columns < firstX || i % columns > lastX ||
                (std::min({a, b, c}) < 0 && std::max({a, b, c}) > 0))
                continue;
            ASSERT_TRUE(next != scan.samples.end() && next->x + columns * next->y == i) << round;
            float u, v;
            isPointInTriangleDefinitive(at, p[0], p[1], p[2], v, u);
            const bool thin = u > 2.0F;
            numThin += thin;
            const double x = p[0].x + next->u * (p[1].x - p[0].x) + next->v * (p[2].x - p[0].x);
            EXPECT_TRUE(thin ? std::min(next->u, next->v) >= 0 && next->u + next->v < 1.000001F &&
                                   std::abs(x - at.x) < 1e-6
                             : next->u == u && next->v == v)
                << round;
            ++next;
        }
        EXPECT_TRUE(next == scan.samples.end()) << round;
    }
    EXPECT_GT(numThin, 100);
    EXPECT_TRUE(Scan({{0, NAN}, {1, 0}, {1, 1}}, 5, 5, 0).samples.empty());
}

struct Pixel {
    int x, y;
    double t;
    bool reversed;

    static void add(void* to, int x, int y, double t, bool reversed) {
        static_cast<std::vector<Pixel>*>(to)->push_back({x, y, t, reversed});
    }
};

// Pixel k of a line of n + 1 has gone floor(k rise / n + 1/2) steps aside.
TEST(ScanConvert, linePixels) {
    test::Random random;
    std::vector<Pixel> pixels;
    LineScanConverter scanner(40, 30, 0.5F, Pixel::add, &pixels);
    for (int round = 0; round < 2000; ++round) {
        float p[4]; // on pixels or anywhere, in the image or across its border
        int from[2], to[2];
        for (int k = 0; k < 4; ++k)
            p[k] = round % 2 ? qvLinear::narrow(0.5 + random.number(0.8))
                             : static_cast<float>(random.below(30)) / (k % 2 ? 29.0F : 39.0F);
        for (int axis = 0; axis < 2; ++axis) {
            const float max = axis ? 29 : 39, start = p[axis] * max, end = p[axis + 2] * max;
            const bool up = p[axis + 2] > p[axis];
            const auto inImage = [&](float at) { return int(std::clamp(at, 0.0F, max)); };
            from[axis] = inImage(up ? std::floor(start) : std::ceil(start));
            to[axis] = inImage(up ? std::ceil(end) : std::floor(end));
        }
        const int steep = std::abs(to[1] - from[1]) > std::abs(to[0] - from[0]);
        const bool reversed = from[steep] > to[steep];
        if (reversed)
            std::swap(from, to);
        const int n = to[steep] - from[steep];
        pixels.clear();
        ASSERT_EQ(scanner.scanLine(p[0], p[1], p[2], p[3]), n + 1);
        ASSERT_EQ(pixels.size(), n + 1);
        for (int k = 0; k <= n; ++k) {
            const auto gone = [&](int axis) {
                const int rise = std::abs(to[axis] - from[axis]);
                return from[axis] +
                       (to[axis] > from[axis] ? 1 : -1) * ((2 * k * rise + n) / std::max(2 * n, 1));
            };
            const Pixel& pixel = pixels[k];
            EXPECT_TRUE(pixel.x == gone(0) && pixel.y == gone(1)) << round;
            EXPECT_EQ(pixel.reversed, reversed);
            const double dx = p[2] - p[0], dy = p[3] - p[1];
            const double along =
                ((pixel.x + 0.5) / 40 - p[0]) * dx + ((pixel.y + 0.5) / 30 - p[1]) * dy;
            const double t = std::clamp(along / std::max(dx * dx + dy * dy, 1e-30), 0.0, 1.0);
            EXPECT_NEAR(pixel.t, t, 1e-4) << round;
            EXPECT_EQ(pixel.t, qvLinear::narrow(pixel.t));
        }
    }
}

} // namespace
} // namespace qvGeom
