/// \file
/// Where a mesh is looked at from.
#pragma once

#include <string>

#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/linear/Line.h"
#include "qvGeom/foundation/linear/ProjMatrix.h"

namespace CLI {
class App;
}

namespace qvmesh {

/// The options that choose a view.
class ViewOptions {
public:
    void declare(CLI::App& app);
    /// Reads what was given. Throws Failure.
    void prepare();

    int width() const { return width_; }

    int height() const { return height_; }

    const qvLinear::Vector& towardsEye() const { return towardsEye_; }

    const qvLinear::Vector& up() const { return up_; }

private:
    std::string viewText_ = "-2,1.5,3";
    std::string upText_ = "0,1,0";
    std::string sizeText_ = "1000x800";
    int width_ = 0;
    int height_ = 0;
    qvLinear::Vector towardsEye_{};
    qvLinear::Vector up_{};
};

/// A mesh moved to the origin and scaled to a radius of 1, and a camera before which it just fits
/// into a picture.
class View {
public:
    /// Looks at a picture `width` wide, of the height that the options say. Throws Failure when the
    /// triangles are all in one place.
    View(const qvGeom::CompactMesh& mesh, const ViewOptions& options, int width);

    int width() const { return width_; }

    int height() const { return height_; }

    const qvGeom::CompactMesh& mesh() const { return mesh_; }

    /// Takes a point of the mesh as it was to where it is now.
    qvLinear::Point moved(const qvLinear::Point& p) const { return p * toUnit_; }

    /// Maps what is seen to [-1, 1] on each axis.
    const qvLinear::ProjMatrix& projection() const { return projection_; }

    // The axes of the camera.
    const qvLinear::Point& eye() const { return eye_; }

    const qvLinear::Vector& right() const { return right_; }

    const qvLinear::Vector& up() const { return up_; }

    const qvLinear::Vector& back() const { return back_; }

    /// From the eye through a place of the picture, in pixels from its upper left corner.
    qvLinear::Line rayThrough(double column, double row) const;

private:
    void aim(const ViewOptions& options);
    void moveBack();

    int width_;
    int height_;
    qvGeom::CompactMesh mesh_;
    qvLinear::AffineMatrix toUnit_;
    qvLinear::ProjMatrix projection_;
    qvLinear::Point eye_{};
    qvLinear::Vector right_{}, up_{}, back_{};
    double halfHeight_ = 0; // of what is seen, at a distance of 1
};

} // namespace qvmesh
