/// \file
/// The samples of a triangle with what is done to them inlined, and up to four at a time.
///
/// A sample is inside when three edge functions, in single precision and of corners in a fixed
/// order, agree in sign. Products may be hoisted out of loops, but never grown by adding: each
/// sample has the bits that it would have alone.
#pragma once

#include <algorithm>
#include <bit>
#include <cfloat>
#include <cmath>

#include "qvGeom/foundation/geometry/MeshCoord.h"
#include "qvGeom/foundation/geometry/internal/Lanes.h"
#include "qvGeom/foundation/linear/Convert.h"
#include "qvGeom/foundation/linear/Point2.h"
#include "qvGeom/foundation/linear/Tolerances.h"
#include "qvGeom/view/GeomScanConvert.h"

namespace qvGeom::detail {

using qvLinear::Point2Flt;

/// Where four neighbouring columns take their samples.
inline Float4 samplesFrom(const SampleGrid& grid, int c) {
    const Float4 columns = __builtin_convertvector((Mask4{c, c + 1, c + 2, c + 3}), Float4);
    return columns * splat(grid.scaleX) + splat(grid.offsetX);
}

/// The pixels between which the samples of a triangle lie, ends included.
struct PixelRect {
    int firstX, firstY, lastX, lastY;

    int width() const { return lastX - firstX + 1; }

    int height() const { return lastY - firstY + 1; }

    bool isEmpty() const { return firstX > lastX || firstY > lastY; }

    /// Of a group of two by two pixels, those in the rectangle, which is no larger.
    unsigned lanesOfTwoByTwo() const {
        const unsigned inRow = firstX == lastX ? 1U : 3U;
        return firstY == lastY ? inRow : inRow * 5U;
    }
};

/// Exchanges the points unless they are in the order of y, then x; without a branch, since which
/// way it goes is anybody's guess.
inline void sortByY(Float4& a, Float4& b) {
    const Mask4 less = b < a, equal = b == a;
    const Mask4 swapped = __builtin_shufflevector(less, less, 1, 1, 1, 1) |
                          (__builtin_shufflevector(equal, equal, 1, 1, 1, 1) &
                           __builtin_shufflevector(less, less, 0, 0, 0, 0));
    const Float4 first = swapped ? b : a;
    b = swapped ? a : b;
    a = first;
}

/// How far a triangle reaches. Lanes are x and y.
struct Extent {
    Float4 min, max;

    Extent(const Point2Flt& p0, const Point2Flt& p1, const Point2Flt& p2) {
        const Float4 first{p0.x, p0.y}, second{p1.x, p1.y}, third{p2.x, p2.y};
        min = lower(third, lower(second, first));
        max = raise(third, raise(first, second));
    }
};

/// A triangle with its corners in the order of y, then x.
struct SortedTriangle : Extent {
    Point2Flt a, b, c;
    bool isFinite;

    SortedTriangle(const Extent& extent, const Point2Flt& p0, const Point2Flt& p1,
                   const Point2Flt& p2)
        : Extent(extent) {
        Float4 first{p0.x, p0.y}, second{p1.x, p1.y}, third{p2.x, p2.y};
        const Float4 zero{}, sum = first * zero + second * zero + third * zero; // or else NaN
        isFinite = bitsOf(sum == zero) == 15U;
        sortByY(first, second);
        sortByY(second, third);
        sortByY(first, second);
        a = {first[0], first[1]};
        b = {second[0], second[1]};
        c = {third[0], third[1]};
    }

    bool isBesideImage() const {
        return (bitsOf((min > splat(1.0F)) | (max < splat(0.0F))) & 3U) != 0;
    }

