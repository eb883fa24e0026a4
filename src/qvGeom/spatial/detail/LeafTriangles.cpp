#include "qvGeom/spatial/detail/LeafTriangles.h"

#include <algorithm>
#include <cmath>

#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/Octree.h"
#include "qvGeom/foundation/geometry/OctreeTris.h"
#include "qvGeom/spatial/GeomOctree.h"

namespace qvGeom::detail {
namespace {

constexpr std::size_t kTrianglesPerBundle = 16;

/// Three times the middle of the triangle.
qvLinear::PointFlt sumOfCorners(const MeshVertex* vertices, const MeshTriangle& t) {
    const MeshVertex &a = vertices[t[0]], &b = vertices[t[1]], &c = vertices[t[2]];
    return {a.x + b.x + c.x, a.y + b.y + c.y, a.z + b.z + c.z};
}

/// Puts two zero bits behind each of ten.
std::uint32_t spread(std::uint32_t bits) {
    bits = (bits | bits << 16) & 0x030000ff;
    bits = (bits | bits << 8) & 0x0300f00f;
    bits = (bits | bits << 4) & 0x030c30c3;
    return (bits | bits << 2) & 0x09249249;
}

/// Where in the range, in 1024 steps; a NaN counts as the beginning.
std::uint32_t stepOf(float value, float min, float max) {
    const float step = (value - min) / (max - min) * 1023.0F;
    if (step > 0.0F)
        return step < 1023.0F ? static_cast<std::uint32_t>(step) : 1023U;
    return 0U;
}

} // namespace

LeafTriangles::LeafTriangles(const Octree& octree, const OctreeTris& tris, const CompactMesh& mesh)
    : tris_(tris),
      vertices_(mesh.getVertices()),
      triangles_(mesh.getTriangles()),
      margin_(0.0F),
      first_(std::min(octree.getNumVoxels(), tris.numSets())),
      count_(first_.size()) {
    const BoundingBox box = octree.getRoot().box;
    for (int axis = 0; axis < 3; ++axis)
        margin_ = std::max({margin_, std::abs(box.min[axis]), std::abs(box.max[axis])});
    margin_ *= 1e-6F;
}

void LeafTriangles::copy(int leaf) {
    sortByPlace(tris_.begin(leaf), tris_.end(leaf));
    const std::size_t first = bundles_.size();
    const std::size_t count = (sorted_.size() + kTrianglesPerBundle - 1) / kTrianglesPerBundle;
    bundles_.resize(first + count);
    for (std::size_t i = 0; i < count; ++i)
        fill(bundles_[first + i], i * kTrianglesPerBundle);
    first_[leaf] = static_cast<int>(first) + 1;
    count_[leaf] = static_cast<int>(count);
}

void LeafTriangles::sortByPlace(const int* begin, const int* end) {
    BoundingBox range;
    for (const int* t = begin; t < end; ++t)
        range.extend(sumOfCorners(vertices_, triangles_[*t]));
    sorted_.clear();
    for (const int* t = begin; t < end; ++t) {
        const qvLinear::PointFlt p = sumOfCorners(vertices_, triangles_[*t]);
        sorted_.emplace_back(spread(stepOf(p.x, range.min[0], range.max[0])) |
                                 spread(stepOf(p.y, range.min[1], range.max[1])) << 1 |
                                 spread(stepOf(p.z, range.min[2], range.max[2])) << 2,
                             *t);
    }
    std::sort(sorted_.begin(), sorted_.end());
}

void LeafTriangles::fill(TriangleBundle& bundle, std::size_t first) const {
    for (std::size_t g = 0; g < 4; ++g) {
        TriangleGroup& group = bundle.group[g];
        BoundingBox box;
        for (std::size_t lane = 0; lane < 4; ++lane) {
            const std::size_t i = first + 4 * g + lane;
            group.triangle[lane] = i < sorted_.size() ? sorted_[i].second : -1;
            for (int corner = 0; corner < 3; ++corner) {
                MeshVertex v{0.0F, 0.0F, 0.0F};
                if (i < sorted_.size()) {
                    v = vertices_[triangles_[sorted_[i].second][corner]];
                    box.extend({v.x, v.y, v.z});
                }
                group.corner[corner][0][lane] = v.x;
                group.corner[corner][1][lane] = v.y;
                group.corner[corner][2][lane] = v.z;
            }
        }
        for (int axis = 0; axis < 3; ++axis) {
            bundle.min[axis][g] = box.min[axis] - margin_;
            bundle.max[axis][g] = box.max[axis] + margin_;
        }
    }
}

} // namespace qvGeom::detail
