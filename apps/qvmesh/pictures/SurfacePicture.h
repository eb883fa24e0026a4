/// \file
/// Pictures of a mesh in space.
#pragma once

#include <functional>
#include <vector>

#include "qvGeom/foundation/linear/Point.h"
#include "qvGeom/view/GeomDepthMap.h"

#include "qvmesh/pictures/Image.h"

namespace qvmesh {

class Canvas;
class View;

/// Draws what is seen in a view to the left of a canvas as high as it.
class SurfacePicture {
public:
    enum class Shading { Smooth, Flat };

    /// The colour of a point of a triangle before light falls on it.
    using Paint = std::function<Colour(int triangle, const double* weights)>;

    /// Both are borrowed.
    SurfacePicture(const View& view, Canvas& canvas);

    /// Lets the light come from above the viewer's left shoulder. Back faces are turned towards
    /// blue. Smooth shading spares sharp edges.
    void drawSurface(Shading shading, const Paint& paint);
    /// Draws what of a line in the space of the view's mesh is not behind the surface.
    void drawLine(const qvLinear::Point& from, const qvLinear::Point& to, double width,
                  Colour colour, double opacity = 1);
    void drawThinLine(const qvLinear::Point& from, const qvLinear::Point& to, Colour colour);

private:
    class Light;

    struct Place {
        double column, row, depth; // in fine pixels
    };

    Place project(const qvLinear::Point& p) const;
    void findVisibleTriangles();
    void pushSurfaceBack();
    float depthAt(int column, int row) const;

    const View& view_;
    Canvas& canvas_;
    int numColumns_;
    int numRows_;
    qvGeom::MeshDepthMap depths_; // its rows go upwards
    bool isPushedBack_ = false;
    std::vector<int> triangleAt_; // of each fine pixel from the top; -1: none
};

} // namespace qvmesh
