#include <algorithm>
#include <cmath>
#include <numbers>
#include <set>
#include <utility>

#include "qvGeom/foundation/linear/Intersect.h"
#include "qvGeom/foundation/linear/Tolerances.h"
#include "qvGeom/planar/GeomPlanarTests.h"

namespace qvGeom {

using qvLinear::Point2;
using qvLinear::Polyline2d;
using qvLinear::SegmentRelation;
using qvLinear::Vector2;

namespace {

/// Returns twice the area, positive when the corners run counter-clockwise.
double twiceArea(const std::vector<Point2>& corners) {
    double sum = 0.0;
    for (std::size_t k = 0; k < corners.size(); ++k) {
        const Point2& next = corners[(k + 1) % corners.size()];
        sum += cross(corners[k] - corners[0], next - corners[0]);
    }
    return sum;
}

/// A piece of a border between two nodes, the polygon on its left.
struct Piece {
    int from, to;

    bool operator==(const Piece&) const = default;

    bool operator<(const Piece& other) const {
        return std::pair(from, to) < std::pair(other.from, other.to);
    }
};

struct Border {
    std::vector<Point2> corners; // counter-clockwise, the first repeated at the end
    std::vector<Piece> pieces;
};

/// How the pieces of one border lie to the other polygon.
struct Sides {
    int inside = 0, outside = 0;
    int along = 0, against = 0; // on the other border, the same way or the opposite one

    bool within() const { return outside == 0 && against == 0; }

    bool same() const { return within() && inside == 0; }
};

/// Both borders, cut into pieces where they meet.
class Overlay {
public:
    Overlay(const Polyline2d& first, const Polyline2d& second, double tol)
        : tol_(std::max(tol, qvLinear::epsilonTol)),
          first_{orient(first), {}},
          second_{orient(second), {}} {}

    bool hasAreas() const { return !first_.corners.empty() && !second_.corners.empty(); }

    /// Cuts the borders and finds how they lie. `overlap` receives corners, the first not repeated.
    EPolygonsIntersection compare(std::vector<Point2>& overlap) {
        cut();
        const Sides a = compare(first_, second_, true), b = compare(second_, first_, false);
        if (a.same() && b.same())
            return ePolygonsEqual;
        if (a.within())
            return ePolygonsFirstInside;
        if (b.within())
            return ePolygonsSecondInside;
        if (common_.empty())
            return ePolygonsDisjoint;
        overlap = largestLoop();
        return overlap.empty() ? ePolygonsUndetermined : ePolygonsOverlap;
    }

    const std::vector<Point2>& first() const { return first_.corners; }

    const std::vector<Point2>& second() const { return second_.corners; }

private:
    struct Cut {
        double param;
        int node;
    };

    /// Returns the corners counter-clockwise and closed; none without area.
    std::vector<Point2> orient(const Polyline2d& polygon) const {
        std::vector<Point2> corners;
        for (const Point2& p : polygon.vertices) {
            if (corners.empty() || !equivalent(corners.back(), p, tol_))
                corners.push_back(p);
        }
        while (corners.size() > 1 && equivalent(corners.front(), corners.back(), tol_))
            corners.pop_back();
        const double area = twiceArea(corners);
        if (!(std::abs(area) > 0.0 && std::isfinite(area)))
            return {};
        if (area < 0.0)
            std::reverse(corners.begin(), corners.end());
        corners.push_back(corners.front());
        return corners;
    }

    int nodeAt(const Point2& p) {
        const auto found = std::find_if(nodes_.begin(), nodes_.end(), [&](const Point2& node) {
            return equivalent(node, p, tol_);
        });
        if (found == nodes_.end()) {
            nodes_.push_back(p);
            return static_cast<int>(nodes_.size()) - 1;
        }
        return static_cast<int>(found - nodes_.begin());
    }

    void cut() {
        using Cuts = std::vector<std::vector<Cut>>;
        Cuts firstCuts(first_.corners.size() - 1), secondCuts(second_.corners.size() - 1);
        cutAtCorners(first_, first_, firstCuts);
        cutAtCorners(second_, second_, secondCuts);
        cutAtCorners(first_, second_, firstCuts);
        cutAtCorners(second_, first_, secondCuts);
        for (std::size_t a = 0; a < firstCuts.size(); ++a) {
            for (std::size_t b = 0; b < secondCuts.size(); ++b) {
                Point2 at;
                double onA, onB;
                if (doLineSegmentsIntersect(first_.corners[a], first_.corners[a + 1],
                                            second_.corners[b], second_.corners[b + 1], at, onA,
                                            onB, tol_) == SegmentRelation::Crossing) {
                    firstCuts[a].push_back({onA, nodeAt(at)});
                    secondCuts[b].push_back({onB, nodeAt(at)});
                }
            }
        }
        join(firstCuts, first_);
        join(secondCuts, second_);
    }

