/// \file
/// Axis-aligned boxes in single precision.
#pragma once

#include <cfloat>
#include <cmath>
#include <concepts>
#include <type_traits>

#include "qvGeom/Export.h"
#include "qvGeom/foundation/linear/Convert.h"
#include "qvGeom/foundation/linear/Range.h"

namespace qvGeom {

/// An axis-aligned box: six contiguous floats, min x, y, z then max x, y, z.
///
/// The invalid box holds nothing: its minimum is the largest float and its
/// maximum the most negative one, so that extending needs no first case.
/// NaN coordinates never move a side.
struct QVGEOM_API BoundingBox {
    float min[3];
    float max[3];

    /// The invalid box.
    BoundingBox() { setInvalid(); }

    BoundingBox(const qvLinear::PointFlt& minimum, const qvLinear::PointFlt& maximum)
        : min{minimum.x, minimum.y, minimum.z},
          max{maximum.x, maximum.y, maximum.z} {}

    /// Takes six doubles, min x, y, z then max x, y, z, rounded to nearest.
    explicit BoundingBox(const double* minMax);

    static BoundingBox invalid() { return {}; }

    /// Takes the range rounded to nearest; an empty range gives the invalid box.
    void set(const qvLinear::Range3d& range);

    /// The same; a template so that `box = {}` still means the invalid box.
    template <std::same_as<qvLinear::Range3d> Range>
    BoundingBox& operator=(const Range& range) {
        set(range);
        return *this;
    }

    void setInvalid() {
        for (int axis = 0; axis < 3; ++axis) {
            min[axis] = FLT_MAX;
            max[axis] = -FLT_MAX;
        }
    }

    /// False when the minimum lies above the maximum, or either is NaN, on any axis.
    bool isValid() const { return min[0] <= max[0] && min[1] <= max[1] && min[2] <= max[2]; }

    void extend(const qvLinear::PointFlt& p) {
        extendAxis(0, p.x, p.x);
        extendAxis(1, p.y, p.y);
        extendAxis(2, p.z, p.z);
    }

    void extend(const BoundingBox& box) {
        for (int axis = 0; axis < 3; ++axis)
            extendAxis(axis, box.min[axis], box.max[axis]);
    }

    /// Moves every side outwards by `margin`; the invalid box stays as it is.
    void extend(float margin);

    /// Grows the shorter sides about the centre until all are as long as the
    /// longest, up to float rounding; the invalid box stays as it is.
    void extendToCube();

    /// Replaces the box with that of its eight transformed corners, computed
    /// in double and rounded to nearest. A box that is not valid becomes the
    /// invalid box.
    void transform(const qvLinear::AffineMatrix& matrix);
    void transform(const qvLinear::AffineMatrixFlt& matrix);

    qvLinear::PointFlt minPt() const { return {min[0], min[1], min[2]}; }

    qvLinear::PointFlt maxPt() const { return {max[0], max[1], max[2]}; }

    qvLinear::Point center() const {
        return qvLinear::combine(0.5, qvLinear::widen(minPt()), 0.5, qvLinear::widen(maxPt()));
    }

    /// Halfway between the sides on one axis.
    float middle(int axis) const { return 0.5F * (min[axis] + max[axis]); }

    /// Returns the distance between opposite corners; 0 when not valid.
    double diagonalLength() const;

    /// True for points on the surface as well.
    bool contains(const qvLinear::PointFlt& p) const {
        return min[0] <= p.x && p.x <= max[0] && min[1] <= p.y && p.y <= max[1] && min[2] <= p.z &&
               p.z <= max[2];
    }

    /// True when the boxes share a point; touching counts.
    bool intersects(const BoundingBox& box) const {
        return intersects2D(box) && min[2] <= box.max[2] && box.min[2] <= max[2];
    }

    /// The same for x and y alone.
    bool intersects2D(const BoundingBox& box) const {
        return min[0] <= box.max[0] && box.min[0] <= max[0] && min[1] <= box.max[1] &&
               box.min[1] <= max[1];
    }

    /// Returns the distance from `p` to the box, 0 inside.
    double distance(const qvLinear::PointFlt& p) const { return std::sqrt(distance2(p)); }

    /// Returns the squared distance from `p` to the box, 0 inside.
    double distance2(const qvLinear::PointFlt& p) const {
        const double x = axisDistance(0, p.x);
        const double y = axisDistance(1, p.y);
        const double z = axisDistance(2, p.z);
        return x * x + y * y + z * z;
    }

    bool operator==(const BoundingBox&) const = default;

private:
    /// Written as comparisons of the new value, so that NaN changes nothing.
    void extendAxis(int axis, float lo, float hi) {
        if (lo < min[axis])
            min[axis] = lo;
        if (hi > max[axis])
            max[axis] = hi;
    }

    double axisDistance(int axis, float value) const {
        const double v = qvLinear::widen(value);
        if (v < min[axis])
            return min[axis] - v;
        return v > max[axis] ? v - max[axis] : 0.0;
    }
};

static_assert(sizeof(BoundingBox) == 6 * sizeof(float));
static_assert(std::is_standard_layout_v<BoundingBox> && std::is_trivially_copyable_v<BoundingBox>);

} // namespace qvGeom
