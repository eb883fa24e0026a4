#include "qvmesh/pictures/LayoutPicture.h"

#include <algorithm>
#include <cmath>

#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/linear/Point2.h"

#include "qvmesh/LayoutFacts.h"
#include "qvmesh/MeshEdges.h"
#include "qvmesh/pictures/Canvas.h"
#include "qvmesh/pictures/ColourScale.h"

namespace qvmesh {
namespace {

using qvGeom::CompactMesh;
using qvLinear::Point2;

constexpr Colour kFrame = {205, 208, 214};

constexpr double kSide = 960; // of the unit square, in pixels
constexpr double kMargin = 30;
constexpr double kScaleWidth = 100;

constexpr int kPictureSize = static_cast<int>(kSide + 2 * kMargin);

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
        const std::vector<MeshEdge> edges = edgesOf(mesh_);
        for (const MeshEdge& edge : edges) {
            if (!edge.isBorder)
                canvas_.drawThinLine(place(edge.from), place(edge.to), kInk);
        }
        for (const MeshEdge& edge : edges) {
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
