#include "qvmesh/pictures/LayoutPicture.h"

#include <algorithm>
#include <cmath>

#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/linear/Point2.h"

#include "qvmesh/LayoutFacts.h"
#include "qvmesh/pictures/Canvas.h"
#include "qvmesh/pictures/ColourScale.h"

namespace qvmesh {
namespace {

using qvGeom::CompactMesh;
using qvLinear::Point2;

constexpr Colour kPaper = {255, 255, 255};
constexpr Colour kInk = {40, 44, 52};
constexpr Colour kFrame = {205, 208, 214};

constexpr double kSide = 960; // of the unit square, in pixels
constexpr double kMargin = 30;
constexpr double kScaleWidth = 100;

constexpr int kPictureSize = static_cast<int>(kSide + 2 * kMargin);

struct Edge {
    int from, to; // from the lower to the higher vertex
    bool isBorder = true;
};

/// Every edge once.
std::vector<Edge> edgesOf(const CompactMesh& mesh) {
    std::vector<Edge> edges;
    for (int i = 0; i < 3 * mesh.getNumTriangles(); ++i) {
        const qvGeom::MeshTriangle& triangle = mesh.getTriangles()[i / 3];
        const auto [from, to] = std::minmax({triangle[i % 3], triangle[(i + 1) % 3]});
        edges.push_back({from, to});
    }
    const auto ends = [](const Edge& edge) { return std::pair(edge.from, edge.to); };
    std::sort(edges.begin(), edges.end(),
              [&](const Edge& a, const Edge& b) { return ends(a) < ends(b); });
    std::size_t count = 0;
    for (const Edge& edge : edges) {
        if (count > 0 && ends(edges[count - 1]) == ends(edge))
            edges[count - 1].isBorder = false;
        else
            edges[count++] = edge;
    }
    edges.resize(count);
    return edges;
}

/// Puts the layout on a canvas.
class LayoutPainter {
public:
    LayoutPainter(const CompactMesh& mesh, Canvas& canvas) : mesh_(mesh), canvas_(canvas) {}

    void paint(const std::function<Colour(int)>& colourOf) {
        for (int t = 0; t < mesh_.getNumTriangles(); ++t) {
            const qvGeom::MeshTriangle& triangle = mesh_.getTriangles()[t];
            canvas_.fillTriangle(place(triangle[0]), place(triangle[1]), place(triangle[2]),
                                 colourOf(t));
        }
        const std::vector<Edge> edges = edgesOf(mesh_);
        for (const Edge& edge : edges) {
            if (!edge.isBorder)
                drawThin(place(edge.from), place(edge.to));
        }
        for (const Edge& edge : edges) {
            if (edge.isBorder)
                canvas_.drawLine(place(edge.from), place(edge.to), 2, kInk);
        }
    }

private:
    Point2 place(int vertex) const {
        const qvGeom::MeshUV& uv = mesh_.getUVs()[vertex];
        return {kMargin + kSide * static_cast<double>(uv.u),
                kMargin + kSide * (1 - static_cast<double>(uv.v))};
    }

    /// Short edges are so many that they would hide what is under them.
    void drawThin(const Point2& from, const Point2& to) {
        constexpr double kShort = 3; // pixels
        constexpr double kLong = 15;
        constexpr double kWidth = 0.7;
        constexpr double kMostOpaque = 0.6;
        const double length = std::hypot(to.x - from.x, to.y - from.y);
        const double opacity =
            kMostOpaque * std::clamp((length - kShort) / (kLong - kShort), 0.0, 1.0);
        if (opacity > 0)
            canvas_.drawLine(from, to, kWidth, kInk, opacity);
    }

    const CompactMesh& mesh_;
    Canvas& canvas_;
};

Canvas emptySquare(int width) {
    Canvas canvas(width, kPictureSize, kPaper);
    const double far = kMargin + kSide;
    const Point2 corners[] = {{kMargin, kMargin}, {far, kMargin}, {far, far}, {kMargin, far}};
    for (int i = 0; i < 4; ++i)
        canvas.drawLine(corners[i], corners[(i + 1) % 4], 1, kFrame);
    return canvas;
}

} // namespace

Image drawLayout(const CompactMesh& mesh, const std::function<Colour(int)>& colourOf) {
    Canvas canvas = emptySquare(kPictureSize);
    LayoutPainter(mesh, canvas).paint(colourOf);
    return canvas.reduced();
}

Image drawStretch(const CompactMesh& mesh) {
    // As many times larger or smaller than the mean is the most that colours tell.
    constexpr double kLimit = 64;
    static const std::vector<std::string> kLabels = {"1/64", "1/16", "1/4", "1", "4", "16", "64"};

    double inLayout = 0;
    double onSurface = 0;
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        inLayout += std::abs(areaInLayout(mesh, t));
        onSurface += areaOnSurface(mesh, t);
    }
    Canvas canvas = emptySquare(kPictureSize + static_cast<int>(kScaleWidth));
    LayoutPainter(mesh, canvas).paint([&](int t) {
        const double stretch =
            std::abs(areaInLayout(mesh, t)) / areaOnSurface(mesh, t) * (onSurface / inLayout);
        const double place = 0.5 + 0.5 * std::log(stretch) / std::log(kLimit);
        return colourAt(divergingRamp(), std::isnan(place) ? 0.5 : place);
    });
    drawScale(canvas, {kPictureSize + 5.0, 0.25 * kPictureSize},
              {kPictureSize + 25.0, 0.75 * kPictureSize}, divergingRamp(), kLabels, kInk);
    return canvas.reduced();
}

} // namespace qvmesh
