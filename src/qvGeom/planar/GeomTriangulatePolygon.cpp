#include "qvGeom/planar/GeomTriangulatePolygon.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>

#include "qvGeom/foundation/base/Progress.h"
#include "qvGeom/foundation/base/ThreadPool.h"
#include "qvGeom/foundation/base/ThreadedAlg.h"
#include "qvGeom/foundation/geometry/BitVector.h"
#include "qvGeom/foundation/linear/Normal.h"
#include "qvGeom/foundation/linear/Tolerances.h"

namespace qvGeom {

using qvLinear::Normal;
using qvLinear::Point;
using qvLinear::Vector;

namespace {

constexpr int kTile = 16; // pairs of a tile read the same rows, which stay in cache
constexpr std::int64_t kPollStride = 1000;
constexpr std::int64_t kFewCandidates = 100000; // cheaper than waking the pool's threads

/// How good a triangle or a triangulated part is; never without a number for the angle.
// NOLINTNEXTLINE(readability-identifier-naming): the established name
struct triangleWeight {
    double area;
    double angle; // smallest cosine between the normals of neighbours

    bool isBetterThan(const triangleWeight& other) const {
        return angle > other.angle || (angle == other.angle && area < other.area);
    }
};

// NOLINTBEGIN(readability-identifier-naming): the established names
constexpr triangleWeight minTriangleWt{0.0, 1.0};
constexpr triangleWeight maxTriangleWt{DBL_MAX, -1.0};

// NOLINTEND(readability-identifier-naming)

/// The best of the weights that `weight` is better than.
triangleWeight justWorseThan(const triangleWeight& weight) {
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    if (weight.area < kInfinity)
        return {std::nextafter(weight.area, kInfinity), weight.angle};
    return {0.0, std::nextafter(weight.angle, -kInfinity)};
}

struct WeightedTriangle {
    triangleWeight weight;
    Normal normal; // zero without area
};

WeightedTriangle computeTriangleWeight(const Point& p0, const Point& p1, const Point& p2,
                                       const Normal& a, const Normal& b) {
    const Vector twice = cross(p0 - p1, p0 - p2);
    const double area = 0.5 * twice.length();
    if (area < qvLinear::epsilonTol)
        return {{area, -1.0}, Normal()};
    const Normal normal(twice);
    return {{area, std::min(dot(normal, a), dot(normal, b))}, normal};
}

/// What the candidates (i, m, j) of one pair read, by m.
struct Candidates {
    Point start, end;                     // of i and j
    const double *x, *y, *z;              // of m
    const double *leftArea, *leftAngle;   // of the part from i to m
    const double *rightArea, *rightAngle; // of the part from m to j
    int least;                            // the lowest m
};

/// Four numbers computed with at once, and what comparing them gives: all bits of a lane, or none.
using Lanes [[gnu::vector_size(32)]] = double;
using LaneMask [[gnu::vector_size(32)]] = std::int64_t;
constexpr int kLanes = 4;

void load(const double* numbers, Lanes& lanes) { std::memcpy(&lanes, numbers, sizeof lanes); }

bool isAnySet(const LaneMask& mask) { return ((mask[0] | mask[1]) | (mask[2] | mask[3])) != 0; }

/// Returns the first m of [first, last) that may be better than `best`, or `last`. A candidate is
/// no flatter than its parts, and no smaller than its parts are without its own area or with it:
/// rounding keeps the order of sums. So nothing is passed over that a full comparison would take.
[[gnu::always_inline]] inline int findThatMayBeat(const Candidates& c, int first, int last,
                                                  const triangleWeight& best) {
    const Vector base = c.start - c.end;
    for (int m = first; m < last; m += kLanes) {
        if (last - c.least < kLanes) // too few to look at together
            return m;
        const int block = std::min(m, last - kLanes);
        Lanes left, right, leftAngle, rightAngle;
        load(c.leftAngle + block, leftAngle);
        load(c.rightAngle + block, rightAngle);
        load(c.leftArea + block, left);
        load(c.rightArea + block, right);
        const Lanes angle = leftAngle < rightAngle ? leftAngle : rightAngle;
        const LaneMask flatter = angle > best.angle, asFlat = angle == best.angle;
        if (!isAnySet(flatter | (asFlat & (left + right < best.area))))
            continue;

        Lanes x, y, z;
        load(c.x + block, x);
        load(c.y + block, y);
        load(c.z + block, z);
        x = c.start.x - x;
        y = c.start.y - y;
        z = c.start.z - z;
        const Lanes nx = y * base.z - z * base.y, ny = z * base.x - x * base.z,
                    nz = x * base.y - y * base.x;
        Lanes area = nx * nx + ny * ny + nz * nz;
        for (int k = 0; k < kLanes; ++k)
            area[k] = std::sqrt(area[k]);
        area = 0.5 * area + left + right;
        const LaneMask chosen = flatter | (asFlat & (area < best.area));
        for (int k = m - block; k < kLanes; ++k) {
            if (chosen[k] != 0)
                return block + k;
        }
    }
    return last;
}

[[gnu::flatten]] int firstByAnyProcessor(const Candidates& c, int first, int last,
                                         const triangleWeight& best) {
    return findThatMayBeat(c, first, last, best);
}

#if defined(__x86_64__)

[[gnu::target("avx2"), gnu::flatten]] int firstByAvx2(const Candidates& c, int first, int last,
                                                      const triangleWeight& best) {
    return findThatMayBeat(c, first, last, best);
}

#endif

// Chosen here and not by the loader, whose choice comes before the thread sanitizer is ready.
int firstThatMayBeat(const Candidates& c, int first, int last, const triangleWeight& best) {
#if defined(__x86_64__)
    if (__builtin_cpu_supports("avx2"))
        return firstByAvx2(c, first, last, best);
#endif
    return firstByAnyProcessor(c, first, last, best);
}

/// The best triangulation of every part i..j of a loop, i < j.
///
/// Entries stand at (i, j) and at (j, i), so that those of all parts with one end in common lie in
/// a row. The normal of the triangle on edge (i, j) is made anew from its split where it is asked
/// for: that is seldom, and keeping it would more than double the memory.
class PartPolygons {
public:
    PartPolygons(const std::vector<Point>& loop, const BitVector* forbidden)
        : loop_(loop),
          n_(static_cast<int>(loop.size())),
          forbidden_(forbidden && forbidden->size() > 0 ? forbidden : nullptr),
          area_(std::make_unique_for_overwrite<double[]>(at(n_, 0))),
          angle_(std::make_unique_for_overwrite<double[]>(at(n_, 0))),
          split_(std::make_unique_for_overwrite<int[]>(at(n_, 0))) {
        for (std::vector<double>* axis : {&x_, &y_, &z_})
            axis->reserve(loop.size());
        for (const Point& p : loop) {
            x_.push_back(p.x);
            y_.push_back(p.y);
            z_.push_back(p.z);
            ordered_ = ordered_ && isModest(p);
        }
        for (int i = 0; i + 1 < n_; ++i)
            store(i, i + 1, minTriangleWt, -1);
    }