    /// The pixels at or below, and at or above, the extent, but in the image.
    PixelRect pixels(const SampleGrid& grid) const {
        const float x = static_cast<float>(grid.maxX), y = static_cast<float>(grid.maxY);
        const Float4 last{x, y, x, y}, zero{};
        Float4 at = __builtin_shufflevector(min, max, 0, 1, 4, 5) * last;
        at = at > zero ? at : zero;
        at = at < last ? at : last;
        const Mask4 below = __builtin_convertvector(at, Mask4);
        const Mask4 cut = __builtin_convertvector(below, Float4) < at; // -1 where it is
        return {std::min(below[0], grid.maxX), std::min(below[1], grid.maxY),
                std::min(below[2] - cut[2], grid.maxX), std::min(below[3] - cut[3], grid.maxY)};
    }
};

/// Up to four pixels, of which those are meant whose bit is set: four of a row, or two by two. Of
/// the latter there may be none, since to ask would take longer.
struct PixelGroup {
    int x, y;
    int columns; ///< 4 or 2.
    unsigned lanes;

    Mask4 mask() const {
        constexpr Mask4 kLane{1, 2, 4, 8};
        const auto bits = static_cast<int>(lanes);
        return (Mask4{bits, bits, bits, bits} & kLane) == kLane;
    }

    template <class Take>
    void forEach(const Take& take) const {
        for (unsigned left = lanes; left != 0; left &= left - 1) {
            const int k = std::countr_zero(left);
            take(k, x + (k & (columns - 1)), y + (columns == 4 ? 0 : k >> 1));
        }
    }
};

/// Tells on which side of an edge a point is, and is 0 on it.
struct EdgeFunction {
    float along, across; ///< By how much it grows in x and in y.
    Point2Flt from;

    EdgeFunction(const Point2Flt& start, const Point2Flt& end)
        : along(start.y - end.y),
          across(end.x - start.x),
          from(start) {}

    /// The two terms of the function: that of x, then that of y is added.
    float ofX(float x) const { return along * (x - from.x); }

    float ofY(float y) const { return across * (y - from.y); }

    Float4 ofX(Float4 x) const { return splat(along) * (x - splat(from.x)); }

    Float4 ofY(Float4 y) const { return splat(across) * (y - splat(from.y)); }
};

/// Whether three edge functions agree in sign.
inline Mask4 isInside(Float4 e0, Float4 e1, Float4 e2) {
    const Float4 zero{};
    return ((e0 >= zero) & (e1 >= zero) & (e2 >= zero)) |
           ((e0 <= zero) & (e1 <= zero) & (e2 <= zero));
}

struct EdgeFunctions {
    EdgeFunction edge[3];

    EdgeFunctions(const Point2Flt& a, const Point2Flt& b, const Point2Flt& c)
        : edge{{b, c}, {c, a}, {a, b}} {}

    /// 1 or -1 when samples can only be inside with all functions at least, or at most, 0. Is 0
    /// when the triangle is so thin that rounding may make either so.
    int winding(const SortedTriangle& t, const SampleGrid& grid, const PixelRect& rect) const;
};

inline int EdgeFunctions::winding(const SortedTriangle& t, const SampleGrid& grid,
                                  const PixelRect& rect) const {
    // The functions add up to twice the area. Each is off by less than a few units in the last
    // place of its two terms: if all have the wrong sign, the area is less than those errors.
    constexpr float kError = 8.0F * FLT_EPSILON, kLeastError = 16.0F * FLT_MIN, kHuge = 0x1p60F;
    const float sizeX =
        std::max(t.max[0], grid.x(rect.lastX)) - std::min(t.min[0], grid.x(rect.firstX));
    const float sizeY = std::max(t.c.y, grid.y(rect.lastY)) - std::min(t.a.y, grid.y(rect.firstY));
    if (!(sizeX < kHuge && sizeY < kHuge)) // products might overflow
        return 0;
    float error = kLeastError;
    for (const EdgeFunction& e : edge)
        error += kError * (std::abs(e.along) * sizeX + std::abs(e.across) * sizeY);
    const qvLinear::Point2 a = qvLinear::widen(t.a);
    const double area = cross(qvLinear::widen(t.b) - a, qvLinear::widen(t.c) - a);
    return area > error ? 1 : area < -error ? -1 : 0;
}

/// A triangle of some pixels at most that is thick enough for rounding not to matter much.
struct SmallTriangle {
    PixelRect rect;     ///< All samples inside are in it; perhaps empty.
    Float4 samples;     ///< Where the first and the last pixel of it have theirs: x, y, x, y.
    float errorOfEdges; ///< More than what the edge functions may be off by, there and next to it.

