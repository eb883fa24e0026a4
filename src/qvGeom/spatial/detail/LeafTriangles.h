/// \file
/// The triangles of an octree's leaves, laid out for rays.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "qvGeom/foundation/geometry/Array.h"
#include "qvGeom/spatial/detail/Lanes.h"

namespace qvGeom {

class CompactMesh;
class Octree;
class OctreeTris;
struct MeshVertex;
struct MeshTriangle;

namespace detail {

/// Four triangles, coordinate by coordinate. Unused ones have all corners at 0, so that nothing
/// meets them.
struct TriangleGroup {
    float corner[3][3][4]; // of a triangle, axis, triangle
    int triangle[4];
};

/// Four groups and boxes around them, with a margin for the rounding of tests. The box of an
/// unused group is invalid.
struct TriangleBundle {
    float min[3][4]; // axis, group
    float max[3][4];
    TriangleGroup group[4];
};

/// Copies the triangles of a leaf when it is asked for them first, neighbours side by side.
class LeafTriangles {
public:
    LeafTriangles(const Octree& octree, const OctreeTris& tris, const CompactMesh& mesh);

    struct Range {
        const TriangleBundle* first;
        const TriangleBundle* last;

        const TriangleBundle* begin() const { return first; }

        const TriangleBundle* end() const { return last; }
    };

    /// Valid until the next call. A leaf that the partition does not know has none.
    Range of(int leaf) {
        if (leaf >= first_.size())
            return {nullptr, nullptr};
        if (first_[leaf] == kNotCopied)
            copy(leaf);
        const TriangleBundle* const first = bundles_.data() + (first_[leaf] - 1);
        return {first, first + count_[leaf]};
    }

private:
    static constexpr int kNotCopied = 0;

    void copy(int leaf);
    void sortByPlace(const int* begin, const int* end);
    void fill(TriangleBundle& bundle, std::size_t first) const;

    const OctreeTris& tris_;
    const MeshVertex* vertices_;
    const MeshTriangle* triangles_;
    float margin_;
    Array<int> first_; // bundle of each leaf, plus 1
    Array<int> count_;
    std::vector<TriangleBundle> bundles_;
    std::vector<std::pair<std::uint32_t, int>> sorted_; // place and triangle, of one leaf
};

} // namespace detail
} // namespace qvGeom