    /// Chooses the split of a part of three points or more; the parts within it are done.
    void solve(int i, int j) {
        const Candidates candidates{
            loop_[i],         loop_[j],          x_.data(),        y_.data(),         z_.data(),
            &area_[at(i, 0)], &angle_[at(i, 0)], &area_[at(j, 0)], &angle_[at(j, 0)], i + 1};
        int split = likelySplit(i, j);
        const int likely = split;
        const triangleWeight likelyWeight = weightOf(i, likely, j);
        triangleWeight best = likelyWeight;
        if (split > i + 1)
            best = justWorseThan(best); // an equal one at a lower m still wins
        // An area out of all bounds says nothing of a forbidden triangle, whose own is finite.
        const auto next = [&](int m) {
            return ordered_ ? firstThatMayBeat(candidates, m, j, best) : m;
        };
        for (int m = next(i + 1); m < j; m = next(m + 1)) {
            const triangleWeight weight = m == likely ? likelyWeight : weightOf(i, m, j);
            if (weight.isBetterThan(best)) {
                best = weight;
                split = m;
            }
        }
        store(i, j, best, split);
    }

    /// The triangles of the best triangulation in order along the loop.
    void traceTriangulation(std::vector<int>& triangles) const {
        struct Part {
            int i, j;
        };

        std::vector<Part> open; // parts whose left side is under way
        Part part{0, n_ - 1};
        while (true) {
            for (; part.j - part.i >= 2; part.j = split_[at(part.i, part.j)])
                open.push_back(part);
            if (open.empty())
                return;
            part = open.back();
            open.pop_back();
            const int m = split_[at(part.i, part.j)];
            triangles.insert(triangles.end(), {part.i, m, part.j});
            part.i = m;
        }
    }

private:
    std::size_t at(int i, int j) const {
        return static_cast<std::size_t>(i) * static_cast<std::size_t>(n_) +
               static_cast<std::size_t>(j);
    }

    /// Whether areas of triangles between such points are finite.
    static bool isModest(const Point& p) {
        constexpr double kModest = 1e70;
        return std::abs(p.x) < kModest && std::abs(p.y) < kModest && std::abs(p.z) < kModest;
    }

    void store(int i, int j, const triangleWeight& weight, int split) {
        area_[at(i, j)] = area_[at(j, i)] = weight.area;
        angle_[at(i, j)] = angle_[at(j, i)] = weight.angle;
        split_[at(i, j)] = split_[at(j, i)] = split;
    }

    bool isForbidden(int i, int m, int j) const {
        const auto marked = [this](int a, int b) { return forbidden_->test(a * n_ + b); };
        return forbidden_ && (marked(i, m) || marked(m, j) || marked(j, i));
    }

    WeightedTriangle triangle(int i, int m, int j, const Normal& left, const Normal& right) const {
        if (isForbidden(i, m, j))
            return {maxTriangleWt, Normal()};
        return computeTriangleWeight(loop_[i], loop_[m], loop_[j], left, right);
    }

