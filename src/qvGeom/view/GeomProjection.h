/// \file
/// Camera models: a lens, a frustum, a viewport, and the matrices they make.
///
/// The eye is at the origin and looks along -z; near and far are distances from it. Projections map
/// what is seen to [-1, 1] on each axis. Parameters are not checked: a zero width, height, aspect,
/// angle or near distance gives infinities and NaNs.
#pragma once

#include "qvGeom/Export.h"
#include "qvGeom/foundation/linear/Angle.h"
#include "qvGeom/foundation/linear/Point2.h"

namespace qvLinear {
struct AffineMatrix;
struct AffineMatrix2;
struct ParamPlane;
struct ProjMatrix;
struct Range2d;
} // namespace qvLinear

namespace qvOS {
class DebugChannel;
}

namespace qvGeom {

class EyeSpaceFrustum;

/// Returns width over height of what a perspective matrix shows.
QVGEOM_API double getAspectRatio(const qvLinear::ProjMatrix& m);
/// Returns the vertical angle of view of a perspective matrix.
QVGEOM_API double getVerticalAngleRadians(const qvLinear::ProjMatrix& m);

/// A symmetric perspective lens.
class QVGEOM_API AngleAspect {
public:
    void setAngleOfViewRad(double angle) { angle_ = angle; }

    void setAspectRatio(double aspect) { aspect_ = aspect; }

    void setDepthRange(double nearDist, double farDist);

    /// The vertical angle of view.
    double getAngleOfViewRad() const { return angle_; }

    /// Width over height.
    double getAspectRatio() const { return aspect_; }

    double getNearDist() const { return near_; }

    double getFarDist() const { return far_; }

    /// The height that is seen at the distance `d`.
    double getHeightAtDepth(double d) const;

    double getWidthForHeight(double h) const { return h * aspect_; }

    /// Replaces `m` by the projection; with `infiniteFar` everything beyond the near plane is seen,
    /// up to float rounding.
    void getMatrix(qvLinear::ProjMatrix& m, bool infiniteFar) const;
    void getEyeSpaceFrustum(EyeSpaceFrustum& frustum) const;

    /// Whether the angles differ by less than `degreeTol` degrees and all else by less than
    /// `epsilonTol`.
    bool operator==(const AngleAspect& other) const;

    /// Prints the lens under two headings with its name, which may be null.
    void debugPrint(qvOS::DebugChannel& channel, const char* name) const;

private:
    double angle_ = qvLinear::toRadians(55.0);
    double aspect_ = 1.0;
    double near_ = 1.0;
    double far_ = 100.0;
};

/// A view volume given by its frame: the rectangle on the near plane, or, when orthographic, the
/// rectangle seen at any depth. It need not be centred.
class QVGEOM_API EyeSpaceFrustum {
public:
    /// Sets the flag alone; the frame then has another meaning.
    void setOrthographic(bool orthographic) { orthographic_ = orthographic; }

    /// Sets the flag so that the same is seen at `depth`, centred. Does nothing when it has that
    /// value already.
    void setOrthographic(bool orthographic, double depth);
    void setFrame(const qvLinear::Tuple2& lowerLeft, const qvLinear::Tuple2& upperRight);
    /// Moves near and far plane. With `keepAngle` a perspective frame is rescaled to the new near
    /// plane, and centred.
    void setDepthRange(double nearDist, double farDist, bool keepAngle);

    bool getOrthographic() const { return orthographic_; }

    void getFrame(qvLinear::Tuple2& lowerLeft, qvLinear::Tuple2& upperRight) const;

    double getNearDist() const { return near_; }

    double getFarDist() const { return far_; }

    /// Width over height.
    double getAspectRatio() const { return (right_ - left_) / (top_ - bottom_); }

    /// The height that is seen at the distance `d`.
    double getHeightAtDepth(double d) const;

    double getWidthForHeight(double h) const { return getAspectRatio() * h; }

    /// Replaces `plane` by the rectangle that is seen at the distance `d`, moved to the view axis.
    void getPlaneAtDepth(double d, qvLinear::ParamPlane& plane) const;

    /// Replaces `m` by the projection. With `infiniteFar`, which counts for perspective only,
    /// everything beyond the near plane is seen, up to float rounding.
    void getMatrix(qvLinear::ProjMatrix& m, bool infiniteFar) const;
    /// Replaces `m` by the inverse of the projection with the far plane where it is.
    void getInverseMatrix(qvLinear::ProjMatrix& m) const;
    /// Replaces `lens` by the centred lens of the same height and aspect; the frame is taken to be
    /// on the near plane.
    void getAngleAspect(AngleAspect& lens) const;

    /// Whether the flags are equal and all else differs by less than `epsilonTol`.
    bool operator==(const EyeSpaceFrustum& other) const;

    /// Prints the frustum under a heading with its name, which may be null.
    void debugPrint(qvOS::DebugChannel& channel, const char* name) const;

private:
    void getPerspectiveMatrix(qvLinear::ProjMatrix& m, bool infiniteFar) const;
    void getOrthographicMatrix(qvLinear::ProjMatrix& m) const;

    double left_ = -1.0;
    double right_ = 1.0;
    double top_ = 1.0;
    double bottom_ = -1.0;
    double near_ = 1.0;
    double far_ = 100.0;
    bool orthographic_ = false;
};

/// The window that what a projection shows is drawn in.
class QVGEOM_API Viewport {
public:
    void setOrigin(double x, double y);
    void setSize(double w, double h);
    /// Is kept for the caller and takes part in comparisons; no transform uses it.
    void setDepthRange(double nearDepth, double farDepth);

    void getSize(double& w, double& h) const;

    /// Width over height.
    double getAspectRatio() const { return width_ / height_; }

    /// Replaces `m` by the map from [-1, 1] on each axis to the window, and to [0, 1] in depth.
    void getViewTransform(qvLinear::AffineMatrix& m) const;
    void getViewTransform(qvLinear::AffineMatrix2& m) const;
    void getViewTransform(qvLinear::ProjMatrix& m) const;
    void getInverseViewTransform(qvLinear::AffineMatrix& m) const;
    void getInverseViewTransform(qvLinear::AffineMatrix2& m) const;
    void getInverseViewTransform(qvLinear::ProjMatrix& m) const;
    /// Replaces `m` by the map, applied after the projection, that makes a region of the window
    /// fill [-1, 1]. An axis on which the region has no extent is not magnified by it.
    void getPickTransform(const qvLinear::Range2d& region, qvLinear::AffineMatrix& m) const;

    /// Whether all six numbers differ by less than `epsilonTol`.
    bool operator==(const Viewport& other) const;

private:
    double x_ = 0.0;
    double y_ = 0.0;
    double width_ = 1.0;
    double height_ = 1.0;
    double nearDepth_ = 0.0;
    double farDepth_ = 1.0;
};

} // namespace qvGeom
