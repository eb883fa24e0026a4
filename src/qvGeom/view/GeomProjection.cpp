#include "qvGeom/view/GeomProjection.h"

#include <cmath>

#include "qvGeom/foundation/base/Diagnostics.h"
#include "qvGeom/foundation/linear/AffineMatrix.h"
#include "qvGeom/foundation/linear/Convert.h"
#include "qvGeom/foundation/linear/Line.h"
#include "qvGeom/foundation/linear/ProjMatrix.h"
#include "qvGeom/foundation/linear/Range.h"
#include "qvGeom/foundation/linear/Tolerances.h"

namespace qvGeom {

using qvLinear::AffineMatrix;
using qvLinear::AffineMatrix2;
using qvLinear::ParamPlane;
using qvLinear::Point2;
using qvLinear::ProjMatrix;
using qvLinear::Range2d;
using qvLinear::Tuple2;

namespace {

constexpr double kRadianTol = qvLinear::toRadians(qvLinear::degreeTol);

bool isClose(double a, double b, double tol = qvLinear::epsilonTol) {
    return std::abs(a - b) < tol;
}

/// Sets what the depth range does to a perspective matrix.
void setPerspectiveDepth(ProjMatrix& m, double n, double f, bool infiniteFar) {
    // The limit of the finite terms, short of it so that points at infinity stay inside in float.
    constexpr double kShort = qvLinear::widen(qvLinear::epsilonTolFlt);
    m.m[2][2] = infiniteFar ? kShort - 1.0 : (n + f) / (n - f);
    m.m[3][2] = infiniteFar ? (kShort - 2.0) * n : 2.0 * n * f / (n - f);
    m.m[2][3] = -1.0;
}

/// One scale and one translation for each axis.
struct ScaleAndMove {
    double scale[3], move[3];

    void get(AffineMatrix& m) const {
        m.identity();
        for (int k = 0; k < 3; ++k) {
            m.m[k][k] = scale[k];
            m.m[3][k] = move[k];
        }
    }

    void get(AffineMatrix2& m) const {
        m = {{{scale[0], 0.0}, {0.0, scale[1]}, {move[0], move[1]}}};
    }

