#include "qvmesh/pictures/Canvas.h"

#include "qvGeom/foundation/linear/Convert.h"
#include "qvGeom/view/GeomScanConvert.h"

namespace qvmesh {

using qvLinear::Point2;

namespace {

/// A sign of the built-in font: lines through places on a grid of 5 by 7, each written as its
/// column and row, with blanks between the lines.
struct Glyph {
    char sign;
    const char* strokes;
};

constexpr Glyph kGlyphs[] = {
    {'0', "103041453616050110"},
    {'1', "112026 1636"},
    {'2', "01103041420646"},
    {'3', "01103041423313 334445361605"},
    {'4', "36300444"},
    {'5', "400003334445361605"},
    {'6', "4130100105163645443303"},
    {'7', "004016"},
    {'8', "103041423313020110 1304051636454433"},
    {'9', "0516364541301001021343"},
    {'.', "0606"},
    {'-', "0343"},
    {'+', "0343 2125"},
    {'/', "0640"},
    {'e', "04444332120305163645"},
};

constexpr double kGridRows = 6; // spaces between the rows of the grid
constexpr double kAdvance = 6;  // from sign to sign, in columns
constexpr double kPointAdvance = 2.5;
constexpr double kStroke = 0.9; // the width of a line, in columns

const char* strokesOf(char sign) {
    for (const Glyph& glyph : kGlyphs) {
        if (glyph.sign == sign)
            return glyph.strokes;
    }
    return "";
}

} // namespace

double opacityInNet(double length) {
    constexpr double kShort = 3; // pixels
    constexpr double kLong = 15;
    constexpr double kMostOpaque = 0.6;
    return kMostOpaque * std::clamp((length - kShort) / (kLong - kShort), 0.0, 1.0);
}

Canvas::Canvas(int width, int height, Colour background)
    : width_(width),
      height_(height),
      pixels_(static_cast<std::size_t>(numColumns()) * static_cast<std::size_t>(numRows()),
              background) {}

void Canvas::fillTriangle(const Point2& a, const Point2& b, const Point2& c, Colour colour) {
    struct Fill {
        Canvas* canvas;
        Colour colour;
    } fill{this, colour};

    qvGeom::MeshScanConverter converter(numColumns(), numRows(), 0.5F);
    converter.setPointSampleCB(
        [](void* data, int x, int y, float, float) {
            const Fill& with = *static_cast<const Fill*>(data);
            with.canvas->at(x, y) = with.colour;
        },
        &fill);
    const auto x = [this](const Point2& p) { return qvLinear::narrow(p.x / width_); };
    const auto y = [this](const Point2& p) { return qvLinear::narrow(p.y / height_); };
    converter.scanTriangle(x(a), y(a), x(b), y(b), x(c), y(c));
}

void Canvas::fillRectangle(const Point2& min, const Point2& max, Colour colour) {
    fillTriangle(min, {max.x, min.y}, max, colour);
    fillTriangle(min, max, {min.x, max.y}, colour);
}

void Canvas::drawLine(const Point2& from, const Point2& to, double width, Colour colour,
                      double opacity) {
    const auto toFine = [](const Point2& p) { return Point2{kFineness * p.x, kFineness * p.y}; };
    walkLine(toFine(from), toFine(to), kFineness * width, numColumns(), numRows(),
             [&](int x, int y, double) { at(x, y) = mix(at(x, y), colour, opacity); });
}

void Canvas::drawThinLine(const Point2& from, const Point2& to, Colour colour) {
    const double opacity = opacityInNet(std::hypot(to.x - from.x, to.y - from.y));
    if (opacity > 0)
        drawLine(from, to, kThin, colour, opacity);
}

void Canvas::drawText(const Point2& corner, double height, std::string_view text, Colour colour) {
    const double scale = height / kGridRows;
    double left = corner.x;
    for (const char sign : text) {
        const auto place = [&](const char* at) {
            return Point2{left + scale * (at[0] - '0'), corner.y + scale * (at[1] - '0')};
        };
        for (const char* at = strokesOf(sign); at[0] && at[1]; at += 2) {
            if (at[2] == ' ')
                ++at;
            else if (at[2] && at[3])
                drawLine(place(at), place(at + 2), kStroke * scale, colour);
        }
        left += scale * (sign == '.' ? kPointAdvance : kAdvance);
    }
}

Image Canvas::reduced() const {
    constexpr int kCount = kFineness * kFineness;
    Image image{width_, height_, {}};
    image.pixels.reserve(static_cast<std::size_t>(width_) * static_cast<std::size_t>(height_));
    const std::size_t stride = static_cast<std::size_t>(numColumns());
    for (int row = 0; row < height_; ++row) {
        for (int column = 0; column < width_; ++column) {
            int sum[3] = {};
            const Colour* fine = &pixels_[static_cast<std::size_t>(kFineness * row) * stride +
                                          static_cast<std::size_t>(kFineness * column)];
            for (int i = 0; i < kFineness; ++i, fine += stride) {
                for (int k = 0; k < kFineness; ++k) {
                    sum[0] += fine[k].r;
                    sum[1] += fine[k].g;
                    sum[2] += fine[k].b;
                }
            }
            const auto mean = [](int total) {
                return static_cast<std::uint8_t>((total + kCount / 2) / kCount);
            };
            image.pixels.push_back({mean(sum[0]), mean(sum[1]), mean(sum[2])});
        }
    }
    return image;
}

} // namespace qvmesh
