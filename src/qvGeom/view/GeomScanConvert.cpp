#include "qvGeom/view/GeomScanConvert.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "qvGeom/view/detail/TriangleScan.h"

namespace qvGeom {

using qvLinear::Point;

namespace {

/// The pixels at or below, and at or above, a position, but in the image; NaN counts as 0.
int pixelBelow(float at, int max) {
    return !(at > 0.0F) ? 0 : at >= static_cast<float>(max) ? max : static_cast<int>(at);
}

int pixelAbove(float at, int max) {
    const int below = pixelBelow(at, max);
    return below + (below < max && static_cast<float>(below) < at);
}

/// The whole pixels outwards of a line's ends on one axis; equal ends are not moved apart.
std::pair<int, int> pixelsOf(float start, float end, int max) {
    const float size = static_cast<float>(max);
    if (end > start)
        return {pixelBelow(start * size, max), pixelAbove(end * size, max)};
    return {pixelAbove(start * size, max), pixelBelow(end * size, max)};
}

} // namespace

void MeshScanConverter::setPointSampleCB(PointSampleFunc func, void* data) {
    pointFunc_ = func;
    pointData_ = data;
}

void MeshScanConverter::setTriangleCB(TriangleFunc func, void* data) {
    triangleFunc_ = func;
    triangleData_ = data;
}

int MeshScanConverter::scanTriangle(float x0, float y0, float x1, float y1, float x2,
                                    float y2) const {
    const auto onTriangle = [this](int width, int height) {
        triangleFunc_(triangleData_, width, height);
    };
    const auto onGroup = [this](const detail::PixelGroup& group, const auto& u, const auto& v) {
        if (pointFunc_)
            group.forEach([&](int k, int x, int y) { pointFunc_(pointData_, x, y, u[k], v[k]); });
    };
    return detail::scanTriangle(grid_, {x0, y0}, {x1, y1}, {x2, y2}, triangleFunc_ != nullptr,
                                onTriangle, onGroup);
}

LineScanConverter::LineScanConverter(int width, int height, float border, PixelFunc func,
                                     void* data)
    : grid_(width, height, border),
      func_(func),
      data_(data) {}

int LineScanConverter::scanLine(float x0, float y0, float x1, float y1) {
    if (grid_.maxX < 0 || grid_.maxY < 0)
        return 0;
    const Point start{x0, y0, 0.0}, end{x1, y1, 0.0};
    line_ = {start, end - start};
    const auto [startX, endX] = pixelsOf(x0, x1, grid_.maxX);
    const auto [startY, endY] = pixelsOf(y0, y1, grid_.maxY);
    return bresenhams(startX, startY, endX, endY);
}

int LineScanConverter::bresenhams(int x0, int y0, int x1, int y1) const {
    const bool steep = std::abs(y1 - y0) > std::abs(x1 - x0);
    if (steep) {
        std::swap(x0, y0);
        std::swap(x1, y1);
    }
    const bool reversed = x0 > x1;
    if (reversed) {
        std::swap(x0, x1);
        std::swap(y0, y1);
    }
    const int length = x1 - x0, rise = std::abs(y1 - y0), step = y1 > y0 ? 1 : -1;
    int error = 0;
    for (int major = x0, minor = y0; major <= x1; ++major) {
        const int x = steep ? minor : major, y = steep ? major : minor;
        if (func_)
            func_(data_, x, y, paramAt(x, y), reversed);
        error += rise;
        if (error >= length - error) { // twice the error, without overflow
            minor += step;
            error -= length;
        }
    }
    return length + 1;
}

double LineScanConverter::paramAt(int x, int y) const {
    const Point sample{grid_.x(x), grid_.y(y), 0.0};
    return qvLinear::narrow(std::clamp(line_.projectParam(sample), 0.0, 1.0));
}

} // namespace qvGeom