    /// The normal of the triangle that closes a part split at m; zero for an edge of the loop.
    Normal closingNormal(int i, int j, int m) const {
        return m < 0 ? Normal() : triangle(i, m, j, Normal(), Normal()).normal;
    }

    /// The weight of the part when split at m.
    triangleWeight weightOf(int i, int m, int j) const {
        const Normal left = closingNormal(i, m, split_[at(i, m)]);
        const Normal right = closingNormal(m, j, split_[at(j, m)]);
        const triangleWeight own = triangle(i, m, j, left, right).weight;
        // The order of the sum decides between equal triangulations of a flat loop.
        return {(own.area + area_[at(i, m)]) + area_[at(m, j)],
                std::min({angle_[at(i, m)], angle_[at(m, j)], own.angle})};
    }

    /// The candidate to begin with, so that all worse ones are passed over at once: the split of a
    /// part one point shorter, as long as weights are ordered and the outcome is the same.
    int likelySplit(int i, int j) const {
        if (!ordered_ || j - i == 2)
            return i + 1;
        return split_[at(i, j - 1)];
    }

    const std::vector<Point>& loop_;
    int n_;
    const BitVector* forbidden_; // null: none
    bool ordered_ = true;        // no weight can come without a number
    std::vector<double> x_, y_, z_;
    std::unique_ptr<double[]> area_, angle_;
    std::unique_ptr<int[]> split_;
};

/// Settles the parts in square tiles of pairs, one diagonal of tiles after the other: those of one
/// diagonal do not depend on each other.
class TileDiagonalAlg final : public qvUtil::ThreadedChunkAlg {
public:
    TileDiagonalAlg(PartPolygons& parts, int n, int diagonal)
        : ThreadedChunkAlg(numTiles(n) - diagonal),
          parts_(parts),
          n_(n),
          diagonal_(diagonal) {}

    /// Lets a cancelled progress end the work early; null lets nothing.
    void stopWith(const qvUtil::Progress* progress) { progress_ = progress; }

    static int numTiles(int n) { return (n + kTile - 1) / kTile; }

    void threadFunc(int chunk, int /*thread*/, int /*chunks*/) override {
        const qvUtil::IndexRange rows = tile(chunk);
        for (const int j : tile(chunk + diagonal_)) {
            for (int i = std::min(rows.last, j - 1) - 1; i >= rows.first; --i) {
                if (progress_ && progress_->cancelled())
                    return;
                parts_.solve(i, j);
            }
        }
    }

    std::int64_t numCandidates() const {
        std::int64_t count = 0;
        for (int chunk = 0; chunk < getNumChunks(); ++chunk) {
            for (const int j : tile(chunk + diagonal_)) {
                for (const int i : tile(chunk))
                    count += std::max(j - i - 1, 0);
            }
        }
        return count;
    }

private:
    qvUtil::IndexRange tile(int index) const {
        return {.first = index * kTile, .last = std::min((index + 1) * kTile, n_)};
    }

    PartPolygons& parts_;
    int n_;
    int diagonal_;
    const qvUtil::Progress* progress_ = nullptr;
};

/// The steps of the programme, one for each candidate triangle, and the look at the progress before
/// every thousandth of them.
class Steps {
public:
    Steps(int n, qvUtil::Progress* progress)
        : total_(std::int64_t{n} * (n - 1) / 2 * (n - 2) / 3),
          progress_(progress) {}

    std::int64_t total() const { return total_; }

    /// Takes the next `count` steps. False when cancelled.
    bool take(std::int64_t count) {
        done_ += count;
        for (; progress_ && nextPoll_ < done_; nextPoll_ += kPollStride) {
            if (progress_->cancelled())
                return false;
            progress_->set(static_cast<double>(nextPoll_) / static_cast<double>(total_));
        }
        return true;
    }

    /// The progress, or null when all looks at it are over: a cancel then comes too late.
    const qvUtil::Progress* stillPolled() const { return nextPoll_ < total_ ? progress_ : nullptr; }

private:
    std::int64_t total_;
    qvUtil::Progress* progress_;
    std::int64_t done_ = 0;
    std::int64_t nextPoll_ = 0;
};

} // namespace

bool triangulatePolygon(const std::vector<Point>& loop, std::vector<int>& triangles,
                        BitVector* forbiddenEdges, qvUtil::Progress* progress) {
    triangles.clear();
    const int n = static_cast<int>(loop.size());
    if (n < 3)
        return true;

    PartPolygons parts(loop, forbiddenEdges);
    Steps steps(n, progress);
    qvUtil::ThreadPool& pool = steps.total() < kFewCandidates
                                   ? qvUtil::ThreadPool::getSingleThreadedPool()
                                   : qvUtil::ThreadPool::get();
    for (int diagonal = 0; diagonal < TileDiagonalAlg::numTiles(n); ++diagonal) {
        TileDiagonalAlg alg(parts, n, diagonal);
        if (!steps.take(alg.numCandidates()))
            return false;
        alg.stopWith(steps.stillPolled());
        pool.run(alg);
    }

    triangles.reserve(3 * (loop.size() - 2));
    parts.traceTriangulation(triangles);
    return true;
}

} // namespace qvGeom