    /// Whether the triangle is such a one, given twice its area. Rounding may make any sample
    /// inside a thin one. But where a sample is beyond all corners by a part of a pixel, one edge
    /// function is at least as much of the area as that is of twice the width; once this exceeds
    /// all errors, the functions cannot agree.
    static bool find(const Extent& extent, const SampleGrid& grid, float area,
                     SmallTriangle& result) {
        constexpr float kBeyond = 1.0F / 16.0F; // pixels
        constexpr float kSlack = 3.0F;          // around the triangle, in pixels
        constexpr float kErrors = 0x1p-14F;     // of a product of sizes: four times what may happen
        constexpr float kErrorOfEdges = 0x1p-18F; // of the same: eight times
        constexpr float kLargest = 64.0F;         // pixels
        constexpr float kLargestImage = 0x1p16F;  // in it samples are in place to 1/64 pixel
        const Float4 pixels{grid.sizeX, grid.sizeY, grid.sizeX, grid.sizeY};
        const Float4 size = (extent.max - extent.min) * pixels + splat(kSlack);
        const float product = size[0] * size[1], longest = std::max(size[0], size[1]);
        if (!(std::abs(area) * grid.sizeX * grid.sizeY > kErrors * product * longest) ||
            !(longest < kLargest) || !(std::max(grid.sizeX, grid.sizeY) < kLargestImage) ||
            !(grid.border >= 0.0F && grid.border <= 0.5F))
            return false;

        const float before = grid.border + kBeyond, after = grid.border - kBeyond;
        const Float4 least{0.0F, 0.0F, -1.0F, -1.0F};
        const Float4 most{kLargestImage, kLargestImage, static_cast<float>(grid.maxX),
                          static_cast<float>(grid.maxY)};
        Float4 at = __builtin_shufflevector(extent.min, extent.max, 0, 1, 4, 5) * pixels -
                    Float4{before, before, after, after};
        at = lower(most, raise(least, at));
        const Mask4 toZero = __builtin_convertvector(at, Mask4);
        const Float4 whole = __builtin_convertvector(toZero, Float4);
        const Mask4 up = toZero - (whole < at), down = toZero + (whole > at); // -1 where it is
        const Mask4 ends = __builtin_shufflevector(up, down, 0, 1, 6, 7);
        result.rect = {ends[0], ends[1], ends[2], ends[3]};
        const Float4 scale{grid.scaleX, grid.scaleY, grid.scaleX, grid.scaleY},
            offset{grid.offsetX, grid.offsetY, grid.offsetX, grid.offsetY};
        result.samples = __builtin_convertvector(ends, Float4) * scale + offset;
        result.errorOfEdges = kErrorOfEdges * product * grid.scaleX * grid.scaleY;
        return true;
    }
};

/// Calls onRun(y, begin, end) for every run of samples that are inside, evaluating all samples, as
/// suits small triangles and those of no clear winding. Takes four times `kBlocks` columns at once.
template <int kBlocks, class OnRun>
void findRunsByMask(const SampleGrid& grid, const PixelRect& rect, const EdgeFunctions& functions,
                    const OnRun& onRun) {
    constexpr int kColumns = 4 * kBlocks;
    const EdgeFunction* edge = functions.edge;
    Float4 terms[3][kBlocks];
    const auto computeTerms = [&](int begin) {
        for (int block = 0; block < kBlocks; ++block) {
            const Float4 x = samplesFrom(grid, begin + 4 * block);
            for (int k = 0; k < 3; ++k)
                terms[k][block] = edge[k].ofX(x);
        }
    };

    computeTerms(rect.firstX);
    for (int y = rect.firstY; y <= rect.lastY; ++y) {
        const float sampleY = grid.y(y);
        const Float4 ofY[3] = {splat(edge[0].ofY(sampleY)), splat(edge[1].ofY(sampleY)),
                               splat(edge[2].ofY(sampleY))};
        for (int begin = rect.firstX; begin <= rect.lastX; begin += kColumns) {
            if (rect.width() > kColumns)
                computeTerms(begin);
            unsigned inside = 0;
            for (int block = 0; block < kBlocks; ++block) {
                inside |= bitsOf(isInside(terms[0][block] + ofY[0], terms[1][block] + ofY[1],
                                          terms[2][block] + ofY[2]))
                          << (4 * block);
            }
            inside &= (1U << std::min(kColumns, rect.lastX + 1 - begin)) - 1U;
            while (inside != 0) {
                const int first = std::countr_zero(inside);
                const int end = first + std::countr_one(inside >> first);
                onRun(y, begin + first, begin + end);
                inside &= ~0U << end;
            }
        }
    }
}

/// An edge function turned so that the triangle is where it is at least 0, along one row. Rounding
/// keeps the order of what is rounded: the function rises, falls or is constant along the row.
class EdgeOnRows {
public:
    EdgeOnRows(const EdgeFunction& edge, int winding, const SampleGrid& grid)
        : edge_(edge),
          grid_(grid),
          origin_((edge.from.x - grid.offsetX) / grid.scaleX) {
        if (winding < 0) {
            edge_.along = -edge_.along;
            edge_.across = -edge_.across;
        }
        columnsPerTerm_ = 1.0F / (edge_.along * grid.scaleX);
    }

