/// \file
/// Sets of triangles, laid out to be compared by fours.
#pragma once

#include <limits>

#include "qvGeom/foundation/geometry/Array.h"
#include "qvGeom/foundation/geometry/BoundingBox.h"
#include "qvGeom/foundation/geometry/MeshTriangle.h"
#include "qvGeom/foundation/geometry/internal/Lanes.h"

namespace qvGeom {

class ArrayOfSets;
class CompactMesh;

namespace detail {

/// Four boxes.
struct BoxBlock {
    static constexpr int kLanes = 4;

    float min[3][kLanes], max[3][kLanes];

    void set(int lane, const BoundingBox& box) {
        for (int axis = 0; axis < 3; ++axis) {
            min[axis][lane] = box.min[axis];
            max[axis][lane] = box.max[axis];
        }
    }

    /// Puts a box there that meets nothing.
    void clear(int lane) {
        for (int axis = 0; axis < 3; ++axis)
            min[axis][lane] = max[axis][lane] = std::numeric_limits<float>::quiet_NaN();
    }

    static BoxBlock ofNone() {
        BoxBlock block;
        for (int lane = 0; lane < kLanes; ++lane)
            block.clear(lane);
        return block;
    }

    BoundingBox box(int lane) const {
        return {{min[0][lane], min[1][lane], min[2][lane]},
                {max[0][lane], max[1][lane], max[2][lane]}};
    }

    /// The box around all four.
    BoundingBox around() const;
};

/// Four triangles of a set, in its order, and their boxes. In the lanes that are left over at its
/// end stands the last one with a box that meets nothing.
struct TriangleBlock : BoxBlock {
    int corner[3][kLanes];
    int triangle[kLanes];

    MeshTriangle cornersOf(int lane) const {
        return {corner[0][lane], corner[1][lane], corner[2][lane]};
    }
};

/// The blocks of every set, such as a voxel: a search reads what a set holds from one place,
/// wherever the mesh has it.
class TriangleBlocks {
public:
    /// Lays out the triangles of `sets` with their `boxes`, on the shared pool.
    void assign(const CompactMesh& mesh, const Array<BoundingBox>& boxes, const ArrayOfSets& sets);

    /// Whether nothing has been assigned.
    bool isEmpty() const { return first_.size() == 0; }

    const TriangleBlock* begin(int set) const { return blocks_.data() + first_[set]; }

    const TriangleBlock* end(int set) const { return blocks_.data() + first_[set + 1]; }

private:
    Array<int> first_; // by set, and one more
    Array<TriangleBlock> blocks_;
};

/// Compares a box with four at once.
class BoxComparison {
public:
    explicit BoxComparison(const BoundingBox& box)
        : min_{splat(box.min[0]), splat(box.min[1]), splat(box.min[2])},
          max_{splat(box.max[0]), splat(box.max[1]), splat(box.max[2])} {}

    /// Those that the box meets.
    Mask4 meets(const BoxBlock& block) const {
        return (load(block.min[0]) <= max_[0]) & (load(block.max[0]) >= min_[0]) &
               (load(block.min[1]) <= max_[1]) & (load(block.max[1]) >= min_[1]) &
               (load(block.min[2]) <= max_[2]) & (load(block.max[2]) >= min_[2]);
    }

private:
    Float4 min_[3], max_[3];
};

/// Compares a triangle of the same mesh with the four of a block at once.
class TriangleComparison {
public:
    TriangleComparison(int triangle, const MeshTriangle& corners)
        : corner_{splat(corners[0]), splat(corners[1]), splat(corners[2])},
          triangle_(splat(triangle)) {}

    /// Those that have a vertex in common with the triangle.
    Mask4 touches(const TriangleBlock& block) const {
        Mask4 shared{};
        for (const auto& corners : block.corner) {
            const Mask4 vertex = load(corners);
            shared |= (vertex == corner_[0]) | (vertex == corner_[1]) | (vertex == corner_[2]);
        }
        return shared;
    }

    /// Those that come before the triangle.
    Mask4 follows(const TriangleBlock& block) const { return load(block.triangle) < triangle_; }

private:
    Mask4 corner_[3];
    Mask4 triangle_;
};

} // namespace detail
} // namespace qvGeom
