#include "qvGeom/spatial/detail/VoxelPairing.h"

#include <algorithm>
#include <cstddef>
#include <functional>
#include <utility>

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
        if (!second_.place(node.box).intersects(root_.box))
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

/// The boxes of the voxels, as `place` gives them.
template <class Place>
std::vector<BoundingBox> voxelBoxes(const Octree& octree, const Place& place) {
    std::vector<BoundingBox> boxes(octree.getNumVoxels());
    OctreeLeafIterator voxel(octree);
    for (voxel.reset(octree); voxel.valid(); voxel.next())
        boxes[voxel.get().leafIndex()] = place(voxel.get().box);
    return boxes;
}

} // namespace

std::vector<int> trianglesWhereMeeting(const Octree& octree, const OctreeTris& voxels,
                                       const PlacedMesh& second) {
    return MeetingVoxels(octree, voxels, second).triangles();
}

VoxelPairing::Voxels::Voxels(const OctreeTris& voxels, const std::vector<char>& isMarked,
                             std::vector<BoundingBox> boxes)
    : sets_(voxelsOf(voxels, isMarked)),
      boxes_(std::move(boxes)),
      firstGroup_(sets_.numSets() + 1) {
    for (int t = 0; t < sets_.numSets(); ++t) {
        for (const int* begin = sets_.begin(t); begin != sets_.end(t);) {
            const int* const end =
                begin + std::min<std::ptrdiff_t>(kGroupSize, sets_.end(t) - begin);
            Group group{{}, begin, end};
            for (; begin != end; ++begin)
                group.box.extend(boxes_[*begin]);
            groups_.push_back(group);
        }
        firstGroup_[t + 1] = static_cast<int>(groups_.size());
    }
}

VoxelPairing::VoxelPairing(const Octree& octree, const OctreeTris& voxels,
                           const std::vector<char>& isMarked, const PlacedMesh& second,
                           const std::vector<char>& isMarked2)
    : voxels_(voxels, isMarked, voxelBoxes(octree, std::identity())),
      voxels2_(second.voxels, isMarked2, voxelBoxes(second.octree, [&](const BoundingBox& box) {
                   return second.place(box);
               })) {}

VoxelPair VoxelPairing::first(int triangle, int triangle2) const {
    for (const Group& group : voxels_.groups(triangle)) {
        // Those at the end that meet none of the group are not looked at for each of its voxels.
        std::span<const Group> groups2 = voxels2_.groups(triangle2);
        while (!groups2.empty() && !group.box.intersects(groups2.back().box))
            groups2 = groups2.first(groups2.size() - 1);
        if (groups2.empty())
            continue;
        for (const int* voxel = group.begin; voxel != group.end; ++voxel) {
            const int voxel2 = lastMeeting(voxels_.box(*voxel), groups2);
            if (voxel2 >= 0)
                return {*voxel, voxel2};
        }
    }
    return {};
}

int VoxelPairing::lastMeeting(const BoundingBox& box, std::span<const Group> groups2) const {
    for (; !groups2.empty(); groups2 = groups2.first(groups2.size() - 1)) {
        const Group& group = groups2.back();
        if (!box.intersects(group.box))
            continue;
        for (const int* voxel2 = group.end; voxel2 != group.begin;) {
            if (box.intersects(voxels2_.box(*--voxel2)))
                return *voxel2;
        }
    }
    return -1;
}

} // namespace qvGeom::detail
