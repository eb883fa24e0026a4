/// \file
/// The tables through which triangles of a mesh are found by place.
#pragma once

#include "qvGeom/foundation/base/Reference.h"
#include "qvGeom/foundation/geometry/Octree.h"
#include "qvGeom/foundation/geometry/OctreeTris.h"

namespace qvGeom {
class CompactMesh;
}

namespace qvmesh {

class Job;

/// An octree over a mesh and the triangles in its voxels, good as long as the mesh stays as it is.
class SearchTree {
public:
    /// Builds both as a stage of `job`.
    SearchTree(const qvGeom::CompactMesh& mesh, Job& job, double share);

    const qvGeom::Octree& octree() const { return *octree_; }

    const qvGeom::OctreeTris& tris() const { return *tris_; }

private:
    qv::Reference<qvGeom::Octree> octree_;
    qv::Reference<qvGeom::OctreeTris> tris_;
};

} // namespace qvmesh
