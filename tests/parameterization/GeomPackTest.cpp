#include "qvGeom/parameterization/GeomPack.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <list>
#include <random>
#include <vector>

#include "support/CapturedOutput.h"

using qvLinear::Range2d;

namespace {

using Rects = std::vector<Range2d>;

Rects randomRects(int count, double largest, std::mt19937& random) {
    std::uniform_real_distribution<double> anySide(0.05 * largest, largest);
    Rects rects;
    for (int i = 0; i < count; ++i) {
        const double x = anySide(random);
        const double y = anySide(random);
        rects.push_back({x, y, x + anySide(random), y + anySide(random)});
    }
    return rects;
}

/// Puts each rectangle into the first room that holds it, and splits the room until the first part
/// is just as large. Returns whether all found one.
bool packPlainly(Rects& rects) {
    std::list<Range2d> rooms = {Range2d::unitSquare};
    for (Range2d& rect : rects) {
        auto room = std::find_if(rooms.begin(), rooms.end(), [&](const Range2d& r) {
            return r.width() - rect.width() >= -1e-12 && r.height() - rect.height() >= -1e-12;
        });
        if (room == rooms.end())
            return false;
        for (;;) {
            const double dx = room->width() - rect.width(), dy = room->height() - rect.height();
            if (std::fmax(dx, dy) <= 1e-12)
                break;
            const auto rest = room;
            room = rooms.insert(rest, *rest);
            if (dx > dy)
                room->maxX = rest->minX = room->minX + rect.width();
            else
                room->maxY = rest->minY = room->minY + rect.height();
        }
        rect = *room;
        rooms.erase(room);
    }
    return true;
}

TEST(Pack, placesEachInTheFirstRoomItFits) {
    std::mt19937 random(1);
    int failures = 0;
    for (int round = 0; round < 200; ++round) {
        SCOPED_TRACE(testing::Message() << "round " << round);
        const int count = 1 + round;
        Rects rects = randomRects(count, 1.4 / std::sqrt(count), random);
        if (round % 4 == 0)
            std::fill_n(rects.begin(), count / 2, Range2d{0, 0, 0.25, 0.125});
        Rects expected = rects;
        const bool allPlaced = packPlainly(expected);
        EXPECT_EQ(qvGeom::pack(rects), allPlaced);
        failures += !allPlaced;
        EXPECT_TRUE(rects == expected);
    }
    EXPECT_TRUE(failures > 20 && failures < 180);
}

TEST(Pack, neverOverlapsLeavesTheSquareOrChangesProportions) {
    std::mt19937 random(2);
    for (const double largest : {1e-6, 0.01, 0.3, 50.0}) {
        SCOPED_TRACE(testing::Message() << "sides up to " << largest);
        const Rects input = randomRects(150, largest, random);
        Rects rects = input;
        qvGeom::pack(rects, 20);
        const double scale = rects[0].width() / input[0].width();
        double extent = 0.0;
        for (std::size_t i = 0; i < rects.size(); ++i) {
            const Range2d& a = rects[i];
            EXPECT_NEAR(a.width(), scale * input[i].width(), 1e-10);
            EXPECT_NEAR(a.height(), scale * input[i].height(), 1e-10);
            EXPECT_TRUE(a.minX >= 0 && a.minY >= 0 && a.maxX < 1 + 1e-12 && a.maxY < 1 + 1e-12);
            extent = std::max({extent, a.maxX, a.maxY});
            for (std::size_t j = 0; j < i; ++j) {
                const Range2d& b = rects[j];
                EXPECT_TRUE(a.maxX <= b.minX || b.maxX <= a.minX || a.maxY <= b.minY ||
                            b.maxY <= a.minY);
            }
        }
        EXPECT_GT(extent, 0.99);
    }
}

TEST(Pack, tellsWhatItDid) {
    test::CapturedOutput output;
    const auto packed = [&output](Rects rects, int iterations) {
        output.clear();
        qvGeom::pack(rects, iterations);
        return rects;
    };
    EXPECT_EQ(packed({{2, 3, 2.5, 3.25}}, 4)[0], (Range2d{0, 0, 1, 0.5}));
    EXPECT_EQ(output.debug(),
              "Packed (2.0000,3.0000)-(2.5000,3.2500) to"
              " (0.0000,0.0000)-(0.5000,0.2500)\n"
              "Scaling packing by 2.00\n"
              "Packed 1 items with 1.00 coverage in 1 iterations in 0.00 seconds.\n");
    // What cannot shrink gradually collapses, and is not scaled.
    for (const Range2d& rect : packed({{0, 0, 3, 1}, {5, 5, 9, 9}}, 0))
        EXPECT_EQ(rect, (Range2d{0, 0, 0, 0}));
    EXPECT_EQ(output.debug().find("Scaling"), std::string::npos);
}

TEST(Pack, leavesAloneWhatCannotBePacked) {
    const double inf = std::numeric_limits<double>::infinity();
    test::CapturedOutput output;
    for (const Range2d& bad : {Range2d{0, 0, inf, 1}, Range2d{0, NAN, 1, 1}}) {
        Rects rects{{0, 0, 3, 3}, bad};
        qvGeom::pack(rects, 5);
        EXPECT_EQ(rects[0], (Range2d{0, 0, 3, 3}));
        EXPECT_FALSE(qvGeom::pack(rects));
    }
    for (const int iterations : {-1, 2000000000}) {
        Rects rects{{0, 0, 3, 3}};
        qvGeom::pack(rects, iterations);
        EXPECT_EQ(rects[0], (Range2d{0, 0, 3, 3}));
    }
    Rects none;
    qvGeom::pack(none, 5);
    EXPECT_TRUE(qvGeom::pack(none));
    EXPECT_EQ(output.debug(), "");
    // Small ones fit a chain of rooms without size as fast as any.
    Rects points(100000, Range2d{0, 0, 0, 0});
    EXPECT_TRUE(qvGeom::pack(points));
}

} // namespace
