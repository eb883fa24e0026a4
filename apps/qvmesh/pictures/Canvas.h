/// \file
/// Pictures while they are drawn.
#pragma once

#include <algorithm>
#include <cmath>
#include <string_view>

#include "qvGeom/foundation/linear/Point2.h"

#include "qvmesh/pictures/Image.h"

namespace qvmesh {

/// Visits the pixels whose middles a line of this width covers, with square ends, in a picture of
/// `columns` by `rows`: `visit(x, y, t)`, where t goes from 0 at `from` to 1 at `to`. The middle of
/// the first pixel is at (0.5, 0.5).
template <class Visit>
void walkLine(qvLinear::Point2 from, qvLinear::Point2 to, double width, int columns, int rows,
              Visit&& visit) {
    const bool isSteep = std::abs(to.y - from.y) > std::abs(to.x - from.x);
    if (isSteep) {
        std::swap(from.x, from.y);
        std::swap(to.x, to.y);
        std::swap(columns, rows);
    }
    const double run = to.x - from.x;
    const double slope = run != 0 ? (to.y - from.y) / run : 0;
    const double stretch = std::sqrt(1 + slope * slope);
    const double halfHeight = 0.5 * width * stretch;
    const double overhang = 0.5 * width / stretch;
    const auto firstMiddle = [](double x) { return std::ceil(x - 0.5); };
    const double start = std::max(0.0, firstMiddle(std::min(from.x, to.x) - overhang));
    const double stop = std::min<double>(columns, firstMiddle(std::max(from.x, to.x) + overhang));
    for (double x = start; x < stop; ++x) {
        const double along = x + 0.5 - from.x;
        const double t = run != 0 ? std::clamp(along / run, 0.0, 1.0) : 0.5;
        const double y = from.y + slope * along;
        const double top = std::min<double>(rows, firstMiddle(y + halfHeight));
        for (double row = std::max(0.0, firstMiddle(y - halfHeight)); row < top; ++row) {
            const int a = static_cast<int>(x);
            const int b = static_cast<int>(row);
            isSteep ? visit(b, a, t) : visit(a, b, t);
        }
    }
}

/// How a line of so many pixels is drawn that is one of a net: short ones are so many that they
/// would hide what is under them.
double opacityInNet(double length);

/// A picture drawn finer than it becomes, so that edges come out clean. Places are in pixels of the
/// result, from its upper left corner.
class Canvas {
public:
    static constexpr int kFineness = 3; // fine pixels along each side of one of the result
    static constexpr double kThin = 0.7;

    Canvas(int width, int height, Colour background);

    int width() const { return width_; }

    int height() const { return height_; }

    // The fine pixels.
    int numColumns() const { return kFineness * width_; }

    int numRows() const { return kFineness * height_; }

    Colour& at(int column, int row) {
        return pixels_[static_cast<std::size_t>(row) * static_cast<std::size_t>(numColumns()) +
                       static_cast<std::size_t>(column)];
    }

    /// Colours the pixels of the triangle, of either winding; those on its edges too.
    void fillTriangle(const qvLinear::Point2& a, const qvLinear::Point2& b,
                      const qvLinear::Point2& c, Colour colour);
    void fillRectangle(const qvLinear::Point2& min, const qvLinear::Point2& max, Colour colour);
    /// An opacity below 1 lets shine through what was there.
    void drawLine(const qvLinear::Point2& from, const qvLinear::Point2& to, double width,
                  Colour colour, double opacity = 1);
    /// Draws a line of a net, as thin as can be.
    void drawThinLine(const qvLinear::Point2& from, const qvLinear::Point2& to, Colour colour);
    /// Writes digits, points, signs, 'e' and blanks, the first from `corner`, its upper left, on;
    /// other signs stay blank.
    void drawText(const qvLinear::Point2& corner, double height, std::string_view text,
                  Colour colour);

    /// The picture as it has become.
    Image reduced() const;

private:
    int width_;
    int height_;
    std::vector<Colour> pixels_; // the fine ones, row by row
};

} // namespace qvmesh
