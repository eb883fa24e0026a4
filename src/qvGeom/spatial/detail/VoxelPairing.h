/// \file
/// The voxels of two meshes that meet, one of them placed in the space of the other.
#pragma once

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
    float margin; // by which placed boxes of children may reach beyond their parent's, by roundings

    PlacedMesh(const CompactMesh& mesh2, const Octree& octree2, const OctreeTris& voxels2,
               const qvLinear::AffineMatrix& placement);

    BoundingBox place(BoundingBox box) const {
        box.transform(toMesh1);
        return box;
    }

    /// The same, so that it holds those of all children.
    BoundingBox placeParent(const BoundingBox& box) const {
        BoundingBox all = place(box);
        all.extend(margin);
        return all;
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
    ArrayOfSets voxels_, voxels2_;            // of each marked triangle, ascending
    std::vector<BoundingBox> boxes_, boxes2_; // by voxel, those of the second mesh placed
    // Around every few of a triangle's voxels2_, so that large ones are looked through quickly.
    std::vector<BoundingBox> groups2_;
    std::vector<int> firstGroup2_; // by triangle
};

} // namespace detail
} // namespace qvGeom