    /// Cuts the edges of `border` at the corners of `other` that lie on them.
    void cutAtCorners(const Border& border, const Border& other,
                      std::vector<std::vector<Cut>>& cuts) {
        for (std::size_t k = 0; k < cuts.size(); ++k) {
            const Point2 &a = border.corners[k], &b = border.corners[k + 1];
            for (const Point2& p : other.corners) {
                if (isPointOnEdge(a, b, p, tol_))
                    cuts[k].push_back({dot(p - a, b - a) / (b - a).length2(), nodeAt(p)});
            }
        }
    }

    static void join(std::vector<std::vector<Cut>>& cuts, Border& border) {
        for (std::vector<Cut>& edge : cuts) {
            std::stable_sort(edge.begin(), edge.end(),
                             [](const Cut& a, const Cut& b) { return a.param < b.param; });
            for (std::size_t k = 1; k < edge.size(); ++k) {
                if (edge[k - 1].node != edge[k].node)
                    border.pieces.push_back({edge[k - 1].node, edge[k].node});
            }
        }
    }

    /// Counts the pieces of `border` by side and keeps those on the border of the common area; of
    /// pieces on both borders only if asked to.
    Sides compare(const Border& border, const Border& other, bool keepShared) {
        const std::set<Piece> others(other.pieces.begin(), other.pieces.end());
        Sides sides;
        for (const Piece& piece : border.pieces) {
            const bool along = others.contains(piece);
            bool kept = along && keepShared;
            if (along) {
                ++sides.along;
            } else if (others.contains({piece.to, piece.from})) {
                ++sides.against;
            } else {
                const Point2 middle = combine(0.5, nodes_[piece.from], 0.5, nodes_[piece.to]);
                pointPolygonRelation rel;
                kept = isPointInPolygon(middle, other.corners, rel, 0.0);
                ++(kept ? sides.inside : sides.outside);
            }
            if (kept)
                common_.push_back(piece);
        }
        return sides;
    }

    /// Follows the common pieces around each part of the common area, and returns the corners of
    /// the largest part.
    std::vector<Point2> largestLoop() const {
        std::set<Piece> left(common_.begin(), common_.end());
        std::vector<Point2> largest;
        double largestArea = 0.0;
        while (!left.empty()) {
            std::vector<Point2> loop;
            const Piece start = *left.begin();
            Piece piece = start;
            do {
                loop.push_back(nodes_[piece.from]);
                const auto next = sharpestLeft(left, piece);
                if (next == left.end()) { // rounding tore the border
                    left.erase(start);
                    loop.clear();
                    break;
                }
                piece = *next;
                left.erase(next);
            } while (piece != start);
            const double area = twiceArea(loop);
            if (area > largestArea) {
                largestArea = area;
                largest = std::move(loop);
            }
        }
        return largest;
    }

    /// Returns the piece that goes on after `last` around the same part of the area.
    std::set<Piece>::iterator sharpestLeft(std::set<Piece>& left, const Piece& last) const {
        const Vector2 back = nodes_[last.from] - nodes_[last.to];
        auto best = left.end();
        double bestAngle = 0.0;
        for (auto piece = left.lower_bound({last.to, 0});
             piece != left.end() && piece->from == last.to; ++piece) {
            const Vector2 ahead = nodes_[piece->to] - nodes_[piece->from];
            double angle = std::atan2(cross(ahead, back), dot(ahead, back)); // clockwise from back
            if (angle <= 0.0)
                angle += 2.0 * std::numbers::pi;
            if (best == left.end() || angle < bestAngle) {
                best = piece;
                bestAngle = angle;
            }
        }
        return best;
    }

    double tol_;
    Border first_, second_;
    std::vector<Point2> nodes_; // no two within the tolerance of each other
    std::vector<Piece> common_; // around the common area, which is on their left
};

} // namespace

bool isPolygonsIntersect(const Polyline2d& first, const Polyline2d& second,
                         EPolygonsIntersection& result, Polyline2d& overlap, double tol) {
    overlap.vertices.clear();
    result = ePolygonsUndetermined;
    Overlay overlay(first, second, tol);
    if (!overlay.hasAreas())
        return false;

    std::vector<Point2> corners;
    result = overlay.compare(corners);
    if (result == ePolygonsFirstInside || result == ePolygonsEqual)
        corners = overlay.first();
    else if (result == ePolygonsSecondInside)
        corners = overlay.second();
    else if (result == ePolygonsOverlap)
        corners.push_back(corners.front());
    overlap.vertices = std::move(corners);
    return !overlap.vertices.empty();
}

} // namespace qvGeom
