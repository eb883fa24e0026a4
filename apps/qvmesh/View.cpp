#include "qvmesh/View.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <limits>

#include "qvGeom/foundation/geometry/BitVector.h"
#include "qvGeom/foundation/linear/Linear.h"
#include "qvGeom/view/GeomProjection.h"

#include "qvmesh/Failure.h"
#include "qvmesh/NumberList.h"
#include "qvmesh/formats/ParseNumber.h"

namespace qvmesh {

using qvLinear::Point;
using qvLinear::Vector;

namespace {

constexpr double kAngleOfView = 28; // degrees, of the height
constexpr double kFilled = 0.92;    // part of the picture that the mesh may take, along each side

Vector toDirection(const std::string& option, const std::string& text) {
    const std::vector<double> numbers = toNumbers(option, text);
    if (numbers.size() != 3)
        throw Failure(option + ": takes 3 numbers, not " + std::to_string(numbers.size()));
    Vector direction{numbers[0], numbers[1], numbers[2]};
    if (!direction.normalize())
        throw Failure(option + ": 0,0,0 is no direction");
    return direction;
}

/// The bits of the vertices that triangles use.
qvGeom::BitVector usedVertices(const qvGeom::CompactMesh& mesh) {
    qvGeom::BitVector used(mesh.getNumVertices());
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
        used.setBits(3, mesh.getTriangles()[t].v);
    return used;
}

} // namespace

void ViewOptions::declare(CLI::App& app) {
    app.add_option("--view", viewText_,
                   "Direction from the mesh to the eye, as x,y,z (default: " + viewText_ + ")")
        ->type_name("X,Y,Z");
    app.add_option("--up", upText_, "Direction that is up, as x,y,z (default: " + upText_ + ")")
        ->type_name("X,Y,Z");
    app.add_option("--size", sizeText_,
                   "Pixels of the picture across and down (default: " + sizeText_ + ")")
        ->type_name("WxH");
}

void ViewOptions::prepare() {
    constexpr int kLeast = 16;
    constexpr int kMost = 8192;
    constexpr int kMostPixels = 1 << 24;
    towardsEye_ = toDirection("--view", viewText_);
    up_ = toDirection("--up", upText_);
    std::string_view text = sizeText_;
    bool isSize = takeNumber(text, width_) && text.starts_with('x');
    if (isSize)
        text.remove_prefix(1);
    isSize = isSize && takeNumber(text, height_) && text.empty();
    if (!isSize)
        throw Failure("--size: '" + sizeText_ + "' is no size like 1000x800");
    if (std::min(width_, height_) < kLeast || std::max(width_, height_) > kMost ||
        width_ * height_ > kMostPixels)
        throw Failure("--size: must be from " + std::to_string(kLeast) + " to " +
                      std::to_string(kMost) + " pixels a side, and 16 million in all");
}

View::View(const qvGeom::CompactMesh& mesh, const ViewOptions& options, int width)
    : width_(width),
      height_(options.height()),
      mesh_(mesh) {
    const qvGeom::BitVector used = usedVertices(mesh);
    qvLinear::Range1d extents[3];
    for (int axis = 0; axis < 3; ++axis) {
        extents[axis].setEmpty();
        for (int v = 0; v < mesh.getNumVertices(); ++v) {
            if (used.test(v))
                extents[axis].include(qvLinear::widen(mesh.getVerticesRaw()[3 * v + axis]));
        }
    }
    const auto [x, y, z] = extents;
    const double radius = 0.5 * std::hypot(x.size(), y.size(), z.size());
    if (!(radius > 0))
        throw Failure("there is nothing to see: all triangles are in one place");
    const double scale = 1 / radius;
    toUnit_ = qvLinear::AffineMatrix(scale);
    for (int axis = 0; axis < 3; ++axis)
        toUnit_.m[3][axis] = -scale * 0.5 * (extents[axis].lo + extents[axis].hi);

    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        // Vertices that no triangle uses may be too far out for a float.
        const Point p = used.test(v) ? moved(qvLinear::widen(mesh.getVertices()[v])) : Point{};
        mesh_.getVertices()[v] = {qvLinear::narrow(p.x), qvLinear::narrow(p.y),
                                  qvLinear::narrow(p.z)};
    }
    aim(options);
    moveBack();
}

/// Sets the axes.
void View::aim(const ViewOptions& options) {
    back_ = options.towardsEye();
    right_ = cross(options.up(), back_);
    if (right_.length() < qvLinear::parallelTol)
        right_ = back_.orthogonalVector();
    right_.normalize();
    up_ = cross(back_, right_);
}

/// Sets the eye where the mesh touches both borders of the picture, across or down.
void View::moveBack() {
    constexpr double kNone = -std::numeric_limits<double>::infinity();
    const double aspect = static_cast<double>(width_) / height_;
    halfHeight_ = std::tan(qvLinear::toRadians(kAngleOfView) / 2);
    const double slopeY = kFilled * halfHeight_;
    const double slopeX = slopeY * aspect;

    // A vertex is seen when it lies inside the planes through the eye and the borders. Of each
    // plane the distance of the farthest vertex from one through the origin counts.
    double toRight = kNone, toLeft = kNone, toTop = kNone, toBottom = kNone;
    double nearest = kNone, farthest = -kNone;
    const qvGeom::BitVector used = usedVertices(mesh_);
    for (int v = 0; v < mesh_.getNumVertices(); ++v) {
        if (!used.test(v))
            continue;
        const Vector p = qvLinear::widen(mesh_.getVertices()[v]) - Point{};
        const double x = dot(p, right_), y = dot(p, up_), z = dot(p, back_);
        toRight = std::max(toRight, x + slopeX * z);
        toLeft = std::max(toLeft, -x + slopeX * z);
        toTop = std::max(toTop, y + slopeY * z);
        toBottom = std::max(toBottom, -y + slopeY * z);
        nearest = std::max(nearest, z);
        farthest = std::min(farthest, z);
    }
    constexpr double kClearance = 0.05; // before the eye, if the mesh is thin
    const double distance = std::max({(toRight + toLeft) / (2 * slopeX),
                                      (toTop + toBottom) / (2 * slopeY), nearest + kClearance});
    eye_ =
        Point{} + (toRight - toLeft) / 2 * right_ + (toTop - toBottom) / 2 * up_ + distance * back_;

    qvGeom::AngleAspect lens;
    lens.setAngleOfViewRad(qvLinear::toRadians(kAngleOfView));
    lens.setAspectRatio(aspect);
    lens.setDepthRange(0.9 * (distance - nearest), 1.1 * (distance - farthest));
    qvLinear::ProjMatrix toClip;
    lens.getMatrix(toClip, false);
    qvLinear::AffineMatrix toEye;
    toEye.setFrame(eye_, right_, up_, back_);
    [[maybe_unused]] const bool isInverted = toEye.invert(toEye); // its axes are orthonormal
    projection_ = qvLinear::ProjMatrix(toEye) * toClip;
}

qvLinear::Line View::rayThrough(double column, double row) const {
    const double halfWidth = halfHeight_ * width_ / height_;
    return {eye_, (2 * column / width_ - 1) * halfWidth * right_ +
                      (1 - 2 * row / height_) * halfHeight_ * up_ - back_};
}

} // namespace qvmesh
