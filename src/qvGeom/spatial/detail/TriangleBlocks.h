/// \file
/// The triangles of voxels, laid out to be compared by fours.
#pragma once

#include "qvGeom/foundation/geometry/Array.h"
#include "qvGeom/foundation/geometry/BoundingBox.h"
#include "qvGeom/foundation/geometry/Lanes.h"
#include "qvGeom/foundation/geometry/MeshTriangle.h"

namespace qvGeom {

class CompactMesh;
class OctreeTris;

namespace detail {

/// Four triangles of a voxel, ascending, and their boxes. The last one of a voxel fills the lanes
/// that are left over.
struct TriangleBlock {
    static constexpr int kLanes = 4;

    float min[3][kLanes], max[3][kLanes];
    int corner[3][kLanes];
    int triangle[kLanes];

    MeshTriangle cornersOf(int lane) const {
        return {corner[0][lane], corner[1][lane], corner[2][lane]};
    }
};

/// The blocks of every voxel: a search reads what a voxel holds from one place, wherever the mesh
/// has it.
class TriangleBlocks {
public:
    /// Lays out the triangles of `voxels` with their `boxes`, on the shared pool. Where `isUsed` is
    /// not null, only voxels that it has a number other than 0 for get blocks.
    void assign(const CompactMesh& mesh, const Array<BoundingBox>& boxes, const OctreeTris& voxels,
                const char* isUsed = nullptr);

    /// Whether nothing has been assigned.
    bool isEmpty() const { return first_.size() == 0; }

    const TriangleBlock* begin(int voxel) const { return blocks_.data() + first_[voxel]; }

    const TriangleBlock* end(int voxel) const { return blocks_.data() + first_[voxel + 1]; }

private:
    Array<int> first_; // by voxel, and one more
    Array<TriangleBlock> blocks_;
};

/// Compares a triangle with the four of a block at once.
class BlockComparison {
public:
    BlockComparison(int triangle, const BoundingBox& box, const MeshTriangle& corners)
        : min_{splat(box.min[0]), splat(box.min[1]), splat(box.min[2])},
          max_{splat(box.max[0]), splat(box.max[1]), splat(box.max[2])},
          corner_{splat(corners[0]), splat(corners[1]), splat(corners[2])},
          triangle_(splat(triangle)) {}

    /// Those whose boxes the triangle's meets.
    Mask4 meets(const TriangleBlock& block) const {
        return (load(block.min[0]) <= max_[0]) & (load(block.max[0]) >= min_[0]) &
               (load(block.min[1]) <= max_[1]) & (load(block.max[1]) >= min_[1]) &
               (load(block.min[2]) <= max_[2]) & (load(block.max[2]) >= min_[2]);
    }

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
    Float4 min_[3], max_[3];
    Mask4 corner_[3];
    Mask4 triangle_;
};

} // namespace detail
} // namespace qvGeom
