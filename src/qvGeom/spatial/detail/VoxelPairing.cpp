#include "qvGeom/spatial/detail/VoxelPairing.h"

#include <algorithm>
#include <cmath>

#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/Octree.h"
#include "qvGeom/foundation/geometry/OctreeTris.h"
#include "qvGeom/spatial/GeomOctree.h"
#include "qvGeom/spatial/GeomOctreeIterators.h"

namespace qvGeom::detail {
namespace {

constexpr int kGroupSize = 8;

class MeetingVoxels {
public:
    MeetingVoxels(const Octree& octree, const OctreeTris& voxels, const PlacedMesh& second)
        : root_(octree.getRoot()),
          voxels_(voxels),
          second_(second),
          met_(octree),
          isIn_(second.mesh.getNumTriangles()) {
        addBelow(second.octree.getRoot());
    }

    std::vector<int> triangles() const {
        std::vector<int> triangles;
        for (int t = 0; t < second_.mesh.getNumTriangles(); ++t) {
            if (isIn_[t])
                triangles.push_back(t);
        }
        return triangles;
    }

private:
    void addBelow(const OctreeIterator& node) {
        if (node.isLeaf()) {
            const int voxel = node.leafIndex();
            if (second_.voxels.setSize(voxel) > 0 && meetsAny(second_.place(node.box)))
                std::for_each(second_.voxels.begin(voxel), second_.voxels.end(voxel),
                              [this](int triangle) { isIn_[triangle] = 1; });
            return;
        }
        if (!second_.placeParent(node.box).intersects(root_.box))
            return;
        for (int child = 0; child < 8; ++child) {
            OctreeIterator below = node;
            if (below.descend(child))
                addBelow(below);
        }
    }

    bool meetsAny(const BoundingBox& box) {
        for (met_.reset(box); met_.valid(); met_.next()) {
            if (voxels_.setSize(met_.get().leafIndex()) > 0)
                return true;
        }
        return false;
    }

    OctreeIterator root_;
    const OctreeTris& voxels_;
    const PlacedMesh& second_;
    OctreeBBoxIntersectIt met_;
    std::vector<char> isIn_; // by triangle
};

/// The voxels of each marked triangle, ascending.
ArrayOfSets voxelsOf(const OctreeTris& voxels, const std::vector<char>& isMarked) {
    std::vector<int> pairs; // of a triangle and a voxel
    for (int voxel = 0; voxel < voxels.numSets(); ++voxel) {
        for (const int* t = voxels.begin(voxel); t != voxels.end(voxel); ++t) {
            if (isMarked[*t]) {
                pairs.push_back(*t);
                pairs.push_back(voxel);
            }
        }
    }
    ArrayOfSets sets;
    sets.assignFromPairs(static_cast<int>(isMarked.size()), static_cast<int>(pairs.size() / 2),
                         pairs.data());
    return sets;
}

std::vector<BoundingBox> voxelBoxes(const Octree& octree) {
    std::vector<BoundingBox> boxes(octree.getNumVoxels());
    OctreeLeafIterator voxel(octree);
    for (voxel.reset(octree); voxel.valid(); voxel.next())
        boxes[voxel.get().leafIndex()] = voxel.get().box;
    return boxes;
}

} // namespace

PlacedMesh::PlacedMesh(const CompactMesh& mesh2, const Octree& octree2, const OctreeTris& voxels2,
                       const qvLinear::AffineMatrix& placement)
    : mesh(mesh2),
      octree(octree2),
      voxels(voxels2),
      toMesh1(placement) {
    const BoundingBox all = place(octree.getRoot().box);
    float largest = 0;
    for (int axis = 0; axis < 3; ++axis)
        largest = std::max({largest, std::abs(all.min[axis]), std::abs(all.max[axis])});
    margin = 1e-6F * largest;
}

std::vector<int> trianglesWhereMeeting(const Octree& octree, const OctreeTris& voxels,
                                       const PlacedMesh& second) {
    return MeetingVoxels(octree, voxels, second).triangles();
}

VoxelPairing::VoxelPairing(const Octree& octree, const OctreeTris& voxels,
                           const std::vector<char>& isMarked, const PlacedMesh& second,
                           const std::vector<char>& isMarked2)
    : voxels_(voxelsOf(voxels, isMarked)),
      voxels2_(voxelsOf(second.voxels, isMarked2)),
      boxes_(voxelBoxes(octree)),
      boxes2_(voxelBoxes(second.octree)) {
    for (BoundingBox& box : boxes2_)
        box.transform(second.toMesh1);
    firstGroup2_.resize(voxels2_.numSets());
    for (int t = 0; t < voxels2_.numSets(); ++t) {
        firstGroup2_[t] = static_cast<int>(groups2_.size());
        for (const int* v = voxels2_.begin(t); v != voxels2_.end(t); ++v) {
            if ((v - voxels2_.begin(t)) % kGroupSize == 0)
                groups2_.emplace_back();
            groups2_.back().extend(boxes2_[*v]);
        }
    }
}

VoxelPair VoxelPairing::first(int triangle, int triangle2) const {
    const int* const begin2 = voxels2_.begin(triangle2);
    const int* const end2 = voxels2_.end(triangle2);
    const BoundingBox* const groups2 = groups2_.data() + firstGroup2_[triangle2];
    const int numGroups2 = (static_cast<int>(end2 - begin2) + kGroupSize - 1) / kGroupSize;
    for (const int* v = voxels_.begin(triangle); v != voxels_.end(triangle); ++v) {
        const BoundingBox& box = boxes_[*v];
        for (int group = numGroups2 - 1; group >= 0; --group) {
            if (!box.intersects(groups2[group]))
                continue;
            const int* const groupBegin = begin2 + kGroupSize * group;
            for (const int* v2 = std::min(end2, groupBegin + kGroupSize); v2 != groupBegin;) {
                if (box.intersects(boxes2_[*--v2]))
                    return {*v, *v2};
            }
        }
    }
    return {};
}

} // namespace qvGeom::detail