    /// Cuts off the columns of [begin, end) where row `y` is outside.
    void narrow(float y, int& begin, int& end) const {
        const float ofY = edge_.ofY(y);
        if (edge_.along > 0.0F)
            begin = firstWith(true, ofY, begin, end);
        else if (edge_.along < 0.0F)
            end = firstWith(false, ofY, begin, end);
        else if (begin < end && !isInside(ofY, begin))
            end = begin;
    }

private:
    bool isInside(float ofY, int column) const { return edge_.ofX(grid_.x(column)) + ofY >= 0.0F; }

    /// Where the columns begin that are inside, or outside: guesses, and halves what is left of the
    /// range when the guess is wrong.
    int firstWith(bool inside, float ofY, int begin, int end) const {
        const float exact = origin_ - ofY * columnsPerTerm_;
        int at = !(exact > static_cast<float>(begin)) ? begin
                 : exact >= static_cast<float>(end)   ? end
                                                      : static_cast<int>(exact) + 1;
        while (begin < end) {
            if (at < end && isInside(ofY, at) != inside)
                begin = at + 1;
            else if (at == begin || isInside(ofY, at - 1) != inside)
                return at;
            else
                end = at - 1;
            at = begin + (end - begin) / 2;
        }
        return begin;
    }

    EdgeFunction edge_;
    const SampleGrid& grid_;
    float origin_;         // the column of the edge's start
    float columnsPerTerm_; // how many columns make up for one unit of the term of y
};

/// The same, looking for the ends of each row's run alone.
template <class OnRun>
void findRunsByEnds(const SampleGrid& grid, const PixelRect& rect, const EdgeFunctions& functions,
                    int winding, const OnRun& onRun) {
    const EdgeOnRows edges[3] = {{functions.edge[0], winding, grid},
                                 {functions.edge[1], winding, grid},
                                 {functions.edge[2], winding, grid}};
    for (int y = rect.firstY; y <= rect.lastY; ++y) {
        const float sampleY = grid.y(y);
        int begin = rect.firstX, end = rect.lastX + 1;
        for (const EdgeOnRows& edge : edges)
            edge.narrow(sampleY, begin, end);
        if (begin < end)
            onRun(y, begin, end);
    }
}

/// The weights u of the second and v of the third corner for up to four samples, as
/// isPointInTriangleDefinitive() computes them.
struct SampleWeights {
    Point2Flt origin, toSecond, toThird;
    float area;

