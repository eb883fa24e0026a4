#include "qvGeom/planar/GeomTriangulatePolygon.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <numbers>
#include <utility>
#include <vector>

#include "qvGeom/foundation/geometry/BitVector.h"
#include "qvGeom/foundation/linear/Linear.h"

#include "support/CancelAfter.h"
#include "support/Random.h"
#include "support/ScopedThreadCount.h"

namespace qvGeom {
namespace {

using qvLinear::Normal;
using qvLinear::Point;
using Loop = std::vector<Point>;
using Triangles = std::vector<int>;

Triangles triangulate(const Loop& loop, BitVector* forbidden) {
    Triangles triangles{7};
    EXPECT_TRUE(triangulatePolygon(loop, triangles, forbidden, nullptr));
    return triangles;
}

/// The best part i..j, found from the top down with one full comparison for each candidate.
struct TopDown {
    struct Part {
        double angle = 1.0, area = 0.0;
        Normal normal;
        Triangles triangles;
    };

    const Loop& loop;
    const BitVector& forbidden;
    std::map<std::pair<int, int>, Part> known{};

    bool marked(int a, int b) const {
        return forbidden.size() > 0 && forbidden.test(a * static_cast<int>(loop.size()) + b);
    }

    const Part& best(int i, int j) {
        const auto found = known.find({i, j});
        if (found != known.end())
            return found->second;
        Part chosen;
        for (int m = i + 1; m < j; ++m) {
            const Part left = best(i, m), right = best(m, j);
            const qvLinear::Vector product = cross(loop[i] - loop[m], loop[i] - loop[j]);
            Part part{-1.0, product.length() / 2, {}, left.triangles};
            if (marked(i, m) || marked(m, j) || marked(j, i)) {
                part.area = DBL_MAX;
            } else if (!(part.area < 1e-12)) {
                part.normal = Normal(product);
                part.angle =
                    std::min(dot(part.normal, left.normal), dot(part.normal, right.normal));
            }
            part.angle = std::min({left.angle, right.angle, part.angle});
            part.area = part.area + left.area + right.area;
            part.triangles.insert(part.triangles.end(), {i, m, j});
            part.triangles.insert(part.triangles.end(), right.triangles.begin(),
                                  right.triangles.end());
            if (m == i + 1 || part.angle > chosen.angle ||
                (part.angle == chosen.angle && part.area < chosen.area))
                chosen = part;
        }
        return known[{i, j}] = chosen;
    }
};

Loop circle(int n, const std::function<Point(double)>& at) {
    Loop loop;
    for (int k = 0; k < n; ++k)
        loop.push_back(at(2 * std::numbers::pi * k / n));
    return loop;
}

Point onCircle(double a) { return {std::cos(a), std::sin(a), 0}; }

Point onWave(double a) {
    return {std::cos(a) * (1 + 0.2 * std::sin(3 * a)), std::sin(a), 0.4 * std::cos(4 * a)};
}

// Catches a search that passes over a candidate it should compare, on every kind of loop: folded,
// smooth, full of ties, without area, without numbers; a tile left out, and a race.
TEST(TriangulatePolygon, agreesWithFullComparison) {
    const test::ScopedThreadCount pool(3);
    test::Random random;
    const auto few = [&] { return 1.0 * random.below(4); };
    const std::vector<std::function<Point(double)>> kinds{
        [&](double) { return random.point(); },
        onCircle,
        onWave,
        [&](double) {
            return Point{few(), few(), few()};
        },
        [&](double a) {
            return Point{a, 0, 0};
        },
        [&](double) {
            return Point{random.number(1e160), few() > 0 ? 1 : std::nan(""), 1e155};
        }};
    for (const auto& kind : kinds) {
        for (const int n : {3, 4, 5, 12, 16, 17, 33, 90}) {
            const Loop loop = circle(n, kind);
            for (const int percent : {0, 10, 60}) {
                SCOPED_TRACE(testing::Message() << "kind " << &kind - kinds.data() << ", " << n
                                                << " points, " << percent << " %");
                BitVector forbidden(percent > 0 ? n * n : 0);
                for (int bit = 0; bit < forbidden.size(); ++bit)
                    forbidden.set(bit, random.below(100) < percent);
                TopDown oracle{loop, forbidden};
                EXPECT_EQ(triangulate(loop, n % 2 && percent == 0 ? nullptr : &forbidden),
                          oracle.best(0, n - 1).triangles);
            }
        }
    }
    EXPECT_EQ(triangulate({}, nullptr), Triangles());
    EXPECT_EQ(triangulate({{0, 0, 0}, {1, 0, 0}}, nullptr), Triangles());
}

// The progress is looked at before every thousandth candidate; a cancel after the last look comes
// too late.
TEST(TriangulatePolygon, stopsAtEveryPoll) {
    for (const int n : {19, 40, 100}) {
        const int total = n * (n - 1) * (n - 2) / 6;
        const int polls = (total + 999) / 1000;
        for (int reports = 0; reports <= polls; ++reports) {
            test::CancelAfter cancel(reports);
            Triangles triangles;
            EXPECT_EQ(triangulatePolygon(circle(n, onWave), triangles, nullptr, &cancel.progress()),
                      reports == polls);
            EXPECT_EQ(triangles.empty(), reports != polls);
            ASSERT_EQ(static_cast<int>(cancel.fractions().size()), reports);
            for (int k = 0; k < reports; ++k)
                EXPECT_EQ(cancel.fractions()[k], 1000.0 * k / total);
        }
    }
}

} // namespace
} // namespace qvGeom