    void get(ProjMatrix& m) const {
        AffineMatrix affine;
        get(affine);
        m = ProjMatrix(affine);
    }
};

ScaleAndMove toWindow(double x, double y, double w, double h) {
    return {{w / 2.0, h / 2.0, 0.5}, {x + w / 2.0, y + h / 2.0, 0.5}};
}

ScaleAndMove fromWindow(double x, double y, double w, double h) {
    return {{2.0 / w, 2.0 / h, 2.0}, {-(x + w / 2.0) * 2.0 / w, -(y + h / 2.0) * 2.0 / h, -1.0}};
}

} // namespace

double getAspectRatio(const ProjMatrix& m) { return m.m[1][1] / m.m[0][0]; }

double getVerticalAngleRadians(const ProjMatrix& m) { return 2.0 * std::atan(1.0 / m.m[1][1]); }

void AngleAspect::setDepthRange(double nearDist, double farDist) {
    near_ = nearDist;
    far_ = farDist;
}

double AngleAspect::getHeightAtDepth(double d) const { return 2.0 * std::tan(angle_ / 2.0) * d; }

void AngleAspect::getMatrix(ProjMatrix& m, bool infiniteFar) const {
    const double c = 1.0 / std::tan(angle_ / 2.0);
    m = ProjMatrix();
    m.m[0][0] = c / aspect_;
    m.m[1][1] = c;
    setPerspectiveDepth(m, near_, far_, infiniteFar);
}

void AngleAspect::getEyeSpaceFrustum(EyeSpaceFrustum& frustum) const {
    const double halfHeight = near_ * std::tan(angle_ / 2.0);
    const double halfWidth = halfHeight * aspect_;
    frustum.setOrthographic(false);
    frustum.setDepthRange(near_, far_, false);
    frustum.setFrame({-halfWidth, -halfHeight}, {halfWidth, halfHeight});
}

bool AngleAspect::operator==(const AngleAspect& other) const {
    return isClose(angle_, other.angle_, kRadianTol) && isClose(aspect_, other.aspect_) &&
           isClose(near_, other.near_) && isClose(far_, other.far_);
}

void AngleAspect::debugPrint(qvOS::DebugChannel& channel, const char* name) const {
    if (name)
        channel.print("%s AngleAspect is\n", name);
    else
        channel.print("unnamed AngleAspect is\n");
    channel.print("%s lens is\n", name); // printf writes null as (null)
    channel.print("  aov %.12f\n", angle_);
    channel.print("  asp %.12f\n", aspect_);
    channel.print("  nea %.12f\n", near_);
    channel.print("  far %.12f\n", far_);
}

void EyeSpaceFrustum::setOrthographic(bool orthographic, double depth) {
    if (orthographic == orthographic_)
        return;
    ParamPlane plane;
    getPlaneAtDepth(depth, plane);
    double halfWidth = plane.u.x / 2.0, halfHeight = plane.v.y / 2.0;
    if (orthographic_) {
        const double scale = near_ / depth;
        halfWidth *= scale;
        halfHeight *= scale;
    }
    setFrame({-halfWidth, -halfHeight}, {halfWidth, halfHeight});
    orthographic_ = orthographic;
}

void EyeSpaceFrustum::setFrame(const Tuple2& lowerLeft, const Tuple2& upperRight) {
    left_ = lowerLeft.x;
    bottom_ = lowerLeft.y;
    right_ = upperRight.x;
    top_ = upperRight.y;
}

void EyeSpaceFrustum::setDepthRange(double nearDist, double farDist, bool keepAngle) {
    if (keepAngle && !orthographic_) {
        AngleAspect lens;
        getAngleAspect(lens);
        lens.setDepthRange(nearDist, farDist);
        lens.getEyeSpaceFrustum(*this);
        return;
    }
    near_ = nearDist;
    far_ = farDist;
}

void EyeSpaceFrustum::getFrame(Tuple2& lowerLeft, Tuple2& upperRight) const {
    lowerLeft = {left_, bottom_};
    upperRight = {right_, top_};
}

double EyeSpaceFrustum::getHeightAtDepth(double d) const {
    const double height = top_ - bottom_;
    return orthographic_ ? height : height * d / near_;
}

void EyeSpaceFrustum::getPlaneAtDepth(double d, ParamPlane& plane) const {
    const double h = getHeightAtDepth(d);
    const double w = orthographic_ ? right_ - left_ : getWidthForHeight(h);
    plane = {{-w / 2.0, -h / 2.0, -d}, {w, 0.0, 0.0}, {0.0, h, 0.0}};
}

void EyeSpaceFrustum::getMatrix(ProjMatrix& m, bool infiniteFar) const {
    if (orthographic_)
        getOrthographicMatrix(m);
    else
        getPerspectiveMatrix(m, infiniteFar);
}

void EyeSpaceFrustum::getPerspectiveMatrix(ProjMatrix& m, bool infiniteFar) const {
    m = ProjMatrix();
    m.m[0][0] = 2.0 * near_ / (right_ - left_);
    m.m[1][1] = 2.0 * near_ / (top_ - bottom_);
    m.m[2][0] = (right_ + left_) / (right_ - left_);
    m.m[2][1] = (top_ + bottom_) / (top_ - bottom_);
    setPerspectiveDepth(m, near_, far_, infiniteFar);
}

void EyeSpaceFrustum::getOrthographicMatrix(ProjMatrix& m) const {
    m = ProjMatrix();
    m.m[0][0] = 2.0 / (right_ - left_);
    m.m[1][1] = 2.0 / (top_ - bottom_);
    m.m[2][2] = -2.0 / (far_ - near_);
    m.m[3][0] = -(right_ + left_) / (right_ - left_);
    m.m[3][1] = -(top_ + bottom_) / (top_ - bottom_);
    m.m[3][2] = -(far_ + near_) / (far_ - near_);
    m.m[3][3] = 1.0;
}

void EyeSpaceFrustum::getInverseMatrix(ProjMatrix& m) const {
    const double scale = orthographic_ ? 2.0 : 2.0 * near_;
    m = ProjMatrix();
    m.m[0][0] = (right_ - left_) / scale;
    m.m[1][1] = (top_ - bottom_) / scale;
    m.m[3][0] = (right_ + left_) / scale;
    m.m[3][1] = (top_ + bottom_) / scale;
    if (orthographic_) {
        m.m[2][2] = -(far_ - near_) / 2.0;
        m.m[3][2] = -(near_ + far_) / 2.0;
        m.m[3][3] = 1.0;
    } else {
        m.m[2][3] = -(far_ - near_) / (2.0 * far_ * near_);
        m.m[3][2] = -1.0;
        m.m[3][3] = (far_ + near_) / (2.0 * far_ * near_);
    }
}

void EyeSpaceFrustum::getAngleAspect(AngleAspect& lens) const {
    ProjMatrix m;
    getPerspectiveMatrix(m, false);
    lens.setAngleOfViewRad(getVerticalAngleRadians(m));
    lens.setAspectRatio(getAspectRatio());
    lens.setDepthRange(near_, far_);
}

bool EyeSpaceFrustum::operator==(const EyeSpaceFrustum& other) const {
    return orthographic_ == other.orthographic_ && isClose(left_, other.left_) &&
           isClose(right_, other.right_) && isClose(top_, other.top_) &&
           isClose(bottom_, other.bottom_) && isClose(near_, other.near_) &&
           isClose(far_, other.far_);
}

void EyeSpaceFrustum::debugPrint(qvOS::DebugChannel& channel, const char* name) const {
    if (name)
        channel.print("%s frustum is\n", name);
    else
        channel.print("unnamed frustum is\n");
    channel.print("  top %.12f\n", top_);
    channel.print("  bot %.12f\n", bottom_);
    channel.print("  lef %.12f\n", left_);
    channel.print("  rig %.12f\n", right_);
    channel.print("  nea %.12f\n", near_);
    channel.print("  far %.12f\n", far_);
}

void Viewport::setOrigin(double x, double y) {
    x_ = x;
    y_ = y;
}

void Viewport::setSize(double w, double h) {
    width_ = w;
    height_ = h;
}

void Viewport::setDepthRange(double nearDepth, double farDepth) {
    nearDepth_ = nearDepth;
    farDepth_ = farDepth;
}

void Viewport::getSize(double& w, double& h) const {
    w = width_;
    h = height_;
}

void Viewport::getViewTransform(AffineMatrix& m) const { toWindow(x_, y_, width_, height_).get(m); }

void Viewport::getViewTransform(AffineMatrix2& m) const {
    toWindow(x_, y_, width_, height_).get(m);
}

void Viewport::getViewTransform(ProjMatrix& m) const { toWindow(x_, y_, width_, height_).get(m); }

void Viewport::getInverseViewTransform(AffineMatrix& m) const {
    fromWindow(x_, y_, width_, height_).get(m);
}

void Viewport::getInverseViewTransform(AffineMatrix2& m) const {
    fromWindow(x_, y_, width_, height_).get(m);
}

void Viewport::getInverseViewTransform(ProjMatrix& m) const {
    fromWindow(x_, y_, width_, height_).get(m);
}

void Viewport::getPickTransform(const Range2d& region, AffineMatrix& m) const {
    const Point2 c = region.center();
    const double sx = region.width() > 0.0 ? 1.0 / region.width() : 1.0;
    const double sy = region.height() > 0.0 ? 1.0 / region.height() : 1.0;
    m.identity();
    m.m[0][0] = width_ * sx;
    m.m[1][1] = height_ * sy;
    m.m[3][0] = (width_ - 2.0 * (c.x - x_)) * sx;
    m.m[3][1] = (height_ - 2.0 * (c.y - y_)) * sy;
}

bool Viewport::operator==(const Viewport& other) const {
    return isClose(x_, other.x_) && isClose(y_, other.y_) && isClose(width_, other.width_) &&
           isClose(height_, other.height_) && isClose(nearDepth_, other.nearDepth_) &&
           isClose(farDepth_, other.farDepth_);
}

} // namespace qvGeom