    void at(Float4 x, Float4 y, [[maybe_unused]] unsigned lanes, Float4& u, Float4& v) const {
        x -= splat(origin.x);
        y -= splat(origin.y);
        v = (y * splat(toSecond.x) - splat(toSecond.y) * x) / splat(area);
        u = (x - v * splat(toThird.x)) / splat(toSecond.x);
    }
};

/// Finds which of four samples are inside by the signs of the weights. Returns false when edge
/// functions, of which no two may be off by more than `error`, might tell otherwise.
inline bool findInside(const SampleWeights& weights, Float4 x, Float4 y, float error,
                       unsigned& lanes) {
    x -= splat(weights.origin.x);
    y -= splat(weights.origin.y);
    const Float4 third = y * splat(weights.toSecond.x) - splat(weights.toSecond.y) * x,
                 second = x * splat(weights.toThird.y) - splat(weights.toThird.x) * y,
                 first = splat(weights.area) - second - third;
    const Float4 least = lower(lower(first, second), third),
                 most = raise(raise(first, second), third);
    const Mask4 inside = (least > splat(error)) | (most < splat(-error)),
                outside = (most > splat(error)) & (least < splat(-error));
    lanes = bitsOf(inside);
    return bitsOf(inside | outside) == 15U;
}

/// The same where the second corner is above or below the first.
struct UprightSampleWeights : SampleWeights {
    void at(Float4 x, Float4 y, [[maybe_unused]] unsigned lanes, Float4& u, Float4& v) const {
        x -= splat(origin.x);
        y -= splat(origin.y);
        v = x / splat(toThird.x);
        u = (y - v * splat(toThird.y)) / splat(toSecond.y);
    }
};

/// The same for a triangle too small or too thin for the others. Rounding may count samples as
/// inside that are outside of it, by many times its width: they get the weights of the closest
/// point.
struct ThinSampleWeights {
    qvLinear::Point origin;
    qvLinear::Vector toSecond, toThird;
    double area;

    ThinSampleWeights(const Point2Flt& p0, const Point2Flt& p1, const Point2Flt& p2)
        : origin(inPlane(p0.x, p0.y)),
          toSecond(inPlane(p1.x, p1.y) - origin),
          toThird(inPlane(p2.x, p2.y) - origin),
          area(cross(toSecond, toThird).z) {}

    static qvLinear::Point inPlane(float x, float y) {
        return {qvLinear::widen(x), qvLinear::widen(y), 0.0};
    }

