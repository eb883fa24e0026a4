/// \file
/// Triangles and lines as samples on a grid of pixels.
///
/// Coordinates are normalised: [0, 1] on each axis is the image.
#pragma once

#include "qvGeom/Export.h"
#include "qvGeom/foundation/linear/Line.h"

namespace qvGeom {

/// Where the pixels of an image take their samples. All of the image, `border` pixels past the
/// outermost samples, is the unit square: 0 puts samples on its border, 0.5 in the middle of
/// pixels.
struct SampleGrid {
    int maxX, maxY; ///< The last column and the last row.
    float border;
    float sizeX, sizeY; ///< How many pixels make up 1.
    float scaleX, scaleY;
    float offsetX, offsetY;

    SampleGrid(int width, int height, float withBorder)
        : maxX(width - 1),
          maxY(height - 1),
          border(withBorder),
          sizeX(static_cast<float>(maxX) + 2.0F * border),
          sizeY(static_cast<float>(maxY) + 2.0F * border),
          scaleX(1.0F / sizeX),
          scaleY(1.0F / sizeY),
          offsetX(scaleX * border),
          offsetY(scaleY * border) {}

    float x(int column) const { return static_cast<float>(column) * scaleX + offsetX; }

    float y(int row) const { return static_cast<float>(row) * scaleY + offsetY; }
};

/// Finds the samples in triangles. Those on an edge are in, so that two triangles share them.
class QVGEOM_API MeshScanConverter {
public:
    /// Takes a sample of the triangle at p0 + u (p1 - p0) + v (p2 - p0).
    using PointSampleFunc = void (*)(void* data, int x, int y, float u, float v);
    /// Takes the size in pixels of the rectangle in which a triangle's samples are sought.
    using TriangleFunc = void (*)(void* data, int width, int height);

    MeshScanConverter(int width, int height, float border) : grid_(width, height, border) {}

    /// Null for none.
    void setPointSampleCB(PointSampleFunc func, void* data);
    /// Called before the samples of a triangle, also when there are none; not for one beside the
    /// image, or with a coordinate that is not finite. Null for none.
    void setTriangleCB(TriangleFunc func, void* data);

    /// Calls the point function for every sample of the triangle, row by row from the lowest y, and
    /// from the lowest x. Either winding will do. Weights are those of
    /// isPointInTriangleDefinitive(), or, in triangles degenerate for it, found in double
    /// precision; one without any area, or with a coordinate that is not finite, has no samples.
    /// Returns the number of samples.
    int scanTriangle(float x0, float y0, float x1, float y1, float x2, float y2) const;

    const SampleGrid& getGrid() const { return grid_; }

private:
    SampleGrid grid_;
    PointSampleFunc pointFunc_ = nullptr;
    void* pointData_ = nullptr;
    TriangleFunc triangleFunc_ = nullptr;
    void* triangleData_ = nullptr;
};

/// Finds the pixels of lines.
class QVGEOM_API LineScanConverter {
public:
    /// Takes a pixel of the line, and the point of the line closest to its sample: `t` is 0 at the
    /// start and 1 at the end. `reversed` tells that pixels come from the end to the start.
    using PixelFunc = void (*)(void* data, int x, int y, double t, bool reversed);

    LineScanConverter(int width, int height, float border, PixelFunc func, void* data);

    /// Calls the function for one pixel in each column of the line, from the lowest, or, when it
    /// is steeper than 45 degrees in pixels, in each row. Ends are taken outwards to whole pixels
    /// and into the image. Where both ends agree in a coordinate, the start is rounded up and the
    /// end down, so that even a level line may change rows once. Returns the number of pixels.
    int scanLine(float x0, float y0, float x1, float y1);

private:
    int bresenhams(int x0, int y0, int x1, int y1) const;
    double paramAt(int x, int y) const;

    SampleGrid grid_;
    PixelFunc func_;
    void* data_;
    qvLinear::ParamLine line_{};
};

} // namespace qvGeom
