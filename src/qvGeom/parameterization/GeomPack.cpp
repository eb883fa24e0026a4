#include "qvGeom/parameterization/GeomPack.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

#include "qvGeom/foundation/base/Diagnostics.h"
#include "qvGeom/foundation/base/SMPSort.h"
#include "qvGeom/foundation/base/StopWatch.h"
#include "qvGeom/foundation/linear/Tolerances.h"

namespace qvGeom {

namespace {

using qvLinear::Range2d;

constexpr double kTol = qvLinear::epsilonTol;

/// The free parts of the unit square, in order. A rectangle takes the corner of the first one that
/// it fits; what is left of that, at most two parts, stands in its place.
///
/// The order is that of the leaves of a tree in which every part is split in two, the part that the
/// rectangle takes first; a list is enough, since a part never changes once it is there. Parts too
/// small for every rectangle are left out. The list is kept in blocks which know how tall a part of
/// at least a certain width may be, so that most of them are passed over.
class FreePlaces {
public:
    explicit FreePlaces(const std::vector<Range2d>& rects) {
        double largestWidth = -HUGE_VAL;
        for (const Range2d& rect : rects) {
            smallestWidth_ = std::min(smallestWidth_, rect.width());
            smallestHeight_ = std::min(smallestHeight_, rect.height());
            largestWidth = std::max(largestWidth, rect.width());
        }
        if (largestWidth > smallestWidth_)
            levelsPerWidth_ = kLevels / (largestWidth - smallestWidth_);
        blocks_.emplace_back();
        blocks_[0].places.push_back(Range2d::unitSquare);
        summarize(blocks_[0]);
    }

    /// Moves the rectangle to its place; false when there is no room.
    bool insert(Range2d& rect) {
        const double width = rect.width();
        const double height = rect.height();
        if (!std::isfinite(width) || !std::isfinite(height))
            return false;
        // The margin covers what a part may be narrower.
        const int level = levelOf(width - 2.0 * kTol);
        for (std::size_t b = 0; b < blocks_.size(); ++b) {
            if (!(blocks_[b].tallest[level] - height >= -kTol))
                continue;
            const std::vector<Range2d>& places = blocks_[b].places;
            const auto found =
                std::find_if(places.begin(), places.end(), [width, height](const Range2d& place) {
                    return fits(place, width, height);
                });
            if (found != places.end())
                return take(b, found - places.begin(), width, height, rect);
        }
        return false;
    }

private:
    static constexpr int kLevels = 16;
    static constexpr std::size_t kBlockSize = 64;
    static constexpr std::size_t kMaxSplits = 2; // one an axis

    struct Block {
        std::vector<Range2d> places;
        double tallest[kLevels]; // of the places of that level of width and above
    };

    static bool fits(const Range2d& place, double width, double height) {
        return place.width() - width >= -kTol && place.height() - height >= -kTol;
    }

    /// Does not fall when the width rises.
    int levelOf(double width) const {
        const double level = (width - smallestWidth_) * levelsPerWidth_;
        return level > 0.0 ? static_cast<int>(std::min(level, kLevels - 1.0)) : 0;
    }

    void summarize(Block& block) const {
        std::fill_n(block.tallest, kLevels, -HUGE_VAL);
        for (const Range2d& place : block.places) {
            double& tallest = block.tallest[levelOf(place.width())];
            tallest = std::max(tallest, place.height());
        }
        for (int level = kLevels - 1; level > 0; --level)
            block.tallest[level - 1] = std::max(block.tallest[level - 1], block.tallest[level]);
    }

    /// Cuts the rectangle off a place that it fits, along the axis where more is left over first.
    bool take(std::size_t b, std::ptrdiff_t at, double width, double height, Range2d& rect) {
        Range2d place = blocks_[b].places[static_cast<std::size_t>(at)];
        rests_.clear();
        for (std::size_t splits = 0;; ++splits) {
            const double dx = place.width() - width;
            const double dy = place.height() - height;
            if (std::fabs(dx) <= kTol && std::fabs(dy) <= kTol)
                break;
            if (splits == kMaxSplits)
                return false; // sides below zero so large that rounding hides the place
            Range2d rest = place;
            if (dx > dy)
                place.maxX = rest.minX = place.minX + width;
            else
                place.maxY = rest.minY = place.minY + height;
            if (fits(rest, smallestWidth_, smallestHeight_))
                rests_.insert(rests_.begin(), rest);
        }
        rect = place;
        replace(b, at);
        return true;
    }