    void at(Float4 x, Float4 y, unsigned lanes, Float4& u, Float4& v) const {
        u = v = Float4{};
        for (; lanes != 0; lanes &= lanes - 1) {
            const int k = std::countr_zero(lanes);
            const qvLinear::Point sample = inPlane(x[k], y[k]);
            const qvLinear::Vector d = sample - origin;
            double second = cross(d, toThird).z / area, third = cross(toSecond, d).z / area;
            if (!(second >= 0.0 && third >= 0.0 && second + third <= 1.0)) {
                const MeshCoordBase closest =
                    MeshCoordBase::projectBase(origin, origin + toSecond, origin + toThird, sample);
                second = closest.w[1];
                third = closest.w[2];
            }
            u[k] = qvLinear::narrow(second);
            v[k] = qvLinear::narrow(third);
        }
    }
};

/// Calls use(weights) with what gives the weights of samples in the triangle, given the vectors
/// from its first corner and twice its area; not for a triangle without any area.
template <class Use>
void withWeights(const Point2Flt& p0, const Point2Flt& p1, const Point2Flt& p2,
                 const SampleWeights& weights, const Use& use) {
    constexpr float kTol = qvLinear::epsilonTolFlt;
    const auto& [origin, e1, e2, area] = weights;
    if (std::abs(e1.x) >= kTol && std::abs(area) >= kTol) {
        use(weights);
    } else if (std::abs(e1.x) < kTol && std::abs(e2.x) >= kTol && std::abs(e1.y) >= kTol) {
        use(UprightSampleWeights{weights});
    } else {
        const ThinSampleWeights thin(p0, p1, p2);
        if (thin.area != 0.0)
            use(thin);
    }
}

/// Finds the samples of the triangle as MeshScanConverter does, but calls onTriangle(width,
/// height), if that is wanted, and onGroup(group, u, v), the latter with the weights of up to four
/// samples, which come row by row. Returns the number of samples.
template <class OnTriangle, class OnGroup>
int scanTriangle(const SampleGrid& grid, const Point2Flt& p0, const Point2Flt& p1,
                 const Point2Flt& p2, bool wantsTriangle, const OnTriangle& onTriangle,
                 const OnGroup& onGroup) {
    if (grid.maxX < 0 || grid.maxY < 0)
        return 0;
    int count = 0;
    const auto takeGroup = [&](const PixelGroup& group, Float4 x, Float4 y, const auto& weigh) {
        Float4 u, v;
        weigh.at(x, y, group.lanes, u, v);
        count += std::popcount(group.lanes);
        onGroup(group, u, v);
    };

    const Extent extent(p0, p1, p2);
    const Point2Flt e1{p1.x - p0.x, p1.y - p0.y}, e2{p2.x - p0.x, p2.y - p0.y};
    const SampleWeights weights{p0, e1, e2, e2.y * e1.x - e1.y * e2.x};
    SmallTriangle small;
    const bool isSmall = SmallTriangle::find(extent, grid, weights.area, small);
    if (isSmall && !wantsTriangle) {
        const PixelRect& rect = small.rect;
        if (rect.isEmpty())
            return 0;
        const Float4 x = __builtin_shufflevector(small.samples, small.samples, 0, 2, 0, 2),
                     y = __builtin_shufflevector(small.samples, small.samples, 1, 1, 3, 3);
        unsigned lanes = 0;
        if (rect.width() <= 2 && rect.height() <= 2 &&
            findInside(weights, x, y, small.errorOfEdges, lanes)) {
            lanes &= rect.lanesOfTwoByTwo();
            withWeights(p0, p1, p2, weights, [&](const auto& weigh) {
                takeGroup({rect.firstX, rect.firstY, 2, lanes}, x, y, weigh);
            });
            return count;
        }
    }

    const SortedTriangle triangle(extent, p0, p1, p2);
    if (triangle.isBesideImage() || !triangle.isFinite)
        return 0;
    const PixelRect wholeRect = triangle.pixels(grid);
    if (wantsTriangle)
        onTriangle(wholeRect.width(), wholeRect.height());
    const PixelRect rect = isSmall ? small.rect : wholeRect;
    if (rect.isEmpty())
        return 0;
    const EdgeFunctions edges(triangle.a, triangle.b, triangle.c);
    withWeights(p0, p1, p2, weights, [&](const auto& weigh) {
        constexpr int kNarrow = 4, kWide = 16;
        const auto onRun = [&](int y, int begin, int end) {
            const Float4 sampleY = splat(grid.y(y));
            for (int x = begin; x < end; x += 4) {
                const unsigned lanes = (1U << std::min(4, end - x)) - 1U;
                takeGroup({x, y, 4, lanes}, samplesFrom(grid, x), sampleY, weigh);
            }
        };
        const int winding = rect.width() > kWide ? edges.winding(triangle, grid, rect) : 0;
        if (rect.width() <= kNarrow)
            findRunsByMask<1>(grid, rect, edges, onRun);
        else if (winding == 0)
            findRunsByMask<4>(grid, rect, edges, onRun);
        else
            findRunsByEnds(grid, rect, edges, winding, onRun);
    });
    return count;
}

} // namespace qvGeom::detail
