/// \file
/// The voxels of two meshes that meet, one of them placed in the space of the other.
#pragma once

#include <span>
#include <vector>

#include "qvGeom/foundation/geometry/ArrayOfSets.h"
#include "qvGeom/foundation/geometry/BoundingBox.h"

namespace qvGeom {

class CompactMesh;
class Octree;
class OctreeTris;

namespace detail {

/// The second mesh, and its place in the space of the first.
struct PlacedMesh {
    const CompactMesh& mesh;
    const Octree& octree;
    const OctreeTris& voxels;
    const qvLinear::AffineMatrix& toMesh1;

    /// A box within another stays within it: rounding is monotone.
    BoundingBox place(BoundingBox box) const {
        box.transform(toMesh1);
        return box;
    }
};

/// The triangles of the second mesh, ascending, in voxels that meet one of the first mesh. Empty
/// voxels do not count.
std::vector<int> trianglesWhereMeeting(const Octree& octree, const OctreeTris& voxels,
                                       const PlacedMesh& second);

/// A voxel of each mesh, or none. Pairs are ordered by the first, and then backwards by the second.
struct VoxelPair {
    int first = -1, second = -1;

    bool isFound() const { return first >= 0; }

    bool operator<(const VoxelPair& other) const {
        return first != other.first ? first < other.first : second > other.second;
    }
};

/// Tells where a search through all pairs of voxels that meet would come upon a pair of triangles.
/// That makes the order of crossings a matter of the voxels alone, however they are searched for.
class VoxelPairing {
public:
    /// Knows the triangles of each mesh that are marked.
    VoxelPairing(const Octree& octree, const OctreeTris& voxels, const std::vector<char>& isMarked,
                 const PlacedMesh& second, const std::vector<char>& isMarked2);

    /// The first pair of voxels that meet, the one holding the triangle of the first mesh and the
    /// other that of the second.
    VoxelPair first(int triangle, int triangle2) const;

private:
    /// Voxels that follow each other among those of a triangle, and the box around them: most of
    /// the voxels of large triangles are passed over by groups.
    struct Group {
        BoundingBox box;
        const int* begin;
        const int* end;
    };

    /// The voxels of each marked triangle, ascending.
    class Voxels {
    public:
        Voxels(const OctreeTris& voxels, const std::vector<char>& isMarked,
               std::vector<BoundingBox> boxes);
        Voxels(const Voxels&) = delete; // groups point into the sets
        Voxels& operator=(const Voxels&) = delete;
        ~Voxels() = default;

        const BoundingBox& box(int voxel) const { return boxes_[voxel]; }

        std::span<const Group> groups(int triangle) const {
            return {groups_.data() + firstGroup_[triangle],
                    groups_.data() + firstGroup_[triangle + 1]};
        }

    private:
        ArrayOfSets sets_;
        std::vector<BoundingBox> boxes_; // by voxel
        std::vector<Group> groups_;
        std::vector<int> firstGroup_; // by triangle, and one more
    };

    /// The last voxel of the second mesh that `box` meets; -1 for none.
    int lastMeeting(const BoundingBox& box, std::span<const Group> groups2) const;

    Voxels voxels_, voxels2_; // those of the second mesh placed
};

} // namespace detail
} // namespace qvGeom