    /// Puts the rests where the place was that they are left of.
    void replace(std::size_t b, std::ptrdiff_t at) {
        std::vector<Range2d>& places = blocks_[b].places;
        places.erase(places.begin() + at);
        places.insert(places.begin() + at, rests_.begin(), rests_.end());
        if (places.size() > kBlockSize) {
            const auto middle = places.begin() + kBlockSize / 2;
            Block half;
            half.places.assign(middle, places.end());
            places.erase(middle, places.end());
            summarize(half);
            blocks_.insert(blocks_.begin() + static_cast<std::ptrdiff_t>(b) + 1, std::move(half));
        }
        summarize(blocks_[b]);
        if (blocks_[b].places.empty())
            blocks_.erase(blocks_.begin() + static_cast<std::ptrdiff_t>(b));
    }

    double smallestWidth_ = HUGE_VAL;
    double smallestHeight_ = HUGE_VAL;
    double levelsPerWidth_ = 0.0;
    std::vector<Block> blocks_;
    std::vector<Range2d> rests_; // of one place, kept to be used again
};

double longestSide(const Range2d& rect) { return std::max(rect.width(), rect.height()); }

bool longestEdgeMetric(const Range2d& a, const Range2d& b) {
    return longestSide(a) > longestSide(b);
}

bool areFinite(const std::vector<Range2d>& rects) {
    return std::all_of(rects.begin(), rects.end(), [](const Range2d& rect) {
        return std::isfinite(rect.width()) && std::isfinite(rect.height());
    });
}

/// Enlarges the whole packing until it spans the unit square.
void fillUnitSquare(std::vector<Range2d>& rects) {
    Range2d bounds = rects.front();
    for (const Range2d& rect : rects) {
        bounds.include({rect.minX, rect.minY});
        bounds.include({rect.maxX, rect.maxY});
    }
    const double scale = 1.0 / longestSide(bounds);
    if (!(std::isfinite(scale) && scale > 1.01))
        return;
    debugChannel().print("Scaling packing by %.2f\n", scale);
    for (Range2d& rect : rects)
        rect = {rect.minX * scale, rect.minY * scale, rect.maxX * scale, rect.maxY * scale};
}

} // namespace

bool pack(std::vector<Range2d>& rects) {
    if (!rects.empty() && longestSide(rects.back()) > 1.0)
        return false;
    FreePlaces places(rects);
    for (Range2d& rect : rects) {
        if (!places.insert(rect))
            return false;
    }
    return true;
}

void pack(std::vector<Range2d>& rects, int iterations) {
    qvOS::StopWatch watch;
    watch.start();
    const float factor = std::pow(0.499f, 1.0f / static_cast<float>(iterations));
    if (rects.empty() || !areFinite(rects) || iterations < 0 || factor == 1.0f)
        return;

    const int count = static_cast<int>(rects.size());
    qvUtil::Ordering order(count);
    order.sort(qvUtil::Ordering::IndexedBinaryPredicate(rects.data(), longestEdgeMetric));
    std::vector<Range2d> sorted;
    for (const int i : order)
        sorted.push_back(rects[i]);

    float scale = 1.0f;
    int attempts = 1;
    while (!pack(sorted)) {
        scale *= factor;
        ++attempts;
        for (Range2d& rect : sorted)
            rect = {0.0, 0.0, factor * rect.width(), factor * rect.height()};
    }

    for (int rank = 0; rank < count; ++rank) {
        const Range2d& placed = sorted[rank];
        Range2d& rect = rects[order[rank]];
        if (rank < 6) {
            debugChannel().print("Packed (%.4f,%.4f)-(%.4f,%.4f) to", rect.minX, rect.minY,
                                 rect.maxX, rect.maxY);
            debugChannel().print(" (%.4f,%.4f)-(%.4f,%.4f)\n", placed.minX, placed.minY,
                                 placed.maxX, placed.maxY);
        }
        rect = placed;
    }
    fillUnitSquare(rects);
    // Kept: what is told as coverage is the factor by which the rectangles were shrunk.
    debugChannel().print("Packed %d items with %.2f coverage in %d iterations in %.2f seconds.\n",
                         count, static_cast<double>(scale), attempts, watch.stop());
}

} // namespace qvGeom
