#include "qvGeom/view/GeomScanConvert.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <gtest/gtest.h>
#include <limits>
#include <utility>
#include <vector>

#include "qvGeom/foundation/linear/Linear.h"
#include "qvGeom/planar/GeomPlanarTests.h"

#include "support/Random.h"

namespace {

using qvGeom::LineScanConverter;
using qvGeom::MeshScanConverter;
using qvGeom::SampleGrid;
using qvLinear::Point2Flt;

struct Sample {
    int x, y;
    float u, v;
};

struct Scan {
    std::vector<Sample> samples;
    std::vector<int> rectangles; // width and height of each

    Scan(const Point2Flt (&p)[3], int columns, int rows, float border) {
        MeshScanConverter scanner(columns, rows, border);
        const auto onSample = [](void* to, int x, int y, float u, float v) {
            static_cast<Scan*>(to)->samples.push_back({x, y, u, v});
        };
        const auto onTriangle = [](void* to, int w, int h) {
            static_cast<Scan*>(to)->rectangles.insert(static_cast<Scan*>(to)->rectangles.end(),
                                                      {w, h});
        };
        scanner.setPointSampleCB(onSample, this);
        scanner.setTriangleCB(onTriangle, this);
        const int count = scanner.scanTriangle(p[0].x, p[0].y, p[1].x, p[1].y, p[2].x, p[2].y);
        EXPECT_EQ(count, samples.size());
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
        const float border = 0.25F * static_cast<float>(random.below(3));
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
        const bool hasArea = cross(widen(p[1]) - widen(p[0]), widen(p[2]) - widen(p[0])) != 0;
        Point2Flt s[3] = {p[0], p[1], p[2]};
        std::sort(s, s + 3, [](const Point2Flt& a, const Point2Flt& b) {
            return a.y < b.y || (a.y == b.y && a.x < b.x);
        });
        const Scan scan(p, columns, rows, border);
        auto next = scan.samples.begin();
        for (int i = 0; i < columns * rows; ++i) {
            const Point2Flt at{grid.x(i % columns), grid.y(i / columns)};
            const float a = edge(s[1], s[2], at), b = edge(s[2], s[0], at),
                        c = edge(s[0], s[1], at);
            const float column = static_cast<float>(i % columns),
                        row = static_cast<float>(i / columns),
                        maxX = static_cast<float>(columns - 1), maxY = static_cast<float>(rows - 1);
            const bool isNear = column >= std::floor(left * maxX) &&
                                column <= std::ceil(right * maxX) &&
                                row >= std::floor(s[0].y * maxY) && row <= std::ceil(s[2].y * maxY);
            if (!hasArea || !isNear || (std::min({a, b, c}) < 0 && std::max({a, b, c}) > 0))
                continue;
            ASSERT_TRUE(next != scan.samples.end() && next->x + columns * next->y == i) << round;
            float u, v;
            qvGeom::isPointInTriangleDefinitive(at, p[0], p[1], p[2], v, u);
            if (u < 2.0F) {
                EXPECT_TRUE(next->u == u && next->v == v) << round;
            } else {
                ++numThin;
                EXPECT_TRUE(next->u >= 0 && next->v >= 0 && next->u + next->v < 1.000001F);
                const double x = p[0].x + next->u * (p[1].x - p[0].x) + next->v * (p[2].x - p[0].x);
                EXPECT_NEAR(x, at.x, 1e-6) << round;
            }
            ++next;
        }
        EXPECT_TRUE(next == scan.samples.end()) << round;
    }
    EXPECT_GT(numThin, 100);
}

TEST(ScanConvert, trianglesShareTheirEdges) {
    const Point2Flt corners[] = {{0, 0}, {1, 1}, {0, 1}, {1, 0}};
    for (const int third : {2, 3}) {
        const Scan scan({corners[0], corners[third], corners[1]}, 5, 5, 0);
        EXPECT_EQ(scan.samples.size(), 15);
        EXPECT_EQ(scan.rectangles, (std::vector{5, 5}));
    }
    EXPECT_EQ(Scan({{0.5F, 0}, {0, 0.5F}, {0.5F, 1}}, 5, 5, 0).samples.size(), 9);
    // Beside the image, not a number, without area, and without a sample.
    const float nan = std::numeric_limits<float>::quiet_NaN();
    EXPECT_EQ(Scan({{1.1F, 0}, {1.2F, 0}, {1.1F, 1}}, 5, 5, 0).rectangles.size(), 0);
    EXPECT_EQ(Scan({{0, nan}, {1, 0}, {1, 1}}, 5, 5, 0).samples.size(), 0);
    EXPECT_EQ(Scan({{0, 0}, {0.5F, 0.5F}, {1, 1}}, 5, 5, 0).samples.size(), 0);
    EXPECT_EQ(Scan({{0.3F, 0.3F}, {0.4F, 0.3F}, {0.3F, 0.4F}}, 5, 5, 0).rectangles.size(), 2);
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
        for (int k = 0; k < 4; ++k)
            p[k] = round % 2 ? qvLinear::narrow(0.5 + random.number(0.8))
                             : static_cast<float>(random.below(30)) / (k % 2 ? 29.0F : 39.0F);
        const auto toPixel = [](float at, bool up, float max) {
            const float moved = up ? std::ceil(at * max) : std::floor(at * max);
            return static_cast<int>(std::clamp(moved, 0.0F, max));
        };
        const bool right = p[2] > p[0], above = p[3] > p[1];
        int x0 = toPixel(p[0], !right, 39), x1 = toPixel(p[2], right, 39);
        int y0 = toPixel(p[1], !above, 29), y1 = toPixel(p[3], above, 29);
        const bool steep = std::abs(y1 - y0) > std::abs(x1 - x0);
        const bool reversed = steep ? y0 > y1 : x0 > x1;
        if (reversed) {
            std::swap(x0, x1);
            std::swap(y0, y1);
        }
        const int n = std::max(std::abs(x1 - x0), std::abs(y1 - y0));
        pixels.clear();
        ASSERT_EQ(scanner.scanLine(p[0], p[1], p[2], p[3]), n + 1);
        ASSERT_EQ(pixels.size(), n + 1);
        for (int k = 0; k <= n; ++k) {
            const auto gone = [&](int from, int to) {
                return from +
                       (to > from ? 1 : -1) * ((2 * k * std::abs(to - from) + n) / (n ? 2 * n : 1));
            };
            const Pixel& pixel = pixels[k];
            EXPECT_EQ(pixel.x, gone(x0, x1)) << round;
            EXPECT_EQ(pixel.y, gone(y0, y1)) << round;
            EXPECT_EQ(pixel.reversed, reversed);
            const double dx = p[2] - p[0], dy = p[3] - p[1], length2 = dx * dx + dy * dy;
            const double t =
                ((pixel.x + 0.5) / 40 - p[0]) * dx + ((pixel.y + 0.5) / 30 - p[1]) * dy;
            EXPECT_NEAR(pixel.t, length2 > 0 ? std::clamp(t / length2, 0.0, 1.0) : 0.0, 1e-4)
                << round;
            EXPECT_EQ(pixel.t, qvLinear::narrow(pixel.t));
        }
    }
}

} // namespace
